#include "diagnostics/crash_file.h"

#include <atomic>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include "mu/open_file.h"
#include "mu/write_all.h"

namespace mu
{

namespace
{

std::atomic<int> g_iReserved{-1};

bool FreeReserved()
{
    const int iReserved = g_iReserved.exchange(-1);
    return iReserved >= 0 && ::close(iReserved) == 0;
}

} // namespace

void MakeDirectoriesInCrash(char* szPath)
{
    for (char* szEnd = szPath; (szEnd = std::strchr(szEnd, '/')) != nullptr; *szEnd++ = '/')
    {
        *szEnd = '\0';
        ::mkdir(szPath, 0777); // fails for the empty path before a root's separator
    }
}

void ReserveDescriptorForCrash()
{
    g_iReserved = OpenFile("/dev/null", O_RDONLY);
}

int OpenFileInCrash(const char* szPath, int iFlags)
{
    const auto open = [=] { return OpenFile(szPath, O_RDWR | O_CREAT | iFlags); };
    const int iDescriptor = open();
    return iDescriptor < 0 && FreeReserved() ? open() : iDescriptor;
}

bool WriteAllInCrash(int iDescriptor, const char* pBytes, std::size_t uSize)
{
    for (;;)
    {
        const std::size_t uWritten = WriteAll(iDescriptor, pBytes, uSize);
        if (uWritten == uSize)
        {
            return true;
        }
        if (errno != EAGAIN && errno != EINTR)
        {
            return false;
        }
        pBytes += uWritten;
        uSize -= uWritten;
        pollfd polled = {iDescriptor, POLLOUT, 0};
        ::poll(&polled, 1, -1);
    }
}

} // namespace mu
