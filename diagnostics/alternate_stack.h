#ifndef ZOR_DIAGNOSTICS_ALTERNATE_STACK_H
#define ZOR_DIAGNOSTICS_ALTERNATE_STACK_H

namespace mu
{

/// Gives the calling thread a stack of its own for signal handlers (sigaltstack(2)), so that the
/// overflow of its stack can be reported. Without memory it goes without. A second call does
/// nothing.
void InstallAlternateStack();
/// Puts back the one that stood before, unless another came meanwhile.
void RemoveAlternateStack();

} // namespace mu

#endif
