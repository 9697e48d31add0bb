#include "config/file_encryption.h"

#include "config/xml_record.h"

bool SFileEncryption::SyncXML(CEasyXMLNode& node, bool bToXML)
{
    mu::CXMLFields fields(node, bToXML);
    fields.Attribute(L"zor:Enable", m_bEnable);
    if (m_bEnable)
    {
        fields.Attribute(L"zor:Key", m_wsKey);
    }
    return fields.AllSucceeded();
}
