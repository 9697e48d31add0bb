#include "mu/hex.h"

#include <string>

#include <gtest/gtest.h>

#include "tests/mu/wide.h"

namespace
{

struct SHexCase
{
    const char* szRule;
    std::string strText;
    int iMaxLength;
    int iValue;
};

TEST(Hex, ReadsDigitsInThirtyTwoBits)
{
    const SHexCase kCases[] = {
        {"both cases", "1aF", 3, 0x1AF},
        {"stops at the length", "12g", 2, 0x12},
        {"stops at a NUL", std::string("12\0g", 4), 4, 0x12},
        {"empty", "", 5, 0},
        {"no room", "1", 0, 0},
        {"negative room", "1", -1, 0},
        {"no digit", "ZZ", 2, -1},
        {"no digit after digits", "1z", 2, -1},
        {"neighbours of the digits", "/", 1, -1},
        {"neighbours of the digits", ":", 1, -1},
        {"neighbours of the letters", "@", 1, -1},
        {"neighbours of the letters", "G", 1, -1},
        {"neighbours of the letters", "`", 1, -1},
        {"neighbours of the letters", "g", 1, -1},
        {"a control character whose upper-case bit is that of a digit", "\x10", 1, -1},
        {"beyond ASCII", "\xB1", 1, -1},
        {"beyond ASCII", "\xE1", 1, -1},
        {"the sign bit", "80000000", 8, -2147483647 - 1},
        {"all bits", "FFFFFFFF", 8, -1},
        {"wraps", "123456789", 9, 0x23456789},
    };
    for (const SHexCase& row : kCases)
    {
        SCOPED_TRACE(row.szRule);
        EXPECT_EQ(mu::HexCharsToInt(row.strText.c_str(), row.iMaxLength), row.iValue);
        EXPECT_EQ(mu::HexCharsToInt(Wide(row.strText).c_str(), row.iMaxLength), row.iValue);
    }
}

TEST(Hex, UnitsThatHoldADigitInTheirLowBitsAreNone)
{
    for (const wchar_t wcDigit : {L'\x131', L'\x10061', static_cast<wchar_t>(0x80000031)})
    {
        EXPECT_EQ(mu::HexCharToInt(wcDigit), -1);
    }
}

} // namespace
