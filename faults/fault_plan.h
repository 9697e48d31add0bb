#ifndef ZOR_FAULTS_FAULT_PLAN_H
#define ZOR_FAULTS_FAULT_PLAN_H

#include <climits>

/// The one fault of a process: of its allocations or system calls that can have it, the one with
/// the number m_lFirst, counted from 0, and with m_bEver all later ones too.
struct SFaultPlan
{
    int m_iFault = 0; ///< ENOMEM: of allocations; else of system calls, an errno or -1: short
    long m_lFirst = LONG_MAX;
    bool m_bEver = false;
};

/// What the plan came to.
struct SFaultResult
{
    long m_lCalls = 0;       ///< that could have had the fault
    bool m_bHappened = true; ///< also if the process ended before it could tell
    long m_lBlocks = 0;      ///< of the heap, in use
    long m_lDescriptors = 0; ///< open
};

/// What faults shares with the processes that it starts, by the file of this descriptor.
struct SFaults
{
    SFaultPlan m_plan; ///< of the work under way
    SFaultResult m_result;
    char m_szFindings[2000];
};
constexpr int kSharedDescriptor = 100;
/// The file in memory.
SFaults* MapFaults();

/// Before there are other threads; nothing fails yet.
void SetFaultPlan(const SFaultPlan& plan);
/// From and to here the process's calls count.
void EnableFaults(bool bEnable);
SFaultResult GetFaultResult();
/// Until so many threads are left, at most some seconds, by calls that never fail.
void WaitForThreads(unsigned uLeft);

#endif
