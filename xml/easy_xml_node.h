#ifndef ZOR_XML_EASY_XML_NODE_H
#define ZOR_XML_EASY_XML_NODE_H

#include <concepts>
#include <string>
#include <string_view>
#include <type_traits>

#include "xml/element_tree.h"

namespace mu
{

/// An object that converts to bool by itself, such as an element of std::vector<bool> or a
/// std::atomic<bool>. One that converts to a number does not count, because number to bool is
/// narrowing.
template <typename T>
concept StandsForBool = std::is_class_v<std::remove_reference_t<T>> &&
    requires(T& value, void (&take)(bool))
{
    take({value});
};

} // namespace mu

/// A handle on one element, which may be invalid. It owns nothing and may be used while the
/// element lives in its document. On an invalid handle every getter answers false or an invalid
/// handle and every setter does nothing and answers false.
///
/// Names are qualified ("prefix:local") and compared exactly, unless a namespace URI is asked for:
/// then local names are compared, and the prefix resolves by the nearest "xmlns" declaration on
/// the element or around it (an undeclared prefix has the empty URI).
///
/// Values convert between the document's wide text and bool ("True"/"False"; read as true when the
/// first character is one of "TtYy"), numbers (decimal, "%g", whatever the locale; a text that is
/// no number reads as 0, a number beyond the range as the nearest one in it) and UTF-8.
class CEasyXMLNode
{
public:
    CEasyXMLNode() = default;
    explicit CEasyXMLNode(CVariablesSubTree* pElement) : m_pElement(pElement) {}

    bool IsValid() const { return m_pElement != nullptr; }
    void Invalidate() { m_pElement = nullptr; }

    CEasyXMLNode GetFirstChild() const;
    CEasyXMLNode GetNextSibling() const;

    /// The name as written; cleared, and false, on an invalid handle.
    bool GetName(std::wstring& wsName) const;
    bool GetName(std::wstring& wsLocal, std::wstring& wsNamespaceURI) const;

    /// The first child of that name.
    CEasyXMLNode GetChildByName(const wchar_t* wszName) const;
    CEasyXMLNode GetChildByName(const std::wstring& wsLocal,
                                const std::wstring& wsNamespaceURI) const;
    /// The first child of that name; if there is none and bCreate is set, a new one, which declares
    /// the namespace. Records use it both ways: creating when they write, not when they read.
    CEasyXMLNode SyncChild(const wchar_t* wszName, const wchar_t* wszNamespaceURI, bool bCreate);

    CEasyXMLNode AppendChild(const std::wstring& wsName, const wchar_t* wszNamespaceURI);
    /// Appends a deep copy of an element of any document, also of this one or one around it.
    CEasyXMLNode AppendChild(CEasyXMLNode other);
    /// Frees the children of that name; handles on them must not be used any more. The others keep
    /// their order.
    void RemoveChildrenByName(const wchar_t* wszName);
    /// See CVariablesSubTree::MergeWith().
    void MergeWith(CEasyXMLNode other);

    /// Declares a namespace on this element; the empty prefix is the default namespace.
    void SetNamespacePrefix(const std::wstring& wsPrefix, const std::wstring& wsNamespaceURI);
    /// Adds the prefixes declared on this element, and if bInherited those in force from around it
    /// (the nearest declaration counts). Prefixes that are in the map stay as they are.
    bool GetNamespacePrefixes(CNamespacesPrefixesMap& mapPrefixes, bool bInherited) const;

    /// Adds attributes from text as it stands in a tag; the end of the text, "/" or ">" ends the
    /// list. An attribute that the element has already keeps its value. Malformed text adds
    /// nothing.
    bool SetAttributesFromText(const std::wstring& wsText);
    /// The attributes as they stand in a tag, each with a blank before it.
    bool GetAttributesText(std::wstring& wsText) const;
    /// The same without "xmlns" declarations.
    bool GetAttributesTextWithoutNS(std::wstring& wsText) const;

    // On failure the value stays as it was.
    bool GetTextValue(std::wstring& wsValue) const;
    bool GetTextValue(std::string& strValue) const;
    bool GetTextValue(int& iValue) const;
    bool GetTextValue(long long& llValue) const;
    bool GetTextValue(double& dValue) const;
    bool GetTextValue(bool& bValue) const;

    // A null pointer is the empty text. The bool overloads take nothing that a compiler would only
    // convert to bool, such as a pointer or a number of another type.
    bool SetTextValue(const std::wstring& wsValue);
    bool SetTextValue(const std::string& strValue);
    bool SetTextValue(const wchar_t* wszValue);
    bool SetTextValue(const char* szValue);
    bool SetTextValue(int iValue);
    bool SetTextValue(long long llValue);
    bool SetTextValue(double dValue);
    bool SetTextValue(std::same_as<bool> auto bValue) { return SetTextBool(bValue); }
    bool SetTextValue(mu::StandsForBool auto&& value) { return SetTextBool(value); }

    bool GetAttributeValue(const wchar_t* wszName, std::wstring& wsValue) const;
    bool GetAttributeValue(const wchar_t* wszName, std::string& strValue) const;
    bool GetAttributeValue(const wchar_t* wszName, int& iValue) const;
    bool GetAttributeValue(const wchar_t* wszName, long long& llValue) const;
    bool GetAttributeValue(const wchar_t* wszName, double& dValue) const;
    bool GetAttributeValue(const wchar_t* wszName, bool& bValue) const;
    /// The first attribute, in the order of names, that has the local name and whose prefix
    /// resolves to the URI as an element's would (without a prefix: the default namespace).
    /// Namespace declarations do not count.
    bool GetAttributeValue(const std::wstring& wsLocal, const std::wstring& wsNamespaceURI,
                           std::wstring& wsValue) const;

    // The second argument is accepted and not used.
    bool SetAttributeValue(const wchar_t* wszName, const wchar_t*, const std::wstring& wsValue);
    bool SetAttributeValue(const wchar_t* wszName, const wchar_t*, const std::string& strValue);
    bool SetAttributeValue(const wchar_t* wszName, const wchar_t*, const wchar_t* wszValue);
    bool SetAttributeValue(const wchar_t* wszName, const wchar_t*, const char* szValue);
    bool SetAttributeValue(const wchar_t* wszName, const wchar_t*, int iValue);
    bool SetAttributeValue(const wchar_t* wszName, const wchar_t*, long long llValue);
    bool SetAttributeValue(const wchar_t* wszName, const wchar_t*, double dValue);
    bool SetAttributeValue(const wchar_t* wszName, const wchar_t*, std::same_as<bool> auto bValue)
    {
        return SetAttributeBool(wszName, bValue);
    }
    bool SetAttributeValue(const wchar_t* wszName, const wchar_t*, mu::StandsForBool auto&& value)
    {
        return SetAttributeBool(wszName, value);
    }

private:
    bool SetText(std::wstring_view wsValue);
    bool SetTextBool(bool bValue);
    bool SetAttribute(const wchar_t* wszName, std::wstring_view wsValue);
    bool SetAttributeBool(const wchar_t* wszName, bool bValue);
    template <typename TValue>
    bool GetText(TValue& value) const;
    template <typename TValue>
    bool GetAttribute(const wchar_t* wszName, TValue& value) const;

    CVariablesSubTree* m_pElement = nullptr;
};

#endif
