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
    for (char* szEnd = std::strchr(szPath + 1, '/'); szEnd != nullptr;
         szEnd = std::strchr(szEnd + 1, '/'))
    {
        *szEnd = '\0';
        ::mkdir(szPath, 0777);
        *szEnd = '/';
    }
}

void ReserveDescriptorForCrash()
{
    g_iReserved = OpenFile("/dev/null", O_RDONLY);
}

int OpenFileInCrash(const char* szPath, int iFlags)
{
    for (;;)
    {
        const int iDescriptor = OpenFile(szPath, O_RDWR | O_CREAT | iFlags);
        if (iDescriptor >= 0 || (errno != EMFILE && errno != ENFILE) || !FreeReserved())
        {
            return iDescriptor;
        }
    }
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
