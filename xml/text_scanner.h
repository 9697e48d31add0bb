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

#include "mu/byte_block.h"
#include "xml/entities.h"
#include "xml/tree_arena.h"
#include "xml/tree_text.h"

namespace mu::xml_scan
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

template <typename TChar>
bool IsIn(TChar ch, ECharClass eClass)
{
    const auto uUnit = static_cast<std::make_unsigned_t<TChar>>(ch);
    return uUnit < kCharClasses.size() && (kCharClasses[uUnit] & eClass) != 0;
}

/// What ends a piece of the text. Matches() may point out more bytes than IsEnd() accepts.
struct STagNameEnd
{
    static constexpr bool kEntities = false;
    static constexpr char m_chEnd = '\0';
    static auto Matches(const auto& block)
    {
        return block.Below(' ' + 1) | block.Equal('/') | block.Equal('>');
    }
    template <typename TChar>
    static bool IsEnd(TChar ch)
    {
        return IsIn(ch, kTagNameEnd);
    }
};

struct SAttributeNameEnd
{
    static constexpr bool kEntities = false;
    static constexpr char m_chEnd = '\0';
    static auto Matches(const auto& block) { return block.Below(' ' + 1) | block.Equal('='); }
    template <typename TChar>
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

    auto Matches(const auto& block) const { return block.Equal(m_chEnd) | block.Equal('&'); }
    template <typename TChar>
    bool IsEnd(TChar ch) const
    {
        return ch == TChar(m_chEnd);
    }
};

/// Copies units that need no attention from p to pWrite, in whole blocks, until there is one that
/// may need some, or too little input for a block, or no room before pLimit. Writes, but advances
/// neither pointer, up to a block beyond that. Returns the place where it ended; pWrite moves
/// along.
template <typename TChar, typename TEnd>
inline const TChar* CopyPlain(const TChar* p, const TChar* pEnd, wchar_t*& pWrite,
                              const wchar_t* pLimit, TEnd end)
{
    static_assert(CByteBlock::kSize * sizeof(wchar_t) <= CTreeArena::kSpareBytes);
    wchar_t* pNext = pWrite;
    std::ptrdiff_t iPlain = CByteBlock::kSize;
    while (iPlain == CByteBlock::kSize && pEnd - p >= CByteBlock::kSize && pNext < pLimit)
    {
        const CByteBlock block(p);
        auto stops = end.Matches(block);
        if constexpr (sizeof(TChar) > 1)
        {
            stops |= block.ZeroOrHigh();
        }
        else
        {
            stops |= block.HighBits();
        }
        block.Widen(pNext);
        iPlain = CByteBlock::First(stops);
        p += iPlain;
        pNext += iPlain;
    }
    pWrite = pNext;
    return p;
}

/// The text that is being written at the end of the arena, which it may leave by a block.
class CArenaText
{
public:
    CArenaText(CTreeArena& arena, wchar_t* pWrite) : m_arena(arena), m_pWrite(pWrite) {}

    template <typename TChar, typename TEnd>
    const TChar* CopyPlain(const TChar* p, const TChar* pEnd, TEnd end)
    {
        return xml_scan::CopyPlain(p, pEnd, m_pWrite, m_arena.End(), end);
    }
    /// The input that is left bounds what can still come.
    void Put(std::uint32_t uUnit, std::size_t uInputLeft)
    {
        if (m_pWrite >= m_arena.End())
        {
            m_pWrite = Grown(m_arena, m_pWrite, uInputLeft);
        }
        *m_pWrite = static_cast<wchar_t>(uUnit);
        ++m_pWrite;
    }
    STreeText Finish()
    {
        if (m_pWrite > m_arena.End()) [[unlikely]]
        {
            m_pWrite = Grown(m_arena, m_pWrite, 0);
        }
        wchar_t* const pBegin = m_arena.Next();
        m_arena.Commit(m_pWrite);
        return {pBegin, static_cast<std::uint32_t>(m_pWrite - pBegin), 0};
    }

private:
    /// Static, so that the object need not be in memory.
    [[gnu::noinline]] static wchar_t* Grown(CTreeArena& arena, const wchar_t* pWrite,
                                            std::size_t uInputLeft)
    {
        const auto uWritten = static_cast<std::size_t>(pWrite - arena.Next());
        const std::size_t uNeeded = std::min(uWritten * 2 + 32, uWritten + uInputLeft);
        arena.Move(uWritten * sizeof(wchar_t), uNeeded * sizeof(wchar_t));
        return arena.Next() + uWritten;
    }

    CTreeArena& m_arena;
    wchar_t* m_pWrite;
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

/// Takes the references of one piece, and each "&" that begins none.
template <typename TChar>
class CReferences
{
public:
    CReferences(const TChar* pEnd, char chPieceEnd) : m_pEnd(pEnd), m_chPieceEnd(chPieceEnd) {}

    /// Returns the place behind the reference at p. Null if it does not end in the piece, or
    /// swallows what would have to be converted before it is scanned.
    const TChar* Take(const TChar* p, std::uint32_t& uCode)
    {
        const bool bNumeric = m_pEnd - p >= 2 && p[1] == TChar('#');
        if (!bNumeric) // the others hold nothing that ends a piece
        {
            return p + std::max<std::size_t>(m_rule.Decode(p, m_pEnd, uCode), 1);
        }
        if (m_pPieceEnd == nullptr)
        {
            m_pPieceEnd = std::find(p, m_pEnd, TChar(m_chPieceEnd));
        }
        const TChar* const pNext =
            p + std::max<std::size_t>(m_rule.Decode(p, m_pPieceEnd, uCode), 1);
        return m_pPieceEnd != m_pEnd && IsWellFormedUTF8(p, pNext) ? pNext : nullptr;
    }

private:
    SUnEscapeXMLText m_rule;
    const TChar* const m_pEnd;
    const TChar* m_pPieceEnd = nullptr; // found at the first numeric reference
    const char m_chPieceEnd;
};

/// Goes on where ReadPiece() met something that is not copied as it is.
template <typename TChar, typename TEnd>
[[gnu::noinline]] const TChar* ReadPieceSlowly(const TChar* p, const TChar* pEnd, CTreeArena& arena,
                                               wchar_t* pWrite, TEnd end, STreeText& piece)
{
    using TUnit = std::make_unsigned_t<TChar>;
    CArenaText text(arena, pWrite);
    CReferences<TChar> references(pEnd, end.m_chEnd);
    for (; p != pEnd; p = text.CopyPlain(p, pEnd, end))
    {
        if (end.IsEnd(*p))
        {
            piece = text.Finish();
            return p;
        }
        do // what is not ASCII comes in runs
        {
            const auto uLeft = static_cast<std::size_t>(pEnd - p);
            std::uint32_t uUnit = static_cast<TUnit>(*p);
            if constexpr (sizeof(TChar) == 1)
            {
                if (uUnit >= 0x80)
                {
                    if (!TakeSequence(p, pEnd, uUnit))
                    {
                        return nullptr;
                    }
                    text.Put(uUnit, uLeft);
                    continue;
                }
            }
            const TChar* pNext = p + 1;
            if constexpr (TEnd::kEntities)
            {
                if (uUnit == '&')
                {
                    pNext = references.Take(p, uUnit);
                    if (pNext == nullptr)
                    {
                        return nullptr;
                    }
                }
            }
            text.Put(uUnit, uLeft);
            p = pNext;
        } while (p != pEnd && static_cast<TUnit>(*p) >= 0x80);
    }
    return nullptr;
}

/// Reads a piece of text from p to its end and returns that. Null when the input ends first, and
/// where narrow input would have to be converted before it is scanned.
template <typename TChar, typename TEnd>
inline const TChar* ReadPiece(const TChar* p, const TChar* pEnd, CTreeArena& arena, TEnd end,
                              STreeText& piece)
{
    wchar_t* pWrite = arena.Next();
    p = CopyPlain(p, pEnd, pWrite, arena.End(), end);
    if (p != pEnd && end.IsEnd(*p)) [[likely]]
    {
        piece = CArenaText(arena, pWrite).Finish();
        return p;
    }
    return ReadPieceSlowly(p, pEnd, arena, pWrite, end, piece);
}

} // namespace mu::xml_scan

#endif
