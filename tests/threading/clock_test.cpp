#include "threading/system_clock.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>

#include "mu/calendar.h"
#include "tests/support/line_logger.h"
#include "tests/threading/threads.h"
#include "threading/clock_calls.h"
#include "threading/precise_timer.h"
#include "threading/timers_set.h"

namespace
{

constexpr long long kSecond = 1'000'000'000;

// The machine's clocks: their times in nanoseconds, the errors of calls (0: none), and the calls.
long long g_allTimes[] = {1'700'000'000 * kSecond, 5 * kSecond};
long long& g_llWall = g_allTimes[CLOCK_REALTIME];
long long& g_llMonotonic = g_allTimes[CLOCK_MONOTONIC];
int g_aiReadErrors[2] = {};
int g_iSetError = 0;
int g_iOpenError = 0;
int g_iHardwareError = 0;
std::string g_strCalls;

int Fail(int iError)
{
    errno = iError;
    return iError == 0 ? 0 : -1;
}

} // namespace

int mu::clock_calls::GetTime(clockid_t clock, std::timespec* pTime)
{
    pTime->tv_sec = static_cast<std::time_t>(g_allTimes[clock] / kSecond);
    pTime->tv_nsec = static_cast<long>(g_allTimes[clock] % kSecond);
    return Fail(g_aiReadErrors[clock]);
}

int mu::clock_calls::SetTime(clockid_t clock, const std::timespec* pTime)
{
    g_strCalls = "set " + std::to_string(pTime->tv_sec);
    g_allTimes[clock] = pTime->tv_sec * kSecond + pTime->tv_nsec;
    return Fail(g_iSetError);
}

int mu::clock_calls::OpenHardwareClock(const char* szPath)
{
    g_strCalls += std::string(" ") + szPath;
    return g_iOpenError != 0 ? Fail(g_iOpenError) : ::open("/dev/null", O_RDONLY | O_CLOEXEC);
}

int mu::clock_calls::SetHardwareClock(int, const std::tm* pTime)
{
    char szTime[50];
    std::strftime(szTime, sizeof(szTime), " %F %T", pTime);
    g_strCalls += szTime;
    return Fail(g_iHardwareError);
}

namespace
{

struct SListener final : mu::IClockListener
{
    void HandleClockSet() override
    {
        g_strCalls += m_timer.HasTimePassed(1) ? " passed" : " told";
        mu::SetCurrentLocalTimeComponents({}); // of no effect
    }

    CPreciseTimer m_timer;
};

TEST(Clock, TimersCountOnlyForwardsAndOnlyWhileTheyRun)
{
    CPreciseTimer timer;
    EXPECT_TRUE(timer.HasTimePassed(0) && !timer.HasTimePassed(1));
    timer.StartTimer();
    for (const long long llStep : {1'500LL, -900LL, 0LL, 2'499LL})
    {
        g_llMonotonic += llStep;
        timer.UpdateElapsed();
    }
    EXPECT_TRUE(timer.HasTimePassed(3) && !timer.HasTimePassed(4));
    g_llMonotonic += 1;
    timer.StopTimer();
    g_llMonotonic += kSecond;
    EXPECT_EQ(timer.GetTime(), 4);
    EXPECT_EQ(timer.GetRawFutureTime(-5), -1'000);
    EXPECT_EQ(timer.GetRawFutureTime(LLONG_MAX), LLONG_MAX);
    EXPECT_FALSE(timer.HasTimePassed(LLONG_MAX));
    timer.StartTimer();
    EXPECT_EQ(timer.GetRawTime(), 0);
}

struct SSetCase
{
    int iSetError;
    int iOpenError;
    int iHardwareError;
    const char* szCalls;
    std::vector<std::string> vLines;
};

TEST(Clock, IsSetAsFarAsItGoes)
{
    ::setenv("TZ", "XXX-2YYY,M3.5.0,M10.5.0", 1); // two hours ahead, three in summer
    constexpr char kAll[] = "set 1720000000 /dev/rtc0 2024-07-03 12:46:40 told";
    const SSetCase aCases[] = {
        {0, 0, 0, kAll, {}},
        {EPERM,
         ENOENT,
         0,
         "set 1720000000 /dev/rtc0 told",
         {"3 Failed to set time: " + ErrorText(EPERM),
          "3 Failed to open time file /dev/rtc0: " + ErrorText(ENOENT)}},
        {0, 0, EINVAL, kAll, {"3 Failed to set hardware time: " + ErrorText(EINVAL)}},
    };
    SListener listener;
    mu::SetClockListener(&listener);
    listener.m_timer.StartTimer();
    g_llMonotonic += kSecond;
    CLineLogger logger;
    const int iChanges = mu::GetNumClockChanges();
    for (const SSetCase& row : aCases)
    {
        g_iSetError = row.iSetError;
        g_iOpenError = row.iOpenError;
        g_iHardwareError = row.iHardwareError;
        mu::SetCurrentLocalTimeComponents({2024, 7, 3, 12, 46, 40});
        EXPECT_EQ(g_strCalls, row.szCalls);
        EXPECT_EQ(logger.TakeLines(), row.vLines);
        EXPECT_TRUE(listener.m_timer.HasTimePassed(1));
    }
    EXPECT_EQ(mu::GetNumClockChanges(), iChanges + 3);
    mu::SetClockListener(nullptr);
    g_iHardwareError = 0;
}

TEST(Clock, ConvertsLocalTimeAndUTC)
{
    ::setenv("TZ", "XXX-2", 1);
    ::tzset();
    long long llSeconds = 0;
    mu::STimeComponents time;
    EXPECT_EQ(mu::SetLocalTimeComponents(llSeconds, {2024, 1, 31, 24, 0, 0}), 1'706'738'400);
    EXPECT_TRUE(mu::GetLocalTimeComponents(llSeconds, time));
    EXPECT_EQ(time, (mu::STimeComponents{2024, 2, 1, 0, 0, 0}));
    mu::GetTimeComponents(llSeconds, time);
    EXPECT_EQ(time, (mu::STimeComponents{2024, 1, 31, 22, 0, 0}));
    EXPECT_EQ(mu::SetTimeComponents(llSeconds, time), 1'706'738'400);
    EXPECT_FALSE(mu::GetLocalTimeComponents(LLONG_MAX, time));
    EXPECT_EQ(mu::GetTimestamp(ULLONG_MAX), LLONG_MAX);
}

// Last: the fall-back is for good.
TEST(ClockFallBack, TakesTheWallClockAndHidesItsJumps)
{
    mu::InitTimersSet();
    {
        CPreciseTimer timer;
        timer.StartTimer();
        CLineLogger logger;
        g_aiReadErrors[CLOCK_MONOTONIC] = EINVAL;
        timer.UpdateElapsed();
        EXPECT_EQ(
            logger.TakeLines(),
            std::vector<std::string>{"3 Get time clk=1 result=-1, errno=" + ErrorText(EINVAL)});
        g_llWall += 7'000;
        EXPECT_EQ(timer.GetTime(), 7);
        StartTraced([] { mu::SetCurrentLocalTimeComponents({2030, 1, 1, 0, 0, 0}); }).join();
        EXPECT_EQ(timer.GetTime(), 7);
        EXPECT_EQ(mu::GetTimestamp(), g_llWall / 1'000);
    }
    mu::DeleteTimersSet();
}

} // namespace
