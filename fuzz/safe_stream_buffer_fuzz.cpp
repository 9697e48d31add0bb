#include <cstddef>
#include <cstdint>

#include "fuzz/support/stream_buffer_model.h"

// Two bytes of the input are a step; a law that is broken leaves as an exception, which ends the
// run.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t uSize)
{
    CStreamBufferModel model;
    for (std::size_t i = 0; i + 1 < uSize; i += 2)
    {
        model.Step(pData[i], pData[i + 1] % 62 - 1);
    }
    return 0;
}
