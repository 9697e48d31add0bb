#include "diagnostics/readable_memory.h"

#include <array>
#include <atomic>
#include <cassert>
#include <csetjmp>
#include <cstdint>

#include <pthread.h>
#include <ucontext.h>
#include <unistd.h>

#include "threading/sleep.h"
#include "threading/thread_safety.h"

using namespace mu;

namespace
{

constexpr std::array kFaultSignals = {SIGSEGV, SIGBUS};

// Memory is protected by pages, and no machine has smaller ones.
constexpr std::uintptr_t kPage = 4096;

// The handlers that were installed before the dispatcher. It reads them without a lock.
using AnyFunction = void (*)();
struct SHandlerBefore
{
    std::atomic<AnyFunction> m_pFunction;
    std::atomic<int> m_iFlags;
};
std::array<SHandlerBefore, kFaultSignals.size()> g_vHandlersBefore;

// The process whose thread holds CDispatcherLock, 0 if it is free.
using COwnerID ZOR_CAPABILITY("owner") = std::atomic<pid_t>;
COwnerID g_iDispatcherOwner{0};
std::array<struct sigaction, kFaultSignals.size()>
    g_vActionsBefore ZOR_GUARDED_BY(g_iDispatcherOwner);
int g_iProbes ZOR_GUARDED_BY(g_iDispatcherOwner) = 0;

// How many probed reads run on this thread. While there is none, the jump point is not trusted: it
// lies on the heap, where an overrun may have written anything.
constinit thread_local volatile int g_iRunningReads = 0;

bool HasJumpPoint()
{
    return g_iRunningReads > 0 && g_pThreadExceptionVars != nullptr &&
           g_pThreadExceptionVars->m_pMemoryTestJump != nullptr;
}

void DispatchFault(int iSignal, siginfo_t* pInfo, void* pContext);

void HandOn(std::size_t uSignal, siginfo_t* pInfo, void* pContext)
{
    const int iSignal = kFaultSignals[uSignal];
    const AnyFunction pFunction = g_vHandlersBefore[uSignal].m_pFunction;
    const bool bFault = pInfo->si_code > 0;
    if (pFunction == reinterpret_cast<AnyFunction>(SIG_IGN) && !bFault)
    {
        return;
    }
    if (pFunction == reinterpret_cast<AnyFunction>(SIG_DFL) ||
        pFunction == reinterpret_cast<AnyFunction>(SIG_IGN))
    {
        // When the handler returns, the instruction faults again, and now that ends the process. So
        // it does where the signal was ignored: the system ignores no fault.
        std::signal(iSignal, SIG_DFL);
        if (!bFault)
        {
            std::raise(iSignal);
        }
    }
    else if ((g_vHandlersBefore[uSignal].m_iFlags & SA_SIGINFO) != 0)
    {
        reinterpret_cast<decltype(&DispatchFault)>(pFunction)(iSignal, pInfo, pContext);
    }
    else
    {
        reinterpret_cast<void (*)(int)>(pFunction)(iSignal);
    }
}

void DispatchFault(int iSignal, siginfo_t* pInfo, void* pContext)
{
    // A signal with a code of 0 or less was sent by somebody; it is no fault of the running read.
    if (pInfo->si_code > 0 && HasJumpPoint())
    {
        // The jump leaves the signal mask as it is. This handler blocks no signal, but another one
        // that blocks some may have called it.
        pthread_sigmask(SIG_SETMASK, &static_cast<ucontext_t*>(pContext)->uc_sigmask, nullptr);
        MemoryTestSignalHandler(iSignal);
    }
    HandOn(iSignal == kFaultSignals.front() ? 0 : 1, pInfo, pContext);
}

// The lock of the dispatcher's state. All signals are blocked meanwhile: a handler on this thread
// that makes a probe would wait for ever.
class ZOR_SCOPED_CAPABILITY CDispatcherLock
{
public:
    CDispatcherLock() ZOR_ACQUIRE(g_iDispatcherOwner)
    {
        sigset_t signals;
        sigfillset(&signals);
        pthread_sigmask(SIG_SETMASK, &signals, &m_maskBefore);
        const pid_t iSelf = ::getpid();
        pid_t iOwner = 0;
        while (
            !g_iDispatcherOwner.compare_exchange_strong(iOwner, iSelf, std::memory_order_acquire))
        {
            if (iOwner == iSelf)
            {
                // Leaves the processor to the owner, which may have a lower priority.
                mu::SleepMicroSeconds(50);
                iOwner = 0;
            }
            // Any other value is the parent's: one of its threads held the lock when this process
            // was forked. That thread does not exist here, so the next round takes the lock over.
        }
    }
    ~CDispatcherLock() ZOR_RELEASE() { g_iDispatcherOwner.store(0, std::memory_order_release); }

    CDispatcherLock(const CDispatcherLock&) = delete;
    CDispatcherLock& operator=(const CDispatcherLock&) = delete;

    const sigset_t& GetMaskBefore() const { return m_maskBefore; }

private:
    sigset_t m_maskBefore;
};

bool IsDispatcher(const struct sigaction& action)
{
    return (action.sa_flags & SA_SIGINFO) != 0 && action.sa_sigaction == DispatchFault;
}

// Called for every probe, not only for the first: somebody may have installed a handler
// meanwhile, or this process may have been forked while another thread was in here.
void InstallDispatcher() ZOR_REQUIRES(g_iDispatcherOwner)
{
    struct sigaction dispatcher = {};
    dispatcher.sa_sigaction = DispatchFault;
    dispatcher.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
    for (std::size_t i = 0; i < kFaultSignals.size(); ++i)
    {
        struct sigaction before = {};
        ::sigaction(kFaultSignals[i], nullptr, &before);
        if (IsDispatcher(before))
        {
            continue;
        }
        g_vActionsBefore[i] = before;
        g_vHandlersBefore[i].m_iFlags = before.sa_flags;
        g_vHandlersBefore[i].m_pFunction = (before.sa_flags & SA_SIGINFO) != 0
                                               ? reinterpret_cast<AnyFunction>(before.sa_sigaction)
                                               : reinterpret_cast<AnyFunction>(before.sa_handler);
        ::sigaction(kFaultSignals[i], &dispatcher, nullptr);
    }
}

// A handler that somebody has installed meanwhile stays.
void RemoveDispatcher() ZOR_REQUIRES(g_iDispatcherOwner)
{
    for (std::size_t i = 0; i < kFaultSignals.size(); ++i)
    {
        struct sigaction current = {};
        ::sigaction(kFaultSignals[i], nullptr, &current);
        if (IsDispatcher(current))
        {
            ::sigaction(kFaultSignals[i], &g_vActionsBefore[i], nullptr);
        }
    }
}

/// Returns the signals that the caller blocks.
sigset_t AddProbe()
{
    const CDispatcherLock lock;
    ++g_iProbes;
    InstallDispatcher();
    return lock.GetMaskBefore();
}

void RemoveProbe()
{
    const CDispatcherLock lock;
    assert(g_iProbes > 0);
    if (--g_iProbes == 0)
    {
        RemoveDispatcher();
    }
}

// CopyBytes() and TouchPages() read the memory in question. It is volatile, so that the compiler
// keeps each single read. The sanitizers must not check the reads: they would rightly complain.
struct SRead
{
    unsigned char* m_pTarget;
    const void* m_pSource;
    std::size_t m_uSize;
    volatile std::size_t m_uDone;
};

__attribute__((no_sanitize("address", "thread", "undefined"))) void CopyBytes(void* pArgument)
{
    auto& read = *static_cast<SRead*>(pArgument);
    std::size_t uDone = 0;
    // By words where the memory is aligned: another thread may be changing a pointer there, which
    // is then copied either old or new.
    if ((reinterpret_cast<std::uintptr_t>(read.m_pSource) |
         reinterpret_cast<std::uintptr_t>(read.m_pTarget)) %
            sizeof(std::uintptr_t) ==
        0)
    {
        const auto* const pSource = static_cast<const volatile std::uintptr_t*>(read.m_pSource);
        for (; uDone + sizeof(std::uintptr_t) <= read.m_uSize; uDone += sizeof(std::uintptr_t))
        {
            const std::uintptr_t uWord = pSource[uDone / sizeof(std::uintptr_t)];
            __builtin_memcpy(read.m_pTarget + uDone, &uWord, sizeof(uWord));
            read.m_uDone = uDone + sizeof(uWord);
        }
    }
    const auto* const pSource = static_cast<const volatile unsigned char*>(read.m_pSource);
    for (; uDone < read.m_uSize; ++uDone)
    {
        read.m_pTarget[uDone] = pSource[uDone];
        read.m_uDone = uDone + 1;
    }
}

__attribute__((no_sanitize("address", "thread", "undefined"))) void TouchPages(void* pArgument)
{
    const auto& read = *static_cast<const SRead*>(pArgument);
    const auto* const pSource = static_cast<const volatile unsigned char*>(read.m_pSource);
    for (std::size_t u = 0; u < read.m_uSize;)
    {
        static_cast<void>(pSource[u]);
        u += kPage - (reinterpret_cast<std::uintptr_t>(read.m_pSource) + u) % kPage;
    }
}

} // namespace

namespace mu
{

CMemoryProbe::CMemoryProbe() : m_maskBefore(AddProbe())
{
    sigset_t mask = m_maskBefore;
    for (const int iSignal : kFaultSignals)
    {
        sigdelset(&mask, iSignal);
    }
    pthread_sigmask(SIG_SETMASK, &mask, nullptr);
}

CMemoryProbe::~CMemoryProbe()
{
    RemoveProbe();
    pthread_sigmask(SIG_SETMASK, &m_maskBefore, nullptr);
}

// Not inlined: the jump restores the registers of sigsetjmp(), so a caller's variable that has
// changed since must not be kept in one of them. Here bDone alone changes, and it is volatile.
[[gnu::noinline]] bool CMemoryProbe::Call(void (*pFunction)(void*), void* pArgument)
{
    SPosixThreadExceptionVars* const pVars = g_pThreadExceptionVars;
    assert(pVars != nullptr); // null on a thread that did not make the probe
    std::jmp_buf* const pOuterJump = pVars->m_pMemoryTestJump;
    const int iRunningReads = g_iRunningReads;
    std::jmp_buf jump;
    volatile bool bDone = false;

    // 0: the signal mask is not saved, which would be a system call. The dispatcher restores it.
    if (sigsetjmp(jump, 0) == 0)
    {
        pVars->m_pMemoryTestJump = &jump;
        g_iRunningReads = iRunningReads + 1;
        std::atomic_signal_fence(std::memory_order_seq_cst);
        pFunction(pArgument);
        std::atomic_signal_fence(std::memory_order_seq_cst);
        bDone = true;
    }
    g_iRunningReads = iRunningReads;
    pVars->m_pMemoryTestJump = pOuterJump;
    return bDone;
}

std::size_t CMemoryProbe::CopySome(void* pTarget, const void* pSource, std::size_t uSize)
{
    SRead read = {static_cast<unsigned char*>(pTarget), pSource, uSize, 0};
    if (pSource != nullptr) // null is the most common one and need not cost a fault
    {
        Call(CopyBytes, &read);
    }
    return read.m_uDone;
}

bool CMemoryProbe::IsReadable(const void* pMemory, std::size_t uSize)
{
    SRead read = {nullptr, pMemory, uSize, 0};
    return (pMemory != nullptr || uSize == 0) && Call(TouchPages, &read);
}

} // namespace mu

bool IsReadableMemory(const void* pMemory, unsigned int uSize)
{
    return CMemoryProbe().IsReadable(pMemory, uSize);
}

void MemoryTestSignalHandler(int)
{
    if (HasJumpPoint())
    {
        siglongjmp(*g_pThreadExceptionVars->m_pMemoryTestJump, 1);
    }
}
