#ifndef ZOR_DIAGNOSTICS_MACHINE_STATE_H
#define ZOR_DIAGNOSTICS_MACHINE_STATE_H

#include <cstdint>

#include <ucontext.h>
#include <unwind.h>

#include "diagnostics/readable_memory.h"

// What differs from machine to machine when a stack is walked. Known are x86-64 and ARM; on others
// a walk shows the report's own frames too, and ends where the unwinder does.

namespace mu
{

/// Where a thread stood.
struct SMachineState
{
    std::uintptr_t m_uProgramCounter;
    std::uintptr_t m_uStackPointer;
    std::uintptr_t m_uLinkRegister; ///< 0 where calls leave the return address on the stack
};

/// Where a signal interrupted its thread.
SMachineState GetInterruptedState(const ucontext_t& context);
/// Makes an unwinder that comes through the signal's frame go on at another instruction and stack
/// pointer. Returns the address by which the unwinder tells that frame.
std::uintptr_t SetInterruptedState(ucontext_t& context, std::uintptr_t uInstruction,
                                   std::uintptr_t uStackPointer);

struct SUnwoundFrame
{
    std::uintptr_t m_uAddress;
    std::uintptr_t m_uStackPointer;
    std::uintptr_t m_uFunction; ///< where the function begins, or one before it
    bool m_bInterrupted; ///< a signal came before the instruction at this address; no call returns
};
SUnwoundFrame GetUnwoundFrame(_Unwind_Context* pContext);

/// A code address without the bit by which ARM tells its instruction set.
std::uintptr_t InstructionAt(std::uintptr_t uCodeAddress);

/// Whether a call stands before the address, as before each return address. uTarget is then the
/// function that it calls, 0 if it takes it from a pointer.
bool FollowsCall(CMemoryProbe& probe, std::uintptr_t uCodeAddress, std::uintptr_t& uTarget);

} // namespace mu

#endif
