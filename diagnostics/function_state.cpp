#include "diagnostics/function_state.h"

#include <cstdlib>
#include <new>

#include "diagnostics/alternate_stack.h"
#include "threading/sleep.h"
#include "threading/thread_id.h"

pthread_key_t g_pkFuncStateEntryThreadKey;
int g_bAllocatedFuncStateEntryThreadKey = 0;
constinit thread_local SPosixThreadExceptionVars* mu::g_pThreadExceptionVars = nullptr;

using namespace mu;

namespace
{

// Guards the creation of the key and the pointer to the map. The map's own mutex cannot: it is
// freed with the map. A thread that takes both takes this one first.
CPosixMutex g_mutexOfMap = PTHREAD_MUTEX_INITIALIZER;
CThreadStatesMap* g_pThreadStatesMap ZOR_GUARDED_BY(g_mutexOfMap) = nullptr;
std::atomic<bool> g_bCrashMode{false};

bool MakeKey()
{
    const CPosixLock lock(g_mutexOfMap);
    if (g_bAllocatedFuncStateEntryThreadKey == 0 &&
        pthread_key_create(&g_pkFuncStateEntryThreadKey, nullptr) == 0)
    {
        g_bAllocatedFuncStateEntryThreadKey = 1;
    }
    return g_bAllocatedFuncStateEntryThreadKey != 0;
}

// Null without memory.
CThreadStatesMap* GetOrMakeMap() ZOR_REQUIRES(g_mutexOfMap)
{
    if (g_pThreadStatesMap == nullptr)
    {
        g_pThreadStatesMap = new (std::nothrow) CThreadStatesMap;
    }
    return g_pThreadStatesMap;
}

// Without memory for its place in the map the thread still traces, but no report lists it.
void RegisterThread(SPosixThreadExceptionVars* pVars)
{
    const CPosixLock lock(g_mutexOfMap);
    if (CThreadStatesMap* const pMap = GetOrMakeMap())
    {
        const CPosixLock lockMap(pMap->m_mutex);
        try
        {
            pMap->m_mapThreads.try_emplace(GetCurrentThreadID(), pVars);
        }
        catch (const std::bad_alloc&)
        {
        }
    }
}

void UnregisterThread()
{
    const CPosixLock lock(g_mutexOfMap);
    if (g_pThreadStatesMap == nullptr)
    {
        return;
    }
    bool bEmpty = false;
    {
        const CPosixLock lockMap(g_pThreadStatesMap->m_mutex);
        g_pThreadStatesMap->m_mapThreads.erase(GetCurrentThreadID());
        bEmpty = g_pThreadStatesMap->m_mapThreads.empty();
    }
    if (bEmpty)
    {
        delete g_pThreadStatesMap;
        g_pThreadStatesMap = nullptr;
    }
}

} // namespace

namespace mu
{

void SetCrashMode()
{
    g_bCrashMode.store(true, std::memory_order_relaxed);
}

bool LockForReport(CPosixMutex& mutex)
{
    if (!g_bCrashMode.load(std::memory_order_relaxed))
    {
        return pthread_mutex_lock(&mutex) == 0;
    }
    // Tries again and again instead of waiting until a deadline: the deadline would be a time of
    // the wall clock, which may be set meanwhile.
    constexpr int kTries = 100;
    for (int i = 0; i < kTries; ++i)
    {
        if (pthread_mutex_trylock(&mutex) == 0)
        {
            return true;
        }
        mu::SleepMS(5);
    }
    return false;
}

// The thread gets its storage before it locks: getting it inside the scope would lock the same
// mutex again, and the thread would wait for itself.
CThreadStatesMapScope::CThreadStatesMapScope()
    : m_bLocked(GetAllocExVarsStorage() != nullptr && LockForReport(g_mutexOfMap))
{
}

CThreadStatesMapScope::~CThreadStatesMapScope()
{
    if (m_bLocked)
    {
        pthread_mutex_unlock(&g_mutexOfMap);
    }
}

// Unchecked: m_bLocked says that the scope holds the mutex.
ZOR_NO_THREAD_SAFETY_ANALYSIS CThreadStatesMap* CThreadStatesMapScope::GetMap() const
{
    return m_bLocked ? g_pThreadStatesMap : nullptr;
}

CTemporaryThreadStorage::CTemporaryThreadStorage()
{
    InitThreadExceptionVars(&m_vars);
    if (g_pThreadExceptionVars == nullptr)
    {
        g_pThreadExceptionVars = &m_vars;
    }
}

CTemporaryThreadStorage::~CTemporaryThreadStorage()
{
    if (g_pThreadExceptionVars == &m_vars)
    {
        g_pThreadExceptionVars = nullptr;
    }
}

SPosixThreadExceptionVars* AllocExVarsStorage()
{
    if (!MakeKey())
    {
        return nullptr;
    }
    void* const pMemory = std::malloc(sizeof(SPosixThreadExceptionVars));
    if (pMemory == nullptr)
    {
        return nullptr;
    }
    auto* const pVars = new (pMemory) SPosixThreadExceptionVars;
    InitThreadExceptionVars(pVars);
    if (pthread_setspecific(g_pkFuncStateEntryThreadKey, pVars) != 0)
    {
        std::free(pVars);
        return nullptr;
    }
    g_pThreadExceptionVars = pVars;
    InstallAlternateStack();
    RegisterThread(pVars);
    return pVars;
}

} // namespace mu

void FreeThreadExVarsStorage()
{
    SPosixThreadExceptionVars* const pVars = g_pThreadExceptionVars;
    if (pVars == nullptr || g_bAllocatedFuncStateEntryThreadKey == 0 ||
        pVars != pthread_getspecific(g_pkFuncStateEntryThreadKey))
    {
        return;
    }
    // The thread leaves the map first, so that no report finds freed storage there.
    UnregisterThread();
    g_pThreadExceptionVars = nullptr;
    pthread_setspecific(g_pkFuncStateEntryThreadKey, nullptr);
    RemoveAlternateStack();
    ReleaseThreadExceptionVars(pVars);
    std::free(pVars);
}

void InitThreadExceptionVars(SPosixThreadExceptionVars* pVars)
{
    pVars->m_pCurrentEntry.store(nullptr, std::memory_order_relaxed);
    pVars->m_pMemoryTestJump = nullptr;
}

void ReleaseThreadExceptionVars(SPosixThreadExceptionVars*) {}
