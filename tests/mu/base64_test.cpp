#include "fuzz/support/codec_laws.h"
#include "tests/support/testing.h"

TEST(Base64, KnownTexts)
{
    const std::pair<std::string, std::string> kCases[] = {
        {"TWFuTWE", "Man"},  {"+/+/", "\xFB\xFF\xBF"},   {"\xD4WFu", ""},
        {"TW=ATWE=", "MMa"}, {"T===TWE=", "Ma"},         {"Zm9vYmE=", "fooba"},
        {"T@FuTWE=", "nMa"}, {"TWFuTWFu=AAA", "ManMan"},
    };
    unsigned char aOut[9];
    for (const auto& [strText, strData] : kCases)
    {
        const auto uText = static_cast<unsigned int>(strText.size());
        const unsigned int uData = mu::base64_decode(strText.data(), uText, aOut, 9);
        EXPECT_EQ(std::string(aOut, aOut + uData), strData) << strText;
        CheckBase64(strText, 9);
    }
    const unsigned int uData = mu::base64_decode(L"T\x157\x046uTW\x146u", 8, aOut, 9);
    EXPECT_EQ(std::string(aOut, aOut + uData), "nM") << "the low bytes of the wide ones are valid";
    EXPECT_EQ(mu::base64_charvalue('='), -1);
    EXPECT_EQ(mu::base64_charvalue(L'/'), 63);
    EXPECT_EQ(mu::base64_charvalue(L'\x141'), -1);
}

TEST(Base64, AnyLengthAndCapacityFollowsThePlainRule)
{
    std::mt19937 random;
    for (unsigned int uLength = 0; uLength < 600; uLength += uLength < 70 ? 1 : 90)
    {
        std::string strText(uLength, '\0');
        for (char& ch : strText)
            ch = random() % 16 == 0 ? "=\n\x80\xFF-"[random() % 5] : kAlphabet[random() % 64];
        for (unsigned int uCapacity = 0; uCapacity < 2 * uLength + 9; ++uCapacity)
            CheckBase64(strText, uCapacity);
    }
}
