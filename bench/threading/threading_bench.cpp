#include <chrono>
#include <mutex>

#include <benchmark/benchmark.h>
#include <pthread.h>

#include "bench/support/second_thread.h"
#include "diagnostics/function_state.h"
#include "threading/mutex.h"
#include "threading/precise_timer.h"
#include "threading/wait_time.h"

namespace
{

// An uncontended lock and unlock, in a function that is traced itself, as nearly every one is.

void PairZor(benchmark::State& state)
{
    const CSecondThread second;
    CFunctionSwitch fsCaller("B::Pair");
    CMutualExclusion mutex;
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(mutex.Lock(mu::kInfinite));
        mutex.Unlock();
    }
}

void PairPosix(benchmark::State& state)
{
    const CSecondThread second;
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(pthread_mutex_lock(&mutex));
        pthread_mutex_unlock(&mutex);
    }
}

void PairStd(benchmark::State& state)
{
    const CSecondThread second;
    std::mutex mutex;
    for (auto _ : state)
    {
        mutex.lock();
        mutex.unlock();
    }
}

// The microseconds that have passed.

void TimerZor(benchmark::State& state)
{
    CPreciseTimer timer;
    timer.StartTimer();
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(timer.GetTime());
    }
}

void TimerStd(benchmark::State& state)
{
    const auto start = std::chrono::steady_clock::now();
    for (auto _ : state)
    {
        const auto elapsed = std::chrono::steady_clock::now() - start;
        benchmark::DoNotOptimize(
            std::chrono::duration_cast<std::chrono::microseconds>(elapsed).count());
    }
}

BENCHMARK(PairZor)->Name("Mutex/lock+unlock/zor");
BENCHMARK(PairPosix)->Name("Mutex/lock+unlock/pthread");
BENCHMARK(PairStd)->Name("Mutex/lock+unlock/std");
BENCHMARK(TimerZor)->Name("Timer/GetTime/zor");
BENCHMARK(TimerStd)->Name("Timer/GetTime/std");

} // namespace
