#include "console/diagnostic_list.h"

#include <cstdio>
#include <cwchar>
#include <new>

#include "console/pipe_messages.h"
#include "mu/unicode.h"
#include "xml/document_namespace.h"
#include "xml/easy_xml.h"

EDiagnosticNames ReadDiagnosticNames(const CEasyXML& exmlParams,
                                     std::vector<std::wstring>& vecNames)
{
    CEasyXMLNode nodeRoot = exmlParams.GetRoot();
    if (!nodeRoot.IsValid())
    {
        return EDiagnosticNames::NoParameters;
    }
    CEasyXMLNode nodeConfig =
        nodeRoot.SyncChild(L"zor:CaptureDeviceConfig", g_wszDocumentNamespace, false);
    if (!nodeConfig.IsValid())
    {
        return EDiagnosticNames::NoConfiguration;
    }
    CEasyXMLNode nodeTypes =
        nodeConfig.SyncChild(L"zor:DiagnosticTypes", g_wszDocumentNamespace, false);
    if (!nodeTypes.IsValid())
    {
        return EDiagnosticNames::NoTypes;
    }

    for (CEasyXMLNode node = nodeTypes.GetFirstChild(); node.IsValid();
         node = node.GetNextSibling())
    {
        std::wstring wsName;
        if (node.GetName(wsName) && wsName == L"zor:DiagnosticType")
        {
            node.GetTextValue(vecNames.emplace_back());
        }
    }
    return EDiagnosticNames::Read;
}

namespace
{

void PrintDiagnosticNames()
{
    std::vector<std::wstring> vecNames;
    switch (ReadDiagnosticNames(g_exmlParams, vecNames))
    {
    case EDiagnosticNames::NoParameters:
        std::puts("No device parameters.\r");
        return;
    case EDiagnosticNames::NoConfiguration:
        std::puts("No device config parameters.\r");
        return;
    case EDiagnosticNames::NoTypes:
        std::puts("No diagnostic information found.\r");
        return;
    case EDiagnosticNames::Read:
        break;
    }

    if (vecNames.empty())
    {
        std::puts("Diagnostic information list is empty.\r");
        return;
    }
    int iNumber = 0;
    std::string strName;
    for (const std::wstring& wsName : vecNames)
    {
        ++iNumber;
        // Not "%ls", which follows the locale. A name ends at its first NUL, as it would there.
        mu::ConvertString(wsName.c_str(), static_cast<int>(std::wcslen(wsName.c_str())), strName);
        std::printf("%02d: %s\r\n", iNumber, strName.c_str());
    }
}

} // namespace

void ListDiagnosticInformation()
{
    try
    {
        PrintDiagnosticNames();
    }
    catch (const std::bad_alloc&)
    {
        std::puts("Not enough memory.\r");
    }
}
