// The server over real sockets.

#include "simulator/http_server.h"

#include <cstring>
#include <stdexcept>
#include <string>

#include <arpa/inet.h>
#include <sys/socket.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "mu/lengths.h"
#include "simulator/http_connection.h"
#include "tests/simulator/live_server.h"
#include "tests/support/child_process.h"

namespace
{

using namespace std::chrono_literals;
using testing::StartsWith;

/// A client's end of a connection.
class CClient
{
public:
    explicit CClient(const CHttpServer& server)
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(server.GetAddress().m_uPort);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(::connect(m_iSocket, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    }
    ~CClient() { ::close(m_iSocket); }

    CClient(const CClient&) = delete;
    CClient& operator=(const CClient&) = delete;

    int Socket() const { return m_iSocket; }
    std::string Ask(const std::string& strRequest) const
    {
        EXPECT_EQ(::send(m_iSocket, strRequest.data(), strRequest.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(strRequest.size()));
        return ReadFrom(m_iSocket);
    }

private:
    const int m_iSocket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

bool Handle(IWebServerExtContext* pContext)
{
    const std::string strTarget = pContext->GetRequestObject();
    if (strTarget == "/throw")
    {
        throw std::runtime_error("no page");
    }
    const std::size_t uLength = strTarget == "/large" ? CHttpConnection::kMaxReply : 3;
    const char* const szType = pContext->GetRequestHeader("x-TYPE");
    return strTarget == "/none" ||
           (strTarget != "/fail" && mu::WriteHttpContent(szType != nullptr ? szType : "text/plain",
                                                         true, std::string(uLength, 'x').data(),
                                                         mu::IntCount(uLength), pContext));
}

const std::string kCommonHeaders =
    "Content-Security-Policy: default-src 'none'; style-src 'self'; base-uri 'none'; "
    "form-action 'none'; frame-ancestors 'none'\r\nX-Content-Type-Options: nosniff\r\n"
    "Referrer-Policy: no-referrer\r\nConnection: close\r\n\r\n";

TEST(HttpServer, AnswersOrRefuses)
{
    CHttpServer server;
    ZOR_START_OR_SKIP(server, {}, Handle, {});
    const std::string strHost = "Host: 127.0.0.1:80\r\n";
    const std::string strHeader =
        "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nContent-Length: 3\r\n" + kCommonHeaders;
    EXPECT_EQ(CClient(server).Ask("GET / HTTP/1.1\r\n" + strHost + "\r\n"), strHeader + "xxx");
    EXPECT_EQ(CClient(server).Ask("HEAD / HTTP/1.1\r\n" + strHost + "\r\n"), strHeader);
    EXPECT_EQ(CClient(server).Ask("PUT / HTTP/1.1\r\n" + strHost + "\r\n"),
              "HTTP/1.1 405 Method Not Allowed\r\nContent-Type: text/plain; charset=utf-8\r\n"
              "Content-Length: 19\r\n"
              "Cache-Control: no-cache, no-store, max-age=0, must-revalidate\r\n"
              "Pragma: no-cache\r\nAllow: GET, HEAD\r\n" +
                  kCommonHeaders + "Method Not Allowed\n");

    const std::string strGet = "GET / HTTP/1.1\r\n";
    const std::string strField = "X: " + std::string(8000, 'x') + "\r\n";
    const std::pair<std::string, const char*> aCases[] = {
        {"GET / HTTP/1.0\r\n\r\n", "200"},
        {strGet + "Host: LocalHost\r\n\r\n", "200"},
        {strGet + "Host: [::1]:8080\r\n\r\n", "200"},
        {strGet + strHost + "Content-Length: 0\r\n" + strField + "\r\n", "200"},
        {"GET /none HTTP/1.0\r\n\r\n", "503"},
        {"GET /fail HTTP/1.0\r\n\r\n", "503"},
        {"GET /throw HTTP/1.0\r\n\r\n", "503"},
        {"GET /large HTTP/1.0\r\n\r\n", "503"},
        {strGet + "\r\n", "400"},
        {strGet + strHost + strHost + "\r\n", "400"},
        {"GET  / HTTP/1.1\r\n\r\n", "400"},
        {"\x16\x03\x01\x02", "400"},
        {"PRI * HTTP/2.0\r\n\r\n", "400"},
        {strGet + "Host: recorder.example\r\n\r\n", "421"},
        {strGet + "Host: 127.0.0.1.example\r\n\r\n", "421"},
        {strGet + "Host:\r\n\r\n", "421"},
        {strGet + strHost + "Content-Length: 5\r\n\r\nhello", "413"},
        {strGet + strHost + "Transfer-Encoding: chunked\r\n\r\n0\r\n\r\n", "413"},
        {strGet + strHost + strField + strField + "\r\n", "431"},
        {"GET /" + std::string(60000, 'x'), "431"},
    };
    for (const auto& [strRequest, szStatus] : aCases)
    {
        EXPECT_THAT(CClient(server).Ask(strRequest),
                    StartsWith(std::string("HTTP/1.1 ") + szStatus))
            << strRequest.substr(0, 80);
    }
    EXPECT_THAT(CClient(server).Ask("GET / HTTP/1.0\r\nX-Type: text/xml\r\n\r\n"),
                testing::HasSubstr("\r\nContent-Type: text/xml\r\nContent-Length: 3\r\n"
                                   "Content-Security-Policy: default-src 'none'; "
                                   "style-src 'unsafe-inline'; base-uri"));

    CHttpServer second;
    EXPECT_THAT(second.Start(server.GetAddress(), Handle), testing::EndsWith("in use"));
}

TEST(HttpServer, KeepsItsLimits)
{
    CHttpServer server;
    ZOR_START_OR_SKIP(server, {}, Handle, {.m_iConnections = 2, .m_time = 300ms});
    {
        const CClient first(server);
        const CClient second(server);
        EXPECT_THAT(CClient(server).Ask(""), StartsWith("HTTP/1.1 503 "));
        EXPECT_EQ(first.Ask("GET / HTTP/1.1\r\nHos"), "") << "dropped after its time";
    }
    EXPECT_THAT(CClient(server).Ask("GET / HTTP/1.0\r\n\r\n"), StartsWith("HTTP/1.1 200 "));

    // A server that ends while clients are connected does not wait for them.
    auto pLast = std::make_unique<CHttpServer>();
    EXPECT_EQ(pLast->Start({}, Handle), "");
    const CClient client(*pLast);
    const auto tpStart = std::chrono::steady_clock::now();
    pLast.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - tpStart, 5s);
    EXPECT_EQ(ReadFrom(client.Socket()), "");
}

TEST(HttpAddress, IsNumeric)
{
    const std::pair<const char*, const char*> aCases[] = {
        {"8080", "http://127.0.0.1:8080/"},
        {"0.0.0.0:0", "http://0.0.0.0:0/"},
        {"[::1]:65535", "http://[::1]:65535/"},
        {"", nullptr},
        {"127.0.0.1", nullptr},
        {"127.0.0.1:", nullptr},
        {":80", nullptr},
        {"127.0.0.1:65536", nullptr},
        {"127.0.0.1:-1", nullptr},
        {"127.0.0.1:80 ", nullptr},
        {"localhost:80", nullptr},
        {"127.1:80", nullptr},
        {"::1:80", nullptr},
        {"[::1]80", nullptr},
        {"[127.0.0.1]:80", nullptr},
        {"[::1:80", nullptr},
    };
    for (const auto& [szText, szURL] : aCases)
    {
        SHttpAddress address;
        EXPECT_EQ(ParseHttpAddress(szText, address), szURL != nullptr) << szText;
        EXPECT_EQ(address.GetURL(), szURL != nullptr ? szURL : "http://127.0.0.1:0/") << szText;
    }
}

} // namespace
