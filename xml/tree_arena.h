#ifndef ZOR_XML_TREE_ARENA_H
#define ZOR_XML_TREE_ARENA_H

#include <cstddef>
#include <cstdint>

/// The memory of one parsed document. Pieces are cut off one after another, never given back
/// singly, and dropped together. Nothing is destroyed: what lies here owns nothing outside, or is
/// released by its owner first.
class CTreeArena
{
public:
    /// The chunks are sized for a text of so many bytes.
    explicit CTreeArena(std::size_t uTextBytes);
    ~CTreeArena();

    CTreeArena(const CTreeArena&) = delete;
    CTreeArena& operator=(const CTreeArena&) = delete;

    /// Memory for any object. Throws std::bad_alloc.
    void* Allocate(std::size_t uBytes)
    {
        if (uBytes > static_cast<std::size_t>(m_pEnd - m_pNext))
        {
            AddChunk(uBytes);
        }
        void* const pMemory = m_pNext;
        Commit(m_pNext + uBytes);
        return pMemory;
    }

    /// The room that is left, for a piece whose size shows only as it is written: fill from Next()
    /// to at most End(), then Commit() the end of what was filled.
    char* Next() const { return m_pNext; }
    char* End() const { return m_pEnd; }
    void Commit(char* pEnd)
    {
        const auto uUsed = static_cast<std::size_t>(pEnd - m_pChunkStart);
        m_pNext = m_pChunkStart + ((uUsed + kAlignment - 1) & ~(kAlignment - 1));
    }

    /// Goes on in a new chunk with room for uBytes; the first uKeep bytes at Next() come along.
    void Move(std::size_t uKeep, std::size_t uBytes);

private:
    static constexpr std::size_t kAlignment = alignof(void*);
    struct SChunk;

    void AddChunk(std::size_t uBytes);

    SChunk* m_pChunks = nullptr;
    char* m_pChunkStart = nullptr;
    char* m_pNext = nullptr;
    char* m_pEnd = nullptr; // a multiple of the alignment from the start
    std::size_t m_uChunkBytes;
};

#endif
