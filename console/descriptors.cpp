#include "console/descriptors.h"

#include <cerrno>

#include <fcntl.h>
#include <poll.h>
#include <sys/select.h>
#include <unistd.h>

void OpenStandardDescriptors()
{
    for (int iDescriptor = STDIN_FILENO; iDescriptor <= STDERR_FILENO; ++iDescriptor)
    {
        if (::fcntl(iDescriptor, F_GETFD) < 0 && errno == EBADF)
        {
            ::open("/dev/null", O_RDWR); // takes the lowest free number, which is this one
        }
    }
}

void CloseDescriptor(int& iDescriptor)
{
    if (iDescriptor >= 0)
    {
        ::close(iDescriptor);
        iDescriptor = -1;
    }
}

int MoveIntoSelectRange(int iDescriptor, int iKept)
{
    if (iDescriptor < FD_SETSIZE)
    {
        return iDescriptor;
    }
    const int iHighest = FD_SETSIZE - 1;
    const int iMoved = ::dup3(iDescriptor, iHighest == iKept ? iHighest - 1 : iHighest, O_CLOEXEC);
    ::close(iDescriptor);
    return iMoved;
}

bool HasLostItsReader(int iDescriptor)
{
    pollfd polled{iDescriptor, 0, 0};
    return ::poll(&polled, 1, 0) > 0 && (polled.revents & (POLLERR | POLLHUP)) != 0;
}
