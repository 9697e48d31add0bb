#include "diagnostics/exception_delivery.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cwchar>
#include <iterator>

#include <fcntl.h>
#include <unistd.h>

#include "diagnostics/crash_file.h"
#include "diagnostics/crash_options.h"
#include "logging/logger.h"
#include "threading/event.h"

namespace mu
{

namespace
{

void WriteToFile(const char* szPath, int iFlags, const char* szReport, int iLength)
{
    const int iDescriptor = OpenFileInCrash(szPath, iFlags);
    if (iDescriptor >= 0)
    {
        WriteAllInCrash(iDescriptor, szReport, static_cast<std::size_t>(iLength));
        ::close(iDescriptor);
    }
}

void WriteDatedFile(const char* szReport, int iLength, const mu::STimeComponents& time)
{
    char szMonth[20] = {};
    const wchar_t* const wszMonth = mu::GetMonthName(time.m_iMonth);
    std::transform(wszMonth, wszMonth + std::wcslen(wszMonth), szMonth,
                   [](wchar_t ch) { return static_cast<char>(ch); }); // it is ASCII
    char szPath[4 * SCrashOptions::kMostFolderLength + 100];
    const int iFolder =
        std::snprintf(szPath, sizeof(szPath), "%s/%04d/%02d %s/%02d", g_crashOptions.m_szFolder,
                      time.m_iYear, time.m_iMonth, szMonth, time.m_iDay);
    // The limit counts characters, of which continuation bytes of UTF-8 are none.
    const auto iCharacters =
        std::count_if(szPath, szPath + iFolder,
                      [](char ch) { return (static_cast<unsigned>(ch) & 0xC0) != 0x80; });
    if (iCharacters > SCrashOptions::kMostFolderLength)
    {
        return;
    }
    std::snprintf(szPath + iFolder, sizeof(szPath) - static_cast<std::size_t>(iFolder),
                  "/Exception_%02d_%02d_%02d.txt", time.m_iHour, time.m_iMinute, time.m_iSecond);
    MakeDirectoriesInCrash(szPath);
    WriteToFile(szPath, O_TRUNC, szReport, iLength);
}

void ToStandardOutput(const char* szReport, int iLength, const mu::STimeComponents&)
{
    // Not by stdio: the thread that holds its lock may never give it back.
    WriteAllInCrash(STDOUT_FILENO, szReport, static_cast<std::size_t>(iLength)) &&
        WriteAllInCrash(STDOUT_FILENO, "\r\n", 2);
}

void ToLogger(const char* szReport, int, const mu::STimeComponents&)
{
    if (mu::g_ptlTextLogger != nullptr)
    {
        mu::g_ptlTextLogger->LogMessage(IBaseLogger::Error, szReport);
    }
}

void ToLogFile(const char* szReport, int iLength, const mu::STimeComponents&)
{
    if (*g_crashOptions.m_szLogFile != '\0')
    {
        WriteToFile(g_crashOptions.m_szLogFile, O_APPEND, szReport, iLength);
    }
}

void ToDatedFile(const char* szReport, int iLength, const mu::STimeComponents& time)
{
    if (*g_crashOptions.m_szFolder != '\0')
    {
        WriteDatedFile(szReport, iLength, time);
    }
}

void ToEvent(const char*, int, const mu::STimeComponents&)
{
    if (g_crashOptions.m_pEvent != nullptr)
    {
        g_crashOptions.m_pEvent->Signal();
    }
}

void WriteLog(const char*, int, const mu::STimeComponents&)
{
    if (const auto pfnWrite = g_crashOptions.m_pfnWriteLog.load())
    {
        pfnWrite();
    }
}

using Step = void (*)(const char*, int, const mu::STimeComponents&);
constexpr Step kSteps[] = {ToStandardOutput, ToLogger, ToLogFile, ToDatedFile, ToEvent, WriteLog};
constexpr std::size_t kStepsOfAnyReport = 4; // the others are for a crash alone

} // namespace

void CExceptionDelivery::Run(const char* szReport, int iLength, const mu::STimeComponents& time)
{
    const std::size_t uSteps = m_bOfCrash ? std::size(kSteps) : kStepsOfAnyReport;
    for (std::size_t u = 0; (u = m_uNextStep.fetch_add(1)) < uSteps;)
    {
        kSteps[u](szReport, iLength, time);
    }
}

void CExceptionDelivery::SkipToLogWriter()
{
    if (m_uNextStep.exchange(std::size(kSteps)) < std::size(kSteps))
    {
        WriteLog(nullptr, 0, {});
    }
}

} // namespace mu
