#include "threading/sleep.h"

#include <ctime>

#include <unistd.h>

namespace
{

// usleep() takes 32 bits of microseconds: it would wrap after 71 minutes.
void Sleep(int iAmount, int iPerSecond)
{
    if (iAmount <= 0)
    {
        return;
    }
    std::timespec tsAmount;
    tsAmount.tv_sec = iAmount / iPerSecond;
    tsAmount.tv_nsec = iAmount % iPerSecond * (1'000'000'000L / iPerSecond);
    nanosleep(&tsAmount, nullptr);
}

} // namespace

namespace mu
{

void SleepMS(int iMilliseconds)
{
    Sleep(iMilliseconds, 1'000);
}

void SleepMicroSeconds(int iMicroSeconds)
{
    Sleep(iMicroSeconds, 1'000'000);
}

bool ThreadContextSwitch(const char*)
{
    ::sleep(0);
    return true;
}

} // namespace mu
