#ifndef ZOR_DIAGNOSTICS_CRASH_HANDLER_H
#define ZOR_DIAGNOSTICS_CRASH_HANDLER_H

#include "diagnostics/backtrace.h"

class CWinEvent;

// What happens when the program cannot go on: SIGABRT, SIGFPE, SIGILL, SIGSEGV or SIGBUS arrives,
// or code calls one of the Fatal functions. A report is written to standard output, the process's
// text logger, a log file and a dated file, an event is signalled, and the process exits or starts
// again.
//
// A crash always ends the process, with the exit code that is set: a second one of the same thread
// during the report at once, a report that hangs when the time limit is over. Another thread that
// crashes meanwhile waits for that end. Nothing is allocated after a crash but by loggers and exit
// handlers.
//
// The settings are made before threads start. Texts and the argument vector are kept as pointers,
// paths as copies.

/// Installs the handler; further calls only change settings. Null arguments change nothing, nor
/// does an iArgCount of 0. The log file (at most 256 characters) is made if missing and appended
/// to. The argument vector, which a null ends, restarts the program: normally main()'s own. Reports
/// tell the time in the time zone that is set now. Starts a thread, which sleeps until the crash.
void SetPosixExceptionHandler(const char* szApplication, const char* szVersion,
                              const wchar_t* wszExceptionLogFile, int iArgCount, char** ppArgs);
/// The folder (at most 255 characters) of the files
/// "2024/03 March/07/Exception_18_30_59.txt", which are made or replaced. Null or empty for none.
void SetRootExceptionFilesFolder(const wchar_t* wszFolder);
/// Off at first. With an argument vector, the program restarts instead of exiting.
void EnableProgramRestart(bool bEnable);
/// Signalled when the report is out, one second before the end. Null for none.
void SetCrashEvent(CWinEvent* pEvent);
/// 1 at first.
void SetPosixExceptionProcessExitCode(int iExitCode);

namespace mu
{

/// Called once as the last step of a crash's delivery, before the end or the restart: for a log
/// that has lines in memory. It runs in a signal handler, on any thread, under the time limit, also
/// when the logger's step hung or crashed, or when the crash interrupted the log itself: system
/// calls only, no lock without a limit, no allocation. A forked child that crashes calls it too. A
/// report that ends nothing (ReportException()) does not. Null for none; may be set at any time.
void SetCrashLogWriter(void (*pfnWrite)());
/// From the crash to the end or the restart, at most; 10000 at first. At half of it, a report that
/// hangs in one place is delivered to the remaining ones.
void SetCrashTimeLimit(int iMilliseconds);

} // namespace mu

/// Ends the program with a report on the calling thread.
[[noreturn]] void FatalProgramError(const char* szText);
/// Ends the program with a report on all threads.
[[noreturn]] void FatalProgramState(const char* szText);

/// Delivers a report, a text of iLength bytes that a zero ends, without ending anything.
void ReportException(char* szReport, int iLength);

namespace mu
{

/// Whether a text is the report of the crash under way, which stays in place until the process
/// ends: a logger need not copy it.
bool IsCrashReport(const char* szText);

} // namespace mu

#endif
