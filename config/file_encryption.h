#ifndef ZOR_CONFIG_FILE_ENCRYPTION_H
#define ZOR_CONFIG_FILE_ENCRYPTION_H

#include <string>

#include "xml/easy_xml_node.h"

/// Whether files are encrypted, and the key: the element "zor:Encryption". There is no built-in
/// key. The key stays out of log lines and state reports.
struct SFileEncryption
{
    bool m_bEnable = false;
    std::wstring m_wsKey;

    void Reset() { *this = SFileEncryption(); }

    /// Writes into or reads from the record's own element, with IXMLAble's result. The key of a
    /// disabled encryption is neither written nor read.
    bool SyncXML(CEasyXMLNode& node, bool bToXML);
};

#endif
