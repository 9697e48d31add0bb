#include "mu/file_system.h"

#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "tests/support/files.h"
#include "tests/support/function_chain.h"
#include "tests/support/line_logger.h"
#include "tests/support/temporary_folder.h"

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

TEST(FileSystem, FailuresTellPathErrnoAndFunctionInUTF8)
{
    const CTemporaryFolder folder;
    const std::wstring wsNo = folder.WidePath(L"Gr\u00F6\u00DFe/\u6E29");
    const std::string strNo = folder.Path("Gr\u00F6\u00DFe/\u6E29");
    const wchar_t* const no = wsNo.c_str();
    const std::string strEnd = ": " + ErrorText(ENOENT);
    unsigned long long llTotal = 1;
    unsigned long long llFree = 1;
    CLineLogger logger;
    std::string strChains;
    logger.m_onMessage = [&] { strChains += FunctionChain() + "\n"; };
    EXPECT_EQ(mu::GetFileSizeByPath(no), 0U);
    EXPECT_FALSE(mu::DeleteDirectory(no));
    EXPECT_FALSE(mu::DeleteFilePath(no));
    EXPECT_FALSE(mu::RenameFilePath(no, L"\u00E9"));
    EXPECT_FALSE(mu::GetDiskSpaceAvailable(no, llTotal, llFree));
    EXPECT_THAT(logger.TakeLines(),
                ElementsAre("3 Failed to acquire file size of file " + strNo + strEnd,
                            "3 Failed to remove directory " + strNo + strEnd,
                            "3 Failed to delete file \"" + strNo + "\"" + strEnd,
                            "3 Failed to rename file \"" + strNo + "\" to \"\u00E9\"" + strEnd,
                            "3 Failed to acquire disk space available size" + strEnd));
    EXPECT_EQ(strChains, "PD::FS pszFileName:5;PD::GFSBP wszFilePath:7;\n"
                         "PD::DD pwszDir:7;\nPD::DFP pwszFileName:7;\n"
                         "PD::RFP wszOriginalName:7 wszNewName:7;\nPD::GDSA pwszDirectory:7;\n");
    EXPECT_EQ(llTotal + llFree, 0U);
}

TEST(FileSystem, WorksOnPathsInAnyScriptAndSizesBeyond32Bits)
{
    const CTemporaryFolder folder;
    CLineLogger logger;
    const std::wstring wsFolder = folder.WidePath(L"Gr\u00F6\u00DFe/a//b/");
    const std::wstring wsFile = wsFolder + L"\u6E29";
    const std::wstring wsRenamed = wsFolder + L"\U0001F600";
    EXPECT_TRUE(mu::CreateDirectoriesPath(wsFolder));
    WriteFile(folder.Path("Gr\u00F6\u00DFe/a/b/\u6E29"), "12345");
    ASSERT_EQ(::truncate(folder.Path("Gr\u00F6\u00DFe/a/b/\u6E29").c_str(), 0x1'0000'0003), 0);
    EXPECT_EQ(mu::GetFileSizeByPath(wsFile.c_str()), 0x1'0000'0003U);
    EXPECT_TRUE(mu::RenameFilePath(wsFile.c_str(), wsRenamed.c_str()));
    EXPECT_FALSE(mu::FileExists(wsFile.c_str()));
    EXPECT_TRUE(mu::DeleteFilePath(wsRenamed.c_str()));
    EXPECT_TRUE(mu::DeleteDirectory(wsFolder.c_str()));
    EXPECT_THAT(logger.TakeLines(), IsEmpty());
}

TEST(CreateDir, TellsARepeatedErrorOnce)
{
    const CTemporaryFolder folder;
    WriteFile(folder.Path("file"), "");
    const std::string strFailed = "3 Failed to create directory " + folder.Path();
    CLineLogger logger;
    for (const wchar_t* wszName : {L"", L"no/a", L"no/b", L"file/a", L"file", L"", L"file"})
    {
        EXPECT_EQ(mu::CreateDir(folder.WidePath(wszName).c_str()), *wszName == 0);
    }
    EXPECT_THAT(logger.TakeLines(), ElementsAre(strFailed + "/no/a: " + ErrorText(ENOENT),
                                                strFailed + "/file/a: " + ErrorText(ENOTDIR),
                                                strFailed + "/file: " + ErrorText(EEXIST),
                                                strFailed + "/file: " + ErrorText(EEXIST)));
    EXPECT_TRUE(mu::CreateDirectoriesPath(folder.WidePath(L"x/y/../z///")));
    EXPECT_TRUE(std::filesystem::is_directory(folder.Path("x/z")));
    EXPECT_FALSE(mu::CreateDirectoriesPath(folder.WidePath(L"new/../file/a/../../late")));
    EXPECT_TRUE(mu::FileExists(folder.Path("new").c_str()));
    EXPECT_FALSE(mu::FileExists(folder.Path("late").c_str()));
}

TEST(Listings, GiveFilesOrFoldersThatMatchInOrder)
{
    const CTemporaryFolder folder;
    for (const char* szFile : {"b.txt", "a.txt", "a.TXT", "\u00E4.txt", ".txt", "a\xFF.txt"})
    {
        WriteFile(folder.Path(szFile), "");
    }
    for (const char* szFolder : {"sub", "dir.txt", "...", "\u6E29"})
    {
        std::filesystem::create_directory(folder.Path(szFolder));
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
    EXPECT_FALSE(mu::FindFiles(folder.WidePath(L"a.txt").c_str(), L"*", vNames));
    EXPECT_THAT(vNames, IsEmpty());
}

} // namespace
