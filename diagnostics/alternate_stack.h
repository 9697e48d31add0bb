#ifndef ZOR_DIAGNOSTICS_ALTERNATE_STACK_H
#define ZOR_DIAGNOSTICS_ALTERNATE_STACK_H

namespace mu
{

/// Gives the calling thread a separate stack for signal handlers (sigaltstack(2)), so that an
/// overflow of its own stack can be reported. Without memory the thread gets none. A second call
/// does nothing.
void InstallAlternateStack();
/// Frees that stack and puts back the one that the thread had before. If somebody else has
/// installed another one meanwhile, that one stays.
void RemoveAlternateStack();

} // namespace mu

#endif
