#ifndef ZOR_SIMULATOR_ARGUMENTS_H
#define ZOR_SIMULATOR_ARGUMENTS_H

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "simulator/crash_kinds.h"
#include "simulator/faults.h"
#include "simulator/http_address.h"

constexpr int kExitBadArguments = 2;

struct SArguments
{
    std::string m_strParamsPath; ///< empty: the built-in document
    std::string m_strConfigPath; ///< empty: nothing is kept
    std::string m_strRoot;       ///< of recordings; empty: as the configuration says
    std::vector<EFault> m_vFaults;
    std::optional<SHttpAddress> m_http;    ///< of the live page; none: there is none
    std::optional<ECrashKind> m_eCrash;    ///< at the first diagnostic that is asked for
    std::chrono::milliseconds m_reload{0}; ///< how often parameters come unasked; 0: never
    bool m_bVerbose = false;
};

/// Reads the command line. Gives the exit code if the program is to end here: help and version are
/// printed on standard output, complaints on standard error.
std::optional<int> ParseArguments(int argc, char* argv[], SArguments& arguments);

#endif
