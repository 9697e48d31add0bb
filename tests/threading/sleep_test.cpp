#include "threading/sleep.h"

#include <climits>
#include <thread>

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include "threading/event.h"

namespace
{

struct SSleepCase
{
    void (*pSleep)(int);
    int iAmount;
    bool bShort;
};

constexpr SSleepCase kSleepCases[] = {
    {mu::SleepMS, 0, true},
    {mu::SleepMS, INT_MIN, true},
    {mu::SleepMicroSeconds, -1, true},
    {mu::SleepMicroSeconds, 1'000, true},
    {mu::SleepMS, 1'999, false},
    {mu::SleepMS, 4'294'968, false}, // 704 microseconds, were they counted in 32 bits
    {mu::SleepMicroSeconds, INT_MAX, false},
};

TEST(Sleep, LastsItsTimeUnlessASignalComes)
{
    struct sigaction action
    {
    };
    struct sigaction actionBefore
    {
    };
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, &actionBefore);
    for (const SSleepCase& row : kSleepCases)
    {
        SCOPED_TRACE(row.iAmount);
        CPosixEventObject returned;
        std::thread sleeper(
            [&]
            {
                row.pSleep(row.iAmount);
                returned.Signal();
            });
        EXPECT_EQ(returned.Wait(row.bShort ? 10'000 : 30), row.bShort);
        while (!returned.Wait(1))
        {
            pthread_kill(sleeper.native_handle(), SIGUSR1);
        }
        sleeper.join();
    }
    sigaction(SIGUSR1, &actionBefore, nullptr);
    EXPECT_TRUE(mu::ThreadContextSwitch("a look round"));
}

} // namespace
