#include "diagnostics/crash_file.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mu
{

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

int OpenFileInCrash(const char* szPath, int iFlags)
{
    return ::open(szPath, O_RDWR | O_CREAT | O_CLOEXEC | iFlags, 0600);
}

bool WriteAllInCrash(int iDescriptor, const char* pBytes, std::size_t uSize)
{
    while (uSize > 0)
    {
        const ssize_t iWritten = ::write(iDescriptor, pBytes, uSize);
        if (iWritten >= 0)
        {
            pBytes += iWritten;
            uSize -= static_cast<std::size_t>(iWritten);
        }
        else if (errno == EAGAIN)
        {
            pollfd polled = {iDescriptor, POLLOUT, 0};
            ::poll(&polled, 1, -1);
        }
        else if (errno != EINTR)
        {
            return false;
        }
    }
    return true;
}

} // namespace mu
