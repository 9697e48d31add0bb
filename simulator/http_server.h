#ifndef ZOR_SIMULATOR_HTTP_SERVER_H
#define ZOR_SIMULATOR_HTTP_SERVER_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "mu/http_reply.h"
#include "simulator/http_address.h"

/// What one client, or all of them, can make the server hold or wait for.
struct SHttpLimits
{
    std::uint32_t m_uHeader = 8192; ///< bytes of a request, which has no body
    int m_iConnections = 16;        ///< at a time; the next ones are told to come back
    /// For a request to arrive, and for its reply to leave.
    std::chrono::milliseconds m_time = std::chrono::seconds(10);
};

/// A small HTTP/1.1 server (RFC 9112): GET and HEAD, one request a connection. Everything happens
/// on one thread, "HTTP", which also calls the handler.
class CHttpServer
{
public:
    /// Makes the reply to a request through mu/web.h. False if it cannot: the client is told that
    /// the service is unavailable.
    using CHandler = std::function<bool(IWebServerExtContext*)>;

    CHttpServer();
    ~CHttpServer(); ///< drops what is under way and waits for the thread

    CHttpServer(const CHttpServer&) = delete;
    CHttpServer& operator=(const CHttpServer&) = delete;

    /// Once at most. Returns what stands in the way, empty on success.
    std::string Start(const SHttpAddress& address, CHandler handler,
                      const SHttpLimits& limits = {});

    /// Where it listens, with the port that the system chose.
    const SHttpAddress& GetAddress() const { return m_address; }

private:
    class CListener;

    SHttpAddress m_address;
    std::unique_ptr<CListener> m_pListener;
};

#endif
