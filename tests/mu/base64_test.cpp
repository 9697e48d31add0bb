#include "fuzz/support/codec_laws.h"
#include "tests/support/testing.h"

TEST(Base64, KnownTexts)
{
    const auto Decoded = [](const auto* pText, unsigned int uLength)
    {
        unsigned char aOut[9];
        return std::string(aOut, aOut + mu::base64_decode(pText, uLength, aOut, 9));
    };
    EXPECT_EQ(Decoded("Zm9vYmE=", 8), "fooba");
    EXPECT_EQ(Decoded("TWFuTWFu=AAA", 12), "ManMan");
    EXPECT_EQ(Decoded(L"T\x157\x046uTW\x146u", 8), "nM") << "their low bytes are valid";
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
            ch = random() % 16 == 0 ? "=\0\x80\xFF-"[random() % 5] : kAlphabet[random() % 64];
        for (unsigned int uCapacity = 0; uCapacity < 2 * uLength + 9; ++uCapacity)
            CheckBase64(strText, uCapacity);
    }
}
