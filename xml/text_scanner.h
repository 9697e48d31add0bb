#ifndef ZOR_XML_TEXT_SCANNER_H
#define ZOR_XML_TEXT_SCANNER_H

// Internal to the parser: finds the end of a name, value or text and copies it, decoded and
// widened, into the document's memory in the same pass.

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "xml/byte_block.h"
#include "xml/entities.h"
#include "xml/tree_arena.h"
#include "xml/tree_text.h"

namespace xml_scan
{

enum ECharClass : std::uint8_t
{
    kSpace = 1,
    kTagNameEnd = 2,
    kAttributeNameEnd = 4,
};

inline constexpr auto kCharClasses = []
{
    std::array<std::uint8_t, 128> classes{};
    for (const char ch : {'\t', '\r', '\n', ' '})
    {
        classes[static_cast<std::size_t>(ch)] = kSpace | kTagNameEnd | kAttributeNameEnd;
    }
    classes['/'] |= kTagNameEnd;
    classes['>'] |= kTagNameEnd;
    classes['='] |= kAttributeNameEnd;
    return classes;
}();

template <class TChar>
bool IsIn(TChar ch, ECharClass eClass)
{
    const auto uUnit = static_cast<std::make_unsigned_t<TChar>>(ch);
    return uUnit < kCharClasses.size() && (kCharClasses[uUnit] & eClass) != 0;
}

/// What ends a piece of the text. Mask() may point out more bytes than IsEnd() accepts.
struct STagNameEnd
{
    static constexpr bool kEntities = false;
    static auto Mask(const auto& block)
    {
        return block.Below(' ' + 1) | block.Equal('/') | block.Equal('>');
    }
    template <class TChar>
    static bool IsEnd(TChar ch)
    {
        return IsIn(ch, kTagNameEnd);
    }
};

struct SAttributeNameEnd
{
    static constexpr bool kEntities = false;
    static auto Mask(const auto& block) { return block.Below(' ' + 1) | block.Equal('='); }
    template <class TChar>
    static bool IsEnd(TChar ch)
    {
        return IsIn(ch, kAttributeNameEnd);
    }
};

/// A quote, or the "<" after a text. References are decoded before it.
struct SCharEnd
{
    static constexpr bool kEntities = true;
    char m_chEnd;

    auto Mask(const auto& block) const { return block.Equal(m_chEnd) | block.Equal('&'); }
    template <class TChar>
    bool IsEnd(TChar ch) const
    {
        return ch == TChar(m_chEnd);
    }
};

/// Copies units that need no attention, from the input to the output, until there is one that may,
/// or the end of the input, or (in whole blocks) too little room. Both pointers move.
template <class TEnd>
inline void CopyPlain(const char*& p, const char* pEnd, wchar_t*& pWrite, const wchar_t* pLimit,
                      TEnd end)
{
    while (pEnd - p >= CByteBlock::kSize && pLimit - pWrite >= CByteBlock::kSize)
    {
        const CByteBlock block(p);
        const auto uStops = end.Mask(block) | block.HighBits();
        block.Widen(pWrite);
        const std::ptrdiff_t iPlain = uStops != 0 ? CByteBlock::First(uStops) : CByteBlock::kSize;
        p += iPlain;
        pWrite += iPlain;
        if (uStops != 0)
        {
            return;
        }
    }
}

template <class TEnd>
inline void CopyPlain(const wchar_t*& p, const wchar_t* pEnd, wchar_t*& pWrite,
                      const wchar_t* pLimit, TEnd end)
{
    while (p != pEnd && pWrite != pLimit && !end.IsEnd(*p) && !(TEnd::kEntities && *p == L'&'))
    {
        *pWrite = *p;
        ++p;
        ++pWrite;
    }
}

/// The text that is being written at the end of the arena.
class CArenaText
{
public:
    explicit CArenaText(CTreeArena& arena) : m_arena(arena) { Begin(0); }

    template <class TChar, class TEnd>
    void CopyPlain(const TChar*& p, const TChar* pEnd, TEnd end)
    {
        xml_scan::CopyPlain(p, pEnd, m_pWrite, m_pLimit, end);
    }
    /// The input that is left bounds what can still come.
    void Put(std::uint32_t uUnit, std::size_t uInputLeft)
    {
        if (m_pWrite == m_pLimit)
        {
            Grow(uInputLeft);
        }
        *m_pWrite = static_cast<wchar_t>(uUnit);
        ++m_pWrite;
    }
    STreeText Finish()
    {
        m_arena.Commit(reinterpret_cast<char*>(m_pWrite));
        return {m_pBegin, static_cast<std::uint32_t>(m_pWrite - m_pBegin), 0};
    }

private:
    void Begin(std::size_t uWritten)
    {
        m_pBegin = reinterpret_cast<wchar_t*>(m_arena.Next());
        m_pWrite = m_pBegin + uWritten;
        m_pLimit = reinterpret_cast<wchar_t*>(m_arena.End());
    }
    [[gnu::noinline]] void Grow(std::size_t uInputLeft)
    {
        const auto uWritten = static_cast<std::size_t>(m_pWrite - m_pBegin);
        const std::size_t uNeeded = std::min(uWritten * 2 + 32, uWritten + uInputLeft);
        m_arena.Move(uWritten * sizeof(wchar_t), uNeeded * sizeof(wchar_t));
        Begin(uWritten);
    }

    CTreeArena& m_arena;
    wchar_t* m_pBegin = nullptr;
    wchar_t* m_pWrite = nullptr;
    wchar_t* m_pLimit = nullptr;
};

/// Takes a well-formed sequence (RFC 3629) off the input; false where there is none. Text that
/// holds another must be converted before it is scanned: the conversion lets more pass, also ASCII
/// characters in overlong forms.
inline bool TakeSequence(const char*& p, const char* pEnd, std::uint32_t& uCode)
{
    const auto Byte = [p](int i)
    { return static_cast<std::uint32_t>(static_cast<unsigned char>(p[i])); };
    const auto IsContinued = [&Byte](int i) { return (Byte(i) & 0xC0U) == 0x80; };
    const std::uint32_t uLead = Byte(0);
    const std::ptrdiff_t iLeft = pEnd - p;
    if (uLead >= 0xC2 && uLead < 0xE0 && iLeft >= 2 && IsContinued(1))
    {
        uCode = ((uLead & 0x1FU) << 6) | (Byte(1) & 0x3FU);
        p += 2;
        return true;
    }
    if (uLead >= 0xE0 && uLead < 0xF0 && iLeft >= 3 && IsContinued(1) && IsContinued(2))
    {
        uCode = ((uLead & 0x0FU) << 12) | ((Byte(1) & 0x3FU) << 6) | (Byte(2) & 0x3FU);
        p += 3;
        return uCode >= 0x800;
    }
    if (uLead >= 0xF0 && uLead < 0xF5 && iLeft >= 4 && IsContinued(1) && IsContinued(2) &&
        IsContinued(3))
    {
        uCode = ((uLead & 0x07U) << 18) | ((Byte(1) & 0x3FU) << 12) | ((Byte(2) & 0x3FU) << 6) |
                (Byte(3) & 0x3FU);
        p += 4;
        return uCode >= 0x10000;
    }
    return false;
}

inline bool IsWellFormedUTF8(const char* p, const char* pEnd)
{
    while (p != pEnd)
    {
        std::uint32_t uCode = 0;
        if (static_cast<unsigned char>(*p) < 0x80)
        {
            ++p;
        }
        else if (!TakeSequence(p, pEnd, uCode))
        {
            return false;
        }
    }
    return true;
}

inline bool IsWellFormedUTF8(const wchar_t*, const wchar_t*)
{
    return true;
}

/// Goes on where ReadPiece() met something that is not copied as it is.
template <class TChar, class TEnd>
[[gnu::noinline]] bool ReadPieceSlowly(const TChar*& p, const TChar* pEnd, CArenaText text,
                                       TEnd end, STreeText& piece)
{
    SUnEscapeXMLText references;
    const TChar* pPieceEnd = nullptr; // found at the first reference
    for (; p != pEnd; text.CopyPlain(p, pEnd, end))
    {
        const auto uLeft = static_cast<std::size_t>(pEnd - p);
        std::uint32_t uUnit = static_cast<std::make_unsigned_t<TChar>>(*p);
        std::size_t uTaken = 1;
        if (end.IsEnd(*p))
        {
            piece = text.Finish();
            return true;
        }
        if constexpr (sizeof(TChar) == 1)
        {
            if (uUnit >= 0x80)
            {
                if (!TakeSequence(p, pEnd, uUnit))
                {
                    return false;
                }
                uTaken = 0;
            }
        }
        if constexpr (TEnd::kEntities)
        {
            if (uUnit == '&')
            {
                pPieceEnd =
                    pPieceEnd != nullptr ? pPieceEnd : std::find(p, pEnd, TChar(end.m_chEnd));
                uTaken = std::max<std::size_t>(references.Decode(p, pPieceEnd, uUnit), 1);
                if (pPieceEnd == pEnd || !IsWellFormedUTF8(p, p + uTaken))
                {
                    return false;
                }
            }
        }
        text.Put(uUnit, uLeft);
        p += uTaken;
    }
    return false;
}

/// Reads a piece of text from p to its end, where p stays. False when the input ends first, and
/// where narrow input would have to be converted before it is scanned.
template <class TChar, class TEnd>
inline bool ReadPiece(const TChar*& p, const TChar* pEnd, CTreeArena& arena, TEnd end,
                      STreeText& piece)
{
    CArenaText text(arena);
    text.CopyPlain(p, pEnd, end);
    if (p != pEnd && end.IsEnd(*p)) [[likely]]
    {
        piece = text.Finish();
        return true;
    }
    return ReadPieceSlowly(p, pEnd, text, end, piece);
}

} // namespace xml_scan

#endif
