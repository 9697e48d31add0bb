#include "simulator/parameters_document.h"

#include "console/diagnostic_names.h"
#include "console/pipe_protocol.h"
#include "mu/lengths.h"
#include "simulator/recorder_pipes.h"
#include "simulator/text_file.h"
#include "xml/document_namespace.h"
#include "xml/easy_xml.h"

namespace
{

constexpr char kBuiltInDocument[] =
    R"(<?xml version="1.0" encoding="UTF-8"?>
<zor:DeviceParameters xmlns:zor="http://zor.example/documents">
    <zor:DeviceInfo zor:Model="MR-4" zor:SerialNumber="0417-22901">
        <zor:Firmware zor:Version="3.12.0" zor:Build="8841"/>
        <zor:Location>Depot &amp; workshop, gate 2</zor:Location>
    </zor:DeviceInfo>
    <zor:MediaRecorderConfig zor:SeparateDeviceFolders="True">
        <zor:RootDirectory>/media/recordings</zor:RootDirectory>
        <zor:FileSizeSplitThreshold>1073741824</zor:FileSizeSplitThreshold>
        <zor:RecordingEventTime>60</zor:RecordingEventTime>
        <zor:VerifyWrites>False</zor:VerifyWrites>
        <zor:DeleteOldFiles>True</zor:DeleteOldFiles>
        <zor:AudioVideoFileFormat>FLV</zor:AudioVideoFileFormat>
    </zor:MediaRecorderConfig>
    <zor:CaptureDeviceConfig>
        <zor:CaptureDevice zor:Index="0" zor:Enable="True">
            <zor:Name>Camera 1</zor:Name>
            <zor:Resolution zor:Width="1280" zor:Height="720"/>
            <zor:FrameRate>25</zor:FrameRate>
        </zor:CaptureDevice>
        <zor:CaptureDevice zor:Index="1" zor:Enable="True">
            <zor:Name>Camera 2</zor:Name>
            <zor:Resolution zor:Width="640" zor:Height="480"/>
            <zor:FrameRate>12.5</zor:FrameRate>
        </zor:CaptureDevice>
        <zor:DiagnosticTypes>
            <zor:DiagnosticType>Power supply</zor:DiagnosticType>
            <zor:DiagnosticType>Case temperature (°C)</zor:DiagnosticType>
            <zor:DiagnosticType>Video inputs</zor:DiagnosticType>
            <zor:DiagnosticType>Recording storage</zor:DiagnosticType>
            <zor:DiagnosticType>Network</zor:DiagnosticType>
            <zor:DiagnosticType>Threads</zor:DiagnosticType>
            <zor:DiagnosticType>Memory</zor:DiagnosticType>
        </zor:DiagnosticTypes>
    </zor:CaptureDeviceConfig>
    <zor:LoggingParameters>
        <zor:LogSeverity>Warning</zor:LogSeverity>
        <zor:MaxNumberOfLogMessages>200</zor:MaxNumberOfLogMessages>
    </zor:LoggingParameters>
</zor:DeviceParameters>
)";

std::string MakeBuiltInDocument(const CRecorderConfiguration* pConfiguration)
{
    std::string strText = kBuiltInDocument;
    if (pConfiguration == nullptr)
    {
        return strText;
    }
    CMediaRecorderConfiguration recorder = pConfiguration->m_recorder;
    recorder.m_remoteFileSystem.m_wsPassword.clear();
    recorder.m_fileEncryption.m_wsKey.clear();
    SLoggingParameters logging = pConfiguration->m_logging;

    CEasyXML exmlParams;
    CEasyXMLNode root = exmlParams.LoadFromText(strText.data(), mu::IntCount(strText.size()));
    const auto RecordOf = [&](const wchar_t* wszName)
    { return root.SyncChild(wszName, mu::g_wszDocumentNamespace, true); };
    CEasyXMLNode recorderNode = RecordOf(L"zor:MediaRecorderConfig");
    recorder.SyncXML(recorderNode, true);
    CEasyXMLNode loggingNode = RecordOf(L"zor:LoggingParameters");
    logging.SyncXML(loggingNode, true);
    exmlParams.GetXML(strText);
    return strText;
}

} // namespace

std::string LoadParametersDocument(const std::string& strPath, SParametersDocument& document,
                                   const CRecorderConfiguration* pConfiguration)
{
    std::string& strText = document.m_strText;
    if (strPath.empty())
    {
        strText = MakeBuiltInDocument(pConfiguration);
    }
    else if (std::string strError = ReadTextFile(strPath, strText); !strError.empty())
    {
        return strError;
    }

    const std::size_t uFrame = sizeof(SPipeMessageHeader) + strText.size();
    const std::size_t uCapacity = LargestPipeCapacity(uFrame);
    if (uFrame > uCapacity)
    {
        return (strPath.empty() ? "the parameters" : strPath) + ": " +
               std::to_string(strText.size()) +
               " bytes, but what a pipe here takes in one piece is " +
               std::to_string(uCapacity - sizeof(SPipeMessageHeader));
    }

    CEasyXML exmlParams;
    if (!exmlParams.LoadFromText(strText.data(), mu::IntCount(strText.size())).IsValid())
    {
        return strPath +
               ": not well-formed XML: " + mu::DescribeXMLError(exmlParams.GetLoadError(), strText);
    }
    ReadDiagnosticNames(exmlParams, document.m_vDiagnostics);
    return {};
}
