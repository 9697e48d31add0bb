#include "threading/event.h"

#include <atomic>
#include <chrono>
#include <climits>
#include <thread>

#include <gtest/gtest.h>

#include "tests/support/failing_heap.h"
#include "tests/threading/threads.h"
#include "threading/sleep.h"
#include "threading/wait_time.h"

namespace
{

TEST(Event, StaysSignalledUntilReset)
{
    CWinEvent event;
    ASSERT_TRUE(event.IsValid());
    for (int iRound = 0; iRound < 2; ++iRound)
    {
        EXPECT_FALSE(event.Wait(0));
        EXPECT_TRUE(event.Signal());
        for (const unsigned long dwMilliseconds : {0UL, 1UL, mu::kInfinite, ULONG_MAX})
        {
            EXPECT_TRUE(event.Wait(dwMilliseconds)) << "waiting does not use it up";
        }
        EXPECT_TRUE(event.Reset());
    }
    const auto before = std::chrono::system_clock::now();
    EXPECT_FALSE(event.Wait(30));
    EXPECT_GE(std::chrono::system_clock::now() - before, std::chrono::milliseconds(30));
}

TEST(Event, OneSignalWakesAllWhoWaitHoweverLong)
{
    // All but the first have no limit where unsigned long is wider; the third, cut to 32 bits,
    // would only look.
    constexpr unsigned long kWaits[] = {
        0xFFFFFFFE, 0xFFFFFFFF, ULONG_MAX > 0xFFFFFFFF ? ULONG_MAX - 0xFFFFFFFF : 0xFFFFFFFF};
    CPosixEventObject event;
    CPosixEventObject aReturned[std::size(kWaits)];
    std::thread aThreads[std::size(kWaits)];
    for (std::size_t i = 0; i < std::size(kWaits); ++i)
    {
        aThreads[i] = std::thread(
            [&, i]
            {
                EXPECT_TRUE(event.Wait(kWaits[i]));
                aReturned[i].Signal();
            });
    }
    for (CPosixEventObject& returned : aReturned)
    {
        EXPECT_FALSE(returned.Wait(10)) << "before the signal";
    }
    EXPECT_TRUE(event.Signal());
    for (std::thread& thread : aThreads)
    {
        thread.join();
    }
}

TEST(Event, ShowsWhoWaitsAndLetsHimPassEvenIfResetAtOnce)
{
    CWinEvent event;
    CPosixEventObject returned;
    std::atomic<unsigned long> dwWaiter{0};
    std::thread waiter = StartTraced(
        [&]
        {
            dwWaiter = mu::GetCurrentThreadID();
            EXPECT_TRUE(event.Wait(mu::kInfinite));
            EXPECT_EQ(GetCurrentFuncStateEntry(), nullptr);
            returned.Signal();
        });
    while (event.GetWaitingThreadID() == mu::kNoThreadID)
    {
        mu::ThreadContextSwitch("until somebody waits");
    }
    EXPECT_EQ(event.GetWaitingThreadID(), dwWaiter.load());
    // It shows a moment before it waits, so the first signal may come too early.
    do
    {
        event.Signal();
        event.Reset();
    } while (!returned.Wait(1));
    waiter.join();
    EXPECT_EQ(event.GetWaitingThreadID(), mu::kNoThreadID);
}

TEST(Event, WithoutMemoryIsInvalidAndNeverBlocks)
{
    if (!CFailingHeap::kAvailable)
    {
        GTEST_SKIP() << "the sanitizer has an allocator of its own";
    }
    GetAllocExVarsStorage();
    const CFailingHeap heap(0);
    CWinEvent event;
    EXPECT_FALSE(event.IsValid() || event.Signal() || event.Wait(mu::kInfinite) || event.Reset());
}

} // namespace
