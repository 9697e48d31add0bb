#ifndef ZOR_XML_TREE_ARENA_H
#define ZOR_XML_TREE_ARENA_H

#include <cstddef>
#include <cstdint>

namespace mu
{

/// The memory of one parsed document. Pieces are cut off one after another, never given back
/// singly, and dropped together. Nothing is destroyed: what lies here owns nothing outside, or is
/// released by its owner first.
class CTreeArena
{
public:
    /// The chunks are sized for a text of so many units.
    explicit CTreeArena(std::size_t uTextUnits);
    ~CTreeArena();

    CTreeArena(const CTreeArena&) = delete;
    CTreeArena& operator=(const CTreeArena&) = delete;

    std::size_t TextUnits() const { return m_uTextUnits; }

    /// Memory for any object. Throws std::bad_alloc.
    void* Allocate(std::size_t uBytes)
    {
        char* pMemory = m_pNext + (-reinterpret_cast<std::uintptr_t>(m_pNext) & (kAlignment - 1));
        if (uBytes > static_cast<std::size_t>(m_pEnd - pMemory))
        {
            AddChunk(uBytes);
            pMemory = m_pNext;
        }
        m_pNext = pMemory + uBytes;
        return pMemory;
    }

    /// So many bytes behind End() may be read and written, too, but hold nothing: whole blocks can
    /// be copied where a piece begins or ends before End().
    static constexpr std::size_t kSpareBytes = 64;

    /// The room that is left, for a text whose length shows only as it is written: fill from Next()
    /// to at most End(), then Commit() the end of what was filled.
    wchar_t* Next() const { return reinterpret_cast<wchar_t*>(m_pNext); }
    wchar_t* End() const { return reinterpret_cast<wchar_t*>(m_pEnd); }
    void Commit(wchar_t* pEnd) { m_pNext = reinterpret_cast<char*>(pEnd); }

    /// Goes on in a new chunk with room for uBytes; the first uKeep bytes at Next() come along.
    void Move(std::size_t uKeep, std::size_t uBytes);

private:
    static constexpr std::size_t kAlignment = alignof(void*);
    struct SChunk;

    void AddChunk(std::size_t uBytes);

    SChunk* m_pChunks = nullptr;
    char* m_pNext = nullptr;
    char* m_pEnd = nullptr; // a multiple of the alignment from the start
    std::size_t m_uTextUnits;
    std::size_t m_uChunkBytes;
};

} // namespace mu

#endif
