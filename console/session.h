#ifndef ZOR_CONSOLE_SESSION_H
#define ZOR_CONSOLE_SESSION_H

#include <cstdint>

// The operator's session. One thread; the state is the process's.

extern std::uint8_t g_bRunning; ///< the session goes on while it is not 0
extern char g_szInputLine[200]; ///< the line being typed
extern int g_iInputLineIndex;   ///< the characters in it

/// Takes one byte from standard input into the line and interprets the line at its end.
void ReadUserInput(int iOutPipe);

/// Carries out a whole line: iLength characters and a NUL.
void ParseInputLine(const char* szLine, int iLength, int iOutPipe);

/// The program: opens the pipes and serves the operator until he leaves. Returns the exit code.
int RunSession();

#endif
