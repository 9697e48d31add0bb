#ifndef ZOR_THREADING_SCHEDULER_INTERFACE_H
#define ZOR_THREADING_SCHEDULER_INTERFACE_H

#include "logging/logger.h"

/// Runs one-shot tasks later, one at a time, on a thread of its own. The application supplies it to
/// what works in the background.
///
/// For each task that was queued exactly one of its callbacks is called, once: the task callback on
/// the scheduler's thread, or the cancel callback when the task is dropped before. Any thread may
/// call any operation, callbacks included.
class IScheduler : public ISticky
{
public:
    /// bReserved is false and stays so.
    using TaskCallback = void (*)(IScheduler* pScheduler, void* pContext, int iParameter,
                                  bool& bReserved);
    using CancelCallback = void (*)(IScheduler* pScheduler, void* pContext, int iParameter);

    // In the order of their slots; those of ISticky come first.

    /// Queues a task that is due in ullDelay microseconds; the callbacks get the context and the
    /// parameter back. The name must outlive the task. iReserved is 0. Returns the task's number,
    /// or 0 if it was refused: then neither callback is called.
    virtual unsigned long long ScheduleTask(unsigned long long ullDelay, const char* szTaskName,
                                            int iReserved, TaskCallback pTask,
                                            CancelCallback pCancel, void* pContext,
                                            int iParameter) = 0;

    virtual int GetQueuedTaskCount() = 0;

    /// Drops queued tasks of this number (0: any), task callback and context: all of them, or only
    /// the next one due if iAll is 0. Their cancel callbacks run on the calling thread, before the
    /// call returns. A task that runs already goes on.
    virtual void RemoveTasks(unsigned long long ullTask, TaskCallback pTask, void* pContext,
                             int iAll) = 0;

protected:
    ~IScheduler() = default;
};

#endif
