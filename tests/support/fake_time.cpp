#include "tests/support/fake_time.h"

#include "threading/clock_calls.h"

// In place of the C library's. No caller here wants the other result.
extern "C" std::time_t time(std::time_t*) noexcept
{
    std::timespec tsNow{};
    clock_gettime(CLOCK_REALTIME, &tsNow);
    const auto tFake = static_cast<std::time_t>(CFakeTime::s_llTime);
    return tFake < 0 ? tsNow.tv_sec : tFake;
}

// In place of the library's: the system's clock is not touched.
int mu::clock_calls::GetTime(clockid_t clock, std::timespec* pTime)
{
    return ::clock_gettime(clock, pTime);
}
int mu::clock_calls::SetTime(clockid_t, const std::timespec* pTime)
{
    CFakeTime::Set(pTime->tv_sec);
    return 0;
}
int mu::clock_calls::OpenHardwareClock(const char*)
{
    return -1;
}
int mu::clock_calls::SetHardwareClock(int, const std::tm*)
{
    return -1;
}
