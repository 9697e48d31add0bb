#ifndef ZOR_SIMULATOR_CRASH_KINDS_H
#define ZOR_SIMULATOR_CRASH_KINDS_H

#include <optional>
#include <string_view>

/// A way to crash, for maintainers who want to see a crash report.
enum class ECrashKind
{
    Abort,
    Fpe,
    Ill,
    Segv,
    Bus,
    Stack, ///< runs out of it
    Heap,  ///< the allocator finds it damaged
    Error, ///< FatalProgramError()
    State, ///< FatalProgramState()
};

std::optional<ECrashKind> CrashKindByName(std::string_view svName);

[[noreturn]] void Crash(ECrashKind eKind);

#endif
