#ifndef ZOR_MU_BYTE_BLOCK_H
#define ZOR_MU_BYTE_BLOCK_H

// Internal to text conversion and to the XML parser and writer: a few bytes of text at once, in one
// form for each kind of processor. All forms do the same. No other file has instructions of a
// particular processor.
//
// A comparison gives matches; "|" joins those of several. First() returns the index of the first
// byte that matches, or kSize. Only this index is exact: matches of later bytes may be wrong.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#elif defined(__ARM_NEON)
#include <arm_neon.h>
#endif

namespace mu
{

/// A machine word of bytes, for any processor whose words begin with their lowest byte.
class CPortableByteBlock
{
public:
    using TMatches = std::size_t;
    static constexpr std::ptrdiff_t kSize = sizeof(std::size_t);
    /// Whether it is faster to make a block of wide units than to look at them one by one.
    static constexpr bool kPacksUnits = false;

    explicit CPortableByteBlock(const char* p) { std::memcpy(&m_uBytes, p, kSize); }
    /// From kSize wide units. A unit that is not ASCII becomes a byte that ZeroOrHigh() matches.
    explicit CPortableByteBlock(const wchar_t* p)
    {
        for (int i = 0; i < kSize; ++i)
        {
            const auto uUnit = static_cast<std::uint32_t>(p[i]);
            m_uBytes |= std::size_t{uUnit < 0x80 ? uUnit : 0x80} << (8 * i);
        }
    }

    TMatches HighBits() const { return m_uBytes & kHighBits; }
    TMatches ZeroOrHigh() const { return ((m_uBytes - kOnes) | m_uBytes) & kHighBits; }
    TMatches Below(unsigned char uLimit) const { return Below(m_uBytes, uLimit); }
    TMatches Equal(char ch) const
    {
        return Below(m_uBytes ^ (kOnes * static_cast<unsigned char>(ch)), 1);
    }
    static std::ptrdiff_t First(TMatches matches) { return std::countr_zero(matches) / 8; }

    void Store(char* pOut) const { std::memcpy(pOut, &m_uBytes, kSize); }
    void Widen(wchar_t* pOut) const
    {
        for (int i = 0; i < kSize; ++i)
        {
            pOut[i] = static_cast<wchar_t>((m_uBytes >> (8 * i)) & 0xFFU);
        }
    }

private:
    static_assert(std::endian::native == std::endian::little);
    static constexpr std::size_t kOnes = static_cast<std::size_t>(0x0101010101010101U);
    static constexpr std::size_t kHighBits = kOnes << 7;

    static TMatches Below(std::size_t uBytes, unsigned char uLimit)
    {
        return (uBytes - kOnes * uLimit) & ~uBytes & kHighBits;
    }

    std::size_t m_uBytes = 0;
};

#if defined(__SSE2__)
using TByteVector = __m128i;
#elif defined(__ARM_NEON)
using TByteVector = uint8x16_t;
#endif

#if defined(__SSE2__) || defined(__ARM_NEON)

/// What the forms with a vector of 16 bytes share.
class CVectorByteBlock
{
public:
    using TMatches = TByteVector; // in the highest bit of each byte
    static constexpr std::ptrdiff_t kSize = 16;
    static constexpr bool kPacksUnits = true;

    TMatches HighBits() const { return m_bytes; }

protected:
    explicit CVectorByteBlock(TByteVector bytes) : m_bytes(bytes) {}

    TByteVector m_bytes;
};

#endif

#if defined(__SSE2__)

/// On x86; every 64-bit one has these instructions.
class CSse2ByteBlock : public CVectorByteBlock
{
public:
    explicit CSse2ByteBlock(const char* p)
        : CVectorByteBlock(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)))
    {
    }
    explicit CSse2ByteBlock(const wchar_t* p) : CVectorByteBlock(Packed(p)) {}

    TMatches ZeroOrHigh() const { return _mm_cmpgt_epi8(_mm_set1_epi8(1), m_bytes); }
    TMatches Below(unsigned char uLimit) const
    {
        const __m128i last = _mm_set1_epi8(static_cast<char>(uLimit - 1));
        return _mm_cmpeq_epi8(_mm_min_epu8(m_bytes, last), m_bytes);
    }
    TMatches Equal(char ch) const { return _mm_cmpeq_epi8(m_bytes, _mm_set1_epi8(ch)); }
    static std::ptrdiff_t First(TMatches matches)
    {
        return std::countr_zero(static_cast<unsigned int>(_mm_movemask_epi8(matches)) |
                                1U << kSize);
    }

    void Store(char* pOut) const { _mm_storeu_si128(reinterpret_cast<__m128i*>(pOut), m_bytes); }
    void Widen(wchar_t* pOut) const
    {
        const __m128i zero = _mm_setzero_si128();
        const __m128i low = _mm_unpacklo_epi8(m_bytes, zero);
        const __m128i high = _mm_unpackhi_epi8(m_bytes, zero);
        auto* const p = reinterpret_cast<__m128i*>(pOut);
        _mm_storeu_si128(p, _mm_unpacklo_epi16(low, zero));
        _mm_storeu_si128(p + 1, _mm_unpackhi_epi16(low, zero));
        _mm_storeu_si128(p + 2, _mm_unpacklo_epi16(high, zero));
        _mm_storeu_si128(p + 3, _mm_unpackhi_epi16(high, zero));
    }

private:
    static __m128i Packed(const wchar_t* p)
    {
        const auto Units = [p](int i)
        { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p) + i); };
        return _mm_packus_epi16(_mm_packs_epi32(Units(0), Units(1)),
                                _mm_packs_epi32(Units(2), Units(3)));
    }
};

#elif defined(__ARM_NEON)

/// On ARM processors that have NEON.
class CNeonByteBlock : public CVectorByteBlock
{
public:
    explicit CNeonByteBlock(const char* p)
        : CVectorByteBlock(vld1q_u8(reinterpret_cast<const std::uint8_t*>(p)))
    {
    }
    explicit CNeonByteBlock(const wchar_t* p) : CVectorByteBlock(Packed(p)) {}

    TMatches ZeroOrHigh() const { return vcleq_s8(vreinterpretq_s8_u8(m_bytes), vdupq_n_s8(0)); }
    TMatches Below(unsigned char uLimit) const { return vcltq_u8(m_bytes, vdupq_n_u8(uLimit)); }
    TMatches Equal(char ch) const
    {
        return vceqq_u8(m_bytes, vdupq_n_u8(static_cast<std::uint8_t>(ch)));
    }
    static std::ptrdiff_t First(TMatches matches)
    {
        // Four bits for each byte, in two words: counting the zeros of a 64-bit number is a
        // function call on 32-bit ARM.
        const auto spread = vreinterpretq_u16_s8(vshrq_n_s8(vreinterpretq_s8_u8(matches), 7));
        const auto nibbles = vreinterpret_u32_u8(vshrn_n_u16(spread, 4));
        const std::uint32_t uLow = vget_lane_u32(nibbles, 0);
        return uLow != 0 ? std::countr_zero(uLow) / 4
                         : 8 + std::countr_zero(vget_lane_u32(nibbles, 1)) / 4;
    }

    void Store(char* pOut) const { vst1q_u8(reinterpret_cast<std::uint8_t*>(pOut), m_bytes); }
    void Widen(wchar_t* pOut) const
    {
        auto* const p = reinterpret_cast<std::uint32_t*>(pOut);
        const uint16x8_t low = vmovl_u8(vget_low_u8(m_bytes));
        const uint16x8_t high = vmovl_u8(vget_high_u8(m_bytes));
        vst1q_u32(p, vmovl_u16(vget_low_u16(low)));
        vst1q_u32(p + 4, vmovl_u16(vget_high_u16(low)));
        vst1q_u32(p + 8, vmovl_u16(vget_low_u16(high)));
        vst1q_u32(p + 12, vmovl_u16(vget_high_u16(high)));
    }

private:
    static uint8x16_t Packed(const wchar_t* p)
    {
        const auto Units = [p](int i)
        { return vqmovn_u32(vld1q_u32(reinterpret_cast<const std::uint32_t*>(p) + 4 * i)); };
        return vcombine_u8(vqmovn_u16(vcombine_u16(Units(0), Units(1))),
                           vqmovn_u16(vcombine_u16(Units(2), Units(3))));
    }
};

#endif

#if defined(ZOR_PORTABLE_BYTE_BLOCK)
using CByteBlock = CPortableByteBlock;
#elif defined(__SSE2__)
using CByteBlock = CSse2ByteBlock;
#elif defined(__ARM_NEON)
using CByteBlock = CNeonByteBlock;
#else
using CByteBlock = CPortableByteBlock;
#endif

} // namespace mu

#endif
