#include "console/diagnostic_names.h"

#include "xml/document_namespace.h"
#include "xml/easy_xml.h"

EDiagnosticNames ReadDiagnosticNames(const CEasyXML& exmlParams, std::vector<std::string>& vNames)
{
    CEasyXMLNode nodeRoot = exmlParams.GetRoot();
    if (!nodeRoot.IsValid())
    {
        return EDiagnosticNames::NoParameters;
    }
    CEasyXMLNode nodeConfig =
        nodeRoot.SyncChild(L"zor:CaptureDeviceConfig", mu::g_wszDocumentNamespace, false);
    if (!nodeConfig.IsValid())
    {
        return EDiagnosticNames::NoConfiguration;
    }
    CEasyXMLNode nodeTypes =
        nodeConfig.SyncChild(L"zor:DiagnosticTypes", mu::g_wszDocumentNamespace, false);
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
            node.GetTextValue(vNames.emplace_back());
        }
    }
    return vNames.empty() ? EDiagnosticNames::NoNames : EDiagnosticNames::Read;
}

const char* ReasonForNoNames(EDiagnosticNames eNames)
{
    switch (eNames)
    {
    case EDiagnosticNames::NoParameters:
        return "No device parameters.";
    case EDiagnosticNames::NoConfiguration:
        return "No device config parameters.";
    case EDiagnosticNames::NoTypes:
        return "No diagnostic information found.";
    case EDiagnosticNames::NoNames:
        return "Diagnostic information list is empty.";
    case EDiagnosticNames::Read:
        break;
    }
    return "";
}
