#include "tests/support/failing_calls.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstddef>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

std::function<int(ECall)> g_onCall;

int AskForFault(ECall eCall)
{
    const int iFault = g_onCall ? g_onCall(eCall) : 0;
    errno = iFault > 0 ? iFault : errno;
    return iFault;
}

// In place of the C library's.
extern "C"
{
    int open(const char* szPath, int iFlags, ...)
    {
        va_list args;
        va_start(args, iFlags);
        const unsigned uMode = (iFlags & O_CREAT) != 0 ? va_arg(args, unsigned) : 0;
        va_end(args);
        return AskForFault(ECall::Open) > 0 ? -1 : ::openat(AT_FDCWD, szPath, iFlags, uMode);
    }

    int fstat(int iDescriptor, struct stat* pStatus) noexcept
    {
        return AskForFault(ECall::Stat) > 0 ? -1
                                            : ::fstatat(iDescriptor, "", pStatus, AT_EMPTY_PATH);
    }

    off_t lseek(int iDescriptor, off_t iOffset, int iWhence) noexcept
    {
        static const auto pSeek =
            reinterpret_cast<off_t (*)(int, off_t, int)>(::dlsym(RTLD_NEXT, "lseek64"));
        return AskForFault(ECall::Seek) > 0 ? -1 : pSeek(iDescriptor, iOffset, iWhence);
    }

    dirent* readdir(DIR* pDirectory)
    {
        static const auto pReal = reinterpret_cast<dirent* (*)(DIR*)>(
            ::dlsym(RTLD_NEXT, sizeof(void*) == 4 ? "readdir64" : "readdir"));
        return AskForFault(ECall::Query) > 0 ? nullptr : pReal(pDirectory);
    }

    ssize_t write(int iDescriptor, const void* pData, std::size_t uSize)
    {
        const int iFault = AskForFault(iDescriptor > 2 ? ECall::Write : ECall::Print);
        if (iFault > 0)
        {
            return -1;
        }
        const std::size_t uCut =
            iFault < 0 ? std::min(static_cast<std::size_t>(-iFault), uSize) : uSize;
        const ssize_t iWritten = ::syscall(SYS_write, iDescriptor, pData, uCut);
        const bool bOnlyWhole = iWritten < 0 && errno == EINVAL && uCut < uSize; // of an eventfd
        return bOnlyWhole ? ::syscall(SYS_write, iDescriptor, pData, uSize) : iWritten;
    }
}
