#ifndef ZOR_DIAGNOSTICS_READABLE_MEMORY_H
#define ZOR_DIAGNOSTICS_READABLE_MEMORY_H

#include <csignal>
#include <cstddef>

#include "diagnostics/function_state.h"

namespace mu
{

/// Reads memory that may not be readable: a read that faults ends early instead of ending the
/// process. While any probe exists, SIGSEGV and SIGBUS go to a dispatcher. It ends the read that
/// faulted, and hands every other signal on to the handler that was installed before.
///
/// Nothing is allocated. Probes nest, and any number of threads may have some at once, also in a
/// signal handler, even in one for these two signals. Only the thread that made a probe uses it.
class CMemoryProbe
{
public:
    CMemoryProbe();
    ~CMemoryProbe();

    CMemoryProbe(const CMemoryProbe&) = delete;
    CMemoryProbe& operator=(const CMemoryProbe&) = delete;

    /// Copies up to the first byte that cannot be read, and returns the number of bytes copied.
    /// Other threads may write or free the memory meanwhile: aligned pointers are copied whole, and
    /// the caller uses the copy alone.
    std::size_t CopySome(void* pTarget, const void* pSource, std::size_t uSize);
    /// Copies an object. False if a part of it cannot be read; the target is undefined then.
    template <typename T>
    bool Copy(T& target, const void* pSource)
    {
        return CopySome(&target, pSource, sizeof(target)) == sizeof(target);
    }
    bool IsReadable(const void* pMemory, std::size_t uSize);

    /// Calls a function that reads such memory itself. A fault ends the function where it is, so it
    /// must hold no lock and own nothing while it reads. False if a fault ended it.
    bool Call(void (*pFunction)(void*), void* pArgument);

private:
    CTemporaryThreadStorage m_storage;
    sigset_t m_maskBefore; // the two signals are unblocked meanwhile
};

} // namespace mu

/// Whether each byte of the range can be read at this moment. True for an empty range.
bool IsReadableMemory(const void* pMemory, unsigned int uSize);

/// Ends the read that runs on the calling thread and does not return; returns if none runs.
void MemoryTestSignalHandler(int iSignal);

#endif
