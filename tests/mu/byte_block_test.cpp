#include "fuzz/support/byte_block_law.h"

#include "tests/support/testing.h"

TEST(ByteBlock, EveryFormFollowsThePlainRule)
{
    std::mt19937 random(1);
    for (int iRound = 0; iRound < 20000; ++iRound)
    {
        char aBytes[kLargestByteBlock];
        wchar_t aUnits[kLargestByteBlock];
        for (int i = 0; i < kLargestByteBlock; ++i)
        {
            const auto uRandom = random();
            aBytes[i] = uRandom % 4 != 0 ? "<>&a \t\x7F\x80"[uRandom >> 8 & 7]
                                         : static_cast<char>(uRandom >> 8);
            aUnits[i] =
                static_cast<wchar_t>(uRandom % 16 != 0 ? uRandom >> 25 : uRandom * 2654435761U);
        }
        for (const char ch : {'<', '\0', '\x7F'})
            ASSERT_EQ(BrokenByteBlockLaw(aBytes, aUnits, ch, ch == '<' ? 0x21 : '\t'), nullptr);
    }
}
