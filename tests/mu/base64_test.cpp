#include "mu/base64.h"

#include "tests/mu/wide.h"
#include "tests/support/testing.h"

namespace
{

unsigned char* Bytes(std::string& strBytes)
{
    return reinterpret_cast<unsigned char*>(strBytes.data());
}

unsigned int Size(const auto& text)
{
    return static_cast<unsigned int>(text.size());
}

/// What a buffer of stars holds afterwards.
std::string Written(std::string strWhole, std::size_t uCapacity)
{
    strWhole += '\0';
    strWhole.resize(uCapacity, '*');
    return strWhole;
}

void ExpectDecoded(const std::string& strText, std::size_t uCapacity, const std::string& strData)
{
    const auto Expect = [&](const auto& text)
    {
        std::string strOut(uCapacity, '*');
        EXPECT_EQ(mu::base64_decode(text.data(), Size(text), Bytes(strOut), Size(strOut)),
                  std::min(uCapacity, strData.size()));
        EXPECT_EQ(strOut, Written(strData, uCapacity)) << strText;
    };
    Expect(strText);
    Expect(Wide(strText));
}

TEST(Base64, KnownTexts)
{
    ExpectDecoded("Zm9vYmE=", 9, "fooba");
    ExpectDecoded("+/+/", 9, "\xFB\xFF\xBF");
    ExpectDecoded("TWFuTWE", 9, "Man");
    ExpectDecoded("TW=ATWE=", 9, "MMa");
    ExpectDecoded("T===TWE=", 9, "Ma");
    ExpectDecoded("T@FuTWE=", 9, "nMa");
    ExpectDecoded("TWFuTWFu=AAA", 9, "ManMan");
    ExpectDecoded("\xD4WFu", 9, "");
    std::string strOut(9, '*');
    mu::base64_decode(L"T\x157\x046uTW\x146u", 8, Bytes(strOut), 9);
    EXPECT_EQ(strOut, Written("nM", 9)) << "the low bytes of the wide characters are valid";
    EXPECT_EQ(mu::base64_charvalue('='), -1);
    EXPECT_EQ(mu::base64_charvalue(L'/'), 63);
    EXPECT_EQ(mu::base64_charvalue(L'\x141'), -1);
}

TEST(Base64, AnyLengthAndCapacityIsAsGroupByGroup)
{
    std::mt19937 random;
    for (std::size_t uLength = 0; uLength < 45; ++uLength)
    {
        std::string strData(uLength, '\0');
        std::generate(strData.begin(), strData.end(), std::ref(random));
        std::string strText;
        for (std::size_t i = 0; i < uLength; i += 3)
        {
            std::string strGroup = strData.substr(i, 3);
            char szGroup[4];
            mu::base64_encode(Bytes(strGroup), Size(strGroup), szGroup, 4);
            strText.append(szGroup, 4);
        }
        std::string strBroken = strText + "A";
        for (char& ch : strBroken)
            ch = random() % 16 == 0 ? "=\n\x80-"[random() % 4] : ch;
        std::string strDecoded;
        for (std::size_t i = 0; i < strText.size() && mu::base64_charvalue(strBroken[i]) >= 0;
             i += 4)
        {
            std::string strGroup(3, '\0');
            strGroup.resize(mu::base64_decode(&strBroken[i], 4, Bytes(strGroup), 3));
            strDecoded += strGroup;
        }

        for (std::size_t uCapacity = 0; uCapacity < 70; ++uCapacity)
        {
            SCOPED_TRACE(uCapacity);
            std::string strOut(uCapacity, '*');
            std::wstring wsOut = Wide(strOut);
            EXPECT_EQ(mu::base64_encode(Bytes(strData), Size(strData), strOut.data(), Size(strOut)),
                      std::min(uCapacity, strText.size()));
            mu::base64_encode(Bytes(strData), Size(strData), wsOut.data(), Size(wsOut));
            EXPECT_EQ(strOut, Written(strText, uCapacity));
            EXPECT_EQ(wsOut, Wide(strOut));
            ExpectDecoded(strBroken, uCapacity, strDecoded);
        }
    }
}

} // namespace
