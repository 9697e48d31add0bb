#include <algorithm>
#include <cassert>
#include <climits>
#include <cstring>
#include <cwchar>
#include <limits>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "diagnostics/function_state.h"
#include "io/file_access.h"
#include "logging/logger.h"
#include "mu/text.h"
#include "mu/unicode.h"
#include "xml/element_tree.h"
#include "xml/parse_error.h"
#include "xml/tag_scanner.h"
#include "xml/text_scanner.h"
#include "xml/tree_arena.h"

namespace mu
{

/// Builds the elements of one text in an arena. The document gets them only after the whole text
/// has been read; until then a failure costs nothing but the arena.
template <typename TChar>
class CDocumentParser
{
public:
    CDocumentParser(CVariablesTree& tree, CTreeArena& arena, const TChar* pText,
                    std::size_t uLength)
        : m_tree(tree), m_arena(arena), m_pText(pText), m_scan(arena, pText + uLength)
    {
        m_vOpen.reserve(kUsualDepth);
        m_vChildren.reserve(kUsualChildren);
        m_vTexts.reserve(kUsualDepth);
    }

    /// The root, or null where the text is not a document; the tree then has the error.
    CVariablesSubTree* Run()
    {
        const TChar* p = m_pText;
        while ((p = m_scan.SkipSpace(p)) != nullptr)
        {
            p = *p == TChar('<') ? ReadTag(p + 1) : ReadText(p);
            if (p == nullptr)
            {
                return nullptr;
            }
        }
        if (!m_vOpen.empty() || m_pRoot == nullptr)
        {
            RefuseTheEnd();
            return nullptr;
        }
        assert(m_vChildren.empty() && m_vTexts.empty());
        return m_pRoot;
    }

private:
    // The stacks have room for so much from the start; larger documents make them grow.
    static constexpr std::size_t kUsualDepth = 8;
    static constexpr std::size_t kUsualChildren = 32;

    /// An element whose closing tag has not been read yet. Its children so far are m_vChildren from
    /// m_uFirstChild on, its texts m_vTexts from m_uFirstText on. Each of these numbers is at most
    /// the document's length, which fits 32 bits.
    struct SOpenElement
    {
        CVariablesSubTree* m_pElement;
        const TChar* m_pName;
        std::uint32_t m_uNameLength;
        std::uint32_t m_uFirstChild;
        std::uint32_t m_uFirstText;
    };

    /// Notes why the text is refused, and the place in it. Returns null, for the caller to return.
    [[gnu::cold, gnu::noinline]] const TChar* Refuse(EXMLError eReason, const TChar* pPlace)
    {
        m_tree.Refuse(eReason, static_cast<std::size_t>(pPlace - m_pText));
        return nullptr;
    }

    /// The text ends, but not where a document does.
    [[gnu::cold, gnu::noinline]] const TChar* RefuseTheEnd()
    {
        return m_vOpen.empty() ? Refuse(EXMLError::NoElement, m_scan.m_pEnd)
                               : Refuse(EXMLError::Unclosed, m_vOpen.back().m_pName - 1);
    }

    /// The tag that begins at pTag has attributes that cannot be read.
    [[gnu::cold, gnu::noinline]] const TChar* RefuseAttributes(const TChar* pTag)
    {
        return m_scan.m_pBadAttribute != nullptr
                   ? Refuse(EXMLError::BadAttribute, m_scan.m_pBadAttribute)
                   : Refuse(EXMLError::UnclosedTag, pTag);
    }

    /// The tag that begins at pTag goes on at p, behind its "/", with something else than ">".
    [[gnu::cold, gnu::noinline]] const TChar* RefuseTagEnd(const TChar* p, const TChar* pTag)
    {
        return p == m_scan.m_pEnd ? Refuse(EXMLError::UnclosedTag, pTag)
                                  : Refuse(EXMLError::BadTagEnd, p);
    }

    /// The name in a closing tag begins at pName; the element that is open has another one.
    [[gnu::cold, gnu::noinline]] const TChar* RefuseClosingTag(const TChar* pName)
    {
        const bool bEnds = std::find(pName, m_scan.m_pEnd, TChar('>')) != m_scan.m_pEnd;
        return bEnds ? Refuse(EXMLError::WrongClosing, pName)
                     : Refuse(EXMLError::UnclosedTag, pName - 2);
    }

    // Each of these reads from p on and returns the place behind what it read, or null after
    // Refuse().

    const TChar* ReadText(const TChar* p)
    {
        if (m_vOpen.empty())
        {
            return Refuse(EXMLError::TextOutside, p);
        }
        STreeText text;
        p = m_scan.Read(p, xml_scan::SCharEnd{'<'}, text);
        if (p == nullptr)
        {
            return RefuseTheEnd();
        }
        m_vTexts.push_back(text);
        return p;
    }

    const TChar* ReadTag(const TChar* p)
    {
        if (p == m_scan.m_pEnd)
        {
            return Refuse(EXMLError::UnclosedTag, p - 1);
        }
        switch (*p)
        {
        case TChar('/'):
            return ReadClosingTag(p + 1);
        case TChar('?'):
            return ReadDeclaration(p);
        default:
            return ReadOpeningTag(p);
        }
    }

    const TChar* ReadDeclaration(const TChar* p)
    {
        const TChar* const pTag = p - 1;
        STreeText name;
        p = m_scan.Read(p, xml_scan::STagNameEnd{}, name);
        p = p != nullptr ? m_scan.ReadAttributes(p, TChar('?')) : nullptr;
        if (p == nullptr)
        {
            return RefuseAttributes(pTag);
        }
        m_tree.EnableXMLHeaderTag(true);
        const bool bEnded = m_scan.m_pEnd - p >= 2 && p[0] == TChar('?') && p[1] == TChar('>');
        return bEnded ? p + 2 : Refuse(EXMLError::BadTagEnd, p);
    }

    const TChar* ReadOpeningTag(const TChar* p)
    {
        if (m_vOpen.empty() && m_pRoot != nullptr)
        {
            return Refuse(EXMLError::SecondRoot, p - 1);
        }
        const TChar* const pName = p;
        CVariablesSubTree* const pElement = NewElement();
        p = m_scan.Read(p, xml_scan::STagNameEnd{}, pElement->m_name);
        if (p == nullptr || p == pName)
        {
            return p == pName ? Refuse(EXMLError::NoName, p)
                              : Refuse(EXMLError::UnclosedTag, pName - 1);
        }
        const auto uNameLength = static_cast<std::uint32_t>(p - pName);
        if (*p != TChar('>')) // most elements have no attributes
        {
            p = m_scan.ReadAttributes(p, TChar(0));
            if (p == nullptr)
            {
                return RefuseAttributes(pName - 1);
            }
            StoreAttributes(*pElement);
        }

        if (*p == TChar('/'))
        {
            ++p;
            return p != m_scan.m_pEnd && *p == TChar('>') ? p + 1 : RefuseTagEnd(p, pName - 1);
        }
        assert(*p == TChar('>')); // the text has no NUL, which would end the attributes too
        m_vOpen.push_back({pElement, pName, uNameLength,
                           static_cast<std::uint32_t>(m_vChildren.size()),
                           static_cast<std::uint32_t>(m_vTexts.size())});
        return p + 1;
    }

    CVariablesSubTree* NewElement()
    {
        void* const pMemory = m_arena.Allocate(sizeof(CVariablesSubTree));
        using SInArena = CVariablesSubTree::SInArena;
        if (m_vOpen.empty())
        {
            m_pRoot = ::new (pMemory) CVariablesSubTree(SInArena{}, &m_tree, nullptr, 0);
            return m_pRoot;
        }
        const SOpenElement& parent = m_vOpen.back();
        const auto iIndex = static_cast<int>(m_vChildren.size() - parent.m_uFirstChild);
        auto* const pElement =
            ::new (pMemory) CVariablesSubTree(SInArena{}, &m_tree, parent.m_pElement, iIndex);
        m_vChildren.push_back(pElement);
        return pElement;
    }

    void StoreAttributes(CVariablesSubTree& element)
    {
        const std::size_t uCount = m_scan.m_vAttributes.size();
        if (uCount != 0)
        {
            CNodeAttributesMap& attributes = element.m_attributes;
            attributes.m_pItems =
                static_cast<SNodeAttribute*>(m_arena.Allocate(uCount * sizeof(SNodeAttribute)));
            std::uninitialized_copy_n(m_scan.m_vAttributes.data(), uCount, attributes.m_pItems);
            attributes.m_uCount = static_cast<std::uint32_t>(uCount);
        }
    }

    const TChar* ReadClosingTag(const TChar* p)
    {
        if (m_vOpen.empty())
        {
            return Refuse(EXMLError::NothingToClose, p);
        }
        const SOpenElement open = m_vOpen.back();
        const TChar* const pEnd = p + open.m_uNameLength;
        if (static_cast<std::size_t>(m_scan.m_pEnd - p) <= open.m_uNameLength ||
            std::memcmp(p, open.m_pName, std::size_t{open.m_uNameLength} * sizeof(TChar)) != 0 ||
            *pEnd != TChar('>'))
        {
            return RefuseClosingTag(p);
        }
        StoreChildren(open);
        StoreText(open);
        m_vOpen.pop_back();
        return pEnd + 1;
    }

    void StoreChildren(const SOpenElement& open)
    {
        const std::size_t uCount = m_vChildren.size() - open.m_uFirstChild;
        if (uCount != 0)
        {
            CVariablesSubTreesVector& children = open.m_pElement->m_children;
            children.m_ppItems = static_cast<CVariablesSubTree**>(
                m_arena.Allocate(uCount * sizeof(CVariablesSubTree*)));
            std::uninitialized_copy_n(m_vChildren.data() + open.m_uFirstChild, uCount,
                                      children.m_ppItems);
            children.m_uCount = static_cast<std::uint32_t>(uCount);
            m_vChildren.resize(open.m_uFirstChild);
        }
    }

    void StoreText(const SOpenElement& open)
    {
        const std::size_t uTexts = m_vTexts.size() - open.m_uFirstText;
        if (uTexts == 0)
        {
            return;
        }
        if (uTexts > 1)
        {
            JoinTexts(open);
        }
        open.m_pElement->m_text = m_vTexts.back();
        m_vTexts.pop_back();
    }

    /// Joins the element's texts: one takes their place on the stack.
    void JoinTexts(const SOpenElement& open)
    {
        std::size_t uLength = 0;
        for (std::size_t i = open.m_uFirstText; i < m_vTexts.size(); ++i)
        {
            uLength += m_vTexts[i].m_uLength;
        }
        auto* const pJoined = static_cast<wchar_t*>(m_arena.Allocate(uLength * sizeof(wchar_t)));
        wchar_t* pWrite = pJoined;
        for (std::size_t i = open.m_uFirstText; i < m_vTexts.size(); ++i)
        {
            pWrite = std::copy_n(m_vTexts[i].m_pText, m_vTexts[i].m_uLength, pWrite);
        }
        m_vTexts.resize(open.m_uFirstText);
        m_vTexts.push_back({pJoined, static_cast<std::uint32_t>(uLength), 0});
    }

    CVariablesTree& m_tree;
    CTreeArena& m_arena;
    const TChar* const m_pText;
    CTagScanner<TChar> m_scan;
    CVariablesSubTree* m_pRoot = nullptr;
    std::vector<SOpenElement> m_vOpen;
    std::vector<CVariablesSubTree*> m_vChildren;
    std::vector<STreeText> m_vTexts;
};

} // namespace mu

bool CVariablesTree::Refuse(mu::EXMLError eReason, std::size_t uOffset)
{
    m_parseError = {eReason, static_cast<std::uint32_t>(uOffset)};
    return false;
}

template <typename TChar>
bool CVariablesTree::Parse(const TChar* pText, std::size_t uLength)
{
    if (uLength > std::numeric_limits<std::uint32_t>::max())
    {
        return Refuse(mu::EXMLError::TooLong, 0); // a text's length has 32 bits
    }
    auto pArena = std::make_unique<mu::CTreeArena>(uLength);
    m_parseError = {};
    CVariablesSubTree* const pRoot =
        mu::CDocumentParser<TChar>(*this, *pArena, pText, uLength).Run();
    if (pRoot == nullptr)
    {
        return false;
    }
    DeleteTree();
    m_pRoot = pRoot;
    m_pArena = std::move(pArena);
    return true;
}

bool CVariablesTree::FromXML(const wchar_t* wszXML, bool bConfidential)
{
    CFunctionSwitch fsFromXML("VT::FXML");
    const wchar_t* const wszShown = bConfidential ? nullptr : wszXML;
    mu::CFunctionParam fpXML(fsFromXML, "wszXML", wszShown);

    return wszXML != nullptr ? Parse(wszXML, std::wcslen(wszXML))
                             : Refuse(mu::EXMLError::NoText, 0);
}

bool CVariablesTree::FromUTF8(const char* szXML, int iLength)
{
    CFunctionSwitch fsFromXML("VT::FXML");
    mu::CFunctionParam fpXML(fsFromXML, "wszXML", szXML);

    if (szXML == nullptr || iLength <= 0)
    {
        return Refuse(mu::EXMLError::NoText, 0);
    }
    // A NUL ends the text, as it ends wide text.
    const void* const pNul = std::memchr(szXML, '\0', static_cast<std::size_t>(iLength));
    const auto uLength = static_cast<std::size_t>(
        pNul != nullptr ? static_cast<const char*>(pNul) - szXML : iLength);
    if (Parse(szXML, uLength))
    {
        return true;
    }
    // A scan of bytes refuses malformed UTF-8, but the lenient conversion may make a document of
    // it.
    const char* const szMalformed = mu::xml_scan::FindMalformedUTF8(szXML, szXML + uLength);
    if (szMalformed == szXML + uLength)
    {
        return false;
    }
    std::wstring wsXML;
    wsXML.reserve(uLength); // throws: the conversion would give no text where there is no memory
    mu::ConvertString(szXML, static_cast<int>(uLength), wsXML);
    fsFromXML.Leave();
    return FromXML(wsXML.c_str()) ||
           Refuse(mu::EXMLError::NotUTF8, static_cast<std::size_t>(szMalformed - szXML));
}

bool CVariablesTree::FromFile(const wchar_t* wszPath, bool bConfidential)
{
    Refuse(mu::EXMLError::NoText, 0); // until there is a text
    if (wszPath == nullptr)
    {
        return false;
    }
    std::wstring wsText;
    if (!CFileAccess::ToString(wszPath, wsText))
    {
        if (ITextLogger* const ptlLogger = mu::TextLoggerFor(IBaseLogger::Warning))
        {
            ptlLogger->LogMessageF(IBaseLogger::Warning, "Cannot read XML file \"%s\"",
                                   mu::WideStringToNarrow(wszPath).c_str());
        }
        return false;
    }
    ReplaceNullsWithSpaces(wsText);
    if (!FromXML(wsText.c_str(), bConfidential))
    {
        if (ITextLogger* const ptlLogger = mu::TextLoggerFor(IBaseLogger::Warning))
        {
            ptlLogger->LogMessageF(IBaseLogger::Warning, "Invalid XML file \"%s\": \"%s\"",
                                   mu::WideStringToNarrow(wszPath).c_str(),
                                   bConfidential ? "(confidential)"
                                                 : mu::WideStringToNarrow(wsText).c_str());
        }
        return false;
    }
    return true;
}

int CVariablesTree::ReplaceNullsWithSpaces(std::wstring& wsText)
{
    return mu::ReplaceNullsWithSpaces(
        wsText.data(), static_cast<int>(std::min<std::size_t>(wsText.size(), INT_MAX)));
}

bool CNodeAttributesMap::Parse(const wchar_t** ppos, wchar_t chEnd)
{
    // The list is short, but the text behind it may be long, and to look at all of it for each list
    // would be slow. So only a window is read. If the list cannot be read in it and the text goes
    // on behind it, a window of twice the size is tried.
    constexpr std::size_t kFirstWindow = 1024;
    for (std::size_t uWindow = kFirstWindow;; uWindow *= 2)
    {
        const std::size_t uLength = wcsnlen(*ppos, uWindow);
        mu::CTreeArena arena(uLength);
        mu::CTagScanner<wchar_t> scan(arena, *ppos + uLength);
        if (const wchar_t* const pListEnd = scan.ReadAttributes(*ppos, chEnd))
        {
            CNodeAttributesMap parsed;
            for (const mu::SNodeAttribute& attribute : scan.m_vAttributes)
            {
                parsed.Set(attribute.m_name.View(), attribute.m_value.View());
            }
            Add(parsed, false);
            *ppos = pListEnd;
            return true;
        }
        if (uLength < uWindow)
        {
            return false;
        }
    }
}
