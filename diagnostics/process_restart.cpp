#include "diagnostics/process_restart.h"

#include <climits>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include <fcntl.h>
#include <linux/close_range.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

namespace mu
{

namespace
{

constexpr int kFirstInherited = 3;

// The records of getdents64(2) are read here because opendir() allocates memory. The length and the
// name follow a 64-bit inode and a 64-bit offset.
constexpr std::size_t kRecordLengthAt = 16;
constexpr std::size_t kNameAt = 19;

void CloseOneOnExec(int iDescriptor)
{
    ::fcntl(iDescriptor, F_SETFD, FD_CLOEXEC);
}

// For a system without close_range(2): closes the descriptors that are open, one by one.
void CloseListedOnExec()
{
    const int iDirectory = ::open("/proc/self/fd", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    char vRecords[4096];
    long iBytes = 0;
    while (iDirectory >= 0 &&
           (iBytes = ::syscall(SYS_getdents64, iDirectory, vRecords, sizeof(vRecords))) > 0)
    {
        std::uint16_t uLength = 0;
        for (long i = 0; i < iBytes; i += uLength)
        {
            std::memcpy(&uLength, vRecords + i + kRecordLengthAt, sizeof(uLength));
            const int iDescriptor = std::atoi(vRecords + i + kNameAt); // 0 for "." and ".."
            if (iDescriptor >= kFirstInherited)
            {
                CloseOneOnExec(iDescriptor);
            }
        }
    }
}

} // namespace

void RestartProcess(char** ppArgs)
{
    if (::close_range(kFirstInherited, UINT_MAX, CLOSE_RANGE_CLOEXEC) != 0)
    {
        CloseListedOnExec();
    }

    const itimerval timer = {};
    for (const auto eTimer : {ITIMER_REAL, ITIMER_VIRTUAL, ITIMER_PROF})
    {
        ::setitimer(eTimer, &timer, nullptr);
    }

    // Setting a signal to SIG_IGN also discards a pending one, which the new program would
    // otherwise receive right after exec.
    sigset_t signals;
    ::sigpending(&signals);
    for (int iSignal = 1; iSignal < NSIG; ++iSignal)
    {
        if (iSignal == SIGALRM || sigismember(&signals, iSignal) == 1)
        {
            std::signal(iSignal, SIG_IGN);
            std::signal(iSignal, SIG_DFL);
        }
    }
    sigemptyset(&signals);
    pthread_sigmask(SIG_SETMASK, &signals, nullptr);
    ::execv(ppArgs[0], ppArgs);
}

} // namespace mu
