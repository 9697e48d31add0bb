#ifndef ZOR_FUZZ_SUPPORT_MEMORY_FILE_H
#define ZOR_FUZZ_SUPPORT_MEMORY_FILE_H

#include <cstddef>
#include <string>
#include <string_view>

#include <sys/mman.h>
#include <unistd.h>

#include "fuzz/support/law.h"

/// A file in memory, to which a path leads as long as the object lives.
class CMemoryFile
{
public:
    explicit CMemoryFile(std::string_view svBytes = {}) { Append(svBytes); }
    ~CMemoryFile() { ::close(m_iDescriptor); }

    CMemoryFile(const CMemoryFile&) = delete;
    CMemoryFile& operator=(const CMemoryFile&) = delete;

    int Descriptor() const { return m_iDescriptor; }
    std::string Path() const { return "/proc/self/fd/" + std::to_string(m_iDescriptor); }
    std::wstring WidePath() const
    {
        const std::string strPath = Path();
        return {strPath.begin(), strPath.end()};
    }

    /// At the position, which is the end unless somebody moved it.
    void Append(std::string_view svBytes) const
    {
        Law(::write(m_iDescriptor, svBytes.data(), svBytes.size()) ==
                static_cast<ssize_t>(svBytes.size()),
            "there is memory for a file");
    }
    std::string Contents() const
    {
        std::string strBytes(static_cast<std::size_t>(::lseek(m_iDescriptor, 0, SEEK_END)), '\0');
        const ssize_t iRead = ::pread(m_iDescriptor, strBytes.data(), strBytes.size(), 0);
        Law(iRead == static_cast<ssize_t>(strBytes.size()), "a file in memory can be read");
        return strBytes;
    }
    /// Empties it, too.
    std::string Take() const
    {
        std::string strBytes = Contents();
        Law(::ftruncate(m_iDescriptor, 0) == 0 && ::lseek(m_iDescriptor, 0, SEEK_SET) == 0,
            "a file in memory can be emptied");
        return strBytes;
    }

private:
    const int m_iDescriptor = ::memfd_create("fuzz", MFD_CLOEXEC);
};

#endif
