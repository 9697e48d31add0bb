#include "mu/open_file.h"

#include <cerrno>

#include <fcntl.h>

namespace mu
{

int OpenFile(const char* szPath, int iFlags)
{
    for (int iTriesLeft = 100;; --iTriesLeft)
    {
        const int iDescriptor = ::open(szPath, iFlags | O_CLOEXEC, 0600);
        if (iDescriptor >= 0 || errno != EINTR || iTriesLeft == 1)
        {
            return iDescriptor;
        }
    }
}

} // namespace mu
