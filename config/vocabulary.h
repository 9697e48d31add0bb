#ifndef ZOR_CONFIG_VOCABULARY_H
#define ZOR_CONFIG_VOCABULARY_H

#include <span>

#include "config/enumerations.h"
#include "logging/logging_parameters.h"

struct SVocabularyTable
{
    const char* m_szName;
    std::span<const SEnumerationEntry> m_rows;
};

#define ZOR_NAMED(table) #table, table

/// The tables of the vocabulary that have a value and a text, in the order of their definition.
inline constexpr SVocabularyTable kVocabularyTables[] = {
    {ZOR_NAMED(g_DeviceAccessLevelEnumeration)},
    {ZOR_NAMED(g_SourceChannelTypesEnumeration)},
    {ZOR_NAMED(g_MediaFileTypeEnumerations)},
    {ZOR_NAMED(g_PPPAuthTypeEnumerations)},
    {ZOR_NAMED(g_ConnectionTypesEnumeration)},
    {ZOR_NAMED(g_ConnectionToleranceEnumeration)},
    {ZOR_NAMED(g_HardwareConnectionMethodsEnumeration)},
    {ZOR_NAMED(g_ZORApplicationTypesEnumeration)},
    {ZOR_NAMED(g_HWSWPlatformTypesEnumeration)},
    {ZOR_NAMED(g_FileTransferCategoriesEnumeration)},
    {ZOR_NAMED(g_RTViewerTypeEnumeration)},
    {ZOR_NAMED(g_NetworkAddressConfigMethodEnumeration)},
    {ZOR_NAMED(g_ModemConfigMethodEnumeration)},
    {ZOR_NAMED(g_RemoteFileSystemsEnumeration)},
    {ZOR_NAMED(g_MediaStreamDestinationEnums)},
    {ZOR_NAMED(g_TransportLayerProtocolEnums)},
    {ZOR_NAMED(g_StorageHostTypeEnums)},
    {ZOR_NAMED(g_MOSMSServiceTypeEnums)},
    {ZOR_NAMED(g_ValueTypeEnums)},
    {ZOR_NAMED(g_ConFormatEnums)},
    {ZOR_NAMED(g_NetworkInterfaceTypeEnums)},
    {ZOR_NAMED(g_BooleanOptionValueEnums)},
    {ZOR_NAMED(g_MediaFileFormatEnums)},
    {ZOR_NAMED(g_CellularLocationModes)},
    {ZOR_NAMED(g_ModemInterfaceTypeEnums)},
    {ZOR_NAMED(g_DiagnosticValueTypes)},
    {ZOR_NAMED(g_DiagnosticValuesEncodings)},
    {ZOR_NAMED(g_BatteryChargingStates)},
    {ZOR_NAMED(g_VideoDetectionStates)},
    {ZOR_NAMED(g_DeviceOperationLimits)},
    {ZOR_NAMED(g_AccessPointRoles)},
    {ZOR_NAMED(g_VideoFrameRoationOptions)},
    {ZOR_NAMED(g_GlobalTimeSourceTypes)},
    {ZOR_NAMED(g_FileTransferEndReasons)},
    {ZOR_NAMED(g_DeviceOperationModes)},
    {ZOR_NAMED(g_AudioChannelsGrouping)},
    {ZOR_NAMED(g_NetworkInterfaceUtilizationPolicies)},
    {ZOR_NAMED(g_StreamProcessingActions)},
    {ZOR_NAMED(g_StorageFunctionalStates)},
    {"g_LogSeverityEnums", mu::g_LogSeverityEnums},
};

#undef ZOR_NAMED

#endif
