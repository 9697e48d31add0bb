#include "io/safe_stream_buffer.h"

#include <atomic>
#include <cstddef>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <pthread.h>

#include <benchmark/benchmark.h>
#include <boost/lockfree/spsc_queue.hpp>

#include "bench/support/second_thread.h"
#include "diagnostics/function_state.h"
#include "threading/auto_delete.h"
#include "threading/sleep.h"

// Bytes through a ring: what a block costs when it is copied in and out again, on one thread and
// from one thread to another.

namespace
{

constexpr int kRingSize = 256 * 1024;

using CRing = AutoDeleteThreadObjectImpl<CSafeStreamBuffer>;
using CQueue = boost::lockfree::spsc_queue<char>;

/// The bytes outside the ring, and the copies.
struct SBlock
{
    explicit SBlock(int iSize) : m_iSize(iSize), m_vecFrom(kRingSize, 'x'), m_vecTo(kRingSize) {}
    std::size_t Size() const { return static_cast<std::size_t>(m_iSize); }
    void CopyIn(void* pBlock) const { std::memcpy(pBlock, m_vecFrom.data(), Size()); }
    void CopyOut(const void* pBlock, std::size_t uSize)
    {
        std::memcpy(m_vecTo.data(), pBlock, uSize);
        benchmark::ClobberMemory();
    }

    int m_iSize;
    std::vector<char> m_vecFrom;
    std::vector<char> m_vecTo;
};

void OneThreadZor(benchmark::State& state, int iSize)
{
    const CSecondThread second;
    CFunctionSwitch fsCaller("B::One");
    SBlock block(iSize);
    auto* const pRing = new CRing;
    CStickyScope ssRing(*pRing);
    pRing->SetBufferSize(kRingSize);
    for (auto _ : state)
    {
        void* const pIn = pRing->AllocateBlock(block.m_iSize);
        block.CopyIn(pIn);
        pRing->CommitWrittenBlock(pIn, block.m_iSize);
        int iReady = 0;
        void* const pOut = pRing->GetBlockToRead(iReady);
        block.CopyOut(pOut, static_cast<std::size_t>(iReady));
        pRing->CommitReadBlock(pOut, iReady);
    }
}

/// The same copies, without a ring but with five pairs of a bare mutex where the ring has its four
/// and the event's.
template <bool bLocks>
void OneThreadBare(benchmark::State& state, int iSize)
{
    const CSecondThread second;
    SBlock block(iSize);
    std::vector<char> vRing(kRingSize);
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    const auto LockAndUnlock = [&]
    {
        if constexpr (bLocks)
        {
            pthread_mutex_lock(&mutex);
            benchmark::ClobberMemory();
            pthread_mutex_unlock(&mutex);
        }
        benchmark::ClobberMemory();
    };
    std::size_t uOffset = 0;
    for (auto _ : state)
    {
        LockAndUnlock();
        block.CopyIn(&vRing[uOffset]);
        LockAndUnlock();
        LockAndUnlock();
        LockAndUnlock();
        block.CopyOut(&vRing[uOffset], block.Size());
        LockAndUnlock();
        uOffset = (uOffset + block.Size()) % kRingSize;
    }
}

void OneThreadSpsc(benchmark::State& state, int iSize)
{
    const CSecondThread second;
    SBlock block(iSize);
    CQueue queue(kRingSize);
    for (auto _ : state)
    {
        queue.push(block.m_vecFrom.data(), block.Size());
        queue.pop(block.m_vecTo.data(), block.Size());
        benchmark::ClobberMemory();
    }
}

void TwoThreadsZor(benchmark::State& state, int iSize)
{
    SBlock block(iSize);
    auto* const pRing = new CRing;
    CStickyScope ssRing(*pRing);
    pRing->SetBufferSize(kRingSize);
    std::thread reader(
        [&]
        {
            int iReady = 0;
            while (void* const pOut = pRing->GetBlockToRead(iReady))
            {
                block.CopyOut(pOut, static_cast<std::size_t>(iReady));
                pRing->CommitReadBlock(pOut, iReady);
            }
            FreeThreadExVarsStorage();
        });
    for (auto _ : state)
    {
        void* pIn = nullptr;
        while ((pIn = pRing->AllocateBlock(block.m_iSize)) == nullptr)
        {
            mu::ThreadContextSwitch("full");
        }
        block.CopyIn(pIn);
        pRing->CommitWrittenBlock(pIn, block.m_iSize);
    }
    pRing->SetEndOfStream();
    reader.join();
}

void TwoThreadsSpsc(benchmark::State& state, int iSize)
{
    SBlock block(iSize);
    CQueue queue(kRingSize);
    std::atomic<bool> bEnd{false};
    std::thread reader(
        [&]
        {
            while (!bEnd.load(std::memory_order_acquire))
            {
                if (queue.pop(block.m_vecTo.data(), kRingSize) == 0)
                {
                    mu::ThreadContextSwitch("empty");
                }
                benchmark::ClobberMemory();
            }
        });
    for (auto _ : state)
    {
        std::size_t uDone = 0;
        while ((uDone += queue.push(block.m_vecFrom.data() + uDone, block.Size() - uDone)) <
               block.Size())
        {
            mu::ThreadContextSwitch("full");
        }
    }
    bEnd.store(true, std::memory_order_release);
    reader.join();
}

struct SBench
{
    const char* szWork;
    const char* szPeer;
    bool bTwoThreads;
    void (*pRun)(benchmark::State& state, int iSize);
};

constexpr SBench kBenches[] = {
    {"Ring/1thread", "zor", false, OneThreadZor},
    {"Ring/1thread", "5pairs", false, OneThreadBare<true>},
    {"Ring/1thread", "spsc", false, OneThreadSpsc},
    {"Ring/1thread", "memcpy", false, OneThreadBare<false>},
    {"Ring/2threads", "zor", true, TwoThreadsZor},
    {"Ring/2threads", "spsc", true, TwoThreadsSpsc},
};

const bool g_bRegistered = []
{
    for (const SBench& bench : kBenches)
    {
        for (const int iSize : {64, 1024, 16 * 1024})
        {
            const std::string strName =
                std::string(bench.szWork) + "/" + std::to_string(iSize) + "/" + bench.szPeer;
            auto* const pBenchmark =
                benchmark::RegisterBenchmark(strName.c_str(), bench.pRun, iSize);
            if (bench.bTwoThreads)
            {
                pBenchmark->UseRealTime();
            }
        }
    }
    return true;
}();

} // namespace
