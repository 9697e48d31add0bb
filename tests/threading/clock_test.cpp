#include "threading/system_clock.h"

#include <fcntl.h>

#include "mu/calendar.h"
#include "tests/support/failing_heap.h"
#include "tests/support/line_logger.h"
#include "tests/support/testing.h"
#include "threading/clock_calls.h"
#include "threading/precise_timer.h"
#include "threading/timers_set.h"

namespace
{

constexpr long long kSecond = 1'000'000'000;

// The machine's clocks: their times in nanoseconds, the calls that fail, and those that were made.
long long g_allTimes[] = {1'700'000'000 * kSecond, 5 * kSecond};
std::string g_strFailing;
std::string g_strCalls;

int Answer(const char* szCall)
{
    errno = EPERM;
    return g_strFailing.find(szCall) == std::string::npos ? 0 : -1;
}

} // namespace

int mu::clock_calls::GetTime(clockid_t clock, std::timespec* pTime)
{
    pTime->tv_sec = static_cast<std::time_t>(g_allTimes[clock] / kSecond);
    pTime->tv_nsec = static_cast<long>(g_allTimes[clock] % kSecond);
    return Answer(clock == CLOCK_REALTIME ? "wall" : "read");
}

int mu::clock_calls::SetTime(clockid_t clock, const std::timespec* pTime)
{
    g_strCalls = "set " + std::to_string(pTime->tv_sec);
    g_allTimes[clock] = pTime->tv_sec * kSecond + pTime->tv_nsec;
    return Answer("set");
}

int mu::clock_calls::OpenHardwareClock(const char* szPath)
{
    g_strCalls += std::string(" ") + szPath;
    return Answer("open") != 0 ? -1 : ::open("/dev/null", O_RDONLY | O_CLOEXEC);
}

int mu::clock_calls::SetHardwareClock(int iDescriptor, const std::tm* pTime)
{
    EXPECT_GE(::fcntl(iDescriptor, F_GETFD), 0);
    char szTime[50];
    std::strftime(szTime, sizeof(szTime), " %F %T", pTime);
    g_strCalls += szTime;
    return Answer("ioctl");
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
    EXPECT_TRUE(timer.HasTimePassed(0));
    EXPECT_FALSE(timer.HasTimePassed(1));
    timer.StartTimer();
    for (const long long llStep : {1'499LL, 1LL, -900LL, 0LL, 1'500LL})
    {
        g_allTimes[CLOCK_MONOTONIC] += llStep;
        timer.UpdateElapsed();
    }
    g_allTimes[CLOCK_MONOTONIC] += 1'000;
    timer.StopTimer();
    g_allTimes[CLOCK_MONOTONIC] += kSecond;
    EXPECT_EQ(timer.GetTime(), 4);
    EXPECT_TRUE(timer.HasTimePassed(4));
    EXPECT_FALSE(timer.HasTimePassed(5));
    EXPECT_EQ(timer.GetRawFutureTime(-5), -1'000);
    EXPECT_EQ(timer.GetRawFutureTime(LLONG_MIN), LLONG_MIN + 4'000);
    EXPECT_EQ(timer.GetRawFutureTime(LLONG_MAX), LLONG_MAX);
    EXPECT_FALSE(timer.HasTimePassed(LLONG_MAX));
    timer.StartTimer();
    EXPECT_EQ(timer.GetRawTime(), 0);
}

TEST(Clock, IsSetAsFarAsItGoes)
{
    const auto failed = [](const char* szWhat)
    { return std::string("3 Failed to ") + szWhat + ": " + ErrorText(EPERM); };
    const std::pair<std::string, std::vector<std::string>> aFailures[] = {
        {"", {}},
        {"set open", {failed("set time"), failed("open time file /dev/rtc0")}},
        {"ioctl", {failed("set hardware time")}}};
    ::setenv("TZ", "XXX-2YYY,M3.5.0,M10.5.0", 1); // two hours ahead, three in summer
    SListener listener;
    mu::SetClockListener(&listener);
    listener.m_timer.StartTimer();
    g_allTimes[CLOCK_MONOTONIC] += kSecond;
    CLineLogger logger;
    for (const auto& [strFailing, vLines] : aFailures)
    {
        g_strFailing = strFailing;
        const int iChanges = mu::GetNumClockChanges();
        mu::SetCurrentLocalTimeComponents({2024, 6, 33, 12, 46, 40});
        EXPECT_EQ(g_strCalls, std::string("set 1720000000 /dev/rtc0") +
                                  (vLines.size() < 2 ? " 2024-07-03 12:46:40 told" : " told"));
        EXPECT_EQ(logger.TakeLines(), vLines);
        EXPECT_TRUE(listener.m_timer.HasTimePassed(1));
        EXPECT_EQ(mu::GetNumClockChanges(), iChanges + 1);
        std::timespec tsTime{};
        std::tm time{};
        EXPECT_EQ(mu::settime(&tsTime) + mu::hwclock(&time), 0 - static_cast<int>(vLines.size()));
        EXPECT_EQ(logger.TakeLines(), vLines);
    }
    mu::SetClockListener(nullptr);
    mu::STimeComponents time;
    EXPECT_TRUE(mu::GetLocalTimeComponents(1'720'000'000, time));
    EXPECT_EQ(time, (mu::STimeComponents{2024, 7, 3, 12, 46, 40}));
    long long llSeconds = 0;
    EXPECT_EQ(mu::SetLocalTimeComponents(llSeconds, time), 1'720'000'000);
    mu::GetTimeComponents(llSeconds, time);
    EXPECT_EQ(time, (mu::STimeComponents{2024, 7, 3, 9, 46, 40}));
    llSeconds = 0;
    EXPECT_EQ(mu::SetTimeComponents(llSeconds, time), 1'720'000'000);
    EXPECT_EQ(mu::GetTimeVarFromTimestamp(mu::GetTimestamp(5) + 999'999), 5);
    EXPECT_LE(std::time(nullptr) - mu::GetCurrentTimestampInteger(), 0);
    EXPECT_LE(static_cast<double>(std::time(nullptr)) - mu::GetCurrentTimestampDouble(), 0);
    EXPECT_FALSE(mu::GetLocalTimeComponents(LLONG_MAX, time));
    EXPECT_EQ(mu::GetTimestamp(9'223'372'036'854), 9'223'372'036'854'000'000);
    EXPECT_EQ(mu::GetTimestamp(9'223'372'036'855), LLONG_MAX);
}

// Last: the fall-back is for good.
TEST(ClockFallBack, TakesTheWallClockAndHidesItsJumps)
{
    EXPECT_EQ(CFailingHeap::FirstLeakOf(mu::InitTimersSet), CFailingHeap::kAvailable ? 2 : -1);
    mu::InitTimersSet();
    delete new CPreciseTimer; // and is told of nothing
    EXPECT_EQ(CFailingHeap::FirstLeakOf([] { const CPreciseTimer timer; }), -1);
    CPreciseTimer timer, idle;
    timer.StartTimer();
    CLineLogger logger;
    logger.m_onMessage = [&] { timer.GetTime(); }; // which fails in its turn
    g_strFailing = "read";
    timer.UpdateElapsed();
    EXPECT_EQ(logger.TakeLines(),
              std::vector{"3 Get time clk=1 result=-1, errno=" + ErrorText(EPERM)});
    g_allTimes[CLOCK_REALTIME] += 7'000;
    EXPECT_EQ(timer.GetTime(), 7);
    mu::SetCurrentLocalTimeComponents({2030, 1, 1, 0, 0, 0});
    EXPECT_EQ(timer.GetTime(), 7);
    EXPECT_EQ(mu::GetTimestamp(), g_allTimes[CLOCK_REALTIME] / 1'000);
    g_strFailing = "wall";
    timer.UpdateElapsed();
    EXPECT_EQ(logger.TakeLines(),
              std::vector{"3 Get time clk=0 result=-1, errno=" + ErrorText(EPERM)});
    mu::g_ptlTextLogger = nullptr;
    timer.UpdateElapsed();
    mu::DeleteTimersSet();
}

} // namespace
