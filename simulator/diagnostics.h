#ifndef ZOR_SIMULATOR_DIAGNOSTICS_H
#define ZOR_SIMULATOR_DIAGNOSTICS_H

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

/// What the recorder tells of one diagnostic after running for a while, or that it does not have
/// that one. vNames: the diagnostics that the device parameters declare, in UTF-8.
std::string DiagnosticText(const std::vector<std::string>& vNames, std::uint32_t dwIndex,
                           std::chrono::milliseconds uptime);

/// "00:01:30.250"
std::string FormatUptime(std::chrono::milliseconds uptime);

#endif
