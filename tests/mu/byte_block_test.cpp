#include "mu/byte_block.h"

#include <algorithm>
#include <random>

#include <gtest/gtest.h>

namespace
{

template <class TBlock>
void ExpectThePlainRule()
{
    std::mt19937 random(1);
    for (int iRound = 0; iRound < 20000; ++iRound)
    {
        char aBytes[TBlock::kSize];
        wchar_t aUnits[TBlock::kSize];
        for (int i = 0; i < TBlock::kSize; ++i)
        {
            const auto uRandom = random();
            aBytes[i] = uRandom % 4 != 0 ? "<>&a \t\x7F\x80"[uRandom >> 8 & 7]
                                         : static_cast<char>(uRandom >> 8);
            aUnits[i] =
                static_cast<wchar_t>(uRandom % 16 != 0 ? uRandom >> 25 : uRandom * 2654435761U);
        }
        const auto Check = [&](auto matches, bool (*rule)(unsigned char)) {
            EXPECT_EQ(TBlock::First(matches),
                      std::find_if(aBytes, aBytes + TBlock::kSize, rule) - aBytes);
        };
        const TBlock block(aBytes);
        Check(block.HighBits(), [](unsigned char u) { return u >= 0x80; });
        Check(block.Below(0x21), [](unsigned char u) { return u < 0x21; });
        Check(block.Equal('<'), [](unsigned char u) { return u == '<'; });
        Check(block.Equal('&') | block.Below('\t') | block.HighBits(),
              [](unsigned char u) { return u == '&' || u < '\t' || u >= 0x80; });

        wchar_t aWide[TBlock::kSize];
        block.Widen(aWide);
        char aStored[TBlock::kSize];
        const TBlock narrowed(aUnits);
        narrowed.Store(aStored);
        const std::ptrdiff_t iPlain = TBlock::First(narrowed.HighBits() | narrowed.Equal('\0'));
        for (int i = 0; i < TBlock::kSize; ++i)
        {
            EXPECT_EQ(aWide[i], static_cast<wchar_t>(static_cast<unsigned char>(aBytes[i])));
            const auto uUnit = static_cast<std::uint32_t>(aUnits[i]);
            const auto uStored = static_cast<unsigned char>(aStored[i]);
            EXPECT_TRUE(i > iPlain ||
                        (i < iPlain ? uStored == uUnit : uUnit == 0 || uUnit >= 0x80));
        }
    }
}

TEST(ByteBlock, AgreesWithThePlainRuleOnEveryByte)
{
    ExpectThePlainRule<CPortableByteBlock>();
#if defined(__SSE2__)
    ExpectThePlainRule<CSse2ByteBlock>();
#elif defined(__ARM_NEON)
    ExpectThePlainRule<CNeonByteBlock>();
#endif
}

} // namespace
