#include "diagnostics/state_report.h"

#include <cstdlib>

#include "diagnostics/chain_report.h"
#include "diagnostics/circle_check.h"
#include "diagnostics/function_state.h"
#include "diagnostics/readable_memory.h"
#include "diagnostics/set_aside_chain.h"
#include "logging/logger.h"

using namespace mu;

namespace
{

SFuncStateEntry* FollowLinks(SFuncStateEntry* pEntry, SFuncStateEntry* SFuncStateEntry::*pLink)
{
    CMemoryProbe probe;
    CCircleCheck circle;
    SFuncStateEntry entry;
    SFuncStateEntry* pLast = nullptr;
    while (probe.Copy(entry, pEntry) && !circle.IsCircle(pEntry))
    {
        pLast = pEntry;
        pEntry = entry.*pLink;
    }
    return pLast;
}

} // namespace

int WriteStateReport(SFuncStateEntry* pEntry, char* szBuffer, int iBufferSize)
{
    const CSetAsideChain chain;
    CMemoryProbe probe;
    CFunctionSwitch fsReport("::WSR");
    return WriteChainReport(probe, pEntry, szBuffer, iBufferSize);
}

void WarnProgramState(const char* szText)
{
    if (mu::g_ptlTextLogger == nullptr)
    {
        return;
    }
    GetAllocExVarsStorage();    // so that the report lists this thread too
    const CSetAsideChain chain; // the logger traces
    ITextLogger* const ptlLogger = mu::TextLoggerFor(IBaseLogger::Warning);
    if (ptlLogger == nullptr)
    {
        return;
    }
    constexpr int kBufferSize = 16384;
    auto* const szReport = static_cast<char*>(std::malloc(kBufferSize));
    const int iLength = szReport != nullptr ? WriteThreadsStateReport(szReport, kBufferSize) : 0;
    if (iLength > 0 && iLength < kBufferSize)
    {
        szReport[iLength] = '\0';
        ptlLogger->LogMessageF(IBaseLogger::Warning, "%s:\r\n%s", szText, szReport);
    }
    else
    {
        ptlLogger->LogMessageF(IBaseLogger::Warning, "%s", szText);
    }
    std::free(szReport);
}

SFuncStateEntry* GetFirstStateEntry(SFuncStateEntry* pEntry)
{
    return FollowLinks(pEntry, &SFuncStateEntry::m_pPrevious);
}

SFuncStateEntry* GetLastStateEntry(SFuncStateEntry* pEntry)
{
    return FollowLinks(pEntry, &SFuncStateEntry::m_pNext);
}
