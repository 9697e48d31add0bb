#include "xml/tree_arena.h"

#include <algorithm>
#include <cassert>
#include <cstdlib>
#include <limits>
#include <new>

namespace mu
{

struct CTreeArena::SChunk
{
    SChunk* m_pNext;
};

namespace
{

constexpr std::size_t kSmallestChunk = 256;
constexpr std::size_t kLargestChunk = std::size_t{64} * 1024;

} // namespace

CTreeArena::CTreeArena(std::size_t uTextUnits)
    : m_uTextUnits(uTextUnits),
      m_uChunkBytes(std::clamp(uTextUnits * sizeof(wchar_t) / 2, kSmallestChunk, kLargestChunk))
{
}

CTreeArena::~CTreeArena()
{
    while (m_pChunks != nullptr)
    {
        SChunk* const pChunk = m_pChunks;
        m_pChunks = pChunk->m_pNext;
        std::free(pChunk);
    }
}

void CTreeArena::AddChunk(std::size_t uBytes)
{
    constexpr std::size_t kOverhead = sizeof(SChunk) + kAlignment + kSpareBytes;
    if (uBytes > std::numeric_limits<std::size_t>::max() - kOverhead)
    {
        throw std::bad_alloc();
    }
    const std::size_t uRoom =
        (std::max(uBytes, m_uChunkBytes - kOverhead) + kAlignment - 1) & ~(kAlignment - 1);
    void* const pMemory = std::malloc(sizeof(SChunk) + uRoom + kSpareBytes);
    if (pMemory == nullptr)
    {
        throw std::bad_alloc();
    }
    m_pChunks = new (pMemory) SChunk{m_pChunks};
    m_pNext = static_cast<char*>(pMemory) + sizeof(SChunk);
    m_pEnd = m_pNext + uRoom;
}

void CTreeArena::Move(std::size_t uKeep, std::size_t uBytes)
{
    assert(uKeep <= uBytes);
    const char* const pKept = m_pNext;
    AddChunk(uBytes);
    std::copy_n(pKept, uKeep, m_pNext); // from nowhere if there was no chunk
}

} // namespace mu
