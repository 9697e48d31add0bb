// The report on all threads.

#include "diagnostics/state_report.h"

#include <cstdint>
#include <string_view>

#include <pthread.h>
#include <sched.h>

#include "diagnostics/circle_check.h"
#include "diagnostics/crash_options.h"
#include "diagnostics/fixed_text.h"
#include "diagnostics/function_state.h"
#include "diagnostics/number_text.h"
#include "diagnostics/readable_memory.h"
#include "diagnostics/set_aside_chain.h"

using namespace mu;

namespace
{

constexpr std::string_view kSeparator = "===============\r\n";

struct SScheduling
{
    pthread_t m_thread;
    int m_iPolicy;
    int m_iPriority;
};

// Probed, because a thread that ended without freeing its storage is still listed: its id may point
// at memory that is gone.
SScheduling GetScheduling(CMemoryProbe& probe, unsigned long dwThreadID)
{
    const auto thread = static_cast<pthread_t>(dwThreadID);
    SScheduling scheduling = {thread, -1, -1};
    probe.Call(
        [](void* pArgument)
        {
            auto* const pScheduling = static_cast<SScheduling*>(pArgument);
            sched_param parameters = {};
            int iPolicy = 0;
            if (pthread_getschedparam(pScheduling->m_thread, &iPolicy, &parameters) == 0)
            {
                *pScheduling = {pScheduling->m_thread, iPolicy, parameters.sched_priority};
            }
        },
        &scheduling);
    return scheduling;
}

bool AppendThreadHead(CFixedText& text, unsigned long dwThreadID, const SScheduling& scheduling)
{
    int iDigits = 8;
    while (iDigits < 2 * static_cast<int>(sizeof(dwThreadID)) && dwThreadID >> (4 * iDigits) != 0)
    {
        ++iDigits;
    }
    const int iStart = text.Length();
    if (text.Append("Thread ") && text.Append(CNumberText::Digits(dwThreadID, iDigits, 4).Text()) &&
        text.Append(" policy=") &&
        text.Append(CNumberText::Decimal(scheduling.m_iPolicy, false).Text()) &&
        text.Append(" priority=") &&
        text.Append(CNumberText::Decimal(scheduling.m_iPriority, false).Text()) &&
        text.Append("\r\n"))
    {
        return true;
    }
    text.CutBackTo(iStart);
    return false;
}

class CThreadsReport
{
public:
    CThreadsReport(const std::map<unsigned long, SPosixThreadExceptionVars*>& mapThreads,
                   char* szBuffer, int iBufferSize)
        : m_mapThreads(mapThreads), m_text(szBuffer, iBufferSize)
    {
    }

    int Write()
    {
        const auto llThreads = static_cast<std::int64_t>(m_mapThreads.size());
        if (!m_text.Append(g_crashOptions.m_szApplicationName) || !m_text.Append(" ") ||
            !m_text.Append(g_crashOptions.m_szVersion) ||
            !m_text.Append(": Application Threads (") ||
            !m_text.Append(CNumberText::Decimal(llThreads, false).Text()) ||
            !m_text.Append(")\r\n") || !m_text.Append(kSeparator))
        {
            return 0;
        }
        // Probed, because the map lies on the heap, which the crash may have damaged.
        m_probe.Call([](void* pThis) { static_cast<CThreadsReport*>(pThis)->WriteThreads(); },
                     this);
        return m_text.Length();
    }

private:
    void WriteThreads()
    {
        CCircleCheck circle;
        for (const auto& [dwThreadID, pVars] : m_mapThreads)
        {
            if (circle.IsCircle(&dwThreadID) || !WriteThread(dwThreadID, pVars))
            {
                break;
            }
        }
    }

    /// Whether the report goes on.
    bool WriteThread(unsigned long dwThreadID, const SPosixThreadExceptionVars* pVars)
    {
        SFuncStateEntry* pEntry = nullptr;
        if (pthread_equal(static_cast<pthread_t>(dwThreadID), pthread_self()) != 0)
        {
            pEntry = GetCurrentFuncStateEntry(); // pVars has been set aside
        }
        else if (!m_probe.Copy(pEntry, pVars))
        {
            return true;
        }
        if (pEntry == nullptr)
        {
            return true;
        }
        if (!AppendThreadHead(m_text, dwThreadID, GetScheduling(m_probe, dwThreadID)))
        {
            return false;
        }
        const int iChain = WriteStateReport(pEntry, m_text.Rest(), m_text.Room());
        m_text.Extend(iChain);
        return iChain > 0 && m_text.Append(kSeparator);
    }

    const std::map<unsigned long, SPosixThreadExceptionVars*>& m_mapThreads;
    CMemoryProbe m_probe;
    CFixedText m_text;
};

} // namespace

int CThreadStatesMap::PrintAllStateReports(char* szBuffer, int iBufferSize)
{
    const CSetAsideChain chain;
    CFunctionSwitch fsReport("TSM::PASR");
    const CReportLock lock(m_mutex);
    return lock.IsLocked() ? CThreadsReport(m_mapThreads, szBuffer, iBufferSize).Write() : 0;
}

int WriteThreadsStateReport(char* szBuffer, int iBufferSize)
{
    const CThreadStatesMapScope scope;
    CThreadStatesMap* const pMap = scope.GetMap();
    return pMap != nullptr ? pMap->PrintAllStateReports(szBuffer, iBufferSize) : 0;
}
