#include "simulator/recorder_server.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

#include <poll.h>
#include <unistd.h>

#include "diagnostics/function_state.h"
#include "simulator/frames.h"

namespace
{

using namespace std::chrono_literals;

// No event tells that somebody opens a pipe or has emptied it; these are looked for.
constexpr std::chrono::milliseconds kConnectPeriod = 20ms;
constexpr std::chrono::milliseconds kTakenPeriod = 1ms;

// The recorder has been running for a while when the operator comes.
constexpr std::chrono::milliseconds kUptimeAtStart = 5min;

constexpr const char* kBootEvents[] = {
    "Boot: watchdog armed, last reset by power-on",
    "Boot: firmware 3.12.0 build 8841",
    "Clock: read from the real-time clock",
    "Storage: checking /media",
    "Storage: clean, 1863 GB, 75 % used",
    "Video: camera 1 1280x720 25 frames/s",
    "Video: camera 2 640x480 12.5 frames/s",
    "Audio: no source",
    "Network: link up, 100 Mbit/s full duplex",
    "Network: address 10.20.4.17",
    "Time server: offset 12 ms",
    "Recording: started, 2 sources",
    "Recording: file 000417 opened",
    "Video: camera 2 signal lost",
    "Video: camera 2 signal is back after 340 ms",
    "Storage: write rate 9.4 MB/s",
    "Recording: file 000417 closed, 1073741824 bytes",
    "Recording: file 000418 opened",
    "Diagnostics: all values in range",
};

} // namespace

CRecorderServer::CRecorderServer(CRecorderPipes& pipes, CRecorderLog& log,
                                 SParametersDocument document, SArguments arguments)
    : m_pipes(pipes),
      m_log(log),
      m_document(std::move(document)),
      m_faults(std::move(arguments.m_vFaults)),
      m_reload(arguments.m_reload),
      m_bVerbose(arguments.m_bVerbose),
      m_tpStart(std::chrono::steady_clock::now() - kUptimeAtStart),
      m_replies(m_document, m_log, arguments.m_eCrash)
{
    for (const char* szEvent : kBootEvents)
    {
        m_log.Log(szEvent);
    }
}

bool CRecorderServer::Start()
{
    return m_replies.Start();
}

void CRecorderServer::ServeUntil(int iStopDescriptor)
{
    CFunctionSwitch fsServe("RSim::Serve");
    for (bool bServing = true; bServing;)
    {
        try
        {
            bServing = ServeOnce(iStopDescriptor);
        }
        catch (const std::bad_alloc&)
        {
            std::fputs("zor-recorder-sim: no memory: a request gets no reply\n", stderr);
        }
    }
}

bool CRecorderServer::ServeOnce(int iStopDescriptor)
{
    if (!m_pipes.IsConnected() && m_pipes.Connect())
    {
        m_faults.Restart();
        m_bAsked = m_bInputEnded = m_bReplyWaiting = false;
        m_dwPayload = 0;
        TraceEvent("console connected");
    }

    // The next request is read when the reply to the last one is taken: so each reply finds an
    // empty pipe, and a console that does not read is not drowned in replies.
    const bool bListens = m_pipes.IsConnected() && !m_bReplyWaiting && !m_bInputEnded;
    pollfd aPolled[] = {{iStopDescriptor, POLLIN, 0},
                        {bListens ? m_pipes.GetInput() : -1, POLLIN, 0},
                        {m_pipes.GetOutput(), 0, 0}};
    const std::chrono::milliseconds limit = m_bReplyWaiting   ? kTakenPeriod
                                            : !bListens       ? kConnectPeriod
                                            : m_reload == 0ms ? -1ms
                                                              : m_reload;
    ::poll(aPolled, std::size(aPolled), static_cast<int>(limit.count()));

    if (aPolled[0].revents != 0)
    {
        return false;
    }
    if ((aPolled[2].revents & POLLERR) != 0)
    {
        HangUp("console left");
        return true;
    }
    m_bInputEnded = false;
    if (m_bReplyWaiting && m_pipes.IsOutputEmpty())
    {
        m_bReplyWaiting = false;
        TraceEvent("taken");
    }
    if (aPolled[1].revents != 0)
    {
        ReadRequest();
    }
    else if (bListens && IsReloadDue())
    {
        SendParameters();
    }
    return true;
}

void CRecorderServer::ReadRequest()
{
    char szBytes[4096];
    const std::size_t uWanted = m_dwPayload > 0
                                    ? std::min<std::size_t>(m_dwPayload, sizeof(szBytes))
                                    : sizeof(SPipeMessageHeader);
    const ssize_t iRead = ::read(m_pipes.GetInput(), szBytes, uWanted);
    if (iRead <= 0)
    {
        // A console that has asked something and then closed its end has left. One that has not
        // asked yet may still be about to open its end.
        m_bInputEnded = iRead == 0;
        if (m_bInputEnded && m_bAsked)
        {
            HangUp("console closed its end");
        }
        return;
    }
    if (m_dwPayload > 0)
    {
        m_dwPayload -= static_cast<std::uint32_t>(iRead);
        return;
    }

    // m_dwPayload is set first, so that the next request is found even if memory runs out below.
    const std::string_view svFrame(szBytes, static_cast<std::size_t>(iRead));
    SPipeMessageHeader header{};
    if (svFrame.size() == sizeof(header))
    {
        std::memcpy(&header, szBytes, sizeof(header));
        m_dwPayload = header.m_dwLength;
    }
    m_bAsked = true;
    m_pipes.PrepareForNext();
    Trace("in", svFrame);
    if (svFrame.size() == sizeof(header))
    {
        Answer(static_cast<EPipeMessage>(header.m_dwType), header.m_dwArgument);
    }
}

void CRecorderServer::Answer(EPipeMessage eRequest, std::uint32_t dwArgument)
{
    CFunctionSwitch fsAnswer("RSim::Answer");
    mu::CFunctionParam fpRequest(fsAnswer, "eRequest", &eRequest, FPT_DWORD);
    mu::CFunctionParam fpArgument(fsAnswer, "dwArgument", dwArgument);

    switch (eRequest)
    {
    case PM_REQUEST_PARAMETERS:
        m_log.Log("Console: parameters requested");
        SendParameters();
        return;
    case PM_REQUEST_DIAGNOSTIC:
        m_log.Log("Console: diagnostic " + std::to_string(dwArgument + 1ULL) + " requested");
        break;
    case PM_REQUEST_LOG:
        m_log.Log("Console: log requested");
        break;
    default:
        m_log.Log("Console: unknown request");
        return;
    }
    Send(m_replies.GetReply(eRequest, dwArgument, GetUptime()), m_faults.ForNextReply());
}

void CRecorderServer::SendParameters()
{
    m_tpLoaded = std::chrono::steady_clock::now();
    Send(m_replies.GetReply(PM_REQUEST_PARAMETERS, 0, GetUptime()), m_faults.ForParameters());
}

bool CRecorderServer::IsReloadDue() const
{
    return m_reload > 0ms && m_bAsked && m_dwPayload == 0 &&
           std::chrono::steady_clock::now() - m_tpLoaded >= m_reload;
}

void CRecorderServer::Send(std::string strFrame, std::optional<EFault> eFault)
{
    if (eFault)
    {
        strFrame = SpoilFrame(*eFault, std::move(strFrame));
        TraceEvent((std::string("fault: ") + NameOfFault(*eFault)).c_str());
    }
    if (eFault == EFault::Close)
    {
        HangUp("pipes closed");
        return;
    }
    if (strFrame.empty())
    {
        return;
    }
    if (!m_pipes.HasRoomFor(strFrame.size()))
    {
        std::fprintf(stderr, "zor-recorder-sim: a reply of %zu bytes does not fit into the pipe\n",
                     strFrame.size());
        return;
    }

    // In one piece, for the console reads a payload with one read.
    Trace("out", strFrame);
    if (::write(m_pipes.GetOutput(), strFrame.data(), strFrame.size()) < 0)
    {
        HangUp("console left");
        return;
    }
    m_bReplyWaiting = true;
}

void CRecorderServer::HangUp(const char* szEvent)
{
    TraceEvent(szEvent);
    m_pipes.Disconnect();
}

void CRecorderServer::Trace(const char* szDirection, std::string_view svFrame) const
{
    if (m_bVerbose)
    {
        std::fprintf(stderr, "%s: %s\n%s", szDirection, DescribeFrame(svFrame).c_str(),
                     DumpFrame(svFrame).c_str());
    }
}

void CRecorderServer::TraceEvent(const char* szEvent) const
{
    if (m_bVerbose)
    {
        std::fprintf(stderr, "%s\n", szEvent);
    }
}

std::chrono::milliseconds CRecorderServer::GetUptime() const
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                 m_tpStart);
}
