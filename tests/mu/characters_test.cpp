#include "mu/characters.h"

#include <string>

#include <gtest/gtest.h>

namespace
{

template <typename TClass>
std::wstring Members(TClass isMember)
{
    std::wstring wsMembers;
    for (wchar_t wc = 0; wc < 0x400; ++wc)
    {
        if (isMember(wc))
        {
            wsMembers += wc;
        }
    }
    for (const unsigned int u : {0x10030U, 0x10061U, 0x80000020U, 0xFFFFFFE1U, 0xFFFFFFFFU})
    {
        if (isMember(static_cast<wchar_t>(u)))
        {
            wsMembers += static_cast<wchar_t>(u);
        }
    }
    return wsMembers;
}

TEST(Characters, ClassesHoldAsciiAlone)
{
    const std::wstring wsUpper = L"ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    const std::wstring wsLower = L"abcdefghijklmnopqrstuvwxyz";
    EXPECT_EQ(Members(mu::IsSpace), L" ");
    EXPECT_EQ(Members(mu::IsDigit), L"0123456789");
    EXPECT_EQ(Members(mu::IsDigit025), L"012345");
    EXPECT_EQ(Members(mu::IsAlphaNumeric), L"0123456789" + wsUpper + wsLower);
    EXPECT_EQ(Members([](wchar_t wc) { return mu::CharToLowerCase(wc) != wc; }), wsUpper);
    EXPECT_EQ(Members([](wchar_t wc) { return mu::CharToUpperCase(wc) != wc; }), wsLower);
    EXPECT_EQ(Members([](wchar_t wc) { return mu::IsCharMatchIgnoreCase(wc, L'k'); }), L"Kk");
    EXPECT_EQ(Members([](wchar_t wc) { return mu::IsCharMatchIgnoreCase(L'[', wc); }), L"[");
    for (std::size_t i = 0; i < wsUpper.size(); ++i)
    {
        EXPECT_EQ(mu::CharToLowerCase(wsUpper[i]), wsLower[i]);
        EXPECT_EQ(mu::CharToUpperCase(wsLower[i]), wsUpper[i]);
    }
}

TEST(Characters, DigitsThroughout)
{
    EXPECT_TRUE(mu::AreDigits("0189x", 4));
    EXPECT_FALSE(mu::AreDigits("0189x", 5));
    EXPECT_TRUE(mu::AreDigits(L"0189x", 4));
    EXPECT_FALSE(mu::AreDigits(L"01\x0661", 3));
    EXPECT_FALSE(mu::AreDigits("\xB0", 1));
    EXPECT_TRUE(mu::AreDigits("x", 0));
    EXPECT_TRUE(mu::AreDigits(L"x", -1));
}

} // namespace
