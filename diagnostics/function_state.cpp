#include "diagnostics/function_state.h"

pthread_key_t g_pkFuncStateEntryThreadKey;
int g_bAllocatedFuncStateEntryThreadKey = 0;
constinit thread_local SPosixThreadExceptionVars* g_pThreadExceptionVars = nullptr;
