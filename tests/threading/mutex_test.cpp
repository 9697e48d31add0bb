#include "threading/mutex.h"

#include <cstdio>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "logging/logger.h"
#include "tests/support/failing_heap.h"
#include "tests/threading/threads.h"
#include "threading/auto_delete.h"
#include "threading/event.h"
#include "threading/wait_time.h"

namespace
{

struct SFlagged : ISticky
{
    explicit SFlagged(bool& bDestroyed) : m_bDestroyed(bDestroyed) {}
    bool& m_bDestroyed;

protected:
    ~SFlagged() { m_bDestroyed = true; }
};
using CCounted = AutoDeleteThreadObjectImpl<SFlagged>;

TEST(Mutex, ReportsMisuseAndGoesOn)
{
    CFunctionSwitch fsCaller("T::Caller");
    CMutualExclusion mutex;
    testing::internal::CaptureStdout();
    EXPECT_TRUE(mutex.Lock(mu::kInfinite) && mutex.Lock(0));
    mutex.Unlock();
    EXPECT_TRUE(mutex.IsLockedByCurrentThread()) << "once of twice";
    mutex.Unlock();
#ifndef __SANITIZE_THREAD__ // which reports the misuse itself
    StartTraced([&] { EXPECT_TRUE(!mutex.IsLocked() && mutex.Lock(0)); }).join();
    EXPECT_TRUE(mutex.IsLocked() && !mutex.IsLockedByCurrentThread());
    mutex.Unlock(); // of another thread's lock
#endif
    mutex.Unlock();
    char szOwner[11];
    std::snprintf(szOwner, sizeof(szOwner), "0x%08X", static_cast<unsigned int>(pthread_self()));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              std::string("Thread Relocking Error [count=1]\r\nMtEx::Lock m_dwLockingThreadID=") +
                  szOwner +
                  " m_iLockCount=1\r\nT::Caller\r\n\r\n"
                  "Mutex unlock error: count=0\r\nMtEx::Unlock\r\nT::Caller\r\n\r\n");
    EXPECT_FALSE(mutex.IsLocked());
}

TEST(Mutex, ZeroTriesAndEverythingElseWaitsWithoutLimit)
{
    CMutualExclusion mutex;
    CPosixEventObject tried;
    CPosixEventObject locked;
    CMutexProtection own(mutex, mu::kInfinite);
    std::thread other = StartTraced(
        [&]
        {
            CMutexProtection guard(mutex, 0);
            EXPECT_FALSE(guard.IsLocked() || guard.Lock(0));
            guard.Unlock(); // what it has not
            tried.Signal();
            EXPECT_TRUE(guard.Lock(1) && guard.Lock(1) && mutex.IsLockedByCurrentThread());
            locked.Signal();
        });
    EXPECT_TRUE(tried.Wait(mu::kInfinite) && mutex.IsLockedByCurrentThread());
    EXPECT_FALSE(locked.Wait(30)) << "beyond its millisecond";
    own.Unlock();
    other.join();
    EXPECT_FALSE(mutex.IsLocked());
}

TEST(Mutex, WithoutMemoryIsNeverLocked)
{
    if (CFailingHeap::kAvailable)
    {
        GetAllocExVarsStorage();
        bool bDestroyed = false;
        const CFailingHeap heap(1);
        EXPECT_THROW(new CCounted(bDestroyed), std::bad_alloc);
        CMutualExclusion mutex;
        EXPECT_FALSE(mutex.IsValid() || mutex.Lock(0) || mutex.Lock(mu::kInfinite));
    }
}

TEST(AutoDelete, GoesWithTheLastReferenceOnWhicheverThread)
{
    for (int iRound = 0; iRound < 500; ++iRound)
    {
        bool bDestroyed = false;
        auto* const pCounted = new CCounted(bDestroyed);
        EXPECT_EQ(pCounted->AddRef(), 1);
        EXPECT_EQ(pCounted->AddRef(), 2);
        std::thread other = StartTraced([=] { pCounted->Release(); });
        EXPECT_GE(pCounted->Release(), 0);
        other.join();
        ASSERT_TRUE(bDestroyed);
    }
}

} // namespace
