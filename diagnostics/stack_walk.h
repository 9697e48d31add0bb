#ifndef ZOR_DIAGNOSTICS_STACK_WALK_H
#define ZOR_DIAGNOSTICS_STACK_WALK_H

#include <array>
#include <cstddef>
#include <cstdint>

#include <ucontext.h>
#include <unwind.h>

#include "diagnostics/readable_memory.h"

namespace mu
{

/// The functions on the calling thread's stack, innermost first. Each is kept as it is found, so a
/// fault loses only those beyond it. The unwinder cannot go on from a bad address, to which the
/// program jumped or to which an overwritten return address leads. Then the walk looks for the next
/// return address itself: in the machine's link register, then on the stack. Allocates nothing.
class CStackWalk
{
public:
    struct SFrame
    {
        std::uintptr_t m_uAddress;
        std::uintptr_t m_uInside; ///< inside the calling instruction: m_uAddress is behind it, and
                                  ///< may belong to another function
    };

    /// Begins at the caller to which pReturnAddress leads back.
    CStackWalk(CMemoryProbe& probe, const void* pReturnAddress);
    /// In a signal handler: begins where the signal interrupted the thread. Changes the context, so
    /// the handler must not return.
    CStackWalk(CMemoryProbe& probe, ucontext_t& context);

    const SFrame* begin() const { return m_vFrames.data(); }
    const SFrame* end() const { return m_vFrames.data() + m_uFrames; }

private:
    bool IsFull() const { return m_uFrames == m_vFrames.size(); }
    void Add(std::uintptr_t uAddress, std::uintptr_t uInside);
    void Unwind();
    static _Unwind_Reason_Code OnFrame(_Unwind_Context* pContext, void* pThis);
    bool TakeFrame(_Unwind_Context* pContext);
    void GoOnFrom(ucontext_t& context, std::uintptr_t uReturnAddress);
    void Search(ucontext_t& context);

    struct SCall
    {
        std::uintptr_t m_uReturnAddress;
        std::uintptr_t m_uTarget;
    };
    bool FindCallOfLastFunction(SCall& call);
    bool FindAnyCall(SCall& call);
    bool NextCall(std::uintptr_t& uPosition, int& iWords, SCall& call);
    void AddCallee(std::uintptr_t uTarget);

    CMemoryProbe& m_probe;
    std::array<SFrame, 16> m_vFrames = {};
    std::size_t m_uFrames = 0;

    std::uintptr_t m_uStart = 0;        // frames are taken after the one with this address
    std::uintptr_t m_uStackPointer = 0; // of the last frame; a search begins there
    std::uintptr_t m_uFunction = 0;     // of the last frame, 0 if the unwinder does not know it
    int m_iWordsToSearch;
    bool m_bStarted = false;
    bool m_bGuessed = false; // a search found the start, and no caller of it is known yet
    bool m_bComplete = false;
};

} // namespace mu

#endif
