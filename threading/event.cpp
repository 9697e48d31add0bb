#include "threading/event.h"

#include <ctime>
#include <new>

#include "diagnostics/function_state.h"
#include "threading/wait_time.h"

CPosixEventObject::CPosixEventObject()
{
    if (pthread_cond_init(&m_cond, nullptr) != 0)
    {
        return;
    }
    m_bValid = pthread_mutex_init(&m_mutex, nullptr) == 0;
    if (!m_bValid)
    {
        pthread_cond_destroy(&m_cond);
    }
}

CPosixEventObject::~CPosixEventObject()
{
    if (m_bValid)
    {
        pthread_mutex_destroy(&m_mutex);
        pthread_cond_destroy(&m_cond);
    }
}

bool CPosixEventObject::Signal()
{
    if (!m_bValid)
    {
        return false;
    }
    // A lock that fails must not keep the waiters from their signal.
    const bool bLocked = pthread_mutex_lock(&m_mutex) == 0;
    m_bSignalled.store(true, std::memory_order_relaxed);
    const bool bResult = pthread_cond_broadcast(&m_cond) == 0;
    if (bLocked)
    {
        pthread_mutex_unlock(&m_mutex);
    }
    return bResult;
}

bool CPosixEventObject::Reset()
{
    m_bSignalled.store(false, std::memory_order_relaxed);
    return m_bValid;
}

bool CPosixEventObject::Wait(unsigned long dwMilliseconds)
{
    if (!m_bValid)
    {
        return false;
    }
    const int iError =
        dwMilliseconds != 0 ? pthread_mutex_lock(&m_mutex) : pthread_mutex_trylock(&m_mutex);
    if (iError != 0)
    {
        return false;
    }
    const bool bResult = m_bSignalled.load(std::memory_order_relaxed) ||
                         (dwMilliseconds != 0 && WaitForBroadcast(dwMilliseconds));
    pthread_mutex_unlock(&m_mutex);
    return bResult;
}

bool CPosixEventObject::WaitForBroadcast(unsigned long dwMilliseconds)
{
    if (dwMilliseconds >= mu::kInfinite)
    {
        return pthread_cond_wait(&m_cond, &m_mutex) == 0;
    }
    std::timespec tsNow{};
    if (clock_gettime(CLOCK_REALTIME, &tsNow) != 0)
    {
        return false;
    }
    const std::timespec tsDeadline = mu::DeadlineAfter(tsNow, dwMilliseconds);
    return pthread_cond_timedwait(&m_cond, &m_mutex, &tsDeadline) == 0;
}

CWinEvent::CWinEvent() : m_pEvent(new (std::nothrow) CPosixEventObject) {}

bool CWinEvent::Signal()
{
    m_dwSignalled.store(1, std::memory_order_relaxed);
    return m_pEvent != nullptr && m_pEvent->Signal();
}

bool CWinEvent::Reset()
{
    m_dwSignalled.store(0, std::memory_order_relaxed);
    return m_pEvent != nullptr && m_pEvent->Reset();
}

bool CWinEvent::Wait(unsigned long dwMilliseconds)
{
    CFunctionSwitch fsWait("WinEv::Wait");
    mu::CFunctionParam fpMilliseconds(fsWait, "dwMilliseconds", &dwMilliseconds, FPT_INT);

    if (m_pEvent == nullptr)
    {
        return false;
    }
    m_dwWaitingThreadID.store(mu::GetCurrentThreadID(), std::memory_order_relaxed);
    const bool bResult = m_pEvent->Wait(dwMilliseconds);
    m_dwWaitingThreadID.store(mu::kNoThreadID, std::memory_order_relaxed);
    return bResult;
}
