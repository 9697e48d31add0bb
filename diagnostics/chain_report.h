#ifndef ZOR_DIAGNOSTICS_CHAIN_REPORT_H
#define ZOR_DIAGNOSTICS_CHAIN_REPORT_H

#include "diagnostics/readable_memory.h"
#include "diagnostics/state_records.h"

namespace mu
{

/// Writes the chain from pEntry outward in the form of WriteStateReport(), which does this with the
/// calling thread's own chain set aside. Returns the bytes written.
int WriteChainReport(CMemoryProbe& probe, const SFuncStateEntry* pEntry, char* szBuffer,
                     int iBufferSize);

} // namespace mu

#endif
