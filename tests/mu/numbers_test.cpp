#include "mu/numbers.h"

#include "tests/support/comma_locale.h"
#include "tests/support/testing.h"

TEST(Numbers, IntegersReadAsOnTheDevice)
{
    const std::tuple<std::wstring, int, unsigned int, long long> kCases[] = {
        {L"+-1", 0, 0, 0},
        {L" \t\n\v\f\r+12", 12, 12, 12},
        {L"\x00A0 1", 0, 0, 0},
        {L"1\x0661", 1, 1, 1}, // a digit of another script
        {std::wstring(L"1\0002", 3), 1, 1, 1},
        {L"2147483648", INT_MAX, 2147483648U, 2147483648},
        {L"-2147483649", INT_MIN, 2147483647, -2147483649LL},
        {L"-4294967295", INT_MIN, 1, -4294967295LL},
        {L"-4294967296", INT_MIN, 4294967295U, -4294967296LL},
        {L"9223372036854775806", INT_MAX, 4294967295U, LLONG_MAX - 1},
        {L"9223372036854775808", INT_MAX, 4294967295U, LLONG_MAX},
        {L"-9223372036854775809", INT_MIN, 4294967295U, LLONG_MIN},
        {L"18446744073709551617", INT_MAX, 4294967295U, LLONG_MAX},
    };
    for (const auto& [wsText, iSigned, uUnsigned, llSigned64] : kCases)
    {
        SCOPED_TRACE(testing::PrintToString(wsText));
        // A foreign digit becomes some byte, never a digit.
        const std::string strText(wsText.begin(), wsText.end());
        const int iLength = static_cast<int>(strText.size());
        EXPECT_EQ(mu::ParseInt32(wsText.c_str(), iLength), iSigned);
        EXPECT_EQ(mu::ParseInt32(strText.c_str(), iLength), iSigned);
        EXPECT_EQ(mu::ParseUInt32(wsText.c_str(), iLength), uUnsigned);
        EXPECT_EQ(mu::ParseUInt32(strText.c_str(), iLength), uUnsigned);
        EXPECT_EQ(mu::StringToInt(wsText), iSigned);
        EXPECT_EQ(mu::StringToInt64(wsText), llSigned64);
    }
    EXPECT_EQ(mu::ParseInt32("123", 2), 12);
    EXPECT_EQ(mu::ParseInt32(L"123", -1), 0);
    EXPECT_EQ(mu::Int64ToString(LLONG_MIN), L"-9223372036854775808");
}

TEST(Numbers, DoublesInEveryLocale)
{
    using Limits = std::numeric_limits<double>;
    constexpr double kInf = Limits::infinity();
    const CCommaLocale comma;
    ASSERT_TRUE(comma.IsActive());
    const std::pair<const wchar_t*, double> kRead[] = {
        {L".e1", 0},        {L"\t-1.5e2x", -150}, {L"1,5", 1},           {L"1e+", 1},
        {L"0xg", 0},        {L"0x1.8P1", 3},      {L"-InFinity", -kInf}, {L"infix", kInf},
        {L"-1e309", -kInf}, {L"1e-400", 0},       {L"1\x0661", 1},
    };
    for (const auto& [wszText, dValue] : kRead)
        EXPECT_EQ(mu::StringToDouble(wszText), dValue) << wszText;
    EXPECT_EQ(mu::StringToDouble(L"1e4294967297"), kInf);
    EXPECT_TRUE(std::isnan(mu::StringToDouble(L"NAN(12)")));

    const std::pair<const wchar_t*, double> kWritten[] = {
        {L"-0", -0.0},         {L"0.1", 0.1},
        {L"123457", 123456.7}, {L"1e+06", 999999.9},
        {L"1e-05", 0.00001},   {L"1.79769e+308", Limits::max()},
        {L"-inf", -kInf},      {L"-nan", std::copysign(Limits::quiet_NaN(), -1.0)},
    };
    for (const auto& [wszText, dValue] : kWritten)
        EXPECT_EQ(mu::DoubleToString(dValue), wszText);
}
