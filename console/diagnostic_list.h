#ifndef ZOR_CONSOLE_DIAGNOSTIC_LIST_H
#define ZOR_CONSOLE_DIAGNOSTIC_LIST_H

/// Prints the names of the diagnostics in g_exmlParams, numbered from 1, or why there are none.
void ListDiagnosticInformation();

#endif
