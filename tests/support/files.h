#ifndef ZOR_TESTS_SUPPORT_FILES_H
#define ZOR_TESTS_SUPPORT_FILES_H

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include <poll.h>
#include <unistd.h>

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

/// Reads until uLength bytes or svMark are there, the end, or nothing for long; emulated machines
/// are slow.
inline std::string ReadFrom(int iDescriptor, std::size_t uLength = std::string::npos,
                            std::string_view svMark = {}, int iMilliseconds = 30000)
{
    std::string strRead;
    char szBytes[4096];
    pollfd polled{iDescriptor, POLLIN, 0};
    for (ssize_t i = 1; i > 0 && strRead.size() < uLength &&
                        (svMark.empty() || strRead.find(svMark) == std::string::npos) &&
                        ::poll(&polled, 1, iMilliseconds) > 0;)
    {
        i = ::read(iDescriptor, szBytes, std::min(sizeof(szBytes), uLength - strRead.size()));
        strRead.append(szBytes, static_cast<std::size_t>(std::max<ssize_t>(i, 0)));
    }
    return strRead;
}

#endif
