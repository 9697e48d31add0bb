#include "mu/search.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/mu/wide.h"

namespace
{

using namespace std::string_literals;

TEST(Search, FirstCharacterInOrOutOfASet)
{
    struct SCase
    {
        std::string strText;
        std::string strSet;
        int iLength;
        int iSetLength;
        int iFirstOf; ///< -1: null
        int iFirstNotOf;
    };
    const SCase kCases[] = {
        {"abcabc", "cb", 6, 2, 1, 0}, {"abcabc", "cb", 1, 2, -1, 0}, {"aab", "ab", 3, 2, 0, -1},
        {"aab", "ab", 3, 1, 0, 2}, // only the set's length counts
        {"a", "a", 1, 0, -1, 0},      {"a", "a", 1, -1, -1, 0},      {"a", "a", 0, 1, -1, -1},
        {"a", "a", -1, 1, -1, -1},    {"a\0b"s, "b\0"s, 3, 2, 1, 0}, {"a\xE9"s, "\xE9", 2, 1, 1, 0},
    };
    for (const SCase& row : kCases)
    {
        SCOPED_TRACE(testing::PrintToString(row.strText) + " " + row.strSet);
        const auto expect = [](const auto* pFound, const auto* pText, int iOffset)
        { EXPECT_EQ(pFound, iOffset < 0 ? nullptr : pText + iOffset); };

        const char* const szText = row.strText.data();
        const char* const szSet = row.strSet.data();
        expect(mu::FindFirstOfChars(szText, row.iLength, szSet, row.iSetLength), szText,
               row.iFirstOf);
        expect(mu::FindFirstNotOfChars(szText, row.iLength, szSet, row.iSetLength), szText,
               row.iFirstNotOf);

        const std::wstring wsText = Wide(row.strText);
        const std::wstring wsSet = Wide(row.strSet);
        expect(mu::FindFirstOfChars(wsText.data(), row.iLength, wsSet.data(), row.iSetLength),
               wsText.data(), row.iFirstOf);
        expect(mu::FindFirstNotOfChars(wsText.data(), row.iLength, wsSet.data(), row.iSetLength),
               wsText.data(), row.iFirstNotOf);
    }
}

using TPositions = std::vector<int>;

/// Calls a search that writes positions and cuts them to the count that it returned.
template <typename TSearch>
TPositions Collect(TSearch search)
{
    TPositions positions(9, -7);
    const int iCount = search(positions.data());
    EXPECT_EQ(positions[static_cast<std::size_t>(iCount)], -7) << "more written than counted";
    positions.resize(static_cast<std::size_t>(iCount));
    return positions;
}

TEST(Search, PositionsOfACharacter)
{
    struct SCase
    {
        int iLength;
        int iMaxPositions;
        TPositions positions;
    };
    const SCase kCases[] = {{7, 9, {0, 2, 3, 6}}, {6, 9, {0, 2, 3}}, {7, 2, {0, 2}}, {7, 0, {}},
                            {7, -1, {}},          {0, 9, {}},        {-1, 9, {}}};
    for (const SCase& row : kCases)
    {
        SCOPED_TRACE(testing::Message() << row.iLength << " " << row.iMaxPositions);
        EXPECT_EQ(Collect(
                      [&](int* piPositions) {
                          return mu::FindCharPositions("xaxxbcx", row.iLength, 'x',
                                                       row.iMaxPositions, piPositions);
                      }),
                  row.positions);
        EXPECT_EQ(Collect(
                      [&](int* piPositions) {
                          return mu::FindCharPositions(L"xaxxbcx", row.iLength, L'x',
                                                       row.iMaxPositions, piPositions);
                      }),
                  row.positions);
    }
}

TEST(Search, NextInOrOutOfASet)
{
    const wchar_t* const wszText = L"ab  c";
    EXPECT_EQ(mu::FindNextOf(wszText, L" c", false), wszText + 2);
    EXPECT_EQ(mu::FindNextOf(wszText, L"ab", true), wszText + 2);
    EXPECT_EQ(mu::FindNextOf(wszText, L"x", false), nullptr);
    EXPECT_EQ(mu::FindNextOf(wszText, L"", false), nullptr);
    EXPECT_EQ(mu::FindNextOf(wszText, L"", true), wszText);
    EXPECT_EQ(mu::FindNextOf(wszText, L" abc", true), nullptr);
    EXPECT_EQ(mu::FindNextOf(L"", L"x", true), nullptr);
}

TEST(Search, PrefixOfAList)
{
    const wchar_t* const kPrefixes[] = {L"http://", L"http", L"h\x00E9", nullptr};
    EXPECT_EQ(mu::FindStringPrefix(L"http://x", kPrefixes), 0);
    EXPECT_EQ(mu::FindStringPrefix(L"http:/", kPrefixes), 1);
    EXPECT_EQ(mu::FindStringPrefix(L"h\x00E9", kPrefixes), 2);
    EXPECT_EQ(mu::FindStringPrefix(L"htt", kPrefixes), -1);
    EXPECT_EQ(mu::FindStringPrefix(L"", kPrefixes), -1);
    const wchar_t* const kWithEmpty[] = {L"x", L"", L"a", nullptr};
    EXPECT_EQ(mu::FindStringPrefix(L"a", kWithEmpty), 1);
    EXPECT_EQ(mu::FindStringPrefix(L"", kWithEmpty), 1);
    EXPECT_EQ(mu::FindStringPrefix(L"", kWithEmpty + 3), -1);
}

TEST(Search, TokensInABuffer)
{
    struct SCase
    {
        std::string strBuffer;
        int iLength;
        std::string strToken;
        int iTokenLength;
        int iFirst;
        TPositions positions; ///< at most three of them
    };
    const SCase kCases[] = {
        {"aaaa", 4, "aa", 2, 0, {0, 2}},
        {"aaaaa", 5, "aa", 2, 0, {0, 2}},
        {"xa\0bxa\0b"s, 8, "a\0b"s, 3, 1, {1, 5}},
        {"aaaaaa", 6, "a", 1, 0, {0, 1, 2}},
        {"abc", 3, "abc", 3, 0, {0}},
        {"abc", 3, "abcd", 4, -1, {}},
        {"abc", 3, "x", 1, -1, {}},
        {"abc", 2, "c", 1, -1, {}},
        {"abc", -1, "a", 1, -1, {}},
        {"abc", 3, "a", -1, -1, {}},
        {"abc", 3, "a", 0, 0, {}},
        {"", 0, "", 0, 0, {}},
        {"abc", -1, "a", 0, 0, {}},
    };
    for (const SCase& row : kCases)
    {
        SCOPED_TRACE(testing::PrintToString(row.strBuffer) + " " + row.strToken);
        EXPECT_EQ(mu::FindTokenInBuffer(row.strBuffer.data(), row.iLength, row.strToken.data(),
                                        row.iTokenLength),
                  row.iFirst);
        EXPECT_EQ(Collect(
                      [&](int* piPositions)
                      {
                          return mu::FindTokensInBuffer(row.strBuffer.data(), row.iLength,
                                                        row.strToken.data(), row.iTokenLength,
                                                        piPositions, 3);
                      }),
                  row.positions);
    }
    EXPECT_EQ(mu::FindTokensInBuffer("aa", 2, "a", 1, nullptr, 0), 0);
    EXPECT_EQ(mu::FindTokensInBuffer("aa", 2, "a", 1, nullptr, -1), 0);
}

TEST(Search, ATokenThatNearlyOccursEverywhereTakesLinearTime)
{
    // Comparing at every place would take 2.5e11 steps.
    const std::string strBuffer(1000000, 'a');
    const std::string strToken = std::string(500000, 'a') + 'b';
    EXPECT_EQ(mu::FindTokenInBuffer(strBuffer.data(), 1000000, strToken.data(), 500001), -1);
}

} // namespace
