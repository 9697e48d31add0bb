#ifndef ZOR_TESTS_THREADING_THREADS_H
#define ZOR_TESTS_THREADING_THREADS_H

#include <cstddef>
#include <thread>
#include <utility>

#include <pthread.h>

#include "diagnostics/function_state.h"

/// A thread that frees what its tracing holds before it ends.
template <typename TBody>
std::jthread StartTraced(TBody body)
{
    return std::jthread(
        [body = std::move(body)]() mutable
        {
            body();
            FreeThreadExVarsStorage();
        });
}

/// No thread can be started in its scope.
class CNoThreads
{
public:
    CNoThreads()
    {
        pthread_getattr_default_np(&m_attributes);
        pthread_attr_getstacksize(&m_attributes, &m_uStackSize);
        SetStackSize(~std::size_t{0} / 16 * 15);
    }
    ~CNoThreads() { SetStackSize(m_uStackSize); }

private:
    void SetStackSize(std::size_t uBytes)
    {
        pthread_attr_setstacksize(&m_attributes, uBytes);
        pthread_setattr_default_np(&m_attributes);
    }

    pthread_attr_t m_attributes;
    std::size_t m_uStackSize = 0;
};

#endif
