#include "io/block_ring.h"

#include <algorithm>

namespace mu
{

void CBlockRing::Clear()
{
    m_iDataEnd = 0;
    m_iPreviousDataEnd = 0;
    m_iReadOffset = 0;
    m_iWriteOffset = 0;
    m_bDataIsAvailable = false;
}

void CBlockRing::SetSize(int iSize)
{
    Clear();
    m_iSize = iSize;
}

void CBlockRing::ClearTotals()
{
    m_ullTotalWritten = 0;
    m_ullTotalRead = 0;
}

int CBlockRing::GetUnreadSize() const
{
    return IsWrapped() ? m_iDataEnd - m_iReadOffset + m_iWriteOffset
                       : m_iWriteOffset - m_iReadOffset;
}

int CBlockRing::GetFreeSize() const
{
    return GetFreeSizeAtWriteOffset() + (IsWrapped() ? 0 : m_iReadOffset);
}

int CBlockRing::GetLargestFreeBlockSize() const
{
    if (!m_bDataIsAvailable)
    {
        return m_iSize;
    }
    return std::max(GetFreeSizeAtWriteOffset(), IsWrapped() ? 0 : m_iReadOffset);
}

bool CBlockRing::CommitWrittenOverEnd(int iOffset, int iSize)
{
    const int iAhead = GetFreeSizeAtWriteOffset();
    if (iSize <= iAhead)
    {
        return CommitWritten(iOffset, iSize, iSize);
    }
    if (iOffset != m_iWriteOffset || iSize > GetFreeSize())
    {
        return false;
    }
    return CommitWritten(iOffset, iAhead, iAhead) &&
           CommitWritten(0, iSize - iAhead, iSize - iAhead);
}

bool CBlockRing::CommitReadOverEnd(int iOffset, int iSize)
{
    return iOffset == m_iReadOffset && Skip(iSize);
}

bool CBlockRing::Skip(int iSize)
{
    if (iSize <= 0 || iSize > GetUnreadSize())
    {
        return false;
    }
    int iBlockSize = 0;
    const int iOffset = GetBlockToRead(iBlockSize);
    const int iFirst = std::min(iSize, iBlockSize);
    return CommitRead(iOffset, iFirst) && (iFirst == iSize || CommitRead(0, iSize - iFirst));
}

} // namespace mu
