#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <deque>
#include <string>

#include <fuzzer/FuzzedDataProvider.h>

#include "fuzz/support/lasting_recorder.h"
#include "fuzz/support/law.h"
#include "fuzz/support/memory_file.h"
#include "fuzz/support/plain_utf8.h"
#include "xml/document_namespace.h"
#include "xml/entities.h"

// The recorder of messages beside a queue of them, and the forms of what it holds beside the
// plainest form of each.

namespace
{

std::wstring TextOf(const CEasyXML& exml)
{
    std::wstring wsText;
    exml.GetXML(wsText);
    return wsText;
}

std::wstring Attribute(const CEasyXMLNode& node, const wchar_t* wszName)
{
    std::wstring wsValue;
    node.GetAttributeValue(wszName, wsValue);
    return wsValue;
}

std::wstring NameOf(const CEasyXMLNode& node)
{
    std::wstring wsName;
    node.GetName(wsName);
    return wsName;
}

std::wstring PlainParameters(const CEasyXMLNode& message, const wchar_t* wszBefore,
                             const wchar_t* wszAfter)
{
    std::wstring wsOut;
    for (CEasyXMLNode node = message.GetFirstChild(); node.IsValid(); node = node.GetNextSibling())
    {
        if (NameOf(node) == L"zor:Parameter")
        {
            wsOut += wszBefore + Attribute(node, L"zor:Name") + L"=\"" +
                     Attribute(node, L"zor:Value") + L'"' + wszAfter;
        }
    }
    return wsOut;
}

void PlainLines(const CEasyXMLNode& message, std::wstring& wsOut, int iDepth)
{
    std::wstring wsText;
    if (!message.GetAttributeValue(L"zor:Text", wsText) && NameOf(message) != L"zor:Message")
    {
        wsText = NameOf(message);
    }
    wsOut += wsText + PlainParameters(message, L" ", L"") + L'\n';
    for (CEasyXMLNode node = message.GetFirstChild(); node.IsValid() && iDepth < 1000;
         node = node.GetNextSibling())
    {
        if (NameOf(node) != L"zor:Parameter")
        {
            PlainLines(node, wsOut, iDepth + 1);
        }
    }
}

struct SMessage
{
    unsigned long long m_ullTime;
    CEasyXML m_exml;
};

std::string PlainTime(const SMessage& message, const char* szFormat)
{
    const auto tTime = static_cast<std::time_t>(message.m_ullTime);
    std::tm utc{};
    char szTime[80];
    ::gmtime_r(&tTime, &utc);
    return {szTime, std::strftime(szTime, sizeof(szTime), szFormat, &utc)};
}

class CSession
{
public:
    explicit CSession(FuzzedDataProvider& input) : m_input(input)
    {
        m_recorder.m_iMaxNumberOfLogMessages = input.ConsumeIntegralInRange(-1, 6);
        m_recorder.SetLowestLogSeverity(
            static_cast<IBaseLogger::Severity>(input.ConsumeIntegralInRange(0, 3)));
    }

    void Run()
    {
        while (m_input.remaining_bytes() > 0)
        {
            Log();
            CheckMessages();
        }
        CheckTextForm();
        CheckDocumentForm();
        CheckTableForm();
    }

private:
    void Log()
    {
        const auto eSeverity =
            static_cast<IBaseLogger::Severity>(m_input.ConsumeIntegralInRange(0, 3));
        const int iKind = m_input.ConsumeIntegralInRange(0, 7);
        const std::string strText = m_input.ConsumeRandomLengthString();
        CEasyXML exml;
        if (iKind == 0)
        {
            m_recorder.Clear();
            m_queue.clear();
            return;
        }
        if (iKind < 4)
        {
            exml.LoadFromText(strText.data(), static_cast<int>(strText.size()));
            m_recorder.LogMessage(eSeverity, exml);
        }
        else
        {
            // A formatted one is cut behind 499 bytes.
            const std::string strUpToNul = strText.substr(0, strText.find('\0'));
            exml.AddRoot(L"zor:Message", mu::g_wszDocumentNamespace)
                .SetAttributeValue(L"zor:Text", L"",
                                   iKind < 6 ? strUpToNul : strUpToNul.substr(0, 499));
            if (iKind < 6)
            {
                m_recorder.LogMessage(eSeverity, strText.c_str());
            }
            else
            {
                m_recorder.LogMessageF(eSeverity, "%s", strText.c_str());
            }
        }
        if (eSeverity >= m_recorder.GetLowestLoggerServerity())
        {
            ++m_iTotal;
            m_queue.push_back({0, exml});
            const int iMost = m_recorder.m_iMaxNumberOfLogMessages;
            if (iMost > 0 && static_cast<int>(m_queue.size()) > iMost)
            {
                m_queue.pop_front();
            }
        }
    }

    void CheckMessages()
    {
        const auto iHeld = static_cast<int>(m_queue.size());
        Law(m_recorder.GetNumberOfMessages() == iHeld &&
                m_recorder.GetTotalMessageCount() == m_iTotal,
            "counts messages");
        const int iFirst = m_iTotal > m_recorder.m_iMaxNumberOfLogMessages ? m_iTotal - iHeld : 0;
        unsigned long long ullTime = 1;
        CEasyXML exml;
        Law(!m_recorder.GetLogMessage(iFirst - 1, iHeld, ullTime, exml) &&
                !m_recorder.GetLogMessage(iFirst + iHeld, iHeld, ullTime, exml) && ullTime == 1,
            "gives no message that it does not hold");
        for (int i = 0; i < iHeld; ++i)
        {
            SMessage& message = m_queue[static_cast<std::size_t>(i)];
            Law(m_recorder.GetLogMessage(iFirst + i, iHeld, message.m_ullTime, exml) &&
                    TextOf(exml) == TextOf(message.m_exml),
                "gives what was logged");
        }
    }

    void CheckTextForm()
    {
        std::string strPlain;
        std::string strDate;
        for (const SMessage& message : m_queue)
        {
            const std::string strNext = PlainTime(message, "Date (dd/mm/yyyy): %d/%m/%Y\n");
            strPlain += strNext != strDate ? strNext : "";
            strDate = strNext;
            std::wstring wsLines;
            PlainLines(message.m_exml.GetRoot(), wsLines, 0);
            strPlain += PlainTime(message, "%H:%M:%S ") + PlainEncode(wsLines);
        }
        const CMemoryFile file;
        Law(m_recorder.SaveInTextFile(file.WidePath().c_str(), L"\n") &&
                file.Contents() == "\xEF\xBB\xBF" + strPlain,
            "saves lines");
    }

    void CheckDocumentForm()
    {
        const CMemoryFile file;
        CEasyXML exmlSaved;
        Law(m_recorder.SaveInXMLFile(file.WidePath().c_str()) &&
                exmlSaved.LoadFromFile(file.WidePath().c_str()).IsValid(),
            "saves a document");
        CEasyXMLNode node = exmlSaved.GetRoot().GetFirstChild();
        for (const SMessage& message : m_queue)
        {
            // What does not survive in a document was lost on the way to the file, too.
            CEasyXML exmlText;
            std::string strText;
            if (!message.m_exml.GetXML(strText))
            {
                continue; // an empty document
            }
            exmlText.LoadFromText(strText.data(), static_cast<int>(strText.size()));
            CEasyXML exmlRead;
            exmlRead.AddRoot(L"r", nullptr).AppendChild(node);
            CEasyXML exmlExpected;
            exmlExpected.AddRoot(L"r", nullptr).AppendChild(exmlText.GetRoot());
            Law(TextOf(exmlRead) == TextOf(exmlExpected), "saves each message");
            node = node.GetNextSibling();
        }
        Law(!node.IsValid(), "saves no other messages");
    }

    void CheckTableForm()
    {
        const auto Cell = [](std::wstring wsText)
        {
            mu::EscapeXML(wsText);
            return "<td>" + PlainEncode(wsText) + "</td>";
        };
        const std::string strHead = "before" + std::string(CLogRecorder::kHTMLTableHead);
        std::deque<std::string> rows;
        std::size_t uLength = strHead.size() + 8;
        for (const SMessage& message : m_queue)
        {
            const CEasyXMLNode root = message.m_exml.GetRoot();
            rows.push_back("<tr><td>" + PlainTime(message, "%Y/%m/%d %H:%M:%S") + "</td>" +
                           Cell(Attribute(root, L"zor:Text")) +
                           Cell(PlainParameters(root, L"", L" ")) + "</tr>");
            uLength += rows.back().size();
        }
        const std::size_t uMost = uLength / 2;
        for (; rows.size() > 1 && uLength > uMost; rows.pop_front())
        {
            uLength -= rows.front().size();
        }
        std::string strPlain = strHead;
        for (const std::string& strRow : rows)
        {
            strPlain += strRow;
        }
        std::string strTable = "before";
        m_recorder.AppendHTMLTable(strTable, static_cast<int>(uMost));
        Law(strTable == strPlain + "</table>", "makes a table of the newest messages that fit");
    }

    FuzzedDataProvider& m_input;
    CLastingRecorder m_recorder;
    std::deque<SMessage> m_queue;
    int m_iTotal = 0;
};

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    ::setenv("TZ", "UTC0", 1);
    ::tzset();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t uSize)
{
    FuzzedDataProvider input(pData, uSize);
    CSession(input).Run();
    return 0;
}
