#ifndef ZOR_TESTS_XML_WRITTEN_H
#define ZOR_TESTS_XML_WRITTEN_H

#include <gtest/gtest.h>

#include "mu/unicode.h"
#include "xml/element_tree.h"

/// A document as it is written, "(none)" if it is empty. Holds its three forms against each other.
inline std::wstring Written(const CVariablesTree& tree)
{
    std::wstring wsXML = L"(none)";
    std::string strXML = "(none)";
    EXPECT_EQ(tree.ToXML(wsXML), tree.ToUTF8(strXML));
    EXPECT_EQ(strXML, mu::WideStringToNarrow(wsXML));
    EXPECT_EQ(tree.ToXMLLength(), tree.GetRoot() != nullptr ? static_cast<int>(wsXML.size()) : 0);
    return wsXML;
}

#endif
