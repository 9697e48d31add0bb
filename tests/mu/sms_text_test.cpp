#include "mu/sms_text.h"

#include "tests/support/testing.h"

namespace
{

using namespace std::string_literals;

std::string Septets(const std::wstring& wsText)
{
    std::string strSeptets = "old";
    return mu::TextToSeptets(wsText, strSeptets) ? strSeptets : "none" + strSeptets;
}

TEST(SmsText, SevenBitAlphabet)
{
    EXPECT_EQ(Septets(L"@Δ É¡Z§¿à"), "\0\x10\x20\x1F\x40Z\x5F\x60\x7F"s);
    EXPECT_EQ(Septets(L"[€\f"), "\x1B\x3C\x1B\x65\x1B\x0A");
    EXPECT_EQ(Septets(L"a\x1B"), "none");
    EXPECT_EQ(Septets(L"aЖ"), "none");
    EXPECT_EQ(mu::SeptetsToText("\x1B\x3C\x1BZ\x1B\x1Bz\x1B"), L"[Z z ");
    std::string strAll;
    for (char ch = 0; ch < 0x7F; ++ch)
        strAll += ch == 0x1B ? 0x7F : ch;
    EXPECT_EQ(Septets(mu::SeptetsToText(strAll)), strAll);
}

TEST(SmsText, PacksSeptets)
{
    const std::string strPacked = "\xE8\x32\x9B\xFD\x46\x97\xD9\xEC\x37"; // the standard's order
    EXPECT_EQ(mu::PackSeptets("hellohello"), strPacked);
    EXPECT_EQ(mu::UnpackSeptets(strPacked, 99), "hellohello");
    for (int i = 0; i < 20 * 7; ++i)
    {
        const std::string strSeptets("0123456789abcdefghijk", static_cast<std::size_t>(i / 7));
        const std::string strOctets = mu::PackSeptets(strSeptets, i % 7);
        EXPECT_EQ(mu::UnpackSeptets(strOctets, i / 7, i % 7), strSeptets);
    }
}

TEST(SmsText, Ucs2)
{
    EXPECT_EQ(mu::TextToUcs2(L"\xD7FF\x1F600\xD800\xDFFF\xE000\x10FFFF"),
              "\xD7\xFF\xD8\x3D\xDE\x00\xFF\xFD\xFF\xFD\xE0\x00\xDB\xFF\xDF\xFF"s);
    EXPECT_EQ(mu::Ucs2ToText("\x04\x16\xD8\x3D\xDE\x00\xDE\x00\xD8\x3D\x00"s),
              L"Ж\x1F600\xFFFD\xFFFD");
}

void ExpectParts(const std::wstring& wsText, const std::vector<int>& lengths)
{
    std::vector<mu::SSmsPart> vParts;
    ASSERT_TRUE(mu::SplitSmsText(wsText, 0xA7, vParts));
    EXPECT_EQ(mu::CountSmsParts(wsText), static_cast<int>(lengths.size()));
    const bool bAlone = vParts.size() == 1;
    std::vector<int> found;
    std::wstring wsBack;
    for (const mu::SSmsPart& part : vParts)
    {
        found.push_back(part.m_iUserDataLength);
        EXPECT_LE(part.m_strUserData.size(), 140U);
        const std::string strHeader = "\5\0\3\xA7\2"s + static_cast<char>(found.size());
        EXPECT_EQ(part.m_strUserData.substr(0, bAlone ? 0 : 6), bAlone ? "" : strHeader);
        const std::string strBody = part.m_strUserData.substr(bAlone ? 0 : 6);
        const int iSeptets = part.m_iUserDataLength - (bAlone ? 0 : 7);
        wsBack += mu::ChooseSmsCoding(wsText) == mu::ESmsCoding::Ucs2
                      ? mu::Ucs2ToText(strBody)
                      : mu::SeptetsToText(mu::UnpackSeptets(strBody, iSeptets, bAlone ? 0 : 1));
    }
    EXPECT_EQ(found, lengths);
    EXPECT_EQ(wsBack, wsText);
}

TEST(SmsText, SplitsWithoutBreakingACharacter)
{
    ExpectParts(L"", {0});
    ExpectParts(std::wstring(160, L'a'), {160});
    ExpectParts(std::wstring(161, L'a'), {160, 15});
    ExpectParts(std::wstring(152, L'a') + L"€" + std::wstring(7, L'a'), {159, 16});
    ExpectParts(std::wstring(66, L'Ж') + L"1234", {140});
    ExpectParts(std::wstring(66, L'Ж') + L"12345", {140, 14});
    ExpectParts(std::wstring(66, L'Ж') + L"\x1F600xyz", {138, 16});
    std::vector<mu::SSmsPart> vParts;
    EXPECT_TRUE(mu::SplitSmsText(std::wstring(std::size_t{153} * 255, L'a'), 0, vParts));
    EXPECT_FALSE(mu::SplitSmsText(std::wstring(std::size_t{153} * 255 + 1, L'a'), 0, vParts));
}

} // namespace
