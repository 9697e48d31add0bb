#include "logging/logging_parameters.h"

#include <cstdint>

const wchar_t* SLoggingParameters::GetLogSeverityName(int iIndex)
{
    return mu::GetEnumerationText(mu::g_LogSeverityEnums, iIndex);
}

int SLoggingParameters::GetLogSeverityIndex(const wchar_t* wszName)
{
    std::int32_t iIndex = -1;
    if (wszName != nullptr)
    {
        mu::GetEnumerationValue(mu::g_LogSeverityEnums, wszName, iIndex);
    }
    return iIndex;
}

bool SLoggingParameters::SyncXML(CEasyXMLNode& node, bool bToXML)
{
    mu::CXMLFields fields(node, bToXML);
    fields.Choice(L"zor:LogSeverity", mu::g_LogSeverityEnums, m_iLogSeverity);
    fields.Child(L"zor:MaxNumberOfLogMessages", m_iMaxNumberOfLogMessages);
    fields.Group(L"zor:LogViewer", [this](mu::CXMLFields& viewer)
                 { viewer.Child(L"zor:AutoRefresh", m_bAutoRefresh); });
    return fields.AllSucceeded();
}

bool SLoggingParameters::ToXML(CEasyXMLNode& parent)
{
    CEasyXMLNode node = parent.AppendChild(L"zor:LoggingParameters", mu::g_wszDocumentNamespace);
    return SyncXML(node, true);
}
