#include "mu/file_system.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
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
        std::function<bool()> call;
        std::string strLine;
        std::string strChain;
    } kCases[] = {
        {[&] { return mu::FileSize(strMissing.c_str()) != 0; },
         "Failed to acquire file size of file " + strMissing + ": ", "PD::FS pszFileName:5;"},
        {[&] { return mu::GetFileSizeByPath(wsMissing.c_str()) != 0; },
         "Failed to acquire file size of file " + strMissing + ": ",
         "PD::FS pszFileName:5;PD::GFSBP wszFilePath:7;"},
        {[&] { return mu::CreateDir(wsMissing.c_str()); },
         "Failed to create directory " + strMissing + ": ", ""},
        {[&] { return mu::DeleteDirectory(wsMissing.c_str()); },
         "Failed to remove directory " + strMissing + ": ", "PD::DD pwszDir:7;"},
        {[&] { return mu::RenameFilePath(wsMissing.c_str(), L"\u00E9"); },
         "Failed to rename file \"" + strMissing + "\" to \"\u00E9\": ",
         "PD::RFP wszOriginalName:7 wszNewName:7;"},
        {[&] { return mu::DeleteFilePath(wsMissing.c_str()); },
         "Failed to delete file \"" + strMissing + "\": ", "PD::DFP pwszFileName:7;"},
        {[&] { return mu::GetDiskSpaceAvailable(wsMissing.c_str(), llTotal, llFree); },
         "Failed to acquire disk space available size: ", "PD::GDSA pwszDirectory:7;"},
    };
    for (const auto& row : kCases)
    {
        SCOPED_TRACE(row.strLine);
        EXPECT_FALSE(row.call()) << "without a logger";

        CLineLogger logger;
        std::string strChain = "(no message)";
        logger.m_onMessage = [&] { strChain = FunctionChain(); };
        EXPECT_FALSE(row.call());
        EXPECT_THAT(logger.TakeLines(), ElementsAre("3 " + row.strLine + ErrorText(ENOENT)));
        EXPECT_EQ(strChain, row.strChain);
    }
    EXPECT_EQ(llTotal, 0U);
    EXPECT_EQ(llFree, 0U);
    EXPECT_FALSE(mu::FileExists(wsMissing.c_str()));
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
    EXPECT_TRUE(mu::CreateDirectoriesPath(wsFolder));
    WriteFile(folder.Path("Gr\u00F6\u00DFe/a/b/\u6E29"), "12345");
    EXPECT_TRUE(mu::FileExists(wsFile.c_str()));
    EXPECT_EQ(mu::GetFileSizeByPath(wsFile.c_str()), 5U);
    EXPECT_TRUE(mu::RenameFilePath(wsFile.c_str(), wsRenamed.c_str()));
    EXPECT_TRUE(mu::CopyFileByPath(wsRenamed.c_str(), wsFile.c_str()));
    EXPECT_EQ(ReadFile(folder.Path("Gr\u00F6\u00DFe/a/b/\u6E29")), "12345");
    EXPECT_TRUE(mu::DeleteFilePath(wsFile.c_str()));
    EXPECT_FALSE(mu::FileExists(wsFile.c_str()));
    EXPECT_TRUE(mu::DeleteFilePath(wsRenamed.c_str()));
    EXPECT_TRUE(mu::DeleteDirectory(wsFolder.c_str()));
    EXPECT_THAT(logger.TakeLines(), IsEmpty());
}

TEST(FileSystem, SizesAndDiskSpaceExceed32Bits)
{
    const CTemporaryFolder folder;
    WriteFile(folder.Path("f"), "x");
    ASSERT_EQ(::truncate(folder.Path("f").c_str(), 0x1'0000'0003), 0);
    EXPECT_EQ(mu::FileSize(folder.Path("f").c_str()), 0x1'0000'0003U);

    unsigned long long llTotal = 0;
    unsigned long long llFree = 0;
    ASSERT_TRUE(mu::GetDiskSpaceAvailable(folder.WidePath().c_str(), llTotal, llFree));
    const auto space = std::filesystem::space(folder.Path());
    EXPECT_EQ(llTotal, space.capacity);
    EXPECT_LE(llFree, llTotal);
}

TEST(CreateDir, TellsARepeatedErrorOnce)
{
    const CTemporaryFolder folder;
    const std::wstring wsMissing = folder.WidePath(L"no/a");
    const std::wstring wsInFile = folder.WidePath(L"file/a");
    const std::wstring wsFile = folder.WidePath(L"file");
    WriteFile(folder.Path("file"), "");
    EXPECT_FALSE(mu::CreateDir(wsMissing.c_str())); // told to nobody, so not remembered

    CLineLogger logger;
    EXPECT_FALSE(mu::CreateDir(wsMissing.c_str()));
    EXPECT_FALSE(mu::CreateDir((wsMissing + L"/b").c_str()));
    EXPECT_FALSE(mu::CreateDir(wsInFile.c_str()));
    EXPECT_FALSE(mu::CreateDir(wsFile.c_str())) << "a file is in the way";
    EXPECT_FALSE(mu::CreateDir(wsInFile.c_str()));
    EXPECT_TRUE(mu::CreateDir(folder.WidePath().c_str())) << "exists already";
    EXPECT_FALSE(mu::CreateDir(wsInFile.c_str()));

    const std::string strBegin = "3 Failed to create directory " + folder.Path();
    EXPECT_THAT(logger.TakeLines(), ElementsAre(strBegin + "/no/a: " + ErrorText(ENOENT),
                                                strBegin + "/file/a: " + ErrorText(ENOTDIR),
                                                strBegin + "/file: " + ErrorText(EEXIST),
                                                strBegin + "/file/a: " + ErrorText(ENOTDIR),
                                                strBegin + "/file/a: " + ErrorText(ENOTDIR)));
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
        SCOPED_TRACE(mu::FileExists(row.wsPath.c_str()) ? "exists" : "missing");
        CLineLogger logger;
        std::string strStep = "(no message)";
        logger.m_onMessage = [&]
        {
            const SFuncStateParam* const pStep = GetCurrentFuncStateEntry()->m_pFirstParam;
            EXPECT_EQ(FunctionChain(), "MU::CDP szStep:5;");
            strStep = *static_cast<const char**>(pStep->m_pValue);
        };
        EXPECT_EQ(mu::CreateDirectoriesPath(row.wsPath), row.szStep == nullptr);
        EXPECT_EQ(strStep, row.szStep != nullptr ? row.szStep : "(no message)");
        EXPECT_TRUE(row.szStep != nullptr || std::filesystem::is_directory(row.wsPath));
        mu::CreateDir(folder.WidePath().c_str());
    }
    EXPECT_TRUE(mu::FileExists(folder.WidePath(L"new").c_str()));
    EXPECT_TRUE(mu::FileExists(folder.WidePath(L"x/z").c_str()));
}

TEST(FileTimes, RoundTripWhatTheSystemCanHold)
{
    const CTemporaryFolder folder;
    const std::wstring wsFile = folder.WidePath(L"f");
    WriteFile(folder.Path("f"), "");
    std::vector<unsigned long long> vTimes = {0, 1, 951'782'400, 0x7FFF'FFFF};
    if (sizeof(time_t) > 4)
    {
        vTimes.push_back(4'294'967'297);
    }
    for (const unsigned long long llTime : vTimes)
    {
        unsigned long long llChange = 0;
        unsigned long long llAccess = 0;
        unsigned long long llModify = 0;
        EXPECT_TRUE(mu::SetFileTimesByPath(wsFile.c_str(), 5, llTime, llTime / 2));
        EXPECT_TRUE(mu::GetFileTimesByPath(wsFile.c_str(), llChange, llAccess, llModify));
        EXPECT_EQ(llAccess, llTime);
        EXPECT_EQ(llModify, llTime / 2);
        EXPECT_GT(llChange, 1'500'000'000U) << "cannot be set";
    }
    unsigned long long llUntouched = 7;
    EXPECT_FALSE(mu::GetFileTimesByPath(folder.WidePath(L"no").c_str(), llUntouched, llUntouched,
                                        llUntouched));
    EXPECT_EQ(llUntouched, 7U);
    EXPECT_FALSE(mu::SetFileTimesByPath(folder.WidePath(L"no").c_str(), 1, 1, 1));
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
    std::filesystem::create_symlink(folder.Path("a.txt"), folder.Path("link.txt"));
    std::filesystem::create_symlink(folder.Path("sub1"), folder.Path("sublink"));
    std::filesystem::create_symlink(folder.Path("gone"), folder.Path("dangling.txt"));
    ASSERT_EQ(::mkfifo(folder.Path("pipe.txt").c_str(), 0600), 0);

    const struct
    {
        const wchar_t* wszPattern; // null: sub-directories
        TNames vNames;
    } kCases[] = {
        {nullptr, {L"...", L"dir.txt", L"sub1", L"sub2", L"sublink", L"\u6E29"}},
        {L"*.txt", {L".txt", L"a.txt", L"b.txt", L"link.txt", L"\u00E4.txt"}},
        {L"?.txt", {L"a.txt", L"b.txt", L"\u00E4.txt"}},
        {L"*", {L".txt", L"[x]", L"a.TXT", L"a.txt", L"b.txt", L"link.txt", L"\u00E4.txt"}},
        {L"\u00E4*", {L"\u00E4.txt"}},
        {L"b.txt", {L"b.txt"}},
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
    vNames = {L"old"};
    EXPECT_FALSE(mu::FindSubDirectories(folder.WidePath(L"no").c_str(), vNames));
    EXPECT_THAT(vNames, IsEmpty());
}

TEST(Listings, SortByNameOrTime)
{
    TNames vNames = {L"b", L"", L"\u00E4", L"ab", L"B", L"a"};
    vNames.push_back({static_cast<wchar_t>(0x80000000U)}); // units are unsigned
    TNames vSorted = {L"", L"B", L"a", L"ab", L"b", L"\u00E4", vNames.back()};
    mu::SortFileNames(vNames);
    EXPECT_EQ(vNames, vSorted);
    mu::SortFileNamesDescending(vNames);
    EXPECT_EQ(vNames, TNames(vSorted.rbegin(), vSorted.rend()));

    const CTemporaryFolder folder;
    for (const wchar_t* wszName : {L"1", L"2", L"3", L"4"})
    {
        WriteFile(std::filesystem::path(folder.WidePath(wszName)).string(), "");
        const auto llTime =
            static_cast<unsigned long long>(*wszName == L'2' ? 500 : '9' - *wszName);
        EXPECT_TRUE(mu::SetFileTimesByPath(folder.WidePath(wszName).c_str(), 0, 0, llTime));
    }
    for (const std::wstring& wsFolder : {folder.WidePath(), folder.WidePath(L"")})
    {
        TNames vFiles = {L"1", L"2", L"gone 2", L"3", L"gone 1", L"4"};
        mu::SortFileNamesByFileTime(vFiles, wsFolder);
        EXPECT_EQ(vFiles, (TNames{L"gone 2", L"gone 1", L"4", L"3", L"1", L"2"}));
    }
}

// The identify text of a disk whose words 10 to 19 are these, the others 0x1234.
std::string IdentifyText(const std::string& strSerialWords, int iWords = 256)
{
    std::string strText;
    for (int i = 0; i < iWords; ++i)
    {
        const auto uSerial = static_cast<std::size_t>(i - 10) * 4;
        strText += i >= 10 && i < 20 ? strSerialWords.substr(uSerial, 4) : "1234";
        strText += i % 8 == 7 ? '\n' : ' ';
    }
    return strText;
}

TEST(StorageSerialNumber, IsReadFromTheIdentifyWords)
{
    const struct
    {
        const char* szRule;
        std::string strIdentify;
        const char* szSerialNumber; // null: refused
    } kCases[] = {
        {"high byte first, trimmed", IdentifyText("2020202057442d574132204A4331323334202020"),
         "WD-WA2 JC1234"},
        {"all twenty", IdentifyText("4142434445464748494a4b4c4d4e4f5051525354"),
         "ABCDEFGHIJKLMNOPQRST"},
        {"just enough words", IdentifyText("4142434445464748494a4b4c4d4e4f5051525354", 20),
         "ABCDEFGHIJKLMNOPQRST"},
        {"a word short", IdentifyText("4142434445464748494a4b4c4d4e4f5051525354", 19), nullptr},
        {"blanks only", IdentifyText("2020202020202020202020202020202020202020"), nullptr},
        {"NULs", IdentifyText("0000000000000000000000000000000000000000"), nullptr},
        {"no digits", IdentifyText("41424344454647xx494a4b4c4d4e4f5051525354"), nullptr},
        {"empty", "", nullptr},
    };
    for (const auto& row : kCases)
    {
        SCOPED_TRACE(row.szRule);
        std::string strSerialNumber = "old";
        EXPECT_EQ(mu::ParseIdentifySerialNumber(row.strIdentify, strSerialNumber),
                  row.szSerialNumber != nullptr);
        EXPECT_EQ(strSerialNumber, row.szSerialNumber != nullptr ? row.szSerialNumber : "");
    }

    EXPECT_EQ(mu::GetSavedMainStorageSerialNumber(), "");
    mu::SetMainStorageSerialNumber("S1");
    EXPECT_EQ(mu::GetSavedMainStorageSerialNumber(), "S1");
    std::string strSerialNumber = "old";
    const bool bHasDisk = mu::GetMainStorageSerialNumber(strSerialNumber);
    EXPECT_EQ(bHasDisk, !strSerialNumber.empty());
}

TEST(FixedLocations, AreSet)
{
    std::wstring wsDirectory = L"old";
    mu::GetTemporaryFilesDirectory(wsDirectory);
    EXPECT_EQ(wsDirectory, L"/usr/tmp/");
    mu::GetExecutableDirectory(wsDirectory);
    EXPECT_EQ(wsDirectory, L"");
}

} // namespace
