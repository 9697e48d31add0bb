#include "tests/support/failing_heap.h"

#include <cerrno>
#include <cstddef>

bool (*g_pIsAllocationRefused)() = nullptr;

namespace
{

// Of this thread's allocations, counted by g_uNext, those from g_uFirst on are refused.
thread_local unsigned g_uNext = 0;
thread_local unsigned g_uFirst = 0;
thread_local unsigned g_uRefused = 0;

} // namespace

CFailingHeap::CFailingHeap(int iAllowed, int iRefused)
{
    s_bFailed = false;
    g_uFirst = g_uNext + static_cast<unsigned>(iAllowed);
    g_uRefused = static_cast<unsigned>(iRefused);
}

CFailingHeap::~CFailingHeap()
{
    g_uRefused = 0;
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

namespace
{

bool IsRefused()
{
    if ((g_pIsAllocationRefused == nullptr || !g_pIsAllocationRefused()) &&
        g_uNext++ - g_uFirst >= g_uRefused)
    {
        return false;
    }
    CFailingHeap::s_bFailed = true;
    errno = ENOMEM;
    return true;
}

void* Count(void* pMemory, long lBlocks)
{
    lBlocks = pMemory != nullptr ? lBlocks : 0;
    CFailingHeap::s_lBlocks += lBlocks;
    CFailingHeap::s_lBlocksOfProcess.fetch_add(lBlocks, std::memory_order_relaxed);
    return pMemory;
}

} // namespace

// The C library's allocator behind a gate.
extern "C"
{
    void* __libc_malloc(std::size_t);
    void* __libc_calloc(std::size_t, std::size_t);
    void* __libc_realloc(void*, std::size_t);
    void __libc_free(void*);

    void* malloc(std::size_t uBytes)
    {
        return IsRefused() ? nullptr : Count(__libc_malloc(uBytes), 1);
    }

    void* calloc(std::size_t uCount, std::size_t uBytes)
    {
        return IsRefused() ? nullptr : Count(__libc_calloc(uCount, uBytes), 1);
    }

    void* realloc(void* pOld, std::size_t uBytes)
    {
        return IsRefused() ? nullptr : Count(__libc_realloc(pOld, uBytes), pOld == nullptr ? 1 : 0);
    }

    void free(void* pMemory)
    {
        __libc_free(Count(pMemory, -1));
    }
}

#endif
