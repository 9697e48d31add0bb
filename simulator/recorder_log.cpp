#include "simulator/recorder_log.h"

#include "mu/memory_block.h"

namespace
{

// Some thousand lines: what happens while the disk is slow.
constexpr int kBufferSize = 256 * 1024;

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

bool CRecorderLog::Start()
{
    if (m_configuration.m_wsRootDirectory.empty())
    {
        return true;
    }
    m_pScheduler = new AutoDeleteThreadObjectImpl<CScheduler>;
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
