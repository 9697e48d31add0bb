#ifndef ZOR_XML_TAG_SCANNER_H
#define ZOR_XML_TAG_SCANNER_H

// Internal to the parser: names and attribute lists.

#include <algorithm>
#include <vector>

#include "xml/attributes_map.h"
#include "xml/text_scanner.h"

/// A cursor over the input, with the steps that tags are made of. Each step returns false where
/// the text does not go on as it must.
template <class TChar>
class CTagScanner
{
public:
    CTagScanner(CTreeArena& arena, const TChar* pText, const TChar* pEnd)
        : m_p(pText), m_pEnd(pEnd), m_arena(arena)
    {
    }

    const TChar* m_p;
    const TChar* const m_pEnd;
    /// What ReadAttributes() found, in order, each name once; the texts lie in the arena.
    std::vector<SNodeAttribute> m_vecAttributes;

    bool SkipSpace()
    {
        while (m_p != m_pEnd && xml_scan::IsIn(*m_p, xml_scan::kSpace))
        {
            ++m_p;
        }
        return m_p != m_pEnd;
    }

    template <class TEnd>
    bool Read(TEnd end, STreeText& piece)
    {
        return xml_scan::ReadPiece(m_p, m_pEnd, m_arena, end, piece);
    }

    /// Reads attributes up to "/", ">" or chEnd, where the cursor stays.
    bool ReadAttributes(TChar chEnd)
    {
        m_vecAttributes.clear();
        bool bAscending = true;
        if (!SkipSpace())
        {
            return false;
        }
        while (*m_p != TChar('/') && *m_p != TChar('>') && *m_p != chEnd)
        {
            SNodeAttribute attribute;
            if (!Read(xml_scan::SAttributeNameEnd{}, attribute.m_name) || !SkipSpace() ||
                *m_p != TChar('='))
            {
                return false;
            }
            ++m_p;
            if (!SkipSpace() || (*m_p != TChar('"') && *m_p != TChar('\'')))
            {
                return false;
            }
            const char chQuote = static_cast<char>(*m_p);
            ++m_p;
            if (!Read(xml_scan::SCharEnd{chQuote}, attribute.m_value))
            {
                return false;
            }
            ++m_p;
            bAscending = bAscending &&
                         (m_vecAttributes.empty() || IsBefore(m_vecAttributes.back(), attribute));
            m_vecAttributes.push_back(attribute);
            if (!SkipSpace())
            {
                return false;
            }
        }
        if (!bAscending)
        {
            SortKeepingFirsts();
        }
        return true;
    }

private:
    static bool IsBefore(const SNodeAttribute& a, const SNodeAttribute& b)
    {
        return IsTextBefore(a.m_name.View(), b.m_name.View());
    }

    void SortKeepingFirsts()
    {
        std::stable_sort(m_vecAttributes.begin(), m_vecAttributes.end(), IsBefore);
        m_vecAttributes.erase(std::unique(m_vecAttributes.begin(), m_vecAttributes.end(),
                                          [](const SNodeAttribute& a, const SNodeAttribute& b)
                                          { return a.m_name.View() == b.m_name.View(); }),
                              m_vecAttributes.end());
    }

    CTreeArena& m_arena;
};

#endif
