#ifndef ZOR_MU_MEMORY_BLOCK_H
#define ZOR_MU_MEMORY_BLOCK_H

#include "mu/file_interfaces.h"

/// A block of bytes with a stream position, as a file in memory. It owns its bytes (malloc) and
/// grows with what is written; or it wraps a caller's buffer, a static block, which it neither
/// frees nor grows. Its size is what is allocated: new bytes have no defined value.
///
/// Without memory an operation fails and leaves the block as it was, except Create(), which leaves
/// it empty. One thread at a time uses a block.
class CMemBlockPtr : public IRandomPositionWriter, public IFileRW
{
public:
    struct StaticBlock
    {
    };

    CMemBlockPtr() = default;
    /// Wraps the buffer, which must outlive the block and its copies.
    CMemBlockPtr(StaticBlock, void* pBuffer, unsigned int uSize);
    CMemBlockPtr(unsigned int uSize); ///< not cleared
    CMemBlockPtr(const void* pData, unsigned int uSize);
    /// The copy of a static block wraps the same buffer. On purpose: the position comes along
    /// here, while assignment keeps the own one or, from a static block, sets it to 0.
    CMemBlockPtr(const CMemBlockPtr& other);
    CMemBlockPtr& operator=(const CMemBlockPtr& other);

    /// Writes inside the block only, all or nothing; the position stays.
    bool WriteBlock(unsigned long long llPosition, unsigned int uSize, const void* pData) override;

    virtual ~CMemBlockPtr();

    /// On purpose, the position stays: two reads in a row deliver the same bytes. The result is
    /// negative if the position lies beyond the size.
    int Read(void* pBuffer, int iCount) override;
    /// Any position up to the size, the size included.
    bool SetPosition(unsigned long long llPosition) override;
    unsigned long long GetPosition() override { return m_uPosition; }
    /// Moves the position. A full block grows to at least twice its size; a block that cannot grow
    /// takes what fits. Returns the bytes taken. The data may be part of the block.
    int Write(const void* pData, int iCount) override;
    bool Flush() override { return true; }

    char* GetData() const { return m_pData; }
    unsigned int GetSize() const { return m_uSize; }

    /// Only for a block that owns no memory: what it owned would leak.
    bool Create(unsigned int uSize);
    /// Returns the data, null for a size of 0 (which empties the block) or without memory. The
    /// position stays, even beyond the size. A static block becomes an owned one without the bytes
    /// of the buffer.
    char* Resize(unsigned int uSize);
    /// Never shrinks. Returns the data, null without memory.
    char* ResizeIfNeeded(unsigned int uSize);
    /// Copies the data, which may be the block's own. The position stays.
    bool AssignData(const void* pData, unsigned int uSize);
    /// Wraps the buffer, as the constructor does.
    void AssignStaticBlock(void* pBuffer, unsigned int uSize);
    /// Leaves an empty block at position 0.
    void Destroy();
    void Clear() { Destroy(); }

private:
    bool Owns(const void* pData) const;
    long long GetRoom() const;

    char* m_pData = nullptr;
    unsigned int m_uSize = 0;
    unsigned int m_uPosition = 0;
    bool m_bStatic = false;
};

#endif
