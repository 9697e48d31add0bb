#ifndef ZOR_SIMULATOR_VALUES_NOT_UNDERSTOOD_H
#define ZOR_SIMULATOR_VALUES_NOT_UNDERSTOOD_H

#include <string>
#include <vector>

#include "xml/element_tree.h"

/// Compares an element with what records made of it: "used" is the same element as the records that
/// read it write it. Adds a line for each value that was not taken as it stands in "read", such as
/// "zor:A/zor:B: 'x1' is not understood, 0 is used" (UTF-8, fit for a terminal). Another way to
/// write the same number ("007") or bool ("yes") is the same value. What "used" does not have is
/// not looked at.
void ListValuesNotUnderstood(const CVariablesSubTree& read, const CVariablesSubTree& used,
                             std::vector<std::string>& vLines);

#endif
