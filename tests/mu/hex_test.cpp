#include "fuzz/support/codec_laws.h"
#include "tests/support/testing.h"

using namespace std::string_literals;

TEST(Hex, ReadsDigitsInThirtyTwoBits)
{
    const std::tuple<std::string, int, int> kCases[] = {
        {"1aF", 3, 0x1AF}, {"12g", 2, 0x12}, {"12\0g"s, 4, 0x12}, {"", 5, 0},      {"1", -1, 0},
        {"1z", 2, -1},     {"/", 1, -1},     {":", 1, -1},        {"@", 1, -1},    {"G", 1, -1},
        {"`", 1, -1},      {"g", 1, -1},     {"\x10", 1, -1},     {"\xB1", 1, -1},
    };
    for (const auto& [strText, iMaxLength, iValue] : kCases)
    {
        SCOPED_TRACE(strText);
        EXPECT_EQ(mu::HexCharsToInt(strText.c_str(), iMaxLength), iValue);
        EXPECT_EQ(mu::HexCharsToInt(Wide(strText).c_str(), iMaxLength), iValue);
    }
    EXPECT_EQ(mu::HexCharsToInt("180000000", 9), INT_MIN);
    EXPECT_EQ(mu::HexCharToInt(L'\x131'), -1) << "a digit in its low byte only";
    EXPECT_EQ(mu::HexTwoCharsToInt(L"1\x131"), -1);
    EXPECT_EQ(mu::HexTwoCharsToInt(""), -1);
}

TEST(Hex, WritesDigits)
{
    EXPECT_EQ(mu::IntToHexChar(-1), '\0');
    EXPECT_EQ(mu::IntToHexChar(16), '\0');
    std::wstring wsText;
    mu::Int64ToHexDisplay(-0x123456789ABCDEF, wsText);
    EXPECT_EQ(wsText, L"FEDCBA9876543211");
    std::string strText;
    mu::BufferToHex("\x1A\xF0", 2, static_cast<mu::ELetterCase>(7), strText);
    EXPECT_EQ(strText, "1af0");
    mu::BufferToHex("\x1A", -1, mu::ELC_UPPER, strText);
    EXPECT_EQ(strText, "");
}

TEST(Hex, AnyTextFollowsThePlainRule)
{
    std::mt19937 random;
    for (std::size_t u = 0; u < 5000; ++u)
    {
        std::string strText(u % 120, '\0');
        for (char& ch : strText)
            ch = random() % 32 == 0 ? static_cast<char>(random())
                                    : "0123456789abcdefABCDEF"[random() % 22];
        CheckHex(strText);
    }
    EXPECT_EQ(mu::HexToBin("11", -2, nullptr), 0);
}

TEST(Hex, DumpsWholeLines)
{
    const std::string strData = "Az09\0\xFF-\n\x80"s + std::string(0xFFFF, '~');
    const std::string strLines =
        "[0000]   41 7A 30 39 00 FF 2D 0A   80 7E 7E 7E 7E 7E 7E 7E   Az09.... ........\r\n"
        "[0010]   7E 7E 7E 7E 7E 7E 7E 7E                             ........ \r\n";
    for (int iCapacity = -1; iCapacity < 160; ++iCapacity)
    {
        std::string strOut(160, '*');
        const int iDone = mu::HexDump(strData.data(), 24, strOut.data(), iCapacity);
        EXPECT_EQ(iDone, iCapacity > 152 ? 152 : iCapacity > 80 ? 80 : 0) << iCapacity;
        std::string strExpected = strLines.substr(0, static_cast<std::size_t>(iDone)) + '\0';
        strExpected.resize(iCapacity > 0 ? strExpected.size() : 0);
        strExpected.resize(160, '*');
        EXPECT_EQ(strOut, strExpected);
    }
    std::string strOut(400000, '*');
    const int iDone = mu::HexDump(strData.data(), 0x10001, strOut.data(), 400000);
    EXPECT_EQ(strOut.substr(static_cast<std::size_t>(iDone) - 64, 64),
              "[1000]   7E" + std::string(50, ' ') + ".\r\n");
}
