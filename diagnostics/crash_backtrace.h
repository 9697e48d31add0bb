#ifndef ZOR_DIAGNOSTICS_CRASH_BACKTRACE_H
#define ZOR_DIAGNOSTICS_CRASH_BACKTRACE_H

#include <ucontext.h>

// Backtrace() (diagnostics/backtrace.h) for a crash report. It begins at the function that crashed,
// so that the report's own functions take none of the 16 places.

namespace mu
{

/// Begins at the caller to which pReturnAddress leads back.
int BacktraceFrom(const void* pReturnAddress, char* szBuffer, int iBufferSize);
/// Begins where a signal interrupted the thread. For the signal's handler, which must not return
/// afterwards: the context is changed.
int BacktraceOfSignal(ucontext_t& context, char* szBuffer, int iBufferSize);

/// Takes a first backtrace, so that one in a crash need not load anything. Called before a crash.
void PrepareBacktrace();

} // namespace mu

#endif
