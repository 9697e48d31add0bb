#include "mu/base64.h"

#include <algorithm>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "tests/mu/wide.h"

namespace
{

using namespace std::string_literals;

unsigned char* Bytes(std::string& strBytes)
{
    return reinterpret_cast<unsigned char*>(strBytes.data());
}

unsigned int Size(const std::string& strText)
{
    return static_cast<unsigned int>(strText.size());
}

/// What a buffer of stars holds afterwards.
std::string Written(std::string strWhole, std::size_t uCapacity)
{
    strWhole += '\0';
    strWhole.resize(uCapacity, '*');
    return strWhole;
}

TEST(Base64, KnownTexts)
{
    const struct
    {
        std::string strText;
        std::string strData;
    } kCases[] = {
        {"TWE=", "Ma"},      {"Zm9vYmE=", "fooba"},      {"TW=ATWE=", "MMa"}, {"T===TWE=", "Ma"},
        {"T@FuTWE=", "nMa"}, {"TWFuTWFu=AAA", "ManMan"}, {"TWFuTWE", "Man"},  {"\xD4WFu", ""},
        {"TWE", ""},         {"+/+/", "\xFB\xFF\xBF"},
    };
    for (const auto& row : kCases)
    {
        std::string strOut(30, '*');
        EXPECT_EQ(mu::base64_decode(row.strText.data(), Size(row.strText), Bytes(strOut), 30),
                  row.strData.size());
        EXPECT_EQ(strOut, Written(row.strData, 30)) << row.strText;
    }
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
        {
            ch = random() % 16 == 0 ? "=\n\x80-"[random() % 4] : ch;
        }
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
            SCOPED_TRACE(strBroken + " " + std::to_string(uCapacity));
            std::string strOut(uCapacity, '*');
            std::wstring wsOut = Wide(strOut);
            const auto uRoom = static_cast<unsigned int>(uCapacity);
            EXPECT_EQ(mu::base64_encode(Bytes(strData), Size(strData), strOut.data(), uRoom),
                      std::min(uCapacity, strText.size()));
            mu::base64_encode(Bytes(strData), Size(strData), wsOut.data(), uRoom);
            EXPECT_EQ(strOut, Written(strText, uCapacity));
            EXPECT_EQ(wsOut, Wide(strOut));

            strOut.assign(uCapacity, '*');
            EXPECT_EQ(mu::base64_decode(strBroken.data(), Size(strBroken), Bytes(strOut), uRoom),
                      std::min(uCapacity, strDecoded.size()));
            EXPECT_EQ(strOut, Written(strDecoded, uCapacity));
            strOut.assign(uCapacity, '*');
            mu::base64_decode(Wide(strBroken).data(), Size(strBroken), Bytes(strOut), uRoom);
            EXPECT_EQ(strOut, Written(strDecoded, uCapacity));
        }
    }
}

} // namespace
