#include "diagnostics/alternate_stack.h"

#include <csignal>
#include <cstddef>

#include <sys/mman.h>

namespace mu
{

namespace
{

// Room for a crash report with what loggers and exit handlers need. Pages that are never touched
// cost nothing. Below lies one that cannot be touched.
constexpr std::size_t kStackSize = 128UL * 1024;
constexpr std::size_t kGuardSize = 64UL * 1024; // a page, of whatever size

constinit thread_local char* g_pMapping = nullptr;
constinit thread_local stack_t g_stackBefore = {};

} // namespace

void InstallAlternateStack()
{
    if (g_pMapping != nullptr)
    {
        return;
    }
    void* const pMapping = ::mmap(nullptr, kGuardSize + kStackSize, PROT_NONE,
                                  MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (pMapping == MAP_FAILED)
    {
        return;
    }
    stack_t stack = {};
    stack.ss_sp = static_cast<char*>(pMapping) + kGuardSize;
    stack.ss_size = kStackSize;
    if (::mprotect(stack.ss_sp, kStackSize, PROT_READ | PROT_WRITE) != 0 ||
        ::sigaltstack(&stack, &g_stackBefore) != 0)
    {
        ::munmap(pMapping, kGuardSize + kStackSize);
        return;
    }
    g_pMapping = static_cast<char*>(pMapping);
}

void RemoveAlternateStack()
{
    stack_t current = {};
    if (g_pMapping == nullptr || ::sigaltstack(nullptr, &current) != 0)
    {
        return;
    }
    // A thread that stands on it keeps it.
    if (current.ss_sp == g_pMapping + kGuardSize && ::sigaltstack(&g_stackBefore, nullptr) != 0)
    {
        return;
    }
    ::munmap(g_pMapping, kGuardSize + kStackSize);
    g_pMapping = nullptr;
}

} // namespace mu
