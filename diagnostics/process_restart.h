#ifndef ZOR_DIAGNOSTICS_PROCESS_RESTART_H
#define ZOR_DIAGNOSTICS_PROCESS_RESTART_H

namespace mu
{

/// Replaces the process's image (execv(3)) by the program of the argument vector, which a null
/// ends. It begins clean: no blocked or pending signal, no pending alarm, no open descriptor but 0,
/// 1 and
/// 2. Returns only if that fails; the descriptors are still open then. Fit for a signal handler.
void RestartProcess(char** ppArgs);

} // namespace mu

#endif
