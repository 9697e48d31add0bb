#include "mu/http_reply.h"

#include <climits>

#include "mu/lengths.h"
#include "mu/text.h"
#include "mu/url.h"

namespace
{

constexpr int kHeaderSize = 200;

/// iFormatted is the result of SNPrintF(), which exceeds the length in the buffer if that was too
/// small.
bool WriteHeader(const char* szHeader, int iFormatted, IWebServerExtContext* pContext)
{
    return iFormatted >= 0 &&
           pContext->Write(szHeader, iFormatted < kHeaderSize ? iFormatted : kHeaderSize - 1) != 0;
}

} // namespace

namespace mu
{

bool WriteHttpContentHeader(int iStatus, const char* szStatusText, const char* szContentType,
                            bool bCacheable, int iContentLength, IWebServerExtContext* pContext)
{
    char szHeader[kHeaderSize];
    const int iFormatted = SNPrintF(
        szHeader, kHeaderSize, "HTTP/1.1 %d %s\r\nContent-Type: %s\r\nContent-Length: %d\r\n%s\r\n",
        iStatus, szStatusText, szContentType, iContentLength,
        bCacheable ? ""
                   : "Cache-Control: no-cache, no-store, max-age=0, must-revalidate\r\n"
                     "Pragma: no-cache\r\n");
    return WriteHeader(szHeader, iFormatted, pContext);
}

bool WriteHttpContent(int iStatus, const char* szStatusText, const char* szContentType,
                      bool bCacheable, const void* pBody, int iLength,
                      IWebServerExtContext* pContext)
{
    const int iBodyLength = iLength > 0 ? iLength : 0;
    if (!WriteHttpContentHeader(iStatus, szStatusText, szContentType, bCacheable, iBodyLength,
                                pContext))
    {
        return false;
    }
    return iBodyLength == 0 || pBody == nullptr || pContext->Write(pBody, iBodyLength) != 0;
}

bool WriteHttpContent(const char* szContentType, bool bCacheable, const void* pBody, int iLength,
                      IWebServerExtContext* pContext)
{
    return WriteHttpContent(200, "OK", szContentType, bCacheable, pBody, iLength, pContext);
}

bool WriteSoapReply(const std::string& strXML, IWebServerExtContext* pContext)
{
    if (strXML.size() > INT_MAX)
    {
        return false;
    }
    const auto iLength = static_cast<int>(strXML.size());

    char szHeader[kHeaderSize];
    const int iFormatted =
        SNPrintF(szHeader, kHeaderSize,
                 "HTTP/1.1 200 OK\r\nContent-Type: application/soap+xml; charset=utf-8\r\n"
                 "Content-Length: %d\r\n"
                 "SOAPAction: \"http://www.w3.org/2003/05/soap-envelope\"\r\n\r\n",
                 iLength);
    return WriteHeader(szHeader, iFormatted, pContext) &&
           (iLength == 0 || pContext->Write(strXML.data(), iLength) != 0);
}

bool WriteHTMLRedirectCode(IWebServerExtContext* pContext, int iDelaySeconds, const char* szURL)
{
    std::string strURL = szURL;
    EncodeURLMarkup(strURL);

    std::string strPage =
        "<html><head><meta http-equiv='Content-Type' content='text/html; charset=UTF-8'/>"
        "<title>Redirect</title><meta http-equiv='refresh' content='";
    strPage += std::to_string(iDelaySeconds);
    strPage += "; url=";
    strPage += strURL;
    strPage += "'/></head><body><p>Redirecting</p></body></html>";
    return strPage.size() <= INT_MAX &&
           WriteHttpContent("text/html", false, strPage.data(), IntCount(strPage.size()), pContext);
}

} // namespace mu
