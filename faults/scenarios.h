#ifndef ZOR_FAULTS_SCENARIOS_H
#define ZOR_FAULTS_SCENARIOS_H

#include <functional>
#include <optional>
#include <span>

#include "faults/fault_plan.h"

/// A piece of the product's work: done with the plan's fault, then once more without one.
struct SScenario
{
    const char* m_szName;
    void (*m_run)();
    bool m_bProgram = false; ///< the work is a program's, started for it
    bool m_bNeedsRecorder = false;
};
std::span<const SScenario> GetLibraryScenarios();
std::span<const SScenario> GetProgramScenarios();

extern SFaults* g_pFaults;
extern std::optional<SFaultResult> g_ofProgram; ///< of the first program that the work started

bool IsFaulty();
/// Locks and threads are made of memory, too.
bool LacksMemory();
/// What has to hold. bAlways is false where it need not while there is a fault.
void Law(bool bHolds, const char* szLaw, bool bAlways = true);
/// Faults come in this call. Where there is no memory, functions may say so.
void WithFaults(const std::function<void()>& work);

#endif
