// What threads wait for: events, locks and times.

#include "threading/event.h"

#include <dlfcn.h>

#include "tests/support/failing_heap.h"
#include "tests/support/testing.h"
#include "tests/threading/threads.h"
#include "threading/mutex.h"
#include "threading/sleep.h"
#include "threading/wait_time.h"

static thread_local std::timespec g_tsSlept;

// In place of the C library's.
extern "C" int nanosleep(const std::timespec* pAmount, std::timespec*)
{
    g_tsSlept = *pAmount;
    return pAmount->tv_sec > 0 ? 0 : clock_nanosleep(CLOCK_MONOTONIC, 0, pAmount, nullptr);
}

// The locks and conditions that this thread has made and not destroyed, and how many it may have:
// beyond that the calls are refused.
static thread_local int g_iObjects = 0;
static thread_local int g_iMostObjects = INT_MAX;

#define ZOR_COUNTED_CALL(name, iChange, parameters, ...)                                           \
    extern "C" int name parameters noexcept                                                        \
    {                                                                                              \
        static const auto s_pReal =                                                                \
            reinterpret_cast<decltype(&::name)>(::dlsym(RTLD_NEXT, #name));                        \
        const bool bRefused = g_iObjects + (iChange) > g_iMostObjects;                             \
        g_iObjects += bRefused ? 0 : (iChange);                                                    \
        return bRefused ? EAGAIN : s_pReal(__VA_ARGS__);                                           \
    }
ZOR_COUNTED_CALL(pthread_cond_init, 1, (pthread_cond_t * p, const pthread_condattr_t* q), p, q)
ZOR_COUNTED_CALL(pthread_cond_destroy, -1, (pthread_cond_t * p), p)
ZOR_COUNTED_CALL(pthread_mutex_init, 1, (pthread_mutex_t * p, const pthread_mutexattr_t* q), p, q)
ZOR_COUNTED_CALL(pthread_mutex_destroy, -1, (pthread_mutex_t * p), p)

#if !defined(__SANITIZE_THREAD__) // which has to see every unlock
ZOR_COUNTED_CALL(pthread_mutex_unlock, 0, (pthread_mutex_t * p), p)

TEST(Mutex, TellsThatTheSystemDidNotUnlock)
{
    CMutualExclusion mutex;
    testing::internal::CaptureStdout();
    mutex.Lock(0);
    g_iMostObjects = g_iObjects - 1;
    mutex.Unlock();
    g_iMostObjects = INT_MAX;
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Mutex unlock error 11\r\n");
}
#endif

namespace
{

TEST(Event, ShowsWhoWaitsAndLetsAllPassFromTheSignalToTheReset)
{
    CWinEvent event;
    EXPECT_TRUE(event.IsValid());
    EXPECT_FALSE(event.Wait(0));
    std::atomic<int> iReturned{0};
    std::vector<std::jthread> vecThreads;
    // All but the first have no limit where unsigned long is wider; the third, cut to 32 bits,
    // would only look.
    for (const unsigned long dw :
         {0xFFFFFFFEUL, 0xFFFFFFFFUL, ULONG_MAX - (sizeof(long) > 4) * 0xFFFFFFFF})
        vecThreads.push_back(StartTraced([&, dw] { iReturned += event.Wait(dw) ? 1 : 9; }));
    while (event.GetWaitingThreadID() == mu::kNoThreadID)
        EXPECT_TRUE(mu::ThreadContextSwitch("until somebody waits"));
    mu::SleepMS(30);
    EXPECT_EQ(iReturned, 0) << "before the signal";
    EXPECT_EQ(std::ranges::count(vecThreads, event.GetWaitingThreadID(),
                                 [](std::jthread& thread) { return thread.native_handle(); }),
              1);
    while (iReturned == 0) // a waiter that wakes up passes although it is reset
    {
        EXPECT_TRUE(event.Signal());
        EXPECT_TRUE(event.Reset());
    }
    EXPECT_TRUE(event.Signal()); // for those who came too late
    vecThreads.clear();
    EXPECT_EQ(iReturned, 3);
    EXPECT_EQ(event.GetWaitingThreadID(), mu::kNoThreadID);
    for (const unsigned long dwMilliseconds : {0UL, 1UL, mu::kInfinite, ULONG_MAX})
        EXPECT_TRUE(event.Wait(dwMilliseconds)) << "waiting does not use it up";
    EXPECT_TRUE(event.Reset());
    const auto before = std::chrono::system_clock::now();
    EXPECT_FALSE(event.Wait(30));
    EXPECT_GE(std::chrono::system_clock::now() - before, std::chrono::milliseconds(30));
}

TEST(Mutex, ReportsMisuseAndGoesOn)
{
    CFunctionSwitch fsCaller("T::Caller");
    CMutualExclusion mutex;
    testing::internal::CaptureStdout();
    EXPECT_TRUE(mutex.Lock(mu::kInfinite));
    EXPECT_TRUE(mutex.Lock(0));
    mutex.Unlock();
    EXPECT_TRUE(mutex.IsLockedByCurrentThread()) << "once of twice";
    mutex.Unlock();
    mutex.Unlock();
    EXPECT_FALSE(mutex.IsLocked());
    char szExpected[300];
    std::snprintf(szExpected, sizeof(szExpected),
                  "Thread Relocking Error [count=1]\r\n"
                  "MtEx::Lock m_dwLockingThreadID=0x%08X m_iLockCount=1\r\nT::Caller\r\n\r\n"
                  "Mutex unlock error: count=0\r\nMtEx::Unlock\r\nT::Caller\r\n\r\n",
                  static_cast<unsigned int>(pthread_self()));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), szExpected);
}

TEST(Mutex, ZeroTriesAndEverythingElseWaitsWithoutLimit)
{
    CMutualExclusion mutex;
    CPosixEventObject locked;
    CMutexProtection own(mutex, mu::kInfinite);
    StartTraced([&] { EXPECT_FALSE(CMutexProtection(mutex, 0).IsLocked()); }).join();
    EXPECT_TRUE(mutex.IsLockedByCurrentThread());
    std::jthread other = StartTraced(
        [&]
        {
            CMutexProtection guard(mutex, 1);
            EXPECT_TRUE(guard.Lock(1));
            EXPECT_TRUE(mutex.IsLockedByCurrentThread());
            locked.Signal();
        });
    EXPECT_FALSE(locked.Wait(30)) << "beyond its millisecond";
    own.Unlock();
    other.join();
    EXPECT_FALSE(mutex.IsLocked());
}

TEST(Waiting, IsRefusedWithoutWhatItIsMadeOf)
{
    GetAllocExVarsStorage();
    const auto tryBoth = []
    {
        CWinEvent event;
        CMutualExclusion mutex;
        const bool bEvent =
            event.IsValid() || event.Reset() || event.Signal() || event.Wait(mu::kInfinite);
        return std::pair(bEvent, mutex.IsValid() || mutex.Lock(0) || mutex.Lock(1));
    };
    g_iObjects = 0;
    for (const int iMost : {0, 1, 2})
    {
        g_iMostObjects = iMost;
        EXPECT_EQ(tryBoth(), std::pair(iMost == 2, iMost == 1));
        EXPECT_EQ(g_iObjects, 0) << "each is destroyed";
    }
    g_iMostObjects = INT_MAX;
    const CFailingHeap heap(0);
    EXPECT_EQ(tryBoth(), std::pair(!CFailingHeap::kAvailable, !CFailingHeap::kAvailable));
}

TEST(Sleep, TakesAnyAmountThatAnIntCounts)
{
    using T = std::pair<std::time_t, long>; // seconds and nanoseconds
    for (const auto& [pSleep, iAmount, slept] :
         {std::tuple(&mu::SleepMS, 1, T(0, 1'000'000)),
          {&mu::SleepMS, INT_MAX, {2'147'483, 647'000'000}},
          {&mu::SleepMicroSeconds, 1, {0, 1'000}},
          {&mu::SleepMicroSeconds, INT_MAX, {2'147, 483'647'000}},
          {&mu::SleepMS, 0, {0, 0}},
          {&mu::SleepMicroSeconds, INT_MIN, {0, 0}}})
    {
        g_tsSlept = {};
        pSleep(iAmount);
        EXPECT_EQ(T(g_tsSlept.tv_sec, g_tsSlept.tv_nsec), slept) << iAmount;
    }
}

TEST(WaitTime, DeadlinesCarryAndStayWithinTheClock)
{
    constexpr std::time_t kLast = std::numeric_limits<std::time_t>::max();
    using T = std::pair<std::time_t, long>; // seconds and nanoseconds
    using C = std::tuple<T, unsigned long, T>;
    for (const auto& [now, dwMilliseconds, deadline] :
         {C{{10, 999'999}, 999, {10, 999'999'999}}, // a nanosecond short of a carry
          C{{10, 1'000'000}, 999, {11, 0}}, C{{10, 999'999'999}, 1'999, {12, 998'999'999}},
          C{{1'700'000'000, 999'999'999}, 0xFFFFFFFE, {1'704'294'968, 293'999'999}},
          C{{kLast - 1, 5}, 1'000, {kLast, 5}}, C{{kLast, 5}, 1'000, {kLast, 999'999'999}},
          C{{kLast, 999'999'999}, 1, {kLast, 999'999'999}},
          C{{-2, 500'000'000}, 1'500, {0, 0}}}) // a clock before 1970
    {
        const auto ts = mu::DeadlineAfter({now.first, now.second}, dwMilliseconds);
        EXPECT_EQ(T(ts.tv_sec, ts.tv_nsec), deadline);
    }
}

} // namespace
