#ifndef ZOR_CONFIG_REMOTE_FILE_SYSTEM_H
#define ZOR_CONFIG_REMOTE_FILE_SYSTEM_H

#include <string>

#include "config/enumerations.h"
#include "xml/easy_xml_node.h"

/// Where recordings go when they leave the device: the element "zor:RemoteFileSystem". The
/// password stays out of log lines and state reports.
struct SRemoteFileSystem
{
    mu::ERemoteFileSystem m_eType = mu::ERemoteFileSystem::None;
    std::wstring m_wsAddress;
    std::wstring m_wsUserName;
    std::wstring m_wsPassword;

    void Reset() { *this = SRemoteFileSystem(); }

    /// Writes into or reads from the record's own element, with IXMLAble's result. Without a remote
    /// file system (ERemoteFileSystem::None) the texts are neither written nor read.
    bool SyncXML(CEasyXMLNode& node, bool bToXML);
};

#endif
