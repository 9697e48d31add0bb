#ifndef ZOR_IO_SAFE_STREAM_BUFFER_H
#define ZOR_IO_SAFE_STREAM_BUFFER_H

#include <memory>

#include "io/block_ring.h"
#include "io/ring_snapshot.h"
#include "io/stream_interfaces.h"
#include "threading/event.h"
#include "threading/mutex.h"

/// A ring of bytes between one writer thread and one reader thread, which both work in its memory,
/// block by block. To be made as AutoDeleteThreadObjectImpl<CSafeStreamBuffer>
/// (threading/auto_delete.h), without memory: every allocation is refused until SetBufferSize().
///
/// Threads: one writer and one reader at a time; several writers need a lock of their own around
/// allocation and commit. Control operations and questions may come from any thread. The buffer's
/// lock is never held while anyone waits or copies.
///
/// Blocks: a side has at most one block at a time. It gives it back with its next commit, whatever
/// the size and result, 0 for a block that it does not want. The reader gives it back too by asking
/// for another or by copying.
///
/// States:
/// - frozen: both sides are refused, except for commits of 0. A frozen stream that has ended looks
///   ended to GetBlockToRead(); Read() and WriteTo() wait for the rest.
/// - ended: the reader gets what is left, then null. The core writer's operations still work.
/// - stopped (FullStop): ended, and the unread data are gone. The writer is refused until the
///   reader has given back a block that it may still be reading.
/// - disabled: there was memory, and it was taken away. Everything is refused.
///
/// No operation allocates memory but SetBufferSize(), AllocateBlockResizeIfNeeded() and
/// StartCopyThread(). Sizes are bytes.
class CSafeStreamBuffer : public IStreamReader, public IStreamWriter
{
public:
    CSafeStreamBuffer(const CSafeStreamBuffer&) = delete;
    CSafeStreamBuffer& operator=(const CSafeStreamBuffer&) = delete;

    // The writer's side.

    /// Null also for a size of 0 or less or above the buffer's.
    /// GetLargestAvailableBlockSizeToWrite() tells what is granted now.
    void* AllocateBlock(int iSize) override;
    /// The same; a buffer that is too small becomes as large as the block. Only while there is
    /// neither data nor a block, and not in external memory.
    void* AllocateBlockResizeIfNeeded(int iSize);

    bool CommitWrittenBlock(void* pBlock, int iCommittedSize, int iAllocatedSize) override;
    /// The whole allocation.
    bool CommitWrittenBlock(void* pBlock, int iSize)
    {
        return CommitWrittenBlock(pBlock, iSize, iSize);
    }
    /// The bytes from pBlock to pEnd, which lies in the block or just behind it.
    bool CommitWrittenBlockByEndPtr(void* pBlock, const void* pEnd, int iAllocatedSize);
    /// For a writer that takes the memory as a circle: iSize bytes from pBlock on, those beyond the
    /// end of the memory at its start. pBlock is a block up to the end of the memory; iSize is at
    /// most what GetAvailableSizeToWrite() told before the first byte was written. All or nothing.
    bool CommitWrittenBlockBufferOverflow(void* pBlock, int iSize);

    /// Takes what fits, in up to two pieces: all that GetAvailableSizeToWrite() tells. Negative
    /// when the stream has ended, has no memory or iSize is negative. A freeze or stop meanwhile
    /// leaves a short count.
    int Write(const void* pData, int iSize) override;
    void SetEndOfStream() override;

    // The reader's side.

    void* GetBlockToRead(int& iSize) override;
    void* PollBlockToRead(int& iSize) override;

    bool CommitReadBlock(void* pBlock, int iSize) override;
    /// The bytes from pBlock to pEnd, which lies in the block or just behind it.
    bool CommitReadBlockByEndPtr(void* pBlock, const void* pEnd);
    /// Like CommitReadBlock(), but iSize may go beyond the block, to the data at the memory's
    /// start: at most GetReadQueueLength(). All or nothing.
    bool CommitReadBlockBufferOverflow(void* pBlock, int iSize);

    int Read(void* pBuffer, int iMaxSize, int iMinSize) override;
    /// Copies the first unread bytes, at most iMaxSize, without consuming them or waiting. Returns
    /// their number, 0 while frozen; negative for a negative size.
    int Copy(void* pBuffer, int iMaxSize);
    /// Skips so many unread bytes, at most GetReadQueueLength(). All or nothing. There is no way
    /// back: what was consumed may have been overwritten.
    bool SetReadRelativePosition(int iOffset);

    /// True at once if there is data, frozen or not.
    bool WaitForData(unsigned int dwMilliseconds) override;

    /// False also for this stream itself or null. An output that has no room now is asked again
    /// every millisecond. A freeze is waited out, FullStop() ends it. Holds references to both.
    bool WriteTo(IStreamWriter* pswOutput) override;
    /// WriteTo() on a thread of its own, which holds references to both. False if it did not start.
    bool StartCopyThread(IStreamWriter* pswOutput);

    // Either side.

    /// The reader's block if pBlock is it, else the writer's.
    bool HandleTransportDone(void* pBlock, int iSize) override;

    // Control.

    void Freeze();
    void UnFreeze();
    /// Drops the unread data and ends the stream, frozen or not. Blocks can no longer be committed.
    void FullStop();
    /// Back to how it was made, but for the memory: also the totals, the freeze and the end are
    /// gone. Forgets blocks, so neither side may be at work.
    void Reset();

    /// Each gives the buffer other memory: its own, the caller's (who frees it after this object or
    /// after it was replaced), none. False while there is data or a block, or without memory for
    /// it; nothing changes then. A size of 0 or null is none; a negative size is refused.
    bool SetBufferSize(int iSize);
    bool SetExternalBuffer(void* pBuffer, int iSize);
    /// Leaves external memory alone.
    bool FreeInternalBuffer();

    // Questions; the answers may be old when they arrive.

    /// Not disabled.
    bool IsStreaming() const;
    bool IsPointerInBuffer(const void* p) const;
    /// Free bytes before the end of the memory and, if the data do not wrap, at its start.
    int GetAvailableSizeToWrite() const;
    /// Of one block. Frozen, disabled or stopped, the block may be refused all the same.
    int GetLargestAvailableBlockSizeToWrite() const;
    /// Unread bytes.
    int GetReadQueueLength() const;
    /// Bytes committed since the last Reset().
    unsigned long long GetTotalWritten() const;
    unsigned long long GetTotalRead() const;

    /// Writes the state as a line, cut to the room; always with a 0 unless iBufferSize is 0 or
    /// less. Returns the length without it.
    int PrintState(char* szBuffer, int iBufferSize, const char* szName) const;

    /// For a crash: the unread bytes from number ullByte on in one piece, null at their end. The
    /// numbers are those of GetTotalRead(); where the reader has come further, ullByte is raised to
    /// it. Nothing is consumed, and no lock is taken: what counts is the state after the last
    /// commit. The reader must be at rest meanwhile.
    const void* GetBlockInCrash(unsigned long long& ullByte, int& iSize) const;

protected:
    CSafeStreamBuffer();
    ~CSafeStreamBuffer();

private:
    // These want the lock.
    void* At(int iOffset) const { return m_pMemory + iOffset; }
    int OffsetOf(const void* pBlock) const;
    bool CanWrite() const;
    bool IsMemoryInUse() const;
    void* HandOutWriteBlock(int iOffset, int iSize);
    void* HandOutReadBlock(int& iSize);
    template <typename TCommit>
    bool GiveReadBlockBack(int iSize, TCommit commit);
    bool CommitReadLocked(void* pBlock, int iSize);
    bool ReplaceMemory(std::unique_ptr<char[]> pInternal, char* pMemory, int iSize);
    void StartOver(bool bEndOfStream);
    bool IsReadable() const;
    void SignalIfReadable();
    /// Gives the lock back.
    bool WaitForSignal(CMutexProtection& mpState, unsigned long dwMilliseconds);
    void Thaw();

    // These take it.
    template <typename TCommit>
    bool GiveWriteBlockBack(int iSize, TCommit commit);
    bool NeedsToGrow(int iSize) const;
    bool TakesMore() const;
    void* AllocateAtWriteOffset(int iMaxSize, int& iSize);
    void* GetBlockThroughFreeze(int& iSize);
    bool CommitReadThroughFreeze(void* pBlock, int iSize);

    mutable CMutualExclusion m_mutex;    // guards all below
    CWinEvent m_weData;                  // the stream has ended, or there is data and no freeze
    CWinEvent m_weThawed;                // no freeze
    bool m_bSignalled = false;           // the data event
    std::unique_ptr<char[]> m_pInternal; // null: external memory or none
    char* m_pMemory = nullptr;
    mu::CBlockRing m_ring;
    mu::CRingSnapshot m_snapshot;
    bool m_bEndOfStream = false;
    bool m_bEnabled = true;
    bool m_bFrozen = false;
    // Invalid: a commit is refused until another block is handed out. Held: the reader has a
    // block that it has not given back, valid or not.
    bool m_bReadBlockInvalid = true;
    bool m_bWriteBlockInvalid = true;
    const void* m_pReadBlockHeld = nullptr;
    int m_iWriteBlockHeld = 0; // its size, 0: none
};

#endif
