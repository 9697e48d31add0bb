#ifndef ZOR_DIAGNOSTICS_CRASH_HANDLER_H
#define ZOR_DIAGNOSTICS_CRASH_HANDLER_H

#include "diagnostics/backtrace.h"

class CWinEvent;

// What happens when the program cannot go on: SIGABRT, SIGFPE, SIGILL, SIGSEGV or SIGBUS arrives,
// or code calls one of the Fatal functions. A report is written to standard output, the process's
// text logger, a log file and a dated file, an event is signalled, and the process exits or starts
// again.
//
// A crash always ends the process, with the exit code that is set. If the reporting thread crashes
// again, the process ends at once; if the report hangs, it ends when the time limit is over.
// Another thread that crashes meanwhile waits for the end. After a crash only loggers and exit
// handlers allocate memory.
//
// The settings are made before threads start. Texts and the argument vector are kept as pointers,
// paths as copies.

/// Installs the handler and starts a thread, which sleeps until a crash; further calls only change
/// settings. A null argument leaves its setting as it is, and so does an iArgCount of 0. Reports
/// are appended to the log file (a path of at most 256 characters), which is made if it is missing.
/// The argument vector, normally main()'s own, restarts the program; a null ends it. Reports tell
/// the time in the time zone that is set now.
void SetPosixExceptionHandler(const char* szApplication, const char* szVersion,
                              const wchar_t* wszExceptionLogFile, int iArgCount, char** ppArgs);
/// The folder (a path of at most 255 characters) in which each report gets its own file, such as
/// "2024/03 March/07/Exception_18_30_59.txt". A file of that name is replaced. Null or empty for
/// none.
void SetRootExceptionFilesFolder(const wchar_t* wszFolder);
/// Whether the program restarts after a crash instead of exiting, if it has an argument vector; off
/// at first.
void EnableProgramRestart(bool bEnable);
/// The event is signalled when the report has been delivered; the process ends one second later. It
/// is not owned. Null for none.
void SetCrashEvent(CWinEvent* pEvent);
/// 1 at first.
void SetPosixExceptionProcessExitCode(int iExitCode);

namespace mu
{

/// For a log that keeps lines in memory: pfnWrite is called once, as the last step of a crash's
/// delivery, also when the logger hung or crashed before, and also in a forked child that crashes.
/// ReportException() does not call it. It runs in a signal handler, on any thread, under the time
/// limit, and the crash may have interrupted the log itself: so it makes system calls only, waits
/// for no lock without a limit and allocates nothing. Null for none; may be set at any time.
void SetCrashLogWriter(void (*pfnWrite)());
/// The longest time from a crash to the end or the restart; 10000 at first. If the delivery still
/// hangs at one place at half of it, the report is delivered to the remaining places.
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

/// Whether szText points at the report of the crash under way. That text stays where it is until
/// the process ends, so a logger may keep the pointer instead of a copy.
bool IsCrashReport(const char* szText);

} // namespace mu

#endif
