#ifndef ZOR_CONSOLE_DIAGNOSTIC_LIST_H
#define ZOR_CONSOLE_DIAGNOSTIC_LIST_H

#include <string>
#include <vector>

class CEasyXML;

enum class EDiagnosticNames
{
    Read,
    NoParameters,
    NoConfiguration,
    NoTypes,
};

/// Reads from the device parameters the names of the diagnostics that the device offers; their
/// order is that of the indices in requests.
EDiagnosticNames ReadDiagnosticNames(const CEasyXML& exmlParams,
                                     std::vector<std::wstring>& vecNames);

/// Prints the names in g_exmlParams, numbered from 1, or why there are none.
void ListDiagnosticInformation();

#endif
