#include "simulator/web_pages.h"

#include "diagnostics/function_state.h"
#include "fuzz/support/lasting_recorder.h"
#include "simulator/http_connection.h"
#include "tests/support/testing.h"

namespace
{

using namespace std::chrono_literals;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

class WebPages : public testing::Test
{
protected:
    WebPages()
    {
        EXPECT_EQ(LoadParametersDocument("", m_document), "");
        m_log.SetLowestLogSeverity(IBaseLogger::Status);
    }

    // The body, with each message's time as "TIME"; the header goes to m_strHeader.
    std::string Get(const std::string& strTarget)
    {
        CWebPages pages(m_log, m_document, [] { return 3500ms; });
        CHttpConnection connection(strTarget, {});
        EXPECT_TRUE(pages.Reply(&connection));
        const std::string strReply = connection.TakeReply(false);
        const std::size_t uBody = strReply.find("\r\n\r\n") + 4;
        m_strHeader = strReply.substr(0, uBody);
        std::string strBody = strReply.substr(uBody);
        EXPECT_THAT(m_strHeader,
                    HasSubstr("\r\nContent-Length: " + std::to_string(strBody.size()) + "\r\n"));
        for (std::size_t uRow = 0; (uRow = strBody.find("<tr><td>", uRow)) != std::string::npos;)
            strBody.replace(uRow += 8, 19, "TIME");
        return strBody;
    }

    CLastingRecorder m_log;
    SParametersDocument m_document;
    std::string m_strHeader;
};

TEST_F(WebPages, ShowWhatALogSaysAsText)
{
    CEasyXML exmlMessage;
    CLogRecorder::GetXMLLogMessage("</td><script src='/evil'>&\"\xC3\xA9", exmlMessage);
    CEasyXMLNode parameter = exmlMessage.GetRoot().AppendChild(L"zor:Parameter", L"");
    parameter.SetAttributeValue(L"zor:Name", L"", "<b>");
    parameter.SetAttributeValue(L"zor:Value", L"", "'--><img src=/evil>");
    m_log.LogMessage(exmlMessage);

    const std::string strTable =
        std::string(CLogRecorder::kHTMLTableHead) +
        "<tr><td>TIME</td><td>&lt;/td&gt;&lt;script "
        "src=&apos;/evil&apos;&gt;&amp;&quot;\xC3\xA9</td>"
        "<td>&lt;b&gt;=&quot;&apos;--&gt;&lt;img src=/evil&gt;&quot; </td></tr></table>";
    EXPECT_THAT(Get("/log"),
                AllOf(StartsWith("<!DOCTYPE html>\n<html lang='en'><head><meta charset='utf-8'/>"),
                      HasSubstr("<link rel='stylesheet' href='/style.css'/></head>\n<body>"),
                      HasSubstr("<a href='/log' aria-current='page'>Log</a>"),
                      HasSubstr("Messages kept: 1 of 1. The newest first.</p>"),
                      HasSubstr(" <span>Page 1 of 1</span> "), HasSubstr(strTable),
                      testing::EndsWith("</div></main></body></html>\n")));
    m_log.m_bAutoRefresh = true;
    EXPECT_THAT(
        Get("/log?form=0"),
        AllOf(HasSubstr("<meta http-equiv='refresh' content='5'/></head>"),
              HasSubstr("kept: 1 of 1. The newest first, read again every 5 seconds.</p>")));
    EXPECT_THAT(m_strHeader, HasSubstr("\r\nCache-Control: no-cache, no-store"));
}

TEST_F(WebPages, LeadThroughTheMessagesThatAreKept)
{
    const auto shows = [](const std::string& strPage, const char* szFirst, const char* szLast)
    {
        return AllOf(HasSubstr("<span>Page " + strPage + "</span>"),
                     HasSubstr(std::string(CLogRecorder::kHTMLTableHead) + "<tr><td>TIME</td><td>" +
                               szFirst + "<"),
                     HasSubstr(std::string("<td>") + szLast + "</td><td></td></tr></table>"));
    };
    for (int i = 0; i < 120; ++i)
        m_log.LogMessageF(IBaseLogger::Status, "m%d", i);
    EXPECT_THAT(Get("/log"), shows("1 of 3", "m119", "m70"));
    EXPECT_THAT(Get("/log?from=99"), shows("2 of 3", "m69", "m20"));

    m_log.m_iMaxNumberOfLogMessages = 120; // from now on the oldest go
    m_log.LogMessage(IBaseLogger::Status, "m120");
    EXPECT_THAT(Get("/log?from=100"), shows("3 of 3", "m20", "m1"));
    m_log.Clear();
    EXPECT_THAT(Get("/log"), HasSubstr("<div class='log'><p>No message is kept.</p></div>"));
}

TEST_F(WebPages, AreAllThere)
{
    const CFunctionSwitch fsTest("Test::AreAllThere");
    const std::string strReading = "<th scope='row'>Input voltage</th><td>12.4 V</td></tr>";
    const std::tuple<const char*, const char*, std::string> aCases[] = {
        {"/?x=%", "200 OK\r\nContent-Type: text/html;", "Model</th><td>MR-4</td></tr>"},
        {"/", "200 OK", "<h2>Power supply</h2><table><tr>" + strReading},
        {"/parameters.xml", "200 OK\r\nContent-Type: text/xml;", m_document.m_strText},
        {"/threads.txt", "200 OK\r\nContent-Type: text/plain;", "Test::AreAllThere"},
        {"/parameters", "200 OK\r\nContent-Type: text/html;", "<pre>&lt;?xml version="},
        {"/threads", "200 OK\r\nContent-Type: text/html;", "<a href='/threads.txt' download>"},
        {"/vocabulary", "200 OK", "id='table41'><h2>Log severities</h2>"},
        {"/style.css", "200 OK\r\nContent-Type: text/css;", "(prefers-color-scheme: dark)"},
        {"/log/", "404 Not Found", "The recorder has no such page."},
        {"*", "400 Bad Request", ""},
    };
    for (const auto& [szTarget, szHeader, strBody] : aCases)
    {
        EXPECT_THAT(Get(szTarget), HasSubstr(strBody));
        EXPECT_THAT(m_strHeader, StartsWith(std::string("HTTP/1.1 ") + szHeader));
    }

    m_document = {"<p/>", {"<b>"}}; // the user's own; its texts are no markup either
    EXPECT_THAT(Get("/"), HasSubstr("<h2>&lt;b&gt;</h2>"));
}

} // namespace
