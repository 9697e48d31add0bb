#include <cstddef>
#include <cstdint>

#include "fuzz/support/file_laws.h"

// The input is the file.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t uSize)
{
    CheckFile({pData, pData + uSize});
    return 0;
}
