#include "threading/scheduler.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cassert>
#include <cstddef>
#include <ctime>
#include <limits>
#include <new>
#include <utility>

#include <pthread.h>

#include "diagnostics/function_state.h"
#include "threading/posix_mutex.h"
#include "threading/simple_thread.h"
#include "threading/thread_id.h"

namespace mu
{

namespace
{

struct STask
{
    const char* m_szName;
    IScheduler::TaskCallback m_pTask;
    IScheduler::CancelCallback m_pCancel;
    void* m_pContext;
    int m_iParameter;
    // Given when it is queued.
    unsigned long long m_ullDue{}; // microseconds of the monotonic clock
    unsigned long long m_ullNumber{};
};

constexpr unsigned long long kMicrosecondsPerSecond = 1'000'000;

unsigned long long Now()
{
    std::timespec tsNow{};
    clock_gettime(CLOCK_MONOTONIC, &tsNow);
    return static_cast<unsigned long long>(tsNow.tv_sec) * kMicrosecondsPerSecond +
           static_cast<unsigned long long>(tsNow.tv_nsec) / 1000;
}

} // namespace

/// The queue and the thread that works it off. The scheduler and the thread hold a reference each,
/// so that a task may drop the last reference to the scheduler.
class CSchedulerThread final : public CSimpleThread
{
public:
    /// Throws std::bad_alloc without memory.
    explicit CSchedulerThread(IScheduler* pScheduler) : m_pScheduler(pScheduler) {}
    ~CSchedulerThread() { pthread_cond_destroy(&m_cond); }

    CSchedulerThread(const CSchedulerThread&) = delete;
    CSchedulerThread& operator=(const CSchedulerThread&) = delete;

    bool Start(const char* szThreadName)
    {
        m_iReferences = 2;
        if (StartThread(szThreadName, nullptr, nullptr))
        {
            return true;
        }
        m_iReferences = 1;
        return false;
    }

    void AddRef() { ++m_iReferences; }
    void Release()
    {
        const int iReferences = --m_iReferences;
        assert(iReferences >= 0);
        if (iReferences == 0)
        {
            delete this;
        }
    }

    void Stop()
    {
        {
            CPosixLock lock(m_mutex);
            m_bStopped = true;
            pthread_cond_broadcast(&m_cond);
            while (!m_bFinished && m_dwThreadID != mu::GetCurrentThreadID())
            {
                pthread_cond_wait(&m_cond, &m_mutex);
            }
        }
        CancelTasks([](const STask&) { return true; }, true);
    }

    unsigned long long Queue(STask task, unsigned long long ullDelay)
    {
        const CPosixLock lock(m_mutex);
        if (m_bStopped || m_uTasks == m_aTasks.size())
        {
            return 0;
        }
        const unsigned long long ullNow = Now();
        task.m_ullDue = ullNow + std::min(ullDelay, kNever - ullNow);
        task.m_ullNumber = ++m_ullLastNumber;
        STask* const pEnd = m_aTasks.data() + m_uTasks;
        STask* const pPlace = std::lower_bound(m_aTasks.data(), pEnd, task, IsLater);
        std::move_backward(pPlace, pEnd, pEnd + 1);
        *pPlace = task;
        ++m_uTasks;
        assert(std::is_sorted(m_aTasks.data(), m_aTasks.data() + m_uTasks, IsLater));
        if (pPlace == pEnd)
        {
            pthread_cond_broadcast(&m_cond);
        }
        return task.m_ullNumber;
    }

    int Count()
    {
        const CPosixLock lock(m_mutex);
        return static_cast<int>(m_uTasks);
    }

    /// Cancels the tasks that match, or only the first of them, in the order of their times. Tasks
    /// that a cancel callback queues meanwhile stay.
    template <typename TMatch>
    void CancelTasks(TMatch match, bool bAll)
    {
        AddRef(); // a cancel callback may drop the scheduler
        CPosixLock lock(m_mutex);
        const unsigned long long ullLastNumber = m_ullLastNumber;
        bool bFound = true;
        for (bool bFirst = true; bFound && (bFirst || bAll); bFirst = false)
        {
            std::size_t uPlace = m_uTasks;
            while (uPlace > 0 && (m_aTasks[uPlace - 1].m_ullNumber > ullLastNumber ||
                                  !match(m_aTasks[uPlace - 1])))
            {
                --uPlace;
            }
            bFound = uPlace > 0;
            if (bFound)
            {
                const STask task = Take(uPlace - 1);
                lock.Unlock();
                task.m_pCancel(m_pScheduler, task.m_pContext, task.m_iParameter);
                lock.Lock();
            }
        }
        lock.Unlock();
        Release();
    }

private:
    static constexpr unsigned long long kNever = std::numeric_limits<unsigned long long>::max();

    static constexpr auto IsLater = [](const STask& a, const STask& b)
    { return a.m_ullDue > b.m_ullDue; };

    STask Take(std::size_t uPlace) ZOR_REQUIRES(m_mutex)
    {
        assert(uPlace < m_uTasks);
        const STask task = m_aTasks[uPlace];
        std::copy(m_aTasks.data() + uPlace + 1, m_aTasks.data() + m_uTasks,
                  m_aTasks.data() + uPlace);
        --m_uTasks;
        return task;
    }

    // Waits until the queue changes or ullDue is reached, at most a day: a later time might not fit
    // a timespec.
    void Wait(unsigned long long ullNow, unsigned long long ullDue) ZOR_REQUIRES(m_mutex)
    {
        constexpr unsigned long long kDay = 86400 * kMicrosecondsPerSecond;
        const unsigned long long ullWakeUp = ullNow + std::min(ullDue - ullNow, kDay);
        const std::timespec tsWakeUp{static_cast<std::time_t>(ullWakeUp / kMicrosecondsPerSecond),
                                     static_cast<long>(ullWakeUp % kMicrosecondsPerSecond) * 1000};
        pthread_cond_clockwait(&m_cond, &m_mutex, CLOCK_MONOTONIC, &tsWakeUp);
    }

    int ThreadMain(void*) override
    {
        const char* szTask = nullptr;
        CFunctionSwitch fsMain("Sch::thMain");
        CFunctionParam fpTask(fsMain, "szTask", szTask);

        {
            CPosixLock lock(m_mutex);
            m_dwThreadID = mu::GetCurrentThreadID();
            while (!m_bStopped)
            {
                const unsigned long long ullNow = Now();
                const unsigned long long ullDue =
                    m_uTasks > 0 ? m_aTasks[m_uTasks - 1].m_ullDue : kNever;
                if (ullDue > ullNow)
                {
                    Wait(ullNow, ullDue);
                    continue;
                }
                const STask task = Take(m_uTasks - 1);
                lock.Unlock();
                bool bReserved = false;
                szTask = task.m_szName;
                task.m_pTask(m_pScheduler, task.m_pContext, task.m_iParameter, bReserved);
                szTask = nullptr;
                lock.Lock();
            }
            m_bFinished = true;
            pthread_cond_broadcast(&m_cond);
        }
        fsMain.Leave();
        Release();
        return 0;
    }

    IScheduler* const m_pScheduler;
    std::atomic<int> m_iReferences{1};

    CPosixMutex m_mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t m_cond = PTHREAD_COND_INITIALIZER;
    // The next one due is the last.
    std::array<STask, CScheduler::kMaxQueuedTasks> m_aTasks ZOR_GUARDED_BY(m_mutex);
    std::size_t m_uTasks ZOR_GUARDED_BY(m_mutex) = 0;
    unsigned long long m_ullLastNumber ZOR_GUARDED_BY(m_mutex) = 0;
    unsigned long m_dwThreadID ZOR_GUARDED_BY(m_mutex) = mu::kNoThreadID;
    bool m_bStopped ZOR_GUARDED_BY(m_mutex) = false;
    bool m_bFinished ZOR_GUARDED_BY(m_mutex) = false;
};

CScheduler::~CScheduler()
{
    if (m_pThread != nullptr)
    {
        m_pThread->Stop();
        m_pThread->Release();
    }
}

bool CScheduler::Start(const char* szThreadName)
{
    if (m_pThread != nullptr)
    {
        return false;
    }
    try
    {
        m_pThread = new CSchedulerThread(this);
    }
    catch (const std::bad_alloc&)
    {
        return false;
    }
    if (!m_pThread->Start(szThreadName))
    {
        std::exchange(m_pThread, nullptr)->Release();
        return false;
    }
    return true;
}

void CScheduler::Stop()
{
    if (m_pThread != nullptr)
    {
        m_pThread->Stop();
    }
}

unsigned long long CScheduler::ScheduleTask(unsigned long long ullDelay, const char* szTaskName,
                                            int, TaskCallback pTask, CancelCallback pCancel,
                                            void* pContext, int iParameter)
{
    return m_pThread == nullptr
               ? 0
               : m_pThread->Queue({szTaskName, pTask, pCancel, pContext, iParameter}, ullDelay);
}

int CScheduler::GetQueuedTaskCount()
{
    return m_pThread == nullptr ? 0 : m_pThread->Count();
}

void CScheduler::RemoveTasks(unsigned long long ullTask, TaskCallback pTask, void* pContext,
                             int iAll)
{
    if (m_pThread != nullptr)
    {
        m_pThread->CancelTasks(
            [&](const STask& task)
            {
                return (ullTask == 0 || ullTask == task.m_ullNumber) && task.m_pTask == pTask &&
                       task.m_pContext == pContext;
            },
            iAll != 0);
    }
}

} // namespace mu
