#include "simulator/http_connection.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include <strings.h>

#include "mu/lengths.h"

namespace
{

constexpr std::string_view kHeaderEnd = "\r\n\r\n";

// Nothing that a page contains is fetched or run but the style sheet, no address of a page is told
// elsewhere, and no other page shows one inside of it.
constexpr std::string_view kPagePolicy =
    "\r\nContent-Security-Policy: default-src 'none'; style-src 'self'; ";
// Browsers add styles of their own to an XML document, and apply its policy to them.
constexpr std::string_view kDocumentPolicy =
    "\r\nContent-Security-Policy: default-src 'none'; style-src 'unsafe-inline'; ";
constexpr std::string_view kDocumentType = "\r\nContent-Type: text/xml";
constexpr std::string_view kCommonHeaders =
    "base-uri 'none'; form-action 'none'; frame-ancestors 'none'"
    "\r\nX-Content-Type-Options: nosniff"
    "\r\nReferrer-Policy: no-referrer"
    "\r\nConnection: close";

struct SRefusal
{
    int m_iStatus;
    const char* m_szText;
    std::string_view m_svHeader = {};
};

// RFC 9110, section 15, and RFC 6585. The last stands for all that is not here.
constexpr SRefusal kRefusals[] = {
    {400, "Bad Request"},
    {405, "Method Not Allowed", "\r\nAllow: GET, HEAD"},
    {413, "Content Too Large"},
    {421, "Misdirected Request"},
    {431, "Request Header Fields Too Large"},
    {503, "Service Unavailable"},
};

} // namespace

const char* CHttpConnection::GetRequestHeader(const char* szName)
{
    const auto itHeader =
        std::ranges::find_if(m_headers, [=](const auto& header)
                             { return ::strcasecmp(header.first.c_str(), szName) == 0; });
    return itHeader != m_headers.end() ? itHeader->second.c_str() : nullptr;
}

int CHttpConnection::Write(const void* pData, int iLength)
{
    const std::size_t uLength = mu::UnitCount(iLength);
    if (uLength > kMaxReply - m_strReply.size())
    {
        return 0;
    }
    m_strReply.append(static_cast<const char*>(pData), uLength);
    return 1;
}

void CHttpConnection::Refuse(int iStatus)
{
    const SRefusal& refusal =
        *std::find_if(std::begin(kRefusals), std::end(kRefusals) - 1,
                      [=](const SRefusal& row) { return row.m_iStatus == iStatus; });
    const std::string strText = std::string(refusal.m_szText) + "\n";
    m_strReply.clear();
    mu::WriteHttpContent(refusal.m_iStatus, refusal.m_szText, "text/plain; charset=utf-8", false,
                         strText.data(), mu::IntCount(strText.size()), this);
    m_strReply.insert(m_strReply.find(kHeaderEnd), refusal.m_svHeader);
}

std::string CHttpConnection::TakeReply(bool bHeaderOnly)
{
    std::size_t uHeaderEnd = m_strReply.find(kHeaderEnd);
    if (uHeaderEnd == std::string::npos)
    {
        Refuse(503);
        uHeaderEnd = m_strReply.find(kHeaderEnd);
    }
    if (bHeaderOnly)
    {
        m_strReply.resize(uHeaderEnd + kHeaderEnd.size());
    }
    const bool bDocument = m_strReply.find(kDocumentType) < uHeaderEnd;
    m_strReply.insert(uHeaderEnd, kCommonHeaders);
    m_strReply.insert(uHeaderEnd, bDocument ? kDocumentPolicy : kPagePolicy);
    return std::move(m_strReply);
}
