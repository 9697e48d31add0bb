#ifndef ZOR_DIAGNOSTICS_MACHINE_STATE_H
#define ZOR_DIAGNOSTICS_MACHINE_STATE_H

#include <cstdint>

#include <ucontext.h>
#include <unwind.h>

#include "diagnostics/readable_memory.h"

// What differs from machine to machine when a stack is walked. x86-64 and ARM are known; on other
// machines a walk shows the report's own frames too, and ends where the unwinder ends.

namespace mu
{

/// Where a thread executes.
struct SMachineState
{
    std::uintptr_t m_uProgramCounter;
    std::uintptr_t m_uStackPointer;
    std::uintptr_t m_uLinkRegister; ///< 0 where calls leave the return address on the stack
};

/// Where a signal interrupted its thread.
SMachineState GetInterruptedState(const ucontext_t& context);
/// Changes the context of a signal, so that an unwinder goes on from the signal's frame at this
/// instruction and stack pointer. Returns the address that the unwinder then gives for the frame.
std::uintptr_t SetInterruptedState(ucontext_t& context, std::uintptr_t uInstruction,
                                   std::uintptr_t uStackPointer);

struct SUnwoundFrame
{
    std::uintptr_t m_uAddress;
    std::uintptr_t m_uStackPointer;
    std::uintptr_t m_uFunction; ///< the start of the function, or of one before it
    bool m_bInterrupted;        ///< a signal came at this address, which is then no return address
};
SUnwoundFrame GetUnwoundFrame(_Unwind_Context* pContext);

/// A code address without its lowest bit, which on ARM tells the instruction set.
std::uintptr_t InstructionAt(std::uintptr_t uCodeAddress);

/// Whether the instruction before the address is a call, as it is before each return address.
/// uTarget becomes the address of the function that is called, 0 if the call takes it from a
/// pointer.
bool FollowsCall(CMemoryProbe& probe, std::uintptr_t uCodeAddress, std::uintptr_t& uTarget);

} // namespace mu

#endif
