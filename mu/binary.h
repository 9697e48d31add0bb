#ifndef ZOR_MU_BINARY_H
#define ZOR_MU_BINARY_H

#include <bit>
#include <cstdint>
#include <cstring>

namespace mu
{

// Integers as bytes, the lowest byte first (LE) or the highest (BE), whatever the processor's own
// order. The pointers need no alignment.

/// TWord is unsigned, of 2, 4 or 8 bytes.
template <typename TWord, std::endian kOrder>
TWord InByteOrder(TWord uWord)
{
    if constexpr (kOrder == std::endian::native)
    {
        return uWord;
    }
    else if constexpr (sizeof(TWord) == 2)
    {
        return __builtin_bswap16(uWord);
    }
    else if constexpr (sizeof(TWord) == 4)
    {
        return __builtin_bswap32(uWord);
    }
    else
    {
        return __builtin_bswap64(uWord);
    }
}

template <typename TWord, std::endian kOrder>
TWord LoadWord(const void* pBytes)
{
    TWord uWord;
    std::memcpy(&uWord, pBytes, sizeof(uWord));
    return InByteOrder<TWord, kOrder>(uWord);
}

template <typename TWord, std::endian kOrder>
void StoreWord(TWord uWord, void* pBytes)
{
    uWord = InByteOrder<TWord, kOrder>(uWord);
    std::memcpy(pBytes, &uWord, sizeof(uWord));
}

/// With bSigned, bit 23 is the sign.
constexpr int ExtendThreeBytes(int iValue, bool bSigned)
{
    return bSigned && iValue > 0x7FFFFF ? iValue - 0x1000000 : iValue;
}

/// 0 to 65535.
inline int TwoBytesToIntLE(const void* pBytes)
{
    return static_cast<int>(LoadWord<std::uint16_t, std::endian::little>(pBytes));
}

inline int TwoBytesToIntBE(const void* pBytes)
{
    return static_cast<int>(LoadWord<std::uint16_t, std::endian::big>(pBytes));
}

inline short TwoBytesToShortLE(const void* pBytes)
{
    return static_cast<short>(LoadWord<std::uint16_t, std::endian::little>(pBytes));
}

inline int ThreeBytesToIntLE(const void* pBytes, bool bSigned)
{
    const auto* const puBytes = static_cast<const unsigned char*>(pBytes);
    return ExtendThreeBytes(puBytes[0] | puBytes[1] << 8 | puBytes[2] << 16, bSigned);
}

inline int ThreeBytesToIntBE(const void* pBytes, bool bSigned)
{
    const auto* const puBytes = static_cast<const unsigned char*>(pBytes);
    return ExtendThreeBytes(puBytes[0] << 16 | puBytes[1] << 8 | puBytes[2], bSigned);
}

// The top bit of four and eight bytes is the sign: a field without one is read by a cast to the
// unsigned type of the same width.

inline int FourBytesToIntLE(const void* pBytes)
{
    return static_cast<int>(LoadWord<std::uint32_t, std::endian::little>(pBytes));
}

inline int FourBytesToIntBE(const void* pBytes)
{
    return static_cast<int>(LoadWord<std::uint32_t, std::endian::big>(pBytes));
}

inline long long EightBytesToIntLE(const void* pBytes)
{
    return static_cast<long long>(LoadWord<std::uint64_t, std::endian::little>(pBytes));
}

inline long long EightBytesToIntBE(const void* pBytes)
{
    return static_cast<long long>(LoadWord<std::uint64_t, std::endian::big>(pBytes));
}

// The writers take the low bits of the value.

inline void IntToTwoBytesLE(unsigned int uValue, void* pBytes)
{
    StoreWord<std::uint16_t, std::endian::little>(static_cast<std::uint16_t>(uValue), pBytes);
}

inline void IntToTwoBytesBE(unsigned int uValue, void* pBytes)
{
    StoreWord<std::uint16_t, std::endian::big>(static_cast<std::uint16_t>(uValue), pBytes);
}

inline void ShortToTwoBytesLE(short nValue, void* pBytes)
{
    StoreWord<std::uint16_t, std::endian::little>(static_cast<std::uint16_t>(nValue), pBytes);
}

inline void IntToThreeBytesLE(int iValue, void* pBytes)
{
    auto* const puBytes = static_cast<unsigned char*>(pBytes);
    puBytes[0] = static_cast<unsigned char>(iValue);
    puBytes[1] = static_cast<unsigned char>(iValue >> 8);
    puBytes[2] = static_cast<unsigned char>(iValue >> 16);
}

inline void IntToThreeBytesBE(int iValue, void* pBytes)
{
    auto* const puBytes = static_cast<unsigned char*>(pBytes);
    puBytes[0] = static_cast<unsigned char>(iValue >> 16);
    puBytes[1] = static_cast<unsigned char>(iValue >> 8);
    puBytes[2] = static_cast<unsigned char>(iValue);
}

inline void IntToFourBytesLE(unsigned int uValue, void* pBytes)
{
    StoreWord<std::uint32_t, std::endian::little>(uValue, pBytes);
}

inline void IntToFourBytesBE(unsigned int uValue, void* pBytes)
{
    StoreWord<std::uint32_t, std::endian::big>(uValue, pBytes);
}

inline void IntToEightBytesLE(unsigned long long ullValue, void* pBytes)
{
    StoreWord<std::uint64_t, std::endian::little>(ullValue, pBytes);
}

inline void IntToEightBytesBE(unsigned long long ullValue, void* pBytes)
{
    StoreWord<std::uint64_t, std::endian::big>(ullValue, pBytes);
}

/// IEEE 754 single precision with one difference, which files of the device hold and which must
/// stay: the bits of the fraction stand at the low end of its field, without the zeros that they
/// end in. So 1.5 is 0x3F800001; powers of two, and fractions whose last bit is set, are standard.
/// Infinities are the standard pattern, NaN and both zeros are 0. The exponent of a magnitude below
/// 2^-127 does not fit its field and runs into the sign bit, modulo 2^32.
void FloatToFourBytesLE(float fValue, void* pBytes);
/// Reads the standard layout, so FloatToFourBytesLE() is undone only where it is standard. Exponent
/// fields 0 and 255 are exponents like the others, except that all bits 0 are 0.0: negative zero is
/// -2^-127, and the patterns of infinity and NaN exceed the range, which gives infinity.
float FloatFromFourBytesLE(const void* pBytes);

/// n for 2^n; 0 for what is no power of two.
constexpr int Log2(unsigned long long ullValue)
{
    return std::has_single_bit(ullValue) ? std::countr_zero(ullValue) : 0;
}

constexpr bool IsPowerOfTwo(unsigned int uValue)
{
    return std::has_single_bit(uValue);
}

/// Looks at the bits: the most negative number has a single one, so it is a power of two.
constexpr bool IsPowerOfTwo(int iValue)
{
    return IsPowerOfTwo(static_cast<unsigned int>(iValue));
}

/// Half is added to the magnitude, in double precision, and the fraction cut off. What does not fit
/// gives the nearest end of the range, NaN gives 0.
long RoundToLong(double dValue);
int RoundToInt(double dValue);

} // namespace mu

#endif
