// Writes the page docs/vocabulary.md to standard output.

#include <cstdio>
#include <span>
#include <string>

#include "config/enumerations.h"
#include "logging/logging_parameters.h"
#include "mu/unicode.h"

namespace
{

struct STable
{
    const char* m_szName;
    std::span<const SEnumerationEntry> m_rows;
};

#define ZOR_NAMED(table) #table, table

// In the order of their definition.
constexpr STable kTables[] = {
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
    {ZOR_NAMED(g_LogSeverityEnums)},
};

std::string Text(const wchar_t* wszText)
{
    return wszText != nullptr ? mu::WideStringToNarrow(wszText) : "(end of the table)";
}

void WriteFeatures()
{
    std::puts("\n## g_DeviceFeatureEnums, g_DeviceFeatureAccessLevelRequirements\n\n"
              "| Value | Text | Required access level |\n|---|---|---|");
    for (const SEnumerationEntry& row : g_DeviceFeatureEnums)
    {
        const auto iLevel = static_cast<std::int32_t>(
            GetRequiredAccessLevelForDeviceFeature(EDeviceFeature{row.m_iValue}));
        std::printf("| %d | %s | %d %s |\n", row.m_iValue, Text(row.m_wszText).c_str(), iLevel,
                    Text(GetEnumerationText(g_DeviceAccessLevelEnumeration, iLevel)).c_str());
    }
}

void WriteTable(const STable& table)
{
    std::printf("\n## %s\n\n| Value | Text |\n|---|---|\n", table.m_szName);
    for (const SEnumerationEntry& row : table.m_rows)
    {
        std::printf("| %d | %s |\n", row.m_iValue, Text(row.m_wszText).c_str());
    }
}

void WriteCodecs()
{
    std::puts("\n## g_MediaCodecEnums\n\n| Media kind | Codec | Text |\n|---|---|---|");
    for (const SMediaCodecEntry& row : g_MediaCodecEnums)
    {
        std::printf(
            "| %d %s | %d | %s |\n", row.m_iMediaKind,
            Text(GetEnumerationText(g_SourceChannelTypesEnumeration, row.m_iMediaKind)).c_str(),
            row.m_iCodec, Text(row.m_wszText).c_str());
    }
}

void WriteHardwareModels()
{
    std::puts("\n## g_HardwareModels\n\n| Model | Identifier |\n|---|---|");
    for (const SHardwareModelEntry& row : g_HardwareModels)
    {
        std::printf("| %s | %s |\n", Text(row.m_wszModel).c_str(),
                    Text(row.m_wszIdentifier).c_str());
    }
}

} // namespace

int main()
{
    std::puts(
        "# Vocabulary\n\n"
        "The enumerated values that the device's documents carry, always as these texts.\n"
        "They are compared whole and with their case, in the order of the rows; of several\n"
        "rows of a value the first is written. The tables are in `config/`; the log's severities\n"
        "are in `logging/`.\n\n"
        "Generated; after a change of a table:\n\n"
        "```sh\nbuild/release/tests/config/vocabulary_page > docs/vocabulary.md\n```");
    WriteFeatures();
    for (const STable& table : kTables)
    {
        WriteTable(table);
    }
    WriteCodecs();
    WriteHardwareModels();
}
