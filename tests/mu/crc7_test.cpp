#include "mu/crc7.h"

#include <random>
#include <string>

#include <gtest/gtest.h>

namespace
{

using namespace std::string_literals;

TEST(Crc7, SdCardCommands)
{
    EXPECT_EQ(mu::CalcCRC7(0, "\x40\0\0\0\0", 5), 0x4A);   // GO_IDLE_STATE
    EXPECT_EQ(mu::CalcCRC7(0, "\x48\0\0\1\xAA", 5), 0x43); // SEND_IF_COND
    EXPECT_EQ(mu::CalcCRC7(0xC5, nullptr, 0), 0xC5);
    EXPECT_EQ(mu::CalcCRC7(0xC5, "a", 1), mu::CalcCRC7(0x45, "a", 1));
}

TEST(Crc7, AnyLengthIsAsByteByByte)
{
    std::minstd_rand random;
    std::string strData(5000, '\0');
    for (char& ch : strData)
        ch = static_cast<char>(random() >> 8);
    unsigned char uCrc = 0x55;
    for (unsigned int uLength = 0; uLength < strData.size(); ++uLength)
    {
        ASSERT_EQ(mu::CalcCRC7(0x55, strData.data(), uLength), uCrc) << uLength;
        uCrc = mu::CalcCRC7(uCrc, &strData[uLength], 1);
    }
}

} // namespace
