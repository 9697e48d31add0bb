#include "logging/log_recorder.h"

#include <climits>
#include <thread>

#include <gtest/gtest.h>

#include "tests/support/failing_heap.h"
#include "tests/support/fake_time.h"
#include "tests/support/files.h"
#include "tests/support/temporary_folder.h"
#include "tests/threading/threads.h"

namespace
{

class CTestRecorder final : public CLogRecorder
{
public:
    int AddRef() override { return 1; }
    int Release() override { return 1; }
    using CLogRecorder::m_lock;

    void Log(const wchar_t* wszXML)
    {
        CEasyXML exmlMessage;
        exmlMessage.LoadFromText(wszXML);
        LogMessage(exmlMessage);
        exmlMessage.AddRoot(L"changed", L""); // what is kept is a copy
    }
    std::string Text(int iIndex, int iCount)
    {
        unsigned long long ullTime = 0;
        CEasyXML exmlMessage;
        std::string strText("none");
        GetLogMessage(iIndex, iCount, ullTime, exmlMessage);
        exmlMessage.GetRoot().GetAttributeValue(L"zor:Text", strText);
        exmlMessage.AddRoot(L"changed", L"");
        return strText + ";";
    }
    std::string Texts()
    {
        std::string strTexts;
        for (int i = 0; i < GetNumberOfMessages(); ++i)
        {
            strTexts +=
                Text(GetTotalMessageCount() - GetNumberOfMessages() + i, GetNumberOfMessages());
        }
        return strTexts;
    }
};

TEST(LogRecorder, KeepsTheNewestFromItsSeverityOn)
{
    CTestRecorder recorder;
    recorder.m_iMaxNumberOfLogMessages = 3;
    recorder.LogMessage(IBaseLogger::Status, "below");
    recorder.LogMessageF(IBaseLogger::Warning, "%s%d", "a", 1);
    recorder.LogMessageF(IBaseLogger::Error, "%0600d", 7);
    EXPECT_EQ(recorder.Text(0, 99) + recorder.Text(1, 0), "a1;" + std::string(499, '0') + ";");
    recorder.SetLowestLogSeverity(IBaseLogger::Error);
    recorder.LogMessageF(IBaseLogger::Warning, "below");
    for (const char* const szText : {"c", "d", "e"})
    {
        recorder.LogMessage(IBaseLogger::Error, szText);
    }
    EXPECT_EQ(recorder.Texts(), "c;d;e;");
    constexpr int kIndexesAndCounts[][2] = {{1, 3},
                                            {2, 3},
                                            {4, 3},
                                            {5, 3},
                                            {3, 4},
                                            {INT_MAX, INT_MAX},
                                            {INT_MIN, INT_MIN},
                                            {5 - INT_MAX, INT_MAX}};
    std::string strTexts;
    for (const auto& [iIndex, iCount] : kIndexesAndCounts)
    {
        strTexts += recorder.Text(iIndex, iCount);
    }
    EXPECT_EQ(strTexts, "none;c;e;none;e;none;none;c;");
    recorder.Clear();
    EXPECT_EQ(recorder.GetTotalMessageCount() - recorder.GetNumberOfMessages(), 5);
}

TEST(LogRecorder, TellsHowManyMessagesItLost)
{
    CTestRecorder recorder;
    const auto log = [&] { recorder.LogMessage(IBaseLogger::Error, "1"); };
    testing::internal::CaptureStdout();
    recorder.m_lock.Lock(1);
    log(); // on the thread that holds the lock
    recorder.m_lock.Unlock();
    log();
    recorder.m_lock.Lock(1);
    StartTraced([&] { log(), log(), log(); }).join();
    recorder.m_lock.Unlock();
    log();
    EXPECT_EQ(recorder.Texts(),
              "1 message could not be logged;1;3 messages could not be logged;1;");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << "a relock is told there";

    recorder.m_iMaxNumberOfLogMessages = 0;
    std::thread aThreads[4];
    for (std::thread& thread : aThreads)
    {
        thread = StartTraced(
            [&]
            {
                for (int i = 0; i < 500; ++i)
                {
                    log();
                    recorder.Text(i, i + 1);
                }
            });
    }
    for (std::thread& thread : aThreads)
    {
        thread.join();
    }
    int iLogged = 2006;
    for (bool bFailed = CFailingHeap::kAvailable; bFailed; ++iLogged)
    {
        const CFailingHeap heap(iLogged - 2006);
        log();
        bFailed = CFailingHeap::HasFailed();
    }
    log();
    for (int i = 0; i < recorder.GetNumberOfMessages(); ++i)
    {
        iLogged -= std::stoi(recorder.Text(i, recorder.GetNumberOfMessages()));
    }
    EXPECT_EQ(iLogged, -1) << "each was kept or counted";
}

constexpr wchar_t kNested[] =
    L"<zor:Message zor:Text='top'><zor:Parameter zor:Name='n' zor:Value='v'/>"
    L"<part><zor:Message/><zor:Parameter zor:Value='w'/></part>"
    L"<zor:Parameter zor:Name='m'><ignored/></zor:Parameter>"
    L"<zor:Message zor:Text='last'/></zor:Message>";

TEST(LogRecorder, SavesTextWithTheDaysAndXML)
{
    const CTemporaryFolder folder;
    const std::wstring wsPath = folder.WidePath(L"log");
    CTestRecorder recorder;
    CFakeTime time(1709251199, "<+01>-1"); // 2024-03-01 00:59:59 there
    recorder.Log(kNested);
    time.Set(1709333999);
    recorder.LogMessage(IBaseLogger::Error, "\xC3\xA9");
    time.Set(1709334000);
    recorder.LogMessage(IBaseLogger::Error, "\xF0\x9D\x84\x9E \xFFlost");
    EXPECT_TRUE(recorder.SaveInTextFile(wsPath.c_str(), L"|\n"));
    EXPECT_EQ(ReadFile(folder.Path("log")),
              "\xEF\xBB\xBF"
              "Date (dd/mm/yyyy): 01/03/2024|\n"
              "00:59:59 top n=\"v\" m=\"\"|\npart =\"w\"|\n|\nlast|\n23:59:59 \xC3\xA9|\n"
              "Date (dd/mm/yyyy): 02/03/2024|\n00:00:00 \xF0\x9D\x84\x9E |\n");
    EXPECT_FALSE(recorder.SaveInTextFile(L"/dev/full", L"\n"));
    EXPECT_TRUE(recorder.SaveInXMLFile(wsPath.c_str()));
    const std::string strXML = ReadFile(folder.Path("log"));
    EXPECT_EQ(strXML.find("\xEF\xBB\xBF<zor:LogMessages xmlns:zor="), 0U);
    EXPECT_NE(strXML.find("zor:Text=\"last\"/></zor:Message><zor:Message "), std::string::npos);
}

TEST(LogRecorder, CollectsMessagesOfAnyDepth)
{
    CEasyXML exmlMessage;
    CEasyXMLNode node = exmlMessage.AddRoot(L"zor:Message", L"");
    for (int i = 1; i < 200'000; ++i)
    {
        node = node.AppendChild(L"zor:Message", L"");
    }
    std::wstring wsText;
    CEasyXMLNode root = exmlMessage.GetRoot();
    CLogRecorder::CollectTextMessage(root, wsText, 0, L"\n");
    EXPECT_EQ(wsText, std::wstring(200'000, L'\n'));
}

TEST(LogRecorder, MakesATableThatNothingBreaksOutOf)
{
    const CFakeTime time(1709251199);
    CTestRecorder recorder;
    const std::string strHead =
        "<p><table border='1'><tr><th>Time</th><th>Message</th><th>Parameters</th></tr>";
    std::string html("<p>");
    recorder.AppendHTMLTable(html, 0);
    EXPECT_EQ(html, strHead + "</table>");

    recorder.Log(kNested);
    recorder.LogMessage(IBaseLogger::Error, "</td><script>'&\"\x01\xE2\x80\xAE\xC3");
    recorder.Log(L"<m><zor:Parameter zor:Name='&lt;b&gt;' zor:Value='&quot;&apos;'/></m>");
    const std::string strTime = "<tr><td>2024/02/29 23:59:59</td><td>";
    const std::string astrRows[] = {
        strTime + "top</td><td>n=&quot;v&quot; m=&quot;&quot; </td></tr>",
        strTime + "&lt;/td&gt;&lt;script&gt;&apos;&amp;&quot;\x01\xE2\x80\xAE</td><td></td></tr>",
        strTime + "</td><td>&lt;b&gt;=&quot;&quot;&apos;&quot; </td></tr></table>"};
    const std::string astrTables[] = {strHead + astrRows[0] + astrRows[1] + astrRows[2],
                                      strHead + astrRows[1] + astrRows[2], strHead + astrRows[2]};
    for (std::size_t i = 0; i < astrTables[0].size() + 2; ++i)
    {
        html = "<p>";
        recorder.AppendHTMLTable(html, static_cast<int>(i));
        const std::size_t uDropped = astrTables[0].size() <= i   ? 0
                                     : astrTables[1].size() <= i ? 1
                                                                 : 2;
        ASSERT_EQ(html, astrTables[uDropped]) << i;
    }
}

} // namespace
