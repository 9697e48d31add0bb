#ifndef ZOR_CONFIG_MEDIA_RECORDER_CONFIGURATION_H
#define ZOR_CONFIG_MEDIA_RECORDER_CONFIGURATION_H

#include <string>

#include "config/enumerations.h"
#include "config/file_encryption.h"
#include "config/remote_file_system.h"
#include "config/xml_record.h"
#include "mu/calendar.h"
#include "xml/easy_xml_node.h"

/// Where recordings and downloads go, how files are split and what is recorded: the element
/// "zor:MediaRecorderConfig". Directories are named here; the other fields are used by the recorder
/// application.
///
/// Nothing is locked. A daily log asks for directories on its scheduler's thread: whoever changes
/// the configuration must see to it that nobody asks meanwhile.
class CMediaRecorderConfiguration final : public IXMLAble
{
public:
    /// Sets the values below.
    void Reset() { *this = CMediaRecorderConfiguration(); }

    bool SyncXML(CEasyXMLNode& node, bool bToXML);
    bool ToXML(CEasyXMLNode& parent) override;
    bool FromXML(CEasyXMLNode& node) override { return SyncXML(node, false); }
    int GetExtraBinaryData(void***) override { return 0; }
    int GetXMLMessageType() override { return 8; }

    /// The downloads' directory for downloads if there is one, else the root directory.
    const std::wstring& GetRootDir(const EFileTransferCategory& eCategory) const;
    /// Whether downloads have a directory that is spelled differently from the root directory.
    bool HasSeparateDownloadsDirectory() const;

    // The folder of a device, "Device 2/", by which paths begin below a root directory. Devices
    // count from 1; below that the folder is empty.
    static void GetDevicePrefixFolder(int iDevice, std::wstring& wsFolder);
    /// Empty as well if recordings, or downloads, have no separate device folders.
    void GetDeviceRecordingsPrefixFolder(int iDevice, std::wstring& wsFolder) const;
    void GetDeviceDownloadsPrefixFolder(int iDevice, std::wstring& wsFolder) const;
    /// The one of the two for recordings or downloads; other categories leave wsFolder as it is.
    void GetDevicePrefixFolder(int iDevice, EFileTransferCategory eCategory,
                               std::wstring& wsFolder) const;

    /// The directory of a device's files of a day: below the root directory (wsRelative, as in
    /// "Device 2/2026/11 November/15") and in full. Only the date of the time counts. False if
    /// there is no root directory or no memory; the texts are of no use then.
    bool GetDirectoryForTime(EFileTransferCategory eCategory, const mu::STimeComponents& time,
                             int iDevice, std::wstring& wsRelative, std::wstring& wsFull) const;
    /// The same, and makes what is missing of it. False also if that fails, which is logged as
    /// mu::CreateDirectoriesPath() does.
    bool CreateDirectoryForNewFile(EFileTransferCategory eCategory, const mu::STimeComponents& time,
                                   int iDevice, std::wstring& wsRelative,
                                   std::wstring& wsFull) const;

    std::wstring m_wsRootDirectory;
    std::wstring m_wsDownloadsRootDirectory; ///< empty: downloads go to the root directory
    unsigned long long m_ullFileSizeSplitThreshold = 0;
    int m_iRecordingEventTime = 60;
    int m_iBufferSize = 0;
    int m_iFileTimeSplitThreshold = 0;
    bool m_bEnableFileSystemOptimizations = false;
    bool m_bVerifyWrites = false;
    bool m_bRecordIfMotionDetected = true;
    bool m_bDeleteOldFiles = true;
    bool m_bSignFiles = false;
    bool m_bRecordLocations = true;
    bool m_bRecordVideoOnAlarm = false;
    bool m_bRecordAudioOnAlarm = false;
    bool m_bRecordEvents = true;
    bool m_bUseNamesInFiles = false;
    bool m_bRecordMediaTraffic = false;
    bool m_bSeparateRecordingsDeviceFolders = false;
    bool m_bSeparateDownloadsDeviceFolders = false;
    mu::EMediaFileFormat m_eAudioFileFormat = mu::EMediaFileFormat::Raw;
    mu::EMediaFileFormat m_eVideoFileFormat = mu::EMediaFileFormat::Raw;
    mu::EMediaFileFormat m_eAudioVideoFileFormat = mu::EMediaFileFormat::FLV;
    SRemoteFileSystem m_remoteFileSystem;
    SFileEncryption m_fileEncryption;
};

#endif
