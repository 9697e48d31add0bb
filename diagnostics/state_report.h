#ifndef ZOR_DIAGNOSTICS_STATE_REPORT_H
#define ZOR_DIAGNOSTICS_STATE_REPORT_H

#include "diagnostics/function_state.h"

// Chains of active functions as text: a line a function, innermost first, each its tag and its
// parameters with the values that the variables hold now. Lines end in "\r\n".
//
// Reports are written in bad moments. So only WarnProgramState() allocates; memory is probed before
// it is read; a chain that is torn or runs in a circle comes to an end; the calling thread's own
// chain is not changed; and a full buffer ends the report at the last piece that fits. No
// terminating zero is written. Any thread may call any of these, also in a signal handler. Only the
// reports on all threads take a lock, the map's.

/// The chain from pEntry outward. It may be another thread's, which need not stand still. Returns
/// the bytes written.
int WriteStateReport(SFuncStateEntry* pEntry, char* szBuffer, int iBufferSize);

/// CThreadStatesMap::PrintAllStateReports() of the process's map, 0 if there is none: a head with
/// the number of threads, then each thread that is in a traced function, by its id, with its
/// scheduling policy and priority (-1 if unknown).
int WriteThreadsStateReport(char* szBuffer, int iBufferSize);

/// Logs the text and the report on all threads as a warning, if warnings are wanted.
void WarnProgramState(const char* szText);

/// The outermost and the innermost entry that can be reached from pEntry; null if pEntry is null or
/// cannot be read.
SFuncStateEntry* GetFirstStateEntry(SFuncStateEntry* pEntry);
SFuncStateEntry* GetLastStateEntry(SFuncStateEntry* pEntry);

#endif
