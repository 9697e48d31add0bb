#include "config/enumerations.h"

#include "tests/support/testing.h"

using namespace std::string_literals;

constexpr SEnumerationEntry kTable[] = {{5, nullptr}, {7, L"Low"}, {8, L"Lower"}, {9, L"Low"}};

TEST(Enumerations, ATextIsReadAsTheFirstRowThatIsEqual)
{
    // The value read: -1 if there is none.
    const std::tuple<const char*, std::span<const SEnumerationEntry>, std::wstring, int> aCases[] =
        {
            {"case counts", g_NetworkAddressConfigMethodEnumeration, L"dhcp", -1},
            {"an alias", g_VideoFrameRoationOptions, L"True", 1},
            {"not the end row", g_ZORApplicationTypesEnumeration, L"", -1},
            {"the last of the first", kTable, L"Low", 7},
            {"beyond a row", kTable, L"Lower", 8},
            {"a part of a row", kTable, L"Lo", -1},
            {"a NUL is a character", kTable, L"Low\0"s, -1},
            {"and what follows it", kTable, L"Low\0er"s, -1},
            {"no white space", kTable, L" Low", -1},
            {"no table", {}, L"Low", -1},
        };
    for (const auto& [szRule, table, wsText, iExpected] : aCases)
    {
        int iValue = 42;
        EXPECT_EQ(mu::GetEnumerationValue(table, wsText, iValue), iExpected >= 0) << szRule;
        EXPECT_EQ(iValue, iExpected >= 0 ? iExpected : 42) << szRule;
    }
    EXPECT_EQ(mu::GetEnumerationText(g_VideoFrameRoationOptions, 1), L"Yes"s);
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(IsDiagnosticViewerType(static_cast<ERealTimeViewerType>(i)), i > 2);
    EXPECT_FALSE(mu::IsVocabulary(kTable, 5, 9));
    EXPECT_FALSE(mu::IsVocabulary({kTable + 1, 2}, 7, 9));
    EXPECT_FALSE(mu::IsVocabulary({kTable + 1, 3}, 7, 9));
    EXPECT_TRUE(mu::IsVocabulary({kTable + 1, 2}, 7, 8));
    EXPECT_EQ(mu::GetEnumerationText(kTable, 5), nullptr);
    EXPECT_EQ(mu::GetEnumerationText(kTable, 6), nullptr);
}
