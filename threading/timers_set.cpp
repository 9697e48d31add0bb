#include "threading/timers_set.h"

#include <atomic>
#include <new>

#include "threading/precise_timer.h"
#include "threading/wait_time.h"

namespace
{

std::atomic<CTimersSet*> g_pTimersSet{nullptr};

} // namespace

CTimersSet::CTimersSet()
{
    if (!m_mutex.IsValid())
    {
        throw std::bad_alloc();
    }
}

void CTimersSet::AddTimer(CPreciseTimer* pTimer)
{
    const CMutexProtection lock(m_mutex, mu::kInfinite);
    try
    {
        if (lock.IsLocked())
        {
            m_setTimers.insert(pTimer);
        }
    }
    catch (const std::bad_alloc&)
    {
        // No memory. The timer works, but counts a jump of the clock.
    }
}

void CTimersSet::ReleaseTimer(CPreciseTimer* pTimer)
{
    const CMutexProtection lock(m_mutex, mu::kInfinite);
    if (lock.IsLocked())
    {
        m_setTimers.erase(pTimer);
    }
}

void CTimersSet::UpdateTimers()
{
    const CMutexProtection lock(m_mutex, mu::kInfinite);
    if (!lock.IsLocked())
    {
        return;
    }
    for (CPreciseTimer* const pTimer : m_setTimers)
    {
        pTimer->HandleTimeChanged();
    }
}

namespace mu
{

void InitTimersSet()
{
    if (g_pTimersSet == nullptr)
    {
        g_pTimersSet = new CTimersSet;
    }
}

void DeleteTimersSet()
{
    delete g_pTimersSet.exchange(nullptr);
}

CTimersSet* GetTimersSet()
{
    return g_pTimersSet.load(std::memory_order_acquire);
}

} // namespace mu
