#ifndef ZOR_DIAGNOSTICS_SYMBOL_H
#define ZOR_DIAGNOSTICS_SYMBOL_H

#include <cstdint>

#include "diagnostics/fixed_text.h"
#include "diagnostics/readable_memory.h"

namespace mu
{

/// The exported function that an address lies in, 0 if none does.
std::uintptr_t FindFunction(CMemoryProbe& probe, std::uintptr_t uAddress);

/// Appends an address in the form of backtrace_symbols(3), with the name that the code at uInside
/// has: a call that is the last of its function returns to an address beyond it. False, and nothing
/// appended, if there is no room. Allocates nothing.
bool AppendSymbol(CMemoryProbe& probe, CFixedText& text, std::uintptr_t uAddress,
                  std::uintptr_t uInside);

} // namespace mu

#endif
