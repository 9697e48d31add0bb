#include "console/pipe_messages.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <new>

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "console/pipe_protocol.h"
#include "mu/text.h"

namespace
{

// Before main() nobody catches what is thrown.
CEasyXML MakeDocument()
{
    try
    {
        return {};
    }
    catch (const std::bad_alloc&)
    {
        std::fputs("No memory for the device parameters\n", stderr);
        std::_Exit(ENOMEM);
    }
}

} // namespace

CMemBlockPtr g_mbReceiveBuffer;
CEasyXML g_exmlParams = MakeDocument();

namespace
{

// No buffer could be had, so the payload is thrown away: waits for its first bytes, then drops all
// that the pipe holds now, at most dwLength. Bytes that arrive later start a new message.
int DropPayload(int fd, std::uint32_t dwLength)
{
    pollfd polled{fd, POLLIN, 0};
    int iWaiting = 0;
    ::poll(&polled, 1, -1);
    ::ioctl(fd, FIONREAD, &iWaiting);

    std::size_t uLeft = std::min(dwLength, static_cast<std::uint32_t>(iWaiting));
    int iRead = 0;
    while (uLeft > 0)
    {
        char szDropped[4096];
        iRead = static_cast<int>(::read(fd, szDropped, std::min(uLeft, sizeof(szDropped))));
        if (iRead <= 0)
        {
            return iRead;
        }
        uLeft -= static_cast<std::size_t>(iRead);
    }
    return iRead;
}

void LoadParameters(const char* szText, int iLength)
{
    bool bLoaded = false;
    try
    {
        bLoaded = g_exmlParams.LoadFromText(szText, iLength).IsValid();
    }
    catch (const std::bad_alloc&)
    {
        // No memory: the same to the operator as a document that does not parse.
    }
    std::puts(bLoaded ? "Parameters Loaded.\r" : "Invalid parameters.\r");
}

// Prints what "%.*s" would print, as the NULs have been replaced; but "%.*s" takes no length beyond
// int.
void PrintText(const char* szText, std::uint32_t dwLength)
{
    std::fwrite(szText, 1, dwLength, stdout);
}

} // namespace

int ReadZORInput(int fd)
{
    SPipeMessageHeader header;
    int iRead = static_cast<int>(::read(fd, &header, sizeof(header)));
    if (iRead != static_cast<int>(sizeof(header)))
    {
        return iRead;
    }

    char* szPayload = nullptr;
    const std::uint32_t dwLength = header.m_dwLength;
    if (dwLength != 0)
    {
        // No read delivers more than INT_MAX bytes.
        if (dwLength <= INT_MAX)
        {
            szPayload = reinterpret_cast<char*>(g_mbReceiveBuffer.ResizeIfNeeded(dwLength));
        }
        if (szPayload == nullptr)
        {
            return DropPayload(fd, dwLength);
        }
        iRead = static_cast<int>(::read(fd, szPayload, dwLength));
        if (iRead != static_cast<int>(dwLength))
        {
            return iRead;
        }
    }

    switch (header.m_dwType)
    {
    case PM_PARAMETERS:
        LoadParameters(szPayload, static_cast<int>(dwLength));
        break;
    case PM_TEXT:
    case PM_CIRCULAR_TEXT:
        if (dwLength != 0)
        {
            mu::ReplaceNullsWithSpaces(szPayload, static_cast<int>(dwLength));
            const std::uint32_t dwBeginning = BeginningOfText(header);
            PrintText(szPayload + dwBeginning, dwLength - dwBeginning);
            PrintText(szPayload, dwBeginning);
        }
        break;
    default:
        break;
    }
    return iRead;
}
