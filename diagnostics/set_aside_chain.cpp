#include "diagnostics/set_aside_chain.h"

#include "diagnostics/readable_memory.h"

namespace mu
{

CSetAsideChain::CSetAsideChain() : m_pStorageBefore(g_pThreadExceptionVars)
{
    InitThreadExceptionVars(&m_storage);
    g_pThreadExceptionVars = &m_storage; // which the probe needs

    CMemoryProbe probe;
    const auto findChain = [&](const void* pStorage)
    {
        return probe.Copy(m_link.m_pPrevious, pStorage) &&
               probe.IsReadable(m_link.m_pPrevious, sizeof(SFuncStateEntry));
    };
    // The pointer to the storage may be what was damaged.
    if (!findChain(m_pStorageBefore) && g_bAllocatedFuncStateEntryThreadKey != 0)
    {
        findChain(pthread_getspecific(g_pkFuncStateEntryThreadKey));
    }
    if (m_link.m_pPrevious != nullptr)
    {
        m_storage.m_pCurrentEntry.store(&m_link, std::memory_order_relaxed);
    }
}

} // namespace mu
