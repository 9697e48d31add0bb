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
    const void* GetBlockInCrash(unsigned long long& ullByte,
                                int& iSize) const ZOR_NO_THREAD_SAFETY_ANALYSIS;

protected:
    CSafeStreamBuffer();
    ~CSafeStreamBuffer();

private:
    void* At(int iOffset) const ZOR_REQUIRES(m_mutex) { return m_pMemory + iOffset; }
    int OffsetOf(const void* pBlock) const ZOR_REQUIRES(m_mutex);
    bool CanWrite() const ZOR_REQUIRES(m_mutex);
    bool IsMemoryInUse() const ZOR_REQUIRES(m_mutex);
    void* HandOutWriteBlock(int iOffset, int iSize) ZOR_REQUIRES(m_mutex);
    void* HandOutReadBlock(int& iSize) ZOR_REQUIRES(m_mutex);
    template <typename TCommit>
    bool GiveReadBlockBack(int iSize, TCommit commit) ZOR_REQUIRES(m_mutex);
    bool CommitReadLocked(void* pBlock, int iSize) ZOR_REQUIRES(m_mutex);
    bool ReplaceMemory(std::unique_ptr<char[]> pInternal, char* pMemory, int iSize)
        ZOR_REQUIRES(m_mutex);
    void StartOver(bool bEndOfStream) ZOR_REQUIRES(m_mutex);
    bool IsReadable() const ZOR_REQUIRES(m_mutex);
    void SignalIfReadable() ZOR_REQUIRES(m_mutex);
    void ResetIfUnreadable() ZOR_REQUIRES(m_mutex);
    void Thaw() ZOR_REQUIRES(m_mutex);

    template <typename TCommit>
    bool GiveWriteBlockBack(const void* pBlock, int iSize, TCommit commit) ZOR_EXCLUDES(m_mutex);
    bool NeedsToGrow(int iSize) const ZOR_EXCLUDES(m_mutex);
    bool TakesMore() const ZOR_EXCLUDES(m_mutex);
    void* AllocateAtWriteOffset(int iMaxSize, int& iSize) ZOR_EXCLUDES(m_mutex);
    void* GetBlockThroughFreeze(int& iSize) ZOR_EXCLUDES(m_mutex);
    bool CommitReadThroughFreeze(void* pBlock, int iSize) ZOR_EXCLUDES(m_mutex);

    /// For state reports, which read what its functions point at and take no lock.
    const mu::CBlockRing& GetTracedRing() const ZOR_NO_THREAD_SAFETY_ANALYSIS { return m_ring; }

    mutable CMutualExclusion m_mutex;
    // Signalled and reset under the lock, waited for without it.
    CWinEvent m_weData;                                // ended, or there is data and no freeze
    CWinEvent m_weThawed;                              // no freeze
    bool m_bSignalled ZOR_GUARDED_BY(m_mutex) = false; // the data event
    // Null: external memory or none.
    std::unique_ptr<char[]> m_pInternal ZOR_GUARDED_BY(m_mutex);
    char* m_pMemory ZOR_GUARDED_BY(m_mutex) = nullptr;
    mu::CBlockRing m_ring ZOR_GUARDED_BY(m_mutex);
    mu::CRingSnapshot m_snapshot; // taken under the lock
    bool m_bEndOfStream ZOR_GUARDED_BY(m_mutex) = false;
    bool m_bEnabled ZOR_GUARDED_BY(m_mutex) = true;
    bool m_bFrozen ZOR_GUARDED_BY(m_mutex) = false;
    // Invalid: a commit is refused until another block is handed out. Held: the reader has a
    // block that it has not given back, valid or not.
    bool m_bReadBlockInvalid ZOR_GUARDED_BY(m_mutex) = true;
    bool m_bWriteBlockInvalid ZOR_GUARDED_BY(m_mutex) = true;
    const void* m_pReadBlockHeld ZOR_GUARDED_BY(m_mutex) = nullptr;
    int m_iWriteBlockHeld ZOR_GUARDED_BY(m_mutex) = 0; // its size, 0: none
};

#endif
