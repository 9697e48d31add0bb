// For each N, the N-th allocation or system call of a piece of work fails, once or with all later
// ones. The work is done in a process of its own, and after the fault again without it. See
// docs/hacking.md; scripts/faults runs this.

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <sys/mman.h>

#include "faults/scenarios.h"
#include "tests/support/child_process.h"
#include "tests/support/pipes.h"

SFaults* g_pFaults = nullptr;
std::optional<SFaultResult> g_ofProgram;

namespace
{

constexpr std::pair<const char*, int> kFaults[] = {{"memory", ENOMEM}, {"EINTR", EINTR},
                                                   {"EIO", EIO},       {"ENOSPC", ENOSPC},
                                                   {"EMFILE", EMFILE}, {"short", -1}};
constexpr unsigned kMostSeconds = 120; // that a piece of work takes

} // namespace

bool IsFaulty()
{
    return g_pFaults->m_plan.m_lFirst != LONG_MAX;
}

bool LacksMemory()
{
    return g_pFaults->m_plan.m_iFault == ENOMEM || g_pFaults->m_plan.m_iFault == EMFILE;
}

void Law(bool bHolds, const char* szLaw, bool bAlways)
{
    if (!bHolds && (bAlways || !IsFaulty()))
    {
        char* const szFindings = g_pFaults->m_szFindings;
        const std::size_t uLength = std::strlen(szFindings);
        std::snprintf(szFindings + uLength, sizeof(g_pFaults->m_szFindings) - uLength, "%s%s; ",
                      szLaw, IsFaulty() ? "" : " (afterwards, without a fault)");
    }
}

void WithFaults(const std::function<void()>& work)
{
    EnableFaults(g_pFaults->m_plan.m_iFault != 0);
    try
    {
        work();
    }
    catch (const std::bad_alloc&)
    {
        Law(LacksMemory(), "throws");
    }
    EnableFaults(false);
}

namespace
{

// Does the work with the fault and then without, in a process of its own.
SFaults Run(void (*run)(), const SFaultPlan& plan)
{
    *g_pFaults = {plan, {}, {}};
    std::fflush(stdout);
    const pid_t iChild = ::fork();
    if (iChild == 0)
    {
        ::alarm(kMostSeconds); // ends it with a signal
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::dup2(::open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
        SetFaultPlan(plan);
        for (const SFaultPlan& ofPass : {plan, SFaultPlan{0}})
        {
            g_pFaults->m_plan = ofPass;
            run();
            WaitForThreads(1);
        }
        SFaultResult result = GetFaultResult();
        if (g_ofProgram)
        {
            result.m_lCalls = g_ofProgram->m_lCalls;
            result.m_bHappened = g_ofProgram->m_bHappened;
        }
        g_pFaults->m_result = result;
        ::_exit(0);
    }
    int iStatus = 0;
    ::waitpid(iChild, &iStatus, 0);
    Law(iStatus == 0, WIFSIGNALED(iStatus) ? ::sigdescr_np(WTERMSIG(iStatus)) : "ends early");
    return *g_pFaults;
}

// Prints what was found with one N, with the command that repeats it.
bool Judge(const SScenario& scenario, const char* szFault, const SFaultPlan& plan,
           const SFaults& clean, const SFaults& outcome)
{
    std::string strFindings = outcome.m_szFindings;
    if (strFindings.empty() && !scenario.m_bProgram)
    {
        const long lBlocks = outcome.m_result.m_lBlocks - clean.m_result.m_lBlocks;
        strFindings = lBlocks > 0 ? "leaks " + std::to_string(lBlocks) + " blocks " : "";
        strFindings += outcome.m_result.m_lDescriptors != clean.m_result.m_lDescriptors
                           ? "loses a descriptor"
                           : "";
    }
    if (!strFindings.empty())
    {
        std::printf("scripts/faults %s %s %s %ld: %s\n", scenario.m_szName, szFault,
                    plan.m_bEver ? "ever" : "once", plan.m_lFirst, strFindings.c_str());
    }
    return strFindings.empty();
}

// Returns the number of findings.
int RunAll(const SScenario& scenario, const std::pair<const char*, int>& fault, long lRuns)
{
    constexpr int kMostFindings = 3;
    const SFaults clean = Run(scenario.m_run, {fault.second});
    int iFindings = Judge(scenario, fault.first, {fault.second}, clean, clean) ? 0 : 1;
    const long lStep = lRuns > 0 ? clean.m_result.m_lCalls / lRuns + 1 : 1;
    std::string strRuns;
    for (const bool bEver : {false, true})
    {
        long lDone = 0;
        for (SFaultPlan plan{fault.second, 0, bEver}; iFindings < kMostFindings;
             plan.m_lFirst += lStep)
        {
            const SFaults outcome = Run(scenario.m_run, plan);
            if (!outcome.m_result.m_bHappened)
            {
                break;
            }
            ++lDone;
            iFindings += Judge(scenario, fault.first, plan, clean, outcome) ? 0 : 1;
        }
        strRuns += (bEver ? ", ever " : "once ") + std::to_string(lDone);
    }
    std::printf("%-14s %-7s %5ld calls: %s: %s\n", scenario.m_szName, fault.first,
                clean.m_result.m_lCalls, strRuns.c_str(), iFindings == 0 ? "good" : "see above");
    return iFindings;
}

} // namespace

// faults RUNS [SCENARIO...]: of each fault and scenario so many N, evenly, a fifth of it of those
// that start programs; 0 for all. faults SCENARIO FAULT once|ever N: this one.
int main(int argc, char* argv[])
{
    std::signal(SIGPIPE, SIG_IGN);
    const int iShared = ::memfd_create("faults", 0);
    if (::ftruncate(iShared, sizeof(SFaults)) != 0 || ::dup2(iShared, kSharedDescriptor) < 0)
    {
        return 1;
    }
    g_pFaults = MapFaults();
    const std::vector<std::string> vArguments(argv + 1, argv + argc);
    const bool bOne =
        vArguments.size() == 4 && (vArguments[2] == "once" || vArguments[2] == "ever");
    const auto RunOf = [&](const SScenario& scenario, const std::pair<const char*, int>& fault)
    {
        if (!bOne)
        {
            return RunAll(scenario, fault, std::atol(argv[1]) / (scenario.m_bProgram ? 5 : 1));
        }
        const SFaultPlan plan{fault.second, std::atol(argv[4]), vArguments[2] == "ever"};
        return Judge(scenario, fault.first, plan, Run(scenario.m_run, {fault.second}),
                     Run(scenario.m_run, plan))
                   ? 0
                   : 1;
    };
    int iFindings = 0;
    int iRows = 0;
    for (const auto& scenarios : {GetLibraryScenarios(), GetProgramScenarios()})
    {
        for (const SScenario& scenario : scenarios)
        {
            if (bOne ? vArguments[0] != scenario.m_szName
                     : vArguments.size() > 1 &&
                           std::ranges::count(vArguments, scenario.m_szName) == 0)
            {
                continue;
            }
            std::unique_ptr<CChildProcess> pRecorder;
            if (scenario.m_bNeedsRecorder)
            {
                RemovePipes();
                pRecorder = std::make_unique<CChildProcess>(ZOR_SIMULATOR);
                pRecorder->ReadOutputUntil("Recorder ready.\n", 30000);
            }
            for (const auto& fault : kFaults)
            {
                if (!bOne || vArguments[1] == fault.first)
                {
                    iFindings += RunOf(scenario, fault);
                    ++iRows;
                }
            }
        }
    }
    return iFindings == 0 && iRows > 0 ? 0 : 1;
}
