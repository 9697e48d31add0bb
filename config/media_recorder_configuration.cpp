#include "config/media_recorder_configuration.h"

#include <algorithm>
#include <new>

#include "diagnostics/function_state.h"
#include "mu/file_system.h"
#include "mu/numbers.h"
#include "mu/text.h"

bool CMediaRecorderConfiguration::SyncXML(CEasyXMLNode& node, bool bToXML)
{
    mu::CXMLFields fields(node, bToXML);
    fields.Child(L"zor:RootDirectory", m_wsRootDirectory);
    fields.Child(L"zor:FileSizeSplitThreshold", m_ullFileSizeSplitThreshold);
    fields.Child(L"zor:FileTimeSplitThreshold", m_iFileTimeSplitThreshold);
    fields.Child(L"zor:BufferSize", m_iBufferSize);
    fields.Child(L"zor:EnableFileSystemOptimizations", m_bEnableFileSystemOptimizations);
    fields.Child(L"zor:VerifyWrites", m_bVerifyWrites);
    fields.Child(L"zor:RecordIfMotionDetected", m_bRecordIfMotionDetected);
    fields.Child(L"zor:DeleteOldFiles", m_bDeleteOldFiles);
    fields.Child(L"zor:SignFiles", m_bSignFiles);
    fields.Child(L"zor:RecordLocations", m_bRecordLocations);
    fields.Child(L"zor:RecordEvents", m_bRecordEvents);
    fields.Child(L"zor:RecordVideoOnAlarm", m_bRecordVideoOnAlarm);
    fields.Child(L"zor:RecordAudioOnAlarm", m_bRecordAudioOnAlarm);
    fields.Child(L"zor:RecordingEventTime", m_iRecordingEventTime);
    fields.Child(L"zor:UseNamesInFiles", m_bUseNamesInFiles);
    fields.Child(L"zor:RecordMediaTraffic", m_bRecordMediaTraffic);
    fields.Choice(L"zor:AudioFileFormat", g_MediaFileFormatEnums, m_eAudioFileFormat);
    fields.Choice(L"zor:VideoFileFormat", g_MediaFileFormatEnums, m_eVideoFileFormat);
    fields.Choice(L"zor:AudioVideoFileFormat", g_MediaFileFormatEnums, m_eAudioVideoFileFormat);
    fields.Record(L"zor:Encryption", m_fileEncryption);
    fields.Record(L"zor:RemoteFileSystem", m_remoteFileSystem);
    fields.Attribute(L"zor:SeparateDeviceFolders", m_bSeparateRecordingsDeviceFolders);
    fields.Group(L"zor:Downloads",
                 [this](mu::CXMLFields& downloads)
                 {
                     downloads.Attribute(L"zor:RootDirectory", m_wsDownloadsRootDirectory);
                     downloads.Attribute(L"zor:SeparateDeviceFolders",
                                         m_bSeparateDownloadsDeviceFolders);
                 });
    return fields.AllSucceeded();
}

bool CMediaRecorderConfiguration::ToXML(CEasyXMLNode& parent)
{
    CEasyXMLNode node = parent.AppendChild(L"zor:MediaRecorderConfig", mu::g_wszDocumentNamespace);
    return SyncXML(node, true);
}

const std::wstring&
CMediaRecorderConfiguration::GetRootDir(const EFileTransferCategory& eCategory) const
{
    return eCategory == EFileTransferCategory::Downloads && !m_wsDownloadsRootDirectory.empty()
               ? m_wsDownloadsRootDirectory
               : m_wsRootDirectory;
}

bool CMediaRecorderConfiguration::HasSeparateDownloadsDirectory() const
{
    return !m_wsDownloadsRootDirectory.empty() && m_wsDownloadsRootDirectory != m_wsRootDirectory;
}

void CMediaRecorderConfiguration::GetDevicePrefixFolder(int iDevice, std::wstring& wsFolder)
{
    wsFolder.clear();
    if (iDevice >= 1)
    {
        wsFolder.append(L"Device ").append(mu::IntToString(iDevice)) += mu::GetFolderSeparator();
    }
}

void CMediaRecorderConfiguration::GetDeviceRecordingsPrefixFolder(int iDevice,
                                                                  std::wstring& wsFolder) const
{
    GetDevicePrefixFolder(m_bSeparateRecordingsDeviceFolders ? iDevice : 0, wsFolder);
}

void CMediaRecorderConfiguration::GetDeviceDownloadsPrefixFolder(int iDevice,
                                                                 std::wstring& wsFolder) const
{
    GetDevicePrefixFolder(m_bSeparateDownloadsDeviceFolders ? iDevice : 0, wsFolder);
}

void CMediaRecorderConfiguration::GetDevicePrefixFolder(int iDevice,
                                                        EFileTransferCategory eCategory,
                                                        std::wstring& wsFolder) const
{
    if (eCategory == EFileTransferCategory::Recording)
    {
        GetDeviceRecordingsPrefixFolder(iDevice, wsFolder);
    }
    else if (eCategory == EFileTransferCategory::Downloads)
    {
        GetDeviceDownloadsPrefixFolder(iDevice, wsFolder);
    }
}

bool CMediaRecorderConfiguration::GetDirectoryForTime(EFileTransferCategory eCategory,
                                                      const mu::STimeComponents& time, int iDevice,
                                                      std::wstring& wsRelative,
                                                      std::wstring& wsFull) const
try
{
    CFunctionSwitch fsGetDirectory("MRC::GRFT");

    wsFull = GetRootDir(eCategory);
    if (wsFull.empty())
    {
        return false;
    }
    mu::AddFolderSeparator(wsFull);

    wsRelative.clear(); // GetDevicePrefixFolder() leaves it as it is for other categories
    GetDevicePrefixFolder(iDevice, eCategory, wsRelative);
    // Has room for numbers of any size; 30 characters at most are used.
    wchar_t wszDay[64];
    const int iLength = mu::SWPrintF(
        wszDay, 64, L"%04d%c%02d %ls%c%02d", time.m_iYear, mu::GetFolderSeparator(), time.m_iMonth,
        mu::GetMonthName(time.m_iMonth), mu::GetFolderSeparator(), time.m_iDay);
    wsRelative.append(wszDay, static_cast<std::size_t>(std::clamp(iLength, 0, 30)));
    wsFull += wsRelative;
    return true;
}
catch (const std::bad_alloc&)
{
    // A logger asks on its scheduler's thread, which would not survive an exception.
    return false;
}

bool CMediaRecorderConfiguration::CreateDirectoryForNewFile(EFileTransferCategory eCategory,
                                                            const mu::STimeComponents& time,
                                                            int iDevice, std::wstring& wsRelative,
                                                            std::wstring& wsFull) const
{
    return GetDirectoryForTime(eCategory, time, iDevice, wsRelative, wsFull) &&
           mu::CreateDirectoriesPath(wsFull);
}
