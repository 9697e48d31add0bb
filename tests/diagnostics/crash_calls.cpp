// In place of the C library's: calls that a report must not make, because the thread that crashed
// may hold their lock, and close_range(), which older systems refuse.

#include <cerrno>
#include <ctime>
#include <string_view>

#include <dlfcn.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "tests/support/failing_heap.h"

extern bool g_bReporting; // of crash_cell.cpp
extern bool g_bOldSystem;

namespace
{

void Tell(std::string_view svCall)
{
    static_cast<void>(g_bReporting && ::write(STDOUT_FILENO, svCall.data(), svCall.size()) > 0);
}

[[gnu::constructor]] void WatchHeap()
{
    g_pIsAllocationRefused = []
    {
        Tell("malloc ");
        return false;
    };
}

} // namespace

extern "C"
{
    int close_range(unsigned uFirst, unsigned uLast, int iFlags) noexcept
    {
        errno = ENOSYS;
        return g_bOldSystem ? -1
                            : static_cast<int>(::syscall(SYS_close_range, uFirst, uLast, iFlags));
    }

    std::tm* localtime_r(const std::time_t* pTime, std::tm* pResult) noexcept
    {
        Tell("localtime_r ");
        *pResult = *std::localtime(pTime);
        return pResult;
    }

    int pthread_mutex_lock(pthread_mutex_t* pMutex) noexcept
    {
        static const auto s_pReal = reinterpret_cast<decltype(&::pthread_mutex_lock)>(
            ::dlsym(RTLD_NEXT, "pthread_mutex_lock"));
        Tell("pthread_mutex_lock ");
        return s_pReal(pMutex);
    }
}
