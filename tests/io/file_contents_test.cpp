#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "io/file_access.h"
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
using testing::IsEmpty;

std::string Pattern(std::size_t uSize)
{
    std::string strBytes(uSize, '\0');
    for (std::size_t u = 0; u < uSize; ++u)
    {
        strBytes[u] = static_cast<char>(u % 251);
    }
    return strBytes;
}

TEST(FileContents, LoadsTextOfEachEncoding)
{
    using namespace std::string_literals;
    const struct
    {
        const char* szRule;
        std::string strBytes;
        int iEncoding; // -1: none is detected
        int iHeaderLength;
        std::wstring wsText;
    } kCases[] = {
        {"empty", "", -1, 0, L""},
        {"one byte", "a", -1, 0, L""},
        {"two zeros", "\0\0ab"s, -1, 0, L""},
        {"UTF-8 mark", "\xEF\xBB\xBFz\u00E4\u6E29", 1, 3, L"z\u00E4\u6E29"},
        {"UTF-8 mark alone", "\xEF\xBB\xBF", 1, 3, L""},
        {"UTF-8, no mark", "\u00E4b", 1, 0, L"\u00E4b"},
        {"later NULs stay", "ab\0c"s, 1, 0, L"ab\0c"s},
        {"malformed at once", "\xC3((((((((", 1, 0, L""},
        {"two bytes of a mark are none", "\xEF\xBB", 1, 0, L""},
        {"LE mark alone", "\xFF\xFE", 2, 2, L""},
        {"LE mark", "\xFF\xFE\xE4\x00\x29\x6E\xFF\xFF"s, 2, 2, L"\u00E4\u6E29\uFFFF"},
        {"BE mark", "\xFE\xFF\x00\xE4\x6E\x29"s, 3, 2, L"\u00E4\u6E29"},
        {"surrogates stay", "\xFE\xFF\xD8\x3D\xDE\x00"s, 3, 2, {wchar_t(0xD83D), wchar_t(0xDE00)}},
        {"LE, no mark, odd byte dropped", "a\0b\0c"s, 2, 0, L"ab"},
        {"BE, no mark", "\0a\x80\0"s, 3, 0, L"a\u8000"},
    };
    const CTemporaryFolder folder;
    const std::wstring wsFile = folder.WidePath(L"f");
    for (const auto& row : kCases)
    {
        SCOPED_TRACE(row.szRule);
        WriteFile(folder.Path("f"), row.strBytes);
        CLineLogger logger;
        logger.m_onMessage = [] { EXPECT_EQ(FunctionChain(), "FA::TOS wszPath:7;"); };
        const bool bDetected = row.iEncoding >= 0;

        auto eEncoding = static_cast<CFileAccess::ETextFileEncoding>(-1);
        int iHeaderLength = 0;
        EXPECT_EQ(CFileAccess::DetectTextFileEncoding(wsFile.c_str(), eEncoding, iHeaderLength),
                  bDetected);
        EXPECT_EQ(eEncoding, row.iEncoding);
        EXPECT_EQ(iHeaderLength, row.iHeaderLength);
        EXPECT_THAT(logger.TakeLines(), IsEmpty());

        std::wstring wsText = L"old";
        EXPECT_EQ(CFileAccess::ToString(wsFile.c_str(), wsText), bDetected);
        EXPECT_EQ(wsText, bDetected ? row.wsText : L"old");
        EXPECT_EQ(logger.TakeLines().size(), bDetected ? 0U : 1U);
    }
}

TEST(FileContents, RefusesWhatAnIntOrTheMemoryCannotHold)
{
    const CTemporaryFolder folder;
    const std::wstring wsFile = folder.WidePath(L"f");
    std::wstring wsText = L"old";
    CMemBlockPtr block("old", 3);
    WriteFile(folder.Path("f"), "text");
    ASSERT_EQ(::truncate(folder.Path("f").c_str(), 0x8000'0000), 0);
    {
        CLineLogger logger;
        EXPECT_FALSE(CFileAccess::ToString(wsFile.c_str(), wsText));
        EXPECT_EQ(CFileAccess::ToBuffer(wsFile.c_str(), block), -1);
        const std::string strLine = "3 Error reading from file: " + ErrorText(EFBIG);
        EXPECT_THAT(logger.TakeLines(), ElementsAre(strLine, strLine));
    }
    EXPECT_EQ(wsText, L"old");
    EXPECT_EQ(block.GetSize(), 3U);

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
}

TEST(FileContents, LoadsAWholeFileIntoABlock)
{
    const CTemporaryFolder folder;
    CLineLogger logger;
    CMemBlockPtr block("old", 3);
    EXPECT_EQ(CFileAccess::ToBuffer(folder.WidePath(L"no").c_str(), block), -1);
    EXPECT_EQ(block.GetSize(), 3U);
    for (const int iSize : {1, 100'000, 0})
    {
        const std::string strBytes = Pattern(static_cast<std::size_t>(iSize));
        WriteFile(folder.Path("f"), strBytes);
        EXPECT_EQ(CFileAccess::ToBuffer(folder.WidePath(L"f").c_str(), block), iSize);
        EXPECT_TRUE(std::string(block.GetData(), block.GetSize()) == strBytes);
    }
    EXPECT_EQ(CFileAccess::ToBuffer(folder.WidePath().c_str(), block), -1);
    EXPECT_EQ(block.GetSize(), 0U) << "nothing was read";
    EXPECT_THAT(logger.TakeLines(),
                ElementsAre("3 Error opening file " + folder.Path("no") + ": " + ErrorText(ENOENT),
                            "3 Error reading from file: " + ErrorText(EISDIR)));
}

// Moves by itself, knows no position and ends with a negative count.
class CStreamReader final : public IFileReader
{
public:
    explicit CStreamReader(std::string strText) : m_strText(std::move(strText)) {}
    int Read(void* pBuffer, int iCount) override
    {
        const auto uRead =
            m_strText.copy(static_cast<char*>(pBuffer), static_cast<std::size_t>(iCount));
        m_strText.erase(0, uRead);
        return uRead > 0 ? static_cast<int>(uRead) : -1;
    }
    bool SetPosition(unsigned long long) override { return false; }
    unsigned long long GetPosition() override { return 0; }

private:
    std::string m_strText;
};

TEST(FileCopy, TakesEachByteOfEveryKindOfReaderOnce)
{
    const CTemporaryFolder folder;
    ::mkfifo(folder.Path("pipe").c_str(), 0600);
    CFileAccess source, target, pipe, full;
    ASSERT_TRUE(pipe.Open(folder.Path("pipe").c_str(), CFileAccess::FM_READ_WRITE, true));
    for (const unsigned int uSize : {0U, 1U, 3U, 511U, 512U, 513U, 515U, 1024U, 1500U})
    {
        SCOPED_TRACE(uSize);
        const std::string strText = Pattern(uSize);
        const unsigned int uStart = std::min(uSize, 3U);
        const std::string strRest = strText.substr(uStart);
        WriteFile(folder.Path("source"), strText);

        CMemBlockPtr block(strText.data(), uSize);
        block.SetPosition(uStart);
        source.Open(folder.Path("source").c_str(), CFileAccess::FM_READ, true);
        source.SetPosition(uStart);
        CStreamReader stream(strRest);
        std::vector<IFileReader*> vReaders = {&block, &source, &stream};
        if (strRest.size() % 512 != 0) // else the pipe would be waited for
        {
            pipe.Write(strRest.data(), static_cast<int>(strRest.size()));
            vReaders.push_back(&pipe);
        }
        for (IFileReader* const pReader : vReaders)
        {
            CLineLogger logger;
            target.Open(folder.Path("target").c_str(), CFileAccess::FM_CREATE, false);
            EXPECT_EQ(target.Copy(pReader), strRest.size());
            EXPECT_TRUE(ReadFile(folder.Path("target")) == strRest);
            EXPECT_THAT(logger.TakeLines(), IsEmpty());
        }
        EXPECT_EQ(block.GetPosition(), uSize);
    }

    CMemBlockPtr block("text", 4);
    full.Open("/dev/full", CFileAccess::FM_READ_WRITE, false);
    EXPECT_EQ(full.Copy(&block), 0U);
    CFileAccess same;
    same.Open(folder.Path("source").c_str(), CFileAccess::FM_READ_WRITE, false);
    same.SetPosition(same.GetSize());
    source.SetPosition(0);
    EXPECT_EQ(same.Copy(&source), 0U) << "would never end";
}

TEST(FileCopy, KeepsContentsAndTimes)
{
    const CTemporaryFolder folder;
    const std::wstring wsSource = folder.WidePath(L"source");
    const std::wstring wsTarget = folder.WidePath(L"target");
    for (const std::size_t uSize : {0U, 511U, 512U, 513U, 10'000U})
    {
        WriteFile(folder.Path("source"), Pattern(uSize));
        WriteFile(folder.Path("target"), std::string(2000, 'o'));
        ASSERT_TRUE(mu::SetFileTimesByPath(wsSource.c_str(), 0, 1'000'000'000, 1'100'000'000));
        EXPECT_TRUE(CFileAccess::Copy(wsSource.c_str(), wsTarget.c_str()));
        EXPECT_TRUE(ReadFile(folder.Path("target")) == Pattern(uSize));
        struct stat status = {};
        ::stat(folder.Path("target").c_str(), &status);
        EXPECT_EQ(status.st_mtime, 1'100'000'000);
    }
}

TEST(FileCopy, LeavesTheTargetWhenItCannotSucceed)
{
    const CTemporaryFolder folder;
    WriteFile(folder.Path("f"), "text");
    std::filesystem::create_directory(folder.Path("dir"));
    std::filesystem::create_symlink("f", folder.Path("symlink"));
    std::filesystem::create_hard_link(folder.Path("f"), folder.Path("hardlink"));
    const auto itself = [&](const char* szName)
    { return "copying file " + folder.Path(szName) + " onto itself: " + ErrorText(EINVAL); };
    const struct
    {
        const wchar_t* wszSource;
        const wchar_t* wszTarget;
        std::string strLine;
    } kCases[] = {
        {L"f", L"f", itself("f")},
        {L"f", L"dir/../f", itself("dir/../f")},
        {L"f", L"symlink", itself("symlink")},
        {L"symlink", L"hardlink", itself("hardlink")},
        {L"dir", L"f", "reading from file: " + ErrorText(EISDIR)},
        {L"no", L"f", "opening file " + folder.Path("no") + ": " + ErrorText(ENOENT)},
        {L"f", L"dir", "opening file " + folder.Path("dir") + ": " + ErrorText(EISDIR)},
        {L"f", L"../../../../../../dev/full", "writing to file: " + ErrorText(ENOSPC)},
    };
    for (const auto& row : kCases)
    {
        CLineLogger logger;
        EXPECT_FALSE(CFileAccess::Copy(folder.WidePath(row.wszSource).c_str(),
                                       folder.WidePath(row.wszTarget).c_str()));
        EXPECT_THAT(logger.TakeLines(), ElementsAre("3 Error " + row.strLine));
        EXPECT_EQ(ReadFile(folder.Path("f")), "text");
    }
}

TEST(FileContents, AreReadAndWrittenUnderNarrowNames)
{
    const CTemporaryFolder folder;
    const std::string strFile = folder.Path("\u00E4");
    CLineLogger logger;
    std::string strContent = "old";
    EXPECT_FALSE(CFileAccess::GetStrFileContent(strFile.c_str(), strContent));
    EXPECT_EQ(strContent, "old");
    for (const std::size_t uSize : {20'000U, 4097U, 4096U, 4095U, 0U})
    {
        const std::string strValue(uSize, 'v');
        EXPECT_TRUE(CFileAccess::SetStrFileContent(strFile.c_str(), strValue.c_str()));
        EXPECT_TRUE(CFileAccess::GetStrFileContent(strFile.c_str(), strContent));
        EXPECT_TRUE(strContent == strValue);
    }
    EXPECT_THAT(logger.TakeLines(), IsEmpty()) << "a missing file is no news here";

    CFileAccess file;
    ASSERT_TRUE(file.Open(strFile.c_str(), CFileAccess::FM_READ_WRITE, false));
    EXPECT_TRUE(file.WriteUTF8Header());
    EXPECT_EQ(ReadFile(strFile), "\xEF\xBB\xBF");
    EXPECT_FALSE(CFileAccess::SetStrFileContent(folder.Path().c_str(), "v"));
    EXPECT_FALSE(CFileAccess::SetStrFileContent("/dev/full", "v"));
    EXPECT_THAT(logger.TakeLines(),
                ElementsAre("3 File " + folder.Path() + " open failure: " + ErrorText(EISDIR),
                            "3 File /dev/full write failure: " + ErrorText(ENOSPC)));
}

} // namespace
