#ifndef ZOR_THREADING_PRECISE_TIMER_H
#define ZOR_THREADING_PRECISE_TIMER_H

#include <atomic>
#include <cstdint>

/// A stopwatch that never counts backwards. It belongs to one thread; only HandleTimeChanged() may
/// come from another.
///
/// Raw times are nanoseconds of the timer clock: CLOCK_MONOTONIC, and for the whole process and
/// for good CLOCK_REALTIME once that cannot be read. Then a jump of the wall clock counts as time
/// that passed, but not in the timers set (threading/timers_set.h) if this program made it.
/// Microseconds that a raw time cannot hold give its end.
class CPreciseTimer
{
public:
    /// Not running, at 0, and in the timers set if there is one.
    CPreciseTimer();
    ~CPreciseTimer();

    CPreciseTimer(const CPreciseTimer&) = delete;
    CPreciseTimer& operator=(const CPreciseTimer&) = delete;

    /// From 0.
    void StartTimer();
    /// Keeps what has elapsed.
    void StopTimer();

    /// What has elapsed while the timer ran.
    long long GetRawTime();
    /// The same in microseconds.
    long long GetTime();
    /// What will have elapsed in so many microseconds.
    long long GetRawFutureTime(long long llMicroseconds);
    /// Whether so much has elapsed: always when that is below 1, else never while the clock is
    /// being set.
    bool HasTimePassed(long long llMicroseconds);

    /// The clock was set: what has passed since the timer last looked is not known.
    void HandleTimeChanged();
    /// Adds what has passed since the timer last looked, if it is more than nothing.
    void UpdateElapsed();

    /// The timer clock. Logs a failure to read it; 0 if even CLOCK_REALTIME cannot be read.
    static unsigned long long GetCurrentRawTime();
    /// Whether the timer clock is the wall clock.
    static bool IsClockSettable();

    static long long GetRawTimeFromMicroseconds(long long llMicroseconds);
    static long long GetRawTimeInMicroseconds(long long llRawTime);

private:
    void UpdateIfRunning();

    std::atomic<bool> m_bRunning{false};
    std::atomic<std::uint64_t> m_ullLastReading{0};
    long long m_llElapsed = 0;
};

#endif
