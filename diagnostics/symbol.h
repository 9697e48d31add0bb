#ifndef ZOR_DIAGNOSTICS_SYMBOL_H
#define ZOR_DIAGNOSTICS_SYMBOL_H

#include <cstdint>

#include "diagnostics/fixed_text.h"
#include "diagnostics/readable_memory.h"

namespace mu
{

/// Where the exported function begins that uAddress lies in, 0 if it lies in none.
std::uintptr_t FindFunction(CMemoryProbe& probe, std::uintptr_t uAddress);

/// Appends an address in the form of backtrace_symbols(3), with the name of the function that
/// uInside lies in: if a call is the last instruction of its function, its return address lies in
/// the next one. False, and nothing appended, if there is no room. Allocates nothing.
bool AppendSymbol(CMemoryProbe& probe, CFixedText& text, std::uintptr_t uAddress,
                  std::uintptr_t uInside);

} // namespace mu

#endif
