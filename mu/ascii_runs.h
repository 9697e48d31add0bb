#ifndef ZOR_MU_ASCII_RUNS_H
#define ZOR_MU_ASCII_RUNS_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "mu/byte_block.h"

namespace mu
{

// Most text is runs of ASCII, where a byte and a wide unit are the same number. These copy a run
// many units at a time. They read and write nothing beyond the whole length that they are given.

/// Copies the ASCII bytes that the text begins with to wide units. Returns how many; the buffer
/// must have room for uLength; what it gets behind the run is undefined.
inline std::size_t CopyAsciiRun(const char* szText, std::size_t uLength, wchar_t* wszOut)
{
    constexpr std::size_t kBlock = CByteBlock::kSize;

    std::size_t uDone = 0;
    for (; uLength - uDone >= kBlock; uDone += kBlock)
    {
        const CByteBlock block(szText + uDone);
        block.Widen(wszOut + uDone);
        const auto uRun = static_cast<std::size_t>(CByteBlock::First(block.HighBits()));
        if (uRun != kBlock)
        {
            return uDone + uRun;
        }
    }
    for (; uDone < uLength && static_cast<unsigned char>(szText[uDone]) < 0x80; ++uDone)
    {
        wszOut[uDone] = static_cast<wchar_t>(szText[uDone]);
    }
    return uDone;
}

/// Copies the ASCII units that the text begins with to bytes. Returns how many; the buffer must
/// have room for uLength.
template <typename TUnit>
std::size_t CopyAsciiRun(const TUnit* pText, std::size_t uLength, char* szOut)
{
    using TBits = std::make_unsigned_t<TUnit>;
    constexpr std::size_t kBlock = 32;

    std::size_t uDone = 0;
    for (; uLength - uDone >= kBlock; uDone += kBlock)
    {
        TBits uAll = 0;
        for (std::size_t i = 0; i < kBlock; ++i)
        {
            uAll = static_cast<TBits>(uAll | static_cast<TBits>(pText[uDone + i]));
        }
        if (uAll >= 0x80)
        {
            break;
        }
        char block[kBlock];
        for (std::size_t i = 0; i < kBlock; ++i)
        {
            block[i] = static_cast<char>(pText[uDone + i]);
        }
        std::memcpy(szOut + uDone, block, kBlock);
    }
    for (; uLength - uDone >= 4; uDone += 4)
    {
        const TBits uAll = static_cast<TBits>(
            static_cast<TBits>(pText[uDone]) | static_cast<TBits>(pText[uDone + 1]) |
            static_cast<TBits>(pText[uDone + 2]) | static_cast<TBits>(pText[uDone + 3]));
        if (uAll >= 0x80)
        {
            break;
        }
        for (std::size_t i = 0; i < 4; ++i)
        {
            szOut[uDone + i] = static_cast<char>(pText[uDone + i]);
        }
    }
    for (; uDone < uLength && static_cast<TBits>(pText[uDone]) < 0x80; ++uDone)
    {
        szOut[uDone] = static_cast<char>(pText[uDone]);
    }
    return uDone;
}

} // namespace mu

#endif
