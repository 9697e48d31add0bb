#include "faults/fault_plan.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>

#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/failing_calls.h"
#include "tests/support/failing_heap.h"

namespace
{

SFaultPlan g_plan{0};
std::atomic<bool> g_bEnabled{false};
std::atomic<bool> g_bHappened{false};
std::atomic<long> g_lCalls{0};

// Whether Linux fails such a call so.
bool CanHave(ECall eCall, int iFault)
{
    const bool bMoves = eCall == ECall::Read || eCall == ECall::Write || eCall == ECall::Print;
    const bool bWorks =
        bMoves || eCall == ECall::Open || eCall == ECall::Close || eCall == ECall::Sync;
    switch (iFault)
    {
    case EINTR:
        return bWorks || eCall == ECall::Wait;
    case EIO:
        return eCall != ECall::Wait && eCall != ECall::Make;
    case ENOSPC:
        return eCall == ECall::Change || (bWorks && eCall != ECall::Read);
    case EMFILE:
        return eCall == ECall::Open || eCall == ECall::Make;
    default:
        return (bMoves || eCall == ECall::Move) && iFault < 0;
    }
}

bool IsDue()
{
    if (!g_bEnabled)
    {
        return false;
    }
    const long lCall = g_lCalls++;
    const bool bDue = lCall == g_plan.m_lFirst || (g_plan.m_bEver && lCall > g_plan.m_lFirst);
    g_bHappened = g_bHappened || bDue;
    return bDue;
}

} // namespace

SFaults* MapFaults()
{
    void* const pFaults =
        ::mmap(nullptr, sizeof(SFaults), PROT_READ | PROT_WRITE, MAP_SHARED, kSharedDescriptor, 0);
    if (pFaults == MAP_FAILED)
    {
        std::abort();
    }
    return static_cast<SFaults*>(pFaults);
}

void SetFaultPlan(const SFaultPlan& plan)
{
    g_plan = plan;
    if (plan.m_iFault == ENOMEM)
    {
        g_pIsAllocationRefused = IsDue;
    }
    else
    {
        g_onCall = [](ECall eCall)
        { return CanHave(eCall, g_plan.m_iFault) && IsDue() ? g_plan.m_iFault : 0; };
    }
}

void EnableFaults(bool bEnable)
{
    g_bEnabled = bEnable;
}

void WaitForThreads(unsigned uLeft)
{
    struct statx status
    {
    };
    for (int i = 0; i < 5000 && (i == 0 || status.stx_nlink > 2 + uLeft); ++i)
    {
        ::usleep(i == 0 ? 0 : 1000);
        ::statx(AT_FDCWD, "/proc/self/task", 0, STATX_NLINK, &status);
    }
}

SFaultResult GetFaultResult()
{
    SFaultResult result{g_lCalls, g_bHappened, CFailingHeap::BlocksOfProcess(), 0};
    DIR* const pDirectory = ::opendir("/proc/self/fd");
    while (::readdir(pDirectory) != nullptr)
    {
        ++result.m_lDescriptors;
    }
    ::closedir(pDirectory);
    return result;
}
