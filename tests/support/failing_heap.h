#ifndef ZOR_TESTS_SUPPORT_FAILING_HEAP_H
#define ZOR_TESTS_SUPPORT_FAILING_HEAP_H

#include <climits>

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

    CFailingHeap(const CFailingHeap&) = delete;
    CFailingHeap& operator=(const CFailingHeap&) = delete;

    /// Whether an allocation was refused.
    static bool HasFailed();
    /// Blocks that this thread allocated and nobody freed, up to a constant.
    static long BlocksInUse();
    /// The same of all threads.
    static long BlocksOfProcess();
};

#endif
