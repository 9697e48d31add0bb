#ifndef ZOR_THREADING_WAIT_TIME_H
#define ZOR_THREADING_WAIT_TIME_H

#include <ctime>
#include <limits>

namespace mu
{

/// Wait times are milliseconds: 0 only looks; this one, and whatever a wider unsigned long holds
/// above it, has no limit.
inline constexpr unsigned long kInfinite = 0xFFFFFFFF;

/// The moment dwMilliseconds (below kInfinite) after tsNow; the clock's last one where a 32-bit
/// time_t cannot tell it.
constexpr std::timespec DeadlineAfter(std::timespec tsNow, unsigned long dwMilliseconds)
{
    constexpr long kNanosecondsPerSecond = 1'000'000'000;
    constexpr std::time_t kLastSecond = std::numeric_limits<std::time_t>::max();

    auto tSeconds = static_cast<std::time_t>(dwMilliseconds / 1000);
    // Below two seconds, which a long of 32 bits still holds.
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
