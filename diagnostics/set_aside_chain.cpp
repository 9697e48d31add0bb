#include "diagnostics/set_aside_chain.h"

#include "diagnostics/readable_memory.h"

namespace mu
{

CSetAsideChain::CSetAsideChain() : m_pStorageBefore(g_pThreadExceptionVars)
{
    InitThreadExceptionVars(&m_storage);
    g_pThreadExceptionVars = &m_storage; // which the probe needs

    CMemoryProbe probe;
    if (!probe.Copy(m_link.m_pPrevious, m_pStorageBefore) &&
        g_bAllocatedFuncStateEntryThreadKey != 0)
    {
        probe.Copy(m_link.m_pPrevious, pthread_getspecific(g_pkFuncStateEntryThreadKey));
    }
    if (m_link.m_pPrevious != nullptr)
    {
        m_storage.m_pCurrentEntry.store(&m_link, std::memory_order_relaxed);
    }
}

} // namespace mu
