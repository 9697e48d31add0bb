#ifndef ZOR_SIMULATOR_PROCESS_DIAGNOSTICS_H
#define ZOR_SIMULATOR_PROCESS_DIAGNOSTICS_H

#include <string>

// What the recorder tells of its own process.

/// The active functions of every thread.
std::string ThreadsText();

/// Memory in use, from the kernel and from the allocator.
std::string MemoryText();

#endif
