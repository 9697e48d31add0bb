#include "mu/numbers.h"

#include <climits>
#include <cmath>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/comma_locale.h"

namespace
{

struct SIntegerCase
{
    const char* szRule;
    const wchar_t* wszText;
    int iSigned;
    unsigned int uUnsigned;
    long long llSigned64;
};

constexpr SIntegerCase kIntegerCases[] = {
    {"nothing", L"", 0, 0, 0},
    {"no digits", L"x1", 0, 0, 0},
    {"sign alone", L"-", 0, 0, 0},
    {"two signs", L"+-1", 0, 0, 0},
    {"blank after the sign", L"- 1", 0, 0, 0},
    {"all white space", L" \t\n\v\f\r+12", 12, 12, 12},
    {"no-break space",
     L"\x00A0"
     L"1",
     0, 0, 0},
    {"longest run", L"0012.5", 12, 12, 12},
    {"digits of another script", L"1\x0661", 1, 1, 1},
    {"base stays ten", L"0x10", 0, 0, 0},
    {"minus", L"-1", -1, 4294967295U, -1},
    {"highest", L"2147483647", 2147483647, 2147483647, 2147483647},
    {"above", L"2147483648", 2147483647, 2147483648U, 2147483648},
    {"lowest", L"-2147483648", INT_MIN, 2147483648U, -2147483648LL},
    {"below", L"-2147483649", INT_MIN, 2147483647, -2147483649LL},
    {"highest unsigned", L"4294967295", INT_MAX, 4294967295U, 4294967295LL},
    {"negated highest unsigned", L"-4294967295", INT_MIN, 1, -4294967295LL},
    {"above unsigned", L"4294967361", INT_MAX, 4294967295U, 4294967361LL},
    {"below unsigned", L"-4294967296", INT_MIN, 4294967295U, -4294967296LL},
    {"highest 64", L"9223372036854775807", INT_MAX, 4294967295U, LLONG_MAX},
    {"above 64", L"9223372036854775808", INT_MAX, 4294967295U, LLONG_MAX},
    {"lowest 64", L"-9223372036854775808", INT_MIN, 4294967295U, LLONG_MIN},
    {"below 64", L"-9223372036854775809", INT_MIN, 4294967295U, LLONG_MIN},
    {"above 2^64", L"18446744073709551617", INT_MAX, 4294967295U, LLONG_MAX},
    {"far above", L"99999999999999999999999999", INT_MAX, 4294967295U, LLONG_MAX},
};

TEST(Numbers, IntegersReadAsOnTheDevice)
{
    for (const SIntegerCase& row : kIntegerCases)
    {
        SCOPED_TRACE(row.szRule);
        const std::wstring wsText = row.wszText;
        std::string strText;
        for (const wchar_t ch : wsText)
        {
            strText += static_cast<char>(ch); // a foreign digit becomes some byte, never a digit
        }
        const int iLength = static_cast<int>(wsText.size());

        EXPECT_EQ(mu::ParseInt32(wsText.c_str(), iLength), row.iSigned);
        EXPECT_EQ(mu::ParseInt32(strText.c_str(), iLength), row.iSigned);
        EXPECT_EQ(mu::ParseUInt32(wsText.c_str(), iLength), row.uUnsigned);
        EXPECT_EQ(mu::ParseUInt32(strText.c_str(), iLength), row.uUnsigned);
        EXPECT_EQ(mu::StringToInt(wsText), row.iSigned);
        EXPECT_EQ(mu::StringToInt64(wsText), row.llSigned64);
    }
}

TEST(Numbers, TextEndsAtItsLengthOrANul)
{
    EXPECT_EQ(mu::ParseInt32("123", 2), 12);
    EXPECT_EQ(mu::ParseInt32(L"123", 2), 12);
    EXPECT_EQ(mu::ParseInt32("123", 0), 0);
    EXPECT_EQ(mu::ParseInt32(L"123", -1), 0);
    EXPECT_EQ(mu::ParseUInt32("1\0002", 3), 1U);
    EXPECT_EQ(mu::StringToInt(std::wstring(L"1\0002", 3)), 1);
}

struct SDoubleCase
{
    const wchar_t* wszText;
    double dValue;
};

TEST(Numbers, DoublesReadInEveryLocale)
{
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    const SDoubleCase kCases[] = {
        {L"", 0},
        {L"x", 0},
        {L".", 0},
        {L" \t\n\v\f\r-1.5e2x", -150},
        {L"+.5", 0.5},
        {L"1,5", 1},
        {L"1e", 1},
        {L"1e+", 1},
        {L"0x", 0},
        {L"0x1.8P1", 3},
        {L"-InFinity", -kInfinity},
        {L"infix", kInfinity},
        {L"1e309", kInfinity},
        {L"-1e309", -kInfinity},
        {L"1e-400", 0},
        {L"4.9406564584124654e-324", std::numeric_limits<double>::denorm_min()},
        {L"1e99999999999999999999", kInfinity},
        {L"0.1", 0.1},
        {L"1\x0661", 1},
    };
    const CCommaLocale comma;
    ASSERT_TRUE(comma.IsActive());
    for (const SDoubleCase& row : kCases)
    {
        EXPECT_EQ(mu::StringToDouble(row.wszText), row.dValue) << row.wszText;
    }
    EXPECT_TRUE(std::isnan(mu::StringToDouble(L"nan")));
    EXPECT_TRUE(std::isnan(mu::StringToDouble(L"NAN(12)")));
}

TEST(Numbers, DoublesAreWrittenShortInEveryLocale)
{
    const CCommaLocale comma;
    ASSERT_TRUE(comma.IsActive());
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    const SDoubleCase kCases[] = {
        {L"0", 0.0},
        {L"-0", -0.0},
        {L"0.1", 0.1},
        {L"1e+20", 1e20},
        {L"123457", 123456.7},
        {L"1e+06", 999999.9},
        {L"0.0001", 0.0001},
        {L"1e-05", 0.00001},
        {L"2.22507e-308", std::numeric_limits<double>::min()},
        {L"1.79769e+308", std::numeric_limits<double>::max()},
        {L"inf", kInfinity},
        {L"-inf", -kInfinity},
        {L"nan", std::numeric_limits<double>::quiet_NaN()},
        {L"-nan", std::copysign(std::numeric_limits<double>::quiet_NaN(), -1.0)},
    };
    for (const SDoubleCase& row : kCases)
    {
        EXPECT_EQ(mu::DoubleToString(row.dValue), row.wszText);
    }
}

TEST(Numbers, IntegersAreWrittenWhole)
{
    EXPECT_EQ(mu::IntToString(INT_MIN), L"-2147483648");
    EXPECT_EQ(mu::Int64ToString(LLONG_MIN), L"-9223372036854775808");
    EXPECT_EQ(mu::Int64ToString(LLONG_MAX), L"9223372036854775807");
}

TEST(Numbers, TruthIsInTheFirstLetter)
{
    for (const wchar_t* wszTrue : {L"True", L"t", L"Y", L"yes"})
    {
        EXPECT_TRUE(mu::StringToBool(wszTrue)) << wszTrue;
    }
    for (const wchar_t* wszFalse : {L"", L"1", L" true", L"False", L"no"})
    {
        EXPECT_FALSE(mu::StringToBool(wszFalse)) << wszFalse;
    }
    EXPECT_FALSE(mu::StringToBool(std::wstring(1, L'\0')));
}

} // namespace
