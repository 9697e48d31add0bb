#include "mu/write_all.h"

#include <cerrno>

#include <unistd.h>

namespace mu
{

std::size_t WriteAll(int iDescriptor, const char* pBytes, std::size_t uSize)
{
    constexpr int kMostTries = 100;
    std::size_t uWritten = 0;
    for (int iTries = 0; uWritten < uSize && iTries < kMostTries;)
    {
        const ssize_t iResult = ::write(iDescriptor, pBytes + uWritten, uSize - uWritten);
        if (iResult > 0)
        {
            uWritten += static_cast<std::size_t>(iResult);
            iTries = 0;
            continue;
        }
        if (iResult == 0) // a device that takes nothing more gives no error
        {
            errno = EIO;
        }
        iTries = errno == EINTR ? iTries + 1 : kMostTries;
    }
    return uWritten;
}

} // namespace mu
