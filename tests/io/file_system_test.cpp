#include "mu/file_system.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/files.h"
#include "tests/support/function_chain.h"
#include "tests/support/line_logger.h"
#include "tests/support/temporary_folder.h"

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using TNames = std::vector<std::wstring>;

TEST(FileSystem, FailuresTellPathErrnoAndFunctionInUTF8)
{
    const CTemporaryFolder folder;
    const std::wstring wsMissing = folder.WidePath(L"Gr\u00F6\u00DFe/\u6E29");
    const std::string strMissing = folder.Path("Gr\u00F6\u00DFe/\u6E29");
    unsigned long long llTotal = 1;
    unsigned long long llFree = 1;
    const struct
    {
        std::function<bool()> succeeds;
        std::string strLine;
        const char* szChain;
    } kCases[] = {
        {[&] { return mu::GetFileSizeByPath(wsMissing.c_str()) != 0; },
         "acquire file size of file " + strMissing,
         "PD::FS pszFileName:5;PD::GFSBP wszFilePath:7;"},
        {[&] { return mu::CreateDir(wsMissing.c_str()); }, "create directory " + strMissing, ""},
        {[&] { return mu::DeleteDirectory(wsMissing.c_str()); }, "remove directory " + strMissing,
         "PD::DD pwszDir:7;"},
        {[&] { return mu::RenameFilePath(wsMissing.c_str(), L"\u00E9"); },
         "rename file \"" + strMissing + "\" to \"\u00E9\"",
         "PD::RFP wszOriginalName:7 wszNewName:7;"},
        {[&] { return mu::DeleteFilePath(wsMissing.c_str()); },
         "delete file \"" + strMissing + "\"", "PD::DFP pwszFileName:7;"},
        {[&] { return mu::GetDiskSpaceAvailable(wsMissing.c_str(), llTotal, llFree); },
         "acquire disk space available size", "PD::GDSA pwszDirectory:7;"},
    };
    for (const auto& row : kCases)
    {
        EXPECT_FALSE(row.succeeds()) << "without a logger";
        CLineLogger logger;
        logger.m_onMessage = [&] { EXPECT_EQ(FunctionChain(), row.szChain); };
        EXPECT_FALSE(row.succeeds());
        EXPECT_THAT(logger.TakeLines(),
                    ElementsAre("3 Failed to " + row.strLine + ": " + ErrorText(ENOENT)));
    }
    EXPECT_EQ(llTotal + llFree, 0U);
    mu::CreateDir(folder.WidePath().c_str()); // forget the errno
}

TEST(FileSystem, WorksOnPathsInAnyScript)
{
    const CTemporaryFolder folder;
    CLineLogger logger;
    const std::wstring wsFolder = folder.WidePath(L"Gr\u00F6\u00DFe/a//b/");
    const std::wstring wsFile = wsFolder + L"\u6E29";
    const std::wstring wsRenamed = wsFolder + L"\U0001F600";
    EXPECT_TRUE(mu::CreateDirectoriesPath(wsFolder));
    WriteFile(folder.Path("Gr\u00F6\u00DFe/a/b/\u6E29"), "12345");
    EXPECT_TRUE(mu::FileExists(wsFile.c_str()));
    EXPECT_EQ(mu::GetFileSizeByPath(wsFile.c_str()), 5U);
    EXPECT_TRUE(mu::RenameFilePath(wsFile.c_str(), wsRenamed.c_str()));
    EXPECT_FALSE(mu::FileExists(wsFile.c_str()));
    EXPECT_TRUE(mu::CopyFileByPath(wsRenamed.c_str(), wsFile.c_str()));
    EXPECT_EQ(ReadFile(folder.Path("Gr\u00F6\u00DFe/a/b/\u6E29")), "12345");
    EXPECT_TRUE(mu::DeleteFilePath(wsFile.c_str()));
    EXPECT_TRUE(mu::DeleteFilePath(wsRenamed.c_str()));
    EXPECT_TRUE(mu::DeleteDirectory(wsFolder.c_str()));
    EXPECT_THAT(logger.TakeLines(), IsEmpty());
}

TEST(FileSystem, SizesDoNotEndAt32Bits)
{
    const CTemporaryFolder folder;
    WriteFile(folder.Path("f"), "x");
    ASSERT_EQ(::truncate(folder.Path("f").c_str(), 0x1'0000'0003), 0);
    EXPECT_EQ(mu::FileSize(folder.Path("f").c_str()), 0x1'0000'0003U);
    unsigned long long llTotal = 0;
    unsigned long long llFree = 0;
    ASSERT_TRUE(mu::GetDiskSpaceAvailable(folder.WidePath().c_str(), llTotal, llFree));
    EXPECT_EQ(llTotal, std::filesystem::space(folder.Path()).capacity);
    EXPECT_LE(llFree, llTotal);
}

TEST(CreateDir, TellsARepeatedErrorOnce)
{
    const CTemporaryFolder folder;
    WriteFile(folder.Path("file"), "");
    const struct
    {
        const wchar_t* wszName; // empty: exists
        int iTold;
    } kCases[] = {{L"no/a", ENOENT}, {L"no/b", 0},      {L"file/a", ENOTDIR}, {L"file", EEXIST},
                  {L"", 0},          {L"file", EEXIST}, {L"file/b", ENOTDIR}, {L"file/a", 0}};
    EXPECT_FALSE(mu::CreateDir(folder.WidePath(L"no/a").c_str())); // nobody heard of it
    for (const auto& row : kCases)
    {
        CLineLogger logger;
        const std::wstring wsPath = folder.WidePath(row.wszName);
        EXPECT_EQ(mu::CreateDir(wsPath.c_str()), *row.wszName == 0);
        const std::string strPath(wsPath.begin(), wsPath.end());
        std::vector<std::string> vLines;
        if (row.iTold != 0)
        {
            vLines.push_back("3 Failed to create directory " + strPath + ": " +
                             ErrorText(row.iTold));
        }
        EXPECT_EQ(logger.TakeLines(), vLines);
    }
    mu::CreateDir(folder.WidePath().c_str());
}

TEST(CreateDirectoriesPath, StopsAtTheFirstFailureAndShowsItsStep)
{
    const CTemporaryFolder folder;
    WriteFile(folder.Path("file"), "");
    const struct
    {
        std::wstring wsPath;
        const char* szStep; // null: succeeds
    } kCases[] = {
        {L"/", nullptr},
        {folder.WidePath(L"one"), nullptr},
        {folder.WidePath(L"x/y/../z///"), nullptr},
        {folder.WidePath(L"file"), "create directory path 3"},
        {folder.WidePath(L"file/a"), "create directory path 2"},
        {folder.WidePath(L"new/") + std::wstring(300, L'n') + L"/a", "create directory path 2"},
        {L"", "create directory path 3"},
    };
    for (const auto& row : kCases)
    {
        CLineLogger logger;
        const char* szStep = nullptr;
        logger.m_onMessage = [&]
        {
            EXPECT_EQ(FunctionChain(), "MU::CDP szStep:5;");
            szStep =
                *static_cast<const char**>(GetCurrentFuncStateEntry()->m_pFirstParam->m_pValue);
        };
        EXPECT_EQ(mu::CreateDirectoriesPath(row.wsPath), row.szStep == nullptr);
        EXPECT_STREQ(szStep, row.szStep);
        std::error_code error;
        EXPECT_EQ(std::filesystem::is_directory(row.wsPath, error), row.szStep == nullptr);
        mu::CreateDir(folder.WidePath().c_str());
    }
    EXPECT_TRUE(mu::FileExists(folder.Path("new").c_str()));
}

TEST(FileTimes, RoundTripWhatTheSystemCanHold)
{
    const CTemporaryFolder folder;
    const std::wstring wsFile = folder.WidePath(L"f");
    WriteFile(folder.Path("f"), "");
    unsigned long long llChange = 0;
    unsigned long long llAccess = 0;
    unsigned long long llModify = 0;
    for (const unsigned long long llTime : {0ULL, 951'782'400ULL, 0x7FFF'FFFFULL, 4'294'967'297ULL})
    {
        EXPECT_TRUE(mu::SetFileTimesByPath(wsFile.c_str(), 5, llTime, llTime / 2));
        EXPECT_TRUE(mu::GetFileTimesByPath(wsFile.c_str(), llChange, llAccess, llModify));
        EXPECT_EQ(llAccess, static_cast<unsigned long long>(static_cast<time_t>(llTime)));
        EXPECT_EQ(llModify, static_cast<unsigned long long>(static_cast<time_t>(llTime / 2)));
        EXPECT_GT(llChange, 1'500'000'000U) << "cannot be set";
    }
    const std::wstring wsMissing = folder.WidePath(L"no");
    EXPECT_FALSE(mu::GetFileTimesByPath(wsMissing.c_str(), llChange, llAccess, llAccess));
    EXPECT_GT(llChange, 0U) << "untouched";
    EXPECT_FALSE(mu::SetFileTimesByPath(wsMissing.c_str(), 1, 1, 1));
}

TEST(Listings, GiveFilesOrFoldersThatMatchInOrder)
{
    const CTemporaryFolder folder;
    for (const char* szFile : {"b.txt", "a.txt", "a.TXT", "\u00E4.txt", ".txt", "[x]", "a\xFF.txt"})
    {
        WriteFile(folder.Path(szFile), "");
    }
    for (const char* szFolder : {"sub2", "sub1", "dir.txt", "...", "\u6E29"})
    {
        std::filesystem::create_directory(folder.Path(szFolder));
    }
    std::filesystem::create_symlink("a.txt", folder.Path("link.txt"));
    std::filesystem::create_symlink("sub1", folder.Path("sublink"));
    std::filesystem::create_symlink("gone", folder.Path("dangling.txt"));
    ASSERT_EQ(::mkfifo(folder.Path("pipe.txt").c_str(), 0600), 0);

    const struct
    {
        const wchar_t* wszPattern; // null: sub-directories
        TNames vNames;
    } kCases[] = {
        {nullptr, {L"...", L"dir.txt", L"sub1", L"sub2", L"sublink", L"\u6E29"}},
        {L"*.txt", {L".txt", L"a.txt", L"b.txt", L"link.txt", L"\u00E4.txt"}},
        {L"?.txt", {L"a.txt", L"b.txt", L"\u00E4.txt"}},
        {L"[!b].t*", {L"a.txt", L"\u00E4.txt"}},
        {L"", {}},
    };
    for (const auto& row : kCases)
    {
        TNames vNames = {L"old"};
        EXPECT_TRUE(row.wszPattern == nullptr
                        ? mu::FindSubDirectories(folder.WidePath().c_str(), vNames)
                        : mu::FindFiles(folder.WidePath().c_str(), row.wszPattern, vNames));
        EXPECT_EQ(vNames, row.vNames);
    }
    TNames vNames = {L"old"};
    EXPECT_FALSE(mu::FindFiles(folder.WidePath(L"a.txt").c_str(), L"*", vNames));
    EXPECT_THAT(vNames, IsEmpty());
}

TEST(Listings, SortByNameOrTime)
{
    const TNames vSorted = {L"", L"B", L"a", L"ab", L"b", L"\u00E4", {wchar_t(0x80000000)}};
    TNames vNames = {L"b", vSorted.back(), L"", L"\u00E4", L"ab", L"B", L"a"};
    mu::SortFileNames(vNames);
    EXPECT_EQ(vNames, vSorted);
    mu::SortFileNamesDescending(vNames);
    EXPECT_EQ(vNames, TNames(vSorted.rbegin(), vSorted.rend()));

    const CTemporaryFolder folder;
    unsigned long long llTime = 1'000;
    for (const wchar_t* wszName : {L"4", L"2", L"1", L"3"})
    {
        WriteFile(std::filesystem::path(folder.WidePath(wszName)).string(), "");
        mu::SetFileTimesByPath(folder.WidePath(wszName).c_str(), 0, 0, llTime++);
    }
    TNames vEqual;
    std::generate_n(std::back_inserter(vEqual), 40,
                    [&] { return L"gone " + std::to_wstring(99 - vEqual.size()); });
    vNames = vEqual;
    mu::SortFileNamesByFileTime(vNames, folder.WidePath());
    EXPECT_EQ(vNames, vEqual);
    for (const std::wstring& wsFolder : {folder.WidePath(), folder.WidePath(L"")})
    {
        TNames vFiles = {L"1", L"2", L"gone 2", L"3", L"gone 1", L"4"};
        mu::SortFileNamesByFileTime(vFiles, wsFolder);
        EXPECT_THAT(vFiles, ElementsAre(L"gone 2", L"gone 1", L"4", L"2", L"1", L"3"));
    }
}

// The identify text of a disk whose words 10 to 19 are these.
std::string IdentifyText(const std::string& strSerialWords, std::size_t uWords = 256)
{
    std::string strText;
    for (std::size_t u = 0; u < uWords; ++u)
    {
        strText += u >= 10 && u < 20 ? strSerialWords.substr(u * 4 - 40, 4) : "1234";
        strText += u % 8 == 7 ? '\n' : ' ';
    }
    return strText;
}

TEST(StorageSerialNumber, IsReadFromTheIdentifyWords)
{
    const std::string strTwentyLetters = "4142434445464748494a4b4c4d4e4f5051525354";
    const struct
    {
        const char* szRule;
        std::string strIdentify;
        const char* szSerialNumber; // empty: refused
    } kCases[] = {
        {"high byte first, trimmed", IdentifyText("2020202057442d574132204A4331323334202020"),
         "WD-WA2 JC1234"},
        {"just enough words", IdentifyText(strTwentyLetters, 20), "ABCDEFGHIJKLMNOPQRST"},
        {"a word short", IdentifyText(strTwentyLetters, 19), ""},
        {"blanks only", IdentifyText("2020202020202020202020202020202020202020"), ""},
        {"NULs", IdentifyText("0000000000000000000000000000000000000000"), ""},
        {"no digits", IdentifyText("41424344454647xx494a4b4c4d4e4f5051525354"), ""},
        {"empty", "", ""},
    };
    for (const auto& row : kCases)
    {
        SCOPED_TRACE(row.szRule);
        std::string strSerialNumber = "old";
        EXPECT_EQ(mu::ParseIdentifySerialNumber(row.strIdentify, strSerialNumber),
                  *row.szSerialNumber != 0);
        EXPECT_EQ(strSerialNumber, row.szSerialNumber);
    }
    std::string strSerialNumber = "old";
    const bool bHasDisk = mu::GetMainStorageSerialNumber(strSerialNumber);
    EXPECT_EQ(bHasDisk, !strSerialNumber.empty());
    EXPECT_EQ(mu::GetSavedMainStorageSerialNumber(), "");
    mu::SetMainStorageSerialNumber("S1");
    EXPECT_EQ(mu::GetSavedMainStorageSerialNumber(), "S1");
}

} // namespace
