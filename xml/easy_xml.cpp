#include "xml/easy_xml.h"

#include <string_view>

#include "diagnostics/function_state.h"
#include "mu/unicode.h"
#include "xml/namespaces.h"

CEasyXML::CEasyXML() : m_pDocument(new SSharedDocument) {}

CEasyXML::CEasyXML(const CEasyXML& other) : m_pDocument(other.m_pDocument)
{
    ++m_pDocument->m_iReferences;
}

CEasyXML& CEasyXML::operator=(const CEasyXML& other)
{
    CEasyXML copy(other);
    std::swap(m_pDocument, copy.m_pDocument);
    return *this;
}

CEasyXML::~CEasyXML()
{
    Release();
}

void CEasyXML::Release()
{
    --m_pDocument->m_iReferences;
    if (m_pDocument->m_iReferences == 0)
    {
        delete m_pDocument;
    }
}

CEasyXML CEasyXML::Clone() const
{
    CEasyXML clone;
    clone.EnableXMLHeaderTag(IsXMLHeaderTagEnabled());
    if (Tree().GetRoot() != nullptr)
    {
        clone.Tree().AppendClone(Tree().GetRoot(), nullptr);
    }
    return clone;
}

CEasyXMLNode CEasyXML::GetRoot() const
{
    return CEasyXMLNode(Tree().GetRoot());
}

CEasyXMLNode CEasyXML::AddRoot(const wchar_t* wszName, const wchar_t* wszNamespaceURI)
{
    return CEasyXMLNode(
        Tree().AppendNode(wszName != nullptr ? wszName : L"", wszNamespaceURI, nullptr));
}

void CEasyXML::EnableXMLHeaderTag(bool bEnable)
{
    Tree().EnableXMLHeaderTag(bEnable);
}

bool CEasyXML::IsXMLHeaderTagEnabled() const
{
    return Tree().IsXMLHeaderTagEnabled();
}

CEasyXMLNode CEasyXML::LoadFromText(const wchar_t* wszText)
{
    CFunctionSwitch fsLoad("EXML::LFTW");
    mu::CFunctionParam fpText(fsLoad, "wszText", wszText);

    return Tree().FromXML(wszText) ? GetRoot() : CEasyXMLNode();
}

CEasyXMLNode CEasyXML::LoadFromText(const char* szText, int iTextLength)
{
    CFunctionSwitch fsLoad("EXML::LFT");
    mu::CFunctionParam fpText(fsLoad, "szText", szText);
    mu::CFunctionParam fpTextLength(fsLoad, "iTextLength", iTextLength);

    return Tree().FromUTF8(szText, iTextLength) ? GetRoot() : CEasyXMLNode();
}

CEasyXMLNode CEasyXML::LoadFromFile(const wchar_t* wszPath, bool bConfidential)
{
    return Tree().FromFile(wszPath, bConfidential) ? GetRoot() : CEasyXMLNode();
}

bool CEasyXML::SaveToFile(const wchar_t* wszPath) const
{
    CFunctionSwitch fsSave("EXML::STF");

    return Tree().ToFile(wszPath);
}

bool CEasyXML::GetXML(std::wstring& wsXML) const
{
    return Tree().ToXML(wsXML);
}

bool CEasyXML::GetXML(std::string& strXML) const
{
    return Tree().ToUTF8(strXML);
}

int CEasyXML::GetXML(char* szBuffer, int iSize) const
{
    if (szBuffer == nullptr || iSize <= 0)
    {
        return 0;
    }
    std::string strXML;
    Tree().ToUTF8(strXML);
    const std::string_view svCut = mu::CutText(strXML, static_cast<std::size_t>(iSize) - 1);
    svCut.copy(szBuffer, svCut.size());
    szBuffer[svCut.size()] = '\0';
    return static_cast<int>(svCut.size());
}

void CEasyXML::GetNamespacePrefixes(CNamespacesPrefixesMap& mapPrefixes) const
{
    CFunctionSwitch fsPrefixes("EXML::GNSPFX");

    const CVariablesSubTree* const pRoot = Tree().GetRoot();
    for (const CVariablesSubTree* p = pRoot; p != nullptr; p = mu::NextInDocument(p, pRoot))
    {
        mu::AddDeclaredPrefixes(*p, mapPrefixes);
    }
}
