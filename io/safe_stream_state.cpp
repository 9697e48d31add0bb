// What a CSafeStreamBuffer tells of its state.

#include "io/safe_stream_buffer.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>

#include "diagnostics/function_state.h"
#include "threading/wait_time.h"

bool CSafeStreamBuffer::IsStreaming() const
{
    const CMutexProtection mpState(m_mutex, mu::kInfinite);
    return m_bEnabled;
}

bool CSafeStreamBuffer::IsPointerInBuffer(const void* p) const
{
    const CMutexProtection mpState(m_mutex, mu::kInfinite);
    return OffsetOf(p) != mu::CBlockRing::kNone;
}

int CSafeStreamBuffer::GetAvailableSizeToWrite() const
{
    const CMutexProtection mpState(m_mutex, mu::kInfinite);
    return m_ring.GetFreeSize();
}

int CSafeStreamBuffer::GetLargestAvailableBlockSizeToWrite() const
{
    CFunctionSwitch fsGet("SSB::ABGS");

    const CMutexProtection mpState(m_mutex, mu::kInfinite);
    return m_ring.GetLargestFreeBlockSize();
}

int CSafeStreamBuffer::GetReadQueueLength() const
{
    const CMutexProtection mpState(m_mutex, mu::kInfinite);
    return m_ring.GetUnreadSize();
}

unsigned long long CSafeStreamBuffer::GetTotalWritten() const
{
    const CMutexProtection mpState(m_mutex, mu::kInfinite);
    return m_ring.GetTotalWritten();
}

unsigned long long CSafeStreamBuffer::GetTotalRead() const
{
    const CMutexProtection mpState(m_mutex, mu::kInfinite);
    return m_ring.GetTotalRead();
}

const void* CSafeStreamBuffer::GetBlockInCrash(unsigned long long& ullByte, int& iSize) const
{
    mu::CBlockRing ring = m_snapshot.Get();
    ullByte = std::max(ullByte, ring.GetTotalRead());
    const unsigned long long ullSkipped = ullByte - ring.GetTotalRead();
    if (ullSkipped >= static_cast<unsigned>(ring.GetUnreadSize()))
    {
        return nullptr;
    }
    ring.Skip(static_cast<int>(ullSkipped));
    return At(ring.GetBlockToRead(iSize));
}

int CSafeStreamBuffer::PrintState(char* szBuffer, int iBufferSize, const char* szName) const
{
    if (szBuffer == nullptr || iBufferSize <= 0)
    {
        return 0;
    }
    const CMutexProtection mpState(m_mutex, mu::kInfinite);
    const char* const szMode = !m_bEnabled ? "Disabled" : m_bFrozen ? "Frozen" : "Enabled";
    const int iLength = std::snprintf(szBuffer, static_cast<std::size_t>(iBufferSize),
                                      "%s: %s Size=%d Used=%d HasData=%d WrtPtr=%d RdPtr=%d\r\n",
                                      szName != nullptr ? szName : "", szMode, m_ring.GetSize(),
                                      m_ring.GetDataEnd(), m_ring.HasData() ? 1 : 0,
                                      m_ring.GetWriteOffset(), m_ring.GetReadOffset());
    return std::clamp(iLength, 0, iBufferSize - 1);
}
