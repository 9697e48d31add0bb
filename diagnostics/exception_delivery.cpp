#include "diagnostics/exception_delivery.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <iterator>

#include <fcntl.h>
#include <unistd.h>

#include "diagnostics/crash_file.h"
#include "logging/logger.h"
#include "mu/unicode.h"
#include "threading/event.h"

namespace mu
{

namespace
{

constexpr int kMostPathLength = 255; // of the dated folder's
constexpr std::size_t kMostBytes = 4 * (kMostPathLength + 1) + 1;

char g_szLogFile[kMostBytes];
char g_szFolder[kMostBytes];
int g_iFolderLength = 0; // in characters
CWinEvent* g_pEvent = nullptr;
std::atomic<void (*)()> g_pfnWriteLog{nullptr};

/// Returns the characters taken.
int SetPath(char (&szPath)[kMostBytes], const wchar_t* wszPath, int iMostLength)
{
    const auto iLength =
        static_cast<int>(::wcsnlen(wszPath, static_cast<std::size_t>(iMostLength)));
    mu::ConvertString(wszPath, iLength, szPath, static_cast<int>(kMostBytes));
    return iLength;
}

void WriteToFile(const char* szPath, int iFlags, const char* szReport, int iLength)
{
    const int iDescriptor = OpenFileInCrash(szPath, iFlags);
    if (iDescriptor >= 0)
    {
        WriteAllInCrash(iDescriptor, szReport, static_cast<std::size_t>(iLength));
        ::close(iDescriptor);
    }
}

/// The month's name is ASCII.
void NarrowMonthName(int iMonth, char (&szName)[20])
{
    const wchar_t* const wszName = mu::GetMonthName(iMonth);
    std::transform(wszName, wszName + std::wcslen(wszName) + 1, szName,
                   [](wchar_t ch) { return static_cast<char>(ch); });
}

void WriteDatedFile(const char* szReport, int iLength, const mu::STimeComponents& time)
{
    char szMonth[20];
    NarrowMonthName(time.m_iMonth, szMonth);
    char szPath[kMostBytes + 100];
    const int iFolder = std::snprintf(szPath, sizeof(szPath), "%s/%04d/%02d %s/%02d", g_szFolder,
                                      time.m_iYear, time.m_iMonth, szMonth, time.m_iDay);
    // All that follows the root is ASCII.
    const int iAdded = iFolder - static_cast<int>(std::strlen(g_szFolder));
    if (g_iFolderLength + iAdded > kMostPathLength)
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
    if (*g_szLogFile != '\0')
    {
        WriteToFile(g_szLogFile, O_APPEND, szReport, iLength);
    }
}

void ToDatedFile(const char* szReport, int iLength, const mu::STimeComponents& time)
{
    if (*g_szFolder != '\0')
    {
        WriteDatedFile(szReport, iLength, time);
    }
}

void ToEvent(const char*, int, const mu::STimeComponents&)
{
    if (g_pEvent != nullptr)
    {
        g_pEvent->Signal();
    }
}

void WriteLog(const char*, int, const mu::STimeComponents&)
{
    if (const auto pfnWrite = g_pfnWriteLog.load(); pfnWrite != nullptr)
    {
        pfnWrite();
    }
}

using Step = void (*)(const char*, int, const mu::STimeComponents&);
constexpr Step kSteps[] = {ToStandardOutput, ToLogger, ToLogFile, ToDatedFile, ToEvent, WriteLog};
constexpr std::size_t kStepsOfAnyReport = 4; // the others are for a crash alone

} // namespace

void SetExceptionLogFile(const wchar_t* wszPath)
{
    SetPath(g_szLogFile, wszPath, kMostPathLength + 1);
}

void SetExceptionFilesFolder(const wchar_t* wszPath)
{
    g_iFolderLength = SetPath(g_szFolder, wszPath != nullptr ? wszPath : L"", kMostPathLength);
}

void SetExceptionEvent(CWinEvent* pEvent)
{
    g_pEvent = pEvent;
}

bool HasExceptionEvent()
{
    return g_pEvent != nullptr;
}

void SetExceptionLogWriter(void (*pfnWrite)())
{
    g_pfnWriteLog = pfnWrite;
}

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
