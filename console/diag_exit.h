#ifndef ZOR_CONSOLE_DIAG_EXIT_H
#define ZOR_CONSOLE_DIAG_EXIT_H

/// How zor-diag ends. Scripts depend on the numbers; docs/zor-diag.md explains them.
enum EDiagExit
{
    DIAG_ANSWERED = 0,
    DIAG_NO_SUCH_DIAGNOSTIC = 1,
    DIAG_BAD_USAGE = 2,
    DIAG_NO_RECORDER = 3, ///< nobody listens, or the pipes cannot be opened
    DIAG_NO_ANSWER = 4,   ///< none in time
    DIAG_BAD_ANSWER = 5,  ///< one that breaks the protocol, or is too large for memory
    DIAG_NOT_WRITTEN = 6, ///< standard output has not taken everything
};

/// Tells the reason on standard error, a line that begins with the program's name, and returns the
/// code.
[[gnu::format(printf, 2, 3)]] EDiagExit EndWith(EDiagExit eExit, const char* szFormat, ...);

#endif
