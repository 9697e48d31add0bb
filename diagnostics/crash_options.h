#ifndef ZOR_DIAGNOSTICS_CRASH_OPTIONS_H
#define ZOR_DIAGNOSTICS_CRASH_OPTIONS_H

#include <atomic>

class CWinEvent;

namespace mu
{

/// What the application has asked of a crash. The calls of diagnostics/crash_handler.h set the
/// options, before threads start, and tell what each means. A crash reads them in a signal handler,
/// so they are plain values and pointers at what stays in place.
struct SCrashOptions
{
    static constexpr int kMostLogFileLength = 256; ///< characters of the path; the rest is cut off
    static constexpr int kMostFolderLength = 255;  ///< likewise

    const char* m_szApplicationName = "Unknown Application";
    const char* m_szVersion = "Unknown Version";
    const char* m_szLogFile = ""; ///< a path in UTF-8, empty for none
    const char* m_szFolder = "";  ///< likewise
    char** m_ppRestartArgs = nullptr;
    CWinEvent* m_pEvent = nullptr;
    int m_iExitCode = 1;
    int m_iTimeLimit = 10'000; ///< milliseconds
    bool m_bRestart = false;
    std::atomic<void (*)()> m_pfnWriteLog{nullptr}; ///< may be set at any time

    /// Both copy the path; there is room for the options of one process.
    void SetLogFile(const wchar_t* wszPath);
    void SetFolder(const wchar_t* wszPath);
};

/// The process's options.
extern constinit SCrashOptions g_crashOptions;

} // namespace mu

#endif
