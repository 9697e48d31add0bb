#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "diagnostics/crash_handler.h"
#include "diagnostics/function_state.h"
#include "mu/unicode.h"
#include "tests/support/line_logger.h"
#include "threading/event.h"

// Ends in one way: crash_cell CRASH [THREAD FOLDER OPTION...]

bool g_bReporting = false; // for crash_calls.cpp
bool g_bOldSystem = false;

namespace
{

volatile int g_iZero = 0;
std::mutex g_mutexOfLogger;

// Nothing is there.
constexpr std::uintptr_t kBadAddress = 0x1000;

void CallAddress(std::uintptr_t uAddress)
{
    reinterpret_cast<void (*)()>(uAddress + static_cast<unsigned>(g_iZero))();
    g_iZero = 0;
}

// What overruns a buffer does to the address that its function returns to.
[[gnu::noinline, gnu::no_sanitize_address]] void LoseReturnAddress()
{
    volatile std::uintptr_t uFirst = kBadAddress;
    volatile std::uintptr_t* pWord = &uFirst;
    while (*pWord != reinterpret_cast<std::uintptr_t>(__builtin_return_address(0)))
        ++pWord;
    *pWord = uFirst;
}

} // namespace

// Whose names the backtrace must have.
struct SNamed
{
    [[gnu::noinline]] static void JumpAway() { CallAddress(kBadAddress); }
    [[gnu::noinline]] static void CallNothing() { CallAddress(0); }
    [[gnu::noinline]] static void CallAndGetLost()
    {
        LoseReturnAddress();
        g_iZero = 0;
    }
    [[gnu::noinline]] static void CallTheLost()
    {
        CallAndGetLost(); // not through a pointer, which would not tell its name
        g_iZero = 0;
    }
    [[gnu::noinline]] static void GiveUp() { FatalProgramError("Wrong"); }
};

namespace
{

[[gnu::noinline]] int Overflow(int iDepth)
{
    CFunctionSwitch fsOver("T::Over");
    volatile char vFrame[1000];
    vFrame[0] = static_cast<char>(iDepth);
    return g_iZero == 0 ? Overflow(iDepth + 1) + vFrame[0] : 0;
}

// The second time is found out, and aborted, under the heap's lock.
void CorruptHeap()
{
    char* volatile pBlock = static_cast<char*>(std::malloc(5'000));
    char* volatile pNext = static_cast<char*>(std::malloc(5'000));
    std::free(pBlock);
    std::free(pBlock);
    std::free(pNext);
}

void HoldMapAndGiveUp()
{
    const mu::CThreadStatesMapScope scope;
    pthread_mutex_lock(&scope.GetMap()->m_mutex);
    FatalProgramState("Stuck");
}

void SleepForEver()
{
    for (;;)
        ::pause();
}

void ReplaceOutput(bool bFull)
{
    int vEnds[2];
    if (::pipe(vEnds) != 0 || ::dup2(vEnds[1], STDOUT_FILENO) < 0)
        std::abort();
    ::fcntl(STDOUT_FILENO, F_SETFL, O_NONBLOCK);
    while (bFull && ::write(STDOUT_FILENO, "x", 1) == 1)
    {
    }
    ::fcntl(STDOUT_FILENO, F_SETFL, 0);
    ::close(vEnds[bFull ? 1 : 0]);
}

void MakeOutputNarrow()
{
    ::fcntl(STDOUT_FILENO, F_SETPIPE_SZ, 4096);
    ::fcntl(STDOUT_FILENO, F_SETFL, O_NONBLOCK);
}

void FillFileOfOutput()
{
    constexpr rlimit kLimit = {100'000, 100'000};
    ::setrlimit(RLIMIT_FSIZE, &kLimit);
    ::dup2(::fileno(std::tmpfile()), STDOUT_FILENO);
    ::lseek(STDOUT_FILENO, 100'000, SEEK_SET);
}

void UseUpDescriptors()
{
    constexpr rlimit kLimit = {100, 100};
    ::setrlimit(RLIMIT_NOFILE, &kLimit);
    while (::dup(STDIN_FILENO) >= 0)
    {
    }
}

// What a program that starts again must not find.
void LeaveTraces()
{
    sigset_t signals;
    sigfillset(&signals);
    pthread_sigmask(SIG_SETMASK, &signals, nullptr);
    std::raise(SIGUSR1);
    ::dup2(STDIN_FILENO, 77);
}

void SignalEvent()
{
    static CWinEvent s_event;
    SetCrashEvent(&s_event);
    std::thread([] { s_event.Wait(60'000) && ::write(STDOUT_FILENO, "event\n", 6) == 6; }).detach();
}

// The file of lines, open for the crash's last step.
int g_iLines = -1;
void (*g_pInWriter)() = [] {};
bool g_bWatchCalls = false;

// The crash is a child's, which has only this thread.
void Fork()
{
    int iStatus = 0;
    if (::fork() != 0)
    {
        ::wait(&iStatus);
        ::_exit(WEXITSTATUS(iStatus));
    }
}

// While this process reports, another thread forks off a child that crashes too, and says nothing
// where its parent does.
void CrashInForkedChild()
{
    const auto fork = []
    {
        int iStatus = 0;
        if (::fork() == 0)
        {
            ::close(STDOUT_FILENO);
            SetPosixExceptionHandler(nullptr, nullptr, L"", 0, nullptr);
            SetRootExceptionFilesFolder(nullptr);
            mu::SetCrashLogWriter(nullptr);
            mu::g_ptlTextLogger = nullptr;
            std::atexit([] { ::_exit(42); }); // before leaks are looked for: main() is not in here
            std::raise(SIGSEGV);
        }
        ::wait(&iStatus);
        std::printf("child %d\n", WEXITSTATUS(iStatus));
    };
    std::thread(fork).join();
}

// What the program is when it starts again: tells its descriptors (the tenth is the shell's own)
// and blocked signals, after the time in which an alarm would come.
char g_szShell[] = "/bin/sh";
char g_szShellOption[] = "-c";
char g_szScript[] = "sleep 1\n"
                    "for d in /proc/self/fd/*; do d=${d##*/}\n"
                    "[ -e /proc/self/fd/$d ] && printf '%s ' $d; done\n"
                    "sed -n 's/Sig[BI].*:.//p' /proc/self/status\n"
                    "exit 7\n";

using Action = void (*)();
const std::map<std::string, Action> kCrashes = {
    {"SIGFPE", [] { std::raise(SIGFPE); }},
    {"abort", [] { std::abort(); }},
    {"null", [] { *reinterpret_cast<volatile int*>(static_cast<long>(g_iZero)) = 1; }},
    {"illegal", [] { __builtin_trap(); }},
    {"SIGBUS", [] { std::raise(SIGBUS); }},
    {"overflow", [] { g_iZero = Overflow(0); }},
    {"heap", CorruptHeap},
    {"jump", SNamed::JumpAway},
    {"null-call", SNamed::CallNothing},
    {"lost", SNamed::CallTheLost},
    {"error", SNamed::GiveUp},
    {"state", [] { FatalProgramState("Odd"); }},
    {"long", [] { FatalProgramError(std::string(40'000, 'x').c_str()); }},
    {"map", HoldMapAndGiveUp},
    {"fork-child", CrashInForkedChild},
    {"report", [] { ReportException(std::string("Own").data(), 3), ::_exit(0); }},
};
const std::map<std::string, Action> kOptions = {
    {"short", [] { mu::SetCrashTimeLimit(3'998); }}, // half of it: 999 ms beyond a second
    {"hold-logger", [] { std::thread([] { g_mutexOfLogger.lock(), SleepForEver(); }).detach(); }},
    {"event", SignalEvent},
    {"fork", Fork},
    {"restart", [] { EnableProgramRestart(true); }},
    {"traces", LeaveTraces},
    {"old-system", [] { g_bOldSystem = true; }},
    {"watched", [] { g_bWatchCalls = true; }},
    {"writer-crashes", [] { g_pInWriter = std::abort; }},
    {"writer-hangs-deaf", [] { g_pInWriter = [] { LeaveTraces(), SleepForEver(); }; }},
    {"exit-hangs", [] { std::atexit(SleepForEver); }},
    {"full", [] { ReplaceOutput(true); }},
    {"closed", [] { ReplaceOutput(false); }},
    {"full-file", FillFileOfOutput},
    {"no-descriptors", UseUpDescriptors},
    {"narrow", MakeOutputNarrow},
};

alignas(SPosixThreadExceptionVars) char g_vText[] = "where a pointer should be";

void SetStorage(std::uintptr_t uAddress)
{
    mu::g_pThreadExceptionVars = reinterpret_cast<SPosixThreadExceptionVars*>(uAddress);
}

// What becomes of the chain before the crash.
const std::map<std::string, Action> kDamages = {
    {"overrun", [] { std::memset(GetCurrentFuncStateEntry(), 'A', sizeof(SFuncStateEntry)); }},
    {"circle", [] { GetCurrentFuncStateEntry()->m_pPrevious = GetCurrentFuncStateEntry(); }},
    {"storage",
     [] { std::memset(static_cast<void*>(GetAllocExVarsStorage()), 'A', 2 * sizeof(void*)); }},
    {"no-storage", [] { SetStorage(kBadAddress); }},
    {"text-as-storage", [] { SetStorage(reinterpret_cast<std::uintptr_t>(g_vText)); }},
};
Action g_pDamage = nullptr;

void Crash(const std::string& strCrash)
{
    int iValue = 7;
    CFunctionSwitch fsOuter("T::Out");
    mu::CFunctionParam fpValue(fsOuter, "iValue", iValue);
    CFunctionSwitch fsInner("T::In");
    if (g_pDamage != nullptr)
    {
        g_pDamage();
        std::atexit(
            []
            {
                CFunctionSwitch fsExit("T::Exit");
                std::fputs("exit\n", stdout);
            });
    }
    const Action crash = kCrashes.at(strCrash);
    if (g_bWatchCalls)
    {
        mu::g_ptlTextLogger = nullptr; // it may do what it likes
        g_bReporting = true;
    }
    crash();
}

} // namespace

int main(int iArgs, char** ppArgs)
{
    for (int i = 1; i < NSIG; ++i)
        std::signal(i, SIG_DFL); // whatever the parent ignores
    const std::vector<std::string> vArgs(ppArgs, ppArgs + iArgs);
    SetRootExceptionFilesFolder(nullptr);
    InitExceptions_Once();
    if (iArgs == 2)
        Crash(vArgs[1]);

    std::wstring wsFolder;
    mu::ConvertString(vArgs[3].data(), static_cast<int>(vArgs[3].size()), wsFolder);
    char* vRestart[] = {g_szShell, g_szShellOption, g_szScript, nullptr};
    const bool bVector = vArgs.back() == "vector";
    SetPosixExceptionHandler("Cell", "1.0", (wsFolder + L"/log").c_str(), bVector ? 1 : 0,
                             vRestart);
    SetRootExceptionFilesFolder((wsFolder + L"/dated").c_str());
    SetPosixExceptionProcessExitCode(3);
    mu::SetCrashTimeLimit(60'000);
    g_iLines = ::open((vArgs[3] + "/lines").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    mu::SetCrashLogWriter(
        []
        {
            g_bReporting = false;
            if (::write(g_iLines, "lines", 5) == 5)
                g_pInWriter();
        });

    Action pAgain = nullptr;
    for (const std::string& strOption : vArgs)
        if (const auto it = kOptions.find(strOption); it != kOptions.end())
            it->second();
        else if (const auto itDamage = kDamages.find(strOption); itDamage != kDamages.end())
            g_pDamage = itDamage->second;
        else if (&strOption > &vArgs[3] && kCrashes.count(strOption) > 0)
            pAgain = kCrashes.at(strOption);
    CLineLogger logger;
    logger.m_onMessage = [pAgain]
    {
        CFunctionSwitch fsLogger("T::Log");
        if (pAgain != nullptr)
            pAgain();
        g_mutexOfLogger.lock();
    };
    ::usleep(50'000); // for the options' threads

    if (vArgs[2] == "untraced")
        std::thread(kCrashes.at(vArgs[1])).detach();
    else if (vArgs[2] != "main")
        std::thread(Crash, vArgs[1]).detach();
    if (vArgs[2] == "main" || vArgs[2] == "both")
        Crash(vArgs[1]);
    for (int i = 0; i < 200; ++i)
        ::usleep(100'000); // which an alarm would cut short
    ::_exit(99);
}
