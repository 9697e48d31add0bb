// The operations of CSafeStreamBuffer that copy, built on those that hand out blocks.

#include "io/safe_stream_buffer.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "diagnostics/function_state.h"
#include "io/copy_stream_thread.h"
#include "threading/sleep.h"
#include "threading/wait_time.h"

namespace
{

constexpr int kOutputRetryMilliseconds = 1;

void CopyBytes(void* pTo, const void* pFrom, int iSize)
{
    std::memcpy(pTo, pFrom, static_cast<std::size_t>(iSize));
}

} // namespace

void* CSafeStreamBuffer::AllocateAtWriteOffset(int iMaxSize, int& iSize)
{
    const CMutexProtection mpState(m_mutex, mu::kInfinite);
    iSize = std::min(iMaxSize, m_ring.GetFreeSizeAtWriteOffset());
    return CanWrite() && !m_bEndOfStream ? HandOutWriteBlock(m_ring.Allocate(iSize), iSize)
                                         : nullptr;
}

bool CSafeStreamBuffer::TakesMore() const
{
    const CMutexProtection mpState(m_mutex, mu::kInfinite);
    return m_bEnabled && !m_bEndOfStream && m_ring.GetSize() > 0;
}

int CSafeStreamBuffer::Write(const void* pData, int iSize)
{
    CFunctionSwitch fsWrite("SSB::Wt");

    if (iSize < 0 || !TakesMore())
    {
        return -1;
    }
    int iWritten = 0;
    while (iWritten < iSize)
    {
        int iBlockSize = 0;
        void* const pBlock = AllocateAtWriteOffset(iSize - iWritten, iBlockSize);
        if (pBlock == nullptr)
        {
            break;
        }
        CopyBytes(pBlock, static_cast<const char*>(pData) + iWritten, iBlockSize);
        // Refused if the stream was frozen, stopped or emptied meanwhile: the next block, if there
        // is one, takes the same bytes.
        if (CommitWrittenBlock(pBlock, iBlockSize))
        {
            iWritten += iBlockSize;
        }
    }
    return iWritten;
}

int CSafeStreamBuffer::Read(void* pBuffer, int iMaxSize, int iMinSize)
{
    CFunctionSwitch fsRead("SSB::Rd");
    mu::CFunctionParam fpReadPtr(fsRead, "iReadPtr", GetTracedRing().GetReadOffset());
    mu::CFunctionParam fpWritePtr(fsRead, "iWritePtr", GetTracedRing().GetWriteOffset());

    if (iMaxSize < 0 || iMinSize > iMaxSize)
    {
        return -1;
    }
    int iRead = 0;
    while (iRead < iMaxSize)
    {
        int iBlockSize = 0;
        void* const pBlock =
            iRead < iMinSize ? GetBlockThroughFreeze(iBlockSize) : PollBlockToRead(iBlockSize);
        if (pBlock == nullptr)
        {
            break;
        }
        iBlockSize = std::min(iBlockSize, iMaxSize - iRead);
        CopyBytes(static_cast<char*>(pBuffer) + iRead, pBlock, iBlockSize);
        // The commit is refused if a freeze or a stop came between the two. After a freeze the
        // bytes are still unread, after a stop they are gone; either way they do not count here.
        if (CommitReadBlock(pBlock, iBlockSize))
        {
            iRead += iBlockSize;
        }
    }
    return iRead;
}

int CSafeStreamBuffer::Copy(void* pBuffer, int iMaxSize)
{
    if (iMaxSize <= 0)
    {
        return iMaxSize < 0 ? -1 : 0;
    }
    int iFirst = 0;
    int iSecond = 0;
    const void* pStart = nullptr;
    const void* pFirst = nullptr;
    {
        const CMutexProtection mpState(m_mutex, mu::kInfinite);
        m_pReadBlockHeld = nullptr;
        if (!m_bEnabled || m_bFrozen || !m_ring.HasData())
        {
            return 0;
        }
        pStart = m_pMemory;
        pFirst = HandOutReadBlock(iFirst);
        iSecond = m_ring.GetUnreadSize() - iFirst;
    }
    iFirst = std::min(iFirst, iMaxSize);
    iSecond = std::min(iSecond, iMaxSize - iFirst);
    CopyBytes(pBuffer, pFirst, iFirst);
    CopyBytes(static_cast<char*>(pBuffer) + iFirst, pStart, iSecond);
    CommitReadBlock(nullptr, 0);
    return iFirst + iSecond;
}

void* CSafeStreamBuffer::GetBlockThroughFreeze(int& iSize)
{
    for (;;)
    {
        void* const pBlock = GetBlockToRead(iSize);
        // No block although there are unread data: the stream is frozen and has ended.
        if (pBlock != nullptr || GetReadQueueLength() == 0 || !m_weThawed.Wait(mu::kInfinite))
        {
            return pBlock;
        }
    }
}

bool CSafeStreamBuffer::CommitReadThroughFreeze(void* pBlock, int iSize)
{
    for (;;)
    {
        CMutexProtection mpState(m_mutex, mu::kInfinite);
        // A stop ends the freeze and takes the block back.
        if (!m_bFrozen || iSize == 0)
        {
            return CommitReadLocked(pBlock, iSize);
        }
        mpState.Unlock();
        if (!m_weThawed.Wait(mu::kInfinite))
        {
            return false;
        }
    }
}

bool CSafeStreamBuffer::WriteTo(IStreamWriter* pswOutput)
{
    void* pBlock = nullptr;
    int iSize = 0;
    CFunctionSwitch fsWriteTo("SSB::WTo");
    mu::CFunctionParam fpOutput(fsWriteTo, "pswOutput", pswOutput);
    mu::CFunctionParam fpBlock(fsWriteTo, "pBlock", pBlock);
    mu::CFunctionParam fpSize(fsWriteTo, "iSize", iSize);

    if (pswOutput == nullptr || pswOutput == this)
    {
        return false;
    }
    const CStickyScope ssInput(*this);
    const CStickyScope ssOutput(*pswOutput);
    for (;;)
    {
        pBlock = GetBlockThroughFreeze(iSize);
        if (pBlock == nullptr)
        {
            pswOutput->SetEndOfStream();
            return true;
        }
        const int iTaken = std::min(pswOutput->Write(pBlock, iSize), iSize);
        // Committed even while frozen: the output must not get the same bytes again afterwards.
        CommitReadThroughFreeze(pBlock, std::max(iTaken, 0));
        if (iTaken < 0)
        {
            return false;
        }
        if (iTaken == 0)
        {
            mu::SleepMS(kOutputRetryMilliseconds);
        }
    }
}

bool CSafeStreamBuffer::StartCopyThread(IStreamWriter* pswOutput)
{
    return CCopyStreamThread::Start(this, pswOutput);
}
