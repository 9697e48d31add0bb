#include "diagnostics/crash_handler.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include <pthread.h>
#include <ucontext.h>
#include <unistd.h>

#include "diagnostics/crash_watchdog.h"
#include "diagnostics/exception_delivery.h"
#include "diagnostics/local_times.h"
#include "diagnostics/process_restart.h"
#include "diagnostics/state_report.h"
#include "threading/sleep.h"

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

bool g_bRestart = false;
char** g_ppRestartArgs = nullptr;
struct sigaction g_brokenPipeBefore;

CLocalTimes g_localTimes;

/// The report under way: what is composed of it can be delivered at any moment.
constexpr int kReportSize = 32768;
char g_szReport[kReportSize];
std::atomic<int> g_iReportLength{0};
mu::STimeComponents g_timeOfReport;
constinit CExceptionDelivery g_delivery(true);

/// pthread_self() of the thread that reports; 0 while none does.
std::atomic<unsigned long> g_dwReportingThread{0};

mu::STimeComponents GetLocalTime()
{
    if (!g_localTimes.IsLoaded()) // nobody installed the handler, so this is none
    {
        g_localTimes.Load();
    }
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
    g_timeOfReport = GetLocalTime();
    char szTime[20];
    mu::GetTimeComponentsAsChars(g_timeOfReport, szTime, static_cast<int>(sizeof szTime));
    const int iLength =
        pStack != nullptr
            ? std::snprintf(g_szReport, sizeof g_szReport, "%s %s %s\r\n%s\r\nStack=%p\r\n",
                            g_szApplicationName, g_szVersion, szTime, szText, pStack)
            : std::snprintf(g_szReport, sizeof g_szReport, "%s %s %s\r\n%s\r\n",
                            g_szApplicationName, g_szVersion, szTime, szText);
    g_iReportLength = std::clamp(iLength, 0, kReportSize - 1);
}

/// The crash's first act. Returns to one thread of the process once.
void BecomeReportingThread()
{
    const auto dwThread = static_cast<unsigned long>(pthread_self());
    unsigned long dwReporting = 0;
    if (!g_dwReportingThread.compare_exchange_strong(dwReporting, dwThread))
    {
        if (dwReporting == dwThread)
        {
            g_delivery.SkipToLogWriter(); // a fault in there comes back here, and ends
            EndProcessAtOnce();
        }
        for (;;)
        {
            ::pause();
        }
    }
    ArmCrashWatchdog(DeliverReport);

    // A blocked signal could not report a second crash, nor the time limit.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGALRM);
    for (const SCrashSignal& crash : kCrashSignals)
    {
        sigaddset(&signals, crash.m_iSignal);
    }
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);

    // A reader of standard output that has gone is no reason to end without a report.
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    ::sigaction(SIGPIPE, &ignore, &g_brokenPipeBefore);
    SetCrashMode();
}

[[noreturn]] void EndProcess()
{
    if (HasExceptionEvent())
    {
        mu::SleepMS(1000);
    }
    if (g_bRestart && g_ppRestartArgs != nullptr)
    {
        ::sigaction(SIGPIPE, &g_brokenPipeBefore, nullptr);
        RestartProcess(g_ppRestartArgs);
    }
    std::exit(g_iProcessExitCode);
}

[[noreturn]] void ReportThread(const char* szText, const void* pStack)
{
    BecomeReportingThread();
    const CTemporaryThreadStorage storage;
    ComposeHead(szText, pStack);
    if (SFuncStateEntry* const pEntry = GetCurrentFuncStateEntry())
    {
        g_iReportLength += WriteStateReport(pEntry, ReportRest(), ReportRoom());
    }
    g_iReportLength += Backtrace(ReportRest(), ReportRoom());
    DeliverReport();
    EndProcess();
}

/// Where the faulting thread's stack stood: the handler runs on another one.
const void* StackPointer([[maybe_unused]] const ucontext_t& context)
{
    // NOLINTBEGIN(performance-no-int-to-ptr)
#if defined(__x86_64__)
    return reinterpret_cast<const void*>(context.uc_mcontext.gregs[REG_RSP]);
#elif defined(__i386__)
    return reinterpret_cast<const void*>(context.uc_mcontext.gregs[REG_ESP]);
#elif defined(__arm__)
    return reinterpret_cast<const void*>(context.uc_mcontext.arm_sp);
#elif defined(__aarch64__)
    return reinterpret_cast<const void*>(context.uc_mcontext.sp);
#else
    return __builtin_frame_address(0);
#endif
    // NOLINTEND(performance-no-int-to-ptr)
}

void HandleCrashSignal(int iSignal, siginfo_t*, void* pContext)
{
    const auto* const pCrash =
        std::find_if(std::begin(kCrashSignals), std::end(kCrashSignals),
                     [=](const SCrashSignal& crash) { return crash.m_iSignal == iSignal; });
    ReportThread(pCrash != std::end(kCrashSignals) ? pCrash->m_szName : "Unknown Error",
                 StackPointer(*static_cast<ucontext_t*>(pContext)));
}

void InstallHandler()
{
    struct sigaction action = {};
    action.sa_sigaction = HandleCrashSignal;
    sigemptyset(&action.sa_mask);
    // A second fault finds its way into the handler, and the overflow of a stack finds room.
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
    for (const SCrashSignal& crash : kCrashSignals)
    {
        ::sigaction(crash.m_iSignal, &action, nullptr);
    }
}

/// All that a crash needs and could not get any more.
void InstallOnce()
{
    g_localTimes.Load();
    PrepareBacktrace();
    StartCrashWatchdog();
    SetCrashSignalInstaller(InstallHandler);
    InitExceptions_Once();
    GetAllocExVarsStorage(); // with it, this thread's stack for the handler
}

} // namespace

void SetPosixExceptionHandler(const char* szApplication, const char* szVersion,
                              const wchar_t* wszExceptionLogFile, int iArgCount, char** ppArgs)
{
    if (szApplication != nullptr)
    {
        g_szApplicationName = szApplication;
    }
    if (szVersion != nullptr)
    {
        g_szVersion = szVersion;
    }
    if (wszExceptionLogFile != nullptr)
    {
        SetExceptionLogFile(wszExceptionLogFile);
    }
    if (iArgCount != 0 && ppArgs != nullptr)
    {
        g_ppRestartArgs = ppArgs;
    }
    static pthread_once_t s_once = PTHREAD_ONCE_INIT;
    pthread_once(&s_once, InstallOnce);
}

void SetRootExceptionFilesFolder(const wchar_t* wszFolder)
{
    SetExceptionFilesFolder(wszFolder);
}

void EnableProgramRestart(bool bEnable)
{
    g_bRestart = bEnable;
}

void SetCrashEvent(CWinEvent* pEvent)
{
    SetExceptionEvent(pEvent);
}

void SetCrashLogWriter(void (*pfnWrite)())
{
    SetExceptionLogWriter(pfnWrite);
}

void SetPosixExceptionProcessExitCode(int iExitCode)
{
    g_iProcessExitCode = iExitCode;
}

void FatalProgramError(const char* szText)
{
    ReportThread(szText, __builtin_frame_address(0));
}

void FatalProgramState(const char* szText)
{
    BecomeReportingThread();
    const CTemporaryThreadStorage storage;
    ComposeHead(szText, nullptr);
    g_iReportLength += WriteThreadsStateReport(ReportRest(), ReportRoom());
    DeliverReport();
    EndProcess();
}

void ReportException(char* szReport, int iLength)
{
    CExceptionDelivery(false).Run(szReport, iLength, GetLocalTime());
}

bool IsCrashReport(const char* szText)
{
    return szText == g_szReport;
}
