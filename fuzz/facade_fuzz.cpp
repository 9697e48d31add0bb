#include <cstddef>
#include <cstdint>

#include "fuzz/support/plain_tree.h"

// Operations on documents through the facade, which the input's bytes choose.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t uSize)
{
    CTreeSession({reinterpret_cast<const char*>(pData), uSize}).Run();
    return 0;
}
