#include "diagnostics/machine_state.h"

#include <cstring>

namespace mu
{

namespace
{

/// Copies the code that ends before uAddress. False if it cannot be read.
template <typename T>
bool ReadBefore(CMemoryProbe& probe, std::uintptr_t uAddress, T& code)
{
    return uAddress > sizeof(code) &&
           // NOLINTNEXTLINE(performance-no-int-to-ptr)
           probe.Copy(code, reinterpret_cast<const void*>(uAddress - sizeof(code)));
}

} // namespace

#if defined(__arm__)

SUnwoundFrame GetUnwoundFrame(_Unwind_Context* pContext)
{
    constexpr int kStackPointer = 13;
    constexpr int kProgramCounter = 15;
    return {_Unwind_GetGR(pContext, kProgramCounter), _Unwind_GetGR(pContext, kStackPointer),
            _Unwind_GetRegionStart(pContext), false};
}

std::uintptr_t InstructionAt(std::uintptr_t uCodeAddress)
{
    return uCodeAddress & ~std::uintptr_t{1};
}

#else

SUnwoundFrame GetUnwoundFrame(_Unwind_Context* pContext)
{
    int iInterrupted = 0;
    const std::uintptr_t uAddress = _Unwind_GetIPInfo(pContext, &iInterrupted);
    return {uAddress, _Unwind_GetCFA(pContext), _Unwind_GetRegionStart(pContext),
            iInterrupted != 0};
}

std::uintptr_t InstructionAt(std::uintptr_t uCodeAddress)
{
    return uCodeAddress;
}

#endif

#if defined(__x86_64__)

SMachineState GetInterruptedState(const ucontext_t& context)
{
    const auto& registers = context.uc_mcontext.gregs;
    return {static_cast<std::uintptr_t>(registers[REG_RIP]),
            static_cast<std::uintptr_t>(registers[REG_RSP]), 0};
}

std::uintptr_t SetInterruptedState(ucontext_t& context, std::uintptr_t uInstruction,
                                   std::uintptr_t uStackPointer)
{
    context.uc_mcontext.gregs[REG_RIP] = static_cast<greg_t>(uInstruction);
    context.uc_mcontext.gregs[REG_RSP] = static_cast<greg_t>(uStackPointer);
    return uInstruction;
}

namespace
{

/// The length of a "call *operand", by the operand's first byte.
int IndirectCallLength(unsigned int uOperand)
{
    const unsigned int uMode = uOperand >> 6;
    const unsigned int uBase = uOperand & 7;
    if (uMode == 3)
    {
        return 2;
    }
    const int iDisplacement = uMode == 1 ? 1 : uMode == 2 || uBase == 5 ? 4 : 0;
    return (uBase == 4 ? 3 : 2) + iDisplacement;
}

} // namespace

bool FollowsCall(CMemoryProbe& probe, std::uintptr_t uCodeAddress, std::uintptr_t& uTarget)
{
    constexpr int kLongest = 7;
    unsigned char vCode[kLongest];
    uTarget = 0;
    if (!ReadBefore(probe, uCodeAddress, vCode))
    {
        return false;
    }
    const unsigned char* const pEnd = vCode + kLongest;
    for (const int iLength : {2, 3, 4, 6, 7})
    {
        const unsigned int uOperand = pEnd[1 - iLength];
        if (pEnd[-iLength] == 0xFF && (uOperand >> 3 & 7) == 2 &&
            IndirectCallLength(uOperand) == iLength)
        {
            return true;
        }
    }
    std::int32_t iDistance = 0;
    std::memcpy(&iDistance, pEnd - sizeof(iDistance), sizeof(iDistance));
    uTarget = uCodeAddress + static_cast<std::uintptr_t>(std::intptr_t{iDistance});
    // NOLINTNEXTLINE(performance-no-int-to-ptr)
    return pEnd[-5] == 0xE8 && probe.IsReadable(reinterpret_cast<const void*>(uTarget), 1);
}

#elif defined(__arm__)

SMachineState GetInterruptedState(const ucontext_t& context)
{
    const auto& registers = context.uc_mcontext;
    return {registers.arm_pc, registers.arm_sp, registers.arm_lr};
}

std::uintptr_t SetInterruptedState(ucontext_t& context, std::uintptr_t uInstruction,
                                   std::uintptr_t uStackPointer)
{
    // The unwinder takes each address for a return address, and looks two bytes before it for the
    // function that it belongs to.
    context.uc_mcontext.arm_pc = InstructionAt(uInstruction + 2);
    context.uc_mcontext.arm_sp = uStackPointer;
    return context.uc_mcontext.arm_pc;
}

namespace
{

/// The low iBits bits of a word as a signed distance.
std::uintptr_t SignExtended(std::uint32_t uWord, int iBits)
{
    return static_cast<std::uintptr_t>(static_cast<std::int32_t>(uWord << (32 - iBits)) >>
                                       (32 - iBits));
}

bool FollowsThumbCall(CMemoryProbe& probe, std::uintptr_t uAddress, std::uintptr_t& uTarget)
{
    std::uint16_t vCode[2];
    if (!ReadBefore(probe, uAddress, vCode))
    {
        return false;
    }
    const std::uint32_t uFirst = vCode[0];
    const std::uint32_t uSecond = vCode[1];
    if ((uSecond & 0xFF87) == 0x4780) // blx register
    {
        return true;
    }
    if ((uFirst & 0xF800) != 0xF000 || (uSecond & 0xC000) != 0xC000) // bl, blx
    {
        return false;
    }
    const std::uint32_t uSign = uFirst >> 10 & 1;
    const std::uint32_t uBit23 = ~(uSecond >> 13 ^ uSign) & 1;
    const std::uint32_t uBit22 = ~(uSecond >> 11 ^ uSign) & 1;
    const std::uintptr_t uDistance = SignExtended(
        uSign << 24 | uBit23 << 23 | uBit22 << 22 | (uFirst & 0x3FF) << 12 | (uSecond & 0x7FF) << 1,
        25);
    const bool bToThumb = (uSecond & 0x1000) != 0;
    uTarget = bToThumb ? (uAddress + uDistance) | 1
                       : ((uAddress & ~std::uintptr_t{3}) + uDistance) & ~std::uintptr_t{3};
    return true;
}

bool FollowsArmCall(CMemoryProbe& probe, std::uintptr_t uAddress, std::uintptr_t& uTarget)
{
    std::uint32_t uCode = 0;
    if (!ReadBefore(probe, uAddress, uCode))
    {
        return false;
    }
    if ((uCode & 0x0FFFFFF0) == 0x012FFF30) // blx register
    {
        return true;
    }
    const std::uintptr_t uAt = uAddress + 4 + SignExtended(uCode << 2, 26);
    const bool bToThumb = (uCode & 0xFE000000) == 0xFA000000; // blx
    uTarget = bToThumb ? (uAt + (uCode >> 23 & 2)) | 1 : uAt;
    return bToThumb || ((uCode & 0x0F000000) == 0x0B000000 && uCode >> 28 != 0xF); // bl
}

} // namespace

bool FollowsCall(CMemoryProbe& probe, std::uintptr_t uCodeAddress, std::uintptr_t& uTarget)
{
    uTarget = 0;
    const std::uintptr_t uAddress = InstructionAt(uCodeAddress);
    const bool bCall = uAddress != uCodeAddress
                           ? FollowsThumbCall(probe, uAddress, uTarget)
                           : uAddress % 4 == 0 && FollowsArmCall(probe, uAddress, uTarget);
    // NOLINTNEXTLINE(performance-no-int-to-ptr)
    return bCall && (uTarget == 0 || probe.IsReadable(reinterpret_cast<const void*>(uTarget), 1));
}

#else

[[gnu::noinline]] SMachineState GetInterruptedState(const ucontext_t&)
{
    return {reinterpret_cast<std::uintptr_t>(__builtin_return_address(0)),
            reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0)), 0};
}

std::uintptr_t SetInterruptedState(ucontext_t&, std::uintptr_t uInstruction, std::uintptr_t)
{
    return uInstruction;
}

bool FollowsCall(CMemoryProbe&, std::uintptr_t, std::uintptr_t& uTarget)
{
    uTarget = 0;
    return false;
}

#endif

} // namespace mu
