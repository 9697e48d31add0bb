#ifndef ZOR_XML_EASY_XML_H
#define ZOR_XML_EASY_XML_H

#include <string>

#include "xml/easy_xml_node.h"
#include "xml/element_tree.h"

/// A document. Copies share it: a change through one is seen through all, and the last one frees
/// it. The count is not atomic: a document and its copies are used by one thread at a time.
/// Allocation failures throw std::bad_alloc; nothing else does.
class CEasyXML
{
public:
    CEasyXML();
    CEasyXML(const CEasyXML& other);
    CEasyXML& operator=(const CEasyXML& other);
    ~CEasyXML();

    /// A document of its own with the same contents, for a thread of its own.
    CEasyXML Clone() const;

    /// The root element; invalid when there is none.
    CEasyXMLNode GetRoot() const;
    /// A new root, in place of the one there was, which is freed. A non-empty URI is declared for
    /// the name's prefix.
    CEasyXMLNode AddRoot(const wchar_t* wszName, const wchar_t* wszNamespaceURI);

    /// Whether "<?xml version='1.0' encoding='UTF-8'?>" is written first.
    void EnableXMLHeaderTag(bool bEnable);
    bool IsXMLHeaderTagEnabled() const;

    /// Replaces the document and returns its root. On failure the document stays as it was and the
    /// handle is invalid.
    CEasyXMLNode LoadFromText(const wchar_t* wszText);
    CEasyXMLNode LoadFromText(const char* szText, int iTextLength); ///< UTF-8, length in bytes
    /// See CVariablesTree::FromFile(). A file that holds a password or a key is confidential.
    CEasyXMLNode LoadFromFile(const wchar_t* wszPath) { return LoadFromFile(wszPath, false); }
    CEasyXMLNode LoadFromFile(const wchar_t* wszPath, bool bConfidential);
    /// Why the last load failed; offsets count the units of the text as it was given, or of a
    /// file's wide text.
    mu::SXMLError GetLoadError() const { return Tree().GetParseError(); }
    bool SaveToFile(const wchar_t* wszPath) const;

    /// The document as text. False, and nothing changed, for an empty document.
    bool GetXML(std::wstring& wsXML) const;
    bool GetXML(std::string& strXML) const; ///< UTF-8
    /// UTF-8 into a buffer of iSize bytes, terminated; a text that is too long is cut before the
    /// character that does not fit. Returns the bytes written without the terminator, 0 for an
    /// empty document.
    int GetXML(char* szBuffer, int iSize) const;

    /// Adds the namespace declarations of the whole document; the first declaration of a prefix, in
    /// document order, counts. Prefixes that are in the map stay as they are.
    void GetNamespacePrefixes(CNamespacesPrefixesMap& mapPrefixes) const;

private:
    struct SSharedDocument
    {
        CVariablesTree m_tree;
        int m_iReferences = 1;
    };

    CVariablesTree& Tree() const { return m_pDocument->m_tree; }
    void Release();

    SSharedDocument* m_pDocument; // never null
};

#endif
