#ifndef ZOR_TESTS_SIMULATOR_LIVE_PAGE_H
#define ZOR_TESTS_SIMULATOR_LIVE_PAGE_H

#include <arpa/inet.h>
#include <sys/socket.h>

#include "fuzz/support/lasting_recorder.h"
#include "simulator/http_server.h"
#include "tests/support/testing.h"

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

/// Starts a server, or ends the test where the build has none.
#define ZOR_START_OR_SKIP(server, ...)                                                             \
    if (const std::string strError = (server).Start(__VA_ARGS__); !strError.empty())               \
    {                                                                                              \
        ASSERT_NE(strError.find("without Boost"), std::string::npos) << strError;                  \
        GTEST_SKIP() << strError;                                                                  \
    }

#endif
