#include "diagnostics/set_aside_chain.h"

#include "diagnostics/readable_memory.h"

namespace mu
{

CSetAsideChain::CSetAsideChain() : m_pStorageBefore(g_pThreadExceptionVars)
{
    InitThreadExceptionVars(&m_storage);
    g_pThreadExceptionVars = &m_storage; // the probe needs storage

    CMemoryProbe probe;
    const auto findChain = [&](const void* pStorage)
    {
        return probe.Copy(m_link.m_pPrevious, pStorage) &&
               probe.IsReadable(m_link.m_pPrevious, sizeof(SFuncStateEntry));
    };
    // The crash may have damaged the pointer to the storage; the key holds it too.
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
