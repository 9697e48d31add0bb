#ifndef ZOR_CONFIG_ACCESS_LEVELS_H
#define ZOR_CONFIG_ACCESS_LEVELS_H

#include <cstddef>
#include <cstdint>
#include <iterator>

#include "config/enumeration_table.h"

/// What a user can do with a device.
enum class EDeviceFeature : std::int32_t
{
    Undefined = 0,
    WatchVideo,
    HearAudio,
    SetVideoParameters,
    SetAudioParameters,
    Naming,
    Enabling,
    SetPortValues,
    RecordVideo,
    RecordAudio,
    ResetDevice,
    ResetVideo,
    ResetAudio,
    MoveCamera,
    ZoomCamera,
    SaveCameraLocation,
    ResetCameraLocations,
    Playback,
    ModifyRecordings,
    SetSMSParameters,
    SetMiscParameters,
    BroadcastVideo,
    BroadcastAudio,
    ViewLocation,
    ViewSignal,
    AddEvents,
    ViewBatteryStatus,
    ViewTimeAlive,
    ViewEvents,
    ViewLog,
    ViewMotionSensing,
    ViewFileTransfers,
};

inline constexpr SEnumerationEntry g_DeviceFeatureEnums[] = {
    {0, L"Undefined"},
    {1, L"Watch Video"},
    {2, L"Hear Audio"},
    {3, L"Set Video Parameters"},
    {4, L"Set Audio Parameters"},
    {5, L"Naming"},
    {6, L"Enabling"},
    {7, L"Set Port Values"},
    {8, L"Record Video"},
    {9, L"Record Audio"},
    {10, L"Reset Device"},
    {11, L"Reset Video"},
    {12, L"Reset Audio"},
    {13, L"Move Camera"},
    {14, L"Zoom Camera"},
    {15, L"Save Camera Location"},
    {16, L"Reset Camera Locations"},
    {17, L"Playback"},
    {18, L"Modify Recordings"},
    {19, L"Set SMS Parameters"},
    {20, L"Set Misc Parameters"},
    {21, L"Broadcast Video"},
    {22, L"Broadcast Audio"},
    {23, L"View Location"},
    {24, L"View Signal"},
    {25, L"Add Events"},
    {26, L"View Battery Status"},
    {27, L"View Time Alive"},
    {28, L"View Events"},
    {29, L"View Log"},
    {30, L"View Motion Sensing"},
    {31, L"View File Transfers"},
};
static_assert(mu::IsVocabulary(g_DeviceFeatureEnums, 0, 31) &&
              static_cast<std::int32_t>(EDeviceFeature::ViewFileTransfers) == 31);

/// What a user is trusted with, from the least to the most: each level includes those below it.
enum class EDeviceAccessLevel : std::int32_t
{
    Undefined = 0,
    Forbidden,
    Searchable,
    Aware,
    LocationAware,
    Passive,
    Active,
    Advanced,
    Administrative,
};

inline constexpr SEnumerationEntry g_DeviceAccessLevelEnumeration[] = {
    {0, L"Undefined"}, {1, L"Forbidden"},      {2, L"Searchable"},
    {3, L"Aware"},     {4, L"Location Aware"}, {5, L"Passive"},
    {6, L"Active"},    {7, L"Advanced"},       {8, L"Administrative"},
};
static_assert(mu::IsVocabulary(g_DeviceAccessLevelEnumeration, 0, 8) &&
              static_cast<std::int32_t>(EDeviceAccessLevel::Administrative) == 8);

namespace mu
{

struct SDeviceFeatureAccessLevelRequirement
{
    EDeviceFeature m_eFeature;
    EDeviceAccessLevel m_eLevel;
};

} // namespace mu

inline constexpr mu::SDeviceFeatureAccessLevelRequirement g_DeviceFeatureAccessLevelRequirements[] =
    {
        {EDeviceFeature::Undefined, EDeviceAccessLevel::Undefined},
        {EDeviceFeature::WatchVideo, EDeviceAccessLevel::Passive},
        {EDeviceFeature::HearAudio, EDeviceAccessLevel::Passive},
        {EDeviceFeature::SetVideoParameters, EDeviceAccessLevel::Active},
        {EDeviceFeature::SetAudioParameters, EDeviceAccessLevel::Active},
        {EDeviceFeature::Naming, EDeviceAccessLevel::Administrative},
        {EDeviceFeature::Enabling, EDeviceAccessLevel::Administrative},
        {EDeviceFeature::SetPortValues, EDeviceAccessLevel::Active},
        {EDeviceFeature::RecordVideo, EDeviceAccessLevel::Active},
        {EDeviceFeature::RecordAudio, EDeviceAccessLevel::Active},
        {EDeviceFeature::ResetDevice, EDeviceAccessLevel::Administrative},
        {EDeviceFeature::ResetVideo, EDeviceAccessLevel::Active},
        {EDeviceFeature::ResetAudio, EDeviceAccessLevel::Active},
        {EDeviceFeature::MoveCamera, EDeviceAccessLevel::Active},
        {EDeviceFeature::ZoomCamera, EDeviceAccessLevel::Active},
        {EDeviceFeature::SaveCameraLocation, EDeviceAccessLevel::Active},
        {EDeviceFeature::ResetCameraLocations, EDeviceAccessLevel::Active},
        {EDeviceFeature::Playback, EDeviceAccessLevel::Passive},
        {EDeviceFeature::ModifyRecordings, EDeviceAccessLevel::Active},
        {EDeviceFeature::SetSMSParameters, EDeviceAccessLevel::Administrative},
        {EDeviceFeature::SetMiscParameters, EDeviceAccessLevel::Administrative},
        {EDeviceFeature::BroadcastVideo, EDeviceAccessLevel::Active},
        {EDeviceFeature::BroadcastAudio, EDeviceAccessLevel::Active},
        {EDeviceFeature::ViewLocation, EDeviceAccessLevel::LocationAware},
        {EDeviceFeature::ViewSignal, EDeviceAccessLevel::Aware},
        {EDeviceFeature::AddEvents, EDeviceAccessLevel::Active},
        {EDeviceFeature::ViewBatteryStatus, EDeviceAccessLevel::Aware},
        {EDeviceFeature::ViewTimeAlive, EDeviceAccessLevel::Aware},
        {EDeviceFeature::ViewEvents, EDeviceAccessLevel::Passive},
        {EDeviceFeature::ViewLog, EDeviceAccessLevel::Administrative},
        {EDeviceFeature::ViewMotionSensing, EDeviceAccessLevel::Active},
        {EDeviceFeature::ViewFileTransfers, EDeviceAccessLevel::Passive},
};

/// The level a user needs for a feature; Undefined for what is no feature.
constexpr EDeviceAccessLevel GetRequiredAccessLevelForDeviceFeature(EDeviceFeature eFeature)
{
    for (const auto& [eRowFeature, eRowLevel] : g_DeviceFeatureAccessLevelRequirements)
    {
        if (eRowFeature == eFeature)
        {
            return eRowLevel;
        }
    }
    return EDeviceAccessLevel::Undefined;
}

// Every feature has one requirement, in the order of the features, and only what is no feature has
// none: a missing row would open the feature to everybody.
static_assert(
    []
    {
        for (std::size_t i = 0; i < std::size(g_DeviceFeatureAccessLevelRequirements); ++i)
        {
            const auto& [eFeature, eLevel] = g_DeviceFeatureAccessLevelRequirements[i];
            if (eFeature != static_cast<EDeviceFeature>(i) ||
                (eLevel == EDeviceAccessLevel::Undefined) != (i == 0))
            {
                return false;
            }
        }
        return std::size(g_DeviceFeatureAccessLevelRequirements) == std::size(g_DeviceFeatureEnums);
    }());
static_assert(GetRequiredAccessLevelForDeviceFeature(EDeviceFeature::ViewLog) ==
                  EDeviceAccessLevel::Administrative &&
              GetRequiredAccessLevelForDeviceFeature(EDeviceFeature{32}) ==
                  EDeviceAccessLevel::Undefined);

#endif
