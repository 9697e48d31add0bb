#ifndef ZOR_MU_WRITE_ALL_H
#define ZOR_MU_WRITE_ALL_H

#include <cstddef>

namespace mu
{

/// Writes bytes to a descriptor; goes on after short writes, and after a signal (EINTR) unless
/// that happens a hundred times in a row. Returns the bytes written; if they are not all, errno
/// tells why. Makes nothing but system calls, so signal handlers may call it, too.
std::size_t WriteAll(int iDescriptor, const char* pBytes, std::size_t uSize);

} // namespace mu

#endif
