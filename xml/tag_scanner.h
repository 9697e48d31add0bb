#ifndef ZOR_XML_TAG_SCANNER_H
#define ZOR_XML_TAG_SCANNER_H

// Internal to the parser: names and attribute lists.

#include <algorithm>
#include <vector>

#include "xml/attributes_map.h"
#include "xml/text_scanner.h"

namespace mu
{

/// The steps that tags are made of. Each takes the place in the text where it begins and returns
/// the place where it ended, or null where the text does not go on as it must. The place is passed
/// and never kept in a member: the compiler could not hold that in a register.
template <typename TChar>
class CTagScanner
{
public:
    CTagScanner(CTreeArena& arena, const TChar* pEnd) : m_pEnd(pEnd), m_arena(arena)
    {
        m_vecAttributes.reserve(kFewAttributes);
    }

    const TChar* const m_pEnd;
    /// What ReadAttributes() found, in order, each name once; the texts lie in the arena.
    std::vector<SNodeAttribute> m_vecAttributes;

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
        m_vecAttributes.clear();
        bool bAscending = true;
        while ((p = SkipSpace(p)) != nullptr && *p != TChar('/') && *p != TChar('>') && *p != chEnd)
        {
            SNodeAttribute& attribute = m_vecAttributes.emplace_back();
            p = ReadAttribute(p, attribute);
            if (p == nullptr)
            {
                return nullptr;
            }
            bAscending = bAscending &&
                         (m_vecAttributes.size() == 1 || IsBefore(*(&attribute - 1), attribute));
        }
        if (!bAscending)
        {
            SortKeepingFirsts();
        }
        return p;
    }

private:
    static constexpr std::size_t kFewAttributes = 8;

    static bool IsBefore(const SNodeAttribute& a, const SNodeAttribute& b)
    {
        return IsTextBefore(a.m_name.View(), b.m_name.View());
    }

    const TChar* ReadAttribute(const TChar* p, SNodeAttribute& attribute)
    {
        p = Read(p, xml_scan::SAttributeNameEnd{}, attribute.m_name);
        if (p == nullptr || (p = SkipSpace(p)) == nullptr || *p != TChar('=') ||
            (p = SkipSpace(p + 1)) == nullptr || (*p != TChar('"') && *p != TChar('\'')))
        {
            return nullptr;
        }
        p = Read(p + 1, xml_scan::SCharEnd{static_cast<char>(*p)}, attribute.m_value);
        return p != nullptr ? p + 1 : nullptr;
    }

    void SortKeepingFirsts()
    {
        if (m_vecAttributes.size() <= kFewAttributes)
        {
            const auto first = m_vecAttributes.begin();
            for (auto it = first; it != m_vecAttributes.end(); ++it)
            {
                std::rotate(std::upper_bound(first, it, *it, IsBefore), it, it + 1);
            }
        }
        else
        {
            std::stable_sort(m_vecAttributes.begin(), m_vecAttributes.end(), IsBefore);
        }
        m_vecAttributes.erase(std::unique(m_vecAttributes.begin(), m_vecAttributes.end(),
                                          [](const SNodeAttribute& a, const SNodeAttribute& b)
                                          { return a.m_name.View() == b.m_name.View(); }),
                              m_vecAttributes.end());
    }

    CTreeArena& m_arena;
};

} // namespace mu

#endif
