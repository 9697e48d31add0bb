#ifndef ZOR_DIAGNOSTICS_PROCESS_RESTART_H
#define ZOR_DIAGNOSTICS_PROCESS_RESTART_H

namespace mu
{

/// Replaces the running program by that of the argument vector, which a null ends (execv(3)). The
/// new program begins clean: no blocked or pending signal, no pending alarm, and of the descriptors
/// only 0, 1 and 2 are open. Returns only if the system refuses; the descriptors are still open
/// then. May be called in a signal handler.
void RestartProcess(char** ppArgs);

} // namespace mu

#endif
