#ifndef ZOR_XML_TREE_ARENA_H
#define ZOR_XML_TREE_ARENA_H

#include <cassert>
#include <cstddef>
#include <cstdint>

namespace mu
{

/// The memory of one parsed document. Pieces are handed out one after another and freed all
/// together, with the arena. No destructor is called for them: what a piece owns on the heap must
/// be released before.
class CTreeArena
{
public:
    /// uTextUnits is the length of the document's text, from which the size of the chunks is taken.
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

    /// There are so many more bytes behind End(). They hold nothing, but may be read and written,
    /// so that a text near End() can be copied in whole blocks.
    static constexpr std::size_t kSpareBytes = 64;

    /// The room that is left in the chunk, for a text whose length is not known before it is
    /// written. Write from Next() to at most End(), then call Commit() with the end of what was
    /// written.
    wchar_t* Next() const { return reinterpret_cast<wchar_t*>(m_pNext); }
    wchar_t* End() const { return reinterpret_cast<wchar_t*>(m_pEnd); }
    void Commit(wchar_t* pEnd)
    {
        assert(Next() <= pEnd && pEnd <= End());
        m_pNext = reinterpret_cast<char*>(pEnd);
    }

    /// Begins a new chunk with room for uBytes and copies the first uKeep bytes at Next() to it.
    void Move(std::size_t uKeep, std::size_t uBytes);

private:
    static constexpr std::size_t kAlignment = alignof(void*);
    struct SChunk;

    void AddChunk(std::size_t uBytes);

    SChunk* m_pChunks = nullptr;
    char* m_pNext = nullptr;
    char* m_pEnd = nullptr; // without the spare bytes; aligned as the start of the chunk is
    std::size_t m_uTextUnits;
    std::size_t m_uChunkBytes;
};

} // namespace mu

#endif
