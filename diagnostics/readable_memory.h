#ifndef ZOR_DIAGNOSTICS_READABLE_MEMORY_H
#define ZOR_DIAGNOSTICS_READABLE_MEMORY_H

#include <csignal>
#include <cstddef>

#include "diagnostics/function_state.h"

namespace mu
{

/// Reads memory that may not be there, for its own lifetime: a read that faults ends early instead
/// of ending the process. While there is any probe, segmentation and bus errors go through one
/// dispatcher, which comes back to the thread whose read faulted and hands every other signal on to
/// the handler that stood before.
///
/// Nothing is allocated. Probes nest and run on any number of threads at once, also in a signal
/// handler, for one of the two signals too. A probe belongs to the thread that made it.
class CMemoryProbe
{
public:
    CMemoryProbe();
    ~CMemoryProbe();

    CMemoryProbe(const CMemoryProbe&) = delete;
    CMemoryProbe& operator=(const CMemoryProbe&) = delete;

    /// Copies up to the first byte that cannot be read and returns how many bytes that were.
    /// Memory that other threads write or free meanwhile is as good as any: aligned pointers are
    /// copied whole, and the caller uses the copy alone.
    std::size_t CopySome(void* pTarget, const void* pSource, std::size_t uSize);
    /// Whether a whole object could be copied; what it holds is undefined if not.
    template <typename T>
    bool Copy(T& target, const void* pSource)
    {
        return CopySome(&target, pSource, sizeof(target)) == sizeof(target);
    }
    bool IsReadable(const void* pMemory, std::size_t uSize);

    /// Calls something that reads such memory itself and holds nothing while it does. False if a
    /// fault ended it.
    bool Call(void (*pFunction)(void*), void* pArgument);

private:
    CTemporaryThreadStorage m_storage;
    sigset_t m_maskBefore; // the two signals are unblocked meanwhile
};

} // namespace mu

/// Whether each byte of the range can be read at this moment. No byte always can.
bool IsReadableMemory(const void* pMemory, unsigned int uSize);

/// Goes back to the calling thread's running read, which then ends; returns if none runs.
void MemoryTestSignalHandler(int iSignal);

#endif
