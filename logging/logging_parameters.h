#ifndef ZOR_LOGGING_LOGGING_PARAMETERS_H
#define ZOR_LOGGING_LOGGING_PARAMETERS_H

#include "config/enumeration_table.h"
#include "config/xml_record.h"
#include "logging/logger.h"
#include "xml/easy_xml_node.h"

namespace mu
{

/// The names of severities (IBaseLogger::Severity) in documents.
inline constexpr SEnumerationEntry g_LogSeverityEnums[] = {
    {IBaseLogger::Undefined, L"Undefined"},
    {IBaseLogger::Status, L"Status"},
    {IBaseLogger::Warning, L"Warning"},
    {IBaseLogger::Error, L"Error"},
};
static_assert(IsVocabulary(g_LogSeverityEnums, 0, 3));

} // namespace mu

/// What the log of messages keeps, and whether its page in a browser refreshes itself: the element
/// "zor:LoggingParameters".
struct SLoggingParameters : public IXMLAble
{
    virtual ~SLoggingParameters() = default;

    /// Sets the default values.
    void Reset() { *this = SLoggingParameters(); }

    /// Null if iIndex is no severity.
    static const wchar_t* GetLogSeverityName(int iIndex);
    /// -1 if wszName is null or no name. Case matters.
    static int GetLogSeverityIndex(const wchar_t* wszName);

    bool SyncXML(CEasyXMLNode& node, bool bToXML);
    bool ToXML(CEasyXMLNode& parent) override;
    bool FromXML(CEasyXMLNode& node) override { return SyncXML(node, false); }
    int GetExtraBinaryData(void***) override { return 0; }
    int GetXMLMessageType() override { return 6; }

    int m_iLogSeverity = IBaseLogger::Warning; ///< the lowest that is kept: IBaseLogger::Severity
    int m_iMaxNumberOfLogMessages = 200;       ///< 0 and below: no limit
    bool m_bAutoRefresh = false;
};

#endif
