// Files through the library: open ones, whole ones and those of a folder.

#include "io/file_access.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "fuzz/support/file_laws.h"
#include "mu/file_system.h"
#include "mu/memory_block.h"
#include "tests/support/failing_calls.h"
#include "tests/support/failing_heap.h"
#include "tests/support/function_chain.h"
#include "tests/support/line_logger.h"
#include "tests/support/testing.h"
#include "threading/clock_calls.h"

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

constexpr unsigned long long kFiveGiB = 5ULL << 30;

TEST(FileAccess, OpensAsTheModeSays)
{
    // What is in an old and in a missing file once each was opened and "new" was written.
    for (const auto& [eMode, szOld, szMissing] :
         {std::tuple(CFileAccess::FM_READ, "old text", "(none)"),
          {CFileAccess::FM_CREATE, "new", "new"},
          {CFileAccess::FM_OPEN_OR_CREATE, "new text", "new"},
          {CFileAccess::FM_READ_WRITE, "new text", "(none)"},
          {static_cast<CFileAccess::FileMode>(99), "old text", "(none)"}})
    {
        SCOPED_TRACE(eMode);
        const CTemporaryFolder folder;
        WriteFile(folder.Path("old"), "old text");
        const int iDescriptor = ::dup(0); // the number that the file will get
        ::close(iDescriptor);

        CFileAccess file;
        const CFailingCall interrupted(ECall::Open, EINTR);
        file.Open(folder.WidePath(L"old").c_str(), eMode, true);
        EXPECT_EQ(::fcntl(iDescriptor, F_GETFD), FD_CLOEXEC);
        file.Write("new", 3);
        file.Open(folder.Path("none").c_str(), eMode, false);
        EXPECT_EQ(file.GetDescriptor(), ::fcntl(iDescriptor, F_GETFD) < 0 ? -1 : iDescriptor);
        file.Write("new", 3);
        EXPECT_EQ(ReadFile(folder.Path("old")), szOld);
        EXPECT_EQ(ReadFile(folder.Path("none")), szMissing);
        file.Close();
        EXPECT_EQ(file.GetDescriptor(), -1);
    }
}

TEST(FileAccess, GivesTheLastErrorsTextWithinTheBuffer)
{
    CFileAccess file;
    EXPECT_EQ(file.GetSize(), 0U);
    const std::string strError = std::strerror(EBADF);
    for (const int iCapacity : {-1, 0, 1, 2, 60})
    {
        std::string strNarrow(64, '#');
        std::wstring wsWide(64, L'#');
        file.GetLastErrorString(strNarrow.data(), iCapacity);
        file.GetLastErrorString(wsWide.data(), iCapacity);
        std::string strExpected =
            iCapacity < 1 ? "" : strError.substr(0, static_cast<std::size_t>(iCapacity - 1)) + '\0';
        strExpected.resize(64, '#');
        EXPECT_EQ(strNarrow, strExpected);
        EXPECT_EQ(wsWide, std::wstring(strExpected.begin(), strExpected.end()));
    }
}

TEST(Files, TellErrnoAndFunctionAndARepeatedErrorOfOneFileOnce)
{
    const CTemporaryFolder folder;
    const std::string strNo = folder.Path("Gr\u00F6\u00DFe/\u6E29");
    const std::wstring wsNo = folder.WidePath(L"Gr\u00F6\u00DFe/\u6E29");
    const wchar_t* const no = wsNo.c_str();
    WriteFile(folder.Path("f"), "text");
    ::mkfifo(folder.Path("pipe").c_str(), 0600);
    CFileAccess full, pipe, text, none;
    full.Open("/dev/full", CFileAccess::FM_READ_WRITE, false);
    pipe.Open(folder.Path("pipe").c_str(), CFileAccess::FM_READ_WRITE, true);
    text.Open(folder.Path("f").c_str(), CFileAccess::FM_READ, true);
    char aBuffer[8] = {};
    const char* const szRead = "FA::Rd iBufferLength:2;";
    const char* const szReading = "Error reading from file";
    const char* const szWrite = "FA::Wrt iMessageLength:2;";
    const char* const szWriting = "Error writing to file";
    unsigned long long ll = 0;

    // The file, how often two failures are told, what fails, the errno, the chain and the message.
    const std::tuple<CFileAccess&, std::size_t, std::function<bool()>, int, std::string,
                     std::string>
        aCases[] = {
            {none, 1, [&] { return none.Open(no, CFileAccess::FM_READ, true); }, ENOENT,
             "FA::Op wszFileName:7;", "Error opening file " + strNo},
            {none, 1, [&] { return none.Read(aBuffer, 8) >= 0; }, EBADF, szRead, szReading},
            {text, 1, [&] { return text.Read(aBuffer, -1) >= 0; }, EINVAL, szRead, szReading},
            {text, 1, [&] { return text.WriteBlock(0, UINT_MAX, "x"); }, EINVAL, szWrite,
             szWriting},
            {full, 1, [&] { return full.Write("text", 4) >= 0; }, ENOSPC, szWrite, szWriting},
            {pipe, 1, [&] { return pipe.Flush(); }, EINVAL, "FA::Fl;", "Error flushing file"},
            {pipe, 1, [&] { return pipe.WriteBlock(kFiveGiB, 1, "x"); }, ESPIPE, "FA::SetPos;",
             "Error setting file position to 5368709120"},
            {pipe, 1, [&] { return pipe.GetPosition() != 0 || pipe.SetPositionToEnd(ll); }, ESPIPE,
             "FA::GetPos;", "Error getting file position"},
            {none, 2, [&] { return mu::GetFileSizeByPath(no) != 0; }, ENOENT,
             "PD::FS pszFileName:5;PD::GFSBP wszFilePath:7;",
             "Failed to acquire file size of file " + strNo},
            {none, 2, [&] { return mu::GetDiskSpaceAvailable(no, ll, ll); }, ENOENT,
             "PD::GDSA pwszDirectory:7;", "Failed to acquire disk space available size"},
            {none, 2, [&] { return mu::RenameFilePath(no, L"\u00E9"); }, ENOENT,
             "PD::RFP wszOriginalName:7 wszNewName:7;",
             "Failed to rename file \"" + strNo + "\" to \"\u00E9\""},
            {none, 2, [&] { return mu::DeleteFilePath(no); }, ENOENT, "PD::DFP pwszFileName:7;",
             "Failed to delete file \"" + strNo + "\""},
            {none, 2, [&] { return mu::DeleteDirectory(no); }, ENOENT, "PD::DD pwszDir:7;",
             "Failed to remove directory " + strNo},
        };
    for (std::size_t i = 0; i < 2 * std::size(aCases); ++i)
    {
        const auto& [file, uTold, succeeds, iError, strChain, strText] =
            aCases[i % std::size(aCases)];
        file.IsValid() ? void(file.Read(aBuffer, 0)) : file.Close(); // succeeds
        CLineLogger logger(IBaseLogger::Error);
        logger.m_onMessage = [&chain = strChain] { EXPECT_EQ(FunctionChain(), chain); };
        EXPECT_FALSE(succeeds());
        EXPECT_FALSE(succeeds());
        EXPECT_EQ(file.GetLastError(), strChain.starts_with("FA::") ? iError : 0);
        const std::string strLine = "3 " + strText + ": " + ErrorText(iError);
        EXPECT_EQ(logger.TakeLines(), std::vector<std::string>(uTold, strLine));
    }
}

TEST(ClockCalls, FailAsTheSystemDoes)
{
    using namespace mu::clock_calls;
    std::timespec tsTime{};
    EXPECT_EQ(GetTime(CLOCK_REALTIME, &tsTime), 0);
    EXPECT_LE(std::time(nullptr), tsTime.tv_sec + 1);
    tsTime.tv_nsec = -1; // no time, so that no clock is set
    EXPECT_EQ(SetTime(CLOCK_REALTIME, &tsTime), -1);
    EXPECT_EQ(OpenHardwareClock("/no/clock"), -1);
    EXPECT_EQ(SetHardwareClock(-1, nullptr), -1);
}

TEST(FileAccess, MovesAndCutsBeyond4GiB)
{
    const CTemporaryFolder folder;
    for (const unsigned long long llLength : {5ULL, kFiveGiB - 1, kFiveGiB, kFiveGiB + 20})
    {
        CFileAccess file;
        ASSERT_TRUE(file.Open(folder.Path("f").c_str(), CFileAccess::FM_CREATE, false));
        EXPECT_TRUE(file.WriteUTF8Header());
        EXPECT_EQ(file.GetPosition(), 3);
        EXPECT_TRUE(file.WriteBlock(kFiveGiB - 4, 4, "text"));
        EXPECT_TRUE(file.WriteBlock(kFiveGiB, 0, ""));
        EXPECT_EQ(file.GetPosition(), kFiveGiB);
        EXPECT_TRUE(file.Truncate(llLength));
        EXPECT_EQ(file.GetSize(), llLength);
        EXPECT_EQ(mu::GetFileSizeByPath(folder.WidePath(L"f").c_str()), llLength);
        EXPECT_EQ(file.GetPosition(), std::min(llLength, kFiveGiB));
        EXPECT_FALSE(file.Truncate(ULLONG_MAX));
        char szError[64];
        file.GetLastErrorString(szError, 64);
        EXPECT_STREQ(szError, std::strerror(EINVAL));
        EXPECT_TRUE(CFileAccess::Truncate(folder.WidePath(L"f").c_str()));
        EXPECT_EQ(file.GetSize(), 0);
    }
}

TEST(FileContents, KeepTheirLawsInAnyEncodingAndSize)
{
    using namespace std::string_literals;
    for (const std::string& strBytes : {
             "a"s, "\0\0ab"s, "\xEF\xBB\xBFz\u00E4\u6E29"s, "\xEF\xBB\xBF"s, "ab\0c"s,
             "\xC3(((((((("s,                     // malformed at once
             "\xEF\xBB"s,                         // two bytes of a mark are none
             "\xFF\xFE\xE4\x00\x29\x6E\xFF\xFF"s, // with a unit that is no character
             "\xFE\xFF\xD8\x3D\xDE\x00"s,         // a pair of units stays two
             "\xFF\xFF"s, "\xFE\xFE"s,            // half a mark
             "a\0b\0c"s, "\0a\x80\0"s             // the odd byte is dropped
         })
        CheckFile(strBytes);
    std::string strLong(4097, '\0'); // no two chunks of a power of two are the same
    std::generate(strLong.begin(), strLong.end(),
                  [i = 0]() mutable { return static_cast<char>(i++ % 251); });
    for (const unsigned int uSize : {4097U, 4096U, 1025U, 1024U, 1023U, 513U, 512U, 0U})
        CheckFile(strLong.substr(0, uSize));
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
            CMemBlockPtr bytes;
            CLineLogger logger;
            const CFailingHeap heap(iAllowed, 1);
            bLoaded = CFileAccess::ToString(wsFile.c_str(), wsText);
            ASSERT_EQ(wsText.size(), bLoaded ? 3000U : 3U) << iAllowed;
            EXPECT_EQ(logger.TakeLines().size(), bLoaded ? 0U : 1U) << iAllowed;
            const CFailingHeap again(iAllowed, 1);
            const int iLoaded = CFileAccess::ToBuffer(wsFile.c_str(), bytes);
            const auto iSize = static_cast<int>(strBytes.size());
            EXPECT_EQ(iLoaded, CFailingHeap::HasFailed() && iLoaded < 0 ? -1 : iSize) << iAllowed;
        }
    }
    g_onCall = [&](ECall eCall) // it shrinks before it is read
    { return eCall == ECall::Seek ? ::truncate(folder.Path("f").c_str(), 6) : 0; };
    EXPECT_TRUE(CFileAccess::ToString(wsFile.c_str(), wsText));
    EXPECT_EQ(wsText, L"\u7878\u7878");
    ASSERT_EQ(::truncate(folder.Path("f").c_str(), 0x8000'0000), 0);
    for (const int iFirst : {INT_MAX, 0, 1}) // the look at the size that fails
    {
        CLineLogger logger;
        const CFailingCall call(ECall::Stat, EIO, iFirst);
        EXPECT_FALSE(CFileAccess::ToString(wsFile.c_str(), wsText));
        const CFailingCall again(ECall::Stat, EIO, std::max(iFirst - 1, 0));
        EXPECT_EQ(CFileAccess::ToBuffer(wsFile.c_str(), block), -1);
        EXPECT_EQ(block.GetSize(), 3U);
        EXPECT_EQ(logger.TakeLines().size(), 2U);
        WriteFile(folder.Path("f"), "text");
    }
    EXPECT_EQ(CFileAccess::ToBuffer(folder.WidePath().c_str(), block), -1) << "a folder";
    std::string strContent;
    EXPECT_FALSE(CFileAccess::GetStrFileContent("/no/f", strContent));
}

TEST(FileContents, StayWhenACopyCannotSucceed)
{
    const CTemporaryFolder folder;
    WriteFile(folder.Path("f"), "text");
    WriteFile(folder.Path("old"), "text");
    std::filesystem::create_directory(folder.Path("dir"));
    std::filesystem::create_hard_link(folder.Path("f"), folder.Path("link"));
    const std::string strOnto = " onto itself: " + ErrorText(EINVAL);
    for (const auto& [wsSource, wsTarget, strError] :
         std::vector<std::tuple<std::wstring, std::wstring, std::string>>{
             {L"f", L"f", "copying file " + folder.Path("f") + strOnto},
             {L"f", L"link", "copying file " + folder.Path("link") + strOnto},
             {L"f", L"old", "reading from file: " + ErrorText(EIO)}, // its size is not to be had
             {L"dir", L"f", "reading from file: " + ErrorText(EISDIR)},
             {L"no", L"f", "opening file " + folder.Path("no") + ": " + ErrorText(ENOENT)},
             {L"f", L"../../../../../../dev/full", "writing to file: " + ErrorText(ENOSPC)}})
    {
        CLineLogger logger;
        const CFailingCall call(ECall::Stat, EIO, wsTarget == L"old" ? 0 : INT_MAX);
        EXPECT_FALSE(CFileAccess::Copy(folder.WidePath(wsSource).c_str(),
                                       folder.WidePath(wsTarget).c_str()));
        EXPECT_THAT(logger.TakeLines(), ElementsAre("3 Error " + strError));
        EXPECT_EQ(ReadFile(folder.Path("f")) + ReadFile(folder.Path("old")), "texttext");
    }
    CFileAccess source, same;
    source.Open(folder.Path("f").c_str(), CFileAccess::FM_READ, true);
    same.Open(folder.Path("f").c_str(), CFileAccess::FM_READ_WRITE, false);
    same.SetPosition(4);
    for (const int iFirst : {INT_MAX, 0})
    {
        const CFailingCall call(ECall::Stat, EIO, iFirst);
        EXPECT_EQ(same.Copy(&source), 0U) << "would never end";
    }
    ::mkfifo(folder.Path("pipe").c_str(), 0600);
    source.Open(folder.Path("pipe").c_str(), CFileAccess::FM_READ_WRITE, true);
    EXPECT_EQ(source.Write("text", 4), 4);
    EXPECT_EQ(same.Copy(&source), 4) << "a short chunk ends it";
    CLineLogger logger;
    EXPECT_FALSE(CFileAccess::SetStrFileContent("/dev/full", "v"));
    const CFailingCall cut(ECall::Write, -1);
    EXPECT_FALSE(CFileAccess::SetStrFileContent(folder.Path("f").c_str(), "value"));
    EXPECT_FALSE(CFileAccess::SetStrFileContent("/no/f", "value"));
    EXPECT_THAT(logger.TakeLines(),
                ElementsAre("3 File /dev/full write failure: " + ErrorText(ENOSPC),
                            "2 Wrote 1 bytes out of 5 requested bytes to file.",
                            "3 File /no/f open failure: " + ErrorText(ENOENT)));
}

TEST(CreateDir, TellsARepeatedErrorOnce)
{
    const CTemporaryFolder folder;
    WriteFile(folder.Path("file"), "");
    const std::string strFailed = "3 Failed to create directory " + folder.Path();
    CLineLogger logger;
    for (const wchar_t* wszName : {L"", L"no/a", L"no/b", L"file/a", L"file", L"", L"file"})
        EXPECT_EQ(mu::CreateDir(folder.WidePath(wszName).c_str()), *wszName == 0);
    EXPECT_THAT(logger.TakeLines(), ElementsAre(strFailed + "/no/a: " + ErrorText(ENOENT),
                                                strFailed + "/file/a: " + ErrorText(ENOTDIR),
                                                strFailed + "/file: " + ErrorText(EEXIST),
                                                strFailed + "/file: " + ErrorText(EEXIST)));
    EXPECT_TRUE(mu::CreateDirectoriesPath(folder.WidePath(L"\u6E29/y/../z///")));
    EXPECT_TRUE(std::filesystem::is_directory(folder.Path("\u6E29/z")));
    EXPECT_FALSE(mu::CreateDirectoriesPath(folder.WidePath(L"new/../file/a/../../late")));
    EXPECT_FALSE(mu::FileExists(folder.Path("late").c_str()));
    const std::wstring wsFile = folder.WidePath(L"file");
    const std::wstring wsNew = folder.WidePath(L"new/\U0001F600");
    EXPECT_TRUE(mu::RenameFilePath(wsFile.c_str(), wsNew.c_str()));
    EXPECT_FALSE(mu::FileExists(wsFile.c_str()));
    EXPECT_TRUE(mu::FileExists(wsNew.c_str()));
    EXPECT_TRUE(mu::DeleteFilePath(wsNew.c_str()));
    EXPECT_TRUE(mu::DeleteDirectory(folder.WidePath(L"new").c_str()));
}

TEST(Listings, GiveFilesOrFoldersThatMatchInOrder)
{
    const CTemporaryFolder folder;
    for (const std::string strName : {"b.txt", "a.txt", "a.TXT", "\u00E4.txt", ".txt", "a\xFF.txt",
                                      "sub/", "dir.txt/", ".../", "\u6E29/"})
    {
        std::filesystem::create_directories(folder.Path(strName.substr(0, strName.find('/') + 1)));
        WriteFile(folder.Path(strName), ""); // a folder stays one
    }
    std::filesystem::create_symlink("a.txt", folder.Path("link.txt"));
    std::filesystem::create_symlink("sub", folder.Path("sublink"));
    std::filesystem::create_symlink("gone", folder.Path("dangling.txt"));
    ASSERT_EQ(::mkfifo(folder.Path("pipe.txt").c_str(), 0600), 0);

    const std::wstring wsFolder = folder.WidePath();
    std::vector<std::wstring> vNames = {L"old"};
    EXPECT_TRUE(mu::FindSubDirectories(wsFolder.c_str(), vNames));
    EXPECT_THAT(vNames, ElementsAre(L"...", L"dir.txt", L"sub", L"sublink", L"\u6E29"));
    EXPECT_TRUE(mu::FindFiles(wsFolder.c_str(), L"*.txt", vNames));
    EXPECT_THAT(vNames, ElementsAre(L".txt", L"a.txt", L"b.txt", L"link.txt", L"\u00E4.txt"));
    EXPECT_TRUE(mu::FindFiles(wsFolder.c_str(), L"[!b].t*", vNames));
    EXPECT_THAT(vNames, ElementsAre(L"a.txt", L"\u00E4.txt"));
    EXPECT_TRUE(mu::FindFiles(wsFolder.c_str(), L"", vNames));
    EXPECT_TRUE(vNames.empty());
    EXPECT_FALSE(mu::FindFiles(folder.WidePath(L"a.txt").c_str(), L"*", vNames));
    for (const int iEntries : {16, 15, 0}) // all of them, before the end is told
    {
        const CFailingCall call(ECall::Query, EIO, iEntries);
        EXPECT_FALSE(mu::FindFiles(wsFolder.c_str(), L"*", vNames)) << iEntries;
        EXPECT_THAT(vNames, IsEmpty());
    }
}

} // namespace
