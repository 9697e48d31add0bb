#include "diagnostics/stack_walk.h"

#include <sys/auxv.h>

#include "diagnostics/machine_state.h"
#include "diagnostics/symbol.h"

namespace mu
{

namespace
{

// How far to look for a return address: far, because a frame may hold large arrays, but not for
// ever, because a damaged stack has no end.
constexpr int kMostWords = 1 << 14;    // for any call, in the whole walk
constexpr int kWordsOfFrame = 1 << 10; // for the call of the last function

// So many bytes before its return address lies every call: none is shorter.
constexpr std::uintptr_t kIntoCall = 2;

/// Whether the address lies in the few instructions that start the program: nothing called them.
bool IsInProgramEntry(std::uintptr_t uAddress)
{
    constexpr std::uintptr_t kEntrySize = 64;
    return uAddress - InstructionAt(::getauxval(AT_ENTRY)) < kEntrySize;
}

} // namespace

CStackWalk::CStackWalk(CMemoryProbe& probe, const void* pReturnAddress)
    : m_probe(probe), m_iWordsToSearch(0)
{
    m_uStart = InstructionAt(reinterpret_cast<std::uintptr_t>(pReturnAddress));
    Add(m_uStart, m_uStart - kIntoCall);
    Unwind();
}

CStackWalk::CStackWalk(CMemoryProbe& probe, ucontext_t& context)
    : m_probe(probe), m_iWordsToSearch(kMostWords)
{
    const SMachineState state = GetInterruptedState(context);
    m_uStackPointer = state.m_uStackPointer;
    m_uStart = SetInterruptedState(context, state.m_uProgramCounter, m_uStackPointer);
    Add(state.m_uProgramCounter, state.m_uProgramCounter);
    Unwind();
    std::uintptr_t uTarget = 0;
    if (m_uFrames == 1 && FollowsCall(m_probe, state.m_uLinkRegister, uTarget))
    {
        GoOnFrom(context, state.m_uLinkRegister);
    }
    Search(context);
}

void CStackWalk::Add(std::uintptr_t uAddress, std::uintptr_t uInside)
{
    if (!IsFull())
    {
        m_vFrames[m_uFrames++] = {uAddress, uInside};
    }
}

void CStackWalk::Unwind()
{
    m_bStarted = false;
    m_probe.Call([](void* pThis) { _Unwind_Backtrace(OnFrame, pThis); }, this);
}

_Unwind_Reason_Code CStackWalk::OnFrame(_Unwind_Context* pContext, void* pThis)
{
    return static_cast<CStackWalk*>(pThis)->TakeFrame(pContext) ? _URC_NO_REASON
                                                                : _URC_END_OF_STACK;
}

/// Returns whether the unwinder is to go on.
bool CStackWalk::TakeFrame(_Unwind_Context* pContext)
{
    const SUnwoundFrame frame = GetUnwoundFrame(pContext);
    const std::uintptr_t uAddress = InstructionAt(frame.m_uAddress);
    if (!m_bStarted)
    {
        m_bStarted = uAddress == m_uStart;
        if (m_bStarted)
        {
            m_uStackPointer = frame.m_uStackPointer;
            m_uFunction = frame.m_uFunction;
        }
        return true;
    }
    if (uAddress == 0)
    {
        m_bComplete = true;
        return false;
    }
    std::uintptr_t uTarget = 0;
    if (frame.m_uStackPointer < m_uStackPointer ||
        (m_bGuessed && !FollowsCall(m_probe, frame.m_uAddress, uTarget)))
    {
        return false;
    }
    m_bGuessed = false;
    m_uStackPointer = frame.m_uStackPointer;
    m_uFunction = frame.m_uFunction;
    Add(uAddress, frame.m_bInterrupted ? uAddress : uAddress - kIntoCall);
    return !IsFull();
}

void CStackWalk::GoOnFrom(ucontext_t& context, std::uintptr_t uReturnAddress)
{
    const std::uintptr_t uAddress = InstructionAt(uReturnAddress);
    Add(uAddress, uAddress - kIntoCall);
    m_bComplete = IsInProgramEntry(uAddress);
    m_uStart = SetInterruptedState(context, uAddress - kIntoCall, m_uStackPointer);
    m_uFunction = 0;
    m_bGuessed = true;
    Unwind();
}

void CStackWalk::Search(ucontext_t& context)
{
    SCall call = {};
    while (!m_bComplete && !IsFull() && (FindCallOfLastFunction(call) || FindAnyCall(call)))
    {
        const std::size_t uFrames = m_uFrames;
        AddCallee(call.m_uTarget);
        GoOnFrom(context, call.m_uReturnAddress);
        // The unwinder knows the function and found no call of it: the word is what a call that is
        // over has left on the stack. The frames it gave are dropped.
        if (m_bStarted && m_bGuessed && !m_bComplete)
        {
            m_uFrames = uFrames;
            m_uFunction = 0;
        }
    }
}

/// Finds the return address of a call that went to the last function. Nothing tells more surely
/// where that function's frame ends; what calls that are over have left lies inside the frame.
bool CStackWalk::FindCallOfLastFunction(SCall& call)
{
    std::uintptr_t uPosition = m_uStackPointer;
    int iWords = m_uFunction != 0 ? kWordsOfFrame : 0;
    while (NextCall(uPosition, iWords, call))
    {
        if (call.m_uTarget >= m_uFunction && call.m_uTarget <= m_vFrames[m_uFrames - 1].m_uAddress)
        {
            m_uStackPointer = uPosition;
            return true;
        }
    }
    return false;
}

bool CStackWalk::FindAnyCall(SCall& call)
{
    return NextCall(m_uStackPointer, m_iWordsToSearch, call);
}

/// Finds the next return address on the stack, in at most iWords words. uPosition moves behind it.
bool CStackWalk::NextCall(std::uintptr_t& uPosition, int& iWords, SCall& call)
{
    constexpr std::uintptr_t kWord = sizeof(std::uintptr_t);
    uPosition = (uPosition + kWord - 1) / kWord * kWord;
    for (; iWords > 0; --iWords)
    {
        // NOLINTNEXTLINE(performance-no-int-to-ptr)
        if (!m_probe.Copy(call.m_uReturnAddress, reinterpret_cast<const void*>(uPosition)))
        {
            iWords = 0;
            return false;
        }
        uPosition += kWord;
        if (FollowsCall(m_probe, call.m_uReturnAddress, call.m_uTarget))
        {
            return true;
        }
    }
    return false;
}

/// Adds the function that a call on the stack went to, unless the last frame is already that
/// function's. If its own frame was overwritten, nothing else shows that it was called.
void CStackWalk::AddCallee(std::uintptr_t uTarget)
{
    if (uTarget != 0 && FindFunction(m_probe, uTarget) == uTarget &&
        FindFunction(m_probe, m_vFrames[m_uFrames - 1].m_uInside) != uTarget)
    {
        Add(uTarget, uTarget);
    }
}

} // namespace mu
