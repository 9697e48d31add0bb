#ifndef ZOR_FUZZ_SUPPORT_BYTE_BLOCK_LAW_H
#define ZOR_FUZZ_SUPPORT_BYTE_BLOCK_LAW_H

#include "mu/byte_block.h"

#include <algorithm>
#include <cstdint>

inline constexpr std::ptrdiff_t kLargestByteBlock = 16;

/// The rule of a block's form that such bytes and units break, told by a loop over them; null if
/// they break none.
template <typename TBlock>
const char* BrokenByteBlockLaw(const char (&aBytes)[kLargestByteBlock],
                               const wchar_t (&aUnits)[kLargestByteBlock], char chSought,
                               unsigned char uLimit)
{
    constexpr std::ptrdiff_t kSize = TBlock::kSize;
    static_assert(kSize <= kLargestByteBlock);
    const auto IsFirst = [&aBytes](auto matches, auto rule)
    { return TBlock::First(matches) == std::find_if(aBytes, aBytes + kSize, rule) - aBytes; };
    const auto IsHigh = [](char ch) { return static_cast<unsigned char>(ch) >= 0x80; };
    const auto IsBelow = [=](char ch) { return static_cast<unsigned char>(ch) < uLimit; };
    const auto IsEqual = [=](char ch) { return ch == chSought; };

    const TBlock block(aBytes);
    const auto joined = block.Equal(chSought) | block.Below(uLimit) | block.HighBits();
    wchar_t aWide[std::size_t{kSize}];
    block.Widen(aWide);
    char aStored[std::size_t{kSize}];
    block.Store(aStored);
    if (!IsFirst(block.HighBits(), IsHigh) || !IsFirst(block.Below(uLimit), IsBelow) ||
        !IsFirst(block.ZeroOrHigh(), [&](char ch) { return IsHigh(ch) || ch == 0; }) ||
        !IsFirst(block.Equal(chSought), IsEqual) ||
        !IsFirst(joined, [&](char ch) { return IsHigh(ch) || IsBelow(ch) || IsEqual(ch); }))
    {
        return "the first match";
    }
    if (!std::equal(aBytes, aBytes + kSize, aStored) ||
        !std::equal(aWide, aWide + kSize, aBytes,
                    [](wchar_t wc, char ch)
                    { return wc == static_cast<wchar_t>(static_cast<unsigned char>(ch)); }))
    {
        return "the bytes and their wide units";
    }

    const TBlock narrowed(aUnits);
    narrowed.Store(aStored);
    const std::ptrdiff_t iPlain = TBlock::First(narrowed.ZeroOrHigh());
    const auto IsSpecial = [](wchar_t wc)
    { return wc == 0 || static_cast<std::uint32_t>(wc) >= 0x80; };
    if (iPlain != std::find_if(aUnits, aUnits + kSize, IsSpecial) - aUnits ||
        !std::equal(aUnits, aUnits + iPlain, aStored))
    {
        return "the wide units as bytes";
    }
    return nullptr;
}

/// The same of each form that this processor has.
inline const char* BrokenByteBlockLaw(const char (&aBytes)[kLargestByteBlock],
                                      const wchar_t (&aUnits)[kLargestByteBlock], char chSought,
                                      unsigned char uLimit)
{
    const char* const szBroken =
        BrokenByteBlockLaw<mu::CPortableByteBlock>(aBytes, aUnits, chSought, uLimit);
#if defined(__SSE2__)
    using CVectorBlock = mu::CSse2ByteBlock;
#elif defined(__ARM_NEON)
    using CVectorBlock = mu::CNeonByteBlock;
#else
    using CVectorBlock = mu::CPortableByteBlock;
#endif
    return szBroken != nullptr ? szBroken
                               : BrokenByteBlockLaw<CVectorBlock>(aBytes, aUnits, chSought, uLimit);
}

#endif
