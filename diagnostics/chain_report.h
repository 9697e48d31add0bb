#ifndef ZOR_DIAGNOSTICS_CHAIN_REPORT_H
#define ZOR_DIAGNOSTICS_CHAIN_REPORT_H

#include "diagnostics/readable_memory.h"
#include "diagnostics/state_records.h"

namespace mu
{

/// Writes the chain from pEntry outward, as WriteStateReport() does, on the calling thread's own
/// chain whatever that is. Returns the bytes written.
int WriteChainReport(CMemoryProbe& probe, const SFuncStateEntry* pEntry, char* szBuffer,
                     int iBufferSize);

} // namespace mu

#endif
