#ifndef ZOR_THREADING_POSIX_MUTEX_H
#define ZOR_THREADING_POSIX_MUTEX_H

#include <pthread.h>

#include "threading/thread_safety.h"

namespace mu
{

/// The system's mutex, untraced, for what must not trace and for what locks too often to.
/// PTHREAD_MUTEX_INITIALIZER sets it up, and it needs no end.
using CPosixMutex ZOR_CAPABILITY("mutex") = pthread_mutex_t;

/// Holds such a mutex for a scope. Used by one thread.
class ZOR_SCOPED_CAPABILITY CPosixLock
{
public:
    explicit CPosixLock(CPosixMutex& mutex) ZOR_ACQUIRE(mutex) : m_mutex(mutex) { Lock(); }
    ~CPosixLock() ZOR_RELEASE()
    {
        if (m_bLocked)
        {
            Unlock();
        }
    }

    CPosixLock(const CPosixLock&) = delete;
    CPosixLock& operator=(const CPosixLock&) = delete;

    /// Between the two the scope does not hold it.
    void Unlock() ZOR_RELEASE()
    {
        m_bLocked = false;
        pthread_mutex_unlock(&m_mutex);
    }
    void Lock() ZOR_ACQUIRE()
    {
        pthread_mutex_lock(&m_mutex);
        m_bLocked = true;
    }

private:
    CPosixMutex& m_mutex;
    bool m_bLocked = false;
};

} // namespace mu

#endif
