#ifndef ZOR_MU_HEX_BLOCK_H
#define ZOR_MU_HEX_BLOCK_H

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace mu::hex_block
{

// Data are converted to and from hex digits in blocks. A step takes two bytes or four characters,
// whose four digits stand in one 32-bit word, a byte each. Compilers turn these loops into vector
// instructions where the machine has them.
constexpr std::size_t kBlock = 32;
static_assert(std::endian::native == std::endian::little);

constexpr std::uint32_t kEach = 0x01010101; // kEach * b is a word whose four bytes are all b

// Two forms of one rule: 2 * kBlock digits become kBlock bytes. False, with the output undefined,
// if a character is not a digit.

/// For processors with vector instructions. One character a step: compilers turn the loop into such
/// instructions, and the digits are packed into bytes only once, after it.
inline bool DecodeByBytes(const char* szText, unsigned char* puOut)
{
    unsigned char digits[2 * kBlock];
    unsigned char uWorst = 0;
    for (std::size_t i = 0; i < 2 * kBlock; ++i)
    {
        const auto uChar = static_cast<unsigned char>(szText[i]);
        // uDigit is 0 to 9 exactly for '0' to '9'. uLetter is 4 to 9 for 'a' to 'f' and 'A' to 'F',
        // and above 9 for everything else. So the smaller of the two is above 9 for everything but
        // a digit.
        const auto uDigit = static_cast<unsigned char>(uChar - '0');
        const auto uLetter = static_cast<unsigned char>(((uChar - 1) | 0x20) - ('a' - 1 - 4));
        uWorst = std::max(uWorst, std::min(uDigit, uLetter));
        digits[i] = std::min(uDigit, static_cast<unsigned char>(uLetter + 6));
    }
    std::uint16_t pairs[kBlock];
    std::memcpy(pairs, digits, sizeof(digits));
    for (std::size_t i = 0; i < kBlock; ++i)
    {
        // The first character, the high digit, is the lower byte of a pair. The product puts it
        // into bits 12 to 15, above the low digit in bits 8 to 11: bits 8 to 15 are the value.
        puOut[i] = static_cast<unsigned char>(static_cast<std::uint16_t>(pairs[i] * 0x1001U) >> 8);
    }
    return uWorst <= 9;
}

/// For the others.
inline bool DecodeByWords(const char* szText, unsigned char* puOut)
{
    std::uint32_t chars[kBlock / 2];
    std::memcpy(chars, szText, sizeof(chars));
    std::uint16_t pairs[kBlock / 2];
    std::uint32_t uAllGood = 0x80 * kEach; // the highest bit of a byte: only digits so far
    for (std::size_t i = 0; i < kBlock / 2; ++i)
    {
        // Each byte holds a number of seven bits, so a sum with another one stays in its byte.
        // Adding 0x80 - limit sets the byte's highest bit if the character is at the limit or above
        // it.
        const std::uint32_t uChars = chars[i] & 0x7F * kEach;
        const std::uint32_t uLower = uChars | 0x20 * kEach;
        const std::uint32_t uDecimals =
            (uChars + (0x80 - '0') * kEach) & ~(uChars + (0x7F - '9') * kEach);
        const std::uint32_t uLetters =
            (uLower + (0x80 - 'a') * kEach) & ~(uLower + (0x7F - 'f') * kEach);
        uAllGood &= (uDecimals | uLetters) & ~chars[i];

        const std::uint32_t uIsLetter = uChars >> 6 & kEach; // 1: its value is its low bits + 9
        const std::uint32_t uDigits = (uChars & 0x0F * kEach) + (uIsLetter << 3) + uIsLetter;
        const std::uint32_t uBytes = (uDigits << 4 | uDigits >> 8) & 0x00FF00FF;
        pairs[i] = static_cast<std::uint16_t>(uBytes | uBytes >> 8);
    }
    std::memcpy(puOut, pairs, sizeof(pairs));
    return uAllGood == 0x80 * kEach;
}

} // namespace mu::hex_block

#endif
