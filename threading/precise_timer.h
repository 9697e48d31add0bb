#ifndef ZOR_THREADING_PRECISE_TIMER_H
#define ZOR_THREADING_PRECISE_TIMER_H

#include <atomic>
#include <cstdint>

/// A stopwatch that never counts backwards. It belongs to one thread; only HandleTimeChanged() may
/// come from another.
///
/// Raw times are nanoseconds of the timer clock: CLOCK_MONOTONIC, and for the whole process and
/// for good CLOCK_REALTIME once that cannot be read. A timer on CLOCK_REALTIME counts a jump of the
/// wall clock as elapsed time, unless this program set the clock and the timer is in the timers set
/// (threading/timers_set.h), which tells it. Microseconds beyond the range of a raw time become the
/// largest raw time.
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
    /// The raw time that the timer will show after so many more microseconds.
    long long GetRawFutureTime(long long llMicroseconds);
    /// Whether so many microseconds have elapsed. Always true below 1; otherwise false while the
    /// clock is being set.
    bool HasTimePassed(long long llMicroseconds);

    /// The clock was set. The time since the last reading cannot be known and does not count.
    void HandleTimeChanged();
    /// Adds the time since the last reading, unless the clock went backwards.
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
