#ifndef ZOR_CONFIG_XML_RECORD_H
#define ZOR_CONFIG_XML_RECORD_H

#include <cstdint>
#include <span>
#include <string>

#include "config/enumeration_table.h"
#include "xml/document_namespace.h"
#include "xml/easy_xml_node.h"

/// A record that travels as an element of the device's documents. Names are qualified ("zor:...")
/// and found as they are spelled.
///
/// The result of writing is whether every field was written, that of reading whether every field
/// was there, with a text that has a meaning. Reading takes what it finds: a field that is missing,
/// or whose text is not in the vocabulary, keeps its value, and the result is false. What the
/// document holds beside the fields is ignored. A failed allocation throws std::bad_alloc and may
/// leave a record half read. A record is used by one thread at a time, as the document is.
class IXMLAble
{
public:
    /// Appends the record to parent, as an element of its own.
    virtual bool ToXML(CEasyXMLNode& parent) = 0;
    /// Reads from the record's own element.
    virtual bool FromXML(CEasyXMLNode& node) = 0;
    /// The binary attachments that go with the record's message: how many, and where.
    virtual int GetExtraBinaryData(void*** pppData) = 0;
    /// What the record is called when it travels as a message.
    virtual int GetXMLMessageType() = 0;

protected:
    ~IXMLAble() = default;
};

namespace mu
{

/// Either writes a record's fields into an element or reads them from it, so that one list of the
/// fields, in the order of the document, serves both and cannot drift apart. Writing makes missing
/// children; reading makes none. An invalid element gives and takes nothing.
class CXMLFields
{
public:
    CXMLFields(const CEasyXMLNode& node, bool bToXML) : m_node(node), m_bToXML(bToXML) {}

    /// A field that is the text of a child: text, bool or number. White space at the beginning of
    /// such a text does not survive in a document; an attribute keeps it.
    template <typename TValue>
    void Child(const wchar_t* wszName, TValue& value)
    {
        CEasyXMLNode child = Element(wszName);
        Note(m_bToXML ? child.SetTextValue(value) : child.GetTextValue(value));
    }
    /// Written as the signed number of the same bits.
    void Child(const wchar_t* wszName, unsigned long long& ullValue)
    {
        auto llValue = static_cast<long long>(ullValue);
        Child(wszName, llValue);
        ullValue = static_cast<unsigned long long>(llValue);
    }

    template <typename TValue>
    void Attribute(const wchar_t* wszName, TValue& value)
    {
        Note(m_bToXML ? m_node.SetAttributeValue(wszName, g_wszDocumentNamespace, value)
                      : m_node.GetAttributeValue(wszName, value));
    }

    /// A field that is a value of the vocabulary. One without a text is not written at all.
    template <typename TEnumeration>
    void Choice(const wchar_t* wszName, std::span<const SEnumerationEntry> table,
                TEnumeration& eValue)
    {
        auto iValue = static_cast<std::int32_t>(eValue);
        if (m_bToXML)
        {
            const wchar_t* const wszText = GetEnumerationText(table, iValue);
            Note(wszText != nullptr && Element(wszName).SetTextValue(wszText));
            return;
        }
        std::wstring wsText;
        Note(Element(wszName).GetTextValue(wsText) && GetEnumerationValue(table, wsText, iValue));
        eValue = static_cast<TEnumeration>(iValue);
    }

    /// A record within this one.
    template <typename TRecord>
    void Record(const wchar_t* wszName, TRecord& record)
    {
        CEasyXMLNode node = Element(wszName);
        Note(record.SyncXML(node, m_bToXML));
    }

    /// Fields of a child element; what is noted there counts here.
    template <typename TSyncFields>
    void Group(const wchar_t* wszName, TSyncFields syncFields)
    {
        CXMLFields group(Element(wszName), m_bToXML);
        syncFields(group);
        Note(group.AllSucceeded());
    }

    bool AllSucceeded() const { return m_bAllSucceeded; }

private:
    CEasyXMLNode Element(const wchar_t* wszName)
    {
        return m_node.SyncChild(wszName, g_wszDocumentNamespace, m_bToXML);
    }
    void Note(bool bSucceeded) { m_bAllSucceeded = m_bAllSucceeded && bSucceeded; }

    CEasyXMLNode m_node;
    bool m_bToXML;
    bool m_bAllSucceeded = true;
};

} // namespace mu

#endif
