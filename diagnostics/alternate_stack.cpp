#include "diagnostics/alternate_stack.h"

#include <csignal>
#include <cstddef>

#include <sys/mman.h>

namespace mu
{

namespace
{

// Room for a crash report, the loggers and the exit handlers. The system gives memory only to pages
// that are touched. Below the stack lies a guard that nobody may touch: an overflow of this stack
// faults there instead of overwriting other memory.
constexpr std::size_t kStackSize = 128UL * 1024;
constexpr std::size_t kGuardSize = 64UL * 1024; // at least a page of any machine

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
    if (g_pMapping == nullptr)
    {
        return;
    }
    stack_t current = {};
    ::sigaltstack(nullptr, &current);
    // sigaltstack() refuses while the thread runs on this stack; the stack then stays.
    if (current.ss_sp == g_pMapping + kGuardSize && ::sigaltstack(&g_stackBefore, nullptr) != 0)
    {
        return;
    }
    ::munmap(g_pMapping, kGuardSize + kStackSize);
    g_pMapping = nullptr;
}

} // namespace mu
