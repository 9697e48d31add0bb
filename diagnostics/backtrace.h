#ifndef ZOR_DIAGNOSTICS_BACKTRACE_H
#define ZOR_DIAGNOSTICS_BACKTRACE_H

/// The calling thread's stack as text: "Backtrace:" and at most 16 frames, innermost first, in the
/// form of backtrace_symbols(3), each line with "\r\n". Stops before the first that does not fit.
/// Returns the bytes written, without a terminating zero. Allocates nothing once PrepareBacktrace()
/// was called; a damaged stack gives fewer frames or none.
int Backtrace(char* szBuffer, int iBufferSize);

/// Loads what unwinding needs. To be called once, before anything goes wrong.
void PrepareBacktrace();

#endif
