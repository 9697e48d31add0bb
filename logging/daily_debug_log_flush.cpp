// How the daily log comes into its file: who asks for a flush, the scheduler's tasks, the flush.

#include "logging/daily_debug_log.h"

#include <algorithm>
#include <new>
#include <utility>

#include <unistd.h>

#include "config/media_recorder_configuration.h"
#include "diagnostics/function_state.h"
#include "threading/system_clock.h"

namespace
{

constexpr unsigned long long kMicrosecondsPerSecond = 1'000'000;
constexpr unsigned long long kRetryDelay = kMicrosecondsPerSecond;

mu::STimeComponents GetCurrentLocalTime()
{
    mu::STimeComponents now;
    mu::GetLocalTimeComponents(mu::GetCurrentUTCTime(), now);
    return now;
}

/// The log that is told when the clock was set.
class CClockRegistration final : public mu::IClockListener
{
public:
    void Set(CDailyDebugLog* pLog)
    {
        const mu::CPosixLock lock(m_mutex);
        m_pLog = pLog;
    }
    void Remove(const CDailyDebugLog* pLog)
    {
        const mu::CPosixLock lock(m_mutex);
        m_pLog = m_pLog == pLog ? nullptr : m_pLog;
    }

    void HandleClockSet() override
    {
        const mu::CPosixLock lock(m_mutex);
        if (m_pLog != nullptr)
        {
            m_pLog->ScheduleNextLogFlush(false);
        }
    }

private:
    mu::CPosixMutex m_mutex = PTHREAD_MUTEX_INITIALIZER;
    CDailyDebugLog* m_pLog ZOR_GUARDED_BY(m_mutex) = nullptr;
};

constinit CClockRegistration g_clockRegistration;

} // namespace

void SetDailyDebugLogForTimeChange(CDailyDebugLog* pLog)
{
    g_clockRegistration.Set(pLog);
    mu::SetClockListener(&g_clockRegistration);
}

void CDailyDebugLog::ForgetClock()
{
    g_clockRegistration.Remove(this);
}

void CDailyDebugLog::RequestFlush(bool bForError)
{
    if (m_dwFlushThreadID.load(std::memory_order_relaxed) == mu::GetCurrentThreadID())
    {
        m_bAskedInFlush = true;
        return;
    }
    if (!m_bArmed || m_iFlushesQueued > 0)
    {
        return;
    }
    const bool bScheduled = GetScheduler() != nullptr;
    const long long llRetryTime = m_llRetryTime;
    const bool bMayWait = bScheduled || !bForError;
    if (llRetryTime != 0 && bMayWait && mu::GetTimestamp() < llRetryTime)
    {
        return;
    }
    // Of threads that ask at once, one queues a flush. Without a scheduler each writes its own.
    if (!bScheduled)
    {
        ScheduleNextLogFlush(true);
        return;
    }
    if (m_iFlushesQueued.fetch_add(1) == 0)
    {
        ScheduleNextLogFlush(true);
    }
    FinishQueuedFlush();
}

void CDailyDebugLog::ScheduleNextLogFlush(bool bNow)
{
    CFunctionSwitch fsSchedule("DDL::SNLF");
    mu::CFunctionParam fpNow(fsSchedule, "bNow", bNow);

    const CSchedulerReference pScheduler = GetScheduler();
    if (pScheduler == nullptr)
    {
        if (bNow)
        {
            SaveLog(false);
        }
        return;
    }
    if (bNow)
    {
        ++m_iFlushesQueued;
        QueueFlush(*pScheduler, 0, false);
        return;
    }
    pScheduler->RemoveTasks(0, TimeToSaveLog, this, 1);
    const mu::STimeComponents now = GetCurrentLocalTime();
    {
        const mu::CPosixLock lock(m_writeMutex);
        m_fileDate = now;
    }
    PrepareForCrash();
    if (mu::IsCurrentTimeSane(now))
    {
        const auto uSeconds = static_cast<unsigned>(86401 - now.GetNumDaySeconds());
        QueueFlush(*pScheduler, uSeconds * kMicrosecondsPerSecond, true);
    }
    if (m_llRetryTime != 0)
    {
        QueueRetry();
    }
}

void CDailyDebugLog::QueueFlush(IScheduler& scheduler, unsigned long long ullDelay, bool bDayEnd)
{
    AddRef();
    const int iDayEnd = bDayEnd ? 1 : 0;
    if (scheduler.ScheduleTask(ullDelay, "flush daily log", 0, TimeToSaveLog, TaskCancelled, this,
                               iDayEnd) == 0)
    {
        TaskCancelled(&scheduler, this, iDayEnd);
    }
}

// Queues the next try, unless a flush is queued already.
void CDailyDebugLog::QueueRetry()
{
    const CSchedulerReference pScheduler = GetScheduler();
    int iNone = 0;
    if (pScheduler != nullptr && m_iFlushesQueued.compare_exchange_strong(iNone, 1))
    {
        QueueFlush(*pScheduler, kRetryDelay, false);
    }
}

void CDailyDebugLog::FinishQueuedFlush()
{
    // Not below 0: a cancelled configuration change looks like a cancelled flush.
    int iQueued = m_iFlushesQueued;
    while (iQueued > 0 && !m_iFlushesQueued.compare_exchange_weak(iQueued, iQueued - 1))
    {
    }
}

void CDailyDebugLog::TaskCancelled(IScheduler*, void* pContext, int iParameter)
{
    auto* const pLog = static_cast<CDailyDebugLog*>(pContext);
    if (iParameter == 0)
    {
        pLog->FinishQueuedFlush();
    }
    pLog->Release();
}

void CDailyDebugLog::TimeToSaveLog(IScheduler*, void* pContext, int iParameter, bool&)
{
    auto* const pLog = static_cast<CDailyDebugLog*>(pContext);
    const std::shared_ptr<CFlushMutex> pFlushMutex = pLog->m_pFlushMutex;
    const CFlushLock lock(*pFlushMutex);
    if (iParameter == 0)
    {
        // Before the flush: an Error that comes from now on may miss it, and queues another one.
        pLog->FinishQueuedFlush();
    }
    pLog->SaveLog(iParameter != 0);
    pLog->Release();
}

void CDailyDebugLog::TimeToHandleConfigChange(IScheduler*, void* pContext, int, bool&)
{
    auto* const pLog = static_cast<CDailyDebugLog*>(pContext);
    const std::shared_ptr<CFlushMutex> pFlushMutex = pLog->m_pFlushMutex;
    const CFlushLock lock(*pFlushMutex);
    pLog->TimeToHandleConfigChange();
    pLog->Release();
}

void CDailyDebugLog::HandleConfigurationChange()
{
    CFunctionSwitch fsHandle("DDL::HCC");

    const CSchedulerReference pScheduler = GetScheduler();
    if (pScheduler == nullptr)
    {
        LogMessage(Error, "Daily debug Log: configuration change, NULL storage scheduler!");
        TimeToHandleConfigChange();
        return;
    }
    AddRef();
    if (pScheduler->ScheduleTask(0, "config changed", 0, TimeToHandleConfigChange, TaskCancelled,
                                 this, 0) == 0)
    {
        Release();
    }
}

void CDailyDebugLog::TimeToHandleConfigChange()
{
    const CFlushLock lock(*m_pFlushMutex);
    PrepareForCrash();
    CloseFile();
    m_bArmed = true;
    SaveLog(false);
}

void CDailyDebugLog::SaveLog(bool bDayEnd)
{
    CFunctionSwitch fsSave("DDL::SL");

    const CFlushLock lock(*m_pFlushMutex);
    const bool bInsideFlush = m_dwFlushThreadID != mu::kNoThreadID;
    if (bInsideFlush || m_pTextBuffer == nullptr || m_pRecConfig == nullptr)
    {
        return;
    }
    m_dwFlushThreadID = mu::GetCurrentThreadID();
    m_iProcessID = ::getpid();
    if (bDayEnd && m_pTermCallback != nullptr)
    {
        m_pTermCallback(this, m_pTermContext);
    }
    const EOutcome eOutcome = WriteContent();
    m_bArmed = eOutcome != EOutcome::NoFile;
    m_llRetryTime =
        eOutcome == EOutcome::Failed ? mu::GetTimestamp() + static_cast<long long>(kRetryDelay) : 0;
    bool bAskedByInit = false;
    if (bDayEnd)
    {
        CloseFile();
        m_bAskedInFlush = false;
        if (m_pInitCallback != nullptr)
        {
            m_pInitCallback(this, m_pInitContext);
        }
        bAskedByInit = m_bAskedInFlush;
        ScheduleNextLogFlush(false);
    }
    else if (eOutcome == EOutcome::Written && m_file.IsOpen())
    {
        m_file.Flush();
    }
    m_dwFlushThreadID = mu::kNoThreadID;
    if (eOutcome == EOutcome::Failed)
    {
        QueueRetry();
    }
    else if (bAskedByInit)
    {
        RequestFlush(true);
    }
}

CDailyDebugLog::EOutcome CDailyDebugLog::WriteContent()
{
    // The file logs a warning about each short write, which adds a line to the buffer. Only a write
    // of more bytes than such a line makes progress.
    constexpr int kLeastProgress = 256;

    bool bShort = false;
    // The first failure is tried again at once: the buffer may fill up in the second until the next
    // try, and then lines are lost.
    bool bMayFail = m_llRetryTime == 0;
    while (m_pTextBuffer->GetReadQueueLength() > 0)
    {
        // Held until the bytes that were written have left the buffer, so that a crash cannot write
        // them again.
        const mu::CDayFile::CTurn turn(m_file);
        if (!turn.IsMine())
        {
            return EOutcome::Written;
        }
        if (!m_file.IsOpen())
        {
            const mu::STimeComponents date = GetFileDate();
            if (!mu::IsCurrentTimeSane(date))
            {
                return EOutcome::Written;
            }
            if (!OpenFile(date))
            {
                return EOutcome::NoFile;
            }
        }
        int iSize = 0;
        void* const pBlock = m_pTextBuffer->PollBlockToRead(iSize);
        const int iWritten = m_file.Write(pBlock, iSize);
        m_pTextBuffer->CommitReadBlock(pBlock, std::max(iWritten, 0));
        if (iWritten < 0 && std::exchange(bMayFail, false))
        {
            continue;
        }
        if (iWritten < 0 || (bShort && iWritten < std::min(iSize, kLeastProgress)))
        {
            return EOutcome::Failed;
        }
        bShort = iWritten < iSize;
    }
    return EOutcome::Written;
}

bool CDailyDebugLog::OpenFile(const mu::STimeComponents& date)
{
    std::wstring wsPath;
    return FindFile(date, true, wsPath) && m_file.Open(wsPath, m_pTextBuffer->GetTotalRead());
}

void CDailyDebugLog::CloseFile()
{
    const mu::CDayFile::CTurn turn(m_file);
    if (turn.IsMine())
    {
        m_file.Close();
    }
}

// Without a scheduler no day end is scheduled, and a file is named after the day it is opened on.
mu::STimeComponents CDailyDebugLog::GetFileDate()
{
    const mu::STimeComponents now = GetCurrentLocalTime();
    const mu::CPosixLock lock(m_writeMutex);
    return m_pScheduler == nullptr ? now : m_fileDate;
}

// The path of a day's file; false also without memory.
bool CDailyDebugLog::FindFile(const mu::STimeComponents& date, bool bMakeDirectory,
                              std::wstring& wsPath)
try
{
    const CMediaRecorderConfiguration* const pConfig = m_pRecConfig;
    const auto eCategory = EFileTransferCategory::Recording;
    std::wstring wsRelative;
    const bool bFound =
        bMakeDirectory ? pConfig->CreateDirectoryForNewFile(eCategory, date, 0, wsRelative, wsPath)
                       : pConfig->GetDirectoryForTime(eCategory, date, 0, wsRelative, wsPath);
    if (bFound)
    {
        mu::CDayFile::AddFileName(wsPath, date);
    }
    return bFound;
}
catch (const std::bad_alloc&)
{
    return false;
}
