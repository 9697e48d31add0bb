#include "io/safe_stream_buffer.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <utility>

#include "diagnostics/function_state.h"
#include "threading/wait_time.h"

namespace
{

/// The bytes from start to end; negative when the end lies before the start, INT_MAX when they are
/// more than an int can count.
int SizeBetween(const void* pStart, const void* pEnd)
{
    const auto iSize = static_cast<std::ptrdiff_t>(reinterpret_cast<std::uintptr_t>(pEnd) -
                                                   reinterpret_cast<std::uintptr_t>(pStart));
    return static_cast<int>(std::clamp<std::ptrdiff_t>(iSize, -1, std::numeric_limits<int>::max()));
}

} // namespace

// A buffer whose lock or events could not be made never gets memory: it could not guard or deliver
// what it takes.

CSafeStreamBuffer::CSafeStreamBuffer()
{
    Thaw();
}

CSafeStreamBuffer::~CSafeStreamBuffer() = default;

int CSafeStreamBuffer::OffsetOf(const void* pBlock) const
{
    const auto uOffset =
        reinterpret_cast<std::uintptr_t>(pBlock) - reinterpret_cast<std::uintptr_t>(m_pMemory);
    return uOffset < static_cast<std::uintptr_t>(m_ring.GetSize()) ? static_cast<int>(uOffset)
                                                                   : mu::CBlockRing::kNone;
}

bool CSafeStreamBuffer::CanWrite() const
{
    const bool bReaderInStoppedBlock = m_pReadBlockHeld != nullptr && m_bReadBlockInvalid;
    return m_bEnabled && !m_bFrozen && !bReaderInStoppedBlock;
}

bool CSafeStreamBuffer::IsMemoryInUse() const
{
    return m_ring.HasData() || m_pReadBlockHeld != nullptr || m_iWriteBlockHeld != 0;
}

bool CSafeStreamBuffer::IsReadable() const
{
    return m_bEndOfStream || (m_ring.HasData() && !m_bFrozen);
}

// The event is signalled as soon as it has to be. It is reset only when somebody is about to wait:
// data that come and go while the reader is awake cost neither a signal nor a reset.
void CSafeStreamBuffer::SignalIfReadable()
{
    if (!m_bSignalled && IsReadable())
    {
        m_bSignalled = true;
        m_weData.Signal();
    }
}

void CSafeStreamBuffer::ResetIfUnreadable()
{
    if (m_bSignalled && !IsReadable())
    {
        m_bSignalled = false;
        m_weData.Reset();
    }
}

void* CSafeStreamBuffer::HandOutWriteBlock(int iOffset, int iSize)
{
    if (iOffset == mu::CBlockRing::kNone)
    {
        return nullptr;
    }
    m_bWriteBlockInvalid = false;
    m_iWriteBlockHeld = iSize;
    return At(iOffset);
}

void* CSafeStreamBuffer::HandOutReadBlock(int& iSize)
{
    m_bReadBlockInvalid = false;
    void* const pBlock = At(m_ring.GetBlockToRead(iSize));
    m_pReadBlockHeld = pBlock;
    return pBlock;
}

void* CSafeStreamBuffer::AllocateBlock(int iSize)
{
    CFunctionSwitch fsAllocate("SSB::AlcBlk");
    mu::CFunctionParam fpSize(fsAllocate, "iSize", iSize);

    const CMutexProtection mpState(m_mutex, mu::kInfinite);
    return CanWrite() ? HandOutWriteBlock(m_ring.Allocate(iSize), iSize) : nullptr;
}

void* CSafeStreamBuffer::AllocateBlockResizeIfNeeded(int iSize)
{
    CFunctionSwitch fsAllocate("SSB::ABRIN");
    mu::CFunctionParam fpSize(fsAllocate, "iSize", iSize);

    if (NeedsToGrow(iSize))
    {
        SetBufferSize(iSize);
    }
    return AllocateBlock(iSize);
}

bool CSafeStreamBuffer::NeedsToGrow(int iSize) const
{
    const CMutexProtection mpState(m_mutex, mu::kInfinite);
    const bool bExternal = m_pMemory != nullptr && m_pInternal == nullptr;
    return iSize > m_ring.GetSize() && !bExternal && !IsMemoryInUse() && CanWrite();
}

template <typename TCommit>
bool CSafeStreamBuffer::GiveWriteBlockBack(const void* pBlock, int iSize, TCommit commit)
{
    const CMutexProtection mpState(m_mutex, mu::kInfinite);
    m_iWriteBlockHeld = 0;
    if (iSize == 0)
    {
        return true;
    }
    if (!m_bEnabled || m_bFrozen || m_bWriteBlockInvalid || !commit(m_ring, OffsetOf(pBlock)))
    {
        return false;
    }
    m_snapshot.Take(m_ring);
    SignalIfReadable();
    return true;
}

bool CSafeStreamBuffer::CommitWrittenBlock(void* pBlock, int iCommittedSize, int iAllocatedSize)
{
    CFunctionSwitch fsCommit("SSB::CWB");
    mu::CFunctionParam fpCommittedSize(fsCommit, "iCommittedSize", iCommittedSize);
    mu::CFunctionParam fpAllocatedSize(fsCommit, "iAllocatedSize", iAllocatedSize);

    return GiveWriteBlockBack(
        pBlock, iCommittedSize,
        [&](mu::CBlockRing& ring, int iOffset)
        { return ring.CommitWritten(iOffset, iCommittedSize, iAllocatedSize); });
}

bool CSafeStreamBuffer::CommitWrittenBlockBufferOverflow(void* pBlock, int iSize)
{
    return GiveWriteBlockBack(pBlock, iSize,
                              [&](mu::CBlockRing& ring, int iOffset)
                              { return ring.CommitWrittenOverEnd(iOffset, iSize); });
}

bool CSafeStreamBuffer::CommitWrittenBlockByEndPtr(void* pBlock, const void* pEnd,
                                                   int iAllocatedSize)
{
    return CommitWrittenBlock(pBlock, SizeBetween(pBlock, pEnd), iAllocatedSize);
}

void CSafeStreamBuffer::SetEndOfStream()
{
    const CMutexProtection mpState(m_mutex, mu::kInfinite);
    m_bEndOfStream = true;
    SignalIfReadable();
}

void* CSafeStreamBuffer::GetBlockToRead(int& iSize)
{
    CFunctionSwitch fsGet("SSB::GBTR");
    mu::CFunctionParam fpDataIsAvailable(fsGet, "m_bDataIsAvailable", GetTracedRing().HasData());

    iSize = 0;
    for (;;)
    {
        CMutexProtection mpState(m_mutex, mu::kInfinite);
        m_pReadBlockHeld = nullptr;
        if (!m_bEnabled)
        {
            return nullptr;
        }
        m_bReadBlockInvalid = false; // also if there is no block in the end
        if (m_ring.HasData() && !m_bFrozen)
        {
            return HandOutReadBlock(iSize);
        }
        if (m_bEndOfStream)
        {
            return nullptr;
        }
        ResetIfUnreadable();
        mpState.Unlock();
        if (!m_weData.Wait(mu::kInfinite)) // only an event that could not be made
        {
            return nullptr;
        }
    }
}

void* CSafeStreamBuffer::PollBlockToRead(int& iSize)
{
    CFunctionSwitch fsPoll("SSB::PBTR");

    const CMutexProtection mpState(m_mutex, mu::kInfinite);
    iSize = 0;
    m_pReadBlockHeld = nullptr;
    return m_bEnabled && !m_bFrozen && m_ring.HasData() ? HandOutReadBlock(iSize) : nullptr;
}

template <typename TCommit>
bool CSafeStreamBuffer::GiveReadBlockBack(int iSize, TCommit commit)
{
    m_pReadBlockHeld = nullptr;
    const bool bDone = iSize == 0 || (m_bEnabled && !m_bFrozen && commit(m_ring));
    m_snapshot.Take(m_ring);
    return bDone;
}

bool CSafeStreamBuffer::CommitReadLocked(void* pBlock, int iSize)
{
    const bool bValid = !m_bReadBlockInvalid;
    const int iOffset = OffsetOf(pBlock);
    return GiveReadBlockBack(iSize, [=](mu::CBlockRing& ring)
                             { return bValid && ring.CommitRead(iOffset, iSize); });
}

bool CSafeStreamBuffer::CommitReadBlock(void* pBlock, int iSize)
{
    const CMutexProtection mpState(m_mutex, mu::kInfinite);
    return CommitReadLocked(pBlock, iSize);
}

bool CSafeStreamBuffer::CommitReadBlockByEndPtr(void* pBlock, const void* pEnd)
{
    return CommitReadBlock(pBlock, SizeBetween(pBlock, pEnd));
}

bool CSafeStreamBuffer::CommitReadBlockBufferOverflow(void* pBlock, int iSize)
{
    const CMutexProtection mpState(m_mutex, mu::kInfinite);
    const bool bValid = !m_bReadBlockInvalid;
    const int iOffset = OffsetOf(pBlock);
    return GiveReadBlockBack(iSize, [=](mu::CBlockRing& ring)
                             { return bValid && ring.CommitReadOverEnd(iOffset, iSize); });
}

bool CSafeStreamBuffer::SetReadRelativePosition(int iOffset)
{
    const CMutexProtection mpState(m_mutex, mu::kInfinite);
    return GiveReadBlockBack(iOffset, [=](mu::CBlockRing& ring) { return ring.Skip(iOffset); });
}

bool CSafeStreamBuffer::WaitForData(unsigned int dwMilliseconds)
{
    CMutexProtection mpState(m_mutex, mu::kInfinite);
    if (m_ring.HasData())
    {
        return true;
    }
    ResetIfUnreadable();
    mpState.Unlock();
    return m_weData.Wait(dwMilliseconds);
}

bool CSafeStreamBuffer::HandleTransportDone(void* pBlock, int iSize)
{
    const int iMoved = std::max(iSize, 0);
    bool bReaders = false;
    int iAllocatedSize = 0;
    {
        const CMutexProtection mpState(m_mutex, mu::kInfinite);
        bReaders = pBlock != nullptr && pBlock == m_pReadBlockHeld;
        iAllocatedSize = m_iWriteBlockHeld;
    }
    return bReaders ? CommitReadBlock(pBlock, iMoved)
                    : CommitWrittenBlock(pBlock, iMoved, iAllocatedSize);
}

void CSafeStreamBuffer::Thaw()
{
    m_bFrozen = false;
    m_weThawed.Signal();
}

void CSafeStreamBuffer::Freeze()
{
    const CMutexProtection mpState(m_mutex, mu::kInfinite);
    m_bFrozen = true;
    m_weThawed.Reset();
}

void CSafeStreamBuffer::UnFreeze()
{
    const CMutexProtection mpState(m_mutex, mu::kInfinite);
    Thaw();
    SignalIfReadable();
}

void CSafeStreamBuffer::StartOver(bool bEndOfStream)
{
    m_ring.Clear();
    m_snapshot.Take(m_ring);
    m_bEndOfStream = bEndOfStream;
    m_bEnabled = true;
    m_bReadBlockInvalid = true;
    m_bWriteBlockInvalid = true;
    Thaw();
    SignalIfReadable();
}

void CSafeStreamBuffer::FullStop()
{
    const CMutexProtection mpState(m_mutex, mu::kInfinite);
    StartOver(true);
}

void CSafeStreamBuffer::Reset()
{
    const CMutexProtection mpState(m_mutex, mu::kInfinite);
    m_ring.ClearTotals();
    m_pReadBlockHeld = nullptr;
    m_iWriteBlockHeld = 0;
    StartOver(false);
}

bool CSafeStreamBuffer::ReplaceMemory(std::unique_ptr<char[]> pInternal, char* pMemory, int iSize)
{
    if (!m_mutex.IsValid() || !m_weData.IsValid() || !m_weThawed.IsValid() || IsMemoryInUse())
    {
        return false;
    }
    m_pInternal = std::move(pInternal);
    m_pMemory = pMemory;
    m_ring.SetSize(iSize);
    m_snapshot.Take(m_ring);
    m_bEnabled = iSize > 0;
    m_bReadBlockInvalid = true;
    m_bWriteBlockInvalid = true;
    return true;
}

bool CSafeStreamBuffer::SetBufferSize(int iSize)
{
    std::unique_ptr<char[]> pInternal;
    if (iSize > 0)
    {
        pInternal.reset(new (std::nothrow) char[static_cast<std::size_t>(iSize)]);
    }
    if (iSize < 0 || (iSize > 0 && pInternal == nullptr))
    {
        return false;
    }
    char* const pMemory = pInternal.get();
    const CMutexProtection mpState(m_mutex, mu::kInfinite);
    return ReplaceMemory(std::move(pInternal), pMemory, iSize);
}

bool CSafeStreamBuffer::SetExternalBuffer(void* pBuffer, int iSize)
{
    if (iSize < 0)
    {
        return false;
    }
    const CMutexProtection mpState(m_mutex, mu::kInfinite);
    return ReplaceMemory(nullptr, static_cast<char*>(pBuffer), pBuffer != nullptr ? iSize : 0);
}

bool CSafeStreamBuffer::FreeInternalBuffer()
{
    const CMutexProtection mpState(m_mutex, mu::kInfinite);
    return m_pInternal == nullptr || ReplaceMemory(nullptr, nullptr, 0);
}
