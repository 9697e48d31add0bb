#include <algorithm>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include "fuzz/support/lasting_recorder.h"
#include "fuzz/support/law.h"
#include "simulator/http_server.h"
#include "simulator/web_pages.h"

// The live page over sockets: the same answer in whatever pieces a request arrives, and a
// well-formed one. The input is the request; a byte 1F ends a piece.

namespace
{

constexpr char kPieceEnd = '\x1F';

/// Runs as long as the process.
const CHttpServer& Server()
{
    struct SService
    {
        SService()
        {
            m_log.SetLowestLogSeverity(IBaseLogger::Status);
            m_log.LogMessage(IBaseLogger::Status, "</td><script>&\"'");
            Law(LoadParametersDocument("", m_document).empty(), "there is a document");
            Law(m_server
                    .Start({}, [this](IWebServerExtContext* pContext)
                           { return m_pages.Reply(pContext); })
                    .empty(),
                "the server starts");
        }

        CLastingRecorder m_log;
        SParametersDocument m_document;
        CWebPages m_pages{m_log, m_document, [] { return std::chrono::milliseconds(3500); }};
        CHttpServer m_server;
    };
    static const SService& s_service = *new SService;
    return s_service.m_server;
}

std::string Ask(const std::vector<std::string_view>& vPieces)
{
    sigset_t alarm; // the fuzzer's own, which would interrupt a call
    sigemptyset(&alarm);
    sigaddset(&alarm, SIGALRM);
    pthread_sigmask(SIG_BLOCK, &alarm, nullptr);
    const int iSocket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int iOn = 1;
    const timeval limit{8, 0};
    const linger forget{1, 0}; // no port waits for what may still arrive
    ::setsockopt(iSocket, IPPROTO_TCP, TCP_NODELAY, &iOn, sizeof(iOn));
    ::setsockopt(iSocket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
    ::setsockopt(iSocket, SOL_SOCKET, SO_LINGER, &forget, sizeof(forget));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(Server().GetAddress().m_uPort);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    Law(::connect(iSocket, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0,
        "the server takes a connection");
    for (const std::string_view svPiece : vPieces)
    {
        ::send(iSocket, svPiece.data(), svPiece.size(), MSG_NOSIGNAL);
    }
    ::shutdown(iSocket, SHUT_WR);
    std::string strReply;
    char szPart[65536];
    ssize_t iRead = 0;
    while ((iRead = ::recv(iSocket, szPart, sizeof(szPart), 0)) > 0)
    {
        strReply.append(szPart, static_cast<std::size_t>(iRead));
    }
    Law(iRead == 0, "the server ends what it says");
    ::close(iSocket);
    pthread_sigmask(SIG_UNBLOCK, &alarm, nullptr);
    return strReply;
}

std::string_view TakeLine(std::string_view& svText)
{
    const std::size_t uEnd = svText.find("\r\n");
    Law(uEnd != std::string_view::npos, "a head ends with an empty line");
    const std::string_view svLine = svText.substr(0, uEnd);
    svText.remove_prefix(uEnd + 2);
    for (const char ch : svLine)
    {
        Law(ch >= ' ' && ch <= '~', "a head is plain text");
    }
    return svLine;
}

void CheckReply(std::string_view svReply, bool bHead)
{
    const std::string_view svStatus = TakeLine(svReply);
    Law(svStatus.size() > 13 && svStatus.starts_with("HTTP/1.1 ") && svStatus[12] == ' ',
        "a status line");
    std::size_t uLength = SIZE_MAX;
    int iLengths = 0;
    for (std::string_view svLine; !(svLine = TakeLine(svReply)).empty();)
    {
        const std::size_t uColon = svLine.find(": ");
        Law(uColon != std::string_view::npos && svLine.find(' ') == uColon + 1, "a header line");
        if (svLine.starts_with("Content-Length: "))
        {
            svLine.remove_prefix(uColon + 2);
            std::from_chars(svLine.data(), svLine.data() + svLine.size(), uLength);
            ++iLengths;
        }
    }
    const std::string_view svCode = svStatus.substr(9, 3);
    Law(iLengths == 1, "one length");
    // A refused request need not be known as HEAD.
    const bool bNoBody = bHead && (svReply.empty() || (svCode != "400" && svCode != "431"));
    Law(svReply.size() == (bNoBody ? 0 : uLength), "the length is that of the body");
}

/// What does not change from one moment to the next.
std::string Lasting(std::string strReply)
{
    const bool bStatus = strReply.find("<h1>Status") != std::string::npos;
    strReply.resize(bStatus ? strReply.find("\r\n\r\n") : strReply.size());
    std::erase_if(strReply, [](char ch) { return ch >= '0' && ch <= '9'; });
    return strReply;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t uSize)
{
    const std::string strInput(pData, pData + uSize);
    std::vector<std::string_view> vPieces;
    std::string strWhole;
    for (std::string_view svRest = strInput; !svRest.empty() && vPieces.size() < 20;)
    {
        const std::string_view svPiece = svRest.substr(0, svRest.find(kPieceEnd));
        svRest.remove_prefix(std::min(svPiece.size() + 1, svRest.size()));
        vPieces.push_back(svPiece);
        strWhole += svPiece;
    }
    const std::string strReply = Ask({strWhole});
    Law(strReply.empty() == strWhole.empty(), "who asks is answered");
    Law(Lasting(Ask(vPieces)) == Lasting(strReply), "the same answer to the same request");
    if (!strReply.empty())
    {
        CheckReply(strReply, strWhole.starts_with("HEAD "));
    }
    return 0;
}
