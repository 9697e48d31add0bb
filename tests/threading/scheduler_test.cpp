#include "threading/scheduler.h"

#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/failing_heap.h"
#include "threading/auto_delete.h"
#include "threading/event.h"
#include "threading/sleep.h"
#include "threading/wait_time.h"

namespace
{

using SScheduler = AutoDeleteThreadObjectImpl<CScheduler>;

constexpr unsigned long long kHour = 3'600'000'000;

// Notes each callback: "3 " for a task with the parameter 3, "-3 " for its cancelling.
struct SNotes
{
    SNotes()
    {
        m_pScheduler->AddRef();
        EXPECT_EQ(Queue(1, 0), 0U) << "before it is started";
        EXPECT_TRUE(m_pScheduler->Start("test scheduler"));
    }
    unsigned long long Queue(int i, unsigned long long ullDelay,
                             IScheduler::TaskCallback pTask = Run)
    {
        return m_pScheduler->ScheduleTask(ullDelay, "test", 0, pTask, Cancel, this, i);
    }
    static void Run(IScheduler*, void* pNotes, int i, bool&)
    {
        static_cast<SNotes*>(pNotes)->m_strNotes += std::to_string(i) + " ";
    }
    static void RunSlowly(IScheduler* pScheduler, void* pNotes, int i, bool& bReserved)
    {
        static_cast<SNotes*>(pNotes)->m_event.Signal();
        mu::SleepMS(20);
        Run(pScheduler, pNotes, i, bReserved);
    }
    static void Cancel(IScheduler* pScheduler, void* pNotes, int i)
    {
        bool bReserved = false;
        Run(pScheduler, pNotes, -i, bReserved);
    }

    SScheduler* m_pScheduler = new SScheduler;
    CPosixEventObject m_event;
    std::string m_strNotes;
};

TEST(Scheduler, RunsTasksInTheOrderOfTheirTimesThenOfTheirComing)
{
    SNotes notes;
    notes.Queue(0, 0, SNotes::RunSlowly);
    notes.m_event.Wait(mu::kInfinite);
    constexpr unsigned long long kForever = std::numeric_limits<unsigned long long>::max();
    const unsigned long long kDelays[] = {60'000, 40'000, kForever, 0, 40'000, 0};
    for (int i = 0; const unsigned long long ullDelay : kDelays)
    {
        EXPECT_NE(notes.Queue(++i, ullDelay), 0U);
    }
    notes.m_event.Reset();
    notes.Queue(7, 80'000, SNotes::RunSlowly);
    notes.m_event.Wait(mu::kInfinite);
    notes.m_pScheduler->Stop(); // waits for the task that runs, then cancels
    EXPECT_EQ(notes.Queue(8, 0), 0U);
    EXPECT_EQ(notes.m_strNotes, "0 4 6 2 5 1 7 -3 ");
    notes.m_pScheduler->Release();
}

TEST(Scheduler, RemovesTasksAndRefusesThoseBeyondItsTable)
{
    SNotes notes;
    notes.Queue(3, 2 * kHour);
    notes.Queue(1, kHour);
    notes.Queue(7, kHour, SNotes::RunSlowly);
    const unsigned long long ullTask = notes.Queue(2, kHour);
    notes.Queue(4, 2 * kHour);
    CScheduler& scheduler = *notes.m_pScheduler;
    scheduler.RemoveTasks(0, SNotes::Run, nullptr, 1);
    scheduler.RemoveTasks(ullTask + 9, SNotes::Run, &notes, 1);
    EXPECT_EQ(scheduler.GetQueuedTaskCount(), 5);
    scheduler.RemoveTasks(ullTask, SNotes::Run, &notes, 1);
    scheduler.RemoveTasks(0, SNotes::Run, &notes, 0);
    EXPECT_EQ(notes.m_strNotes, "-2 -1 ");
    scheduler.RemoveTasks(0, SNotes::Run, &notes, 1);
    EXPECT_EQ(notes.m_strNotes, "-2 -1 -3 -4 ");
    {
        const CFailingHeap heap(0);
        for (int i = 1; i < CScheduler::kMaxQueuedTasks; ++i)
        {
            ASSERT_NE(notes.Queue(i, kHour), 0U);
        }
        EXPECT_EQ(notes.Queue(0, 0), 0U);
        EXPECT_FALSE(CFailingHeap::HasFailed());
    }
    scheduler.Release();
}

TEST(Scheduler, MayEndInItsOwnTask)
{
    SNotes notes;
    notes.Queue(1, kHour);
    notes.Queue(2, 0,
                [](IScheduler* pScheduler, void* pNotes, int, bool&)
                {
                    EXPECT_EQ(pScheduler->Release(), 0);
                    static_cast<SNotes*>(pNotes)->m_event.Signal();
                });
    notes.m_event.Wait(mu::kInfinite);
    EXPECT_EQ(notes.m_strNotes, "-1 ");
}

} // namespace
