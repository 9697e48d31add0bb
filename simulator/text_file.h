#ifndef ZOR_SIMULATOR_TEXT_FILE_H
#define ZOR_SIMULATOR_TEXT_FILE_H

#include <string>

/// Reads a file, or a pipe, to its end; a byte-order mark of UTF-8 is left out. Returns what stands
/// in the way, empty on success.
std::string ReadTextFile(const std::string& strPath, std::string& strText);

#endif
