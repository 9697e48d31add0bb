#include "threading/mutex.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>

#include <unistd.h>

#include "diagnostics/state_report.h"
#include "mu/write_all.h"

namespace
{

constexpr int kReportSize = 200;

// Writes the text and the report in one piece, so that no output of another thread comes between
// them, and without stdio's buffer, so that they show also if the program hangs next.
[[gnu::format(printf, 1, 2)]] void Print(const char* szFormat, ...)
{
    char szText[300] = ""; // more than a report and the text before it
    va_list args;
    va_start(args, szFormat);
    std::vsnprintf(szText, sizeof(szText), szFormat, args);
    va_end(args);
    mu::WriteAll(STDOUT_FILENO, szText, std::strlen(szText));
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
