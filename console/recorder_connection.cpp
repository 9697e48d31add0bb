#include "console/recorder_connection.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "console/descriptors.h"
#include "console/pipe_sending.h"
#include "console/user_name.h"

namespace
{

using namespace std::chrono_literals;

// No system call waits, with a time limit, until somebody opens a pipe or releases a lock. So both
// are tried again after a pause.
constexpr std::chrono::milliseconds kPause = 20ms;
// A recorder that was writing when an earlier client died may go on writing for a moment.
constexpr std::chrono::milliseconds kLeftoversPause = 50ms;
// A recorder that has both pipes closed for longer than this has gone. Shorter is no sign: some
// recorders open the pipes anew for each message.
constexpr std::chrono::milliseconds kGoneAfter = 1s;

// Far more than any answer. A longer payload means that the stream is out of step.
constexpr std::uint32_t kLongestPayload = 64 << 20;

std::string DescribeFailedOpen(const char* szPath, int iError)
{
    std::string strText = std::string(szPath) + ": " + std::strerror(iError);
    struct stat status;
    if ((iError == EACCES || iError == EPERM) && ::lstat(szPath, &status) == 0)
    {
        char szMode[8];
        std::snprintf(szMode, sizeof(szMode), "%04o", status.st_mode & 07777U);
        strText += "; it belongs to user " + UserName(status.st_uid) + ", mode " + szMode;
    }
    return strText;
}

} // namespace

CRecorderConnection::~CRecorderConnection()
{
    Close();
}

void CRecorderConnection::Close()
{
    CloseDescriptor(m_iMessages);
    CloseDescriptor(m_iRequests); // and with it the lock
}

EDiagExit CRecorderConnection::Open(CDeadline& deadline, std::chrono::milliseconds wait)
{
    const CDeadline waited(wait);
    for (;;)
    {
        const EOpened eOpened = TryToOpen();
        if (eOpened == EOpened::Open)
        {
            DropLeftovers(deadline);
            return DIAG_ANSWERED;
        }
        Close();
        if (eOpened == EOpened::Refused)
        {
            return EndWith(DIAG_NO_RECORDER, "%s", m_strObstacle.c_str());
        }
        if (eOpened == EOpened::NobodyListens)
        {
            if (waited.IsOver())
            {
                return EndWith(DIAG_NO_RECORDER, "no recorder is listening: %s",
                               m_strObstacle.c_str());
            }
            const auto pause = std::min(kPause, std::chrono::milliseconds(waited.Left()));
            std::this_thread::sleep_for(pause);
            deadline.Postpone(pause);
        }
        else
        {
            if (deadline.IsOver())
            {
                return EndWith(DIAG_NO_ANSWER, "another zor-diag is being answered");
            }
            std::this_thread::sleep_for(kPause);
        }
    }
}

CRecorderConnection::EOpened CRecorderConnection::TryToOpen()
{
    const EOpened eRequests = OpenPipe(g_aszPipePaths[0], O_WRONLY, m_iRequests);
    if (eRequests != EOpened::Open)
    {
        return eRequests;
    }
    return LockRequests() ? OpenPipe(g_aszPipePaths[1], O_RDONLY, m_iMessages)
                          : EOpened::TakenByAnother;
}

CRecorderConnection::EOpened CRecorderConnection::OpenPipe(const char* szPath, int iFlags,
                                                           int& iPipe)
{
    iPipe = ::open(szPath, iFlags | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC);
    const int iError = errno;

    // The kind of file decides: open() fails with ENXIO for a socket, too.
    struct stat status;
    const int iStatus = iPipe >= 0 ? ::fstat(iPipe, &status) : ::lstat(szPath, &status);
    if (iStatus == 0 && !S_ISFIFO(status.st_mode))
    {
        m_strObstacle = std::string(szPath) +
                        (S_ISLNK(status.st_mode) ? " is a symbolic link, no pipe" : " is no pipe");
        return EOpened::Refused;
    }
    if (iPipe >= 0)
    {
        return EOpened::Open;
    }
    if (iError == ENXIO)
    {
        m_strObstacle = std::string("nobody reads ") + szPath;
        return EOpened::NobodyListens;
    }
    m_strObstacle = DescribeFailedOpen(szPath, iError);
    return iError == ENOENT ? EOpened::NobodyListens : EOpened::Refused;
}

bool CRecorderConnection::LockRequests() const
{
    struct stat locked;
    struct stat named;
    // A recorder may have put another pipe in place meanwhile.
    return ::flock(m_iRequests, LOCK_EX | LOCK_NB) == 0 && ::fstat(m_iRequests, &locked) == 0 &&
           ::lstat(g_aszPipePaths[0], &named) == 0 && locked.st_dev == named.st_dev &&
           locked.st_ino == named.st_ino;
}

// What stands in the pipe before this client has asked may begin in the middle of a message.
void CRecorderConnection::DropLeftovers(const CDeadline& deadline) const
{
    int iWaiting = 0;
    ::ioctl(m_iMessages, FIONREAD, &iWaiting);
    pollfd polled{m_iMessages, POLLIN, 0};
    while (iWaiting > 0 && !deadline.IsOver())
    {
        char szDropped[4096];
        while (::read(m_iMessages, szDropped, sizeof(szDropped)) > 0 && !deadline.IsOver())
        {
        }
        ::poll(&polled, 1, static_cast<int>(kLeftoversPause.count()));
        iWaiting = polled.revents & POLLIN;
    }
}

EDiagExit CRecorderConnection::Ask(EPipeMessage eRequest, std::uint32_t dwArgument,
                                   EPipeMessage eAnswer, std::string& strPayload,
                                   const CDeadline& deadline)
{
    EDiagExit eExit = Send(eRequest, dwArgument, deadline);
    SPipeMessageHeader header{};
    while (eExit == DIAG_ANSWERED && header.m_dwType != eAnswer)
    {
        eExit = ReceiveMessage(header, eAnswer, strPayload, deadline);
    }
    if (eExit != DIAG_ANSWERED)
    {
        return eExit;
    }
    if (eAnswer == PM_CIRCULAR_TEXT && strPayload.empty())
    {
        return EndWith(DIAG_BAD_ANSWER, "the recorder sent a circular text without a payload");
    }
    const auto iBeginning = static_cast<std::ptrdiff_t>(BeginningOfText(header));
    std::rotate(strPayload.begin(), strPayload.begin() + iBeginning, strPayload.end());
    return DIAG_ANSWERED;
}

EDiagExit CRecorderConnection::Send(EPipeMessage eRequest, std::uint32_t dwArgument,
                                    const CDeadline& deadline) const
{
    const CDeadline gone(kGoneAfter);
    while (SendStructuredData(m_iRequests, eRequest, 0, dwArgument, nullptr) == 0)
    {
        if (errno == EPIPE && gone.IsOver())
        {
            return EndWith(DIAG_NO_ANSWER, "the recorder has closed its pipes");
        }
        if (deadline.IsOver())
        {
            return EndWith(DIAG_NO_ANSWER, "the recorder takes no request");
        }
        std::this_thread::sleep_for(kPause);
    }
    return DIAG_ANSWERED;
}

// The payload of a message of another type is read and thrown away.
EDiagExit CRecorderConnection::ReceiveMessage(SPipeMessageHeader& header, EPipeMessage eWanted,
                                              std::string& strPayload, const CDeadline& deadline)
{
    m_ullReceived = 0;
    m_ullExpected = 0;
    EDiagExit eExit = ReadBytes(&header, sizeof(header), deadline);
    if (eExit != DIAG_ANSWERED)
    {
        return eExit;
    }
    if (header.m_dwLength > kLongestPayload)
    {
        return EndWith(DIAG_BAD_ANSWER, "the recorder announces a message of %u bytes",
                       static_cast<unsigned int>(header.m_dwLength));
    }

    // The memory grows with what arrives, not with what is announced.
    constexpr std::size_t kStep = 65536;
    m_ullExpected = sizeof(header) + std::uint64_t{header.m_dwLength};
    strPayload.clear();
    for (std::size_t uLeft = header.m_dwLength; uLeft > 0 && eExit == DIAG_ANSWERED;)
    {
        const std::size_t uStep = std::min(uLeft, kStep);
        const std::size_t uOffset = header.m_dwType == eWanted ? strPayload.size() : 0;
        strPayload.resize(uOffset + uStep);
        eExit = ReadBytes(strPayload.data() + uOffset, uStep, deadline);
        uLeft -= uStep;
    }
    return eExit;
}

EDiagExit CRecorderConnection::ReadBytes(void* pBytes, std::size_t uLength,
                                         const CDeadline& deadline)
{
    char* szNext = static_cast<char*>(pBytes);
    while (uLength > 0)
    {
        const ssize_t iRead = deadline.IsOver() ? -1 : ::read(m_iMessages, szNext, uLength);
        if (iRead > 0)
        {
            szNext += iRead;
            uLength -= static_cast<std::size_t>(iRead);
            m_ullReceived += static_cast<std::uint64_t>(iRead);
        }
        else if (iRead == 0 && m_ullReceived > 0)
        {
            return EndWith(DIAG_BAD_ANSWER,
                           "the recorder closed its pipe in the middle of a message");
        }
        else if (!WaitForBytes(deadline))
        {
            return EndWithoutAnswer(deadline);
        }
    }
    return DIAG_ANSWERED;
}

// True as soon as bytes have arrived, or the pipe has ended inside a message. False at the
// deadline, or if the recorder has closed both pipes and not opened them again.
bool CRecorderConnection::WaitForBytes(const CDeadline& deadline) const
{
    CDeadline gone(kGoneAfter);
    while (!deadline.IsOver())
    {
        pollfd aPolled[] = {{m_iMessages, POLLIN, 0}, {m_iRequests, 0, 0}};
        ::poll(aPolled, std::size(aPolled), deadline.Left());
        const bool bEnd = (aPolled[0].revents & POLLHUP) != 0;
        if ((aPolled[0].revents & POLLIN) != 0 || (bEnd && m_ullReceived > 0))
        {
            return true;
        }
        if (!bEnd || (aPolled[1].revents & POLLERR) == 0)
        {
            gone = CDeadline(kGoneAfter);
        }
        else if (gone.IsOver())
        {
            return false;
        }
        // A pipe that is closed at the other end is reported at once, again and again.
        if (aPolled[0].revents != 0 || aPolled[1].revents != 0)
        {
            std::this_thread::sleep_for(
                std::min(kPause, std::chrono::milliseconds(deadline.Left())));
        }
    }
    return false;
}

EDiagExit CRecorderConnection::EndWithoutAnswer(const CDeadline& deadline) const
{
    if (!deadline.IsOver())
    {
        return EndWith(DIAG_NO_ANSWER, "the recorder has closed its pipes without an answer");
    }
    if (m_ullReceived == 0)
    {
        return EndWith(DIAG_NO_ANSWER, "no answer in time");
    }
    if (m_ullExpected == 0)
    {
        return EndWith(DIAG_NO_ANSWER, "no answer in time, only %llu bytes of a header",
                       static_cast<unsigned long long>(m_ullReceived));
    }
    return EndWith(DIAG_NO_ANSWER, "no answer in time, only %llu of %llu bytes",
                   static_cast<unsigned long long>(m_ullReceived),
                   static_cast<unsigned long long>(m_ullExpected));
}
