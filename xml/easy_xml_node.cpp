#include "xml/easy_xml_node.h"

#include <algorithm>
#include <climits>

#include "diagnostics/function_state.h"
#include "mu/numbers.h"
#include "mu/unicode.h"
#include "xml/namespaces.h"

namespace
{

int IntLength(std::size_t uLength)
{
    return static_cast<int>(std::min<std::size_t>(uLength, INT_MAX));
}

void FromText(std::wstring_view wsText, std::wstring& wsValue)
{
    wsValue = wsText;
}

void FromText(std::wstring_view wsText, std::string& strValue)
{
    const int iLength = IntLength(wsText.size());
    // Throws: the conversion would leave an empty string where there is no memory.
    strValue.reserve(
        static_cast<std::size_t>(mu::GetConvertedStringLength(wsText.data(), iLength)));
    mu::ConvertString(wsText.data(), iLength, strValue);
}

void FromText(std::wstring_view wsText, int& iValue)
{
    iValue = mu::StringToInt(std::wstring(wsText));
}

void FromText(std::wstring_view wsText, long long& llValue)
{
    llValue = mu::StringToInt64(std::wstring(wsText));
}

void FromText(std::wstring_view wsText, double& dValue)
{
    dValue = mu::StringToDouble(std::wstring(wsText));
}

void FromText(std::wstring_view wsText, bool& bValue)
{
    bValue = mu::StringToBool(std::wstring(wsText));
}

std::wstring ToText(std::string_view strValue)
{
    std::wstring wsValue;
    wsValue.reserve(strValue.size()); // throws, as above
    mu::ConvertString(strValue.data(), IntLength(strValue.size()), wsValue);
    return wsValue;
}

std::wstring ToText(const char* szValue)
{
    return ToText(szValue != nullptr ? std::string_view(szValue) : std::string_view());
}

std::wstring_view ToText(const wchar_t* wszValue)
{
    return wszValue != nullptr ? std::wstring_view(wszValue) : std::wstring_view();
}

std::wstring_view OrEmpty(const wchar_t* wszName)
{
    return ToText(wszName);
}

/// Resolves prefixes to URIs among the declarations in force on an element, which are gathered at
/// the first question.
class CPrefixResolver
{
public:
    explicit CPrefixResolver(const CVariablesSubTree* pElement) : m_pElement(pElement) {}

    std::wstring_view Resolve(std::wstring_view wsPrefix)
    {
        if (!m_bGathered && m_pElement != nullptr)
        {
            mu::AddPrefixesInForce(*m_pElement, m_mapPrefixes);
        }
        m_bGathered = true;
        const auto found = m_mapPrefixes.find(wsPrefix);
        return found != m_mapPrefixes.end() ? std::wstring_view(found->second)
                                            : std::wstring_view();
    }

private:
    const CVariablesSubTree* m_pElement;
    CNamespacesPrefixesMap m_mapPrefixes;
    bool m_bGathered = false;
};

/// The URI of an element's prefix: its own declaration, or what its surroundings resolve.
std::wstring_view ResolveOn(const CVariablesSubTree& element, std::wstring_view wsPrefix,
                            CPrefixResolver& around)
{
    for (const mu::SNodeAttribute& attribute : element.GetAttributes())
    {
        std::wstring_view wsDeclared;
        if (mu::IsNamespaceDeclaration(attribute.m_name.View(), wsDeclared) &&
            wsDeclared == wsPrefix)
        {
            return attribute.m_value.View();
        }
    }
    return around.Resolve(wsPrefix);
}

} // namespace

CEasyXMLNode CEasyXMLNode::GetFirstChild() const
{
    const bool bHasChild = IsValid() && !m_pElement->GetChildren().empty();
    return CEasyXMLNode(bHasChild ? m_pElement->GetChildren()[0] : nullptr);
}

CEasyXMLNode CEasyXMLNode::GetNextSibling() const
{
    return CEasyXMLNode(IsValid() ? m_pElement->GetNextSibling() : nullptr);
}

bool CEasyXMLNode::GetName(std::wstring& wsName) const
{
    wsName = IsValid() ? m_pElement->GetName() : std::wstring_view();
    return IsValid();
}

bool CEasyXMLNode::GetName(std::wstring& wsLocal, std::wstring& wsNamespaceURI) const
{
    wsLocal.clear();
    wsNamespaceURI.clear();
    if (!IsValid())
    {
        return false;
    }
    const mu::SQualifiedName name(m_pElement->GetName());
    wsLocal = name.m_wsLocal;
    CPrefixResolver resolver(m_pElement);
    wsNamespaceURI = resolver.Resolve(name.m_wsPrefix);
    return true;
}

CEasyXMLNode CEasyXMLNode::GetChildByName(const wchar_t* wszName) const
{
    if (IsValid())
    {
        const std::wstring_view wsName = OrEmpty(wszName);
        for (CVariablesSubTree* const pChild : m_pElement->GetChildren())
        {
            if (pChild->GetName() == wsName)
            {
                return CEasyXMLNode(pChild);
            }
        }
    }
    return CEasyXMLNode();
}

CEasyXMLNode CEasyXMLNode::GetChildByName(const std::wstring& wsLocal,
                                          const std::wstring& wsNamespaceURI) const
{
    if (IsValid())
    {
        CPrefixResolver around(m_pElement);
        for (CVariablesSubTree* const pChild : m_pElement->GetChildren())
        {
            const mu::SQualifiedName name(pChild->GetName());
            if (name.m_wsLocal == wsLocal &&
                ResolveOn(*pChild, name.m_wsPrefix, around) == wsNamespaceURI)
            {
                return CEasyXMLNode(pChild);
            }
        }
    }
    return CEasyXMLNode();
}

CEasyXMLNode CEasyXMLNode::SyncChild(const wchar_t* wszName, const wchar_t* wszNamespaceURI,
                                     bool bCreate)
{
    const CEasyXMLNode child = GetChildByName(wszName);
    return child.IsValid() || !bCreate
               ? child
               : AppendChild(std::wstring(OrEmpty(wszName)), wszNamespaceURI);
}

CEasyXMLNode CEasyXMLNode::AppendChild(const std::wstring& wsName, const wchar_t* wszNamespaceURI)
{
    if (!IsValid() || m_pElement->GetTree() == nullptr)
    {
        return CEasyXMLNode();
    }
    return CEasyXMLNode(m_pElement->GetTree()->AppendNode(wsName, wszNamespaceURI, m_pElement));
}

CEasyXMLNode CEasyXMLNode::AppendChild(CEasyXMLNode other)
{
    if (!IsValid() || !other.IsValid() || m_pElement->GetTree() == nullptr)
    {
        return CEasyXMLNode();
    }
    return CEasyXMLNode(m_pElement->GetTree()->AppendClone(other.m_pElement, m_pElement));
}

void CEasyXMLNode::RemoveChildrenByName(const wchar_t* wszName)
{
    if (IsValid())
    {
        m_pElement->RemoveChildrenByName(OrEmpty(wszName));
    }
}

void CEasyXMLNode::MergeWith(CEasyXMLNode other)
{
    CFunctionSwitch fsMerge("EXMLN::MW");

    if (IsValid() && other.IsValid())
    {
        m_pElement->MergeWith(*other.m_pElement);
    }
}

void CEasyXMLNode::SetNamespacePrefix(const std::wstring& wsPrefix,
                                      const std::wstring& wsNamespaceURI)
{
    if (IsValid())
    {
        m_pElement->SetNamespaceURI(wsPrefix, wsNamespaceURI);
    }
}

bool CEasyXMLNode::GetNamespacePrefixes(CNamespacesPrefixesMap& mapPrefixes, bool bInherited) const
{
    if (IsValid())
    {
        (bInherited ? mu::AddPrefixesInForce : mu::AddDeclaredPrefixes)(*m_pElement, mapPrefixes);
    }
    return IsValid();
}

bool CEasyXMLNode::SetAttributesFromText(const std::wstring& wsText)
{
    if (!IsValid())
    {
        return false;
    }
    const std::wstring wsEnded = wsText + L'>';
    const wchar_t* pText = wsEnded.c_str();
    CNodeAttributesMap attributes;
    if (!attributes.Parse(&pText, 0))
    {
        return false;
    }
    m_pElement->AddAttributes(attributes, false);
    return true;
}

bool CEasyXMLNode::GetAttributesText(std::wstring& wsText) const
{
    if (!IsValid())
    {
        return false;
    }
    wsText.clear();
    m_pElement->GetAttributes().ToTagAttributes(wsText);
    return true;
}

bool CEasyXMLNode::GetAttributesTextWithoutNS(std::wstring& wsText) const
{
    if (!IsValid())
    {
        return false;
    }
    CNodeAttributesMap attributes(m_pElement->GetAttributes());
    attributes.EraseIf(
        [](std::wstring_view wsName)
        {
            std::wstring_view wsPrefix;
            return mu::IsNamespaceDeclaration(wsName, wsPrefix);
        });
    wsText.clear();
    attributes.ToTagAttributes(wsText);
    return true;
}

template <class TValue>
bool CEasyXMLNode::GetText(TValue& value) const
{
    if (IsValid())
    {
        FromText(m_pElement->GetText(), value);
    }
    return IsValid();
}

template <class TValue>
bool CEasyXMLNode::GetAttribute(const wchar_t* wszName, TValue& value) const
{
    const mu::SNodeAttribute* const pAttribute =
        IsValid() ? m_pElement->GetAttributes().Find(OrEmpty(wszName)) : nullptr;
    if (pAttribute != nullptr)
    {
        FromText(pAttribute->m_value.View(), value);
    }
    return pAttribute != nullptr;
}

bool CEasyXMLNode::SetText(std::wstring_view wsValue)
{
    if (IsValid())
    {
        m_pElement->SetText(wsValue);
    }
    return IsValid();
}

bool CEasyXMLNode::SetAttribute(const wchar_t* wszName, std::wstring_view wsValue)
{
    if (IsValid())
    {
        m_pElement->SetAttribute(OrEmpty(wszName), wsValue);
    }
    return IsValid();
}

bool CEasyXMLNode::GetTextValue(std::wstring& wsValue) const
{
    return GetText(wsValue);
}

bool CEasyXMLNode::GetTextValue(std::string& strValue) const
{
    return GetText(strValue);
}

bool CEasyXMLNode::GetTextValue(int& iValue) const
{
    return GetText(iValue);
}

bool CEasyXMLNode::GetTextValue(long long& llValue) const
{
    return GetText(llValue);
}

bool CEasyXMLNode::GetTextValue(double& dValue) const
{
    return GetText(dValue);
}

bool CEasyXMLNode::GetTextValue(bool& bValue) const
{
    return GetText(bValue);
}

bool CEasyXMLNode::SetTextValue(const std::wstring& wsValue)
{
    return SetText(wsValue);
}

bool CEasyXMLNode::SetTextValue(const std::string& strValue)
{
    return SetText(ToText(strValue));
}

bool CEasyXMLNode::SetTextValue(const wchar_t* wszValue)
{
    return SetText(ToText(wszValue));
}

bool CEasyXMLNode::SetTextValue(const char* szValue)
{
    return SetText(ToText(szValue));
}

bool CEasyXMLNode::SetTextValue(int iValue)
{
    return SetText(mu::IntToString(iValue));
}

bool CEasyXMLNode::SetTextValue(long long llValue)
{
    return SetText(mu::Int64ToString(llValue));
}

bool CEasyXMLNode::SetTextValue(double dValue)
{
    return SetText(mu::DoubleToString(dValue));
}

bool CEasyXMLNode::SetTextBool(bool bValue)
{
    return SetText(mu::BoolToString(bValue));
}

bool CEasyXMLNode::GetAttributeValue(const wchar_t* wszName, std::wstring& wsValue) const
{
    return GetAttribute(wszName, wsValue);
}

bool CEasyXMLNode::GetAttributeValue(const wchar_t* wszName, std::string& strValue) const
{
    return GetAttribute(wszName, strValue);
}

bool CEasyXMLNode::GetAttributeValue(const wchar_t* wszName, int& iValue) const
{
    return GetAttribute(wszName, iValue);
}

bool CEasyXMLNode::GetAttributeValue(const wchar_t* wszName, long long& llValue) const
{
    return GetAttribute(wszName, llValue);
}

bool CEasyXMLNode::GetAttributeValue(const wchar_t* wszName, double& dValue) const
{
    return GetAttribute(wszName, dValue);
}

bool CEasyXMLNode::GetAttributeValue(const wchar_t* wszName, bool& bValue) const
{
    return GetAttribute(wszName, bValue);
}

bool CEasyXMLNode::GetAttributeValue(const std::wstring& wsLocal,
                                     const std::wstring& wsNamespaceURI,
                                     std::wstring& wsValue) const
{
    if (!IsValid())
    {
        return false;
    }
    CPrefixResolver resolver(m_pElement);
    for (const mu::SNodeAttribute& attribute : m_pElement->GetAttributes())
    {
        std::wstring_view wsDeclared;
        const mu::SQualifiedName name(attribute.m_name.View());
        if (name.m_wsLocal == wsLocal &&
            !mu::IsNamespaceDeclaration(attribute.m_name.View(), wsDeclared) &&
            resolver.Resolve(name.m_wsPrefix) == wsNamespaceURI)
        {
            wsValue = attribute.m_value.View();
            return true;
        }
    }
    return false;
}

bool CEasyXMLNode::SetAttributeValue(const wchar_t* wszName, const wchar_t*,
                                     const std::wstring& wsValue)
{
    return SetAttribute(wszName, wsValue);
}

bool CEasyXMLNode::SetAttributeValue(const wchar_t* wszName, const wchar_t*,
                                     const std::string& strValue)
{
    return SetAttribute(wszName, ToText(strValue));
}

bool CEasyXMLNode::SetAttributeValue(const wchar_t* wszName, const wchar_t*,
                                     const wchar_t* wszValue)
{
    return SetAttribute(wszName, ToText(wszValue));
}

bool CEasyXMLNode::SetAttributeValue(const wchar_t* wszName, const wchar_t*, const char* szValue)
{
    return SetAttribute(wszName, ToText(szValue));
}

bool CEasyXMLNode::SetAttributeValue(const wchar_t* wszName, const wchar_t*, int iValue)
{
    return SetAttribute(wszName, mu::IntToString(iValue));
}

bool CEasyXMLNode::SetAttributeValue(const wchar_t* wszName, const wchar_t*, long long llValue)
{
    return SetAttribute(wszName, mu::Int64ToString(llValue));
}

bool CEasyXMLNode::SetAttributeValue(const wchar_t* wszName, const wchar_t*, double dValue)
{
    return SetAttribute(wszName, mu::DoubleToString(dValue));
}

bool CEasyXMLNode::SetAttributeBool(const wchar_t* wszName, bool bValue)
{
    return SetAttribute(wszName, mu::BoolToString(bValue));
}
