#ifndef ZOR_CONSOLE_DIAGNOSTIC_NAMES_H
#define ZOR_CONSOLE_DIAGNOSTIC_NAMES_H

#include <string>
#include <vector>

class CEasyXML;

enum class EDiagnosticNames
{
    Read,
    NoParameters,
    NoConfiguration,
    NoTypes,
    NoNames,
};

/// Reads from the device parameters the names of the diagnostics that the device offers, in UTF-8;
/// their order is that of the indices in requests.
EDiagnosticNames ReadDiagnosticNames(const CEasyXML& exmlParams, std::vector<std::string>& vNames);

/// Tells the operator why there are no names, in a line without its end.
const char* ReasonForNoNames(EDiagnosticNames eNames);

#endif
