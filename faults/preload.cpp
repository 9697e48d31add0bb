// For programs (LD_PRELOAD): the plan is in the environment variable ZOR_FAULT, as "fault first
// ever path"; at its end the process writes the result to that path.

#include <cstdio>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include "faults/fault_plan.h"

namespace
{

char g_szPath[256];

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
    SFaultPlan plan{0};
    int iEver = 0;
    const char* const szPlan = std::getenv("ZOR_FAULT");
    if (szPlan == nullptr || std::sscanf(szPlan, "%d %ld %d %255s", &plan.m_iFault, &plan.m_lFirst,
                                         &iEver, g_szPath) != 4)
    {
        std::abort();
    }
    plan.m_bEver = iEver != 0;
    stdout = ::fopencookie(nullptr, "w", {nullptr, Print, nullptr, nullptr});
    stderr = ::fopencookie(g_szPath, "w", {nullptr, Print, nullptr, nullptr});
    std::setvbuf(stderr, nullptr, _IONBF, 0);
    SetFaultPlan(plan);
    EnableFaults(true);
}

[[gnu::destructor]] void End()
{
    EnableFaults(false);
    WaitForThreads(2); // this one and the one that watches over a crash
    const SFaultResult result = GetFaultResult();
    const int iFile = ::open(g_szPath, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    PrintFaultResult(iFile, result);
    ::close(iFile);
}

} // namespace
