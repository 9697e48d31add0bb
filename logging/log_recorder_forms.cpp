#include <algorithm>
#include <iterator>
#include <string_view>
#include <vector>

#include "io/file_access.h"
#include "logging/log_recorder.h"
#include "mu/calendar.h"
#include "mu/lengths.h"
#include "mu/text.h"
#include "mu/unicode.h"
#include "threading/system_clock.h"
#include "threading/wait_time.h"
#include "xml/document_namespace.h"
#include "xml/entities.h"

namespace
{

constexpr wchar_t kParameter[] = L"zor:Parameter";

bool IsParameter(const CEasyXMLNode& node)
{
    std::wstring wsName;
    return node.GetName(wsName) && wsName == kParameter;
}

CEasyXMLNode SkipParameters(CEasyXMLNode node)
{
    while (node.IsValid() && IsParameter(node))
    {
        node = node.GetNextSibling();
    }
    return node;
}

// name="value" for each parameter, with a blank before or after it.
void AppendParameters(const CEasyXMLNode& message, std::wstring_view wsBefore,
                      std::wstring_view wsAfter, std::wstring& wsOut)
{
    for (CEasyXMLNode child = message.GetFirstChild(); child.IsValid();
         child = child.GetNextSibling())
    {
        if (IsParameter(child))
        {
            std::wstring wsName;
            std::wstring wsValue;
            child.GetAttributeValue(L"zor:Name", wsName);
            child.GetAttributeValue(L"zor:Value", wsValue);
            wsOut.append(wsBefore).append(wsName).append(L"=\"");
            wsOut.append(wsValue).append(L"\"").append(wsAfter);
        }
    }
}

void AppendTextLine(const CEasyXMLNode& message, std::wstring& wsOut, const std::wstring& wsLineEnd)
{
    std::wstring wsText;
    if (!message.GetAttributeValue(L"zor:Text", wsText))
    {
        message.GetName(wsText);
        if (wsText == L"zor:Message")
        {
            wsText.clear();
        }
    }
    wsOut += wsText;
    AppendParameters(message, L" ", L"", wsOut);
    wsOut += wsLineEnd;
}

void AppendCell(std::wstring& wsText, std::string& html)
{
    mu::EscapeXML(wsText);
    html.append("<td>").append(mu::WideStringToNarrowOrThrow(wsText)).append("</td>");
}

bool IsSameDay(const mu::STimeComponents& a, const mu::STimeComponents& b)
{
    return a.m_iDay == b.m_iDay && a.m_iMonth == b.m_iMonth && a.m_iYear == b.m_iYear;
}

} // namespace

void CLogRecorder::CollectTextMessage(CEasyXMLNode& message, std::wstring& wsOut, int,
                                      const std::wstring& wsLineEnd)
{
    AppendTextLine(message, wsOut, wsLineEnd);

    // Where to go on after a nested message. No recursion: a document may be nested deeper than the
    // stack allows.
    std::vector<CEasyXMLNode> vNext;
    CEasyXMLNode node = SkipParameters(message.GetFirstChild());
    while (node.IsValid())
    {
        AppendTextLine(node, wsOut, wsLineEnd);
        const CEasyXMLNode nextSibling = SkipParameters(node.GetNextSibling());
        if (nextSibling.IsValid())
        {
            vNext.push_back(nextSibling);
        }
        node = SkipParameters(node.GetFirstChild());
        if (!node.IsValid() && !vNext.empty())
        {
            node = vNext.back();
            vNext.pop_back();
        }
    }
}

void CLogRecorder::AppendHTMLRow(const SLogMessageRec& record, std::string& html)
{
    mu::STimeComponents time;
    mu::GetLocalTimeComponents(static_cast<long long>(record.m_ullTime), time);
    std::string strTime;
    mu::GetTimeComponentsAsString(time, strTime);
    html.append("<tr><td>").append(strTime).append("</td>");

    const CEasyXMLNode message = record.m_exmlMessage.GetRoot();
    std::wstring wsText;
    message.GetAttributeValue(L"zor:Text", wsText);
    AppendCell(wsText, html);
    std::wstring wsParameters;
    AppendParameters(message, L"", L" ", wsParameters);
    AppendCell(wsParameters, html);
    html += "</tr>";
}

void CLogRecorder::AppendHTMLTable(std::string& html, int iMaxLength)
{
    html += kHTMLTableHead;
    const std::size_t uFirstRow = html.size();
    std::vector<std::size_t> vRows;

    const CMutexProtection lock(m_lock, mu::kInfinite);
    for (const SLogMessageRec& record : m_messages)
    {
        vRows.push_back(html.size());
        AppendHTMLRow(record, html);
    }
    html += "</table>";

    if (vRows.empty() || static_cast<long long>(html.size()) <= iMaxLength)
    {
        return;
    }
    // Erasing up to a row that begins so far down leaves iMaxLength bytes or fewer.
    const long long llEnough = static_cast<long long>(html.size() + uFirstRow) - iMaxLength;
    const auto itKept =
        std::find_if(vRows.begin(), vRows.end() - 1,
                     [=](std::size_t uRow) { return static_cast<long long>(uRow) >= llEnough; });
    html.erase(uFirstRow, *itKept - uFirstRow);
}

bool CLogRecorder::SaveInXMLFile(const wchar_t* wszPath)
{
    CEasyXML exmlMessages;
    CEasyXMLNode root = exmlMessages.AddRoot(L"zor:LogMessages", mu::g_wszDocumentNamespace);
    for (const SLogMessageRec& record : m_messages)
    {
        root.AppendChild(record.m_exmlMessage.GetRoot());
    }
    return exmlMessages.SaveToFile(wszPath);
}

bool CLogRecorder::SaveInTextFile(const wchar_t* wszPath, const wchar_t* wszLineEnd)
{
    CFileAccess file;
    return file.Open(wszPath, CFileAccess::FM_CREATE, false) && file.WriteUTF8Header() &&
           WriteText(file, wszLineEnd);
}

bool CLogRecorder::WriteText(IFileWriter& writer, const wchar_t* wszLineEnd)
{
    bool bWritten = true;
    const std::wstring wsLineEnd(wszLineEnd != nullptr ? wszLineEnd : L"");
    mu::STimeComponents previous;
    for (const SLogMessageRec& record : m_messages)
    {
        mu::STimeComponents time;
        mu::GetLocalTimeComponents(static_cast<long long>(record.m_ullTime), time);
        std::wstring wsLines;
        wchar_t wszTime[80];
        if (&record == &m_messages.front() || !IsSameDay(time, previous))
        {
            mu::SWPrintF(wszTime, static_cast<int>(std::size(wszTime)),
                         L"Date (dd/mm/yyyy): %02d/%02d/%04d", time.m_iDay, time.m_iMonth,
                         time.m_iYear);
            wsLines.append(wszTime).append(wsLineEnd);
        }
        previous = time;
        mu::SWPrintF(wszTime, static_cast<int>(std::size(wszTime)), L"%02d:%02d:%02d ",
                     time.m_iHour, time.m_iMinute, time.m_iSecond);
        wsLines += wszTime;
        CEasyXMLNode message = record.m_exmlMessage.GetRoot();
        CollectTextMessage(message, wsLines, 0, wsLineEnd);

        const std::string strLines = mu::WideStringToNarrowOrThrow(wsLines);
        const int iLength = mu::IntCount(strLines.size());
        bWritten = bWritten && writer.Write(strLines.data(), iLength) == iLength;
    }
    return bWritten;
}
