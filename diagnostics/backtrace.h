#ifndef ZOR_DIAGNOSTICS_BACKTRACE_H
#define ZOR_DIAGNOSTICS_BACKTRACE_H

/// Writes the calling thread's stack: the line "Backtrace:", then at most 16 frames, innermost
/// first, in the form of backtrace_symbols(3). The first frame is the caller's. Each line ends in
/// "\r\n"; the first line that does not fit ends the text. Returns the bytes written; there is no
/// terminating zero. Allocates nothing. Of a damaged stack it writes the frames that can be found.
int Backtrace(char* szBuffer, int iBufferSize);

#endif
