#ifndef ZOR_THREADING_WAIT_TIME_H
#define ZOR_THREADING_WAIT_TIME_H

#include <ctime>
#include <limits>

namespace mu
{

/// Wait times are milliseconds. 0 only looks; this value has no limit, nor has any above it that a
/// 64-bit unsigned long can hold.
inline constexpr unsigned long kInfinite = 0xFFFFFFFF;

/// The moment dwMilliseconds (below kInfinite) after tsNow, or the last one that time_t can hold if
/// that is earlier.
constexpr std::timespec DeadlineAfter(std::timespec tsNow, unsigned long dwMilliseconds)
{
    constexpr long kNanosecondsPerSecond = 1'000'000'000;
    constexpr std::time_t kLastSecond = std::numeric_limits<std::time_t>::max();

    auto tSeconds = static_cast<std::time_t>(dwMilliseconds / 1000);
    // The sum stays below two seconds, whose nanoseconds a 32-bit long can hold.
    tsNow.tv_nsec += static_cast<long>(dwMilliseconds % 1000) * 1'000'000;
    if (tsNow.tv_nsec >= kNanosecondsPerSecond)
    {
        tsNow.tv_nsec -= kNanosecondsPerSecond;
        ++tSeconds;
    }
    if (tsNow.tv_sec > kLastSecond - tSeconds)
    {
        tsNow.tv_sec = kLastSecond;
        tsNow.tv_nsec = kNanosecondsPerSecond - 1;
        return tsNow;
    }
    tsNow.tv_sec += tSeconds;
    return tsNow;
}

} // namespace mu

#endif
