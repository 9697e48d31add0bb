// For programs (LD_PRELOAD): begins the plan that faults shares, and tells the result at the end.

#include <cstdio>

#include <unistd.h>

#include "faults/fault_plan.h"

namespace
{

SFaults* g_pFaults = nullptr;

// The C library's own streams make their system calls themselves. These print through write(), all
// or nothing as well.
ssize_t Print(void* pDescriptor, const char* szText, std::size_t uSize)
{
    std::size_t uDone = 0;
    for (ssize_t iWritten = 1; uDone < uSize && iWritten > 0;
         uDone += static_cast<std::size_t>(iWritten > 0 ? iWritten : 0))
    {
        iWritten = ::write(pDescriptor == nullptr ? STDOUT_FILENO : STDERR_FILENO, szText + uDone,
                           uSize - uDone);
    }
    return static_cast<ssize_t>(uDone);
}

[[gnu::constructor]] void Begin()
{
    g_pFaults = MapFaults();
    stdout = ::fopencookie(nullptr, "w", {nullptr, Print, nullptr, nullptr});
    stderr = ::fopencookie(g_pFaults, "w", {nullptr, Print, nullptr, nullptr});
    std::setvbuf(stderr, nullptr, _IONBF, 0);
    SetFaultPlan(g_pFaults->m_plan);
    EnableFaults(true);
}

[[gnu::destructor]] void End()
{
    EnableFaults(false);
    WaitForThreads(2); // this one and the one that watches over a crash
    g_pFaults->m_result = GetFaultResult();
}

} // namespace
