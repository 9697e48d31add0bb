// For each N, the N-th allocation or system call of a piece of work fails, once or with all later
// ones. The work is done in a process of its own, and after the fault again without it. See
// docs/hacking.md; scripts/faults runs this.

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "faults/scenarios.h"
#include "tests/support/child_process.h"
#include "tests/support/pipes.h"

SFaultPlan g_plan;
std::optional<SFaultResult> g_ofProgram;

namespace
{

constexpr std::pair<const char*, int> kFaults[] = {{"memory", ENOMEM}, {"EINTR", EINTR},
                                                   {"EIO", EIO},       {"ENOSPC", ENOSPC},
                                                   {"EMFILE", EMFILE}, {"short", -1}};

int g_iReport = -1;

} // namespace

bool IsFaulty()
{
    return g_plan.m_lFirst != LONG_MAX;
}

bool LacksMemory()
{
    return g_plan.m_iFault == ENOMEM || g_plan.m_iFault == EMFILE;
}

void Law(bool bHolds, const char* szLaw, bool bAlways)
{
    if (!bHolds && (bAlways || !IsFaulty()))
    {
        ::dprintf(g_iReport, "%s%s; ", szLaw, IsFaulty() ? "" : " (afterwards, without a fault)");
    }
}

void WithFaults(const std::function<void()>& work)
{
    EnableFaults(g_plan.m_iFault != 0);
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

struct SOutcome
{
    SFaultResult m_result;
    std::string m_strFindings;
};

// How a process ended that told no result.
std::string DescribeEnd(pid_t iChild)
{
    int iStatus = 0;
    for (int i = 0; i < 1000 && ::waitpid(iChild, &iStatus, WNOHANG) == 0; ++i)
    {
        ::usleep(1000);
        iStatus = -1;
    }
    if (iStatus != -1)
    {
        return WIFSIGNALED(iStatus) ? ::strsignal(WTERMSIG(iStatus)) : "ends early";
    }
    ::kill(iChild, SIGKILL);
    ::waitpid(iChild, &iStatus, 0);
    return "hangs";
}

// Does the work with the fault and then without, in a process of its own.
SOutcome Run(void (*run)(), const SFaultPlan& plan)
{
    int aiReport[2];
    if (::pipe2(aiReport, O_CLOEXEC) != 0)
    {
        std::abort();
    }
    std::fflush(stdout);
    const pid_t iChild = ::fork();
    if (iChild == 0)
    {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::dup2(::open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
        g_iReport = aiReport[1];
        SetFaultPlan(plan);
        for (const SFaultPlan& ofPass : {plan, SFaultPlan{0}})
        {
            g_plan = ofPass;
            run();
            WaitForThreads(1);
        }
        SFaultResult result = GetFaultResult();
        if (g_ofProgram)
        {
            result.m_lCalls = g_ofProgram->m_lCalls;
            result.m_iHappened = g_ofProgram->m_iHappened;
        }
        ::dprintf(g_iReport, "\n");
        PrintFaultResult(g_iReport, result);
        ::_exit(0);
    }
    ::close(aiReport[1]);
    SOutcome outcome{{}, ReadFrom(aiReport[0])};
    ::close(aiReport[0]);
    std::string& strFindings = outcome.m_strFindings;
    const bool bTold = strFindings.find('\n') != std::string::npos;
    const std::size_t uEnd = std::min(strFindings.find('\n'), strFindings.size());
    outcome.m_result = ParseFaultResult(strFindings.c_str() + uEnd);
    strFindings.resize(uEnd);
    strFindings += bTold ? "" : DescribeEnd(iChild);
    ::waitpid(iChild, nullptr, 0);
    return outcome;
}

// Prints what was found with one N, with the command that repeats it.
bool Judge(const SScenario& scenario, const char* szFault, const SFaultPlan& plan,
           const SOutcome& clean, SOutcome outcome)
{
    std::string& strFindings = outcome.m_strFindings;
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
    const SOutcome clean = Run(scenario.m_run, {fault.second});
    int iFindings = Judge(scenario, fault.first, {fault.second}, clean, clean) ? 0 : 1;
    const long lStep = lRuns > 0 ? clean.m_result.m_lCalls / lRuns + 1 : 1;
    std::string strRuns;
    for (const bool bEver : {false, true})
    {
        long lDone = 0;
        for (SFaultPlan plan{fault.second, 0, bEver}; iFindings < kMostFindings;
             plan.m_lFirst += lStep)
        {
            const SOutcome outcome = Run(scenario.m_run, plan);
            if (outcome.m_result.m_iHappened == 0)
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
            const auto tpStart = std::chrono::steady_clock::now();
            for (const auto& fault : kFaults)
            {
                if (!bOne || vArguments[1] == fault.first)
                {
                    iFindings += RunOf(scenario, fault);
                    ++iRows;
                }
            }
            const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(
                std::chrono::steady_clock::now() - tpStart);
            std::printf("%-14s %lld s\n", scenario.m_szName,
                        static_cast<long long>(seconds.count()));
        }
    }
    return iFindings == 0 && iRows > 0 ? 0 : 1;
}
