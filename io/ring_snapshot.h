#ifndef ZOR_IO_RING_SNAPSHOT_H
#define ZOR_IO_RING_SNAPSHOT_H

#include <array>
#include <atomic>

#include "io/block_ring.h"

namespace mu
{

/// The state of a ring for whoever cannot take its lock, because who holds it crashed: as it was
/// after the last change, also while the next one is under way.
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

    /// Any thread, any signal handler.
    CBlockRing Get() const
    {
        constexpr int kTries = 1000; // against threads that change the ring twice within each
        CBlockRing ring;
        for (int i = 0; i < kTries; ++i)
        {
            const unsigned uTaken = m_uTaken.load(std::memory_order_acquire);
            ring = m_aRings[uTaken % 2];
            // Adds nothing: as a store with release order it keeps the copy before it, as a fence
            // would, which the thread sanitizer does not know.
            if (m_uTaken.fetch_add(0, std::memory_order_acq_rel) == uTaken)
            {
                break;
            }
        }
        return ring;
    }

private:
    std::array<CBlockRing, 2> m_aRings;
    mutable std::atomic<unsigned> m_uTaken{0}; // modulo 2, the index of the one that is whole
};

} // namespace mu

#endif
