#ifndef ZOR_FUZZ_SUPPORT_PLAIN_TREE_H
#define ZOR_FUZZ_SUPPORT_PLAIN_TREE_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fuzz/support/law.h"
#include "fuzz/support/plain_utf8.h"
#include "xml/easy_xml.h"

// Operations on two documents through the facade, each beside the same one on a plain tree.

constexpr int kMostElements = 300;

/// Names that mean something, and some that do not.
constexpr const wchar_t* kNames[] = {
    L"a",     L"b",       L"x:a",    L"y:a",        L"x:y:a",          L":",
    L"xmlns", L"xmlns:x", L"xmlnsx", L"\xE9\x4E2D", L"erase_children", L"__merge_options"};
constexpr const wchar_t* kURIs[] = {nullptr, L"", L"urn:1", L"urn:2"};
constexpr const wchar_t* kTexts[] = {
    L"", L"True", L"x erase_children", L"no_erase_children", L" \n<&>\"'", L"\x10FFFE"};

struct SPlainElement
{
    std::wstring m_wsName;
    SPlainElement* m_pParent = nullptr;
    std::map<std::wstring, std::wstring> m_attributes = {};
    std::wstring m_wsText = {};
    std::vector<std::unique_ptr<SPlainElement>> m_children = {};
};

inline std::pair<std::wstring, std::wstring> Split(const std::wstring& wsName) // prefix, local part
{
    const std::size_t uColon = wsName.find(L':');
    return uColon == std::wstring::npos
               ? std::pair(std::wstring(), wsName)
               : std::pair(wsName.substr(0, uColon), wsName.substr(uColon + 1));
}

inline std::wstring Declaration(const std::wstring& wsPrefix)
{
    return wsPrefix.empty() ? L"xmlns" : L"xmlns:" + wsPrefix;
}

/// Whether an attribute declares a prefix, and which.
inline bool IsDeclaration(const std::wstring& wsName, std::wstring& wsPrefix)
{
    wsPrefix = wsName.substr(std::min<std::size_t>(wsName.size(), 6));
    return wsName == Declaration(wsPrefix);
}

inline std::wstring Resolve(const SPlainElement* pElement, const std::wstring& wsPrefix)
{
    for (; pElement != nullptr; pElement = pElement->m_pParent)
    {
        const auto found = pElement->m_attributes.find(Declaration(wsPrefix));
        if (found != pElement->m_attributes.end())
        {
            return found->second;
        }
    }
    return {};
}

inline void AddDeclarations(const SPlainElement& element, CNamespacesPrefixesMap& prefixes)
{
    std::wstring wsPrefix;
    for (const auto& [wsName, wsValue] : element.m_attributes)
    {
        if (IsDeclaration(wsName, wsPrefix))
        {
            prefixes.emplace(wsPrefix, wsValue);
        }
    }
}

inline void AddAllDeclarations(const SPlainElement& element, CNamespacesPrefixesMap& prefixes)
{
    AddDeclarations(element, prefixes);
    for (const auto& pChild : element.m_children)
    {
        AddAllDeclarations(*pChild, prefixes);
    }
}

inline std::unique_ptr<SPlainElement> MakeElement(SPlainElement* pParent,
                                                  const std::wstring& wsName, const wchar_t* wszURI)
{
    auto pElement = std::make_unique<SPlainElement>(SPlainElement{wsName, pParent});
    if (wszURI != nullptr && *wszURI != 0)
    {
        pElement->m_attributes[Declaration(Split(wsName).first)] = wszURI;
    }
    return pElement;
}

inline std::unique_ptr<SPlainElement> Clone(SPlainElement* pParent, const SPlainElement& source)
{
    auto pCopy = std::make_unique<SPlainElement>(
        SPlainElement{source.m_wsName, pParent, source.m_attributes, source.m_wsText});
    for (const auto& pChild : source.m_children)
    {
        pCopy->m_children.push_back(Clone(pCopy.get(), *pChild));
    }
    return pCopy;
}

inline int Count(const SPlainElement& element)
{
    int iCount = 1;
    for (const auto& pChild : element.m_children)
    {
        iCount += Count(*pChild);
    }
    return iCount;
}

inline bool ErasesChildren(const SPlainElement& element)
{
    const auto Value = [&](const wchar_t* wszName)
    {
        const auto found = element.m_attributes.find(wszName);
        return found != element.m_attributes.end() ? found->second : L"";
    };
    // The values here have at most two words.
    const std::wstring wsOptions = L" " + Value(L"__merge_options") + L" ";
    return std::wstring_view(L"TtYy").find((Value(L"erase_children") + L" ")[0]) !=
               std::wstring_view::npos ||
           wsOptions.find(L" erase_children ") != std::wstring::npos;
}

inline void Merge(SPlainElement& into, const SPlainElement& from)
{
    if (ErasesChildren(from))
    {
        into.m_children.clear();
    }
    for (const auto& [wsName, wsValue] : from.m_attributes)
    {
        if (wsName != L"erase_children" && wsName != L"__merge_options")
        {
            into.m_attributes[wsName] = wsValue;
        }
    }
    into.m_wsText = from.m_wsText.empty() ? into.m_wsText : from.m_wsText;
    std::map<std::wstring, int> ranks;
    for (const auto& pChild : from.m_children)
    {
        int iRank = ranks[pChild->m_wsName]++;
        const auto found =
            std::ranges::find_if(into.m_children, [&](const auto& p)
                                 { return p->m_wsName == pChild->m_wsName && iRank-- == 0; });
        SPlainElement* const pInto =
            found != into.m_children.end()
                ? found->get()
                : into.m_children.emplace_back(MakeElement(&into, pChild->m_wsName, nullptr)).get();
        Merge(*pInto, *pChild);
    }
}

inline std::wstring Escaped(const std::wstring& wsText)
{
    std::wstring wsOut;
    for (const wchar_t wch : wsText)
    {
        wsOut += wch == L'<'    ? L"&lt;"
                 : wch == L'>'  ? L"&gt;"
                 : wch == L'&'  ? L"&amp;"
                 : wch == L'"'  ? L"&quot;"
                 : wch == L'\'' ? L"&apos;"
                 : wch == 0     ? L"&null;"
                                : std::wstring(1, wch);
    }
    return wsOut;
}

inline std::wstring AttributesText(const SPlainElement& element, bool bDeclarations)
{
    std::wstring wsOut;
    for (const auto& [wsName, wsValue] : element.m_attributes)
    {
        std::wstring wsPrefix;
        if (bDeclarations || !IsDeclaration(wsName, wsPrefix))
        {
            wsOut += L' ' + wsName + L"=\"" + Escaped(wsValue) + L'"';
        }
    }
    return wsOut;
}

inline void Write(const SPlainElement& element, std::wstring& wsOut)
{
    wsOut += L'<' + element.m_wsName + AttributesText(element, true);
    if (element.m_children.empty() && element.m_wsText.empty())
    {
        wsOut += L"/>";
        return;
    }
    wsOut += L'>';
    for (const auto& pChild : element.m_children)
    {
        Write(*pChild, wsOut);
    }
    wsOut += Escaped(element.m_wsText) + L"</" + element.m_wsName + L'>';
}

/// White space at the beginning of a text does not survive in a document.
inline void ForgetLeadingSpace(SPlainElement& element)
{
    const std::size_t uStart = element.m_wsText.find_first_not_of(L" \t\r\n");
    element.m_wsText.erase(0, uStart);
    for (const auto& pChild : element.m_children)
    {
        ForgetLeadingSpace(*pChild);
    }
}

struct SDocument
{
    CEasyXML m_exml = {};
    std::unique_ptr<SPlainElement> m_pRoot = nullptr;
};

/// An element through both: invalid and null in an empty document.
struct SPlace
{
    CEasyXMLNode m_node;
    SPlainElement* m_pElement;
};

/// Does what the bytes of an input say, to their end.
class CTreeSession
{
public:
    explicit CTreeSession(std::string_view svInput) : m_svInput(svInput) {}

    void Run()
    {
        while (!m_svInput.empty())
        {
            SDocument& document = PickDocument();
            Step(document, PickPlace(document));
            Compare(document);
        }
    }

private:
    /// A number made of the next bytes, with zeros behind the end.
    template <typename T>
    T Number()
    {
        T number{};
        const std::string_view svTaken = m_svInput.substr(0, sizeof(T));
        std::memcpy(&number, svTaken.data(), svTaken.size());
        m_svInput.remove_prefix(svTaken.size());
        return number;
    }
    std::size_t Below(std::size_t uEnd) { return Number<std::uint8_t>() % uEnd; }
    bool Bool() { return Below(2) == 1; }
    template <typename TArray>
    const auto& OneOf(const TArray& array)
    {
        return array[Below(std::size(array))];
    }

    SDocument& PickDocument() { return m_aDocuments[Below(2)]; }
    const wchar_t* PickName() { return OneOf(kNames); }
    std::wstring PickText()
    {
        if (Bool())
        {
            return OneOf(kTexts);
        }
        const std::string_view svTaken = m_svInput.substr(0, Below(9));
        m_svInput.remove_prefix(svTaken.size());
        return PlainDecode(svTaken).m_wsText;
    }
    SPlace PickPlace(SDocument& document)
    {
        SPlace place{document.m_exml.GetRoot(), document.m_pRoot.get()};
        for (std::uint8_t u = 0; place.m_pElement != nullptr &&
                                 !place.m_pElement->m_children.empty() &&
                                 (u = Number<std::uint8_t>()) % 4 != 0;)
        {
            const std::size_t uChild = u / 4 % place.m_pElement->m_children.size();
            place = {place.m_node.GetFirstChild(), place.m_pElement->m_children[uChild].get()};
            for (std::size_t i = 0; i < uChild; ++i)
            {
                place.m_node = place.m_node.GetNextSibling();
            }
        }
        std::wstring wsName;
        Law(place.m_node.GetName(wsName) == (place.m_pElement != nullptr) &&
                (place.m_pElement == nullptr || wsName == place.m_pElement->m_wsName),
            "the same element");
        return place;
    }

    static void Compare(const SDocument& document)
    {
        std::wstring wsText;
        std::wstring wsPlain;
        if (document.m_pRoot != nullptr)
        {
            Write(*document.m_pRoot, wsPlain);
        }
        Law(document.m_exml.GetXML(wsText) == (document.m_pRoot != nullptr) && wsText == wsPlain,
            "the same document");
        CNamespacesPrefixesMap prefixes;
        CNamespacesPrefixesMap plain;
        document.m_exml.GetNamespacePrefixes(prefixes);
        if (document.m_pRoot != nullptr)
        {
            AddAllDeclarations(*document.m_pRoot, plain);
        }
        Law(prefixes == plain, "the prefixes of a document");
    }

    void Step(SDocument& document, SPlace place)
    {
        const auto iOperation = static_cast<int>(Below(12));
        if (iOperation == 0)
        {
            const wchar_t* const wszName = PickName();
            const wchar_t* const wszURI = OneOf(kURIs);
            document.m_exml.AddRoot(wszName, wszURI);
            document.m_pRoot = MakeElement(nullptr, wszName, wszURI);
        }
        else if (place.m_pElement == nullptr)
        {
            Law(!place.m_node.AppendChild(L"a", nullptr).IsValid() &&
                    !place.m_node.SetTextValue(1) && !place.m_node.GetFirstChild().IsValid(),
                "an invalid handle does nothing");
        }
        else if (iOperation == 1)
        {
            CheckReload(document);
        }
        else if (iOperation <= 4)
        {
            const SPlace other = PickPlace(PickDocument());
            if (other.m_pElement != nullptr &&
                Count(*document.m_pRoot) + Count(*other.m_pElement) < kMostElements)
            {
                Combine(iOperation, place, other);
            }
        }
        else if (iOperation <= 7)
        {
            ChangeChildren(iOperation, place);
        }
        else
        {
            ChangeValues(iOperation, place);
        }
    }

    void CheckReload(SDocument& document)
    {
        if (Bool())
        {
            document.m_exml = document.m_exml.Clone();
            return;
        }
        CEasyXML exmlShared(document.m_exml);
        std::wstring wsText;
        std::string strText;
        exmlShared.GetXML(wsText);
        exmlShared.GetXML(strText);
        // Units that are no characters do not survive in UTF-8.
        const bool bWide = Bool() || PlainDecode(strText).m_wsText != wsText;
        Law((bWide ? exmlShared.LoadFromText(wsText.c_str())
                   : exmlShared.LoadFromText(strText.data(), static_cast<int>(strText.size())))
                .IsValid(),
            "reads what it has written");
        Law(PlainEncode(wsText) == strText, "the same text in UTF-8");
        ForgetLeadingSpace(*document.m_pRoot);
    }

    static void Combine(int iOperation, SPlace place, SPlace other)
    {
        // Copied first: the other may be around this one, or inside.
        const std::unique_ptr<SPlainElement> pOther = Clone(nullptr, *other.m_pElement);
        if (iOperation == 2)
        {
            Law(place.m_node.AppendChild(other.m_node).IsValid(), "appends a copy");
            place.m_pElement->m_children.push_back(Clone(place.m_pElement, *pOther));
        }
        else if (iOperation == 3)
        {
            place.m_node.MergeWith(other.m_node);
            if (place.m_pElement != other.m_pElement)
            {
                Merge(*place.m_pElement, *pOther);
            }
        }
        else
        {
            std::wstring wsAttributes;
            Law(other.m_node.GetAttributesTextWithoutNS(wsAttributes) &&
                    wsAttributes == AttributesText(*pOther, false) &&
                    other.m_node.GetAttributesText(wsAttributes) &&
                    wsAttributes == AttributesText(*pOther, true),
                "attributes as they stand in a tag");
            Law(place.m_node.SetAttributesFromText(wsAttributes), "reads attributes");
            place.m_pElement->m_attributes.insert(pOther->m_attributes.begin(),
                                                  pOther->m_attributes.end());
        }
    }

    void ChangeChildren(int iOperation, SPlace place)
    {
        auto& children = place.m_pElement->m_children;
        const std::wstring wsName = PickName();
        const wchar_t* const wszURI = OneOf(kURIs);
        const auto found =
            std::ranges::find_if(children, [&](const auto& p) { return p->m_wsName == wsName; });
        if (iOperation == 5)
        {
            place.m_node.RemoveChildrenByName(wsName.c_str());
            std::erase_if(children, [&](const auto& p) { return p->m_wsName == wsName; });
        }
        else if (iOperation == 6)
        {
            const bool bCreate = Bool();
            Law(place.m_node.GetChildByName(wsName.c_str()).IsValid() == (found != children.end()),
                "finds a child");
            const bool bGot = place.m_node.SyncChild(wsName.c_str(), wszURI, bCreate).IsValid();
            Law(bGot == (bCreate || found != children.end()), "finds or makes a child");
            if (bCreate && found == children.end())
            {
                children.push_back(MakeElement(place.m_pElement, wsName, wszURI));
            }
        }
        else
        {
            const std::wstring wsURI = wszURI != nullptr ? wszURI : L"";
            const std::wstring wsLocal = Split(wsName).second;
            const auto foundByURI =
                std::ranges::find_if(children,
                                     [&](const auto& p)
                                     {
                                         return Split(p->m_wsName).second == wsLocal &&
                                                Resolve(p.get(), Split(p->m_wsName).first) == wsURI;
                                     });
            std::wstring wsFoundName;
            CheckNames(place, wsLocal, wsURI);
            Law(place.m_node.GetChildByName(wsLocal, wsURI).GetName(wsFoundName) ==
                        (foundByURI != children.end()) &&
                    (foundByURI == children.end() || wsFoundName == (*foundByURI)->m_wsName),
                "finds a child of a namespace");
        }
    }

    static void CheckNames(SPlace place, const std::wstring& wsLocal, const std::wstring& wsURI)
    {
        const auto& attributes = place.m_pElement->m_attributes;
        const auto URI = [&](const std::wstring& wsName)
        { return Resolve(place.m_pElement, Split(wsName).first); };
        std::wstring wsGot;
        std::wstring wsGotURI;
        Law(place.m_node.GetName(wsGot, wsGotURI) &&
                wsGot == Split(place.m_pElement->m_wsName).second &&
                wsGotURI == URI(place.m_pElement->m_wsName),
            "a local name and its namespace");
        const auto found = std::ranges::find_if(attributes,
                                                [&](const auto& attribute)
                                                {
                                                    std::wstring wsPrefix;
                                                    const std::wstring& wsName = attribute.first;
                                                    return Split(wsName).second == wsLocal &&
                                                           !IsDeclaration(wsName, wsPrefix) &&
                                                           URI(wsName) == wsURI;
                                                });
        wsGot = L"before";
        Law(place.m_node.GetAttributeValue(wsLocal, wsURI, wsGot) == (found != attributes.end()) &&
                wsGot == (found != attributes.end() ? found->second : L"before"),
            "gets an attribute of a namespace");

        CNamespacesPrefixesMap prefixes{{L"x", L"kept"}};
        CNamespacesPrefixesMap plain(prefixes);
        AddDeclarations(*place.m_pElement, plain);
        Law(place.m_node.GetNamespacePrefixes(prefixes, false) && prefixes == plain,
            "prefixes that an element declares");
        prefixes.clear();
        plain.clear();
        for (const SPlainElement* p = place.m_pElement; p != nullptr; p = p->m_pParent)
        {
            AddDeclarations(*p, plain);
        }
        Law(place.m_node.GetNamespacePrefixes(prefixes, true) && prefixes == plain,
            "prefixes in force on an element");
    }

    void ChangeValues(int iOperation, SPlace place)
    {
        const std::wstring wsName = PickName();
        const std::wstring wsValue = PickText();
        auto& attributes = place.m_pElement->m_attributes;
        if (iOperation == 8)
        {
            Law(place.m_node.SetTextValue(wsValue), "sets a text");
            place.m_pElement->m_wsText = wsValue;
        }
        else if (iOperation == 9)
        {
            Law(place.m_node.SetAttributeValue(wsName.c_str(), L"", wsValue), "sets an attribute");
            attributes[wsName] = wsValue;
        }
        else if (iOperation == 10)
        {
            const std::wstring wsPrefix = Bool() ? wsName : L"";
            place.m_node.SetNamespacePrefix(wsPrefix, wsValue);
            attributes[Declaration(wsPrefix)] = wsValue;
        }
        else
        {
            SetNumber(place, wsName);
        }
        std::wstring wsGot = L"before";
        const auto found = attributes.find(wsName);
        Law(place.m_node.GetTextValue(wsGot) && wsGot == place.m_pElement->m_wsText, "gets a text");
        Law(place.m_node.GetAttributeValue(wsName.c_str(), wsGot) == (found != attributes.end()) &&
                wsGot == (found != attributes.end() ? found->second : place.m_pElement->m_wsText),
            "gets an attribute, or leaves the value");
    }

    void SetNumber(SPlace place, const std::wstring& wsName)
    {
        const auto llValue = Number<long long>();
        const double dValue = static_cast<double>(Number<long long>()) / (1 << Below(30));
        long long llGot = 0;
        int iGot = 0;
        double dGot = 0;
        Law(place.m_node.SetTextValue(llValue) && place.m_node.GetTextValue(llGot) &&
                llGot == llValue && place.m_node.GetTextValue(iGot) &&
                iGot == std::clamp<long long>(llValue, INT32_MIN, INT32_MAX),
            "gets the number that was set");
        char szNumber[40];
        std::snprintf(szNumber, sizeof(szNumber), "%g", dValue);
        const std::string strNumber = szNumber;
        Law(place.m_node.SetAttributeValue(wsName.c_str(), L"", dValue) &&
                place.m_node.GetAttributeValue(wsName.c_str(), dGot) &&
                (dGot == std::stod(strNumber) || dGot != dGot),
            "gets the number of six digits");
        place.m_pElement->m_wsText = std::to_wstring(llValue);
        place.m_pElement->m_attributes[wsName] = std::wstring(strNumber.begin(), strNumber.end());
    }

    std::string_view m_svInput;
    SDocument m_aDocuments[2];
};

#endif
