#include "threading/scheduler.h"

#include <ctime>

#include "tests/support/failing_heap.h"
#include "tests/support/testing.h"
#include "tests/threading/threads.h"
#include "threading/auto_delete.h"
#include "threading/event.h"
#include "threading/sleep.h"
#include "threading/wait_time.h"

namespace
{

using namespace std::chrono_literals;

constexpr unsigned long long kHour = 3'600'000'000;

std::string g_strNotes; // of one thread at a time: "3 " for a task, "-3 " for its cancelling

void Note(IScheduler*, void*, int i, bool&)
{
    g_strNotes += std::to_string(i) + " ";
}
void Cancel(IScheduler*, void*, int i)
{
    g_strNotes += std::to_string(-i) + " ";
}

TEST(Scheduler, RunsByTimeThenByComingAndCancelsWhatIsLeft)
{
    auto& scheduler = *new AutoDeleteThreadObjectImpl<mu::CScheduler>;
    EXPECT_EQ(scheduler.AddRef(), 1);
    CPosixEventObject event;
    constexpr IScheduler::TaskCallback noteSlowly =
        [](IScheduler* pScheduler, void* pEvent, int i, bool& bReserved)
    {
        static_cast<CPosixEventObject*>(pEvent)->Signal();
        mu::SleepMS(20);
        Note(pScheduler, pEvent, i, bReserved);
    };
    const auto queue = [&](int i, unsigned long long ullDelay)
    {
        return scheduler.ScheduleTask(ullDelay, "test", 0, i % 6 == 0 ? noteSlowly : Note, Cancel,
                                      &event, i);
    };
    EXPECT_EQ(queue(9, 0), 0U) << "before it is started";
    EXPECT_EQ(scheduler.GetQueuedTaskCount(), 0);
    LetThreadsStart(false);
    EXPECT_FALSE(scheduler.Start("no scheduler"));
    EXPECT_EQ(queue(9, 0), 0U);
    const auto makeOne = []
    {
        auto& other = *new AutoDeleteThreadObjectImpl<mu::CScheduler>;
        const CStickyScope own(other);
        other.Start("no scheduler");
    };
    EXPECT_EQ(CFailingHeap::FirstLeakOf(makeOne), -1);
    LetThreadsStart(true);
    EXPECT_TRUE(scheduler.Start("test scheduler"));
    EXPECT_FALSE(scheduler.Start("a second one"));

    queue(3, 2 * kHour);
    queue(1, kHour);
    const unsigned long long ullTask = queue(2, kHour);
    {
        const CFailingHeap heap(0);
        for (int i = 3; i < mu::CScheduler::kMaxQueuedTasks; ++i)
            ASSERT_NE(queue(6, kHour), 0U);
        EXPECT_EQ(queue(0, 0), 0U) << "the table is full";
        EXPECT_EQ(scheduler.GetQueuedTaskCount(), mu::CScheduler::kMaxQueuedTasks);
        EXPECT_FALSE(CFailingHeap::HasFailed());
    }
    scheduler.RemoveTasks(0, Note, nullptr, 1);
    scheduler.RemoveTasks(ullTask, noteSlowly, &event, 1);
    scheduler.RemoveTasks(ullTask, Note, &event, 1);
    scheduler.RemoveTasks(0, Note, &event, 0);
    scheduler.RemoveTasks(0, Note, &event, 1);
    EXPECT_EQ(std::exchange(g_strNotes, {}), "-2 -1 -3 ");
    scheduler.RemoveTasks(0, noteSlowly, &event, 1);

    constexpr IScheduler::CancelCallback queueAnother =
        [](IScheduler* pScheduler, void* pEvent, int i)
    {
        Cancel(pScheduler, pEvent, i);
        pScheduler->ScheduleTask(kHour, "test", 0, Note, Cancel, pEvent, 8);
    };
    g_strNotes.clear();
    scheduler.ScheduleTask(kHour, "test", 0, Note, queueAnother, &event, 7);
    scheduler.RemoveTasks(0, Note, &event, 1);
    EXPECT_EQ(std::exchange(g_strNotes, {}), "-7 ") << "what comes meanwhile stays";
    queue(0, 0);
    event.Wait(mu::kInfinite);
    event.Reset();
    const auto tpQueued = std::chrono::steady_clock::now();
    const std::clock_t iUsed = std::clock();
    for (int i = 0; const auto ullDelay : {60'000ULL, 40'000ULL, ~0ULL, 0ULL, 0ULL, 80'000ULL})
        queue(++i, ullDelay);
    event.Wait(mu::kInfinite);
    EXPECT_GE(std::chrono::steady_clock::now() - tpQueued, 80ms);
    EXPECT_LT(std::clock() - iUsed, CLOCKS_PER_SEC / 20) << "it sleeps until then";
    scheduler.Stop(); // waits for the task that runs
    EXPECT_EQ(queue(9, 0), 0U);
    EXPECT_EQ(std::exchange(g_strNotes, {}), "0 4 5 2 1 6 -8 -3 ");
    EXPECT_EQ(scheduler.AddRef(), 2);
    EXPECT_EQ(scheduler.Release() + scheduler.Release(), 1);
}

TEST(Scheduler, MayEndInItsOwnTask)
{
    long lBlocks = 0;
    for (int iRun = 0; iRun < 6; ++iRun)
    {
        auto& scheduler = *new AutoDeleteThreadObjectImpl<mu::CScheduler>;
        scheduler.AddRef();
        scheduler.Start("test scheduler");
        CPosixEventObject event;
        scheduler.ScheduleTask(kHour, "test", 0, Note, Cancel, nullptr, 1);
        const auto drop = [](IScheduler* pScheduler, void* pEvent, int, bool&)
        {
            pScheduler->Release();
            static_cast<CPosixEventObject*>(pEvent)->Signal();
        };
        scheduler.ScheduleTask(0, "test", 0, drop, Cancel, &event, 2);
        event.Wait(mu::kInfinite);
        mu::SleepMS(20); // the thread frees itself
        lBlocks = iRun == 0 ? CFailingHeap::BlocksOfProcess() : lBlocks;
        EXPECT_EQ(std::exchange(g_strNotes, {}), "-1 ");
    }
    // A thread that begins while another is about to end has a stack of its own, with a block.
    for (int i = 0; i < 1'000 && CFailingHeap::BlocksOfProcess() > lBlocks + 2; ++i)
        mu::SleepMS(1);
    EXPECT_LE(CFailingHeap::BlocksOfProcess(), lBlocks + 2);
}

} // namespace
