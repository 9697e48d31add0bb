#include "io/file_access.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <string>
#include <tuple>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "mu/file_system.h"
#include "mu/memory_block.h"
#include "tests/support/failing_heap.h"
#include "tests/support/files.h"
#include "tests/support/function_chain.h"
#include "tests/support/line_logger.h"
#include "tests/support/temporary_folder.h"

namespace
{

using testing::ElementsAre;

constexpr unsigned long long kFiveGiB = 5ULL << 30;

TEST(FileAccess, OpensAsTheModeSays)
{
    // What is in an old and in a missing file once each was opened and "new" was written.
    for (const auto& [iMode, strOld, strMissing] :
         std::vector<std::tuple<int, std::string, std::string>>{
             {CFileAccess::FM_READ, "old text", "(none)"},
             {CFileAccess::FM_CREATE, "new", "new"},
             {CFileAccess::FM_OPEN_OR_CREATE, "new text", "new"},
             {CFileAccess::FM_READ_WRITE, "new text", "(none)"},
             {99, "old text", "(none)"},
         })
    {
        SCOPED_TRACE(iMode);
        const CTemporaryFolder folder;
        WriteFile(folder.Path("old"), "old text");
        const int iDescriptor = ::dup(0); // the number that the file will get
        ::close(iDescriptor);

        CFileAccess file;
        const auto eMode = static_cast<CFileAccess::FileMode>(iMode);
        file.Open(folder.WidePath(L"old").c_str(), eMode, true);
        EXPECT_EQ(::fcntl(iDescriptor, F_GETFD), FD_CLOEXEC);
        file.Write("new", 3);
        file.Open(folder.Path("none").c_str(), eMode, false);
        EXPECT_EQ(::fcntl(iDescriptor, F_GETFD) >= 0, file.IsValid()) << "one descriptor at most";
        file.Write("new", 3);
        EXPECT_EQ(ReadFile(folder.Path("old")), strOld);
        EXPECT_EQ(ReadFile(folder.Path("none")), strMissing);
    }
}

TEST(FileAccess, GivesTheLastErrorsTextWithinTheBuffer)
{
    CFileAccess file;
    EXPECT_EQ(file.GetSize(), 0U);
    const std::string strError = std::strerror(EBADF);
    const auto iLength = static_cast<int>(strError.size());
    for (const int iCapacity : {-1, 0, 1, 2, iLength, iLength + 1, 60})
    {
        std::string strNarrow(64, '#');
        std::wstring wsWide(64, L'#');
        file.GetLastErrorString(strNarrow.data(), iCapacity);
        file.GetLastErrorString(wsWide.data(), iCapacity);
        const auto uCut = static_cast<std::size_t>(std::max(iCapacity - 1, 0));
        std::string strExpected =
            strError.substr(0, uCut) + (iCapacity > 0 ? std::string(1, 0) : "");
        strExpected.resize(64, '#');
        EXPECT_EQ(strNarrow, strExpected);
        EXPECT_EQ(wsWide, std::wstring(strExpected.begin(), strExpected.end()));
    }
}

TEST(FileAccess, TellsARepeatedErrorOnceAndForgetsItAtASuccess)
{
    const CTemporaryFolder folder;
    const std::string strNo = folder.Path("Gr\u00F6\u00DFe");
    const std::wstring wsNo = folder.WidePath(L"Gr\u00F6\u00DFe");
    WriteFile(folder.Path("f"), "text");
    ::mkfifo(folder.Path("pipe").c_str(), 0600);
    CFileAccess full, pipe, text, none;
    full.Open("/dev/full", CFileAccess::FM_READ_WRITE, false);
    pipe.Open(folder.Path("pipe").c_str(), CFileAccess::FM_READ_WRITE, true);
    text.Open(folder.Path("f").c_str(), CFileAccess::FM_READ, true);
    char aBuffer[8] = {};
    const char* const szRead = "FA::Rd iBufferLength:2;";
    const char* const szWrite = "FA::Wrt iMessageLength:2;";
    const std::string strReading = "3 Error reading from file: ";
    const std::string strWriting = "3 Error writing to file: ";

    const struct
    {
        CFileAccess& file;
        std::function<bool()> succeeds;
        int iError;
        const char* szChain;
        std::string strText;
    } kCases[] = {
        {none, [&] { return none.Open(wsNo.c_str(), CFileAccess::FM_READ, true); }, ENOENT,
         "FA::Op wszFileName:7;", "3 Error opening file " + strNo + ": "},
        {none, [&] { return none.Read(aBuffer, 8) >= 0; }, EBADF, szRead, strReading},
        {text, [&] { return text.Read(aBuffer, -1) >= 0; }, EINVAL, szRead, strReading},
        {text, [&] { return text.Write("x", INT_MIN) >= 0; }, EINVAL, szWrite, strWriting},
        {text, [&] { return text.WriteBlock(0, UINT_MAX, "x"); }, EINVAL, szWrite, strWriting},
        {full, [&] { return full.WriteBlock(0, 4, "text"); }, ENOSPC, szWrite, strWriting},
        {pipe, [&] { return pipe.Flush(); }, EINVAL, "FA::Fl;", "3 Error flushing file: "},
        {pipe, [&] { return pipe.SetPosition(kFiveGiB); }, ESPIPE, "FA::SetPos;",
         "3 Error setting file position to 5368709120: "},
    };
    for (int iRound = 0; iRound < 2; ++iRound)
    {
        for (const auto& row : kCases)
        {
            row.file.IsValid() ? void(row.file.Read(aBuffer, 0)) : row.file.Close(); // succeeds
            CLineLogger logger(IBaseLogger::Error);
            logger.m_onMessage = [&] { EXPECT_EQ(FunctionChain(), row.szChain); };
            EXPECT_FALSE(row.succeeds());
            EXPECT_FALSE(row.succeeds());
            EXPECT_THAT(logger.TakeLines(), ElementsAre(row.strText + ErrorText(row.iError)));
        }
    }
}

TEST(FileAccess, MovesAndCutsBeyond4GiB)
{
    const CTemporaryFolder folder;
    for (const unsigned long long llLength : {5ULL, kFiveGiB - 1, kFiveGiB, kFiveGiB + 20})
    {
        CFileAccess file;
        ASSERT_TRUE(file.Open(folder.Path("f").c_str(), CFileAccess::FM_CREATE, false));
        EXPECT_TRUE(file.WriteBlock(kFiveGiB - 4, 4, "text"));
        EXPECT_EQ(file.GetPosition(), kFiveGiB);
        EXPECT_TRUE(file.Truncate(llLength));
        EXPECT_EQ(file.GetSize(), llLength);
        EXPECT_EQ(file.GetPosition(), std::min(llLength, kFiveGiB));
        EXPECT_FALSE(file.Truncate(ULLONG_MAX));
    }
}

// No two chunks of a power of two are the same.
std::string Pattern(std::size_t uSize)
{
    std::string strBytes(uSize, '\0');
    std::generate(strBytes.begin(), strBytes.end(),
                  [i = 0]() mutable { return static_cast<char>(i++ % 251); });
    return strBytes;
}

TEST(FileContents, LoadsTextOfEachEncoding)
{
    using namespace std::string_literals;
    const struct
    {
        std::string strBytes;
        int iEncoding; // -1: none is detected
        int iHeaderLength;
        std::wstring wsText;
    } kCases[] = {
        {"a", -1, 0, L"old"},
        {"\0\0ab"s, -1, 0, L"old"},
        {"\xEF\xBB\xBFz\u00E4\u6E29", 1, 3, L"z\u00E4\u6E29"},
        {"\xEF\xBB\xBF", 1, 3, L""},
        {"ab\0c"s, 1, 0, L"ab\0c"s},
        {"\xC3((((((((", 1, 0, L""}, // malformed at once
        {"\xEF\xBB", 1, 0, L""},     // two bytes of a mark are none
        {"\xFF\xFE\xE4\x00\x29\x6E\xFF\xFF"s, 2, 2, L"\u00E4\u6E29\uFFFF"},
        {"\xFE\xFF\xD8\x3D\xDE\x00"s, 3, 2, {wchar_t(0xD83D), wchar_t(0xDE00)}},
        {"a\0b\0c"s, 2, 0, L"ab"}, // the odd byte is dropped
        {"\0a\x80\0"s, 3, 0, L"a\u8000"},
    };
    const CTemporaryFolder folder;
    const std::wstring wsFile = folder.WidePath(L"f");
    for (const auto& row : kCases)
    {
        SCOPED_TRACE(testing::PrintToString(row.strBytes));
        WriteFile(folder.Path("f"), row.strBytes);
        auto eEncoding = static_cast<CFileAccess::ETextFileEncoding>(-1);
        int iHeaderLength = 0;
        EXPECT_EQ(CFileAccess::DetectTextFileEncoding(wsFile.c_str(), eEncoding, iHeaderLength),
                  row.iEncoding >= 0);
        EXPECT_EQ(eEncoding, row.iEncoding);
        EXPECT_EQ(iHeaderLength, row.iHeaderLength);
        std::wstring wsText = L"old";
        EXPECT_EQ(CFileAccess::ToString(wsFile.c_str(), wsText), row.iEncoding >= 0);
        EXPECT_EQ(wsText, row.wsText);
    }
}

TEST(FileContents, RefusesWhatAnIntOrTheMemoryCannotHold)
{
    const CTemporaryFolder folder;
    const std::wstring wsFile = folder.WidePath(L"f");
    std::wstring wsText;
    CMemBlockPtr block("old", 3);
    for (const std::string& strBytes :
         {std::string(3000, 'x'), "\xFF\xFE" + std::string(6000, 'x')})
    {
        WriteFile(folder.Path("f"), strBytes);
        bool bLoaded = !CFailingHeap::kAvailable;
        for (int iAllowed = 0; !bLoaded; ++iAllowed)
        {
            wsText = L"old";
            const CFailingHeap heap(iAllowed);
            bLoaded = CFileAccess::ToString(wsFile.c_str(), wsText);
            ASSERT_EQ(wsText.size(), bLoaded ? 3000U : 3U) << iAllowed;
        }
    }
    ASSERT_EQ(::truncate(folder.Path("f").c_str(), 0x8000'0000), 0);
    EXPECT_FALSE(CFileAccess::ToString(wsFile.c_str(), wsText));
    EXPECT_EQ(CFileAccess::ToBuffer(wsFile.c_str(), block), -1);
    EXPECT_EQ(block.GetSize(), 3U);
}

TEST(FileContents, AreTheSameHoweverTheyAreLoadedOrCopied)
{
    const CTemporaryFolder folder;
    const std::string strFile = folder.Path("\u00E4");
    const std::wstring wsFile = folder.WidePath(L"\u00E4");
    const std::wstring wsCopy = folder.WidePath(L"copy");
    for (const unsigned int uSize : {4097U, 4096U, 1026U, 1025U, 1024U, 1023U, 513U, 512U, 1U, 0U})
    {
        SCOPED_TRACE(uSize);
        const std::string strBytes = Pattern(uSize);
        WriteFile(strFile, strBytes);
        CMemBlockPtr block("old", 3);
        EXPECT_EQ(CFileAccess::ToBuffer(wsFile.c_str(), block), static_cast<int>(uSize));
        EXPECT_TRUE(std::string(block.GetData(), block.GetSize()) == strBytes);
        std::string strContent = "old";
        EXPECT_TRUE(CFileAccess::GetStrFileContent(strFile.c_str(), strContent));
        EXPECT_TRUE(strContent == strBytes);

        WriteFile(folder.Path("copy"), std::string(5000, 'o'));
        mu::SetFileTimesByPath(wsFile.c_str(), 0, 1'000'000'000, 1'100'000'000);
        EXPECT_TRUE(CFileAccess::Copy(wsFile.c_str(), wsCopy.c_str()));
        EXPECT_TRUE(ReadFile(folder.Path("copy")) == strBytes);
        EXPECT_EQ(std::filesystem::last_write_time(folder.Path("copy")),
                  std::filesystem::last_write_time(strFile));

        CFileAccess source, target;
        source.Open(strFile.c_str(), CFileAccess::FM_READ, true);
        for (IFileReader* const pReader : std::initializer_list<IFileReader*>{&source, &block})
        {
            pReader->SetPosition(uSize / 2);
            target.Open(wsCopy.c_str(), CFileAccess::FM_CREATE, false);
            EXPECT_EQ(target.Copy(pReader), uSize - uSize / 2);
            EXPECT_TRUE(ReadFile(folder.Path("copy")) == strBytes.substr(uSize / 2));
        }
    }
}

TEST(FileContents, StayWhenACopyCannotSucceed)
{
    const CTemporaryFolder folder;
    WriteFile(folder.Path("f"), "text");
    std::filesystem::create_directory(folder.Path("dir"));
    std::filesystem::create_hard_link(folder.Path("f"), folder.Path("link"));
    for (const auto& [wsSource, wsTarget, strError] :
         std::vector<std::tuple<std::wstring, std::wstring, std::string>>{
             {L"f", L"f",
              "copying file " + folder.Path("f") + " onto itself: " + ErrorText(EINVAL)},
             {L"f", L"link",
              "copying file " + folder.Path("link") + " onto itself: " + ErrorText(EINVAL)},
             {L"dir", L"f", "reading from file: " + ErrorText(EISDIR)},
             {L"no", L"f", "opening file " + folder.Path("no") + ": " + ErrorText(ENOENT)},
             {L"f", L"../../../../../../dev/full", "writing to file: " + ErrorText(ENOSPC)},
         })
    {
        CLineLogger logger;
        EXPECT_FALSE(CFileAccess::Copy(folder.WidePath(wsSource).c_str(),
                                       folder.WidePath(wsTarget).c_str()));
        EXPECT_THAT(logger.TakeLines(), ElementsAre("3 Error " + strError));
        EXPECT_EQ(ReadFile(folder.Path("f")), "text");
    }
    CFileAccess source, same;
    source.Open(folder.Path("f").c_str(), CFileAccess::FM_READ, true);
    same.Open(folder.Path("f").c_str(), CFileAccess::FM_READ_WRITE, false);
    same.SetPosition(4);
    EXPECT_EQ(same.Copy(&source), 0U) << "would never end";
    EXPECT_FALSE(CFileAccess::SetStrFileContent("/dev/full", "v"));
}

} // namespace
