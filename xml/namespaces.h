#ifndef ZOR_XML_NAMESPACES_H
#define ZOR_XML_NAMESPACES_H

// Internal: namespace declarations as attributes (Namespaces in XML 1.0).

#include <string_view>

#include "xml/element_tree.h"

namespace mu
{

/// Whether an attribute of that name declares a namespace. If so, wsPrefix becomes the prefix that
/// it declares, empty for the default namespace. "xmlns:" alone declares none.
bool IsNamespaceDeclaration(std::wstring_view wsAttributeName, std::wstring_view& wsPrefix);

/// Adds the declarations that stand on the element itself. Prefixes in the map stay.
void AddDeclaredPrefixes(const CVariablesSubTree& element, CNamespacesPrefixesMap& mapPrefixes);

/// Adds the declarations in force on an element: its own, and those around it, the nearest first.
void AddPrefixesInForce(const CVariablesSubTree& element, CNamespacesPrefixesMap& mapPrefixes);

/// A name in two: the prefix before the first ':' (empty if there is none) and the rest.
struct SQualifiedName
{
    explicit SQualifiedName(std::wstring_view wsName);
    std::wstring_view m_wsPrefix;
    std::wstring_view m_wsLocal;
};

} // namespace mu

#endif
