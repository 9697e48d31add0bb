#include "tests/mu/failing_memory.h"

#include <cstdlib>
#include <new>

namespace
{

thread_local bool t_bFailing = false;

} // namespace

CFailingMemory::CFailingMemory()
{
    t_bFailing = true;
}

CFailingMemory::~CFailingMemory()
{
    t_bFailing = false;
}

// The linker sends the calls of malloc and realloc here (--wrap), under names of its own.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C"
{
    void* __real_malloc(std::size_t uBytes);
    void* __real_realloc(void* pMemory, std::size_t uBytes);

    void* __wrap_malloc(std::size_t uBytes)
    {
        return t_bFailing ? nullptr : __real_malloc(uBytes);
    }

    void* __wrap_realloc(void* pMemory, std::size_t uBytes)
    {
        return t_bFailing ? nullptr : __real_realloc(pMemory, uBytes);
    }
}

// NOLINTEND(bugprone-reserved-identifier)

void* operator new(std::size_t uBytes)
{
    if (void* const pMemory = std::malloc(uBytes))
    {
        return pMemory;
    }
    throw std::bad_alloc();
}

void operator delete(void* pMemory) noexcept
{
    std::free(pMemory);
}

void operator delete(void* pMemory, std::size_t) noexcept
{
    std::free(pMemory);
}
