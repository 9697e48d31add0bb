#include "threading/mutex.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <new>

#include <unistd.h>

#include "diagnostics/state_report.h"

namespace
{

constexpr int kReportSize = 200;

// Writes the text and the report in one piece, so that no output of another thread comes between
// them, and without stdio's buffer, so that they show also if the program hangs next.
[[gnu::format(printf, 1, 2)]] void Print(const char* szFormat, ...)
{
    char szText[kReportSize + 100];
    va_list args;
    va_start(args, szFormat);
    const int iLength = std::vsnprintf(szText, sizeof(szText), szFormat, args);
    va_end(args);
    constexpr int kMostTries = 100; // of those that a signal interrupts
    int iTries = 0;
    ssize_t iWritten = 0;
    for (const char* p = szText; p < szText + iLength; p += iWritten)
    {
        iWritten = ::write(STDOUT_FILENO, p, static_cast<std::size_t>(szText + iLength - p));
        if (iWritten < 0 && errno == EINTR && ++iTries < kMostTries)
        {
            iWritten = 0;
        }
        else if (iWritten <= 0)
        {
            return;
        }
    }
}

int WriteCallersReport(char (&szReport)[kReportSize])
{
    return WriteStateReport(GetCurrentFuncStateEntry(), szReport, kReportSize);
}

std::unique_ptr<pthread_mutex_t> MakeMutex()
{
    std::unique_ptr<pthread_mutex_t> pMutex(new (std::nothrow) pthread_mutex_t);
    if (pMutex != nullptr && pthread_mutex_init(pMutex.get(), nullptr) != 0)
    {
        pMutex.reset();
    }
    return pMutex;
}

} // namespace

CMutualExclusion::CMutualExclusion() : m_pMutex(MakeMutex()) {}

CMutualExclusion::~CMutualExclusion()
{
    if (m_pMutex != nullptr)
    {
        pthread_mutex_destroy(m_pMutex.get());
    }
}

void CMutualExclusion::ReportRelock(int iLockCount)
{
    char szReport[kReportSize];
    const int iLength = WriteCallersReport(szReport);
    Print("Thread Relocking Error [count=%d]\r\n%.*s\r\n", iLockCount, iLength, szReport);
}

void CMutualExclusion::ReportUnlockOfFree(int iLockCount)
{
    char szReport[kReportSize];
    const int iLength = WriteCallersReport(szReport);
    Print("Mutex unlock error: count=%d\r\n%.*s\r\n", iLockCount, iLength, szReport);
}

void CMutualExclusion::ReportUnlockError(int iError)
{
    Print("Mutex unlock error %d\r\n", iError);
}
