#ifndef ZOR_THREADING_SIMPLE_THREAD_H
#define ZOR_THREADING_SIMPLE_THREAD_H

#include <memory>

namespace mu
{
struct SSimpleThreadRun;
}

/// The base of a worker: a derived class gives the body of a detached thread.
///
/// The object must live until ThreadMain() returns or, as the thread's last act, destroys it.
/// Nothing of this class touches it after that, so "delete this" may end ThreadMain().
///
/// One thread starts it and asks for the id and the last error; any thread may set the priority and
/// write reports.
class CSimpleThread
{
public:
    CSimpleThread(const CSimpleThread&) = delete;
    CSimpleThread& operator=(const CSimpleThread&) = delete;

    /// The thread's body. An exception that leaves it ends the thread, and is logged.
    virtual int ThreadMain(void* pParam) = 0;

    /// What StartThread() hands to pthread_create(), with parameters of its own.
    static void* MyMainThreadFunction(void* pParameters);

    /// Starts a thread that calls ThreadMain(pParam). The name (null is "") shows in reports. Gives
    /// the thread's id, 0 for none, if pdwThreadID is not null. False when the system gives no
    /// thread or memory: GetLastError() tells why, and nothing else changes.
    bool StartThread(const char* szThreadName, void* pParam, unsigned long* pdwThreadID);

    /// Gives the running thread a priority in real time (SCHED_FIFO). False without a thread, or if
    /// the system refuses.
    bool SetThreadPriority(int iPriority);

    /// Writes the chain of functions in which the running thread is, as WriteStateReport() does,
    /// and returns its length; 0 without a thread. The thread goes on meanwhile, but does not end.
    int WriteStateReport(char* szBuffer, int iBufferSize);

    /// The error number of the last start, 0 if it succeeded.
    int GetLastError() const { return m_iLastError; }
    /// Of the thread that was started last, a pthread_t; 0 before. The system gives it to a new
    /// thread once this one has ended.
    unsigned long GetThreadID() const { return m_dwThreadID; }

protected:
    /// Throws std::bad_alloc without memory.
    CSimpleThread();
    ~CSimpleThread();

private:
    int m_iLastError = 0;
    unsigned long m_dwThreadID = 0;
    // Shared with the thread, which may outlive this object.
    const std::shared_ptr<mu::SSimpleThreadRun> m_pRun;
};

#endif
