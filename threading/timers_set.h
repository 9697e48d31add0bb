#ifndef ZOR_THREADING_TIMERS_SET_H
#define ZOR_THREADING_TIMERS_SET_H

#include <set>

#include "threading/mutex.h"

class CPreciseTimer;

/// The timers that are to be told when the clock they read is set. Any thread may call any
/// operation. A timer for which there is no memory is not told.
class CTimersSet
{
public:
    /// Throws std::bad_alloc without memory for the lock.
    CTimersSet();

    CTimersSet(const CTimersSet&) = delete;
    CTimersSet& operator=(const CTimersSet&) = delete;

    void AddTimer(CPreciseTimer* pTimer);
    void ReleaseTimer(CPreciseTimer* pTimer);
    /// HandleTimeChanged() of every timer, by address.
    void UpdateTimers();

private:
    CMutualExclusion m_mutex;
    std::set<CPreciseTimer*> m_setTimers ZOR_GUARDED_BY(m_mutex);
};

namespace mu
{

/// Makes the process's set if there is none; timers that are made from then on enter it. Called
/// before other threads use timers. Throws std::bad_alloc without memory.
void InitTimersSet();
/// Frees the process's set. Its timers stay as they are; no other thread may use timers meanwhile.
void DeleteTimersSet();
/// The process's set, null if there is none.
CTimersSet* GetTimersSet();

} // namespace mu

#endif
