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

/// The rules by which a piece of text ends. Matches() finds candidates in a block of bytes, among
/// them some that end nothing; IsEnd() decides.
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

/// A value ends at its quote, a text at the next "<". References before that are decoded.
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

/// Copies plain units from p to pWrite, a block at a time. Stops at the first unit that may end the
/// piece, begin a reference or not be ASCII; where less than a block of input is left; and where
/// pWrite has reached pLimit. Returns where the input goes on, and moves pWrite behind the last
/// plain unit. Always stores whole blocks, so what follows pWrite is overwritten, up to a block
/// beyond pLimit.
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

/// A text that is being written into the free room at the end of the arena. CopyPlain() may write a
/// block beyond that room, into the spare bytes; Put() and Finish() then move the text to a new
/// chunk.
class CArenaText
{
public:
    CArenaText(CTreeArena& arena, wchar_t* pWrite) : m_arena(arena), m_pWrite(pWrite) {}

    template <typename TChar, typename TEnd>
    const TChar* CopyPlain(const TChar* p, const TChar* pEnd, TEnd end)
    {
        return xml_scan::CopyPlain(p, pEnd, m_pWrite, m_arena.End(), end);
    }
    /// uInputLeft is the input not yet read, in units: the text cannot grow by more than that.
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
    /// Moves the text to a new chunk and returns where it goes on there. Static: a member function
    /// would need the object in memory, and its pointers could not stay in registers.
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

/// Decodes the UTF-8 sequence at p and moves p behind it. False, with p of no more use, if there is
/// none of RFC 3629; surrogates and codes up to 0x13FFFF, which RFC 3629 excludes, are taken, too.
/// Text with any other sequence cannot be scanned as bytes: mu::ConvertString() accepts more, even
/// a "<" of two bytes. Such text is converted first and then scanned as wide text.
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

/// The first byte that begins no well-formed sequence; pEnd if there is none.
inline const char* FindMalformedUTF8(const char* p, const char* pEnd)
{
    while (p != pEnd)
    {
        const char* pNext = p + 1;
        std::uint32_t uCode = 0;
        if (static_cast<unsigned char>(*p) >= 0x80 && !TakeSequence(pNext = p, pEnd, uCode))
        {
            break;
        }
        p = pNext;
    }
    return p;
}

inline bool IsWellFormedUTF8(const char* p, const char* pEnd)
{
    return FindMalformedUTF8(p, pEnd) == pEnd;
}

inline bool IsWellFormedUTF8(const wchar_t*, const wchar_t*)
{
    return true;
}

/// Decodes the references of one piece of text.
template <typename TChar>
class CReferences
{
public:
    CReferences(const TChar* pEnd, char chPieceEnd) : m_pEnd(pEnd), m_chPieceEnd(chPieceEnd) {}

    /// Decodes the reference at p and returns the place behind it; an "&" that begins no reference
    /// stands for itself. Null if the input ends before the piece does, or if a numeric reference
    /// swallows malformed UTF-8.
    const TChar* Take(const TChar* p, std::uint32_t& uCode)
    {
        const bool bNumeric = m_pEnd - p >= 2 && p[1] == TChar('#');
        if (!bNumeric) // a named reference has neither a quote nor a "<", which could end the piece
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

/// ReadPiece() from the first unit on that is not plain, or that is too near to the end of the
/// input for a block.
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
        do // also copies the units behind this one that are not ASCII: they come in runs
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

/// Reads the piece of text that begins at p into the arena. Returns the place of the unit that ends
/// it, null if the input ends first or has malformed UTF-8 before that.
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
