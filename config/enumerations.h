#ifndef ZOR_CONFIG_ENUMERATIONS_H
#define ZOR_CONFIG_ENUMERATIONS_H

#include <cstdint>
#include <iterator>
#include <span>
#include <string_view>

#include "config/access_levels.h" // the features and levels, which are part of the vocabulary
#include "config/enumeration_table.h"

// The device's vocabulary: every enumerated value that its documents carry, and the text that
// stands for it there. docs/vocabulary.md lists it.

inline constexpr SEnumerationEntry g_SourceChannelTypesEnumeration[] = {
    {0, L"Undefined"},
    {1, L"Video"},
    {2, L"Audio"},
    {3, L"Playback Video"},
    {4, L"Playback Audio"},
    {5, L"Mixed"},
    {6, L"Video Out"},
    {7, L"Audio Out"},
    {8, L"End Of Stream"},
    {9, L"ECG Stream"},
    {10, L"Diagnostic Stream"},
    {11, L"General"},
    {12, L"Temperature"},
    {13, L"Serial Port"},
    {14, L"Serial Port Out"},
};
static_assert(mu::IsVocabulary(g_SourceChannelTypesEnumeration, 0, 14));

inline constexpr SEnumerationEntry g_MediaFileTypeEnumerations[] = {
    {0, L"Undefined"},
    {1, L"Audio File"},
    {2, L"Video File"},
    {3, L"Mixed File"},
    {4, L"Files Folder"},
    {5, L"Locations Log"},
    {6, L"JPEG Image File"},
    {7, L"Events Log"},
    {8, L"Debug Log"},
    {9, L"Transfers List"},
    {10, L"Modem Diagnostic Log"},
};
static_assert(mu::IsVocabulary(g_MediaFileTypeEnumerations, 0, 10));

inline constexpr SEnumerationEntry g_PPPAuthTypeEnumerations[] = {
    {0, L"None"},
    {1, L"Any"},
    {2, L"PAP"},
    {3, L"CHAP"},
};
static_assert(mu::IsVocabulary(g_PPPAuthTypeEnumerations, 0, 3));

inline constexpr SEnumerationEntry g_ConnectionTypesEnumeration[] = {
    {0, L"No Connection"},
    {1, L"Connection to server"},
    {2, L"Connection as a server"},
    {3, L"Multiple Connections"},
};
static_assert(mu::IsVocabulary(g_ConnectionTypesEnumeration, 0, 3));

inline constexpr SEnumerationEntry g_ConnectionToleranceEnumeration[] = {
    {0, L"Undefined"},
    {1, L"Low"},
    {2, L"High"},
};
static_assert(mu::IsVocabulary(g_ConnectionToleranceEnumeration, 0, 2));

inline constexpr SEnumerationEntry g_HardwareConnectionMethodsEnumeration[] = {
    {0, L"No Connection"},
    {1, L"Serial Modem"},
    {2, L"Automatic"},
};
static_assert(mu::IsVocabulary(g_HardwareConnectionMethodsEnumeration, 0, 2));

// Readers of this table may look for its end. "AciveX" is how peers spell it.
inline constexpr SEnumerationEntry g_ZORApplicationTypesEnumeration[] = {
    {1, L"Device Program"},
    {2, L"Device Application"},
    {3, L"Monitor Application"},
    {4, L"Monitor Client Application"},
    {5, L"Transmitter Application"},
    {6, L"Console"},
    {7, L"Mobile Monitor"},
    {8, L"User Application"},
    {9, L"AciveX Control"},
    {10, L"Mobile Streaming Application"},
    {11, L"Wireless Sensors Configuration Utility"},
    {12, L".Net Application"},
    {0, nullptr},
};
static_assert(mu::IsVocabulary(std::span(g_ZORApplicationTypesEnumeration).first(12), 1, 12));

inline constexpr SEnumerationEntry g_HWSWPlatformTypesEnumeration[] = {
    {0, L"Undefined"},          {1, L"EZ-Kit 561"},         {2, L"BTX CM 561"},
    {3, L"ZOR Device v1"},      {4, L"ZOR Device v2"},      {5, L"Win32"},
    {6, L"Linux x86"},          {7, L"ARMV4I WM6"},         {8, L"Linux DAVINCI"},
    {9, L"ARM iPhone"},         {10, L"ARM Android"},       {11, L"ARM Symbian"},
    {12, L"Linux DAVINCI v2"},  {13, L"Linux DAVINCI v3"},  {14, L"Linux DAVINCI v4"},
    {15, L"Linux DAVINCI v5"},  {16, L"Linux DAVINCI v6"},  {17, L"Linux DAVINCI v7"},
    {18, L"Linux DAVINCI v8"},  {19, L"Linux DAVINCI v9"},  {20, L"Linux DAVINCI v10"},
    {21, L"Linux DAVINCI v11"}, {22, L"Linux DAVINCI v12"}, {23, L"Linux DAVINCI v13"},
};
static_assert(mu::IsVocabulary(g_HWSWPlatformTypesEnumeration, 0, 23));

enum class EFileTransferCategory : std::int32_t
{
    Undefined = 0,
    Recording,
    SoftwareUpdate,
    Downloads,
};

inline constexpr SEnumerationEntry g_FileTransferCategoriesEnumeration[] = {
    {0, L"Undefined"},
    {1, L"Recording"},
    {2, L"Software Update"},
    {3, L"Downloads"},
};
static_assert(mu::IsVocabulary(g_FileTransferCategoriesEnumeration, 0, 3));

enum class ERealTimeViewerType : std::int32_t
{
    Undefined = 0,
    Video,
    Location,
    Angle,
    Graph2D,
};

inline constexpr SEnumerationEntry g_RTViewerTypeEnumeration[] = {
    {0, L"Undefined"}, {1, L"Video"}, {2, L"Location"}, {3, L"Angle"}, {4, L"2D Graph"},
};
static_assert(mu::IsVocabulary(g_RTViewerTypeEnumeration, 0, 4));

/// Whether the viewer shows diagnostic values; false for what is no viewer.
constexpr bool IsDiagnosticViewerType(ERealTimeViewerType eType)
{
    return eType == ERealTimeViewerType::Angle || eType == ERealTimeViewerType::Graph2D;
}

inline constexpr SEnumerationEntry g_NetworkAddressConfigMethodEnumeration[] = {
    {0, L"Undefined"},
    {1, L"DHCP"},
    {2, L"Manual"},
};
static_assert(mu::IsVocabulary(g_NetworkAddressConfigMethodEnumeration, 0, 2));

inline constexpr SEnumerationEntry g_ModemConfigMethodEnumeration[] = {
    {0, L"None"},
    {1, L"Manual"},
    {2, L"Automatic"},
};
static_assert(mu::IsVocabulary(g_ModemConfigMethodEnumeration, 0, 2));

namespace mu
{

enum class ERemoteFileSystem : std::int32_t
{
    None = 0,
    SMB,
    NFS,
    USB,
};

} // namespace mu

inline constexpr SEnumerationEntry g_RemoteFileSystemsEnumeration[] = {
    {0, L"None"},
    {1, L"SMB"},
    {2, L"NFS"},
    {3, L"USB"},
};
static_assert(mu::IsVocabulary(g_RemoteFileSystemsEnumeration, 0, 3));

inline constexpr SEnumerationEntry g_MediaStreamDestinationEnums[] = {
    {0, L"Broadcast"},
    {1, L"Recording"},
};
static_assert(mu::IsVocabulary(g_MediaStreamDestinationEnums, 0, 1));

inline constexpr SEnumerationEntry g_TransportLayerProtocolEnums[] = {
    {0, L"Any"},
    {1, L"TCP"},
    {2, L"UDP"},
};
static_assert(mu::IsVocabulary(g_TransportLayerProtocolEnums, 0, 2));

inline constexpr SEnumerationEntry g_StorageHostTypeEnums[] = {
    {0, L"Undefined"},
    {1, L"Device"},
    {2, L"Node"},
    {3, L"Monitor"},
};
static_assert(mu::IsVocabulary(g_StorageHostTypeEnums, 0, 3));

inline constexpr SEnumerationEntry g_MOSMSServiceTypeEnums[] = {
    {0, L"GPRS"},
    {1, L"Circuit Switched"},
    {2, L"GPRS Preferred"},
    {3, L"Circuit Switched Preferred"},
};
static_assert(mu::IsVocabulary(g_MOSMSServiceTypeEnums, 0, 3));

inline constexpr SEnumerationEntry g_ValueTypeEnums[] = {
    {0, L"Undefined"},
    {1, L"Numeric"},
    {2, L"Options"},
    {3, L"Boolean"},
};
static_assert(mu::IsVocabulary(g_ValueTypeEnums, 0, 3));

inline constexpr SEnumerationEntry g_ConFormatEnums[] = {
    {0, L"Unknown"},
    {1, L"ZOR XML"},
    {2, L"ZOR Bin"},
    {3, L"RTMP"},
    {4, L"HTTP"},
    {5, L"RTSP"},
    {6, L"Web Req 1"},
    {7, L"GPHERO4"},
    {8, L"Tracker UDP"},
    {9, L"MOHOC"},
    {10, L"WebSocket"},
    {11, L"FCM"},
    {12, L"External Messaging"},
};
static_assert(mu::IsVocabulary(g_ConFormatEnums, 0, 12));

inline constexpr SEnumerationEntry g_NetworkInterfaceTypeEnums[] = {
    {0, L"Unknown"},  {1, L"Local host"}, {2, L"Ethernet"}, {3, L"WiFi"},
    {4, L"Cellular"}, {5, L"VPN"},        {6, L"USB"},      {7, L"Bluetooth"},
};
static_assert(mu::IsVocabulary(g_NetworkInterfaceTypeEnums, 0, 7));

inline constexpr SEnumerationEntry g_BooleanOptionValueEnums[] = {
    {0, L"Undefined"},
    {1, L"Default"},
    {2, L"No"},
    {3, L"Yes"},
};
static_assert(mu::IsVocabulary(g_BooleanOptionValueEnums, 0, 3));

namespace mu
{

enum class EMediaFileFormat : std::int32_t
{
    Any = 0,
    Raw,
    FLV,
    AVI,
    MP4,
    WAV,
};

} // namespace mu

inline constexpr SEnumerationEntry g_MediaFileFormatEnums[] = {
    {0, L"Any"}, {1, L"Raw"}, {2, L"FLV"}, {3, L"AVI"}, {4, L"MP4"}, {5, L"WAV"},
};
static_assert(mu::IsVocabulary(g_MediaFileFormatEnums, 0, 5));

inline constexpr SEnumerationEntry g_CellularLocationModes[] = {
    {0, L"None"},
    {1, L"Base"},
    {2, L"Assisted"},
};
static_assert(mu::IsVocabulary(g_CellularLocationModes, 0, 2));

inline constexpr SEnumerationEntry g_ModemInterfaceTypeEnums[] = {
    {0, L"Default"},
    {1, L"AT+PPP"},
    {2, L"QMI"},
};
static_assert(mu::IsVocabulary(g_ModemInterfaceTypeEnums, 0, 2));

inline constexpr SEnumerationEntry g_DiagnosticValueTypes[] = {
    {0, L"Undefined"},
    {1, L"Angle"},
};
static_assert(mu::IsVocabulary(g_DiagnosticValueTypes, 0, 1));

inline constexpr SEnumerationEntry g_DiagnosticValuesEncodings[] = {
    {0, L"Undefined"}, {1, L"Int16LE"}, {2, L"Int24LE"}, {3, L"Int24BE"}, {4, L"Float32LE"},
};
static_assert(mu::IsVocabulary(g_DiagnosticValuesEncodings, 0, 4));

inline constexpr SEnumerationEntry g_BatteryChargingStates[] = {
    {0, L"Unknown"},
    {1, L"Not Charging"},
    {2, L"Charging"},
    {3, L"Full"},
};
static_assert(mu::IsVocabulary(g_BatteryChargingStates, 0, 3));

inline constexpr SEnumerationEntry g_VideoDetectionStates[] = {
    {0, L"Unknown"},
    {1, L"Missing"},
    {2, L"Detected"},
};
static_assert(mu::IsVocabulary(g_VideoDetectionStates, 0, 2));

inline constexpr SEnumerationEntry g_DeviceOperationLimits[] = {
    {0, L"Undefined"},
    {1, L"Normal Operation"},
    {2, L"Complete Shutdown"},
    {3, L"Wireless Modems Disabled"},
};
static_assert(mu::IsVocabulary(g_DeviceOperationLimits, 0, 3));

inline constexpr SEnumerationEntry g_AccessPointRoles[] = {
    {0, L"Undefined"},
    {1, L"Client"},
    {2, L"Host"},
};
static_assert(mu::IsVocabulary(g_AccessPointRoles, 0, 2));

// "False" and "True" are only read; the first row of a value is written.
inline constexpr SEnumerationEntry g_VideoFrameRoationOptions[] = {
    {0, L"No"}, {1, L"Yes"}, {2, L"Viewer Only"}, {0, L"False"}, {1, L"True"},
};
static_assert(mu::IsVocabulary(std::span(g_VideoFrameRoationOptions).first(3), 0, 2));

inline constexpr SEnumerationEntry g_GlobalTimeSourceTypes[] = {
    {0, L"Undefined"},
    {1, L"NTP"},
    {2, L"GPS"},
};
static_assert(mu::IsVocabulary(g_GlobalTimeSourceTypes, 0, 2));

inline constexpr SEnumerationEntry g_FileTransferEndReasons[] = {
    {0, L"Unknown"},
    {1, L"Complete"},
    {2, L"User Abort"},
    {3, L"File not found"},
    {4, L"File creation error"},
    {5, L"File read error"},
    {6, L"File write error"},
    {7, L"Command Rejected"},
};
static_assert(mu::IsVocabulary(g_FileTransferEndReasons, 0, 7));

inline constexpr SEnumerationEntry g_DeviceOperationModes[] = {
    {0, L"Online"},    {1, L"Offline"}, {2, L"Broadcast Recording"}, {3, L"Offline Recording"},
    {4, L"Low Power"},
};
static_assert(mu::IsVocabulary(g_DeviceOperationModes, 0, 4));

inline constexpr SEnumerationEntry g_AudioChannelsGrouping[] = {
    {0, L"Fixed"},
    {1, L"Multiple Subchannels"},
    {2, L"Multiple Channels"},
};
static_assert(mu::IsVocabulary(g_AudioChannelsGrouping, 0, 2));

inline constexpr SEnumerationEntry g_NetworkInterfaceUtilizationPolicies[] = {
    {0, L"Prioritize"},
    {1, L"All Together"},
};
static_assert(mu::IsVocabulary(g_NetworkInterfaceUtilizationPolicies, 0, 1));

inline constexpr SEnumerationEntry g_StreamProcessingActions[] = {
    {0, L"Disable"},
    {1, L"Forward As Is"},
    {2, L"Transcode"},
    {3, L"Native"},
};
static_assert(mu::IsVocabulary(g_StreamProcessingActions, 0, 3));

inline constexpr SEnumerationEntry g_StorageFunctionalStates[] = {
    {0, L"Unknown"}, {1, L"OK"},     {2, L"Read Only"}, {3, L"Full"},
    {4, L"Limited"}, {5, L"Faulty"}, {6, L"Missing"},
};
static_assert(mu::IsVocabulary(g_StorageFunctionalStates, 0, 6));

namespace mu
{

struct SMediaCodecEntry
{
    std::int32_t m_iMediaKind; ///< "Video" or "Audio" of g_SourceChannelTypesEnumeration, or 0
    std::int32_t m_iCodec;
    const wchar_t* m_wszText;
};

} // namespace mu

inline constexpr mu::SMediaCodecEntry g_MediaCodecEnums[] = {
    {0, 0, L"Undefined"}, {1, 1, L"H264"}, {2, 2, L"AAC"},
    {2, 3, L"PCM"},       {2, 4, L"PCMU"}, {2, 5, L"PCMA"},
};
static_assert(std::size(g_MediaCodecEnums) == 6);
static_assert(mu::GetEnumerationText(g_SourceChannelTypesEnumeration, 1) ==
                  std::wstring_view(L"Video") &&
              mu::GetEnumerationText(g_SourceChannelTypesEnumeration, 2) ==
                  std::wstring_view(L"Audio"));

namespace mu
{

struct SHardwareModelEntry
{
    const wchar_t* m_wszModel;
    const wchar_t* m_wszIdentifier;
};

/// What the maker calls its devices, and the identifiers they go by in short.
inline constexpr SHardwareModelEntry g_HardwareModels[] = {
    {L"Media Recorder 1", L"MR-1"},   {L"Media Recorder 2", L"MR-2"},
    {L"Media Recorder 3", L"MR-3"},   {L"Media Recorder 4", L"MR-4"},
    {L"Media Recorder 5", L"MR-5"},   {L"Media Recorder 6", L"MR-6"},
    {L"Media Recorder 7", L"MR-7"},   {L"Media Recorder 8", L"MR-8"},
    {L"Mobile Recorder 1", L"MM-1"},  {L"Mobile Recorder 2", L"MM-2"},
    {L"Mobile Recorder 3", L"MM-3"},  {L"Mobile Recorder 4", L"MM-4"},
    {L"Vehicle Recorder 1", L"VR-1"}, {L"Vehicle Recorder 2", L"VR-2"},
    {L"Vehicle Recorder 3", L"VR-3"}, {L"Body Recorder 1", L"BR-1"},
    {L"Body Recorder 2", L"BR-2"},    {L"Body Recorder 3", L"BR-3"},
    {L"Encoder 1", L"EN-1"},          {L"Encoder 2", L"EN-2"},
    {L"Encoder 3", L"EN-3"},
};
static_assert(std::size(g_HardwareModels) == 21);

} // namespace mu

#endif
