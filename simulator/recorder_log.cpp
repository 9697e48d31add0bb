#include "simulator/recorder_log.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

#include <fcntl.h>
#include <unistd.h>

#include "mu/file_system.h"
#include "mu/memory_block.h"
#include "mu/unicode.h"
#include "threading/system_clock.h"

namespace
{

// Some thousand lines: what happens while the disk is slow.
constexpr int kBufferSize = 256 * 1024;

// Errors that may go away by themselves, so that the log can be written later.
constexpr int kErrorsForNow[] = {ENOSPC, EDQUOT, EIO, ENOMEM, EMFILE, ENFILE};

/// Returns an errno.
int TryToWriteIn(const std::string& strFolder)
{
    std::string strFile = strFolder + "/.zor_XXXXXX";
    const int iFile = ::mkostemp(strFile.data(), O_CLOEXEC);
    if (iFile < 0)
    {
        return errno;
    }
    const int iError = ::write(iFile, "", 1) == 1 && ::fsync(iFile) == 0 ? 0 : errno;
    ::close(iFile);
    ::unlink(strFile.c_str());
    return iError;
}

} // namespace

CRecorderLog::CRecorderLog(CMediaRecorderConfiguration& configuration,
                           const SLoggingParameters& parameters)
    : m_configuration(configuration)
{
    static_cast<SLoggingParameters&>(m_recorder) = parameters;
}

CRecorderLog::~CRecorderLog()
{
    if (m_pScheduler == nullptr)
    {
        return;
    }
    SetDailyDebugLogForTimeChange(nullptr);
    m_pScheduler->Stop();
    m_dailyLog.SetStorageScheduler(nullptr);
    m_pScheduler->Release();
    m_dailyLog.SaveLog(false);
    mu::g_ptlTextLogger = nullptr;
}

CRecorderLog::EPlace CRecorderLog::TryPlace(std::string& strError) const
{
    mu::STimeComponents now;
    mu::GetLocalTimeComponents(mu::GetCurrentUTCTime(), now);
    std::wstring wsRelative;
    std::wstring wsFolder;
    if (!m_configuration.GetDirectoryForTime(EFileTransferCategory::Recording, now, 0, wsRelative,
                                             wsFolder))
    {
        return EPlace::Good;
    }
    if (!mu::IsCurrentTimeSane(now)) // the log waits for the clock, too
    {
        wsFolder = m_configuration.m_wsRootDirectory;
    }
    const std::string strFolder = mu::WideStringToNarrow(wsFolder);
    const int iError = mu::CreateDirectoriesPath(wsFolder) ? TryToWriteIn(strFolder)
                       : errno == EEXIST                   ? ENOTDIR // a file in the way
                                                           : errno;
    if (iError == 0)
    {
        return EPlace::Good;
    }
    strError = "no log can be written to " + strFolder + ": " + std::strerror(iError);
    return std::ranges::find(kErrorsForNow, iError) != std::end(kErrorsForNow) ? EPlace::NotNow
                                                                               : EPlace::Never;
}

bool CRecorderLog::Start()
{
    if (m_configuration.m_wsRootDirectory.empty())
    {
        return true;
    }
    m_pScheduler = new AutoDeleteThreadObjectImpl<mu::CScheduler>;
    m_pScheduler->AddRef();
    if (!m_pScheduler->Start("Scheduler") || !m_dailyLog.SetBufferSize(kBufferSize))
    {
        return false;
    }
    m_dailyLog.SetRecConfig(&m_configuration);
    m_dailyLog.SetStorageScheduler(m_pScheduler);
    m_dailyLog.ScheduleNextLogFlush(false);
    mu::g_ptlTextLogger = &m_dailyLog;
    SetDailyDebugLogForTimeChange(&m_dailyLog);
    return true;
}

void CRecorderLog::Log(const std::string& strText)
{
    CEasyXML exmlMessage;
    CLogRecorder::GetXMLLogMessage(strText.c_str(), exmlMessage);
    m_recorder.LogMessage(IBaseLogger::Status, exmlMessage);
    if (m_pScheduler != nullptr)
    {
        m_dailyLog.LogMessage(IBaseLogger::Status, exmlMessage);
    }
}

std::string CRecorderLog::GetText(std::size_t uMaxLength)
{
    CMemBlockPtr block;
    m_recorder.WriteText(block, L"\r\n");
    std::string strText(block.GetData(), static_cast<std::size_t>(block.GetPosition()));
    if (strText.size() > uMaxLength)
    {
        const std::size_t uLine = strText.find("\r\n", strText.size() - uMaxLength);
        strText.erase(0, uLine != std::string::npos ? uLine + 2 : strText.size());
    }
    return strText;
}
