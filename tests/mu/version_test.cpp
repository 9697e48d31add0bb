#include "mu/version.h"

#include "tests/support/testing.h"

TEST(Version, InOrderOfPrecedence)
{
    const std::string strOrder[] = {"0.9.9",        "1.0.0-2",       "1.0.0-12345678901234567890",
                                    "1.0.0-alpha",  "1.0.0-alpha.1", "1.0.0-alpha.beta",
                                    "1.0.0-beta.2", "1.0.0-beta.11", "1.0.0-rc.1+b",
                                    "1.0.0",        "1.0.0.1",       "1.2",
                                    "1.10",         "4294967295"};
    for (std::size_t i = 0; i < std::size(strOrder); ++i)
        for (std::size_t j = 0; j < std::size(strOrder); ++j)
        {
            mu::SVersion first, second;
            ASSERT_TRUE(mu::ParseVersion(strOrder[i], first));
            ASSERT_TRUE(mu::ParseVersion(strOrder[j], second));
            EXPECT_EQ(mu::FormatVersion(first), strOrder[i]);
            const int iOrder = mu::CompareVersions(first, second);
            EXPECT_EQ((iOrder > 0) - (iOrder < 0), (i > j) - (i < j))
                << strOrder[i] << " " << strOrder[j];
        }
    mu::SVersion first, second;
    ASSERT_TRUE(mu::ParseVersion("01.2-07+build-1", first));
    ASSERT_TRUE(mu::ParseVersion("1.2.0-7", second));
    EXPECT_EQ(mu::CompareVersions(first, second), 0);
    for (const char* const szWrong : {"", "1.", ".1", "1..2", "v1", "1.2 ", "1.-2", "4294967296",
                                      "1-", "1-a..b", "1-a.", "1+", "1-ä", "1+a+b"})
        EXPECT_FALSE(mu::ParseVersion(szWrong, first)) << szWrong;
}
