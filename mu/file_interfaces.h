#ifndef ZOR_MU_FILE_INTERFACES_H
#define ZOR_MU_FILE_INTERFACES_H

// What code that works on "a file" needs of it; memory blocks and files implement these. Nothing is
// deleted through a pointer to one of them.

class IFileReader
{
public:
    /// Returns the bytes delivered, 0 at the end, a negative number on an error.
    virtual int Read(void* pBuffer, int iCount) = 0;
    virtual bool SetPosition(unsigned long long llPosition) = 0;
    virtual unsigned long long GetPosition() = 0;

protected:
    ~IFileReader() = default;
};

class IFileWriter
{
public:
    /// Returns the bytes taken, which may be fewer than iCount.
    virtual int Write(const void* pData, int iCount) = 0;
    virtual bool Flush() = 0;

protected:
    ~IFileWriter() = default;
};

class IFileRW : public IFileReader, public IFileWriter
{
protected:
    ~IFileRW() = default;
};

class IRandomPositionWriter
{
public:
    /// Writes uSize bytes at an absolute position. Returns whether all were written.
    virtual bool WriteBlock(unsigned long long llPosition, unsigned int uSize,
                            const void* pData) = 0;

protected:
    ~IRandomPositionWriter() = default;
};

#endif
