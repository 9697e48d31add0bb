#include "mu/hex.h"

#include <climits>
#include <string>

#include <gtest/gtest.h>

#include "tests/mu/wide.h"

namespace
{

using namespace std::string_literals;

TEST(Hex, ReadsDigitsInThirtyTwoBits)
{
    const struct
    {
        std::string strText;
        int iMaxLength;
        int iValue;
    } kCases[] = {
        {"1aF", 3, 0x1AF}, {"12g", 2, 0x12}, {"12\0g"s, 4, 0x12}, {"", 5, 0},      {"1", -1, 0},
        {"1z", 2, -1},     {"/", 1, -1},     {":", 1, -1},        {"@", 1, -1},    {"G", 1, -1},
        {"`", 1, -1},      {"g", 1, -1},     {"\x10", 1, -1},     {"\xB1", 1, -1},
    };
    for (const auto& row : kCases)
    {
        SCOPED_TRACE(row.strText);
        EXPECT_EQ(mu::HexCharsToInt(row.strText.c_str(), row.iMaxLength), row.iValue);
        EXPECT_EQ(mu::HexCharsToInt(Wide(row.strText).c_str(), row.iMaxLength), row.iValue);
    }
    EXPECT_EQ(mu::HexCharsToInt("180000000", 9), INT_MIN);
    EXPECT_EQ(mu::HexCharToInt(L'\x131'), -1) << "a digit in its low byte only";
}

} // namespace
