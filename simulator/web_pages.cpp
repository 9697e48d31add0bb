#include "simulator/web_pages.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>

#include "config/vocabulary.h"
#include "diagnostics/function_state.h"
#include "mu/calendar.h"
#include "mu/html.h"
#include "mu/lengths.h"
#include "mu/unicode.h"
#include "mu/url.h"
#include "simulator/diagnostics.h"
#include "simulator/process_diagnostics.h"
#include "simulator/web_style.h"
#include "threading/system_clock.h"
#include "xml/easy_xml.h"
#include "xml/entities.h"

namespace
{

constexpr int kRefreshSeconds = 5;
constexpr std::size_t kLongestText =
    std::size_t{256} * 1024; // of a page, so that it fits into a reply escaped

constexpr char kHTML[] = "text/html; charset=utf-8";
constexpr char kPlainText[] = "text/plain; charset=utf-8";
constexpr char kXML[] = "text/xml; charset=utf-8";
constexpr char kCSS[] = "text/css; charset=utf-8";

constexpr std::pair<const char*, const char*> kNavigation[] = {
    {"/", "Status"},
    {"/log", "Log"},
    {"/vocabulary", "Vocabulary"},
    {"/parameters", "Parameters"},
    {"/threads", "Threads"},
};

bool Write(const char* szType, std::string_view svText, IWebServerExtContext* pContext)
{
    return mu::WriteHttpContent(szType, szType == kCSS, svText.data(), mu::IntCount(svText.size()),
                                pContext);
}

std::string Escaped(std::string strText)
{
    mu::EscapeXML(strText);
    return strText;
}

std::string Escaped(const wchar_t* wszText)
{
    return wszText != nullptr ? Escaped(mu::WideStringToNarrow(wszText)) : "";
}

/// A page around its content; strHead is more of its head.
std::string MakePage(const std::string& strTitle, const std::string& strContent,
                     const std::string& strHead = "")
{
    std::string html = "<!DOCTYPE html>\n<html lang='en'><head><meta charset='utf-8'/>"
                       "<meta name='viewport' content='width=device-width, initial-scale=1'/>"
                       "<title>" +
                       strTitle + " - Recorder</title><link rel='stylesheet' href='/style.css'/>" +
                       strHead + "</head>\n<body><header><nav>";
    for (const auto& [szLink, szText] : kNavigation)
    {
        html.append("<a href='").append(szLink);
        html.append(strTitle == szText ? "' aria-current='page'>" : "'>");
        html.append(szText).append("</a>");
    }
    return html + "</nav></header>\n<main><h1>" + strTitle + "</h1>\n" + strContent +
           "</main></body></html>\n";
}

void AppendRow(const std::string& strHead, const std::string& strValue, std::string& html)
{
    html += "<tr><th scope='row'>" + strHead + "</th><td>" + strValue + "</td></tr>";
}

/// Lines of the form "  label: value" as rows; a text with any other line stays as it is.
void AppendReadings(std::string_view svText, std::string& html)
{
    std::string strRows;
    for (std::size_t uLine = 0; uLine < svText.size();)
    {
        const std::size_t uEnd = std::min(svText.find("\r\n", uLine), svText.size());
        const std::string_view svLine = svText.substr(uLine, uEnd - uLine);
        const std::size_t uColon = svLine.find(": ");
        if (!svLine.starts_with("  ") || uColon == std::string_view::npos)
        {
            html += "<pre>" + Escaped(std::string(svText)) + "</pre>";
            return;
        }
        AppendRow(Escaped(std::string(svLine.substr(2, uColon - 2))),
                  Escaped(std::string(svLine.substr(uColon + 2))), strRows);
        uLine = uEnd + 2;
    }
    html += "<table>" + strRows + "</table>";
}

/// A page around a text. The text alone is served, too, at strPath; it is offered to be saved,
/// because shown by itself it would have no link back.
std::string MakeTextPage(const std::string& strTitle, const std::string& strPath,
                         const std::string& strText)
{
    std::string html = "<p class='note'><a href='" + strPath + "' download>Save " +
                       strPath.substr(1) + "</a></p>\n<section><pre>" +
                       Escaped(std::string(mu::CutText(strText, kLongestText)));
    html += strText.size() > kLongestText ? "\n... (cut)</pre></section>" : "</pre></section>";
    return MakePage(strTitle, html);
}

/// The sections of the vocabulary, and the index that leads to them.
class CVocabularyPage
{
public:
    template <typename TAppendRows>
    void AddTable(const char* szTitle, TAppendRows appendRows)
    {
        const std::string strID = "table" + std::to_string(++m_iTables);
        m_htmlIndex.append("<li><a href='#").append(strID).append("'>");
        m_htmlIndex.append(szTitle).append("</a></li>");
        m_htmlTables.append("<section id='").append(strID).append("'><h2>").append(szTitle);
        m_htmlTables += "</h2><table>";
        appendRows(m_htmlTables);
        m_htmlTables += "</table></section>\n";
    }

    std::string Make() const
    {
        return MakePage("Vocabulary",
                        "<p class='note'>The enumerated values of the device's documents, and the "
                        "texts that stand for them there.</p>\n<ul class='index'>" +
                            m_htmlIndex + "</ul>\n<div class='columns values'>\n" + m_htmlTables +
                            "</div>");
    }

private:
    int m_iTables = 0;
    std::string m_htmlIndex;
    std::string m_htmlTables;
};

std::string LevelOf(std::int32_t iFeature)
{
    const EDeviceAccessLevel eLevel =
        GetRequiredAccessLevelForDeviceFeature(EDeviceFeature{iFeature});
    return Escaped(
        mu::GetEnumerationText(g_DeviceAccessLevelEnumeration, static_cast<std::int32_t>(eLevel)));
}

std::string MakeVocabulary()
{
    CVocabularyPage page;
    page.AddTable("Device features and their access levels",
                  [](std::string& html)
                  {
                      for (const SEnumerationEntry& row : g_DeviceFeatureEnums)
                      {
                          AppendRow(std::to_string(row.m_iValue),
                                    Escaped(row.m_wszText) + "</td><td>" + LevelOf(row.m_iValue),
                                    html);
                      }
                  });
    for (const SVocabularyTable& table : kVocabularyTables)
    {
        page.AddTable(table.m_szTitle,
                      [&](std::string& html)
                      {
                          for (const SEnumerationEntry& row : table.m_rows)
                          {
                              if (row.m_wszText != nullptr)
                              {
                                  AppendRow(std::to_string(row.m_iValue), Escaped(row.m_wszText),
                                            html);
                              }
                          }
                      });
    }
    page.AddTable("Media codecs",
                  [](std::string& html)
                  {
                      for (const mu::SMediaCodecEntry& row : g_MediaCodecEnums)
                      {
                          AppendRow(std::to_string(row.m_iCodec),
                                    Escaped(row.m_wszText) + "</td><td>" +
                                        Escaped(mu::GetEnumerationText(
                                            g_SourceChannelTypesEnumeration, row.m_iMediaKind)),
                                    html);
                      }
                  });
    page.AddTable("Hardware models",
                  [](std::string& html)
                  {
                      for (const mu::SHardwareModelEntry& row : mu::g_HardwareModels)
                      {
                          AppendRow(Escaped(row.m_wszIdentifier), Escaped(row.m_wszModel), html);
                      }
                  });
    return page.Make();
}

} // namespace

CWebPages::CWebPages(CLogRecorder& log, const SParametersDocument& document,
                     std::function<std::chrono::milliseconds()> getUptime)
    : m_log(log), m_document(document), m_getUptime(std::move(getUptime))
{
    CEasyXML exmlParams;
    const std::string& strText = document.m_strText;
    const CEasyXMLNode device =
        exmlParams.LoadFromText(strText.data(), mu::IntCount(strText.size()))
            .GetChildByName(L"zor:DeviceInfo");
    const CEasyXMLNode firmware = device.GetChildByName(L"zor:Firmware");

    const auto addAttribute =
        [this](const char* szLabel, const CEasyXMLNode& node, const wchar_t* wszName)
    {
        std::string strValue;
        if (node.GetAttributeValue(wszName, strValue))
        {
            m_device.emplace_back(szLabel, Escaped(strValue));
        }
    };
    addAttribute("Model", device, L"zor:Model");
    addAttribute("Serial number", device, L"zor:SerialNumber");
    addAttribute("Firmware", firmware, L"zor:Version");
    addAttribute("Build", firmware, L"zor:Build");
}

bool CWebPages::Reply(IWebServerExtContext* pContext)
{
    const char* const szTarget = pContext->GetRequestObject();
    std::string strPath;
    CURLParamsMap mapParams;
    if (!mu::ParseRequestObject(szTarget, mu::IntCount(std::strlen(szTarget)), strPath, mapParams))
    {
        return mu::WriteHttpContent(400, "Bad Request", kPlainText, false, nullptr, 0, pContext);
    }
    if (strPath == "/")
    {
        return Write(kHTML, MakeStatus(), pContext);
    }
    if (strPath == "/log")
    {
        int iFrom = 0;
        const bool bFrom = mapParams.GetParamInt("from", iFrom);
        return Write(kHTML, MakeLog(bFrom ? std::optional(iFrom) : std::nullopt), pContext);
    }
    if (strPath == "/parameters")
    {
        const std::string& strText = m_document.m_strText;
        return Write(kHTML, MakeTextPage("Parameters", "/parameters.xml", strText), pContext);
    }
    if (strPath == "/parameters.xml")
    {
        return Write(kXML, m_document.m_strText, pContext);
    }
    if (strPath == "/threads")
    {
        return Write(kHTML, MakeTextPage("Threads", "/threads.txt", ThreadsText()), pContext);
    }
    if (strPath == "/threads.txt")
    {
        return Write(kPlainText, ThreadsText(), pContext);
    }
    if (strPath == "/vocabulary")
    {
        return Write(kHTML, MakeVocabulary(), pContext);
    }
    if (strPath == "/style.css")
    {
        return Write(kCSS, kWebStyle, pContext);
    }
    const std::string html = MakePage("Not found", "<p>The recorder has no such page.</p>");
    return mu::WriteHttpContent(404, "Not Found", kHTML, false, html.data(),
                                mu::IntCount(html.size()), pContext);
}

std::string CWebPages::MakeStatus()
{
    mu::STimeComponents time;
    mu::GetLocalTimeComponents(mu::GetCurrentUTCTime(), time);
    std::string strTime;
    mu::GetTimeComponentsAsString(time, strTime);
    const std::chrono::milliseconds uptime = m_getUptime();

    std::string html = "<p class='note'>As of " + strTime +
                       "</p>\n<div class='columns'>\n"
                       "<section><h2>Recorder</h2><table>";
    for (const auto& [strLabel, strValue] : m_device)
    {
        AppendRow(strLabel, strValue, html);
    }
    AppendRow("Up", FormatUptime(uptime), html);
    AppendRow("Log messages",
              "<a href='/log'>" + std::to_string(m_log.GetNumberOfMessages()) + "</a> of " +
                  std::to_string(m_log.GetTotalMessageCount()),
              html);
    html += "</table></section>\n";

    for (std::uint32_t i = 0; i < m_document.m_vDiagnostics.size(); ++i)
    {
        // The first line says again which one it is, and when.
        const std::string strText = DiagnosticText(m_document.m_vDiagnostics, i, uptime);
        html += "<section><h2>" + Escaped(m_document.m_vDiagnostics[i]) + "</h2>";
        AppendReadings(std::string_view(strText).substr(strText.find("\r\n") + 2), html);
        html += "</section>\n";
    }
    return MakePage("Status", html + "</div>");
}

std::string CWebPages::MakeLog(std::optional<int> iFrom)
{
    const int iTotal = m_log.GetTotalMessageCount();
    const int iCount = m_log.GetNumberOfMessages();
    std::string strPaging;
    const int iFirst = mu::AddHTMLPagingBlock(strPaging, iFrom.value_or(0), kPageSize, iCount);

    std::string strHead;
    std::string html = "<p class='note'>Messages kept: " + std::to_string(iCount) + " of " +
                       std::to_string(iTotal) + ". ";
    if (iFrom)
    {
        html += "<a href='/log'>The newest</a>";
    }
    else if (m_log.m_bAutoRefresh)
    {
        const std::string strSeconds = std::to_string(kRefreshSeconds);
        strHead = "<meta http-equiv='refresh' content='" + strSeconds + "'/>";
        html += "The newest first, read again every " + strSeconds + " seconds.";
    }
    else
    {
        html += "The newest first.";
    }
    html += "</p>\n<div class='log'>";
    if (iCount > 0)
    {
        html += strPaging + "\n";
        AppendMessages(iFirst, iTotal, iCount, html);
        html += "\n" + strPaging;
    }
    else
    {
        html += "<p>No message is kept.</p>";
    }
    return MakePage("Log", html + "</div>", strHead);
}

void CWebPages::AppendMessages(int iFirst, int iTotal, int iCount, std::string& html)
{
    const int iNumberOfOldest = iTotal > m_log.m_iMaxNumberOfLogMessages ? iTotal - iCount : 0;
    html += CLogRecorder::kHTMLTableHead;
    for (int i = iFirst; i < iFirst + kPageSize && i < iCount; ++i)
    {
        CLogRecorder::SLogMessageRec record{};
        if (m_log.GetLogMessage(iNumberOfOldest + iCount - 1 - i, iCount, record.m_ullTime,
                                record.m_exmlMessage))
        {
            CLogRecorder::AppendHTMLRow(record, html);
        }
    }
    html += "</table>";
}
