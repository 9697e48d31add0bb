#ifndef ZOR_XML_BYTE_BLOCK_H
#define ZOR_XML_BYTE_BLOCK_H

// Internal to parser and writer: a few bytes of text at once. Both forms do the same; the one with
// SSE2 instructions, which every 64-bit x86 has, is more than twice as fast there.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

/// In a mask the first match is exact; what is set behind it may be wrong.
class CPortableByteBlock
{
public:
    using TMask = std::uint64_t;
    static constexpr std::ptrdiff_t kSize = 8;

    explicit CPortableByteBlock(const char* p) { std::memcpy(&m_uBytes, p, kSize); }
    /// Of kSize wide units. Those that are not ASCII become bytes of which HighBits() or Equal(0)
    /// tells.
    explicit CPortableByteBlock(const wchar_t* p)
    {
        for (int i = 0; i < kSize; ++i)
        {
            const auto uUnit = static_cast<std::uint32_t>(p[i]);
            m_uBytes |= std::uint64_t{uUnit < 0x80 ? uUnit : 0x80} << (8 * i);
        }
    }

    TMask HighBits() const { return m_uBytes & kHighBits; }
    TMask Below(unsigned char uLimit) const { return Below(m_uBytes, uLimit); }
    TMask Equal(char ch) const
    {
        return Below(m_uBytes ^ (kOnes * static_cast<unsigned char>(ch)), 1);
    }
    static std::ptrdiff_t First(TMask uMask) { return std::countr_zero(uMask) / 8; }

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
    static constexpr std::uint64_t kOnes = 0x0101010101010101U;
    static constexpr std::uint64_t kHighBits = 0x8080808080808080U;

    static TMask Below(std::uint64_t uBytes, unsigned char uLimit)
    {
        return (uBytes - kOnes * uLimit) & ~uBytes & kHighBits;
    }

    std::uint64_t m_uBytes = 0;
};

#if defined(__SSE2__)

class CSse2ByteBlock
{
public:
    using TMask = unsigned int;
    static constexpr std::ptrdiff_t kSize = 16;

    explicit CSse2ByteBlock(const char* p)
        : m_bytes(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)))
    {
    }

    explicit CSse2ByteBlock(const wchar_t* p)
    {
        const auto Units = [p](int i)
        { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p) + i); };
        m_bytes = _mm_packus_epi16(_mm_packs_epi32(Units(0), Units(1)),
                                   _mm_packs_epi32(Units(2), Units(3)));
    }

    TMask HighBits() const { return Mask(m_bytes); }
    TMask Below(unsigned char uLimit) const
    {
        const __m128i last = _mm_set1_epi8(static_cast<char>(uLimit - 1));
        return Mask(_mm_cmpeq_epi8(_mm_min_epu8(m_bytes, last), m_bytes));
    }
    TMask Equal(char ch) const { return Mask(_mm_cmpeq_epi8(m_bytes, _mm_set1_epi8(ch))); }
    static std::ptrdiff_t First(TMask uMask) { return std::countr_zero(uMask); }

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
    static TMask Mask(__m128i bytes) { return static_cast<TMask>(_mm_movemask_epi8(bytes)); }

    __m128i m_bytes;
};

using CByteBlock = CSse2ByteBlock;

#else

using CByteBlock = CPortableByteBlock;

#endif

#endif
