#ifndef ZOR_DIAGNOSTICS_CRASH_BACKTRACE_H
#define ZOR_DIAGNOSTICS_CRASH_BACKTRACE_H

#include <ucontext.h>

// Backtrace() (diagnostics/backtrace.h) for a crash report, which begins it further out: none of
// the report's own functions takes one of the 16 places.

namespace mu
{

/// From that caller on to which this address returns.
int BacktraceFrom(const void* pReturnAddress, char* szBuffer, int iBufferSize);
/// From where a signal came: in its handler, which must not return afterwards.
int BacktraceOfSignal(ucontext_t& context, char* szBuffer, int iBufferSize);

/// Loads what a backtrace needs. To be called once, before anything goes wrong.
void PrepareBacktrace();

} // namespace mu

#endif
