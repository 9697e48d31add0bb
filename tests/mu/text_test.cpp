#include "mu/text.h"

#include <algorithm>
#include <string>

#include <gtest/gtest.h>

#include "tests/mu/wide.h"

namespace
{

using namespace std::string_literals;

TEST(Text, ComparisonGivesThePlaceOfTheDifference)
{
    const struct
    {
        const char* szFirst;
        const char* szSecond;
        int iResult;
    } kCases[] = {
        {"abc", "ABC", 0}, {"abc", "ABD", -3}, {"abd", "ABC", 3},   {"ab", "abc", -3},
        {"", "x", -1},     {"_", "a", 1},      {"[", "z", 1},       {"z\xE9", "z", 2},
        {"\xE9", "z", 1},  {"@", "`", -1},     {"\xE9", "\xC9", 1},
    };
    for (const auto& row : kCases)
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
    const auto expect = [](auto text, const auto& upper, const auto& lower)
    {
        auto out = text;
        mu::StringToUpperCase(out);
        EXPECT_EQ(out, upper);
        mu::StringToLowerCase(out);
        EXPECT_EQ(out, lower);
        mu::StringToUpperCase(out.data(), 2, out); // out of itself
        EXPECT_EQ(out, upper.substr(0, 2));
        mu::StringToUpperCase(text.data(), -1, out);
        EXPECT_TRUE(out.empty());
    };
    expect(strText, "@AZAZ[`{\xE9\0Z"s, "@azaz[`{\xE9\0z"s);
    expect(Wide(strText), Wide("@AZAZ[`{\xE9\0Z"s), Wide("@azaz[`{\xE9\0z"s));
}

TEST(Text, LineBreaksBecomeOneNewLineEach)
{
    const struct
    {
        std::string strIn;
        std::string strNewLine;
        std::string strOut;
    } kCases[] = {
        {"a\r\nb\nc\r", "|", "a|b|c|"}, {"\n\r\n\r\r\n\n", "|", "|||||"},
        {"\n", "<br>", "<br>"},         {"a\r\nb", "", "ab"},
        {"a\r\nb", "\r\n", "a\r\nb"},   {"a\0\nb"s, "|", "a\0|b"s},
    };
    for (const auto& row : kCases)
    {
        SCOPED_TRACE(testing::PrintToString(row.strIn));
        const int iIn = static_cast<int>(row.strIn.size());
        const int iOut = static_cast<int>(row.strOut.size());
        for (int iCapacity = -1; iCapacity <= iOut + 2; ++iCapacity)
        {
            const int iWritten = std::min(std::max(iCapacity, 0), iOut);
            std::string strExpected = row.strOut.substr(0, static_cast<std::size_t>(iWritten));
            strExpected.append(iCapacity > iWritten ? 1 : 0, '\0');
            strExpected.resize(row.strOut.size() + 4, 'Z');
            std::string strBuffer(strExpected.size(), 'Z');
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
}

} // namespace
