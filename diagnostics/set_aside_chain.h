#ifndef ZOR_DIAGNOSTICS_SET_ASIDE_CHAIN_H
#define ZOR_DIAGNOSTICS_SET_ASIDE_CHAIN_H

#include "diagnostics/function_state.h"

namespace mu
{

/// Leaves the calling thread's chain as it is for a scope, however damaged it may be: functions
/// that run meanwhile trace on a chain of their own, whose end leads into the other one, so that a
/// report on this thread shows both. Also for a thread whose storage is damaged or that has none.
/// Nothing is allocated; scopes nest.
class CSetAsideChain
{
public:
    CSetAsideChain();
    ~CSetAsideChain() { g_pThreadExceptionVars = m_pStorageBefore; }

    CSetAsideChain(const CSetAsideChain&) = delete;
    CSetAsideChain& operator=(const CSetAsideChain&) = delete;

private:
    SPosixThreadExceptionVars* const m_pStorageBefore;
    SPosixThreadExceptionVars m_storage;
    SFuncStateEntry m_link = {}; // without a tag, so no report shows it
};

} // namespace mu

#endif
