#include "bench/support/heap_meter.h"

#include <cerrno>
#include <cstdlib>

#include <malloc.h>

extern "C"
{
    void* __libc_malloc(std::size_t);
    void* __libc_calloc(std::size_t, std::size_t);
    void* __libc_realloc(void*, std::size_t);
    void __libc_free(void*);
}

namespace
{

bool g_bRunning = false;
long g_iInUse = 0;
long g_iPeak = 0;

void Count(void* pMemory, int iSign)
{
    if (g_bRunning && pMemory != nullptr)
    {
        g_iInUse += iSign * static_cast<long>(malloc_usable_size(pMemory));
        g_iPeak = g_iInUse > g_iPeak ? g_iInUse : g_iPeak;
    }
}

} // namespace

// The C library's allocator, watched: every peer allocates through it.
extern "C"
{
    void* malloc(std::size_t uBytes)
    {
        void* const pMemory = __libc_malloc(uBytes);
        Count(pMemory, 1);
        return pMemory;
    }

    void* calloc(std::size_t uCount, std::size_t uBytes)
    {
        void* const pMemory = __libc_calloc(uCount, uBytes);
        Count(pMemory, 1);
        return pMemory;
    }

    void* realloc(void* pOld, std::size_t uBytes)
    {
        Count(pOld, -1);
        void* const pMemory = __libc_realloc(pOld, uBytes);
        Count(pMemory != nullptr || uBytes == 0 ? pMemory : pOld, 1);
        return pMemory;
    }

    void free(void* pMemory)
    {
        Count(pMemory, -1);
        __libc_free(pMemory);
    }
}

void CHeapMeter::Start()
{
    g_iInUse = 0;
    g_iPeak = 0;
    g_bRunning = true;
}

std::size_t CHeapMeter::StopAndGetPeak()
{
    g_bRunning = false;
    return static_cast<std::size_t>(g_iPeak);
}
