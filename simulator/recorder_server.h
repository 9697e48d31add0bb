#ifndef ZOR_SIMULATOR_RECORDER_SERVER_H
#define ZOR_SIMULATOR_RECORDER_SERVER_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "console/pipe_protocol.h"
#include "simulator/arguments.h"
#include "simulator/faults.h"
#include "simulator/parameters_document.h"
#include "simulator/recorder_log.h"
#include "simulator/recorder_pipes.h"
#include "simulator/reply_worker.h"

/// Answers the requests of one console after the other.
class CRecorderServer
{
public:
    /// The pipes and the log must outlive it.
    CRecorderServer(CRecorderPipes& pipes, CRecorderLog& log, SParametersDocument document,
                    SArguments arguments);

    /// Starts the thread that makes the replies; false if there can be none.
    bool Start();
    /// Serves until the descriptor is readable. A request for which there is no memory gets no
    /// reply.
    void ServeUntil(int iStopDescriptor);

    // Of any thread:
    const SParametersDocument& GetDocument() const { return m_document; }
    std::chrono::milliseconds GetUptime() const;

private:
    /// Waits once for the descriptors and does what they ask for. False to stop.
    bool ServeOnce(int iStopDescriptor);
    void ReadRequest();
    void Answer(EPipeMessage eRequest, std::uint32_t dwArgument);
    void SendParameters();
    void Send(std::string strFrame, std::optional<EFault> eFault);
    bool IsReloadDue() const;
    void HangUp(const char* szEvent);
    void Trace(const char* szDirection, std::string_view svFrame) const;
    void TraceEvent(const char* szEvent) const;

    CRecorderPipes& m_pipes;
    CRecorderLog& m_log;
    const SParametersDocument m_document;
    CFaultPlan m_faults;
    const std::chrono::milliseconds m_reload;
    const bool m_bVerbose;
    const std::chrono::steady_clock::time_point m_tpStart;
    CReplyWorker m_replies;

    // Of the connected console:
    bool m_bAsked = false;                            // it has sent a request
    bool m_bInputEnded = false;                       // it does not have the input open
    std::chrono::steady_clock::time_point m_tpLoaded; // it was last sent the parameters
    bool m_bReplyWaiting = false;                     // it has not yet taken all of the last reply
    std::uint32_t m_dwPayload = 0;                    // bytes to come of a request's payload
};

#endif
