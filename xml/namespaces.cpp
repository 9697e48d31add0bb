#include "xml/namespaces.h"

namespace mu
{

namespace
{

constexpr std::wstring_view kDeclaration = L"xmlns";

} // namespace

bool IsNamespaceDeclaration(std::wstring_view wsAttributeName, std::wstring_view& wsPrefix)
{
    if (!wsAttributeName.starts_with(kDeclaration))
    {
        return false;
    }
    wsPrefix = wsAttributeName.substr(kDeclaration.size());
    if (wsPrefix.empty())
    {
        return true;
    }
    if (wsPrefix.front() != L':')
    {
        return false;
    }
    wsPrefix.remove_prefix(1);
    return !wsPrefix.empty();
}

void AddDeclaredPrefixes(const CVariablesSubTree& element, CNamespacesPrefixesMap& mapPrefixes)
{
    for (const SNodeAttribute& attribute : element.GetAttributes())
    {
        std::wstring_view wsPrefix;
        if (IsNamespaceDeclaration(attribute.m_name.View(), wsPrefix) &&
            !mapPrefixes.contains(wsPrefix))
        {
            mapPrefixes.emplace(wsPrefix, attribute.m_value.View());
        }
    }
}

void AddPrefixesInForce(const CVariablesSubTree& element, CNamespacesPrefixesMap& mapPrefixes)
{
    for (const CVariablesSubTree* p = &element; p != nullptr; p = p->GetParent())
    {
        AddDeclaredPrefixes(*p, mapPrefixes);
    }
}

SQualifiedName::SQualifiedName(std::wstring_view wsName) : m_wsLocal(wsName)
{
    const std::size_t uColon = wsName.find(L':');
    if (uColon != std::wstring_view::npos)
    {
        m_wsPrefix = wsName.substr(0, uColon);
        m_wsLocal = wsName.substr(uColon + 1);
    }
}

} // namespace mu
