// Sorted names and the disk's number; the rest is in the room io, with the files.

#include "mu/file_system.h"

#include "mu/unicode.h"
#include "tests/support/files.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/testing.h"

TEST(FileSystem, SortsNamesByCodePointOrByTime)
{
    const CTemporaryFolder folder;
    const std::vector<std::wstring> vSorted = {L"B", L"a", L"gone", L"\u00E4"};
    std::vector<std::wstring> vNames = vSorted;
    mu::SortFileNamesDescending(vNames);
    EXPECT_EQ(vNames, (std::vector<std::wstring>(vSorted.rbegin(), vSorted.rend())));
    mu::SortFileNames(vNames);
    EXPECT_EQ(vNames, vSorted);

    const std::pair<const wchar_t*, unsigned long long> kTimes[] = {
        {L"a", 2}, {L"\u00E4", 1}, {L"B", 1}};
    for (const auto& [wszName, ullTime] : kTimes)
    {
        WriteFile(folder.Path(mu::WideStringToNarrow(wszName)), "");
        EXPECT_TRUE(mu::SetFileTimesByPath(folder.WidePath(wszName).c_str(), 0, 3, ullTime));
    }
    mu::SortFileNamesByFileTime(vNames, folder.WidePath());
    EXPECT_EQ(vNames, (std::vector<std::wstring>{L"gone", L"B", L"\u00E4", L"a"}));
}

TEST(FileSystem, CopiesByPathAndTellsTheFixedFolders)
{
    const CTemporaryFolder folder;
    WriteFile(folder.Path("a"), "text");
    EXPECT_TRUE(mu::CopyFileByPath(folder.WidePath(L"a").c_str(), folder.WidePath(L"b").c_str()));
    EXPECT_EQ(ReadFile(folder.Path("b")), "text");
    std::wstring wsProgram = L"old", wsTemporary;
    mu::GetExecutableDirectory(wsProgram), mu::GetTemporaryFilesDirectory(wsTemporary);
    EXPECT_EQ(wsProgram + wsTemporary, L"/usr/tmp/");
}

TEST(FileSystem, ReadsADisksSerialNumber)
{
    const std::string strOtherWords = "0c5a 3fff 0000 0010 0000 0000 003f 0000\n0000 0000 ";
    const std::string strBlanks = " 2020 2020 2020 2020 2020\n2020 2020 ";
    const std::pair<std::string, const char*> kCases[] = {
        {"2057 4420" + strBlanks + "317e ", "WD               1~"},
        {"2020 2020" + strBlanks + "2020 ", ""},
        {"2057 4420" + strBlanks + "317f ", ""},
        {"1f57 4420" + strBlanks + "317e ", ""},
        {"2g57 4420" + strBlanks + "317e ", ""},
        {"2057 4420" + strBlanks + "317e", ""},
    };
    for (const auto& [strWords, szNumber] : kCases)
    {
        std::string strNumber = "old";
        EXPECT_EQ(mu::ParseIdentifySerialNumber(strOtherWords + strWords, strNumber),
                  *szNumber != '\0');
        EXPECT_EQ(strNumber, szNumber) << strWords;
    }
    std::string strNumber = "old";
    const bool bFound = mu::GetMainStorageSerialNumber(strNumber);
    EXPECT_EQ(bFound, !strNumber.empty());
    mu::SetMainStorageSerialNumber("WD 1");
    EXPECT_EQ(mu::GetSavedMainStorageSerialNumber(), "WD 1");
}
