#include "mu/text.h"

#include <cstring>
#include <cwchar>
#include <string>

#include <gtest/gtest.h>

#include "tests/mu/wide.h"

namespace
{

using namespace std::string_literals;

TEST(Text, ComparisonGivesThePlaceOfTheDifference)
{
    struct SCase
    {
        const char* szFirst;
        const char* szSecond;
        int iResult;
    };
    constexpr SCase kCases[] = {
        {"", "", 0},       {"abc", "ABC", 0}, {"abc", "ABD", -3}, {"abd", "ABC", 3},
        {"ab", "abc", -3}, {"", "x", -1},     {"x", "", 1},       {"_", "a", 1}, // not -1
        {"[", "z", 1},     {"z\xE9", "z", 2}, {"\xE9", "z", 1},   {"\xE9", "\xC9", 1},
        {"@", "`", -1},    {"{", "Z", 1},
    };
    for (const SCase& row : kCases)
    {
        SCOPED_TRACE(row.szFirst + "|"s + row.szSecond);
        EXPECT_EQ(mu::CompareIgnoreCase(row.szFirst, row.szSecond), row.iResult);
        EXPECT_EQ(mu::CompareIgnoreCase(Wide(row.szFirst).c_str(), Wide(row.szSecond).c_str()),
                  row.iResult);
    }
    const wchar_t kHighest[] = {static_cast<wchar_t>(0xFFFFFFFF), 0};
    EXPECT_EQ(mu::CompareIgnoreCase(kHighest, L"a"), 1);
}

TEST(Text, CasesAreThoseOfAscii)
{
    const std::string strText = "@azAZ[`{\xE9\0z"s;
    const std::string strUpper = "@AZAZ[`{\xE9\0Z"s;
    const std::string strLower = "@azaz[`{\xE9\0z"s;
    const int iLength = static_cast<int>(strText.size());

    std::string strOut = strText;
    mu::StringToUpperCase(strOut);
    EXPECT_EQ(strOut, strUpper);
    mu::StringToLowerCase(strOut);
    EXPECT_EQ(strOut, strLower);
    mu::StringToUpperCase(strOut.data(), 2, strOut);
    EXPECT_EQ(strOut, "@A");
    mu::StringToLowerCase(strText.data(), iLength, strOut);
    EXPECT_EQ(strOut, strLower);
    mu::StringToUpperCase("x", -1, strOut);
    EXPECT_EQ(strOut, "");

    std::wstring wsOut = Wide(strText);
    mu::StringToUpperCase(wsOut);
    EXPECT_EQ(wsOut, Wide(strUpper));
    mu::StringToLowerCase(wsOut);
    EXPECT_EQ(wsOut, Wide(strLower));
    mu::StringToUpperCase(Wide(strText).data(), iLength, wsOut);
    EXPECT_EQ(wsOut, Wide(strUpper));
    mu::StringToLowerCase(Wide(strText).data(), iLength, wsOut);
    EXPECT_EQ(wsOut, Wide(strLower));

    strOut = strText;
    EXPECT_EQ(mu::StringToUpperCase(strOut.data()), 9);
    EXPECT_EQ(strOut, "@AZAZ[`{\xE9\0z"s); // up to the NUL
}

TEST(Text, ReversesItsHead)
{
    for (const auto& [iLength, wszReversed] : {std::pair(-1, L"abcd"), std::pair(1, L"abcd"),
                                               std::pair(2, L"bacd"), std::pair(3, L"cbad")})
    {
        wchar_t wszText[] = L"abcd";
        mu::wcsnrev(wszText, iLength);
        EXPECT_STREQ(wszText, wszReversed);
    }
}

TEST(Text, NullsBecomeSpaces)
{
    std::string strBuffer = "\0a\0\0"s;
    std::wstring wsBuffer = Wide(strBuffer);
    EXPECT_EQ(mu::ReplaceNullsWithSpaces(strBuffer.data(), 0), 0);
    EXPECT_EQ(mu::ReplaceNullsWithSpaces(strBuffer.data(), -1), 0);
    EXPECT_EQ(mu::ReplaceNullsWithSpaces(strBuffer.data(), 3), 2);
    EXPECT_EQ(strBuffer, " a \0"s);
    EXPECT_EQ(mu::ReplaceNullsWithSpaces(wsBuffer.data(), 3), 2);
    EXPECT_EQ(wsBuffer, Wide(strBuffer));
}

TEST(Text, LineBreaksBecomeOneNewLineEach)
{
    struct SCase
    {
        std::string strIn;
        std::string strNewLine;
        std::string strOut;
    };
    const SCase kCases[] = {
        {"a\r\nb\nc\r", "|", "a|b|c|"},
        {"\n\r\n\r\r\n\n", "|", "|||||"},
        {"\n", "<br>", "<br>"},
        {"a\r\nb", "", "ab"},
        {"a\r\nb", "\r\n", "a\r\nb"},
        {"a\0\nb"s, "|", "a\0|b"s},
        {"", "|", ""},
        {"none", "|", "none"},
    };
    for (const SCase& row : kCases)
    {
        SCOPED_TRACE(testing::PrintToString(row.strIn));
        const int iIn = static_cast<int>(row.strIn.size());
        const int iOut = static_cast<int>(row.strOut.size());
        for (int iCapacity = -1; iCapacity <= iOut + 2; ++iCapacity)
        {
            const int iWritten = std::min(std::max(iCapacity, 0), iOut);
            std::string strExpected = row.strOut.substr(0, static_cast<std::size_t>(iWritten));
            if (iCapacity > iWritten)
            {
                strExpected += '\0';
            }
            std::string strBuffer(static_cast<std::size_t>(iOut) + 4, 'Z');
            strExpected.resize(strBuffer.size(), 'Z');
            EXPECT_EQ(mu::ReplaceNewLines(row.strIn.data(), strBuffer.data(),
                                          row.strNewLine.c_str(), iIn, iCapacity),
                      iWritten);
            EXPECT_EQ(strBuffer, strExpected) << "in " << iCapacity;
        }

        std::string strOut = row.strIn; // out of itself
        EXPECT_EQ(mu::ReplaceNewLines(strOut, strOut, row.strNewLine), iOut);
        EXPECT_EQ(strOut, row.strOut);
        std::wstring wsOut = L"old";
        EXPECT_EQ(mu::ReplaceNewLines(Wide(row.strIn), wsOut, Wide(row.strNewLine)), iOut);
        EXPECT_EQ(wsOut, Wide(row.strOut));
    }
    char szOut[] = "old";
    EXPECT_EQ(mu::ReplaceNewLines(nullptr, szOut, "|", -1, 4), 0);
    EXPECT_STREQ(szOut, "");
}

TEST(Text, TrimsControlCharactersAndSpaces)
{
    for (const auto& [strText, strTrimmed] :
         {std::pair(""s, ""s), std::pair(" \t\r\n\0\x1F"s, ""s), std::pair("\0 a b\x1F "s, "a b"s),
          std::pair("!"s, "!"s), std::pair("\xC3\xA9\x80"s, "\xC3\xA9\x80"s),
          std::pair(" \xA0\x7F"s, "\xA0\x7F"s)})
    {
        std::string strOut = strText;
        mu::TrimSideWhiteSpaces(strOut);
        EXPECT_EQ(strOut, strTrimmed);
        std::wstring wsOut = Wide(strText);
        mu::TrimSideWhiteSpaces(wsOut);
        EXPECT_EQ(wsOut, Wide(strTrimmed));
    }
    std::wstring wsHighest(1, static_cast<wchar_t>(0x80000000));
    mu::TrimSideWhiteSpaces(wsHighest);
    EXPECT_EQ(wsHighest.size(), 1U);
}

TEST(Text, FolderSeparators)
{
    struct SCase
    {
        const wchar_t* wszPath;
        const wchar_t* wszWith;
        const wchar_t* wszWithout;
    };
    constexpr SCase kCases[] = {
        {L"", L"", L""},        {L"a", L"a/", L"a"}, {L"/a", L"/a/", L"/a"},  {L"a/", L"a/", L"a"},
        {L"a\\", L"a\\", L"a"}, {L"/", L"/", L""},   {L"a//", L"a//", L"a/"},
    };
    for (const SCase& row : kCases)
    {
        SCOPED_TRACE(row.wszPath);
        wchar_t wszPath[8];
        mu::AddFolderSeparator(std::wcscpy(wszPath, row.wszPath));
        EXPECT_STREQ(wszPath, row.wszWith);
        mu::RemoveLastFolderSeparator(std::wcscpy(wszPath, row.wszPath));
        EXPECT_STREQ(wszPath, row.wszWithout);
        std::wstring wsPath = row.wszPath;
        mu::AddFolderSeparator(wsPath);
        EXPECT_EQ(wsPath, row.wszWith);
        wsPath = row.wszPath;
        mu::RemoveLastFolderSeparator(wsPath);
        EXPECT_EQ(wsPath, row.wszWithout);
    }
}

TEST(Text, PrintingStaysInItsRoom)
{
    for (const auto& [iCapacity, szWritten] :
         {std::pair(-1, "old"), std::pair(0, "old"), std::pair(1, ""), std::pair(3, "12"),
          std::pair(9, "12.a")})
    {
        char szOut[9] = "old";
        EXPECT_EQ(mu::SNPrintF(szOut, iCapacity, "%d.%c", 12, 'a'), 4);
        EXPECT_STREQ(szOut, szWritten);
    }
    wchar_t wszOut[9] = L"old";
    EXPECT_LT(mu::SWPrintF(wszOut, -1, L"%d", 12), 0);
    EXPECT_STREQ(wszOut, L"old");
    EXPECT_LT(mu::SWPrintF(wszOut, 2, L"%d", 12), 0);
    EXPECT_EQ(mu::SWPrintF(wszOut, 9, L"%d.%lc", 12, L'a'), 4);
    EXPECT_STREQ(wszOut, L"12.a");
}

} // namespace
