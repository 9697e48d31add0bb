#include "xml/easy_xml_node.h"

#include "diagnostics/function_state.h"
#include "xml/namespaces.h"

namespace
{

std::wstring_view OrEmpty(const wchar_t* wszName)
{
    return wszName != nullptr ? std::wstring_view(wszName) : std::wstring_view();
}

/// Resolves prefixes to URIs by the declarations that are in force on an element. They are gathered
/// when the first prefix is asked for.
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

/// The URI of a prefix on an element: by the element's own declaration, or else by those in force
/// around it.
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
