#include "mu/binary.h"

#include "fuzz/support/codec_laws.h"
#include "mu/wave_header.h"
#include "tests/support/testing.h"

namespace
{

using namespace std::string_literals;

/// The bytes that a writer writes.
std::string Written(auto Write, auto value)
{
    std::string strBytes(10, '*');
    Write(value, &strBytes[1]);
    return strBytes.substr(1, strBytes.find_last_not_of('*'));
}

TEST(Binary, IntegersInEitherOrder)
{
    const char* const p = &"?\x81\x92\xA3\xB4\xC5\xD6\xE7\xF8"[1];
    const auto expect = [p](auto Read, auto Write, auto value, std::size_t uLength)
    {
        EXPECT_EQ(Read(p), static_cast<decltype(Read(p))>(value));
        EXPECT_EQ(Written(Write, value), std::string(p, uLength));
    };
    expect(mu::TwoBytesToIntLE, mu::IntToTwoBytesLE, 0x9281U, 2);
    expect(mu::TwoBytesToIntBE, mu::IntToTwoBytesBE, 0x8192U, 2);
    expect(mu::TwoBytesToShortLE, mu::ShortToTwoBytesLE, static_cast<short>(0x9281), 2);
    expect(mu::FourBytesToIntLE, mu::IntToFourBytesLE, 0xB4A39281U, 4);
    expect(mu::FourBytesToIntBE, mu::IntToFourBytesBE, 0x8192A3B4U, 4);
    expect(mu::EightBytesToIntLE, mu::IntToEightBytesLE, 0xF8E7D6C5B4A39281U, 8);
    expect(mu::EightBytesToIntBE, mu::IntToEightBytesBE, 0x8192A3B4C5D6E7F8U, 8);
    const auto Signed = [](auto Read) { return [Read](const char* q) { return Read(q, true); }; };
    expect(Signed(mu::ThreeBytesToIntLE), mu::IntToThreeBytesLE, 0xA39281 - 0x1000000, 3);
    expect(Signed(mu::ThreeBytesToIntBE), mu::IntToThreeBytesBE, 0x8192A3 - 0x1000000, 3);
    EXPECT_EQ(mu::ThreeBytesToIntLE(p, false), 0xA39281);
    EXPECT_EQ(mu::ThreeBytesToIntBE("\x7F\xFF\xFF", true), 0x7FFFFF);
}

TEST(Binary, FloatsWithTheFractionAtTheLowEnd)
{
    const std::pair<float, std::uint32_t> kCases[] = {
        {1.0F, 0x3F800000}, {-1.75F, 0xBF800003},    {0x1.8p-126F, 0x00800001},
        {-0.0F, 0},         {100.0F, 0x42800009},    {0x3p-149F, 0xF5800001},
        {NAN, 0},           {0.1F, 0x3DCCCCCD},      {-0x1.FFFFFEp127F, 0xFF7FFFFF},
        {0x1p-127F, 0},     {-INFINITY, 0xFF800000},
    };
    for (const auto& [fValue, uWord] : kCases)
        EXPECT_EQ(Written(mu::FloatToFourBytesLE, fValue), Written(mu::IntToFourBytesLE, uWord));
    const auto Unpack = [](std::uint32_t uWord)
    { return mu::FloatFromFourBytesLE(Written(mu::IntToFourBytesLE, uWord).data()); };
    for (const std::uint32_t uWord : {0U, 0x00800000U, 0x3FC00000U, 0xC2F6E979U, 0x7F7FFFFFU})
        EXPECT_EQ(Unpack(uWord), std::bit_cast<float>(uWord));
    EXPECT_EQ(Unpack(0x80000000), -0x1p-127F);
    EXPECT_EQ(Unpack(0x00400000), 0x1.8p-127F);
    EXPECT_EQ(Unpack(0xFFC00000), -INFINITY);
}

TEST(Binary, NumericHelpers)
{
    EXPECT_EQ(mu::Log2(1000), 0);
    EXPECT_EQ(mu::Log2(1ULL << 63), 63);
    EXPECT_TRUE(mu::IsPowerOfTwo(INT_MIN));
    EXPECT_FALSE(mu::IsPowerOfTwo(0));
    EXPECT_EQ(mu::RoundToInt(2.5), 3);
    EXPECT_EQ(mu::RoundToInt(-2.5), -3);
    EXPECT_EQ(mu::RoundToInt(0.49999999999999994), 1) << "the sum is rounded to 1";
    EXPECT_EQ(mu::RoundToInt(INT_MAX + 0.5), INT_MAX);
    EXPECT_EQ(mu::RoundToInt(-2147483648.5), INT_MIN);
    EXPECT_EQ(mu::RoundToLong(1e300), LONG_MAX);
    EXPECT_EQ(mu::RoundToLong(std::nan("")), 0);
}

TEST(Crc7, SdCardCommandsAndAnyLength)
{
    EXPECT_EQ(mu::CalcCRC7(0, "\x40\0\0\0\0", 5), 0x4A);   // GO_IDLE_STATE
    EXPECT_EQ(mu::CalcCRC7(0, "\x48\0\0\1\xAA", 5), 0x43); // SEND_IF_COND
    EXPECT_EQ(mu::CalcCRC7(0xC5, nullptr, 0), 0xC5);
    std::mt19937 random;
    for (std::string strData; strData.size() < 2200; strData += static_cast<char>(random()))
        CheckCrc7(0x55, strData);
}

TEST(WaveHeader, IsReadAsWritten)
{
    std::string strHeader(mu::kWaveHeaderSize, '*');
    auto* const puHeader = reinterpret_cast<unsigned char*>(strHeader.data());
    mu::SetWaveHeader(puHeader, 2, 2, 44100, 1000);
    EXPECT_EQ(strHeader, "RIFF\x0C\x04\0\0WAVEfmt \x10\0\0\0\1\0\2\0\x44\xAC\0\0"
                         "\x10\xB1\2\0\4\0\x10\0data\xE8\3\0\0"s);

    mu::SetWaveHeader(puHeader, 258, 130, INT_MAX, UINT_MAX);
    int iChannels, iBytes, iRate;
    unsigned int uSize;
    ASSERT_TRUE(mu::GetWaveHeaderAttributes(puHeader, iChannels, iBytes, iRate, uSize));
    EXPECT_EQ(std::tuple(iChannels, iBytes, iRate, uSize), std::tuple(2, 2, INT_MAX, UINT_MAX));
    for (const std::size_t uLast : {3U, 15U, 39U})
    {
        ++strHeader[uLast];
        EXPECT_FALSE(mu::GetWaveHeaderAttributes(puHeader, iChannels, iBytes, iRate, uSize));
        --strHeader[uLast];
    }
}

} // namespace
