#ifndef ZOR_IO_STREAM_INTERFACES_H
#define ZOR_IO_STREAM_INTERFACES_H

#include "logging/logger.h"

// The two ends of a stream of bytes that is passed on in blocks. Both sides may work in place: they
// are handed a block of the stream's own memory and give it back with the number of bytes that
// they wrote or consumed. Streams are reference counted (ISticky).

class IStreamWriter;

namespace mu
{

/// For a transport that works in a block by itself (a device, a network stack).
class IStreamTransportClient : public virtual ISticky
{
public:
    /// The transport is done with the block, of which it moved iSize bytes; 0 or less when it
    /// failed, which gives the block back as it was. Whether the stream took the bytes.
    virtual bool HandleTransportDone(void* pBlock, int iSize) = 0;

protected:
    ~IStreamTransportClient() = default;
};

} // namespace mu

/// Where a stream is read. For one thread at a time.
class IStreamReader : public mu::IStreamTransportClient
{
public:
    /// The next unread bytes in one piece, and their number. Waits for them; null and 0 when the
    /// stream has ended.
    virtual void* GetBlockToRead(int& iSize) = 0;
    /// The same without waiting: null and 0 also when there is nothing to read now.
    virtual void* PollBlockToRead(int& iSize) = 0;
    /// Gives the block back, of which the first iSize bytes are consumed. Ask anew for the rest.
    virtual bool CommitReadBlock(void* pBlock, int iSize) = 0;

    /// Copies at most iMaxSize bytes out and consumes them. Waits until there were iMinSize (0 does
    /// not wait); then takes what is there. Returns their number: fewer than iMinSize only when
    /// the stream has ended; negative when the arguments are impossible.
    virtual int Read(void* pBuffer, int iMaxSize, int iMinSize) = 0;

    /// Waits at most so long (threading/wait_time.h) for data or the end of the stream.
    virtual bool WaitForData(unsigned int dwMilliseconds) = 0;

    /// Passes everything on to pswOutput until this stream ends, then ends pswOutput too: true.
    /// When pswOutput refuses: false, and what it has not taken stays unread here.
    virtual bool WriteTo(IStreamWriter* pswOutput) = 0;

protected:
    ~IStreamReader() = default;
};

/// Where a stream is written. For one thread at a time.
class IStreamWriter : public mu::IStreamTransportClient
{
public:
    /// A block of iSize bytes to fill; null when there is no room for it now.
    virtual void* AllocateBlock(int iSize) = 0;
    /// Gives the block back, of which the first iCommittedSize bytes go into the stream;
    /// iAllocatedSize is the size that it was asked for with.
    virtual bool CommitWrittenBlock(void* pBlock, int iCommittedSize, int iAllocatedSize) = 0;

    /// Returns the number of bytes taken: fewer than iSize, also 0, when there is no room for more
    /// now; negative when the stream takes nothing, now or later.
    virtual int Write(const void* pData, int iSize) = 0;

    virtual void SetEndOfStream() = 0;

protected:
    ~IStreamWriter() = default;
};

#endif
