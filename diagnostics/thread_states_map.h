#ifndef ZOR_DIAGNOSTICS_THREAD_STATES_MAP_H
#define ZOR_DIAGNOSTICS_THREAD_STATES_MAP_H

#include <map>

#include "diagnostics/state_records.h"
#include "threading/posix_mutex.h"

/// The storage of every thread that traces. Its mutex guards insertion, erasure and reports. The
/// process has one while any thread has storage; mu::CThreadStatesMapScope gives access to it.
class CThreadStatesMap
{
public:
    CThreadStatesMap() = default;
    ~CThreadStatesMap() { pthread_mutex_destroy(&m_mutex); }

    CThreadStatesMap(const CThreadStatesMap&) = delete;
    CThreadStatesMap& operator=(const CThreadStatesMap&) = delete;

    /// All threads' chains as text (diagnostics/state_report.h). Returns the bytes written, 0 if
    /// the lock fails or the head does not fit.
    int PrintAllStateReports(char* szBuffer, int iBufferSize);

    /// By pthread_t.
    std::map<unsigned long, SPosixThreadExceptionVars*> m_mapThreads ZOR_GUARDED_BY(m_mutex);
    mu::CPosixMutex m_mutex = PTHREAD_MUTEX_INITIALIZER; ///< which cannot fail
};

namespace mu
{

/// From now on LockForReport() waits half a second at most: the thread that holds a lock when the
/// process crashes may never give it back.
void SetCrashMode();
/// Locks a mutex that a report needs. False if the lock fails or, in a crash, is not free in time.
bool LockForReport(CPosixMutex& mutex) ZOR_TRY_ACQUIRE(true, mutex);

/// The same for a scope.
class ZOR_SCOPED_CAPABILITY CReportLock
{
public:
    explicit CReportLock(CPosixMutex& mutex) ZOR_ACQUIRE(mutex)
        : m_mutex(mutex), m_bLocked(LockForReport(mutex))
    {
    }
    ~CReportLock() ZOR_RELEASE()
    {
        if (m_bLocked)
        {
            pthread_mutex_unlock(&m_mutex);
        }
    }

    CReportLock(const CReportLock&) = delete;
    CReportLock& operator=(const CReportLock&) = delete;

    bool IsLocked() const { return m_bLocked; }

private:
    CPosixMutex& m_mutex;
    const bool m_bLocked;
};

/// Keeps the process's map from being made or freed for a scope, so that a report can walk it
/// (under the map's own mutex). Threads that register or leave wait meanwhile; do not nest.
class CThreadStatesMapScope
{
public:
    CThreadStatesMapScope();
    ~CThreadStatesMapScope();

    CThreadStatesMapScope(const CThreadStatesMapScope&) = delete;
    CThreadStatesMapScope& operator=(const CThreadStatesMapScope&) = delete;

    /// Null if the process has no map, or if a crash could not lock it.
    CThreadStatesMap* GetMap() const;

private:
    const bool m_bLocked;
};

} // namespace mu

#endif
