#include "threading/clock_calls.h"

#include <cstddef>

#include <fcntl.h>
#include <linux/rtc.h>
#include <sys/ioctl.h>

static_assert(sizeof(rtc_time) <= sizeof(std::tm) &&
              offsetof(rtc_time, tm_year) == offsetof(std::tm, tm_year) &&
              offsetof(rtc_time, tm_isdst) == offsetof(std::tm, tm_isdst));

int mu::clock_calls::GetTime(clockid_t clock, std::timespec* pTime)
{
    return ::clock_gettime(clock, pTime);
}

int mu::clock_calls::SetTime(clockid_t clock, const std::timespec* pTime)
{
    return ::clock_settime(clock, pTime);
}

int mu::clock_calls::OpenHardwareClock(const char* szPath)
{
    return ::open(szPath, O_RDONLY | O_CLOEXEC);
}

int mu::clock_calls::SetHardwareClock(int iDescriptor, const std::tm* pTime)
{
    return ::ioctl(iDescriptor, RTC_SET_TIME, pTime);
}
