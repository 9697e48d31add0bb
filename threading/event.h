#ifndef ZOR_THREADING_EVENT_H
#define ZOR_THREADING_EVENT_H

#include <atomic>
#include <cstdint>
#include <memory>

#include <pthread.h>

#include "threading/thread_id.h"

/// A manual-reset event: once signalled, it lets every present and later waiter pass until
/// Reset(). Waiting does not use the signal up.
///
/// Any thread may call any operation. An event whose set-up failed is invalid: each call
/// returns false at once.
class CPosixEventObject
{
public:
    CPosixEventObject();
    ~CPosixEventObject();

    CPosixEventObject(const CPosixEventObject&) = delete;
    CPosixEventObject& operator=(const CPosixEventObject&) = delete;

    bool IsValid() const { return m_bValid; }
    bool Signal();
    bool Reset();

    /// Waits at most dwMilliseconds (threading/wait_time.h) of the wall clock: a clock that is set
    /// meanwhile shortens or lengthens the wait. Returns whether the event let the caller pass. A
    /// wake-up counts as the signal even if Reset() came between. With 0 it does not even wait for
    /// the event's lock, and returns false while another thread holds that.
    bool Wait(unsigned long dwMilliseconds);

private:
    bool WaitForBroadcast(unsigned long dwMilliseconds);

    pthread_cond_t m_cond;
    pthread_mutex_t m_mutex;
    bool m_bValid = false;
    std::atomic<bool> m_bSignalled{false}; // Reset() clears it without the mutex
};

/// The same, on the heap and traced: state reports show who waits. Without memory it is invalid.
class CWinEvent
{
public:
    CWinEvent();

    CWinEvent(const CWinEvent&) = delete;
    CWinEvent& operator=(const CWinEvent&) = delete;

    bool IsValid() const { return m_pEvent != nullptr && m_pEvent->IsValid(); }
    bool Signal();
    bool Reset();
    bool Wait(unsigned long dwMilliseconds);

    /// The thread inside Wait(), of several the last that came; mu::kNoThreadID when none is.
    unsigned long GetWaitingThreadID() const
    {
        return m_dwWaitingThreadID.load(std::memory_order_relaxed);
    }

private:
    const std::unique_ptr<CPosixEventObject> m_pEvent;
    std::atomic<std::uint32_t> m_dwSignalled{0}; // for whoever reads a memory dump
    std::atomic<unsigned long> m_dwWaitingThreadID{mu::kNoThreadID};
};

#endif
