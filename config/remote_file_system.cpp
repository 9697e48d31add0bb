#include "config/remote_file_system.h"

#include "config/xml_record.h"

bool SRemoteFileSystem::SyncXML(CEasyXMLNode& node, bool bToXML)
{
    mu::CXMLFields fields(node, bToXML);
    fields.Choice(L"zor:RemoteFileSystemType", g_RemoteFileSystemsEnumeration, m_eType);
    if (m_eType != mu::ERemoteFileSystem::None)
    {
        fields.Child(L"zor:Address", m_wsAddress);
        fields.Child(L"zor:UserName", m_wsUserName);
        fields.Child(L"zor:Password", m_wsPassword);
    }
    return fields.AllSucceeded();
}
