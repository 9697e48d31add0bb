#ifndef ZOR_TESTS_SUPPORT_FILES_H
#define ZOR_TESTS_SUPPORT_FILES_H

#include <fstream>
#include <iterator>
#include <string>

/// Makes or replaces a file.
inline void WriteFile(const std::string& strPath, const std::string& strBytes)
{
    std::ofstream(strPath, std::ios::binary) << strBytes;
}

/// A file's bytes, "(none)" if it cannot be opened.
inline std::string ReadFile(const std::string& strPath)
{
    std::ifstream file(strPath, std::ios::binary);
    return file ? std::string(std::istreambuf_iterator<char>(file), {}) : "(none)";
}

#endif
