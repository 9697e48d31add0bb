// The server over real sockets.

#include "simulator/http_server.h"

#include <arpa/inet.h>
#include <sys/socket.h>

#include "mu/lengths.h"
#include "simulator/http_connection.h"
#include "tests/support/testing.h"

namespace
{

using namespace std::chrono_literals;
using testing::StartsWith;

// A client's end of a connection.
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

    CClient(CClient&&) = delete; // nor copied

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

// Starts a server, or ends the test where the build has none.
#define ZOR_START_OR_SKIP(server, ...)                                                             \
    if (const std::string strError = (server).Start(__VA_ARGS__); !strError.empty())               \
    {                                                                                              \
        ASSERT_NE(strError.find("without Boost"), std::string::npos) << strError;                  \
        GTEST_SKIP() << strError;                                                                  \
    }

bool Handle(IWebServerExtContext* pContext)
{
    const std::string strTarget = pContext->GetRequestObject();
    if (strTarget == "/throw")
        throw std::runtime_error("no page");
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
    CClient{server}; // says nothing
    const std::string strHost = "Host: 127.0.0.1:80\r\n";
    const std::string strHeader =
        "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nContent-Length: 3\r\n" + kCommonHeaders;
    EXPECT_EQ(CClient(server).Ask("GET / HTTP/1.1\r\n" + strHost + "\r\n"), strHeader + "xxx");
    EXPECT_EQ(CClient(server).Ask("HEAD / HTTP/1.1\r\n" + strHost + "\r\n"), strHeader);

    const auto get = [](const std::string& strFields)
    { return "GET / HTTP/1.1\r\n" + strFields + "\r\n"; };
    const auto host = [&](const char* szHost)
    { return get(std::string("Host: ") + szHost + "\r\n"); };
    const auto old = [](const char* szTarget)
    { return std::string("GET ") + szTarget + " HTTP/1.0\r\n\r\n"; };
    const std::string strField = "X: " + std::string(8000, 'x') + "\r\n";
    // What the answer begins with, a pattern.
    const std::map<std::string, std::vector<std::string>> mapRequests{
        {"200 OK\r\nContent-Type: text/xml\r\n.*; style-src 'unsafe-inline'; base-uri",
         {"GET / HTTP/1.0\r\nX-Type: text/xml\r\n\r\n"}},
        {"400 Bad Request\r\n.*\r\n\r\n$", {"HEAD / HTTP/1.1\r\n\r\n"}},
        {"405 .*\r\nAllow: GET, HEAD\r\n", {"PUT / HTTP/1.0\r\n\r\n"}},
        {"200",
         {old("/"), host("LocalHost"), host("[::1]:80"),
          get(strHost + "Content-Length: 0\r\n" + strField)}},
        {"400",
         {get(""), get(strHost + strHost), old(" /"), "\x16\x03\x01\x02",
          "PRI * HTTP/2.0\r\n\r\n"}},
        {"413",
         {get(strHost + "Content-Length: 5\r\n") + "hello",
          get(strHost + "Transfer-Encoding: chunked\r\n") + "0\r\n\r\n"}},
        {"421",
         {host("recorder.example"), host("127.0.0.1.example"), host(""), host("localhost:80:evil"),
          host("[localhost]"), host("[::1]evil"), host("[127.0.0.1]")}},
        {"431", {get(strHost + strField + strField), "GET /" + std::string(60000, 'x')}},
        {"503", {old("/none"), old("/fail"), old("/throw"), old("/large")}},
    };
    for (const auto& [strAnswer, vecRequests] : mapRequests)
        for (const std::string& strRequest : vecRequests)
            EXPECT_THAT(CClient(server).Ask(strRequest),
                        testing::ContainsRegex("^HTTP/1.1 " + strAnswer))
                << strRequest.substr(0, 80);

    const CClient half(server);
    EXPECT_EQ(::write(half.Socket(), "GET", 3), 3);
    ::shutdown(half.Socket(), SHUT_WR);
    EXPECT_THAT(ReadFrom(half.Socket()), StartsWith("HTTP/1.1 400 "));

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
}

TEST(HttpAddress, IsNumeric)
{
    SHttpAddress address;
    for (const char* szText :
         {"", "127.0.0.1", "127.0.0.1:", ":80", "127.0.0.1:65536", "127.1:80", "127.0.0.1:-1",
          "127.0.0.1:80 ", "localhost:80", "::1:80", "[::1]80", "[127.0.0.1]:80", "[::1:80"})
        EXPECT_FALSE(ParseHttpAddress(szText, address)) << szText;
    EXPECT_EQ(address.GetURL(), "http://127.0.0.1:0/");
    EXPECT_TRUE(ParseHttpAddress("[::1]:65535", address));
    EXPECT_EQ(address.GetURL(), "http://[::1]:65535/");
}

} // namespace
