#include "diagnostics/crash_watchdog.h"

#include <atomic>
#include <csignal>

#include <pthread.h>
#include <semaphore.h>
#include <sys/time.h>
#include <unistd.h>

#include "diagnostics/crash_options.h"
#include "diagnostics/set_aside_chain.h"
#include "threading/sleep.h"

namespace mu
{

namespace
{

sem_t g_semArmed;
std::atomic<int> g_iAlarms{0};
void (*g_pDeliverRest)() = nullptr;
void (*g_pRestart)() = nullptr;

[[noreturn]] void EndAtTimeLimit()
{
    g_pRestart();
    EndProcessAtOnce();
}

// The time limit has a thread, because a signal might reach nobody: the thread that crashed may be
// in a system call that no signal interrupts, and all other threads may block the signal.
void* Watch(void*)
{
    while (sem_wait(&g_semArmed) != 0)
    {
    }
    SleepMS(g_crashOptions.m_iTimeLimit);
    EndAtTimeLimit();
}

// Again and again: half of the time limit is for the first alarm, the rest for the second.
void StartAlarms(int iMilliseconds)
{
    itimerval timer = {};
    timer.it_value.tv_sec = iMilliseconds / 1000;
    timer.it_value.tv_usec = iMilliseconds % 1000 * 1000 + 1; // 0 would stop the timer
    timer.it_interval = timer.it_value;
    ::setitimer(ITIMER_REAL, &timer, nullptr);
}

void HandleAlarm(int)
{
    if (g_iAlarms.fetch_add(1) > 0)
    {
        EndAtTimeLimit();
    }
    // The loggers trace, and the alarm may have interrupted this thread anywhere, also between the
    // steps of opening an entry.
    const CSetAsideChain chain;
    g_pDeliverRest();
}

} // namespace

void EndProcessAtOnce()
{
    ::_exit(g_crashOptions.m_iExitCode);
}

void StartCrashWatchdog()
{
    sem_init(&g_semArmed, 0, 0);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_attr_setstacksize(&attributes, 256 * 1024UL);

    // The application's signals are not for this thread.
    sigset_t signals;
    sigset_t maskBefore;
    sigfillset(&signals);
    pthread_sigmask(SIG_SETMASK, &signals, &maskBefore);
    pthread_t thread;
    pthread_create(&thread, &attributes, Watch, nullptr); // if it fails, SIGALRM has to do
    pthread_sigmask(SIG_SETMASK, &maskBefore, nullptr);
    pthread_attr_destroy(&attributes);
}

void ArmCrashWatchdog(void (*pDeliverRest)(), void (*pRestart)())
{
    g_iAlarms = 0;
    g_pDeliverRest = pDeliverRest;
    g_pRestart = pRestart;
    sem_post(&g_semArmed);

    struct sigaction action = {};
    action.sa_handler = HandleAlarm;
    action.sa_flags = SA_ONSTACK | SA_NODEFER | SA_RESTART;
    ::sigaction(SIGALRM, &action, nullptr);
    StartAlarms(g_crashOptions.m_iTimeLimit / 2);
}

} // namespace mu
