#include "mu/text.h"

#include "mu/characters.h"
#include "mu/search.h"
#include "mu/words.h"
#include "tests/mu/wide.h"
#include "tests/support/testing.h"

using namespace std::string_literals;

TEST(Text, ComparisonGivesThePlaceOfTheDifference)
{
    const std::tuple<const char*, const char*, int> kCases[] = {
        {"abc", "ABC", 0}, {"abc", "ABD", -3}, {"abd", "ABC", 3},   {"ab", "abc", -3},
        {"", "x", -1},     {"_", "a", 1},      {"[", "z", 1},       {"z\xE9", "z", 2},
        {"\xE9", "z", 1},  {"@", "`", -1},     {"\xE9", "\xC9", 1},
    };
    for (const auto& [szFirst, szSecond, iResult] : kCases)
    {
        SCOPED_TRACE(szFirst + "|"s + szSecond);
        EXPECT_EQ(mu::CompareIgnoreCase(szFirst, szSecond), iResult);
        EXPECT_EQ(mu::CompareIgnoreCase(Wide(szFirst).c_str(), Wide(szSecond).c_str()), iResult);
    }
    const wchar_t kHighest[] = {static_cast<wchar_t>(0xFFFFFFFF), 0};
    EXPECT_EQ(mu::CompareIgnoreCase(kHighest, L"a"), 1);
}

TEST(Text, CasesAreThoseOfAscii)
{
    const std::string strText = "@azAZ[`{\xE9\0z"s;
    const auto expect = [](auto text, const auto& upper, const auto& lower)
    {
        auto out = text;
        mu::StringToUpperCase(out);
        EXPECT_EQ(out, upper);
        mu::StringToLowerCase(out);
        EXPECT_EQ(out, lower);
        mu::StringToUpperCase(out.data(), 2, out); // out of itself
        EXPECT_EQ(out, upper.substr(0, 2));
        mu::StringToLowerCase(upper.data(), 5, out);
        EXPECT_EQ(out, lower.substr(0, 5));
        mu::StringToUpperCase(text.data(), -1, out);
        EXPECT_TRUE(out.empty());
    };
    expect(strText, "@AZAZ[`{\xE9\0Z"s, "@azaz[`{\xE9\0z"s);
    expect(Wide(strText), Wide("@AZAZ[`{\xE9\0Z"s), Wide("@azaz[`{\xE9\0z"s));
    char szText[] = "@azA\0z";
    EXPECT_EQ(mu::StringToUpperCase(szText), 4);
    EXPECT_STREQ(szText, "@AZA");
    EXPECT_EQ(szText[5], 'z');
}

TEST(Text, ClassesAreThoseOfAscii)
{
    const std::tuple<wchar_t, bool, bool, bool> kCases[] = {
        {L' ', true, false, false},  {L'\t', false, false, false}, {L'\x00A0', false, false, false},
        {L'/', false, false, false}, {L'0', false, true, true},    {L'5', false, true, true},
        {L'6', false, true, false},  {L'9', false, true, false},   {L':', false, false, false},
    };
    for (const auto& [wc, bSpace, bDigit, bDigit025] : kCases)
    {
        SCOPED_TRACE(static_cast<int>(wc));
        const char szText[] = {'7', static_cast<char>(wc)};
        const wchar_t wszText[] = {L'7', wc};
        EXPECT_EQ(mu::IsSpace(wc), bSpace);
        EXPECT_EQ(mu::IsDigit025(wc), bDigit025);
        EXPECT_EQ(mu::AreDigits(szText, 2), bDigit);
        EXPECT_EQ(mu::AreDigits(wszText, 2), bDigit);
        EXPECT_TRUE(mu::AreDigits(wszText, 1));
        EXPECT_TRUE(mu::AreDigits(szText, 0));
    }
}

TEST(Text, LineBreaksBecomeOneNewLineEach)
{
    const std::tuple<std::string, std::string, std::string> kCases[] = {
        {"\n", "<br>", "<br>"}, {"a\r\nb", "\r\n", "a\r\nb"}, {"a\r\nb\nc\r", "|", "a|b|c|"},
        {"a\r\nb", "", "ab"},   {"a\0\nb"s, "|", "a\0|b"s},   {"\n\r\n\r\r\n\n", "|", "|||||"},
    };
    for (const auto& [strIn, strNewLine, strOut] : kCases)
    {
        SCOPED_TRACE(testing::PrintToString(strIn));
        const int iOut = Length(strOut);
        for (int iCapacity = -1; iCapacity <= iOut + 2; ++iCapacity)
        {
            const int iWritten = std::min(std::max(iCapacity, 0), iOut);
            std::string strExpected = strOut.substr(0, static_cast<std::size_t>(iWritten));
            strExpected.append(iCapacity > iWritten ? 1 : 0, '\0');
            strExpected.resize(strOut.size() + 4, 'Z');
            std::string strBuffer(strExpected.size(), 'Z');
            EXPECT_EQ(mu::ReplaceNewLines(strIn.data(), strBuffer.data(), strNewLine.c_str(),
                                          Length(strIn), iCapacity),
                      iWritten);
            EXPECT_EQ(strBuffer, strExpected) << "in " << iCapacity;
        }

        std::string strText = strIn; // out of itself
        EXPECT_EQ(mu::ReplaceNewLines(strText, strText, strNewLine), iOut);
        EXPECT_EQ(strText, strOut);
        std::wstring wsText = L"old";
        EXPECT_EQ(mu::ReplaceNewLines(Wide(strIn), wsText, Wide(strNewLine)), iOut);
        EXPECT_EQ(wsText, Wide(strOut));
    }
}

TEST(Text, IsReversedAndGetsAndLosesAFolderSeparator)
{
    wchar_t wszText[5] = L"abc";
    for (const int iLength : {3, -1, 1, 2})
        mu::wcsnrev(wszText, iLength);
    EXPECT_STREQ(wszText, L"bca");
    const wchar_t* const kCases[][3] = {
        // added, removed
        {L"", L"", L""},        {L"a", L"a/", L"a"}, {L"a/", L"a/", L"a"},
        {L"a\\", L"a\\", L"a"}, {L"/", L"/", L""},   {L"//", L"//", L"/"},
    };
    for (const auto& [wszPath, wszAdded, wszRemoved] : kCases)
    {
        std::wstring wsAdded = wszPath, wsRemoved = wszPath;
        mu::AddFolderSeparator(wsAdded), mu::RemoveLastFolderSeparator(wsRemoved);
        EXPECT_EQ(wsAdded + L"," + wsRemoved, wszAdded + std::wstring(L",") + wszRemoved);
        mu::AddFolderSeparator(std::wcscpy(wszText, wszPath));
        EXPECT_STREQ(wszText, wszAdded);
        mu::RemoveLastFolderSeparator(std::wcscpy(wszText, wszPath));
        EXPECT_STREQ(wszText, wszRemoved);
    }
}

TEST(Search, FirstCharacterInOrOutOfASet)
{
    const auto expect = [](const auto* pText, const auto* pSet)
    {
        EXPECT_EQ(mu::FindFirstOfChars(pText, 4, pSet, 2), pText + 2);
        EXPECT_EQ(mu::FindFirstOfChars(pText, 2, pSet, 2), nullptr);
        EXPECT_EQ(mu::FindFirstOfChars(pText, -1, pText, 1), nullptr);
        EXPECT_EQ(mu::FindFirstOfChars(pText, 4, pText, -1), nullptr);
        EXPECT_EQ(mu::FindFirstNotOfChars(pText, 4, pText, 1), pText + 1);
        EXPECT_EQ(mu::FindFirstNotOfChars(pText, 2, pText, 2), nullptr);
    };
    expect("ab\0c", "c\0");
    expect(L"ab\0c", L"c\0");
    const wchar_t* const wszText = L"ab";
    EXPECT_EQ(mu::FindNextOf(wszText, L"", false), nullptr);
    EXPECT_EQ(mu::FindNextOf(wszText, L"ab", true), nullptr);
}

TEST(Search, PlacesOfACharacterAndPrefixes)
{
    for (const int iMost : {-1, 0, 1, 2, 3})
    {
        int aiFound[3] = {-7, -7, -7};
        int aiWide[3] = {-7, -7, -7};
        const int iFound = std::clamp(iMost, 0, 2);
        EXPECT_EQ(mu::FindCharPositions(".b.c", 4, '.', iMost, aiFound), iFound);
        EXPECT_EQ(mu::FindCharPositions(L".b.c.", 4, L'.', iMost, aiWide), iFound);
        const std::vector<int> vExpected = {iFound > 0 ? 0 : -7, iFound > 1 ? 2 : -7, -7};
        EXPECT_EQ(std::vector(aiFound, aiFound + 3), vExpected);
        EXPECT_EQ(std::vector(aiWide, aiWide + 3), vExpected);
    }
    const wchar_t* vPrefixes[] = {L"ab", L"a", nullptr, L""};
    EXPECT_EQ(mu::FindStringPrefix(L"abc", vPrefixes), 0);
    EXPECT_EQ(mu::FindStringPrefix(L"ac", vPrefixes), 1);
    EXPECT_EQ(mu::FindStringPrefix(L"", vPrefixes), -1);
}

TEST(Search, TokensInABuffer)
{
    const std::tuple<std::string, int, std::string, int, std::vector<int>> kCases[] = {
        {"abc", 2, "c", 1, {}},  {"aaaaa", 5, "aa", 2, {0, 2}}, {"xa\0b"s, 4, "a\0b"s, 3, {1}},
        {"abc", -1, "a", 1, {}}, {"abc", 3, "abc", 3, {0}},     {"aaaaaa", 6, "a", 1, {0, 1, 2}},
        {"abc", 3, "a", -1, {}}, {"abc", 3, "abcd", 4, {}},
    };
    for (const auto& [strBuffer, iLength, strToken, iTokenLength, positions] : kCases)
    {
        SCOPED_TRACE(testing::PrintToString(strBuffer) + " " + strToken);
        const char* const pBuffer = strBuffer.data();
        const char* const pToken = strToken.data();
        EXPECT_EQ(mu::FindTokenInBuffer(pBuffer, iLength, pToken, iTokenLength),
                  positions.empty() ? -1 : positions[0]);
        std::vector<int> found(9, -7);
        const int iFound =
            mu::FindTokensInBuffer(pBuffer, iLength, pToken, iTokenLength, found.data(), 3);
        EXPECT_EQ(found[static_cast<std::size_t>(iFound)], -7) << "more written than counted";
        found.resize(static_cast<std::size_t>(iFound));
        EXPECT_EQ(found, positions);
    }
    EXPECT_EQ(mu::FindTokensInBuffer("aa", 2, "a", 1, nullptr, -1), 0);

    // Comparing at every place would take 2.5e11 steps.
    const std::string strBuffer(1000000, 'a');
    const std::string strToken = std::string(500000, 'a') + 'b';
    EXPECT_EQ(mu::FindTokenInBuffer(strBuffer.data(), 1000000, strToken.data(), 500001), -1);
}

TEST(Words, SplitAndSearched)
{
    const std::vector<std::wstring> vWords = {L"ab", L"c  d", L"e", L"f ", L"g h"};
    EXPECT_EQ(mu::SplitWords(L" ab\t\"c  d\"e \"\" \"f \"\r\n\"g h"), vWords);

    const std::wstring wsText = L"Température du Boîtier 38.5 °C";
    for (const wchar_t* const wszFound : {L"", L"boîTIER temp", L"\"du B\"", L"38.5 °c", L"\""})
        EXPECT_TRUE(mu::IsSearchMatch(wsText, wszFound)) << wszFound;
    for (const wchar_t* const wszMissing : {L"\"du  B\"", L"temp 39", L"tempê", L"°C2"})
        EXPECT_FALSE(mu::IsSearchMatch(wsText, wszMissing)) << wszMissing;
}
