#include "simulator/recorder_configuration.h"

#include <cerrno>
#include <cstring>

#include <sys/stat.h>

#include "mu/lengths.h"
#include "mu/unicode.h"
#include "simulator/file_replacement.h"
#include "simulator/text_file.h"
#include "simulator/values_not_understood.h"
#include "xml/document_namespace.h"

namespace
{

constexpr wchar_t kRoot[] = L"zor:RecorderConfiguration";

/// False for what is not UTF-8, of which something would be lost, and for a NUL.
bool Widen(const std::string& strText, std::wstring& wsText)
{
    mu::ConvertString(strText.data(), mu::IntCount(strText.size()), wsText);
    return strText.find('\0') == std::string::npos && mu::WideStringToNarrow(wsText) == strText;
}

CEasyXMLNode RecordOf(CEasyXMLNode root, const wchar_t* wszName, bool bCreate)
{
    return root.SyncChild(wszName, mu::g_wszDocumentNamespace, bCreate);
}

/// Whether the root is the recorder's; a document may leave out the prefix's declaration.
bool IsConfiguration(CEasyXMLNode root)
{
    std::wstring wsName;
    std::wstring wsLocal;
    std::wstring wsNamespace;
    return root.GetName(wsName) && wsName == kRoot && root.GetName(wsLocal, wsNamespace) &&
           (wsNamespace.empty() || wsNamespace == mu::g_wszDocumentNamespace);
}

} // namespace

CRecorderConfiguration::CRecorderConfiguration()
{
    // The recorder logs its own events with this severity; a higher threshold would drop them.
    m_logging.m_iLogSeverity = IBaseLogger::Status;
}

std::string CRecorderConfiguration::Load(const std::string& strPath,
                                         std::vector<std::string>& vNotUnderstood)
{
    m_strPath = strPath;
    struct stat status
    {
    };
    if (::stat(strPath.c_str(), &status) != 0)
    {
        if (errno != ENOENT)
        {
            return strPath + ": cannot be read: " + std::strerror(errno);
        }
        WriteInto(m_document);
        m_bChanged = true;
        return {};
    }
    if (!S_ISREG(status.st_mode))
    {
        return strPath + ": no regular file";
    }
    std::string strText;
    if (std::string strError = ReadTextFile(strPath, strText); !strError.empty())
    {
        return strError;
    }
    std::wstring wsText;
    if (!Widen(strText, wsText))
    {
        return strPath + ": no text in UTF-8";
    }
    if (!m_document.FromXML(wsText.c_str(), true)) // it may hold a password and a key
    {
        return strPath +
               ": not well-formed XML: " + mu::DescribeXMLError(m_document.GetParseError(), wsText);
    }
    const CEasyXMLNode root(m_document.GetRoot());
    if (!IsConfiguration(root))
    {
        return strPath + ": not a recorder's configuration, whose root is " +
               mu::WideStringToNarrow(kRoot);
    }

    // What is missing stays as it was made.
    CEasyXMLNode recorder = RecordOf(root, L"zor:MediaRecorderConfig", false);
    m_recorder.FromXML(recorder);
    CEasyXMLNode logging = RecordOf(root, L"zor:LoggingParameters", false);
    m_logging.FromXML(logging);

    CVariablesTree used;
    WriteInto(used);
    ListValuesNotUnderstood(*m_document.GetRoot(), *used.GetRoot(), vNotUnderstood);
    return {};
}

void CRecorderConfiguration::WriteInto(CVariablesTree& document)
{
    CEasyXMLNode root(document.AppendNode(kRoot, mu::g_wszDocumentNamespace, nullptr));
    m_recorder.ToXML(root);
    m_logging.ToXML(root);
}

std::string CRecorderConfiguration::SetRootDirectory(const std::string& strRoot)
{
    std::wstring wsRoot;
    if (!Widen(strRoot, wsRoot))
    {
        return strRoot + ": not a name in UTF-8";
    }
    if (wsRoot != m_recorder.m_wsRootDirectory)
    {
        m_recorder.m_wsRootDirectory = wsRoot;
        RecordOf(CEasyXMLNode(m_document.GetRoot()), L"zor:MediaRecorderConfig", true)
            .SyncChild(L"zor:RootDirectory", mu::g_wszDocumentNamespace, true)
            .SetTextValue(wsRoot);
        m_bChanged = true;
    }
    return {};
}

std::string CRecorderConfiguration::Save()
{
    if (m_strPath.empty() || !m_bChanged)
    {
        return {};
    }
    m_bChanged = false;
    std::string strText;
    m_document.ToUTF8(strText);
    return ReplaceFile(m_strPath, strText.insert(0, mu::kByteOrderMark));
}
