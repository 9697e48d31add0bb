#include "mu/web.h"

#include "fuzz/support/codec_laws.h"
#include "tests/support/testing.h"
#include "xml/easy_xml.h"

namespace
{

using namespace std::string_literals;

/// Keeps what is written, each write ended by a bar, and takes the first writes only.
class CConnection final : public IWebServerExtContext
{
public:
    const char* GetRequestObject() override { return "/"; }
    const char* GetRequestHeader(const char* /*szName*/) override { return nullptr; }
    int Write(const void* pData, int iLength) override
    {
        m_strWritten.append(static_cast<const char*>(pData), static_cast<std::size_t>(iLength)) +=
            '|';
        return m_iTaken-- > 0 ? 256 : 0; // any number but 0 is success
    }

    std::string m_strWritten;
    int m_iTaken = 99;
};

TEST(Web, RepliesToTheByte)
{
    CEasyXML exml;
    CConnection connection;
    EXPECT_FALSE(mu::WriteSoapReply(exml, &connection)) << "an empty document";
    exml.AddRoot(L"\u00E9", L"");
    EXPECT_TRUE(mu::WriteSoapReply(exml, &connection));
    exml.EnableXMLHeaderTag(true);
    EXPECT_TRUE(mu::WriteSoapReply(exml, &connection));
    const std::string strSoap =
        "HTTP/1.1 200 OK\r\nContent-Type: application/soap+xml; charset=utf-8\r\n"
        "Content-Length: 43\r\n"
        "SOAPAction: \"http://www.w3.org/2003/05/soap-envelope\"\r\n\r\n|"
        "<?xml version='1.0' encoding='UTF-8'?><\xC3\xA9/>|";
    EXPECT_EQ(connection.m_strWritten, strSoap + strSoap);

    connection.m_strWritten.clear();
    EXPECT_TRUE(mu::WriteHttpContent("t", true, "x", -1, &connection));
    EXPECT_TRUE(mu::WriteHttpContent("t", true, nullptr, 7, &connection));
    EXPECT_TRUE(mu::WriteHTMLRedirectCode(&connection, -3, "/?b=1&c='/>\"<\r\x7F\xC3 %"));
    EXPECT_EQ(connection.m_strWritten,
              "HTTP/1.1 200 OK\r\nContent-Type: t\r\nContent-Length: 0\r\n\r\n|"
              "HTTP/1.1 200 OK\r\nContent-Type: t\r\nContent-Length: 7\r\n\r\n|"
              "HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nContent-Length: 225\r\n"
              "Cache-Control: no-cache, no-store, max-age=0, must-revalidate\r\n"
              "Pragma: no-cache\r\n\r\n|"
              "<html><head><meta http-equiv='Content-Type' content='text/html; charset=UTF-8'/>"
              "<title>Redirect</title><meta http-equiv='refresh' content='-3; url=/?b=1&c=%27/%3E"
              "%22%3C%0D%7F\xC3 %'/></head><body><p>Redirecting</p></body></html>|");

    connection.m_strWritten.clear();
    connection.m_iTaken = 1;
    const std::string strStatus(182, 's');
    EXPECT_FALSE(mu::WriteHttpContent(404, strStatus.c_str(), "t", true, "a\0b", 3, &connection));
    EXPECT_FALSE(mu::WriteHttpContent(404, strStatus.c_str(), "t", true, "a\0b", 3, &connection));
    const std::string strCut = "HTTP/1.1 404 " + strStatus + "\r\nCo|";
    EXPECT_EQ(connection.m_strWritten, strCut + "a\0b|"s + strCut);
    connection.m_iTaken = 1;
    EXPECT_FALSE(mu::WriteSoapReply("x", &connection));
}

// What reads text, each as an edit of it.

template <auto pRead>
void ReadMap(std::string& strText)
{
    CURLParamsMap mapParams;
    (mapParams.*pRead)(strText.data(), Length(strText));
    strText = mapParams.ToString();
}

constexpr auto ReadQuery = ReadMap<&CURLParamsMap::FromBuffer>;
constexpr auto ReadCookies = ReadMap<&CURLParamsMap::FromCookieHeader>;

void SplitTarget(std::string& strText)
{
    std::string strPath = "as it";
    CURLParamsMap mapParams;
    mapParams["was"];
    const bool bTaken = mu::ParseRequestObject(strText.data(), Length(strText), strPath, mapParams);
    strText = (bTaken ? "" : "refused ") + strPath + "?" + mapParams.ToString();
}

void MakeMailBody(std::string& strText)
{
    mu::CharsToMailBody(strText.data(), Length(strText), strText);
}

std::string Edited(std::string strText, void (*pEdit)(std::string&))
{
    pEdit(strText);
    return strText;
}

TEST(Web, ReadsWhatComesIn)
{
    const std::string strWord(996, 'x');
    const std::string strTail(998, '\xA9');
    const std::tuple<void (*)(std::string&), std::string, std::vector<std::string>> kCases[] = {
        {mu::DecodeURL, "a b c%41J", {"a+b%20c%2541%4a"}},
        {mu::DecodeURL, "%4A%A% g%G0\0\xFF%4"s, {"%4%41%%41%+g%G0%00%fF%4"}},
        {mu::DecodeURL, "%", {"%"}},
        {mu::EncodeURL, "Az09-._~%20%2B%25%40%5B%60%7B%3A%00%C3", {"Az09-._~ +%@[`{:\0\xC3"s}},
        {ReadQuery, "%00=1&a%20%3D=%26x&b=1%3D2&e=", {"b=1=2&&c&=d&a+%3D=%26x&b=no&e=&=%&\0=1"s}},
        {ReadCookies, "%25=%2B&i=a%3Db&o=%221%202%22", {" i=a=b; o = \"1 2\";n;=x;\ti=2;%=+; = "}},
        {SplitTarget, "/log?b=%3F%2F..%2Fx&from=20", {"/log?from=20&b=?/../x"}},
        {SplitTarget, "/a+b/?q=%20", {"/a+%62/?q=+#y?z=3", "HTTP://h:80/a+b/./?q=+"}},
        {SplitTarget, "/b/c/?", {"/a/../../b/./c/.", "/a//../..%2fb/c/x/%2e%2E"}},
        {SplitTarget, "/?q=%2F", {"/?q=/", "//../..?q=/", "http://h?q=/"}},
        {SplitTarget, "refused as it?was=", {"/a%00", "", "*", "h:80", "a/b", "://x", "?a=://x"}},
        {MakeMailBody, "a\r\nb\r\nc\r\n \r\n", {"a\nb\rc\r\n\0\n"s}},
        {MakeMailBody, "a " + strWord + "\r\na " + strWord, {"a " + strWord + "\na " + strWord}},
        {MakeMailBody, "a b \r\n" + strWord, {"a b " + strWord}},
        {MakeMailBody, strWord + "a\r\n\xC3\xA9", {strWord + "a\xC3\xA9"}},
        {MakeMailBody, strTail + "\r\n\xA9", {strTail + "\xA9"}},
    };
    for (const auto& [pEdit, strExpected, texts] : kCases)
        for (const std::string& strText : texts)
            EXPECT_EQ(Edited(strText, pEdit), strExpected) << strText;

    CBasicStringsMap map;
    map.FromCookieHeader("n=-7x;on=on;f=0", 15);
    int iValue = 0;
    EXPECT_FALSE(map.GetParamInt("none", iValue));
    EXPECT_TRUE(map.GetParamInt("n", iValue));
    EXPECT_EQ(iValue, -7);
    bool bValue = true;
    EXPECT_TRUE(map.GetParamBool("f", bValue));
    EXPECT_FALSE(bValue);
    EXPECT_FALSE(map.GetParamBool("none", bValue));
    EXPECT_TRUE(map.GetParamBool("on", bValue));
    EXPECT_TRUE(bValue);
}

// Laws that hold for every text.
TEST(Web, BearsAnyInput)
{
    const std::string strAlphabet = "%%2eEfF0+&&==;;  //..??#:\r\n\t\"a\0\xC3\xA9"s;
    std::minstd_rand random;
    for (int i = 0; i < 3000; ++i)
    {
        std::string strText(1 + random() % (i % 50 == 0 ? 5000 : 40), '\0');
        std::ranges::generate(strText, [&] { return strAlphabet[random() % strAlphabet.size()]; });
        const std::string strBody = Edited(strText, MakeMailBody);
        EXPECT_EQ(Edited(strBody, MakeMailBody), strBody);
        CheckMail(strText);
        CheckCookies(strText);
        strText[0] = '/';
        CheckUrl(strText);
    }
}

TEST(Web, KnowsWholeExtensionsInAnyCase)
{
    std::string strType = "as it was";
    for (const int iLength : {-1, 2, 4})
        EXPECT_FALSE(mu::FindContentTypeForFileExt("jpg,jpeg", iLength, strType)) << strType;
    std::string strTypes;
    for (const std::string strExt : {"HTML", "jpeg", "gif", "png", "h264", "flv", "mp4", "aac",
                                     "txt", "mfd", "gz", "tar", "js", "htm", "css", "Jpg"})
        if (mu::FindContentTypeForFileExt(strExt.data(), Length(strExt), strType))
            strTypes += strType + " ";
    EXPECT_EQ(strTypes, "text/html image/jpeg image/gif image/png video/H264 video/x-flv video/mp4 "
                        "audio/aac text/plain text/xml application/gzip application/x-tar "
                        "application/javascript text/html text/css image/jpeg ");
    EXPECT_TRUE(mu::IsImageFileExtension("JPegs", 4));
    EXPECT_FALSE(mu::IsImageFileExtension("mp4", 3));
}

TEST(Web, PagesAList)
{
    std::string strHTML;
    EXPECT_EQ(mu::AddHTMLPagingBlock(strHTML, 25, 10, 41), 20);
    EXPECT_EQ(strHTML, "<div class='paging'><a class='button' href='?from=0'>First Page</a> "
                       "<a class='button' href='?from=10'>Previous Page</a> "
                       "<span>Page 3 of 5</span> "
                       "<a class='button' href='?from=30'>Next Page</a> "
                       "<a class='button' href='?from=40'>Last Page</a> </div>");
    strHTML.clear();
    EXPECT_EQ(mu::AddHTMLPagingBlock(strHTML, INT_MIN, 0, INT_MIN), 0);
    EXPECT_TRUE(
        strHTML.starts_with("<div class='paging'><a class='button' aria-disabled='true'>F"));
    EXPECT_EQ(strHTML.find("href"), std::string::npos) << strHTML;
    EXPECT_EQ(mu::AddHTMLPagingBlock(strHTML, INT_MAX, INT_MAX - 1, INT_MAX), INT_MAX - 1);
}

} // namespace
