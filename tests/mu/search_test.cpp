#include "mu/search.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "mu/words.h"

namespace
{

using namespace std::string_literals;

TEST(Search, FirstCharacterInOrOutOfASet)
{
    const wchar_t* const wszText = L"ab\0c";
    EXPECT_EQ(mu::FindFirstOfChars(wszText, 4, L"c\0", 2), wszText + 2);
    EXPECT_EQ(mu::FindFirstOfChars(wszText, 2, L"c\0", 2), nullptr);
    EXPECT_EQ(mu::FindFirstOfChars(wszText, -1, L"a", 1), nullptr);
    EXPECT_EQ(mu::FindFirstOfChars(wszText, 4, L"a", -1), nullptr);
    EXPECT_EQ(mu::FindFirstNotOfChars(wszText, 4, L"ab", 1), wszText + 1);
    EXPECT_EQ(mu::FindFirstNotOfChars(wszText, 2, L"ab", 2), nullptr);
    EXPECT_EQ(mu::FindNextOf(wszText, L"", false), nullptr);
    EXPECT_EQ(mu::FindNextOf(wszText, L"ab", true), nullptr);
}

using TPositions = std::vector<int>;

/// Calls a search that writes positions and cuts them to the count that it returned.
TPositions Collect(auto search)
{
    TPositions positions(9, -7);
    const int iCount = search(positions.data());
    EXPECT_EQ(positions[static_cast<std::size_t>(iCount)], -7) << "more written than counted";
    positions.resize(static_cast<std::size_t>(iCount));
    return positions;
}

TEST(Search, TokensInABuffer)
{
    const struct
    {
        std::string strBuffer;
        int iLength;
        std::string strToken;
        int iTokenLength;
        int iFirst;
        TPositions positions; ///< at most three of them
    } kCases[] = {
        {"aaaaa", 5, "aa", 2, 0, {0, 2}},    {"xa\0b"s, 4, "a\0b"s, 3, 1, {1}},
        {"aaaaaa", 6, "a", 1, 0, {0, 1, 2}}, {"abc", 3, "abc", 3, 0, {0}},
        {"abc", 3, "abcd", 4, -1, {}},       {"abc", 2, "c", 1, -1, {}},
        {"abc", -1, "a", 1, -1, {}},         {"abc", 3, "a", -1, -1, {}},
    };
    for (const auto& row : kCases)
    {
        SCOPED_TRACE(testing::PrintToString(row.strBuffer) + " " + row.strToken);
        const char* const pBuffer = row.strBuffer.data();
        const char* const pToken = row.strToken.data();
        EXPECT_EQ(mu::FindTokenInBuffer(pBuffer, row.iLength, pToken, row.iTokenLength),
                  row.iFirst);
        const auto search = [&](int* piPositions) {
            return mu::FindTokensInBuffer(pBuffer, row.iLength, pToken, row.iTokenLength,
                                          piPositions, 3);
        };
        EXPECT_EQ(Collect(search), row.positions);
    }
    EXPECT_EQ(mu::FindTokensInBuffer("aa", 2, "a", 1, nullptr, -1), 0);
}

TEST(Search, ATokenThatNearlyOccursEverywhereTakesLinearTime)
{
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

} // namespace
