#ifndef ZOR_DIAGNOSTICS_BACKTRACE_H
#define ZOR_DIAGNOSTICS_BACKTRACE_H

/// The calling thread's stack as text: "Backtrace:" and at most 16 frames, innermost first, in the
/// form of backtrace_symbols(3), each line with "\r\n". The first is the caller's. Stops before the
/// first that does not fit. Returns the bytes written, without a terminating zero. Allocates
/// nothing; a damaged stack gives what can be found on it.
int Backtrace(char* szBuffer, int iBufferSize);

#endif
