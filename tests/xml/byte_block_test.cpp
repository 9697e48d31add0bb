#include "xml/byte_block.h"

#include <cstring>
#include <random>

#include <gtest/gtest.h>

namespace
{

/// The first match by the plain rule, at most TBlock::kSize.
template <class TBlock, class TRule>
std::ptrdiff_t FirstOf(const char* p, TRule rule)
{
    std::ptrdiff_t i = 0;
    while (i < TBlock::kSize && !rule(static_cast<unsigned char>(p[i])))
    {
        ++i;
    }
    return i;
}

template <class TBlock>
std::ptrdiff_t First(typename TBlock::TMask uMask)
{
    return uMask != 0 ? TBlock::First(uMask) : TBlock::kSize;
}

template <class TBlock>
class ByteBlock : public testing::Test
{
};

#if defined(__SSE2__)
using TBlocks = testing::Types<CPortableByteBlock, CSse2ByteBlock>;
#else
using TBlocks = testing::Types<CPortableByteBlock>;
#endif
TYPED_TEST_SUITE(ByteBlock, TBlocks);

TYPED_TEST(ByteBlock, AgreesWithThePlainRuleOnEveryByte)
{
    std::mt19937 random(1);
    for (int iRound = 0; iRound < 20000; ++iRound)
    {
        char aBytes[TypeParam::kSize];
        wchar_t aUnits[TypeParam::kSize];
        for (int i = 0; i < TypeParam::kSize; ++i)
        {
            const auto uRandom = random();
            aBytes[i] = static_cast<char>(uRandom >> 8);
            if (uRandom % 4 != 0)
            {
                aBytes[i] = "<>&a \t\x7F\x80"[uRandom >> 8 & 7];
            }
            aUnits[i] =
                static_cast<wchar_t>(uRandom % 16 != 0 ? uRandom >> 25 : uRandom * 2654435761U);
        }
        const TypeParam block(aBytes);
        const auto Check = [&aBytes](auto uMask, auto rule)
        { EXPECT_EQ(First<TypeParam>(uMask), FirstOf<TypeParam>(aBytes, rule)); };
        Check(block.HighBits(), [](unsigned char u) { return u >= 0x80; });
        Check(block.Below(0x21), [](unsigned char u) { return u < 0x21; });
        Check(block.Equal('<'), [](unsigned char u) { return u == '<'; });

        wchar_t aWide[TypeParam::kSize];
        block.Widen(aWide);
        char aStored[TypeParam::kSize];
        const TypeParam narrowed(aUnits);
        narrowed.Store(aStored);
        const std::ptrdiff_t iPlain = First<TypeParam>(narrowed.HighBits() | narrowed.Equal('\0'));
        for (int i = 0; i < TypeParam::kSize; ++i)
        {
            EXPECT_EQ(aWide[i], static_cast<wchar_t>(static_cast<unsigned char>(aBytes[i])));
            const auto uUnit = static_cast<std::uint32_t>(aUnits[i]);
            if (i < iPlain)
            {
                EXPECT_EQ(static_cast<unsigned char>(aStored[i]), uUnit);
            }
            else if (i == iPlain)
            {
                EXPECT_TRUE(uUnit == 0 || uUnit >= 0x80) << uUnit;
            }
        }
    }
}

} // namespace
