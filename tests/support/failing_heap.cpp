#include "tests/support/failing_heap.h"

#include <atomic>
#include <cerrno>
#include <cstddef>

bool (*g_pIsAllocationRefused)() = nullptr;

namespace
{

std::atomic<long> g_iBlocksOfProcess{0};
thread_local int g_iAllowed = INT_MAX;
thread_local int g_iRefused = INT_MAX;
thread_local bool g_bFailed = false;
thread_local long g_iBlocks = 0;

} // namespace

CFailingHeap::CFailingHeap(int iAllowed, int iRefused)
{
    g_bFailed = false;
    g_iRefused = iRefused;
    g_iAllowed = iAllowed;
}

CFailingHeap::~CFailingHeap()
{
    g_iAllowed = INT_MAX;
}

bool CFailingHeap::HasFailed()
{
    return g_bFailed;
}

long CFailingHeap::BlocksInUse()
{
    return g_iBlocks;
}

long CFailingHeap::BlocksOfProcess()
{
    return g_iBlocksOfProcess;
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

extern "C"
{
    void* __libc_malloc(std::size_t);
    void* __libc_calloc(std::size_t, std::size_t);
    void* __libc_realloc(void*, std::size_t);
    void __libc_free(void*);
}

namespace
{

void Count(long iBlocks)
{
    g_iBlocks += iBlocks;
    g_iBlocksOfProcess.fetch_add(iBlocks, std::memory_order_relaxed);
}

bool IsRefused()
{
    if (g_pIsAllocationRefused != nullptr && g_pIsAllocationRefused())
    {
        g_bFailed = true;
        errno = ENOMEM;
        return true;
    }
    if (g_iAllowed == INT_MAX)
    {
        return false;
    }
    if (g_iAllowed == 0)
    {
        if (g_iRefused == 0)
        {
            return false;
        }
        --g_iRefused;
        g_bFailed = true;
        errno = ENOMEM;
        return true;
    }
    --g_iAllowed;
    return false;
}

void* Counted(void* pMemory)
{
    Count(pMemory != nullptr ? 1 : 0);
    return pMemory;
}

} // namespace

// The C library's allocator behind a gate.
extern "C"
{
    void* malloc(std::size_t uBytes)
    {
        return IsRefused() ? nullptr : Counted(__libc_malloc(uBytes));
    }

    void* calloc(std::size_t uCount, std::size_t uBytes)
    {
        return IsRefused() ? nullptr : Counted(__libc_calloc(uCount, uBytes));
    }

    void* realloc(void* pOld, std::size_t uBytes)
    {
        if (pOld == nullptr)
        {
            return malloc(uBytes);
        }
        return IsRefused() ? nullptr : __libc_realloc(pOld, uBytes);
    }

    void free(void* pMemory)
    {
        Count(pMemory != nullptr ? -1 : 0);
        __libc_free(pMemory);
    }
}

#endif
