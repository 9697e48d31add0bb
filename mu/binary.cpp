#include "mu/binary.h"

#include <limits>

namespace
{

static_assert(std::numeric_limits<float>::is_iec559);

constexpr int kFractionBits = 23;
constexpr std::uint32_t kFraction = (1U << kFractionBits) - 1;
constexpr std::uint32_t kExponent = 0xFFU << kFractionBits;
constexpr std::uint32_t kSign = 0x80000000;

template <typename TInteger>
TInteger Round(double dValue)
{
    using TLimits = std::numeric_limits<TInteger>;
    constexpr double kEnd =
        -static_cast<double>(TLimits::min()); // the smallest number that is too large

    const double dShifted = dValue > 0 ? dValue + 0.5 : dValue - 0.5;
    if (dShifted >= kEnd)
    {
        return TLimits::max();
    }
    if (dShifted <= -kEnd)
    {
        return TLimits::min();
    }
    return dValue == dValue ? static_cast<TInteger>(dShifted) : 0;
}

} // namespace

namespace mu
{

void FloatToFourBytesLE(float fValue, void* pBytes)
{
    const auto uBits = std::bit_cast<std::uint32_t>(fValue);
    const std::uint32_t uMagnitude = uBits & ~kSign;
    std::uint32_t uExponent = uMagnitude >> kFractionBits;
    std::uint32_t uFraction = uMagnitude & kFraction;

    if (uMagnitude == 0 || uMagnitude > kExponent)
    {
        IntToFourBytesLE(0, pBytes);
        return;
    }
    if (uExponent == 0)
    {
        // Subnormal: the fraction is shifted until its first bit is the implicit one. Each place
        // lowers the exponent, which may become negative.
        const int iShift = std::countl_zero(uFraction) - (31 - kFractionBits);
        uExponent = 1U - static_cast<std::uint32_t>(iShift);
        uFraction = (uFraction << iShift) & kFraction;
    }
    if (uFraction != 0)
    {
        uFraction >>= std::countr_zero(uFraction); // on purpose, see the header
    }
    IntToFourBytesLE((uBits & kSign) | uExponent << kFractionBits | uFraction, pBytes);
}

float FloatFromFourBytesLE(const void* pBytes)
{
    const auto uBits = static_cast<std::uint32_t>(FourBytesToIntLE(pBytes));
    if (uBits == 0)
    {
        return 0;
    }
    // The outermost exponents mean infinity, NaN and subnormals to the processor. So the number is
    // read with the neighbouring exponent and then doubled or halved.
    const std::uint32_t uMagnitude = uBits & ~kSign;
    float fValue;
    if (uMagnitude < 1U << kFractionBits)
    {
        fValue = std::bit_cast<float>(uMagnitude + (1U << kFractionBits)) / 2;
    }
    else if (uMagnitude >= kExponent)
    {
        fValue = std::bit_cast<float>(uMagnitude - (1U << kFractionBits)) * 2;
    }
    else
    {
        fValue = std::bit_cast<float>(uMagnitude);
    }
    return (uBits & kSign) != 0 ? -fValue : fValue;
}

long RoundToLong(double dValue)
{
    return Round<long>(dValue);
}

int RoundToInt(double dValue)
{
    return Round<int>(dValue);
}

} // namespace mu
