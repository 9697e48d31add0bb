#ifndef ZOR_BENCH_SUPPORT_SECOND_THREAD_H
#define ZOR_BENCH_SUPPORT_SECOND_THREAD_H

#include <future>
#include <thread>

/// A second thread, asleep: without one, the C library's mutexes cost half.
class CSecondThread
{
public:
    CSecondThread() : m_thread([this] { m_end.get_future().wait(); }) {}
    ~CSecondThread()
    {
        m_end.set_value();
        m_thread.join();
    }

    CSecondThread(const CSecondThread&) = delete;
    CSecondThread& operator=(const CSecondThread&) = delete;

private:
    std::promise<void> m_end;
    std::thread m_thread;
};

#endif
