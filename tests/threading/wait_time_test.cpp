#include "threading/wait_time.h"

#include <climits>

#include <gtest/gtest.h>

namespace
{

constexpr std::time_t kLastSecond = std::numeric_limits<std::time_t>::max();

struct SDeadlineCase
{
    const char* szRule;
    std::time_t tSeconds;
    long lNanoseconds;
    unsigned long dwMilliseconds;
    std::time_t tDeadlineSeconds;
    long lDeadlineNanoseconds;
};

constexpr SDeadlineCase kDeadlineCases[] = {
    {"nothing to carry", 1'700'000'000, 5, 1'001, 1'700'000'001, 1'000'005},
    {"a nanosecond short of a carry", 10, 999'999, 999, 10, 999'999'999},
    {"exactly a second", 10, 1'000'000, 999, 11, 0},
    {"the largest carry", 10, 999'999'999, 1'999, 12, 998'999'999},
    {"the longest limited wait", 1'700'000'000, 999'999'999, 0xFFFFFFFE, 1'704'294'968,
     293'999'999},
    {"the clock's last moment", kLastSecond - 1, 999'999'999, 1'000, kLastSecond, 999'999'999},
    {"past it by the seconds", kLastSecond, 5, 1'000, kLastSecond, 999'999'999},
    {"past it by the carry", kLastSecond, 999'999'999, 1, kLastSecond, 999'999'999},
    {"far past it", kLastSecond, 999'999'999, 0xFFFFFFFE, kLastSecond, 999'999'999},
    {"a clock before 1970", -2, 500'000'000, 1'500, 0, 0},
};

TEST(WaitTime, DeadlinesCarryAndStayWithinTheClock)
{
    for (const SDeadlineCase& row : kDeadlineCases)
    {
        SCOPED_TRACE(row.szRule);
        std::timespec tsNow{};
        tsNow.tv_sec = row.tSeconds;
        tsNow.tv_nsec = row.lNanoseconds;
        const std::timespec tsDeadline = mu::DeadlineAfter(tsNow, row.dwMilliseconds);
        EXPECT_EQ(tsDeadline.tv_sec, row.tDeadlineSeconds);
        EXPECT_EQ(tsDeadline.tv_nsec, row.lDeadlineNanoseconds);
    }
}

} // namespace
