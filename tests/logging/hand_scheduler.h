#ifndef ZOR_TESTS_LOGGING_HAND_SCHEDULER_H
#define ZOR_TESTS_LOGGING_HAND_SCHEDULER_H

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "threading/scheduler_interface.h"

/// A scheduler whose tasks the test runs, on its own thread.
class CHandScheduler final : public IScheduler
{
public:
    int AddRef() override { return ++m_iReferences; }
    int Release() override { return --m_iReferences; }
    unsigned long long ScheduleTask(unsigned long long ullDelay, const char* szName, int,
                                    TaskCallback pTask, CancelCallback pCancel, void* pContext,
                                    int i) override
    {
        if (m_bRefuse)
        {
            return 0;
        }
        m_vecTasks.push_back({szName, ullDelay / 1'000'000, pTask, pCancel, pContext, i});
        return 1;
    }
    int GetQueuedTaskCount() override { return static_cast<int>(m_vecTasks.size()); }
    void RemoveTasks(unsigned long long, TaskCallback pTask, void*, int) override
    {
        for (std::size_t i = m_vecTasks.size(); i-- > 0;)
        {
            m_vecTasks[i].m_pTask == pTask ? Finish(i, false) : void();
        }
    }
    /// Runs or cancels the i-th task.
    void Finish(std::size_t i, bool bRun)
    {
        const STask task = m_vecTasks.at(i);
        m_vecTasks.erase(m_vecTasks.begin() + static_cast<std::ptrdiff_t>(i));
        bool bReserved = false;
        bRun ? task.m_pTask(this, task.m_pContext, task.m_i, bReserved)
             : task.m_pCancel(this, task.m_pContext, task.m_i);
    }
    /// As "flush daily log 0 in 0;": the name, the parameter and the seconds.
    std::string Tasks() const
    {
        std::string strTasks;
        for (const STask& task : m_vecTasks)
        {
            strTasks += std::string(task.m_szName) + " " + std::to_string(task.m_i) + " in " +
                        std::to_string(task.m_ullSeconds) + ";";
        }
        return strTasks;
    }

    struct STask
    {
        const char* m_szName;
        unsigned long long m_ullSeconds;
        TaskCallback m_pTask;
        CancelCallback m_pCancel;
        void* m_pContext;
        int m_i;
    };
    std::vector<STask> m_vecTasks;
    bool m_bRefuse = false;
    int m_iReferences = 0;
};

#endif
