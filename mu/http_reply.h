#ifndef ZOR_MU_HTTP_REPLY_H
#define ZOR_MU_HTTP_REPLY_H

#include <string>
#include <string_view>

/// One request and the connection that its reply goes to. The web server supplies it and owns it.
/// The replies below use Write() alone, whose place as the third operation is part of the binary
/// interface.
class IWebServerExtContext
{
public:
    /// The request target as it was received; ParseRequestObject() reads it.
    virtual const char* GetRequestObject() = 0;
    /// The value of a request header, whose name is matched in any case; null without one.
    virtual const char* GetRequestHeader(const char* szName) = 0;
    /// Sends raw bytes to the client. Returns nonzero when all of them were taken.
    virtual int Write(const void* pData, int iLength) = 0;

protected:
    ~IWebServerExtContext() = default;
};

namespace mu
{

// Whole HTTP/1.1 replies (RFC 9112). Each returns false as soon as a write fails, with nothing
// sent after it. The header goes out in one write and the body in another; a header is cut at 199
// bytes. Texts (which are not null) are sent as they are: what comes from outside does not belong
// in a status text or a content type.

/// A reply that is not cacheable tells the client to ask again each time.
bool WriteHttpContentHeader(int iStatus, const char* szStatusText, const char* szContentType,
                            bool bCacheable, int iContentLength, IWebServerExtContext* pContext);

/// Without a body (null or length 0) the header is all that is sent. It gives the length also for
/// a null body, as the reply to a HEAD request does.
bool WriteHttpContent(int iStatus, const char* szStatusText, const char* szContentType,
                      bool bCacheable, const void* pBody, int iLength,
                      IWebServerExtContext* pContext);
/// The same with the status 200 "OK".
bool WriteHttpContent(const char* szContentType, bool bCacheable, const void* pBody, int iLength,
                      IWebServerExtContext* pContext);

inline constexpr std::string_view kXMLDeclaration = "<?xml version='1.0' encoding='UTF-8'?>";

/// A SOAP 1.2 reply of UTF-8 text. False, with nothing sent, for a text that an int cannot count.
bool WriteSoapReply(const std::string& strXML, IWebServerExtContext* pContext);

/// A document, such as CEasyXML, whose GetXML() gives its text as UTF-8, or false without one.
template <typename TDocument>
concept GivesXML = requires(TDocument& document, std::string& strXML)
{
    static_cast<bool>(document.GetXML(strXML));
};

/// The same of a document, with the declaration in front unless its text begins with it. False,
/// with nothing sent, if it gives no text.
template <GivesXML TDocument>
bool WriteSoapReply(TDocument& document, IWebServerExtContext* pContext)
{
    std::string strXML;
    if (!document.GetXML(strXML))
    {
        return false;
    }
    if (strXML.starts_with(kXMLDeclaration))
    {
        return WriteSoapReply(strXML, pContext);
    }
    return WriteSoapReply(std::string(kXMLDeclaration) + strXML, pContext);
}

/// A page that leads the browser to another one after some seconds. The URL is sent as
/// EncodeURLMarkup() leaves it. False, with nothing sent, for a URL that is too long for an int.
bool WriteHTMLRedirectCode(IWebServerExtContext* pContext, int iDelaySeconds, const char* szURL);

} // namespace mu

#endif
