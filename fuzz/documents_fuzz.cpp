#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "fuzz/support/plain_document.h"

// Documents beside the plainest reader: what is read, what is written, and what is refused. The
// input is the document in UTF-8, or behind a byte FF in wide units.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t uSize)
{
    const std::string strText(pData, pData + uSize);
    if (!strText.starts_with('\xFF'))
    {
        CheckDocument(strText);
        return 0;
    }
    std::wstring wsText;
    for (std::size_t u = 1; u + 4 <= uSize; u += 4)
    {
        std::uint32_t uUnit = 0;
        std::memcpy(&uUnit, pData + u, sizeof(uUnit));
        wsText += static_cast<wchar_t>(uUnit);
    }
    CheckWideDocument(wsText);
    return 0;
}
