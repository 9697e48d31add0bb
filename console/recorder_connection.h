#ifndef ZOR_CONSOLE_RECORDER_CONNECTION_H
#define ZOR_CONSOLE_RECORDER_CONNECTION_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

#include "console/deadline.h"
#include "console/diag_exit.h"
#include "console/pipe_protocol.h"

/// zor-diag's ends of the two pipes. No call waits beyond its deadline, whatever the recorder does;
/// each tells on standard error why it failed.
///
/// Connections exclude each other by an advisory lock on the request pipe itself: so there is no
/// lock file, and whoever can take the lock may talk to the recorder anyway.
class CRecorderConnection
{
public:
    CRecorderConnection() = default;
    ~CRecorderConnection();

    CRecorderConnection(const CRecorderConnection&) = delete;
    CRecorderConnection& operator=(const CRecorderConnection&) = delete;

    /// Opens the pipes. Waits for a recorder to listen as long as wait says, which postpones the
    /// deadline, and for other connections until the deadline. Drops what an earlier client left
    /// unread.
    EDiagExit Open(CDeadline& deadline, std::chrono::milliseconds wait);

    /// Sends a request and receives the next message of the type that answers it; other messages
    /// are skipped. A circular text is put in order.
    EDiagExit Ask(EPipeMessage eRequest, std::uint32_t dwArgument, EPipeMessage eAnswer,
                  std::string& strPayload, const CDeadline& deadline);

private:
    enum class EOpened
    {
        Open,
        NobodyListens,
        TakenByAnother,
        Refused,
    };

    EOpened TryToOpen();
    EOpened OpenPipe(const char* szPath, int iFlags, int& iPipe);
    bool LockRequests() const;
    void Close();
    void DropLeftovers(const CDeadline& deadline) const;

    EDiagExit Send(EPipeMessage eRequest, std::uint32_t dwArgument,
                   const CDeadline& deadline) const;
    EDiagExit ReceiveMessage(SPipeMessageHeader& header, EPipeMessage eWanted,
                             std::string& strPayload, const CDeadline& deadline);
    EDiagExit ReadBytes(void* pBytes, std::size_t uLength, const CDeadline& deadline);
    bool WaitForBytes(const CDeadline& deadline) const;
    EDiagExit EndWithoutAnswer(const CDeadline& deadline) const;

    int m_iRequests = -1; // carries the lock
    int m_iMessages = -1;
    std::string m_strObstacle; // why the last attempt to open failed

    // Of the message that is being received:
    std::uint64_t m_ullReceived = 0;
    std::uint64_t m_ullExpected = 0; // 0: its header is not yet there
};

#endif
