#include "tests/support/failing_calls.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstddef>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

std::function<int(ECall)> g_onCall;

namespace
{

// Whether the call fails, with errno.
bool Fails(ECall eCall)
{
    const int iFault = g_onCall ? g_onCall(eCall) : 0;
    errno = iFault > 0 ? iFault : errno;
    return iFault > 0;
}

} // namespace

// In place of the C library's.
extern "C"
{
    int open(const char* szPath, int iFlags, ...)
    {
        va_list args;
        va_start(args, iFlags);
        const unsigned uMode = (iFlags & O_CREAT) != 0 ? va_arg(args, unsigned) : 0;
        va_end(args);
        return Fails(ECall::Open) ? -1 : ::openat(AT_FDCWD, szPath, iFlags, uMode);
    }

    int fstat(int iDescriptor, struct stat* pStatus) noexcept
    {
        return Fails(ECall::Stat) ? -1 : ::fstatat(iDescriptor, "", pStatus, AT_EMPTY_PATH);
    }

    off_t lseek(int iDescriptor, off_t iOffset, int iWhence) noexcept
    {
        static const auto pSeek =
            reinterpret_cast<off_t (*)(int, off_t, int)>(::dlsym(RTLD_NEXT, "lseek64"));
        return Fails(ECall::Seek) ? -1 : pSeek(iDescriptor, iOffset, iWhence);
    }

    ssize_t write(int iDescriptor, const void* pData, std::size_t uSize)
    {
        const int iFault = g_onCall && iDescriptor > 2 ? g_onCall(ECall::Write) : 0;
        if (iFault > 0)
        {
            errno = iFault;
            return -1;
        }
        const std::size_t uCut = iFault < 0 ? static_cast<std::size_t>(-iFault) : uSize;
        return ::syscall(SYS_write, iDescriptor, pData, std::min(uSize, uCut));
    }
}
