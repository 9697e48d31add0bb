#include <cstddef>
#include <cstdint>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "fuzz/support/conversion_laws.h"

// Both conversions beside the plainest form of their rules, one unit or byte at a time.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t uSize)
{
    FuzzedDataProvider input(pData, uSize);
    const int iCapacity = input.ConsumeIntegralInRange(0, 300);
    const bool bDecode = input.ConsumeBool();
    if (bDecode)
    {
        CheckDecoding(input.ConsumeRemainingBytesAsString(), iCapacity);
        return 0;
    }
    // A run repeats one unit, so that whole blocks of the fast paths are met.
    std::vector<std::uint32_t> vUnits;
    while (input.remaining_bytes() > 0)
    {
        const auto uUnit =
            input.ConsumeIntegral<std::uint32_t>() >> input.ConsumeIntegralInRange(0, 31);
        vUnits.insert(vUnits.end(), input.ConsumeIntegralInRange<std::size_t>(1, 80), uUnit);
    }
    CheckEncoding(vUnits);
    CheckEncodingOf16Bits(vUnits);
    return 0;
}
