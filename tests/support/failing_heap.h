#ifndef ZOR_TESTS_SUPPORT_FAILING_HEAP_H
#define ZOR_TESTS_SUPPORT_FAILING_HEAP_H

#include <atomic>
#include <climits>
#include <new>

/// Asked before each allocation of the process, if there is one: true refuses it. Constant once
/// there are other threads.
extern bool (*g_pIsAllocationRefused)();

/// The process's allocator, made to fail. Tests that use it link failing_heap.cpp; where a
/// sanitizer brings its own allocator, kAvailable is false.
class CFailingHeap
{
public:
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    static constexpr bool kAvailable = false;
#else
    static constexpr bool kAvailable = true;
#endif

    /// From now on, this thread's next iAllowed allocations succeed and all later ones fail, or the
    /// next iRefused, to the end of the scope.
    explicit CFailingHeap(int iAllowed, int iRefused = INT_MAX);
    ~CFailingHeap();
    CFailingHeap(CFailingHeap&&) = delete; // nor copied

    /// Whether an allocation was refused.
    static bool HasFailed()
    {
        return s_bFailed;
    }
    /// Blocks that this thread allocated and nobody freed, up to a constant.
    static long BlocksInUse()
    {
        return s_lBlocks;
    }
    /// The same of all threads.
    static long BlocksOfProcess()
    {
        return s_lBlocksOfProcess;
    }

    /// Does the work without its first allocation, then without the second, and so on to the last;
    /// it may throw std::bad_alloc. The first allocation without which a block stays, or -1.
    template <typename TWork>
    static int FirstLeakOf(TWork work)
    {
        bool bFailed = kAvailable;
        for (int iAllowed = 0; bFailed; ++iAllowed)
        {
            const long lBlocks = BlocksInUse();
            try
            {
                const CFailingHeap heap(iAllowed, 1);
                work();
            }
            catch (const std::bad_alloc&)
            {
            }
            bFailed = HasFailed();
            if (BlocksInUse() != lBlocks)
            {
                return iAllowed;
            }
        }
        return -1;
    }

    // The allocator's.
    static constinit inline thread_local bool s_bFailed = false;
    static constinit inline thread_local long s_lBlocks = 0;
    static constinit inline std::atomic<long> s_lBlocksOfProcess{0};
};

#endif
