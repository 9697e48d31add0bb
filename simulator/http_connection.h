#ifndef ZOR_SIMULATOR_HTTP_CONNECTION_H
#define ZOR_SIMULATOR_HTTP_CONNECTION_H

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "mu/http_reply.h"

/// One request, and its reply while it is being made: it is sent when it is whole.
class CHttpConnection final : public IWebServerExtContext
{
public:
    using CHeaders = std::vector<std::pair<std::string, std::string>>; // name and value

    /// More than the largest document that fits into a pipe, with its header.
    static constexpr std::size_t kMaxReply = 2U << 20;

    CHttpConnection() : m_headers() {} ///< of a request that could not be read
    CHttpConnection(std::string strTarget, CHeaders headers)
        : m_strTarget(std::move(strTarget)), m_headers(std::move(headers))
    {
    }

    const char* GetRequestObject() override { return m_strTarget.c_str(); }
    /// Of several headers of a name the first.
    const char* GetRequestHeader(const char* szName) override;
    /// Takes nothing that would make the reply longer than kMaxReply.
    int Write(const void* pData, int iLength) override;

    /// Replaces what was written by a short text about a status of 400 or above.
    void Refuse(int iStatus);

    /// The reply, with the header lines that every reply of the server carries; without its body
    /// for a HEAD request. A reply without a whole header becomes one of status 503.
    std::string TakeReply(bool bHeaderOnly);

private:
    const std::string m_strTarget;
    const CHeaders m_headers;
    std::string m_strReply;
};

#endif
