#ifndef ZOR_SIMULATOR_ARGUMENTS_H
#define ZOR_SIMULATOR_ARGUMENTS_H

#include <optional>
#include <string>
#include <vector>

#include "simulator/faults.h"

constexpr int kExitBadArguments = 2;

struct SArguments
{
    std::string m_strParamsPath; ///< empty: the built-in document
    std::vector<EFault> m_vecFaults;
    bool m_bVerbose = false;
};

/// Reads the command line. Gives the exit code if the program is to end here: help and version are
/// printed on standard output, complaints on standard error.
std::optional<int> ParseArguments(int argc, char* argv[], SArguments& arguments);

#endif
