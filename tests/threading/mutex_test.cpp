#include "threading/mutex.h"

#include <thread>

#include <gtest/gtest.h>

#include "tests/support/failing_heap.h"
#include "tests/threading/threads.h"
#include "threading/event.h"
#include "threading/wait_time.h"

namespace
{

TEST(Mutex, ReportsMisuseAndGoesOn)
{
    CFunctionSwitch fsCaller("T::Caller");
    CMutualExclusion mutex;
    testing::internal::CaptureStdout();
    EXPECT_TRUE(mutex.Lock(mu::kInfinite) && mutex.Lock(0));
    mutex.Unlock();
    EXPECT_TRUE(mutex.IsLockedByCurrentThread()) << "once of twice";
    mutex.Unlock();
    mutex.Unlock();
    std::string strReports = testing::internal::GetCapturedStdout();
    char szOwner[11];
    std::snprintf(szOwner, sizeof(szOwner), "0x%08X", static_cast<unsigned int>(pthread_self()));
    EXPECT_EQ(strReports, std::string("Thread Relocking Error [count=1]\r\n"
                                      "MtEx::Lock m_dwLockingThreadID=") +
                              szOwner +
                              " m_iLockCount=1\r\nT::Caller\r\n\r\n"
                              "Mutex unlock error: count=0\r\nMtEx::Unlock\r\nT::Caller\r\n\r\n");
    EXPECT_FALSE(mutex.IsLocked());
}

TEST(Mutex, ZeroTriesAndEverythingElseWaitsWithoutLimit)
{
    CMutualExclusion mutex;
    CPosixEventObject locked;
    CMutexProtection own(mutex, mu::kInfinite);
    StartTraced([&] { EXPECT_FALSE(CMutexProtection(mutex, 0).IsLocked()); }).join();
    EXPECT_TRUE(mutex.IsLockedByCurrentThread());
    std::thread other = StartTraced(
        [&]
        {
            CMutexProtection guard(mutex, 1);
            EXPECT_TRUE(guard.Lock(1) && mutex.IsLockedByCurrentThread());
            locked.Signal();
        });
    EXPECT_FALSE(locked.Wait(30)) << "beyond its millisecond";
    own.Unlock();
    other.join();
    EXPECT_FALSE(mutex.IsLocked());
}

TEST(Mutex, WithoutMemoryIsNeverLocked)
{
    GetAllocExVarsStorage();
    const CFailingHeap heap(0);
    CMutualExclusion mutex;
    EXPECT_EQ(mutex.IsValid() || mutex.Lock(0) || mutex.Lock(1), !CFailingHeap::kAvailable);
}

} // namespace
