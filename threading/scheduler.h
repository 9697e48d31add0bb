#ifndef ZOR_THREADING_SCHEDULER_H
#define ZOR_THREADING_SCHEDULER_H

#include "threading/scheduler_interface.h"

namespace mu
{

class CSchedulerThread;

/// A scheduler for applications, made as AutoDeleteThreadObjectImpl<CScheduler>. Tasks run in the
/// order of their times, and those of one time in the order in which they were queued, on the
/// monotonic clock: setting the wall clock moves none.
///
/// At most kMaxQueuedTasks are queued, further ones refused. Queuing allocates nothing.
class CScheduler : public IScheduler
{
public:
    static constexpr int kMaxQueuedTasks = 128;

    CScheduler() = default;

    CScheduler(const CScheduler&) = delete;
    CScheduler& operator=(const CScheduler&) = delete;

    /// Starts the thread, once in the object's life and before other threads use it; tasks are
    /// refused before. The name, a constant, shows in state reports.
    bool Start(const char* szThreadName);

    /// Refuses tasks from now on, waits for the running task to end and cancels the queued ones.
    /// Called on the scheduler's own thread it does not wait: the thread ends after its task.
    /// Queued tasks may hold references to the scheduler, so an application calls this before it
    /// drops its own reference. The destructor calls it too; then cancel callbacks must not use
    /// the scheduler.
    void Stop();

    unsigned long long ScheduleTask(unsigned long long ullDelay, const char* szTaskName,
                                    int iReserved, TaskCallback pTask, CancelCallback pCancel,
                                    void* pContext, int iParameter) override;
    int GetQueuedTaskCount() override;
    void RemoveTasks(unsigned long long ullTask, TaskCallback pTask, void* pContext,
                     int iAll) override;

protected:
    ~CScheduler();

private:
    CSchedulerThread* m_pThread = nullptr; // shared with the thread that runs on it
};

} // namespace mu

#endif
