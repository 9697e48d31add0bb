#include "fuzz/support/byte_block_law.h"

#include <cstdint>
#include <cstring>

#include "fuzz/support/law.h"

// The block of bytes in each form that this processor has, beside a loop over the bytes. The input
// begins with the sought byte and the limit; then come the bytes and the units.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t uSize)
{
    char aBytes[kLargestByteBlock] = {};
    wchar_t aUnits[kLargestByteBlock] = {};
    if (uSize < 2 + sizeof(aBytes) + sizeof(aUnits))
    {
        return -1;
    }
    std::memcpy(aBytes, pData + 2, sizeof(aBytes));
    std::memcpy(aUnits, pData + 2 + sizeof(aBytes), sizeof(aUnits));
    const auto chSought = static_cast<char>(pData[0] & 0x7F);
    const auto uLimit = static_cast<unsigned char>(pData[1] % 0x80 + 1);
    const char* const szBroken = BrokenByteBlockLaw(aBytes, aUnits, chSought, uLimit);
    Law(szBroken == nullptr, szBroken);
    return 0;
}
