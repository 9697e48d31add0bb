#ifndef ZOR_TESTS_THREADING_THREADS_H
#define ZOR_TESTS_THREADING_THREADS_H

#include <thread>
#include <utility>

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

#endif
