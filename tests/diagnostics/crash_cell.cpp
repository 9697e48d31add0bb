#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "diagnostics/crash_handler.h"
#include "diagnostics/function_state.h"
#include "tests/support/line_logger.h"
#include "threading/event.h"

// Ends in one way: crash_cell CRASH [THREAD FOLDER OPTION...]

namespace
{

volatile int g_iZero = 0;
bool g_bAgain = false;
std::mutex g_mutexOfLogger;

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

void ReadBeyondFile()
{
    g_iZero = *static_cast<volatile char*>(
        ::mmap(nullptr, 1, PROT_READ, MAP_SHARED, ::fileno(std::tmpfile()), 0));
}

void HoldMapAndGiveUp()
{
    const CThreadStatesMapScope scope;
    pthread_mutex_lock(&scope.GetMap()->m_mutex);
    FatalProgramState("Stuck");
}

void SleepLong()
{
    std::this_thread::sleep_for(std::chrono::minutes(1));
}

void ReplaceOutput(bool bFull)
{
    int vEnds[2];
    if (::pipe(vEnds) != 0 || ::dup2(vEnds[1], STDOUT_FILENO) < 0)
    {
        std::abort();
    }
    ::fcntl(STDOUT_FILENO, F_SETFL, O_NONBLOCK);
    while (bFull && ::write(STDOUT_FILENO, "x", 1) == 1)
    {
    }
    ::fcntl(STDOUT_FILENO, F_SETFL, 0);
    ::close(vEnds[bFull ? 1 : 0]);
}

// What starts again tells its descriptors and blocked signals, after the time in which an alarm
// would come. It must find nothing of what is left here.
void PrepareRestart()
{
    static char s_szShell[] = "/bin/sh";
    static char s_szOption[] = "-c";
    // Without other processes, for which a shell changes its signals.
    static char s_szScript[] =
        "while read n v; do [ $n = SigBlk: ] && echo $v; done </proc/self/status;"
        "cd /proc/self; for d in fd/*; do [ -e $d ] && echo $d; done; sleep 2; exit 3";
    static char* s_vArguments[] = {s_szShell, s_szOption, s_szScript, nullptr};
    SetPosixExceptionHandler(nullptr, nullptr, nullptr, 3, s_vArguments);
    EnableProgramRestart(true);

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

using Action = void (*)();
const std::map<std::string, Action> kCrashes = {
    {"SIGABRT", [] { std::raise(SIGABRT); }},
    {"SIGFPE", [] { std::raise(SIGFPE); }},
    {"SIGILL", [] { std::raise(SIGILL); }},
    {"SIGSEGV", [] { std::raise(SIGSEGV); }},
    {"SIGBUS", [] { std::raise(SIGBUS); }},
    {"null", [] { *reinterpret_cast<volatile int*>(static_cast<long>(g_iZero)) = 1; }},
    {"divide", [] { g_iZero = 1000 / g_iZero; }},
    {"illegal", [] { __builtin_trap(); }},
    {"file", ReadBeyondFile},
    {"overflow", [] { g_iZero = Overflow(0); }},
    {"heap", CorruptHeap},
    {"error", [] { FatalProgramError("Wrong"); }},
    {"state", [] { FatalProgramState("Odd"); }},
    {"long", [] { FatalProgramError(std::string(40'000, 'x').c_str()); }},
    {"map", HoldMapAndGiveUp},
};
const std::map<std::string, Action> kOptions = {
    {"again", [] { g_bAgain = true; }},
    {"short", [] { SetCrashTimeLimit(3'000); }},
    {"hold-logger", [] { std::thread([] { g_mutexOfLogger.lock(), SleepLong(); }).detach(); }},
    {"event", SignalEvent},
    {"fork", Fork},
    {"restart", [] { EnableProgramRestart(true); }},
    {"restart-arguments", PrepareRestart},
    {"exit-hangs", [] { std::atexit(SleepLong); }},
    {"full", [] { ReplaceOutput(true); }},
    {"closed", [] { ReplaceOutput(false); }},
};

void Crash(const std::string& strCrash)
{
    int iValue = 7;
    CFunctionSwitch fsOuter("T::Out");
    CFunctionParam fpValue(fsOuter, "iValue", iValue);
    CFunctionSwitch fsInner("T::In");
    kCrashes.at(strCrash)();
}

} // namespace

int main(int iArgs, char** ppArgs)
{
    const std::vector<std::string> vArgs(ppArgs, ppArgs + iArgs);
    SetPosixExceptionHandler(nullptr, nullptr, nullptr, 0, nullptr);
    if (iArgs == 2)
    {
        Crash(vArgs[1]);
    }

    const std::wstring wsFolder(vArgs[3].begin(), vArgs[3].end());
    SetPosixExceptionHandler("Cell", "1.0", (wsFolder + L"/log").c_str(), 0, ppArgs);
    SetRootExceptionFilesFolder((wsFolder + L"/dated").c_str());
    SetPosixExceptionProcessExitCode(3);
    SetCrashTimeLimit(60'000);

    std::for_each(vArgs.begin() + 4, vArgs.end(),
                  [](const std::string& strOption) { kOptions.at(strOption)(); });
    CLineLogger logger;
    logger.m_onMessage = [&]
    {
        if (g_bAgain)
        {
            kCrashes.at(vArgs[1])();
        }
        g_mutexOfLogger.lock();
    };
    ::usleep(50'000); // for the options' threads

    if (vArgs[2] != "main")
    {
        const auto crash = vArgs[2] == "untraced" ? kCrashes.at(vArgs[1]) : nullptr;
        std::thread([=] { crash != nullptr ? crash() : Crash(vArgs[1]); }).detach();
    }
    if (vArgs[2] == "main" || vArgs[2] == "both")
    {
        Crash(vArgs[1]);
    }
    std::this_thread::sleep_for(std::chrono::seconds(20));
    ::_exit(99);
}
