#include "logging/daily_debug_log.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <new>
#include <utility>

#include "config/media_recorder_configuration.h"
#include "diagnostics/function_state.h"
#include "logging/log_recorder.h"
#include "mu/lengths.h"
#include "mu/text.h"
#include "mu/unicode.h"
#include "threading/system_clock.h"

namespace
{

constexpr char kLineEnd[] = {'\r', '\n'};
constexpr int kLineEndSize = sizeof(kLineEnd);

mu::STimeComponents GetCurrentLocalTime()
{
    mu::STimeComponents now;
    mu::GetLocalTimeComponents(mu::GetCurrentUTCTime(), now);
    return now;
}

// Reads a byte of each page: text that is not there faults here and not under a lock that the
// report of the crash needs.
void TouchText(const char* pText, int iLength)
{
    constexpr int kSmallestPage = 4096;
    for (int i = 0; i < iLength; i += std::min(kSmallestPage, std::max(1, iLength - 1 - i)))
    {
        static_cast<void>(*const_cast<const volatile char*>(pText + i));
    }
}

/// The log that is told when the clock was set.
class CClockRegistration final : public mu::IClockListener
{
public:
    void Set(CDailyDebugLog* pLog)
    {
        const std::scoped_lock lock(m_mutex);
        m_pLog = pLog;
    }
    void Remove(const CDailyDebugLog* pLog)
    {
        const std::scoped_lock lock(m_mutex);
        m_pLog = m_pLog == pLog ? nullptr : m_pLog;
    }

    void HandleClockSet() override
    {
        const std::scoped_lock lock(m_mutex);
        if (m_pLog != nullptr)
        {
            m_pLog->ScheduleNextLogFlush(false);
        }
    }

private:
    std::mutex m_mutex;
    CDailyDebugLog* m_pLog = nullptr;
};

constinit CClockRegistration g_clockRegistration;

} // namespace

void SetDailyDebugLogForTimeChange(CDailyDebugLog* pLog)
{
    g_clockRegistration.Set(pLog);
    mu::SetClockListener(&g_clockRegistration);
}

CDailyDebugLog::CDailyDebugLog()
    : m_pTextBuffer(new AutoDeleteThreadObjectImpl<CSafeStreamBuffer>),
      m_pFile(std::make_unique<CFileAccess>()),
      m_pFlushMutex(std::make_shared<std::recursive_mutex>())
{
    m_pTextBuffer->AddRef();
}

CDailyDebugLog::~CDailyDebugLog()
{
    ReleaseResources();
}

void CDailyDebugLog::ReleaseResources()
{
    g_clockRegistration.Remove(this);
    if (const CSchedulerReference pScheduler = GetScheduler())
    {
        SetStorageScheduler(nullptr);
        pScheduler->RemoveTasks(0, TimeToSaveLog, this, 1);
        pScheduler->RemoveTasks(0, TimeToHandleConfigChange, this, 1);
    }
    const std::scoped_lock lock(*m_pFlushMutex, m_writeMutex);
    if (m_pTextBuffer != nullptr)
    {
        std::exchange(m_pTextBuffer, nullptr)->Release();
    }
    m_pFile.reset();
}

bool CDailyDebugLog::SetBufferSize(int iSize)
{
    const std::scoped_lock lock(m_writeMutex);
    if (m_pTextBuffer == nullptr || !m_pTextBuffer->SetBufferSize(iSize))
    {
        return false;
    }
    m_iBufferSize = iSize;
    m_llFreeAtLeast = 0;
    return true;
}

void CDailyDebugLog::SetRecConfig(CMediaRecorderConfiguration* pRecConfig)
{
    m_pRecConfig = pRecConfig;
    m_bArmed = true;
}

void CDailyDebugLog::SetInitLogCallback(LogCallback pCallback, void* pContext)
{
    m_pInitCallback = pCallback;
    m_pInitContext = pContext;
}

void CDailyDebugLog::SetTermLogCallback(LogCallback pCallback, void* pContext)
{
    m_pTermCallback = pCallback;
    m_pTermContext = pContext;
}

void CDailyDebugLog::SetStorageScheduler(IScheduler* pScheduler)
{
    CSchedulerReference pOld;
    {
        const std::scoped_lock lock(m_writeMutex);
        if (pScheduler == m_pScheduler)
        {
            return;
        }
        if (pScheduler != nullptr)
        {
            pScheduler->AddRef();
        }
        pOld.reset(std::exchange(m_pScheduler, pScheduler));
    }
}

CDailyDebugLog::CSchedulerReference CDailyDebugLog::GetScheduler()
{
    const std::scoped_lock lock(m_writeMutex);
    if (m_pScheduler != nullptr)
    {
        m_pScheduler->AddRef();
    }
    return CSchedulerReference(m_pScheduler);
}

bool CDailyDebugLog::AddText(const char* szText, int iLength, bool bAddNewLine)
{
    const char* szState = "copy block";
    CFunctionSwitch fsAddText("DDL::AT");
    CFunctionParam fpState(fsAddText, "szState", szState);

    if (iLength <= m_iBufferSize)
    {
        TouchText(szText, iLength);
    }
    return AddBlock(szText, iLength, iLength, bAddNewLine, szState);
}

bool CDailyDebugLog::AddTextF(const char* szFormat, ...)
{
    va_list args;
    va_start(args, szFormat);
    const bool bAdded = AddTextV(szFormat, args);
    va_end(args);
    return bAdded;
}

bool CDailyDebugLog::AddTextV(const char* szFormat, va_list args)
{
    const char* szState = "printf";
    CFunctionSwitch fsAddText("DDL::ATV");
    CFunctionParam fpState(fsAddText, "szState", szState);

    // Formatted outside the lock: an argument that faults must not leave it held.
    char szLine[kLineBlockSize];
    const int iLength = mu::VSNPrintF(szLine, kLineBlockSize, szFormat, args);
    const bool bFits = iLength >= 1 && iLength <= kLineBlockSize - kLineEndSize;
    return AddBlock(szLine, bFits ? iLength : -1, kLineBlockSize - kLineEndSize, true, szState);
}

// Adds iLength bytes of text (negative: none), and the line end if asked, in a block for iRoom
// bytes of text.
bool CDailyDebugLog::AddBlock(const char* pText, int iLength, int iRoom, bool bAddNewLine,
                              const char*& szState)
{
    const int iLineEnd = bAddNewLine ? kLineEndSize : 0;
    if (iLength < 0 || iRoom > m_iBufferSize - iLineEnd)
    {
        szState = "check size";
        CheckLargeContent();
        return false;
    }
    bool bAdded = false;
    bool bFlush = false;
    {
        szState = "alloc";
        const std::scoped_lock lock(m_writeMutex);
        if (m_pTextBuffer == nullptr)
        {
            return false;
        }
        const int iBlock = iRoom + iLineEnd;
        if (void* const pBlock = m_pTextBuffer->AllocateBlock(iBlock))
        {
            szState = "copy block";
            char* const pEnd = std::copy_n(pText, iLength, static_cast<char*>(pBlock));
            std::copy_n(kLineEnd, iLineEnd, pEnd);
            szState = "commit";
            bAdded = m_pTextBuffer->CommitWrittenBlock(pBlock, iLength + iLineEnd, iBlock);
        }
        szState = "check size";
        // A block takes its size and, if it does not fit before the end, a tail that is shorter.
        m_llFreeAtLeast -= 2LL * iBlock;
        // A line may find no room in a small buffer although less than half of it is used.
        bFlush =
            (m_llFreeAtLeast < m_iBufferSize / 2 && IsContentLarge()) || (!bAdded && iBlock > 0);
    }
    if (bFlush)
    {
        RequestFlush();
    }
    return bAdded;
}

bool CDailyDebugLog::IsContentLarge()
{
    if (m_pTextBuffer == nullptr)
    {
        return false;
    }
    m_llFreeAtLeast = m_pTextBuffer->GetAvailableSizeToWrite();
    return m_llFreeAtLeast < m_iBufferSize / 2;
}

void CDailyDebugLog::CheckLargeContent()
{
    bool bLarge = false;
    {
        const std::scoped_lock lock(m_writeMutex);
        bLarge = IsContentLarge();
    }
    if (bLarge)
    {
        RequestFlush();
    }
}

void CDailyDebugLog::CheckSeverity(Severity eSeverity)
{
    if (eSeverity == Error)
    {
        RequestFlush();
    }
}

void CDailyDebugLog::RequestFlush()
{
    if (m_dwFlushThreadID.load(std::memory_order_relaxed) == mu::GetCurrentThreadID())
    {
        return;
    }
    // Of threads that ask at once, one queues a flush. Without a scheduler each writes its own.
    if (m_bArmed && (GetScheduler() == nullptr || m_bArmed.exchange(false)))
    {
        ScheduleNextLogFlush(true);
    }
    else
    {
        m_bFlushMissed = true;
    }
}

void CDailyDebugLog::LogMessage(Severity eSeverity, CEasyXML& exmlMessage)
{
    CFunctionSwitch fsLogMessage("DDL::LM");

    if (eSeverity < m_eLowestSeverity)
    {
        return;
    }
    try
    {
        const mu::STimeComponents now = GetCurrentLocalTime();
        wchar_t wszTime[40];
        mu::SWPrintF(wszTime, static_cast<int>(std::size(wszTime)), L"%02d:%02d:%02d ", now.m_iHour,
                     now.m_iMinute, now.m_iSecond);
        std::wstring wsText(wszTime);
        CEasyXMLNode message = exmlMessage.GetRoot();
        CLogRecorder::CollectTextMessage(message, wsText, 0, L"\r\n");
        const std::string strText = mu::WideStringToNarrow(wsText);
        AddText(strText.data(), mu::IntCount(strText.size()), false);
    }
    catch (const std::bad_alloc&)
    {
        // Dropped, as a line without room is.
    }
    CheckSeverity(eSeverity);
}

void CDailyDebugLog::LogMessage(Severity eSeverity, const char* szText)
{
    if (eSeverity >= m_eLowestSeverity)
    {
        AddText(szText, szText != nullptr ? mu::IntCount(std::strlen(szText)) : 0, true);
        CheckSeverity(eSeverity);
    }
}

void CDailyDebugLog::LogMessageF(Severity eSeverity, const char* szFormat, ...)
{
    va_list args;
    va_start(args, szFormat);
    LogMessageV(eSeverity, szFormat, args);
    va_end(args);
}

void CDailyDebugLog::LogMessageV(Severity eSeverity, const char* szFormat, va_list args)
{
    if (eSeverity >= m_eLowestSeverity)
    {
        AddTextV(szFormat, args);
        CheckSeverity(eSeverity);
    }
}

void CDailyDebugLog::ScheduleNextLogFlush(bool bNow)
{
    CFunctionSwitch fsSchedule("DDL::SNLF");
    CFunctionParam fpNow(fsSchedule, "bNow", bNow);

    const CSchedulerReference pScheduler = GetScheduler();
    if (pScheduler == nullptr)
    {
        if (bNow)
        {
            SaveLog(false);
        }
        return;
    }

    unsigned long long ullDelay = 0;
    if (bNow)
    {
        m_bArmed = false;
    }
    else
    {
        pScheduler->RemoveTasks(0, TimeToSaveLog, this, 1);
        const mu::STimeComponents now = GetCurrentLocalTime();
        {
            const std::scoped_lock lock(m_writeMutex);
            m_fileDate = now;
        }
        if (!mu::IsCurrentTimeSane(now))
        {
            return;
        }
        ullDelay = static_cast<unsigned long long>(86401 - now.GetNumDaySeconds()) * 1'000'000;
    }

    AddRef();
    const int iDayEnd = bNow ? 0 : 1;
    if (pScheduler->ScheduleTask(ullDelay, "flush daily log", 0, TimeToSaveLog, TaskCancelled, this,
                                 iDayEnd) == 0)
    {
        TaskCancelled(pScheduler.get(), this, iDayEnd);
    }
}

void CDailyDebugLog::TaskCancelled(IScheduler*, void* pContext, int iParameter)
{
    auto* const pLog = static_cast<CDailyDebugLog*>(pContext);
    if (iParameter == 0)
    {
        pLog->m_bArmed = true;
        pLog->m_bFlushMissed = true;
    }
    pLog->Release();
}

void CDailyDebugLog::TimeToSaveLog(IScheduler*, void* pContext, int iParameter, bool&)
{
    auto* const pLog = static_cast<CDailyDebugLog*>(pContext);
    const std::shared_ptr<std::recursive_mutex> pFlushMutex = pLog->m_pFlushMutex;
    const std::scoped_lock lock(*pFlushMutex);
    pLog->SaveLog(iParameter != 0);
    pLog->Release();
}

void CDailyDebugLog::TimeToHandleConfigChange(IScheduler*, void* pContext, int, bool&)
{
    auto* const pLog = static_cast<CDailyDebugLog*>(pContext);
    const std::shared_ptr<std::recursive_mutex> pFlushMutex = pLog->m_pFlushMutex;
    const std::scoped_lock lock(*pFlushMutex);
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
    const std::scoped_lock lock(*m_pFlushMutex);
    if (m_pFile != nullptr)
    {
        m_pFile->Close();
    }
    m_bArmed = true;
    SaveLog(false);
}

void CDailyDebugLog::SaveLog(bool bDayEnd)
{
    CFunctionSwitch fsSave("DDL::SL");

    const std::scoped_lock lock(*m_pFlushMutex);
    const bool bInsideFlush = m_dwFlushThreadID != mu::kNoThreadID;
    if (bInsideFlush || m_pFile == nullptr || m_pRecConfig == nullptr)
    {
        return;
    }
    m_dwFlushThreadID = mu::GetCurrentThreadID();
    m_bFlushMissed = false;
    if (bDayEnd && m_pTermCallback != nullptr)
    {
        m_pTermCallback(this, m_pTermContext);
    }
    const bool bWritten = WriteContent();
    if (bDayEnd)
    {
        m_pFile->Close();
        if (m_pInitCallback != nullptr)
        {
            m_pInitCallback(this, m_pInitContext);
        }
        ScheduleNextLogFlush(false);
    }
    else if (bWritten && m_pFile->IsValid())
    {
        m_pFile->Flush();
    }
    m_dwFlushThreadID = mu::kNoThreadID;
    m_bArmed = bWritten;

    // Another thread may have asked after the last look into the buffer and before this.
    if (bWritten && m_bFlushMissed.exchange(false) && m_pTextBuffer->GetReadQueueLength() > 0)
    {
        RequestFlush();
    }
}

// False if content stays in the buffer because it could not be written. True as well if it stays
// because the clock is not set.
bool CDailyDebugLog::WriteContent()
{
    bool bShort = false;
    while (m_pTextBuffer->GetReadQueueLength() > 0)
    {
        if (!m_pFile->IsValid())
        {
            const mu::STimeComponents date = GetFileDate();
            if (!mu::IsCurrentTimeSane(date))
            {
                return true;
            }
            if (!OpenFile(date))
            {
                return false;
            }
        }
        int iSize = 0;
        void* const pBlock = m_pTextBuffer->PollBlockToRead(iSize);
        const int iWritten = m_pFile->Write(pBlock, iSize);
        m_pTextBuffer->CommitReadBlock(pBlock, std::max(iWritten, 0));
        // A short write logs a warning, so a file that takes a few bytes each time is given up.
        if (iWritten < iSize && (iWritten <= 0 || bShort))
        {
            return false;
        }
        bShort = iWritten < iSize;
    }
    return true;
}

// Without a scheduler no day end is scheduled, and a file is named after the day it is opened on.
mu::STimeComponents CDailyDebugLog::GetFileDate()
{
    const mu::STimeComponents now = GetCurrentLocalTime();
    const std::scoped_lock lock(m_writeMutex);
    if (m_pScheduler == nullptr)
    {
        m_fileDate = now;
    }
    return m_fileDate;
}

bool CDailyDebugLog::OpenFile(const mu::STimeComponents& date)
try
{
    std::wstring wsRelative;
    std::wstring wsPath;
    if (!m_pRecConfig.load()->CreateDirectoryForNewFile(EFileTransferCategory::Recording, date, 0,
                                                        wsRelative, wsPath))
    {
        return false;
    }
    mu::AddFolderSeparator(wsPath);
    wchar_t wszName[31];
    mu::SWPrintF(wszName, static_cast<int>(std::size(wszName)), L"DebugLog_%04d_%02d_%02d.txt",
                 date.m_iYear, date.m_iMonth, date.m_iDay);
    wsPath += wszName;
    if (!m_pFile->Open(wsPath.c_str(), CFileAccess::FM_OPEN_OR_CREATE, true))
    {
        return false;
    }
    const unsigned long long ullSize = m_pFile->GetSize();
    if (ullSize > 0 ? m_pFile->SetPosition(ullSize) : m_pFile->WriteUTF8Header())
    {
        return true;
    }
    if (ullSize == 0)
    {
        m_pFile->Truncate(0ULL); // half a mark would never be completed
    }
    m_pFile->Close();
    return false;
}
catch (const std::bad_alloc&)
{
    return false;
}
