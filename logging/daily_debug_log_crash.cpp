// How the daily log's lines come into its file in a crash.

#include "logging/daily_debug_log.h"

#include <cstring>
#include <utility>

#include <unistd.h>

#include "diagnostics/crash_handler.h"
#include "diagnostics/function_state.h"
#include "mu/file_system.h"
#include "threading/system_clock.h"

namespace
{

// The process's logs. A crash walks the list under the lock, so that no log is destroyed meanwhile.
// If it cannot have the lock, because it interrupted the thread that holds it, it walks without.
mu::CPosixMutex g_mutexOfLogs = PTHREAD_MUTEX_INITIALIZER;
std::atomic<CDailyDebugLog*> g_pFirstLog ZOR_GUARDED_BY(g_mutexOfLogs){nullptr};

} // namespace

void CDailyDebugLog::RegisterForCrash()
{
    {
        const mu::CPosixLock lock(g_mutexOfLogs);
        m_pNextLog = g_pFirstLog.load();
        g_pFirstLog = this;
    }
    mu::SetCrashLogWriter(WriteAllInCrash);
}

void CDailyDebugLog::UnregisterForCrash()
{
    const mu::CPosixLock lock(g_mutexOfLogs);
    for (std::atomic<CDailyDebugLog*>* ppLog = &g_pFirstLog; *ppLog != nullptr;
         ppLog = &ppLog->load()->m_pNextLog)
    {
        if (*ppLog == this)
        {
            *ppLog = m_pNextLog.load();
            break;
        }
    }
}

void CDailyDebugLog::WriteAllInCrash()
{
    const mu::CReportLock lock(g_mutexOfLogs);
    for (CDailyDebugLog* pLog = g_pFirstLog; pLog != nullptr; pLog = pLog->m_pNextLog)
    {
        pLog->WriteInCrash();
    }
}

// Sets the path to which a crash writes if the file is not open. That takes memory, so it is done
// beforehand.
void CDailyDebugLog::PrepareForCrash()
{
    m_iProcessID = ::getpid();
    std::wstring wsPath;
    mu::STimeComponents date = GetFileDate();
    if (!mu::IsCurrentTimeSane(date)) // no day end was scheduled yet
    {
        mu::GetLocalTimeComponents(mu::GetCurrentUTCTime(), date);
    }
    const bool bFound =
        m_pRecConfig != nullptr && mu::IsCurrentTimeSane(date) && FindFile(date, false, wsPath);
    std::string strPath = bFound ? mu::PathToUTF8(wsPath.c_str()) : std::string();
    const mu::CPosixLock lock(m_writeMutex);
    m_file.SetPathForCrash(std::move(strPath));
}

void CDailyDebugLog::WriteInCrash()
{
    m_bCrashed = true;
    unsigned long long ullByte = 0;
    m_file.TakeForCrash(ullByte);
    if (m_iProcessID == ::getpid())
    {
        int iSize = 0;
        while (const void* const pBlock = m_pTextBuffer->GetBlockInCrash(ullByte, iSize))
        {
            if (!m_file.AppendInCrash(static_cast<const char*>(pBlock),
                                      static_cast<unsigned>(iSize)))
            {
                return;
            }
            ullByte += static_cast<unsigned>(iSize);
        }
    }
    if (const char* const szReport = m_szCrashReport)
    {
        m_file.AppendInCrash(szReport, std::strlen(szReport)) && m_file.AppendInCrash("\r\n", 2);
    }
}
