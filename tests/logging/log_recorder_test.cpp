#include "logging/log_recorder.h"

#include "tests/support/failing_heap.h"
#include "tests/support/fake_time.h"
#include "tests/support/testing.h"
#include "tests/threading/threads.h"

namespace
{

class CTestRecorder final : public CLogRecorder
{
public:
    int AddRef() override { return 1; }
    int Release() override { return 1; }
    using CLogRecorder::m_lock;

    std::string Text(int iIndex, int iCount)
    {
        unsigned long long ullTime = 0;
        CEasyXML exmlMessage;
        std::string strText("none");
        GetLogMessage(iIndex, iCount, ullTime, exmlMessage);
        exmlMessage.GetRoot().GetAttributeValue(L"zor:Text", strText);
        EXPECT_EQ(ullTime != 0, exmlMessage.GetRoot().IsValid());
        exmlMessage.AddRoot(L"changed", L"");
        return strText + ";";
    }
};

TEST(LogRecorder, KeepsTheNewestFromItsSeverityOn)
{
    CTestRecorder recorder;
    EXPECT_EQ(std::exchange(recorder.m_iMaxNumberOfLogMessages, 3), 200);
    recorder.LogMessage(IBaseLogger::Status, "below");
    recorder.LogMessageF(IBaseLogger::Warning, "%s%d", "a", 1);
    recorder.LogMessageF(IBaseLogger::Error, "%0600d", 7);
    EXPECT_EQ(recorder.Text(0, 99) + recorder.Text(1, 0), "a1;" + std::string(499, '0') + ";");
    recorder.SetLowestLogSeverity(IBaseLogger::Error);
    recorder.LogMessageF(IBaseLogger::Warning, "below");
    recorder.LogMessage(IBaseLogger::Error, "c");
    recorder.LogMessage(IBaseLogger::Error, "d");
    recorder.LogMessage(IBaseLogger::Error, "e");
    EXPECT_EQ(recorder.Text(1, 3) + recorder.Text(2, 3) + recorder.Text(4, 3) +
                  recorder.Text(5, 3) + recorder.Text(3, 4) + recorder.Text(INT_MAX, INT_MAX) +
                  recorder.Text(INT_MIN, INT_MIN) + recorder.Text(5 - INT_MAX, INT_MAX),
              "none;c;e;none;e;none;none;c;");
    recorder.Clear();
    EXPECT_EQ(recorder.GetTotalMessageCount() - recorder.GetNumberOfMessages(), 5);
}

TEST(LogRecorder, TellsHowManyMessagesItLost)
{
    CTestRecorder recorder;
    recorder.m_iMaxNumberOfLogMessages = 0;
    const auto log = [&] { recorder.LogMessage(IBaseLogger::Error, "1"); };
    testing::internal::CaptureStdout();
    for (const int iLost : {1, 3})
    {
        recorder.m_lock.Lock(1);
        for (int i = 0; i < iLost; ++i)
            iLost == 1 ? log() : StartTraced(log).join(); // also on the thread that holds the lock
        recorder.m_lock.Unlock();
        log();
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout() + recorder.Text(0, 4) + recorder.Text(2, 4),
              "1 message could not be logged;3 messages could not be logged;");

    int iLogged = 6;
    CEasyXML exmlMessage;
    CLogRecorder::GetXMLLogMessage("1", exmlMessage);
    for (const bool bDocument : {false, true})
    {
        int iAllowed = 0;
        for (bool bFailed = CFailingHeap::kAvailable; bFailed; ++iLogged)
        {
            const CFailingHeap heap(iAllowed++);
            bDocument ? recorder.LogMessage(exmlMessage) : log();
            bFailed = CFailingHeap::HasFailed();
        }
    }
    const auto logOften = [&]
    {
        for (int i = 0; i < 500; ++i)
        {
            log();
            recorder.Text(i, i + 1);
        }
    };
    {
        const auto start = [&] { return StartTraced(logOften); };
        const std::jthread aThreads[] = {start(), start(), start(), start()};
    }
    log();
    int iTold = 0;
    for (int i = 0; i < recorder.GetNumberOfMessages(); ++i)
        iTold += std::stoi(recorder.Text(i, recorder.GetNumberOfMessages()));
    EXPECT_EQ(iTold, iLogged + 2001) << "each was kept or counted";
}

TEST(LogRecorder, ShowsItsMessagesAsTextAndAsATableThatNothingBreaksOutOf)
{
    const CTemporaryFolder folder;
    CTestRecorder recorder;
    const std::string strHead =
        "<p><table border='1'><tr><th>Time</th><th>Message</th><th>Parameters</th></tr>";
    std::string html("<p>");
    recorder.AppendHTMLTable(html, 0);
    EXPECT_EQ(html, strHead + "</table>");
    CFakeTime time(1709251199, "<+01>-1"); // 2024-03-01 00:59:59 there
    CEasyXML exmlMessage;
    exmlMessage.LoadFromText(
        L"<zor:Message zor:Text='top'><zor:Parameter zor:Name='&lt;b&gt;' zor:Value='v'/>"
        L"<part><zor:Message/><zor:Parameter zor:Value='w'/></part>"
        L"<zor:Parameter zor:Name='m'><ignored/></zor:Parameter>"
        L"<zor:Message zor:Text='last'/></zor:Message>");
    recorder.LogMessage(exmlMessage);
    exmlMessage.AddRoot(L"changed", L""); // what is kept is a copy
    time.Set(1709333999);
    recorder.LogMessage(IBaseLogger::Error, "</td>'&\"\x01\xE2\x80\xAE\xC3");
    time.Set(1709334000);
    recorder.LogMessage(IBaseLogger::Error, "\xF0\x9D\x84\x9E \xFFlost");
    EXPECT_TRUE(recorder.SaveInTextFile(folder.WidePath(L"log").c_str(), L"|\n"));
    EXPECT_EQ(ReadFile(folder.Path("log")),
              "\xEF\xBB\xBF"
              "Date (dd/mm/yyyy): 01/03/2024|\n"
              "00:59:59 top <b>=\"v\" m=\"\"|\npart =\"w\"|\n|\nlast|\n"
              "23:59:59 </td>'&\"\x01\xE2\x80\xAE|\n"
              "Date (dd/mm/yyyy): 02/03/2024|\n00:00:00 \xF0\x9D\x84\x9E |\n");
    EXPECT_FALSE(recorder.SaveInTextFile(L"/dev/full", L"\n"));
    EXPECT_TRUE(recorder.SaveInXMLFile(folder.WidePath(L"log").c_str()));
    EXPECT_THAT(ReadFile(folder.Path("log")),
                testing::MatchesRegex("\xEF\xBB\xBF<zor:LogMessages .*"
                                      "zor:Text=\"last\"/></zor:Message><zor:Message .*"));

    const std::string astrRows[] = {
        "<tr><td>2024/03/01 00:59:59</td><td>top</td>"
        "<td>&lt;b&gt;=&quot;v&quot; m=&quot;&quot; </td></tr>",
        "<tr><td>2024/03/01 23:59:59</td>"
        "<td>&lt;/td&gt;&apos;&amp;&quot;\x01\xE2\x80\xAE</td><td></td></tr>",
        "<tr><td>2024/03/02 00:00:00</td><td>\xF0\x9D\x84\x9E </td><td></td></tr>"};
    for (int iMaximum = 0; iMaximum < 700; ++iMaximum)
    {
        std::string strExpected = strHead + astrRows[0] + astrRows[1] + astrRows[2] + "</table>";
        for (int i = 0; i < 2 && static_cast<int>(strExpected.size()) > iMaximum; ++i)
            strExpected.erase(strHead.size(), astrRows[i].size());
        html = "<p>";
        recorder.AppendHTMLTable(html, iMaximum);
        ASSERT_EQ(html, strExpected) << iMaximum;
    }
}

TEST(LogRecorder, CollectsMessagesOfAnyDepth)
{
    CEasyXML exmlMessage;
    CEasyXMLNode root = exmlMessage.AddRoot(L"zor:Message", L"");
    for (auto [i, node] = std::pair(1, root); i < 200'000; ++i)
        node = node.AppendChild(L"zor:Message", L"");
    std::wstring wsText;
    CLogRecorder::CollectTextMessage(root, wsText, 0, L"\n");
    EXPECT_EQ(wsText, std::wstring(200'000, L'\n'));
}

TEST(LogRecorder, ReadsAndWritesItsSettings)
{
    const std::wstring ws = L" xmlns:zor=\"http://zor.example/documents\">";
    SLoggingParameters parameters;
    CEasyXML exml;
    CEasyXMLNode root = exml.LoadFromText(
        L"<r><zor:LogSeverity>Error</zor:LogSeverity>"
        L"<zor:MaxNumberOfLogMessages>-5</zor:MaxNumberOfLogMessages>"
        L"<zor:LogViewer><zor:AutoRefresh>True</zor:AutoRefresh></zor:LogViewer></r>");
    EXPECT_TRUE(parameters.FromXML(root));
    root = exml.AddRoot(L"r", nullptr);
    parameters.ToXML(root);
    std::wstring wsXML;
    exml.GetXML(wsXML);
    EXPECT_EQ(wsXML, L"<r><zor:LoggingParameters" + ws + L"<zor:LogSeverity" + ws +
                         L"Error</zor:LogSeverity><zor:MaxNumberOfLogMessages" + ws +
                         L"-5</zor:MaxNumberOfLogMessages><zor:LogViewer" + ws +
                         L"<zor:AutoRefresh" + ws +
                         L"True</zor:AutoRefresh></zor:LogViewer></zor:LoggingParameters></r>");
    EXPECT_EQ(SLoggingParameters::GetLogSeverityIndex(nullptr), -1);
    EXPECT_STREQ(SLoggingParameters::GetLogSeverityName(parameters.m_iLogSeverity), L"Error");
    EXPECT_EQ(parameters.GetXMLMessageType() + parameters.GetExtraBinaryData(nullptr), 6);
}

} // namespace
