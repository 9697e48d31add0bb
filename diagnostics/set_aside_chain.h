#ifndef ZOR_DIAGNOSTICS_SET_ASIDE_CHAIN_H
#define ZOR_DIAGNOSTICS_SET_ASIDE_CHAIN_H

#include "diagnostics/function_state.h"

namespace mu
{

/// Leaves the calling thread's chain untouched for a scope, however damaged it may be: functions
/// that are called meanwhile trace on a new chain. Its outermost entry leads to the old chain, so
/// that a report on this thread shows both. Works also if the thread's storage is damaged or
/// missing. Nothing is allocated; scopes nest.
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
