#ifndef ZOR_XML_TAG_SCANNER_H
#define ZOR_XML_TAG_SCANNER_H

// Internal to the parser: names and attribute lists.

#include <algorithm>
#include <cassert>
#include <functional>
#include <vector>

#include "xml/attributes_map.h"
#include "xml/text_scanner.h"

namespace mu
{

/// The steps that tags are made of. Each takes the place in the text where it begins and returns
/// the place where it ended, or null where the text does not go on as it must. The place is a
/// parameter and a result, never a member: a member could not stay in a register.
template <typename TChar>
class CTagScanner
{
public:
    CTagScanner(CTreeArena& arena, const TChar* pEnd) : m_pEnd(pEnd), m_arena(arena)
    {
        m_vAttributes.reserve(kFewAttributes);
    }

    const TChar* const m_pEnd;
    /// What ReadAttributes() found, in order, each name once; the texts lie in the arena.
    std::vector<SNodeAttribute> m_vAttributes;
    /// Where ReadAttributes() failed before the end of the text: at a character other than the "="
    /// or the quote that must stand there.
    const TChar* m_pBadAttribute = nullptr;

    const TChar* SkipSpace(const TChar* p) const
    {
        for (; p != m_pEnd; ++p)
        {
            if (!xml_scan::IsIn(*p, xml_scan::kSpace))
            {
                return p;
            }
        }
        return nullptr;
    }

    template <typename TEnd>
    const TChar* Read(const TChar* p, TEnd end, STreeText& piece)
    {
        return xml_scan::ReadPiece(p, m_pEnd, m_arena, end, piece);
    }

    /// Reads attributes up to "/", ">" or chEnd, where the cursor stays.
    const TChar* ReadAttributes(const TChar* p, TChar chEnd)
    {
        m_vAttributes.clear();
        bool bAscending = true;
        while ((p = SkipSpace(p)) != nullptr && *p != TChar('/') && *p != TChar('>') && *p != chEnd)
        {
            SNodeAttribute& attribute = m_vAttributes.emplace_back();
            p = ReadAttribute(p, attribute);
            if (p == nullptr)
            {
                return nullptr;
            }
            bAscending =
                bAscending && (m_vAttributes.size() == 1 || IsBefore(*(&attribute - 1), attribute));
        }
        if (!bAscending)
        {
            SortKeepingFirsts();
        }
        assert(std::ranges::adjacent_find(m_vAttributes, std::not_fn(IsBefore)) ==
               m_vAttributes.end());
        return p;
    }

private:
    static constexpr std::size_t kFewAttributes = 8;

    static bool IsBefore(const SNodeAttribute& a, const SNodeAttribute& b)
    {
        return IsTextBefore(a.m_name.View(), b.m_name.View());
    }

    /// pPlace is null where the text ends.
    [[gnu::cold, gnu::noinline]] const TChar* RefuseAttribute(const TChar* pPlace)
    {
        m_pBadAttribute = pPlace;
        return nullptr;
    }

    const TChar* ReadAttribute(const TChar* p, SNodeAttribute& attribute)
    {
        p = Read(p, xml_scan::SAttributeNameEnd{}, attribute.m_name);
        if (p == nullptr || (p = SkipSpace(p)) == nullptr || *p != TChar('=') ||
            (p = SkipSpace(p + 1)) == nullptr || (*p != TChar('"') && *p != TChar('\'')))
        {
            return RefuseAttribute(p);
        }
        p = Read(p + 1, xml_scan::SCharEnd{static_cast<char>(*p)}, attribute.m_value);
        return p != nullptr ? p + 1 : nullptr;
    }

    void SortKeepingFirsts()
    {
        if (m_vAttributes.size() <= kFewAttributes)
        {
            const auto first = m_vAttributes.begin();
            for (auto it = first; it != m_vAttributes.end(); ++it)
            {
                std::rotate(std::upper_bound(first, it, *it, IsBefore), it, it + 1);
            }
        }
        else
        {
            std::stable_sort(m_vAttributes.begin(), m_vAttributes.end(), IsBefore);
        }
        m_vAttributes.erase(std::unique(m_vAttributes.begin(), m_vAttributes.end(),
                                        [](const SNodeAttribute& a, const SNodeAttribute& b)
                                        { return a.m_name.View() == b.m_name.View(); }),
                            m_vAttributes.end());
    }

    CTreeArena& m_arena;
};

} // namespace mu

#endif
