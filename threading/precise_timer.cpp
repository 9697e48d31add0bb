#include "threading/precise_timer.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <limits>

#include "logging/logger.h"
#include "threading/clock_calls.h"
#include "threading/system_clock.h"
#include "threading/timers_set.h"

namespace
{

constexpr unsigned long long kRawPerSecond = 1'000'000'000;
constexpr int kRawPerMicrosecond = 1'000;

std::atomic<clockid_t> g_clock{CLOCK_MONOTONIC};

// Set while the failure is logged: the logger reads the clock for that message, which fails again
// and must not be logged in its turn.
thread_local bool g_bLoggingFailure = false;

[[gnu::cold]] void LogFailure(clockid_t clock, int iResult)
{
    const int iError = errno;
    ITextLogger* const ptlLogger = mu::TextLoggerFor(IBaseLogger::Error);
    if (ptlLogger == nullptr || g_bLoggingFailure)
    {
        return;
    }
    g_bLoggingFailure = true;
    ptlLogger->LogMessageF(IBaseLogger::Error, "Get time clk=%d result=%d, errno=(%d) %s",
                           static_cast<int>(clock), iResult, iError, std::strerror(iError));
    g_bLoggingFailure = false;
}

bool ReadClock(clockid_t clock, std::timespec& time)
{
    const int iResult = mu::clock_calls::GetTime(clock, &time);
    if (iResult != 0) [[unlikely]]
    {
        LogFailure(clock, iResult);
    }
    return iResult == 0;
}

// Running timers hold readings of the monotonic clock, so they are told.
[[gnu::cold]] void FallBackToWallClock()
{
    g_clock.store(CLOCK_REALTIME, std::memory_order_relaxed);
    if (CTimersSet* const pTimers = mu::GetTimersSet())
    {
        pTimers->UpdateTimers();
    }
}

constexpr long long kMost = std::numeric_limits<long long>::max();
constexpr long long kLeast = std::numeric_limits<long long>::min();

// Of an elapsed time, which is not negative.
long long SaturatedSum(long long llElapsed, long long llMore)
{
    long long llSum = 0;
    return __builtin_add_overflow(llElapsed, llMore, &llSum) ? kMost : llSum;
}

} // namespace

CPreciseTimer::CPreciseTimer()
{
    if (CTimersSet* const pTimers = mu::GetTimersSet())
    {
        pTimers->AddTimer(this);
    }
}

CPreciseTimer::~CPreciseTimer()
{
    if (CTimersSet* const pTimers = mu::GetTimersSet())
    {
        pTimers->ReleaseTimer(this);
    }
}

void CPreciseTimer::StartTimer()
{
    m_llElapsed = 0;
    m_ullLastReading.store(GetCurrentRawTime(), std::memory_order_relaxed);
    m_bRunning.store(true, std::memory_order_relaxed);
}

void CPreciseTimer::StopTimer()
{
    UpdateIfRunning();
    m_bRunning.store(false, std::memory_order_relaxed);
}

long long CPreciseTimer::GetRawTime()
{
    UpdateIfRunning();
    return m_llElapsed;
}

long long CPreciseTimer::GetTime()
{
    return GetRawTimeInMicroseconds(GetRawTime());
}

long long CPreciseTimer::GetRawFutureTime(long long llMicroseconds)
{
    return SaturatedSum(GetRawTime(), GetRawTimeFromMicroseconds(llMicroseconds));
}

bool CPreciseTimer::HasTimePassed(long long llMicroseconds)
{
    if (llMicroseconds < 1)
    {
        return true;
    }
    return !mu::IsClockBeingSet() && GetRawTime() >= GetRawTimeFromMicroseconds(llMicroseconds);
}

void CPreciseTimer::HandleTimeChanged()
{
    if (m_bRunning.load(std::memory_order_relaxed))
    {
        m_ullLastReading.store(GetCurrentRawTime(), std::memory_order_relaxed);
    }
}

void CPreciseTimer::UpdateElapsed()
{
    // The clock is read first: if it falls back to CLOCK_REALTIME, it resets the last reading.
    const unsigned long long ullNow = GetCurrentRawTime();
    const auto llDelta =
        static_cast<long long>(ullNow - m_ullLastReading.load(std::memory_order_relaxed));
    m_ullLastReading.store(ullNow, std::memory_order_relaxed);
    if (llDelta >= 1)
    {
        m_llElapsed = SaturatedSum(m_llElapsed, llDelta);
    }
}

void CPreciseTimer::UpdateIfRunning()
{
    if (m_bRunning.load(std::memory_order_relaxed))
    {
        UpdateElapsed();
    }
}

unsigned long long CPreciseTimer::GetCurrentRawTime()
{
    std::timespec time{};
    const clockid_t clock = g_clock.load(std::memory_order_relaxed);
    if (!ReadClock(clock, time) && clock == CLOCK_MONOTONIC)
    {
        FallBackToWallClock();
        ReadClock(CLOCK_REALTIME, time);
    }
    return static_cast<unsigned long long>(time.tv_sec) * kRawPerSecond +
           static_cast<unsigned long long>(time.tv_nsec);
}

bool CPreciseTimer::IsClockSettable()
{
    return g_clock.load(std::memory_order_relaxed) == CLOCK_REALTIME;
}

long long CPreciseTimer::GetRawTimeFromMicroseconds(long long llMicroseconds)
{
    long long llRaw = 0;
    return __builtin_mul_overflow(llMicroseconds, kRawPerMicrosecond, &llRaw)
               ? (llMicroseconds < 0 ? kLeast : kMost)
               : llRaw;
}

long long CPreciseTimer::GetRawTimeInMicroseconds(long long llRawTime)
{
    return llRawTime / kRawPerMicrosecond;
}
