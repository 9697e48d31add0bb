#ifndef ZOR_THREADING_MUTEX_H
#define ZOR_THREADING_MUTEX_H

#include <atomic>
#include <memory>

#include <pthread.h>

#include "diagnostics/function_state.h"
#include "threading/thread_id.h"
#include "threading/thread_safety.h"

/// A lock that knows its owner and counts its locks.
///
/// To lock it again on the owner's thread, or to unlock it when it is free, is a fault of the
/// program's design: it is told on standard output, in one piece and with the calling thread's
/// state report, and the program goes on. So the lock is recursive in effect, and each relock
/// shows.
///
/// Any thread may call any operation but the destructor. A lock whose set-up failed for want of
/// memory is invalid: Lock() returns false at once.
class ZOR_CAPABILITY("mutex") CMutualExclusion
{
public:
    CMutualExclusion();
    /// In any state. A thread that holds the lock must not touch it any more.
    ~CMutualExclusion();

    CMutualExclusion(const CMutualExclusion&) = delete;
    CMutualExclusion& operator=(const CMutualExclusion&) = delete;

    /// Returns whether the caller holds the lock now. 0 only tries; every other value waits without
    /// a limit, whatever time it stands for.
    bool Lock(unsigned long dwMilliseconds) ZOR_TRY_ACQUIRE(true)
    {
        CFunctionSwitch fsLock("MtEx::Lock");
        fsLock.GetEntry()->m_pFirstParam = &m_paramOwner;
        fsLock.GetEntry()->m_pLastParam = &m_paramCount;

        const unsigned long dwThreadID = mu::GetCurrentThreadID();
        if (IsOwner(dwThreadID)) [[unlikely]]
        {
            ReportRelock(m_iLockCount.load(std::memory_order_relaxed));
        }
        else if (!Acquire(dwMilliseconds)) [[unlikely]]
        {
            return false;
        }
        m_iLockCount.store(m_iLockCount.load(std::memory_order_relaxed) + 1,
                           std::memory_order_relaxed);
        m_dwLockingThreadID.store(dwThreadID, std::memory_order_relaxed);
        return true;
    }

    /// Takes one Lock() back, also of another thread. With the last one the lock is free, and the
    /// object is not touched any more: another thread that waits may destroy it.
    void Unlock() ZOR_RELEASE()
    {
        CFunctionSwitch fsUnlock("MtEx::Unlock");

        const int iLockCount = m_iLockCount.load(std::memory_order_relaxed);
        if (iLockCount < 1) [[unlikely]]
        {
            ReportUnlockOfFree(iLockCount);
            return;
        }
        m_iLockCount.store(iLockCount - 1, std::memory_order_relaxed);
        if (iLockCount == 1) [[likely]]
        {
            m_dwLockingThreadID.store(mu::kNoThreadID, std::memory_order_relaxed);
            if (const int iError = pthread_mutex_unlock(m_pMutex.get()); iError != 0) [[unlikely]]
            {
                ReportUnlockError(iError);
            }
        }
    }

    bool IsValid() const { return m_pMutex != nullptr; }
    bool IsLocked() const { return m_iLockCount.load(std::memory_order_relaxed) > 0; }
    bool IsLockedByCurrentThread() const { return IsOwner(mu::GetCurrentThreadID()); }

private:
    // A thread can only see its own id here if it wrote it, so this needs no lock.
    bool IsOwner(unsigned long dwThreadID) const
    {
        return m_dwLockingThreadID.load(std::memory_order_relaxed) == dwThreadID;
    }
    bool Acquire(unsigned long dwMilliseconds)
    {
        pthread_mutex_t* const pMutex = m_pMutex.get();
        return pMutex != nullptr && (dwMilliseconds != 0 ? pthread_mutex_lock(pMutex)
                                                         : pthread_mutex_trylock(pMutex)) == 0;
    }

    [[gnu::cold]] static void ReportRelock(int iLockCount);
    [[gnu::cold]] static void ReportUnlockOfFree(int iLockCount);
    [[gnu::cold]] static void ReportUnlockError(int iError);

    const std::unique_ptr<pthread_mutex_t> m_pMutex; // null: invalid
    // Written by whoever holds the mutex.
    std::atomic<int> m_iLockCount{0};
    std::atomic<unsigned long> m_dwLockingThreadID{mu::kNoThreadID};
    // What Lock() traces. It names members, so it is made once and not with each call; it never
    // changes, so the threads share it.
    SFuncStateParam m_paramCount{"m_iLockCount", &m_iLockCount, FPT_INT, nullptr};
    SFuncStateParam m_paramOwner{"m_dwLockingThreadID", &m_dwLockingThreadID, FPT_DWORD,
                                 &m_paramCount};
};

/// Holds a lock for a scope, if it gets it. Used by one thread.
class ZOR_SCOPED_CAPABILITY CMutexProtection
{
public:
    CMutexProtection(CMutualExclusion& mutex, unsigned long dwMilliseconds) ZOR_ACQUIRE(mutex)
        : m_mutex(mutex), m_bLocked(mutex.Lock(dwMilliseconds))
    {
    }
    ~CMutexProtection() ZOR_RELEASE() { Unlock(); }

    CMutexProtection(const CMutexProtection&) = delete;
    CMutexProtection& operator=(const CMutexProtection&) = delete;

    /// True at once if this guard holds the lock already.
    bool Lock(unsigned long dwMilliseconds) ZOR_TRY_ACQUIRE(true)
    {
        m_bLocked = m_bLocked || m_mutex.Lock(dwMilliseconds);
        return m_bLocked;
    }
    void Unlock() ZOR_RELEASE()
    {
        if (m_bLocked)
        {
            m_bLocked = false;
            m_mutex.Unlock();
        }
    }

    bool IsLocked() const { return m_bLocked; }

private:
    CMutualExclusion& m_mutex;
    bool m_bLocked;
};

#endif
