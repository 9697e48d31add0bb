#ifndef ZOR_LOGGING_DAILY_DEBUG_LOG_H
#define ZOR_LOGGING_DAILY_DEBUG_LOG_H

#include <atomic>
#include <cstdarg>
#include <memory>
#include <mutex>
#include <string>

#include "io/safe_stream_buffer.h"
#include "logging/day_file.h"
#include "logging/logger.h"
#include "mu/calendar.h"
#include "threading/auto_delete.h"
#include "threading/posix_mutex.h"
#include "threading/scheduler_interface.h"
#include "threading/thread_id.h"

class CMediaRecorderConfiguration;

/// Collects lines in memory and writes them to one UTF-8 file a day, "DebugLog_2026_11_15.txt" in
/// the day's directory of recordings. Abstract: the application derives from it and decides, with
/// AddRef() and Release(), how long it lives; the count starts at what the application holds.
///
/// Set up in this order, before other threads log: SetBufferSize(), SetRecConfig(), the callbacks
/// if there are any, SetStorageScheduler(), ScheduleNextLogFlush(false); then install it as
/// mu::g_ptlTextLogger and with SetDailyDebugLogForTimeChange().
///
/// Any thread may log. With a scheduler none ever waits for the disk: the file is written by tasks
/// on the scheduler's thread, one second after local midnight and at once after an Error or when
/// the buffer is more than half full. Without one, an Error or a full buffer writes it on the
/// calling thread. Adding text allocates nothing; a document that is logged is turned into text
/// on the heap. A line that finds no room, and a formatted one of more than 1022 bytes, is dropped.
///
/// One flush runs at a time. What is logged inside it (by the files that fail there, by the
/// callbacks) is buffered; an Error of the init callback asks for the next one. Data leave the
/// buffer when the file has taken them.
///
/// A write that fails is tried again: with a scheduler each second until it succeeds, without one
/// by the next Error, and by a full buffer once a second. Where the directory or the file cannot be
/// had the log disarms: nothing asks for a flush until SetRecConfig() or
/// HandleConfigurationChange(), or until the one at the day's end succeeds.
///
/// In a crash (diagnostics/crash_handler.h) the log accepts nothing more and writes what it
/// accepted to its file, then the report if it is the process's text logger. It installs the
/// process's SetCrashLogWriter() for that. A forked child that crashes writes the report alone: the
/// lines before it are its parent's.
///
/// The day is the one on which the day end was scheduled last: a clock that is set over midnight
/// leaves an open file open until the next day end and names the file after it. A day of 23 hours
/// ends an hour late, one of 25 an hour early with a second end at midnight, on the same file.
class CDailyDebugLog : public IXMLLogger, public ITextLogger
{
public:
    using LogCallback = void (*)(ITextLogger* ptlLogger, void* pContext);

    CDailyDebugLog(const CDailyDebugLog&) = delete;
    CDailyDebugLog& operator=(const CDailyDebugLog&) = delete;

    // Setting up.

    /// In bytes. False, with nothing changed, if the buffer holds data or there is no memory.
    bool SetBufferSize(int iSize);
    /// Not owned. Arms. While a flush may run, or the clock be set, the configuration's directories
    /// must not change.
    void SetRecConfig(CMediaRecorderConfiguration* pRecConfig);
    /// Opens each day's file: called after the day end has closed the old one.
    void SetInitLogCallback(LogCallback pCallback, void* pContext);
    /// Closes each day's file: called before the day end writes it.
    void SetTermLogCallback(LogCallback pCallback, void* pContext);
    /// Holds a reference on the scheduler, or none on null.
    void SetStorageScheduler(IScheduler* pScheduler);

    // Adding text whatever its severity. False if it was dropped.

    bool AddText(const char* szText, int iLength, bool bAddNewLine);
    bool AddTextF(const char* szFormat, ...) __attribute__((format(printf, 2, 3)));
    bool AddTextV(const char* szFormat, va_list args) __attribute__((format(printf, 2, 0)));

    // Logging.

    Severity GetLowestLoggerServerity() override { return m_eLowestSeverity; }
    /// Adds the time of day and the message's text form.
    void LogMessage(Severity eSeverity, CEasyXML& exmlMessage) override;
    void LogMessage(Severity eSeverity, const char* szText) override;
    void LogMessageV(Severity eSeverity, const char* szFormat, va_list args) override
        __attribute__((format(printf, 3, 0)));

    // Flushing.

    /// Asks for a flush if eSeverity is Error.
    void CheckSeverity(Severity eSeverity);
    /// Asks for a flush if more than half of the buffer is used.
    void CheckLargeContent();
    /// Queues a flush now, or the one at the end of the local day in place of those queued. Without
    /// a scheduler it flushes now, and does nothing for the day's end.
    void ScheduleNextLogFlush(bool bNow);
    /// The flush itself.
    void SaveLog(bool bDayEnd);
    /// The recordings' directory may have moved: goes on in the file there.
    void HandleConfigurationChange();
    /// The change itself, on the calling thread.
    void TimeToHandleConfigChange();

    // The scheduler's tasks; the context is the log, to which each task has a reference.
    static void TimeToSaveLog(IScheduler* pScheduler, void* pContext, int iParameter,
                              bool& bReserved);
    static void TimeToHandleConfigChange(IScheduler* pScheduler, void* pContext, int iParameter,
                                         bool& bReserved);
    static void TaskCancelled(IScheduler* pScheduler, void* pContext, int iParameter);

    /// Cancels the tasks, ends the registration with the clock, waits for a task that runs on
    /// another thread and gives everything back; what was not flushed is lost. A derived class
    /// calls it in its destructor, where the Release() that cancelled tasks need still exists.
    /// Logging is harmless then and adds nothing. Not to be called inside a flush.
    void ReleaseResources();

protected:
    CDailyDebugLog();
    ~CDailyDebugLog();

private:
    struct SReleaser
    {
        template <typename T>
        void operator()(T* pSticky) const
        {
            pSticky->Release();
        }
    };
    using CSchedulerReference = std::unique_ptr<IScheduler, SReleaser>;
    using CTextBuffer = AutoDeleteThreadObjectImpl<CSafeStreamBuffer>;

    class ZOR_CAPABILITY("mutex") CFlushMutex : public std::recursive_mutex
    {
    };
    class ZOR_SCOPED_CAPABILITY CFlushLock
    {
    public:
        explicit CFlushLock(CFlushMutex& mutex) ZOR_ACQUIRE(mutex) : m_lock(mutex) {}
        ~CFlushLock() ZOR_RELEASE() = default;

        CFlushLock(const CFlushLock&) = delete;
        CFlushLock& operator=(const CFlushLock&) = delete;

    private:
        const std::scoped_lock<std::recursive_mutex> m_lock;
    };

    enum class EOutcome
    {
        Written, ///< also if the clock is not set, or if a crash has taken the file
        Failed,  ///< the file did not take everything
        NoFile,
    };

    static constexpr int kLineBlockSize = 1024;

    static CTextBuffer* MakeTextBuffer();
    bool AddBlock(const char* pText, int iLength, int iRoom, bool bAddNewLine,
                  const char*& szState);
    template <typename TAdd>
    void AddMessage(Severity eSeverity, TAdd add);
    bool IsContentLarge() ZOR_REQUIRES(m_writeMutex);
    CSchedulerReference GetScheduler();

    void RequestFlush(bool bForError);
    void QueueFlush(IScheduler& scheduler, unsigned long long ullDelay, bool bDayEnd);
    void QueueRetry();
    void FinishQueuedFlush();
    EOutcome WriteContent() ZOR_REQUIRES(*m_pFlushMutex);
    bool OpenFile(const mu::STimeComponents& date) ZOR_REQUIRES(m_file);
    void CloseFile() ZOR_REQUIRES(*m_pFlushMutex);
    void ForgetClock();
    bool FindFile(const mu::STimeComponents& date, bool bMakeDirectory, std::wstring& wsPath);
    mu::STimeComponents GetFileDate();

    void PrepareForCrash();
    void WriteInCrash();
    static void WriteAllInCrash();
    void RegisterForCrash();
    void UnregisterForCrash();

    std::atomic<bool> m_bArmed{false}; // whether Errors and a full buffer may ask for a flush
    std::atomic<int> m_iBufferSize{0};

protected:
    Severity m_eLowestSeverity = Status; ///< constant once other threads log

private:
    IScheduler* m_pScheduler ZOR_GUARDED_BY(m_writeMutex) = nullptr;
    // Null when released, which takes both locks below: either will do to use it.
    std::unique_ptr<CTextBuffer, SReleaser> m_pTextBuffer;
    std::atomic<CMediaRecorderConfiguration*> m_pRecConfig{nullptr};
    mu::CDayFile m_file;
    LogCallback m_pInitCallback = nullptr;
    LogCallback m_pTermCallback = nullptr;
    void* m_pInitContext = nullptr;
    void* m_pTermContext = nullptr;
    mu::STimeComponents m_fileDate ZOR_GUARDED_BY(m_writeMutex);

    // Held from the allocation of a block to its commit, because the buffer is for one writer. Also
    // guards the pointers to the scheduler and the buffer, the file's date and the path for a
    // crash. Never held while text is formatted or anything is called that may wait.
    mu::CPosixMutex m_writeMutex = PTHREAD_MUTEX_INITIALIZER;
    // The buffer has at least this much room. Known without asking it, which is done only when this
    // falls below half of its size.
    long long m_llFreeAtLeast ZOR_GUARDED_BY(m_writeMutex) = 0;
    // Held during a flush and the task that it runs in. The task may release the log's last
    // reference: so the mutex is shared, to outlive the log, and recursive, because the log's
    // destruction locks it once more. A thread that takes both mutexes takes this one first.
    const std::shared_ptr<CFlushMutex> m_pFlushMutex;
    std::atomic<unsigned long> m_dwFlushThreadID{mu::kNoThreadID}; // of the thread in SaveLog()
    bool m_bAskedInFlush = false;            // whether that thread asked for a flush meanwhile
    std::atomic<int> m_iFlushesQueued{0};    // without day ends; may be too low for a moment
    std::atomic<long long> m_llRetryTime{0}; // of mu::GetTimestamp(); 0: the last write succeeded

    // For a crash.
    std::atomic<bool> m_bCrashed{false};
    std::atomic<const char*> m_szCrashReport{nullptr};
    std::atomic<int> m_iProcessID{0}; // of the process whose lines the buffer holds
    std::atomic<CDailyDebugLog*> m_pNextLog{nullptr};
};

/// The log whose day end is scheduled anew when mu::SetCurrentLocalTimeComponents() has set the
/// clock; null for none. The application holds a reference on the log as long as it is registered.
/// Any thread may call it; it waits for a rescheduling that is under way.
void SetDailyDebugLogForTimeChange(CDailyDebugLog* pLog);

#endif
