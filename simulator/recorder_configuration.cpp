#include "simulator/recorder_configuration.h"

#include <cerrno>
#include <cstring>

#include "mu/file_system.h"
#include "mu/lengths.h"
#include "mu/unicode.h"
#include "xml/document_namespace.h"
#include "xml/easy_xml.h"

namespace
{

constexpr wchar_t kRoot[] = L"zor:RecorderConfiguration";

std::wstring Widen(const std::string& strText)
{
    std::wstring wsText;
    mu::ConvertString(strText.data(), mu::IntCount(strText.size()), wsText);
    return wsText;
}

std::string Load(const std::wstring& wsPath, SRecorderConfiguration& configuration)
{
    CEasyXML exmlFile;
    CEasyXMLNode root = exmlFile.LoadFromFile(wsPath.c_str(), true);
    if (!root.IsValid())
    {
        return "cannot be read, or is not well-formed XML";
    }
    // What is missing stays as it was made.
    CEasyXMLNode recorder =
        root.SyncChild(L"zor:MediaRecorderConfig", g_wszDocumentNamespace, false);
    configuration.m_recorder.FromXML(recorder);
    CEasyXMLNode logging = root.SyncChild(L"zor:LoggingParameters", g_wszDocumentNamespace, false);
    configuration.m_logging.FromXML(logging);
    return {};
}

// In a file of its own first: whoever stops this half-way leaves the old configuration.
bool Save(const std::wstring& wsPath, SRecorderConfiguration& configuration)
{
    CEasyXML exmlFile;
    CEasyXMLNode root = exmlFile.AddRoot(kRoot, g_wszDocumentNamespace);
    const std::wstring wsNew = wsPath + L".new";
    return configuration.m_recorder.ToXML(root) && configuration.m_logging.ToXML(root) &&
           exmlFile.SaveToFile(wsNew.c_str()) && mu::RenameFilePath(wsNew.c_str(), wsPath.c_str());
}

} // namespace

std::string PrepareConfiguration(const std::string& strPath, const std::string& strRoot,
                                 SRecorderConfiguration& configuration)
{
    // The recorder's own events are no more than that.
    configuration.m_logging.m_iLogSeverity = IBaseLogger::Status;

    const std::wstring wsPath = Widen(strPath);
    if (!strPath.empty() && mu::FileExists(wsPath.c_str()))
    {
        const std::string strError = Load(wsPath, configuration);
        if (!strError.empty())
        {
            return strPath + ": " + strError;
        }
    }
    if (!strRoot.empty())
    {
        configuration.m_recorder.m_wsRootDirectory = Widen(strRoot);
    }
    if (!strPath.empty() && !Save(wsPath, configuration))
    {
        return strPath + ": cannot be written: " + std::strerror(errno);
    }
    return {};
}
