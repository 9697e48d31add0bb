#ifndef ZOR_DIAGNOSTICS_CRASH_WATCHDOG_H
#define ZOR_DIAGNOSTICS_CRASH_WATCHDOG_H

namespace mu
{

// Ends a crashing process that does not end by itself. At half of the time limit SIGALRM interrupts
// some thread, and its handler takes the steps of the delivery that are left. At the limit the
// watchdog's thread restarts or ends the process; in a forked child, which has no such thread, a
// second SIGALRM does.

/// With the exit code that is set.
[[noreturn]] void EndProcessAtOnce();

/// Starts the watchdog's thread. Called once, before a crash.
void StartCrashWatchdog();
/// Starts the time limit. Both functions are called in a signal handler or on the watchdog's
/// thread; pRestart returns if the program is not to be restarted.
void ArmCrashWatchdog(void (*pDeliverRest)(), void (*pRestart)());

} // namespace mu

#endif
