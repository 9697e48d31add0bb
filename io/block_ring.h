#ifndef ZOR_IO_BLOCK_RING_H
#define ZOR_IO_BLOCK_RING_H

#include <algorithm>

namespace mu
{

/// Which bytes of a ring are unread and which are free, as offsets. It touches no memory and has no
/// lock: CSafeStreamBuffer adds both.
///
/// Blocks never wrap. A block that does not fit before the end is placed at the start; the data end
/// then marks where the skip began, and the reader goes on at the start when it gets there.
///
///     read < write     [free][unread][free]            no wrap, data end = write
///     read > write     [unread][free][unread][skipped] wrapped, skipped from the data end
///     read == write    full (wrapped with nothing free) or empty, as HasData() tells
class CBlockRing
{
public:
    static constexpr int kNone = -1;

    /// Empties the ring; the totals go on.
    void Clear();
    void SetSize(int iSize);
    void ClearTotals();

    int GetSize() const { return m_iSize; }
    int GetDataEnd() const { return m_iDataEnd; }
    // By reference, so that traced functions can point at them.
    const int& GetReadOffset() const { return m_iReadOffset; }
    const int& GetWriteOffset() const { return m_iWriteOffset; }
    const bool& HasData() const { return m_bDataIsAvailable; }
    unsigned long long GetTotalWritten() const { return m_ullTotalWritten; }
    unsigned long long GetTotalRead() const { return m_ullTotalRead; }

    int GetUnreadSize() const;
    int GetFreeSize() const;
    /// Free bytes in one piece from the write offset on.
    int GetFreeSizeAtWriteOffset() const;
    /// The largest size that Allocate() grants.
    int GetLargestFreeBlockSize() const;

    /// The offset of a free block, kNone when there is none of that size. It stays free until the
    /// next call.
    int Allocate(int iSize);
    /// The first iCommittedSize bytes of the block at iOffset become unread. False changes nothing,
    /// here and below.
    bool CommitWritten(int iOffset, int iCommittedSize, int iAllocatedSize);
    /// The same for bytes that go on at the start where the memory ends.
    bool CommitWrittenOverEnd(int iOffset, int iSize);

    /// The offset and size of the first unread bytes in one piece. For a ring with data.
    int GetBlockToRead(int& iSize);
    bool CommitRead(int iOffset, int iSize);
    /// The same for bytes that go on at the start where the data ends.
    bool CommitReadOverEnd(int iOffset, int iSize);
    /// The same from wherever the unread bytes start.
    bool Skip(int iSize);

private:
    /// The free bytes lie between the write offset and the read offset; none if the two are equal.
    bool IsWrapped() const
    {
        return m_iReadOffset > m_iWriteOffset ||
               (m_iReadOffset == m_iWriteOffset && m_bDataIsAvailable);
    }
    void WrapReader();

    int m_iSize = 0;
    int m_iDataEnd = 0;
    int m_iPreviousDataEnd = 0; // before the last wrap, for whoever reads a memory dump
    int m_iReadOffset = 0;
    int m_iWriteOffset = 0; // below the size, except in a ring of none
    bool m_bDataIsAvailable = false;
    unsigned long long m_ullTotalWritten = 0;
    unsigned long long m_ullTotalRead = 0;
};

// Inline: what every block passes.

inline int CBlockRing::GetFreeSizeAtWriteOffset() const
{
    return (IsWrapped() ? m_iReadOffset : m_iSize) - m_iWriteOffset;
}

inline int CBlockRing::Allocate(int iSize)
{
    if (iSize <= 0 || iSize > m_iSize)
    {
        return kNone;
    }
    if (iSize <= GetFreeSizeAtWriteOffset())
    {
        return m_iWriteOffset;
    }
    if (!IsWrapped() && iSize <= m_iReadOffset)
    {
        return 0;
    }
    if (m_bDataIsAvailable)
    {
        return kNone;
    }
    // The ring is empty, but its offsets leave room enough on neither side of them.
    m_iPreviousDataEnd = m_iDataEnd;
    m_iReadOffset = 0;
    m_iDataEnd = 0;
    m_iWriteOffset = 0;
    return 0;
}

inline bool CBlockRing::CommitWritten(int iOffset, int iCommittedSize, int iAllocatedSize)
{
    if (iCommittedSize <= 0 || iCommittedSize > iAllocatedSize || iAllocatedSize > m_iSize)
    {
        return false;
    }
    if (iAllocatedSize <= GetFreeSizeAtWriteOffset())
    {
        if (iOffset != m_iWriteOffset)
        {
            return false;
        }
        m_iWriteOffset += iCommittedSize;
        m_iDataEnd = std::max(m_iDataEnd, m_iWriteOffset);
        if (m_iWriteOffset == m_iSize)
        {
            m_iWriteOffset = 0;
        }
    }
    else
    {
        if (IsWrapped() || iOffset != 0 || iAllocatedSize > m_iReadOffset)
        {
            return false;
        }
        m_iPreviousDataEnd = m_iDataEnd;
        m_iDataEnd = m_iWriteOffset;
        m_iWriteOffset = iCommittedSize;
    }
    m_bDataIsAvailable = true;
    m_ullTotalWritten += static_cast<unsigned int>(iCommittedSize);
    return true;
}

inline void CBlockRing::WrapReader()
{
    m_iPreviousDataEnd = m_iDataEnd;
    m_iReadOffset = 0;
    m_iDataEnd = m_iWriteOffset;
}

inline int CBlockRing::GetBlockToRead(int& iSize)
{
    if (m_iReadOffset == m_iDataEnd && m_iReadOffset >= m_iWriteOffset)
    {
        WrapReader();
    }
    const int iEnd = IsWrapped() ? m_iDataEnd : m_iWriteOffset;
    iSize = iEnd - m_iReadOffset;
    return m_iReadOffset;
}

inline bool CBlockRing::CommitRead(int iOffset, int iSize)
{
    const int iEnd = IsWrapped() ? m_iDataEnd : m_iWriteOffset;
    if (!m_bDataIsAvailable || iOffset != m_iReadOffset || iSize <= 0 ||
        iSize > iEnd - m_iReadOffset)
    {
        return false;
    }
    const bool bWraps = IsWrapped() && iSize == m_iDataEnd - m_iReadOffset;
    m_iReadOffset += iSize;
    if (bWraps)
    {
        WrapReader();
    }
    m_bDataIsAvailable = m_iReadOffset != m_iWriteOffset;
    m_ullTotalRead += static_cast<unsigned int>(iSize);
    return true;
}

} // namespace mu

#endif
