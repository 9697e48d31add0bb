#include "simulator/recorder_pipes.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "console/descriptors.h"
#include "console/pipe_protocol.h"
#include "console/user_name.h"
#include "io/file_access.h"

namespace
{

constexpr int kOpenFlags = O_NONBLOCK | O_CLOEXEC;

constexpr char kNewSuffix[] = ".new";

std::string Failure(const char* szPath)
{
    return std::string(szPath) + ": " + std::strerror(errno);
}

/// What another user made cannot be trusted, so it gives way to a pipe of this user's. Returns what
/// stands in the way of that, empty on success.
std::string RemoveForeignPipe(const char* szPath)
{
    struct stat status
    {
    };
    if (::lstat(szPath, &status) != 0 || status.st_uid == ::geteuid() || ::unlink(szPath) == 0)
    {
        return {};
    }
    return std::string(szPath) + " belongs to user " + UserName(status.st_uid) +
           ": end the recorder of that user; if it is gone, sudo rm " + g_aszPipePaths[0] + " " +
           g_aszPipePaths[1];
}

// The mode is the protocol's, whatever the process's mask.
bool MakePipe(const char* szPath)
{
    return ::mkfifo(szPath, 0600) == 0 && ::chmod(szPath, 0600) == 0;
}

void Discard(int iPipe)
{
    char szDiscarded[4096];
    while (::read(iPipe, szDiscarded, sizeof(szDiscarded)) > 0)
    {
    }
}

std::size_t GrowPipe(int iPipe, std::size_t uWanted)
{
    int iCapacity = ::fcntl(iPipe, F_GETPIPE_SZ);
    if (static_cast<std::size_t>(std::max(iCapacity, 0)) < uWanted)
    {
        ::fcntl(iPipe, F_SETPIPE_SZ, static_cast<int>(std::min<std::size_t>(uWanted, INT_MAX)));
        iCapacity = ::fcntl(iPipe, F_GETPIPE_SZ);
    }
    return static_cast<std::size_t>(std::max(iCapacity, 0));
}

} // namespace

std::size_t LargestPipeCapacity(std::size_t uWanted)
{
    int aiEnds[2];
    if (::pipe2(aiEnds, O_CLOEXEC) != 0)
    {
        return PIPE_BUF; // what every pipe holds
    }
    std::size_t uCapacity = GrowPipe(aiEnds[0], uWanted);
    std::string strLimit;
    if (uCapacity < uWanted &&
        CFileAccess::GetStrFileContent("/proc/sys/fs/pipe-max-size", strLimit))
    {
        uCapacity = GrowPipe(aiEnds[0], std::strtoul(strLimit.c_str(), nullptr, 10));
    }
    ::close(aiEnds[0]);
    ::close(aiEnds[1]);
    return uCapacity;
}

CRecorderPipes::~CRecorderPipes()
{
    CloseDescriptor(m_iOut);
    CloseDescriptor(m_iIn);
    CloseDescriptor(m_iNextIn);
    for (const char* szPath : m_vCreated)
    {
        ::unlink(szPath);
    }
}

std::string CRecorderPipes::Create()
{
    m_vCreated.reserve(std::size(g_aszPipePaths)); // so that a pipe that is made is remembered
    for (const char* szPath : g_aszPipePaths)
    {
        struct stat status
        {
        };
        if (::lstat(szPath, &status) == 0 && !S_ISFIFO(status.st_mode))
        {
            return std::string(szPath) + " is in the way: it is no pipe";
        }
    }

    // A pipe opens for writing at once only if somebody reads it.
    const int iProbe = ::open(g_aszPipePaths[0], O_WRONLY | kOpenFlags);
    if (iProbe >= 0)
    {
        ::close(iProbe);
        return std::string("a recorder is already running: it reads ") + g_aszPipePaths[0];
    }

    for (const char* szPath : g_aszPipePaths)
    {
        std::string strError = RemoveForeignPipe(szPath);
        if (!strError.empty())
        {
            return strError;
        }
    }
    for (const char* szPath : g_aszPipePaths)
    {
        if (!MakePipe(szPath) && (errno != EEXIST || ::chmod(szPath, 0600) != 0))
        {
            return Failure(szPath);
        }
        m_vCreated.push_back(szPath);
    }
    m_iIn = ::open(g_aszPipePaths[0], O_RDONLY | kOpenFlags);
    return m_iIn >= 0 ? "" : Failure(g_aszPipePaths[0]);
}

bool CRecorderPipes::Connect()
{
    // If nobody has the input open for writing, what is left in it are requests of a console that
    // died.
    pollfd polled{m_iIn, POLLIN, 0};
    if (::poll(&polled, 1, 0) > 0 && (polled.revents & POLLHUP) != 0)
    {
        Discard(m_iIn);
    }
    m_iOut = ::open(g_aszPipePaths[1], O_WRONLY | kOpenFlags);
    return m_iOut >= 0;
}

void CRecorderPipes::PrepareForNext()
{
    if (m_iNextIn >= 0)
    {
        return;
    }
    const std::string strNewOut = std::string(g_aszPipePaths[1]) + kNewSuffix;
    const std::string strNewIn = std::string(g_aszPipePaths[0]) + kNewSuffix;
    ::unlink(strNewOut.c_str());
    ::unlink(strNewIn.c_str());

    // The new input is opened before it gets its place: an input there that nobody reads would tell
    // others that no recorder is running. If anything fails, the next console gets the present
    // pipes.
    if (MakePipe(strNewOut.c_str()) && MakePipe(strNewIn.c_str()))
    {
        const int iNewIn = ::open(strNewIn.c_str(), O_RDONLY | kOpenFlags);
        if (iNewIn >= 0 && ::rename(strNewOut.c_str(), g_aszPipePaths[1]) == 0 &&
            ::rename(strNewIn.c_str(), g_aszPipePaths[0]) == 0)
        {
            m_iNextIn = iNewIn;
            return;
        }
        ::close(iNewIn);
    }
    ::unlink(strNewOut.c_str());
    ::unlink(strNewIn.c_str());
}

void CRecorderPipes::Disconnect()
{
    CloseDescriptor(m_iOut);
    if (m_iNextIn >= 0)
    {
        ::close(m_iIn);
        m_iIn = std::exchange(m_iNextIn, -1);
    }
    else
    {
        Discard(m_iIn);
    }
}

bool CRecorderPipes::HasRoomFor(std::size_t uMessage) const
{
    return GrowPipe(m_iOut, uMessage) >= uMessage;
}

bool CRecorderPipes::IsOutputEmpty() const
{
    int iWaiting = 0;
    return ::ioctl(m_iOut, FIONREAD, &iWaiting) == 0 && iWaiting == 0;
}
