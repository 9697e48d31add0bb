#include "threading/simple_thread.h"

#include <cerrno>
#include <cstdint>
#include <exception>
#include <new>
#include <string>
#include <utility>

#include <pthread.h>
#include <sched.h>

#include "diagnostics/function_state.h"
#include "diagnostics/state_report.h"
#include "logging/logger.h"
#include "threading/auto_delete.h"
#include "threading/mutex.h"
#include "threading/thread_id.h"
#include "threading/wait_time.h"

namespace mu
{

/// What the thread shares with its starter and with reports. The thread needs the lock to begin and
/// to end, so whoever holds it may use the handle, and the thread's stack, on which the top entry
/// is.
struct SSimpleThreadRun
{
    CMutualExclusion m_mutex;
    pthread_t m_handle ZOR_GUARDED_BY(m_mutex) = 0; // 0: none runs
    SFuncStateEntry* m_pTopEntry ZOR_GUARDED_BY(m_mutex) = nullptr;
};

} // namespace mu

/// Goes from the starter to the thread, and stays until both have released it.
struct SSimpleThreadFunctionParameters : ISticky
{
    CSimpleThread* m_pThread;
    void* m_pParam;
    std::string m_strThreadName;
    std::shared_ptr<mu::SSimpleThreadRun> m_pRun;

protected:
    SSimpleThreadFunctionParameters(CSimpleThread* pThread, void* pParam, const char* szThreadName,
                                    std::shared_ptr<mu::SSimpleThreadRun> pRun)
        : m_pThread(pThread),
          m_pParam(pParam),
          m_strThreadName(szThreadName != nullptr ? szThreadName : ""),
          m_pRun(std::move(pRun))
    {
    }
    ~SSimpleThreadFunctionParameters() = default;
};

namespace
{

SSimpleThreadFunctionParameters* MakeParameters(CSimpleThread* pThread, void* pParam,
                                                const char* szThreadName,
                                                const std::shared_ptr<mu::SSimpleThreadRun>& pRun)
{
    try
    {
        return new AutoDeleteThreadObjectImpl<SSimpleThreadFunctionParameters>(pThread, pParam,
                                                                               szThreadName, pRun);
    }
    catch (const std::bad_alloc&)
    {
        return nullptr;
    }
}

void LogException(const char* szThreadName, const char* szWhat)
{
    try
    {
        if (ITextLogger* const ptlLogger = mu::TextLoggerFor(IBaseLogger::Error))
        {
            ptlLogger->LogMessageF(IBaseLogger::Error, "Exception in thread %s: %s", szThreadName,
                                   szWhat);
        }
    }
    catch (const std::bad_alloc&)
    {
        // The logger has no memory either.
    }
}

/// The stages after ThreadMain(), on every way out: also when pthread_exit() unwinds the thread.
class CLastStages
{
public:
    CLastStages(const char*& szStage, SSimpleThreadFunctionParameters* pParameters,
                mu::SSimpleThreadRun& run, const SFuncStateEntry* pTopEntry)
        : m_szStage(szStage), m_pParameters(pParameters), m_run(run), m_pTopEntry(pTopEntry)
    {
    }
    ~CLastStages()
    {
        m_szStage = "release parameters";
        m_pParameters->Release();
        m_szStage = "detach thread";
        pthread_detach(pthread_self());
        m_szStage = "final";
        {
            const CMutexProtection lock(m_run.m_mutex, mu::kInfinite);
            // The object may have started another thread meanwhile.
            if (m_run.m_pTopEntry == m_pTopEntry)
            {
                m_run.m_pTopEntry = nullptr;
                m_run.m_handle = 0;
            }
        }
        FreeThreadExVarsStorage();
    }

    CLastStages(const CLastStages&) = delete;
    CLastStages& operator=(const CLastStages&) = delete;

private:
    const char*& m_szStage;
    SSimpleThreadFunctionParameters* const m_pParameters;
    mu::SSimpleThreadRun& m_run;
    const SFuncStateEntry* const m_pTopEntry;
};

} // namespace

CSimpleThread::CSimpleThread() : m_pRun(std::make_shared<mu::SSimpleThreadRun>()) {}

CSimpleThread::~CSimpleThread() = default;

bool CSimpleThread::StartThread(const char* szThreadName, void* pParam, unsigned long* pdwThreadID)
{
    if (pdwThreadID != nullptr)
    {
        *pdwThreadID = 0;
    }
    // This object may be gone as soon as the thread has begun.
    const std::shared_ptr<mu::SSimpleThreadRun> pRun = m_pRun;
    SSimpleThreadFunctionParameters* const pParameters =
        pRun->m_mutex.IsValid() ? MakeParameters(this, pParam, szThreadName, pRun) : nullptr;
    if (pParameters == nullptr)
    {
        m_iLastError = ENOMEM;
        return false;
    }
    const CStickyScope ownReference(pParameters);
    pParameters->AddRef(); // for the thread

    // The thread waits for this lock before it begins.
    const CMutexProtection lock(pRun->m_mutex, mu::kInfinite);
    pthread_t handle = 0;
    m_iLastError = pthread_create(&handle, nullptr, MyMainThreadFunction, pParameters);
    const bool bStarted = m_iLastError == 0;
    if (bStarted)
    {
        pRun->m_handle = handle;
        pRun->m_pTopEntry = nullptr;
        m_dwThreadID = static_cast<unsigned long>(handle);
        if (pdwThreadID != nullptr)
        {
            *pdwThreadID = m_dwThreadID;
        }
    }
    else
    {
        pParameters->Release();
    }
    return bStarted;
}

bool CSimpleThread::SetThreadPriority(int iPriority)
{
    CFunctionSwitch fsSetPriority("ST::STP");

    const CMutexProtection lock(m_pRun->m_mutex, mu::kInfinite);
    sched_param parameters{};
    parameters.sched_priority = iPriority;
    return m_pRun->m_handle != 0 &&
           pthread_setschedparam(m_pRun->m_handle, SCHED_FIFO, &parameters) == 0;
}

int CSimpleThread::WriteStateReport(char* szBuffer, int iBufferSize)
{
    CFunctionSwitch fsWriteReport("ST::WSR");

    const CMutexProtection lock(m_pRun->m_mutex, mu::kInfinite);
    SFuncStateEntry* const pTopEntry = m_pRun->m_pTopEntry;
    return pTopEntry == nullptr
               ? 0
               : ::WriteStateReport(GetLastStateEntry(pTopEntry), szBuffer, iBufferSize);
}

void* CSimpleThread::MyMainThreadFunction(void* pParameters)
{
    auto* const pOwnParameters = static_cast<SSimpleThreadFunctionParameters*>(pParameters);
    // The parameters are released before the thread ends, and reports read the name until then.
    const std::string strThreadName = std::move(pOwnParameters->m_strThreadName);
    const std::shared_ptr<mu::SSimpleThreadRun> pRun = pOwnParameters->m_pRun;
    const char* const szThreadName = strThreadName.c_str();
    const unsigned long tid = mu::GetCurrentThreadID();
    const char* szStage = "initial";

    CFunctionSwitch fsMain("Posix Thread Main");
    mu::CFunctionParam fpThreadName(fsMain, "szThreadName", szThreadName);
    mu::CFunctionParam fpTid(fsMain, "tid", tid);
    mu::CFunctionParam fpStage(fsMain, "szStage", szStage);
    const CLastStages lastStages(szStage, pOwnParameters, *pRun, fsMain.GetEntry());
    {
        const CMutexProtection lock(pRun->m_mutex, mu::kInfinite);
        pRun->m_pTopEntry = fsMain.GetEntry();
    }

    szStage = "thread main function execution";
    int iResult = 0;
    try
    {
        iResult = pOwnParameters->m_pThread->ThreadMain(pOwnParameters->m_pParam);
    }
    catch (const std::exception& exception)
    {
        LogException(szThreadName, exception.what());
    }
    catch (...)
    {
        if (std::current_exception() == nullptr)
        {
            throw; // no exception of ours, but pthread_exit() or a cancellation
        }
        LogException(szThreadName, "unknown");
    }
    // NOLINTNEXTLINE(performance-no-int-to-ptr): a thread's exit value is a pointer
    return reinterpret_cast<void*>(static_cast<std::intptr_t>(iResult));
}
