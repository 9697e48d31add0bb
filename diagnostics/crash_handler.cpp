#include "diagnostics/crash_handler.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iterator>

#include <pthread.h>
#include <ucontext.h>
#include <unistd.h>

#include "diagnostics/crash_backtrace.h"
#include "diagnostics/crash_file.h"
#include "diagnostics/crash_options.h"
#include "diagnostics/crash_watchdog.h"
#include "diagnostics/exception_delivery.h"
#include "diagnostics/local_times.h"
#include "diagnostics/machine_state.h"
#include "diagnostics/process_restart.h"
#include "diagnostics/set_aside_chain.h"
#include "diagnostics/state_report.h"
#include "threading/sleep.h"

using namespace mu;

namespace
{

struct SCrashSignal
{
    int m_iSignal;
    const char* m_szName;
};
constexpr SCrashSignal kCrashSignals[] = {
    {SIGABRT, "Abort Signal"},       {SIGFPE, "Floating Point Error"},
    {SIGILL, "Illegal Instruction"}, {SIGSEGV, "Segmentation Violation"},
    {SIGBUS, "Bus Error"},
};

// The signals that a write may raise: the reader of standard output has gone, or the file reaches
// the process's limit of file sizes. They are ignored from the crash on, so that the write fails
// with an error and the report goes on. A restarted program gets the settings from before.
constexpr int kSignalsOfWriting[] = {SIGPIPE, SIGXFSZ};
struct sigaction g_vWritingBefore[std::size(kSignalsOfWriting)];

CLocalTimes g_localTimes;

/// The report of the crash under way. The watchdog may deliver it at any moment, as far as it has
/// been composed until then.
constexpr int kReportSize = 32768;
char g_szReport[kReportSize];
std::atomic<int> g_iReportLength{0};
mu::STimeComponents g_timeOfReport;
constinit CExceptionDelivery g_delivery(true);

/// pthread_self() of the thread that reports, and its process; 0 while none does.
std::atomic<unsigned long> g_dwReportingThread{0};
std::atomic<pid_t> g_iReportingProcess{0};

/// The handler's installation calls this, or else the first report, which is not in a handler then.
void LoadLocalTimes()
{
    static pthread_once_t s_once = PTHREAD_ONCE_INIT;
    pthread_once(&s_once, [] { g_localTimes.Load(); });
}

mu::STimeComponents GetLocalTime()
{
    LoadLocalTimes();
    return g_localTimes.At(std::time(nullptr));
}

int ReportRoom()
{
    return kReportSize - 1 - g_iReportLength; // the last byte stays zero
}

char* ReportRest()
{
    return g_szReport + g_iReportLength;
}

void DeliverReport()
{
    g_delivery.Run(g_szReport, g_iReportLength, g_timeOfReport);
}

/// pStack is null in a report on all threads.
void ComposeHead(const char* szText, const void* pStack)
{
    const char* const szApplication = g_crashOptions.m_szApplicationName;
    const char* const szVersion = g_crashOptions.m_szVersion;
    g_timeOfReport = GetLocalTime();
    char szTime[20];
    mu::GetTimeComponentsAsChars(g_timeOfReport, szTime, static_cast<int>(sizeof(szTime)));
    const int iLength =
        pStack != nullptr
            ? std::snprintf(g_szReport, sizeof(g_szReport), "%s %s %s\r\n%s\r\nStack=%p\r\n",
                            szApplication, szVersion, szTime, szText, pStack)
            : std::snprintf(g_szReport, sizeof(g_szReport), "%s %s %s\r\n%s\r\n", szApplication,
                            szVersion, szTime, szText);
    g_iReportLength = std::clamp(iLength, 0, kReportSize - 1);
}

/// Returns if no restart is asked for, or if the system refuses it.
void RestartIfAsked()
{
    if (g_crashOptions.m_bRestart && g_crashOptions.m_ppRestartArgs != nullptr)
    {
        for (std::size_t u = 0; u < std::size(kSignalsOfWriting); ++u)
        {
            ::sigaction(kSignalsOfWriting[u], &g_vWritingBefore[u], nullptr);
        }
        RestartProcess(g_crashOptions.m_ppRestartArgs);
    }
}

/// Makes the calling thread the one that reports. Returns only for the first thread that crashes.
/// If that thread crashes again, the process ends here; any other thread that crashes waits here
/// for the end.
void BecomeReportingThread()
{
    const auto dwThread = static_cast<unsigned long>(pthread_self());
    const pid_t iProcess = ::getpid();
    const bool bInherited = g_iReportingProcess.exchange(iProcess) != iProcess;
    unsigned long dwReporting = 0;
    if (!g_dwReportingThread.compare_exchange_strong(dwReporting, dwThread))
    {
        if (dwReporting == dwThread)
        {
            // If the log writer faults, the thread comes back here, and it is skipped.
            g_delivery.SkipToLogWriter();
            EndProcessAtOnce();
        }
        // A child that was forked while its parent reported inherits this id, but not that thread:
        // the first thread of the child that crashes takes its place.
        if (!bInherited || !g_dwReportingThread.compare_exchange_strong(dwReporting, dwThread))
        {
            for (;;)
            {
                ::pause();
            }
        }
        g_iReportLength = 0;
        g_delivery.Restart();
    }
    ArmCrashWatchdog(DeliverReport, RestartIfAsked);

    // While a signal is blocked, a second crash cannot come back here, nor can the alarm of the
    // time limit interrupt the report.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGALRM);
    for (const SCrashSignal& crash : kCrashSignals)
    {
        sigaddset(&signals, crash.m_iSignal);
    }
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);

    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    for (std::size_t u = 0; u < std::size(kSignalsOfWriting); ++u)
    {
        ::sigaction(kSignalsOfWriting[u], &ignore, &g_vWritingBefore[u]);
    }
    SetCrashMode();
}

[[noreturn]] void EndProcess()
{
    if (g_crashOptions.m_pEvent != nullptr)
    {
        mu::SleepMS(1000);
    }
    RestartIfAsked();
    std::exit(g_crashOptions.m_iExitCode);
}

/// pContext is where a signal interrupted the thread. It is null when the program itself reports an
/// error; the backtrace then begins at the function to which the return address pCaller leads back.
[[noreturn]] void ReportThread(const char* szText, const void* pStack, ucontext_t* pContext,
                               const void* pCaller)
{
    BecomeReportingThread();
    const CSetAsideChain chain;
    ComposeHead(szText, pStack);
    if (SFuncStateEntry* const pEntry = GetCurrentFuncStateEntry())
    {
        g_iReportLength += WriteStateReport(pEntry, ReportRest(), ReportRoom());
    }
    g_iReportLength += pContext != nullptr
                           ? BacktraceOfSignal(*pContext, ReportRest(), ReportRoom())
                           : BacktraceFrom(pCaller, ReportRest(), ReportRoom());
    DeliverReport();
    EndProcess();
}

void HandleCrashSignal(int iSignal, siginfo_t*, void* pContext)
{
    const auto* const pCrash =
        std::find_if(std::begin(kCrashSignals), std::end(kCrashSignals),
                     [=](const SCrashSignal& crash) { return crash.m_iSignal == iSignal; });
    auto& context = *static_cast<ucontext_t*>(pContext);
    // The faulting thread's stack, not the handler's own.
    const auto* const pStack =
        // NOLINTNEXTLINE(performance-no-int-to-ptr)
        reinterpret_cast<const void*>(GetInterruptedState(context).m_uStackPointer);
    ReportThread(pCrash != std::end(kCrashSignals) ? pCrash->m_szName : "Unknown Error", pStack,
                 &context, nullptr);
}

void InstallHandler()
{
    struct sigaction action = {};
    action.sa_sigaction = HandleCrashSignal;
    // SA_NODEFER: a fault inside the handler calls it again. SA_ONSTACK: it has room to run when
    // the thread's stack has overflowed.
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
    for (const SCrashSignal& crash : kCrashSignals)
    {
        ::sigaction(crash.m_iSignal, &action, nullptr);
    }
}

/// Gets beforehand what cannot be had in a crash.
void PrepareOnce()
{
    LoadLocalTimes();
    PrepareBacktrace();
    ReserveDescriptorForCrash();
    StartCrashWatchdog();
}

} // namespace

void InitExceptions_Once()
{
    static pthread_once_t s_once = PTHREAD_ONCE_INIT;
    pthread_once(&s_once, PrepareOnce);
    GetAllocExVarsStorage(); // makes the key and the map, and this thread's stack for the handler
    InstallHandler();
}

void SetPosixExceptionHandler(const char* szApplication, const char* szVersion,
                              const wchar_t* wszExceptionLogFile, int iArgCount, char** ppArgs)
{
    if (szApplication != nullptr)
    {
        g_crashOptions.m_szApplicationName = szApplication;
    }
    if (szVersion != nullptr)
    {
        g_crashOptions.m_szVersion = szVersion;
    }
    if (wszExceptionLogFile != nullptr)
    {
        g_crashOptions.SetLogFile(wszExceptionLogFile);
    }
    if (iArgCount != 0 && ppArgs != nullptr)
    {
        g_crashOptions.m_ppRestartArgs = ppArgs;
    }
    static pthread_once_t s_once = PTHREAD_ONCE_INIT;
    pthread_once(&s_once, InitExceptions_Once);
}

void SetRootExceptionFilesFolder(const wchar_t* wszFolder)
{
    g_crashOptions.SetFolder(wszFolder != nullptr ? wszFolder : L"");
}

void EnableProgramRestart(bool bEnable)
{
    g_crashOptions.m_bRestart = bEnable;
}

void SetCrashEvent(CWinEvent* pEvent)
{
    g_crashOptions.m_pEvent = pEvent;
}

void mu::SetCrashLogWriter(void (*pfnWrite)())
{
    g_crashOptions.m_pfnWriteLog = pfnWrite;
}

void mu::SetCrashTimeLimit(int iMilliseconds)
{
    g_crashOptions.m_iTimeLimit = iMilliseconds;
}

void SetPosixExceptionProcessExitCode(int iExitCode)
{
    g_crashOptions.m_iExitCode = iExitCode;
}

void FatalProgramError(const char* szText)
{
    ReportThread(szText, __builtin_frame_address(0), nullptr, __builtin_return_address(0));
}

void FatalProgramState(const char* szText)
{
    BecomeReportingThread();
    const CSetAsideChain chain;
    ComposeHead(szText, nullptr);
    g_iReportLength += WriteThreadsStateReport(ReportRest(), ReportRoom());
    DeliverReport();
    EndProcess();
}

void ReportException(char* szReport, int iLength)
{
    CExceptionDelivery(false).Run(szReport, iLength, GetLocalTime());
}

bool mu::IsCrashReport(const char* szText)
{
    return szText == g_szReport;
}
