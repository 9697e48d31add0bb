#include <algorithm>
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
#include "xml/tag_scanner.h"
#include "xml/text_scanner.h"
#include "xml/tree_arena.h"

namespace mu
{

/// Builds the elements of one text in an arena. Nothing is attached to the document before the
/// whole text is read, so that a failure only drops the arena.
template <typename TChar>
class CDocumentParser
{
public:
    CDocumentParser(CVariablesTree& tree, CTreeArena& arena, const TChar* pText,
                    std::size_t uLength)
        : m_tree(tree), m_arena(arena), m_pText(pText), m_scan(arena, pText + uLength)
    {
        m_vecOpen.reserve(kUsualDepth);
        m_vecChildren.reserve(kUsualChildren);
        m_vecTexts.reserve(kUsualDepth);
    }

    /// The root, or null where the text is not a document.
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
        return m_vecOpen.empty() ? m_pRoot : nullptr;
    }

private:
    // What the stacks hold without growing.
    static constexpr std::size_t kUsualDepth = 8;
    static constexpr std::size_t kUsualChildren = 32;

    /// An element whose closing tag is to come. What was found inside it so far are the tops of
    /// the stacks of children and texts. No number is above the text's length, which has 32 bits.
    struct SOpenElement
    {
        CVariablesSubTree* m_pElement;
        const TChar* m_pName;
        std::uint32_t m_uNameLength;
        std::uint32_t m_uFirstChild;
        std::uint32_t m_uFirstText;
    };

    // Each of these reads from p on and returns the place behind what it read, or null.

    const TChar* ReadText(const TChar* p)
    {
        if (m_vecOpen.empty())
        {
            return nullptr;
        }
        STreeText text;
        p = m_scan.Read(p, xml_scan::SCharEnd{'<'}, text);
        if (p != nullptr)
        {
            m_vecTexts.push_back(text);
        }
        return p;
    }

    const TChar* ReadTag(const TChar* p)
    {
        if (p == m_scan.m_pEnd)
        {
            return nullptr;
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
        STreeText name;
        p = m_scan.Read(p, xml_scan::STagNameEnd{}, name);
        p = p != nullptr ? m_scan.ReadAttributes(p, TChar('?')) : nullptr;
        if (p == nullptr)
        {
            return nullptr;
        }
        m_tree.EnableXMLHeaderTag(true);
        const bool bEnded = m_scan.m_pEnd - p >= 2 && p[0] == TChar('?') && p[1] == TChar('>');
        return bEnded ? p + 2 : nullptr;
    }

    const TChar* ReadOpeningTag(const TChar* p)
    {
        if (m_vecOpen.empty() && m_pRoot != nullptr)
        {
            return nullptr;
        }
        const TChar* const pName = p;
        CVariablesSubTree* const pElement = NewElement();
        p = m_scan.Read(p, xml_scan::STagNameEnd{}, pElement->m_name);
        if (p == nullptr || p == pName)
        {
            return nullptr;
        }
        const auto uNameLength = static_cast<std::uint32_t>(p - pName);
        if (*p != TChar('>')) // most elements have no attributes
        {
            p = m_scan.ReadAttributes(p, TChar(0));
            if (p == nullptr)
            {
                return nullptr;
            }
            StoreAttributes(*pElement);
        }

        if (*p == TChar('/'))
        {
            ++p;
            return p != m_scan.m_pEnd && *p == TChar('>') ? p + 1 : nullptr;
        }
        if (*p != TChar('>'))
        {
            return nullptr;
        }
        m_vecOpen.push_back({pElement, pName, uNameLength,
                             static_cast<std::uint32_t>(m_vecChildren.size()),
                             static_cast<std::uint32_t>(m_vecTexts.size())});
        return p + 1;
    }

    CVariablesSubTree* NewElement()
    {
        void* const pMemory = m_arena.Allocate(sizeof(CVariablesSubTree));
        using SInArena = CVariablesSubTree::SInArena;
        if (m_vecOpen.empty())
        {
            m_pRoot = ::new (pMemory) CVariablesSubTree(SInArena{}, &m_tree, nullptr, 0);
            return m_pRoot;
        }
        const SOpenElement& parent = m_vecOpen.back();
        const auto iIndex = static_cast<int>(m_vecChildren.size() - parent.m_uFirstChild);
        auto* const pElement =
            ::new (pMemory) CVariablesSubTree(SInArena{}, &m_tree, parent.m_pElement, iIndex);
        m_vecChildren.push_back(pElement);
        return pElement;
    }

    void StoreAttributes(CVariablesSubTree& element)
    {
        const std::size_t uCount = m_scan.m_vecAttributes.size();
        if (uCount != 0)
        {
            CNodeAttributesMap& attributes = element.m_attributes;
            attributes.m_pItems =
                static_cast<SNodeAttribute*>(m_arena.Allocate(uCount * sizeof(SNodeAttribute)));
            std::uninitialized_copy_n(m_scan.m_vecAttributes.data(), uCount, attributes.m_pItems);
            attributes.m_uCount = static_cast<std::uint32_t>(uCount);
        }
    }

    const TChar* ReadClosingTag(const TChar* p)
    {
        if (m_vecOpen.empty())
        {
            return nullptr;
        }
        const SOpenElement open = m_vecOpen.back();
        if (static_cast<std::size_t>(m_scan.m_pEnd - p) <= open.m_uNameLength ||
            std::memcmp(p, open.m_pName, std::size_t{open.m_uNameLength} * sizeof(TChar)) != 0 ||
            p[open.m_uNameLength] != TChar('>'))
        {
            return nullptr;
        }
        StoreChildren(open);
        StoreText(open);
        m_vecOpen.pop_back();
        return p + open.m_uNameLength + 1;
    }

    void StoreChildren(const SOpenElement& open)
    {
        const std::size_t uCount = m_vecChildren.size() - open.m_uFirstChild;
        if (uCount != 0)
        {
            CVariablesSubTreesVector& children = open.m_pElement->m_children;
            children.m_ppItems = static_cast<CVariablesSubTree**>(
                m_arena.Allocate(uCount * sizeof(CVariablesSubTree*)));
            std::uninitialized_copy_n(m_vecChildren.data() + open.m_uFirstChild, uCount,
                                      children.m_ppItems);
            children.m_uCount = static_cast<std::uint32_t>(uCount);
            m_vecChildren.resize(open.m_uFirstChild);
        }
    }

    void StoreText(const SOpenElement& open)
    {
        const std::size_t uTexts = m_vecTexts.size() - open.m_uFirstText;
        if (uTexts == 0)
        {
            return;
        }
        if (uTexts > 1)
        {
            JoinTexts(open);
        }
        open.m_pElement->m_text = m_vecTexts.back();
        m_vecTexts.pop_back();
    }

    /// Puts the element's texts in the place of one.
    void JoinTexts(const SOpenElement& open)
    {
        std::size_t uLength = 0;
        for (std::size_t i = open.m_uFirstText; i < m_vecTexts.size(); ++i)
        {
            uLength += m_vecTexts[i].m_uLength;
        }
        auto* const pJoined = static_cast<wchar_t*>(m_arena.Allocate(uLength * sizeof(wchar_t)));
        wchar_t* pWrite = pJoined;
        for (std::size_t i = open.m_uFirstText; i < m_vecTexts.size(); ++i)
        {
            pWrite = std::copy_n(m_vecTexts[i].m_pText, m_vecTexts[i].m_uLength, pWrite);
        }
        m_vecTexts.resize(open.m_uFirstText);
        m_vecTexts.push_back({pJoined, static_cast<std::uint32_t>(uLength), 0});
    }

    CVariablesTree& m_tree;
    CTreeArena& m_arena;
    const TChar* const m_pText;
    CTagScanner<TChar> m_scan;
    CVariablesSubTree* m_pRoot = nullptr;
    std::vector<SOpenElement> m_vecOpen;
    std::vector<CVariablesSubTree*> m_vecChildren;
    std::vector<STreeText> m_vecTexts;
};

} // namespace mu

template <typename TChar>
bool CVariablesTree::Parse(const TChar* pText, std::size_t uLength)
{
    if (uLength > std::numeric_limits<std::uint32_t>::max())
    {
        return false; // a text's length has 32 bits
    }
    auto pArena = std::make_unique<mu::CTreeArena>(uLength);
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

bool CVariablesTree::FromXML(const wchar_t* wszXML)
{
    CFunctionSwitch fsFromXML("VT::FXML");
    mu::CFunctionParam fpXML(fsFromXML, "wszXML", wszXML);

    return wszXML != nullptr && Parse(wszXML, std::wcslen(wszXML));
}

bool CVariablesTree::FromUTF8(const char* szXML, int iLength)
{
    CFunctionSwitch fsFromXML("VT::FXML");
    mu::CFunctionParam fpXML(fsFromXML, "wszXML", szXML);

    if (szXML == nullptr || iLength <= 0)
    {
        return false;
    }
    // As in wide text, a NUL ends it.
    const void* const pNul = std::memchr(szXML, '\0', static_cast<std::size_t>(iLength));
    const auto uLength = static_cast<std::size_t>(
        pNul != nullptr ? static_cast<const char*>(pNul) - szXML : iLength);
    if (Parse(szXML, uLength))
    {
        return true;
    }
    // Either the text is no document, or it takes the lenient conversion to tell.
    if (mu::xml_scan::IsWellFormedUTF8(szXML, szXML + uLength))
    {
        return false;
    }
    std::wstring wsXML;
    wsXML.reserve(uLength); // throws: the conversion would give no text where there is no memory
    mu::ConvertString(szXML, static_cast<int>(uLength), wsXML);
    fsFromXML.Leave();
    return FromXML(wsXML.c_str());
}

bool CVariablesTree::FromFile(const wchar_t* wszPath, bool bConfidential)
{
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
    // FromXML() would show the text to state reports.
    const bool bParsed =
        bConfidential ? Parse(wsText.data(), wsText.size()) : FromXML(wsText.c_str());
    if (!bParsed)
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
    // A list is short and the text behind it may be long: look at a window, and at a larger one
    // as long as the list fails in a window that is not the whole text.
    constexpr std::size_t kFirstWindow = 1024;
    for (std::size_t uWindow = kFirstWindow;; uWindow *= 2)
    {
        const std::size_t uLength = wcsnlen(*ppos, uWindow);
        mu::CTreeArena arena(uLength);
        mu::CTagScanner<wchar_t> scan(arena, *ppos + uLength);
        if (const wchar_t* const pListEnd = scan.ReadAttributes(*ppos, chEnd))
        {
            CNodeAttributesMap parsed;
            for (const mu::SNodeAttribute& attribute : scan.m_vecAttributes)
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
