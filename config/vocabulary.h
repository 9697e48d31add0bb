#ifndef ZOR_CONFIG_VOCABULARY_H
#define ZOR_CONFIG_VOCABULARY_H

#include <span>

#include "config/enumerations.h"
#include "logging/logging_parameters.h"

struct SVocabularyTable
{
    const char* m_szName;
    std::span<const SEnumerationEntry> m_rows;
    const char* m_szTitle; ///< for readers
};

#define ZOR_NAMED(table) #table, table

/// The tables of the vocabulary that have a value and a text, in the order of their definition.
inline constexpr SVocabularyTable kVocabularyTables[] = {
    {ZOR_NAMED(g_DeviceAccessLevelEnumeration), "Access levels"},
    {ZOR_NAMED(g_SourceChannelTypesEnumeration), "Kinds of channels"},
    {ZOR_NAMED(g_MediaFileTypeEnumerations), "Media file types"},
    {ZOR_NAMED(g_PPPAuthTypeEnumerations), "PPP authentication"},
    {ZOR_NAMED(g_ConnectionTypesEnumeration), "Connection types"},
    {ZOR_NAMED(g_ConnectionToleranceEnumeration), "Connection tolerance"},
    {ZOR_NAMED(g_HardwareConnectionMethodsEnumeration), "Hardware connections"},
    {ZOR_NAMED(g_ZORApplicationTypesEnumeration), "Application types"},
    {ZOR_NAMED(g_HWSWPlatformTypesEnumeration), "Hardware and software platforms"},
    {ZOR_NAMED(g_FileTransferCategoriesEnumeration), "File transfer categories"},
    {ZOR_NAMED(g_RTViewerTypeEnumeration), "Real-time viewer types"},
    {ZOR_NAMED(g_NetworkAddressConfigMethodEnumeration), "Network address configuration"},
    {ZOR_NAMED(g_ModemConfigMethodEnumeration), "Modem configuration"},
    {ZOR_NAMED(g_RemoteFileSystemsEnumeration), "Remote file systems"},
    {ZOR_NAMED(g_MediaStreamDestinationEnums), "Media stream destinations"},
    {ZOR_NAMED(g_TransportLayerProtocolEnums), "Transport protocols"},
    {ZOR_NAMED(g_StorageHostTypeEnums), "Storage hosts"},
    {ZOR_NAMED(g_MOSMSServiceTypeEnums), "Short message services"},
    {ZOR_NAMED(g_ValueTypeEnums), "Value types"},
    {ZOR_NAMED(g_ConFormatEnums), "Connection formats"},
    {ZOR_NAMED(g_NetworkInterfaceTypeEnums), "Network interface types"},
    {ZOR_NAMED(g_BooleanOptionValueEnums), "Option values"},
    {ZOR_NAMED(g_MediaFileFormatEnums), "Media file formats"},
    {ZOR_NAMED(g_CellularLocationModes), "Cellular location modes"},
    {ZOR_NAMED(g_ModemInterfaceTypeEnums), "Modem interface types"},
    {ZOR_NAMED(g_DiagnosticValueTypes), "Diagnostic value types"},
    {ZOR_NAMED(g_DiagnosticValuesEncodings), "Diagnostic value encodings"},
    {ZOR_NAMED(g_BatteryChargingStates), "Battery charging states"},
    {ZOR_NAMED(g_VideoDetectionStates), "Video detection states"},
    {ZOR_NAMED(g_DeviceOperationLimits), "Device operation limits"},
    {ZOR_NAMED(g_AccessPointRoles), "Access point roles"},
    {ZOR_NAMED(g_VideoFrameRoationOptions), "Video frame rotation"},
    {ZOR_NAMED(g_GlobalTimeSourceTypes), "Time sources"},
    {ZOR_NAMED(g_FileTransferEndReasons), "Ends of file transfers"},
    {ZOR_NAMED(g_DeviceOperationModes), "Device operation modes"},
    {ZOR_NAMED(g_AudioChannelsGrouping), "Audio channel grouping"},
    {ZOR_NAMED(g_NetworkInterfaceUtilizationPolicies), "Network interface use"},
    {ZOR_NAMED(g_StreamProcessingActions), "Stream processing actions"},
    {ZOR_NAMED(g_StorageFunctionalStates), "Storage states"},
    {"g_LogSeverityEnums", mu::g_LogSeverityEnums, "Log severities"},
};

#undef ZOR_NAMED

#endif
