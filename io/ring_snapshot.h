#ifndef ZOR_IO_RING_SNAPSHOT_H
#define ZOR_IO_RING_SNAPSHOT_H

#include <array>
#include <atomic>

#include "io/block_ring.h"

namespace mu
{

/// The state of a ring for a crash, which cannot take the ring's lock if it interrupted the thread
/// that holds it. It is the state after the last change; a change that is under way does not show.
class CRingSnapshot
{
public:
    /// After each change, under the ring's lock.
    void Take(const CBlockRing& ring)
    {
        const unsigned uTaken = m_uTaken.load(std::memory_order_relaxed) + 1;
        m_aRings[uTaken % 2] = ring;
        m_uTaken.store(uTaken, std::memory_order_release);
    }

    /// Any thread, any signal handler. Copies the ring again only if it changed meanwhile, which a
    /// thread that was interrupted in Take() cannot do.
    CBlockRing Get() const
    {
        for (;;)
        {
            const unsigned uTaken = m_uTaken.load(std::memory_order_acquire);
            const CBlockRing ring = m_aRings[uTaken % 2];
            // Reads the number by adding 0: a write with release order keeps the copy before it. A
            // fence would do the same, but the thread sanitizer does not know fences.
            if (m_uTaken.fetch_add(0, std::memory_order_acq_rel) == uTaken)
            {
                return ring;
            }
        }
    }

private:
    std::array<CBlockRing, 2> m_aRings;
    mutable std::atomic<unsigned> m_uTaken{0}; // modulo 2, the index of the one that is whole
};

} // namespace mu

#endif
