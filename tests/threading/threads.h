#ifndef ZOR_TESTS_THREADING_THREADS_H
#define ZOR_TESTS_THREADING_THREADS_H

#include <cstddef>
#include <cstdint>
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

/// Whether threads can be started from now on.
inline void LetThreadsStart(bool bStart)
{
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, bStart ? std::size_t{8} << 20 : SIZE_MAX / 16 * 15);
    pthread_setattr_default_np(&attributes);
}

#endif
