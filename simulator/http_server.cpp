#include "simulator/http_server.h"

#include <array>
#include <exception>
#include <memory>
#include <new>
#include <thread>
#include <utility>

#include <fcntl.h>

// One thread runs all handlers; the thread sanitizer does not know fences.
#define BOOST_ASIO_DISABLE_FENCED_BLOCK
#include <boost/asio/buffer.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/system/system_error.hpp>

#include "diagnostics/function_state.h"
#include "simulator/http_connection.h"
#include "threading/event.h"
#include "threading/simple_thread.h"
#include "threading/wait_time.h"

namespace
{

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using asio::ip::tcp;
using beast::error_code;

// If the connection were closed while the client still sends, the client could lose the reply. So
// the server reads on for a moment.
constexpr std::chrono::milliseconds kLingerTime = std::chrono::seconds(1);
constexpr std::size_t kLingerBytes = 65536;

// Before the next attempt, when descriptors or memory have run out.
constexpr std::chrono::milliseconds kPauseAfterFailure(100);

/// What the connections share.
struct SService
{
    CHttpServer::CHandler m_handler;
    SHttpLimits m_limits;
    bool m_bLoopback = false;
    int m_iConnections = 0;
};

/// A connection; it lives as long as an operation on it is under way.
class CSession : public std::enable_shared_from_this<CSession>
{
public:
    CSession(SService& service, tcp::socket socket)
        : m_service(service), m_stream(std::move(socket)), m_buffer(service.m_limits.m_uHeader)
    {
        m_parser.header_limit(service.m_limits.m_uHeader);
        m_parser.body_limit(0);
        ++m_service.m_iConnections;
    }
    ~CSession() { --m_service.m_iConnections; }

    CSession(const CSession&) = delete;
    CSession& operator=(const CSession&) = delete;

    void Serve()
    {
        m_stream.expires_after(m_service.m_limits.m_time);
        http::async_read_header(m_stream, m_buffer, m_parser,
                                [pThis = shared_from_this()](error_code error, std::size_t)
                                { pThis->HandleRequest(error); });
    }

    void Refuse(int iStatus)
    {
        CHttpConnection connection;
        connection.Refuse(iStatus);
        Send(connection.TakeReply(IsHead()));
    }

private:
    void HandleRequest(error_code error)
    {
        const int iStatus = CheckRequest(error);
        if (iStatus == 0)
        {
            return;
        }
        if (iStatus != 200)
        {
            Refuse(iStatus);
            return;
        }

        const auto& request = m_parser.get();
        CHttpConnection::CHeaders headers;
        for (const auto& field : request)
        {
            headers.emplace_back(field.name_string(), field.value());
        }
        CHttpConnection connection(std::string(request.target()), std::move(headers));
        if (!MakeReply(connection))
        {
            connection.Refuse(503);
        }
        Send(connection.TakeReply(IsHead()));
    }

    /// False where the method is not known yet.
    bool IsHead() const { return m_parser.get().method() == http::verb::head; }

    /// The status to refuse a request with, 200 for a good one, 0 where nobody waits for a reply.
    int CheckRequest(error_code error) const
    {
        if (error == http::error::header_limit || error == http::error::buffer_overflow)
        {
            return 431;
        }
        if (error == http::error::body_limit)
        {
            return 413;
        }
        if (error == http::error::end_of_stream ||
            (error && error.category() != make_error_code(http::error::bad_method).category()))
        {
            return 0;
        }
        if (error)
        {
            return 400;
        }

        const auto& request = m_parser.get();
        if (request.method() != http::verb::get && request.method() != http::verb::head)
        {
            return 405;
        }
        if (m_parser.chunked() || m_parser.content_length().value_or(0) != 0)
        {
            return 413;
        }
        const std::size_t uHosts = request.count(http::field::host);
        if (uHosts > 1 || (uHosts == 0 && request.version() > 10))
        {
            return 400;
        }
        const beast::string_view svHost = request[http::field::host];
        if (m_service.m_bLoopback && uHosts == 1 && !IsLoopbackHost({svHost.data(), svHost.size()}))
        {
            return 421;
        }
        return 200;
    }

    bool MakeReply(CHttpConnection& connection) const
    {
        CFunctionSwitch fsReply("HTTP::Reply");
        const char* szTarget = connection.GetRequestObject();
        mu::CFunctionParam fpTarget(fsReply, "szTarget", szTarget);
        try
        {
            return m_service.m_handler(&connection);
        }
        catch (const std::exception&)
        {
            return false;
        }
    }

    void Send(std::string strReply)
    {
        m_strReply = std::move(strReply);
        m_stream.expires_after(m_service.m_limits.m_time);
        asio::async_write(m_stream, asio::buffer(m_strReply),
                          [pThis = shared_from_this()](error_code error, std::size_t)
                          {
                              if (!error)
                              {
                                  pThis->m_stream.socket().shutdown(tcp::socket::shutdown_send,
                                                                    error);
                                  pThis->m_stream.expires_after(kLingerTime);
                                  pThis->Linger();
                              }
                          });
    }

    void Linger()
    {
        m_stream.async_read_some(asio::buffer(m_aRest),
                                 [pThis = shared_from_this()](error_code error, std::size_t uRead)
                                 {
                                     pThis->m_uLingered += uRead;
                                     if (!error && pThis->m_uLingered < kLingerBytes)
                                     {
                                         pThis->Linger();
                                     }
                                 });
    }

    SService& m_service;
    beast::tcp_stream m_stream;
    beast::flat_buffer m_buffer;
    http::request_parser<http::empty_body> m_parser;
    std::string m_strReply;
    std::array<char, 4096> m_aRest;
    std::size_t m_uLingered = 0;
};

} // namespace

class CHttpServer::CListener final : private CSimpleThread
{
public:
    CListener(CHandler handler, const SHttpLimits& limits)
        : m_service{std::move(handler), limits}, m_acceptor(m_context), m_pause(m_context)
    {
    }
    ~CListener()
    {
        m_context.stop();
        if (m_bStarted)
        {
            m_pEnded->Wait(mu::kInfinite);
        }
    }

    std::string Start(SHttpAddress& address)
    {
        error_code error;
        tcp::endpoint endpoint(asio::ip::make_address(address.m_strHost, error), address.m_uPort);
        if (!error)
        {
            Listen(endpoint, error);
        }
        if (error)
        {
            return address.GetURL() + ": " + error.message();
        }
        address.m_uPort = endpoint.port();
        m_service.m_bLoopback = IsLoopbackAddress(address.m_strHost);
        Accept();
        m_bStarted = m_pEnded->IsValid() && StartThread("HTTP", nullptr, nullptr);
        return m_bStarted ? "" : "no thread can be started";
    }

private:
    void Listen(tcp::endpoint& endpoint, error_code& error)
    {
        m_acceptor.open(endpoint.protocol(), error);
        if (!error)
        {
            ::fcntl(m_acceptor.native_handle(), F_SETFD, FD_CLOEXEC);
            m_acceptor.set_option(tcp::acceptor::reuse_address(true), error);
        }
        if (!error)
        {
            m_acceptor.bind(endpoint, error);
        }
        if (!error)
        {
            m_acceptor.listen(tcp::acceptor::max_listen_connections, error);
        }
        if (!error)
        {
            endpoint = m_acceptor.local_endpoint(error);
        }
    }

    bool IsAccepting() const { return m_pAwaited.use_count() > 1; }

    void Accept()
    {
        m_acceptor.async_accept([this, pAwaited = m_pAwaited](error_code error, tcp::socket socket)
                                { HandleConnection(error, std::move(socket)); });
    }

    void HandleConnection(error_code error, tcp::socket socket)
    {
        try
        {
            if (!error)
            {
                ::fcntl(socket.native_handle(), F_SETFD, FD_CLOEXEC);
                Serve(std::move(socket));
            }
        }
        catch (const std::exception&) // this connection is lost, the next may be better
        {
            error = asio::error::no_memory;
        }
        if (!error)
        {
            Accept();
            return;
        }
        m_pause.expires_after(kPauseAfterFailure);
        m_pause.async_wait([this, pAwaited = m_pAwaited](error_code) { Accept(); });
    }

    void Serve(tcp::socket socket)
    {
        const int iMost = m_service.m_limits.m_iConnections;
        if (m_service.m_iConnections >= 2 * iMost) // even the refusals are too many
        {
            return;
        }
        const auto pSession = std::make_shared<CSession>(m_service, std::move(socket));
        if (m_service.m_iConnections > iMost)
        {
            pSession->Refuse(503);
        }
        else
        {
            pSession->Serve();
        }
    }

    int ThreadMain(void*) override
    {
        // The destructor returns as soon as the event is signalled, perhaps before Signal() does
        // here. So the thread holds a reference of its own to the event.
        const std::shared_ptr<CPosixEventObject> pEnded = m_pEnded;
        {
            CFunctionSwitch fsRun("HTTP::Run");
            while (!m_context.stopped())
            {
                try
                {
                    if (!IsAccepting())
                    {
                        Accept();
                    }
                    m_context.run();
                }
                catch (const std::exception&) // that connection ends; the others go on
                {
                    if (!IsAccepting())
                    {
                        std::this_thread::sleep_for(kPauseAfterFailure);
                    }
                }
            }
        }
        pEnded->Signal();
        return 0;
    }

    SService m_service; // before the context: its destructor ends the sessions, which use this
    asio::io_context m_context{1};
    // Keeps run() from returning when there is nothing to wait for, as after Accept() has failed
    // for want of memory: the context would then count as stopped, and the thread would end.
    const asio::executor_work_guard<asio::io_context::executor_type> m_work{
        m_context.get_executor()};
    tcp::acceptor m_acceptor;
    asio::steady_timer m_pause;
    const std::shared_ptr<CPosixEventObject> m_pEnded = std::make_shared<CPosixEventObject>();
    // Counts the handlers that will lead to the next connection: the one of an accept, or of the
    // pause before it. Without memory a handler may be dropped without being called.
    const std::shared_ptr<int> m_pAwaited = std::make_shared<int>();
    bool m_bStarted = false;
};

CHttpServer::CHttpServer() = default;
CHttpServer::~CHttpServer() = default;

std::string CHttpServer::Start(const SHttpAddress& address, CHandler handler,
                               const SHttpLimits& limits)
{
    m_address = address;
    try
    {
        m_pListener = std::make_unique<CListener>(std::move(handler), limits);
        return m_pListener->Start(m_address);
    }
    catch (const boost::system::system_error& error)
    {
        return m_address.GetURL() + ": " + error.what(); // no descriptors
    }
}
