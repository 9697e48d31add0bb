#include "logging/logging_parameters.h"

#include <string>

#include <gtest/gtest.h>

#include "xml/easy_xml.h"

namespace
{

std::wstring Written(SLoggingParameters parameters)
{
    CEasyXML exml;
    CEasyXMLNode root = exml.AddRoot(L"r", nullptr);
    parameters.ToXML(root);
    std::wstring wsXML;
    exml.GetXML(wsXML);
    return wsXML;
}

bool Read(const wchar_t* wszXML, SLoggingParameters& parameters)
{
    CEasyXML exml;
    CEasyXMLNode root = exml.LoadFromText(wszXML);
    return parameters.FromXML(root);
}

TEST(LoggingParameters, AreWrittenAndReadBack)
{
    const std::wstring ws = L" xmlns:zor=\"http://zor.example/documents\">";
    EXPECT_EQ(Written(SLoggingParameters()),
              L"<r><zor:LoggingParameters" + ws + L"<zor:LogSeverity" + ws +
                  L"Warning</zor:LogSeverity><zor:MaxNumberOfLogMessages" + ws +
                  L"200</zor:MaxNumberOfLogMessages><zor:LogViewer" + ws + L"<zor:AutoRefresh" +
                  ws + L"False</zor:AutoRefresh></zor:LogViewer></zor:LoggingParameters></r>");

    SLoggingParameters parameters;
    EXPECT_TRUE(Read(L"<r><zor:LogSeverity>Error</zor:LogSeverity>"
                     L"<zor:MaxNumberOfLogMessages>-5</zor:MaxNumberOfLogMessages>"
                     L"<zor:LogViewer><zor:AutoRefresh>True</zor:AutoRefresh></zor:LogViewer></r>",
                     parameters));
    EXPECT_FALSE(
        Read(L"<r><zor:LogSeverity>error</zor:LogSeverity><zor:AutoRefresh/></r>", parameters));
    EXPECT_EQ(parameters.m_iLogSeverity, IBaseLogger::Error);
    EXPECT_EQ(parameters.m_iMaxNumberOfLogMessages, -5);
    EXPECT_TRUE(parameters.m_bAutoRefresh);

    parameters.m_iLogSeverity = 4; // has no name
    EXPECT_EQ(Written(parameters).find(L"Severity"), std::wstring::npos);
    EXPECT_EQ(SLoggingParameters::GetLogSeverityName(-1), nullptr);
    EXPECT_EQ(SLoggingParameters::GetLogSeverityIndex(L"warning"), -1);
    EXPECT_EQ(SLoggingParameters::GetLogSeverityIndex(nullptr), -1);
    EXPECT_EQ(SLoggingParameters::GetLogSeverityIndex(L"Error"), 3);
}

} // namespace
