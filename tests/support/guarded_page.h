#ifndef ZOR_TESTS_SUPPORT_GUARDED_PAGE_H
#define ZOR_TESTS_SUPPORT_GUARDED_PAGE_H

#include <cstddef>
#include <cstring>

#include <sys/mman.h>
#include <unistd.h>

/// A page that can be used, with one behind it that cannot even be read.
class CGuardedPage
{
public:
    CGuardedPage()
        : m_uPage(static_cast<std::size_t>(::sysconf(_SC_PAGESIZE))),
          m_pMemory(static_cast<char*>(::mmap(nullptr, 2 * m_uPage, PROT_READ | PROT_WRITE,
                                              MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)))
    {
        ::mprotect(End(), m_uPage, PROT_NONE);
    }
    ~CGuardedPage() { ::munmap(m_pMemory, 2 * m_uPage); }

    CGuardedPage(CGuardedPage&&) = delete; // nor copied

    /// The first byte that cannot be read.
    char* End() const { return m_pMemory + m_uPage; }
    /// Copies an object so that it ends there.
    template <typename T>
    T* PutAtEnd(const T& object) const
    {
        return static_cast<T*>(std::memcpy(End() - sizeof object, &object, sizeof object));
    }

private:
    const std::size_t m_uPage;
    char* const m_pMemory;
};

#endif
