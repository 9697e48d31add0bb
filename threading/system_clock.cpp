#include "threading/system_clock.h"

#include <atomic>
#include <cerrno>
#include <limits>
#include <utility>

#include <unistd.h>

#include "logging/logger.h"
#include "mu/calendar.h"
#include "threading/clock_calls.h"
#include "threading/precise_timer.h"
#include "threading/timers_set.h"

namespace
{

constexpr long long kTimestampsPerSecond = 1'000'000;
constexpr char kHardwareClock[] = "/dev/rtc0";

std::atomic<bool> g_bSettingClock{false};
std::atomic<int> g_iNumClockChanges{0};
std::atomic<mu::IClockListener*> g_pClockListener{nullptr};

/// Marks the clock as being set for its scope, unless another call already sets it.
class CSettingClock
{
public:
    CSettingClock() : m_bOwn(!g_bSettingClock.exchange(true, std::memory_order_acquire)) {}
    ~CSettingClock()
    {
        if (m_bOwn)
        {
            g_bSettingClock.store(false, std::memory_order_release);
        }
    }

    CSettingClock(const CSettingClock&) = delete;
    CSettingClock& operator=(const CSettingClock&) = delete;

    const bool m_bOwn;
};

std::tm ToStandardTime(const mu::STimeComponents& time)
{
    std::tm standard{};
    standard.tm_isdst = -1; // the system finds out whether daylight-saving time holds
    mu::TimeComponentsToStandardTimeStruct(&standard, time);
    return standard;
}

} // namespace

namespace mu
{

long long GetTimestamp()
{
    return CPreciseTimer::GetRawTimeInMicroseconds(
        static_cast<long long>(CPreciseTimer::GetCurrentRawTime()));
}

long long GetTimestamp(unsigned long long ullSeconds)
{
    constexpr long long kMost = std::numeric_limits<long long>::max();
    return ullSeconds > kMost / kTimestampsPerSecond
               ? kMost
               : static_cast<long long>(ullSeconds) * kTimestampsPerSecond;
}

long long GetTimeVarFromTimestamp(long long llTimestamp)
{
    return llTimestamp / kTimestampsPerSecond;
}

long long GetCurrentUTCTime()
{
    return std::time(nullptr);
}

long long GetCurrentTimestampInteger()
{
    return GetCurrentUTCTime();
}

double GetCurrentTimestampDouble()
{
    return static_cast<double>(GetCurrentUTCTime());
}

bool GetLocalTimeComponents(long long llSeconds, STimeComponents& time)
{
    time = {};
    const auto tSeconds = static_cast<std::time_t>(llSeconds);
    std::tm standard{};
    if (!std::in_range<std::time_t>(llSeconds) || ::localtime_r(&tSeconds, &standard) == nullptr)
    {
        return false;
    }
    StandardTimeStructToTimeComponents(&standard, time);
    return true;
}

long long SetLocalTimeComponents(long long& llSeconds, const STimeComponents& time)
{
    std::tm standard = ToStandardTime(time);
    llSeconds = std::mktime(&standard);
    return llSeconds;
}

void GetTimeComponents(long long llSeconds, STimeComponents& time)
{
    time.FromStandardTimeValue(llSeconds);
}

long long SetTimeComponents(long long& llSeconds, const STimeComponents& time)
{
    llSeconds = time.GetStandardTimeValue();
    return llSeconds;
}

void SetClockListener(IClockListener* pListener)
{
    g_pClockListener.store(pListener, std::memory_order_release);
}

void SetCurrentLocalTimeComponents(const STimeComponents& time)
{
    const CSettingClock settingClock;
    if (!settingClock.m_bOwn)
    {
        return;
    }
    std::tm standard = ToStandardTime(time);
    std::timespec tsTime{};
    tsTime.tv_sec = std::mktime(&standard);
    settime(&tsTime);
    hwclock(&standard);
    g_iNumClockChanges.fetch_add(1, std::memory_order_relaxed);
    CTimersSet* const pTimers = GetTimersSet();
    if (pTimers != nullptr && CPreciseTimer::IsClockSettable())
    {
        pTimers->UpdateTimers();
    }
    if (IClockListener* const pListener = g_pClockListener.load(std::memory_order_acquire))
    {
        pListener->HandleClockSet();
    }
}

bool IsClockBeingSet()
{
    return g_bSettingClock.load(std::memory_order_relaxed);
}

int GetNumClockChanges()
{
    return g_iNumClockChanges.load(std::memory_order_relaxed);
}

int settime(const std::timespec* pTime)
{
    const int iResult = clock_calls::SetTime(CLOCK_REALTIME, pTime);
    if (iResult != 0)
    {
        LogSystemError(errno, "Failed to set time");
    }
    return iResult;
}

int hwclock(std::tm* pTime)
{
    const int iDescriptor = clock_calls::OpenHardwareClock(kHardwareClock);
    if (iDescriptor < 0)
    {
        LogSystemError(errno, "Failed to open time file %s", kHardwareClock);
        return iDescriptor;
    }
    const int iResult = clock_calls::SetHardwareClock(iDescriptor, pTime);
    if (iResult != 0)
    {
        LogSystemError(errno, "Failed to set hardware time");
    }
    ::close(iDescriptor);
    return iResult;
}

} // namespace mu
