#ifndef ZOR_DIAGNOSTICS_CRASH_WATCHDOG_H
#define ZOR_DIAGNOSTICS_CRASH_WATCHDOG_H

namespace mu
{

// What ends a crashing process that does not end by itself. At half of the time limit SIGALRM comes
// to whichever thread takes it and delivers what is left of the report; at the limit a thread
// restarts or ends the process, or where there is none (in a forked child) a second SIGALRM.

/// 1
extern int g_iProcessExitCode;
[[noreturn]] void EndProcessAtOnce();

/// From the crash to the end of the process, 10000 ms.
void SetCrashTimeLimit(int iMilliseconds);

/// Starts the thread. Before anything goes wrong; once.
void StartCrashWatchdog();
/// Starts the time. Both run in a signal handler or on the watchdog's thread; pRestart returns if
/// the program is not to be restarted.
void ArmCrashWatchdog(void (*pDeliverRest)(), void (*pRestart)());

} // namespace mu

#endif
