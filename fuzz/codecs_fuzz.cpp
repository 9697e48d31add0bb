#include <cstddef>
#include <cstdint>
#include <string>

#include <fuzzer/FuzzedDataProvider.h>

#include "fuzz/support/codec_laws.h"
#include "mu/html.h"

// Data as text and back, each codec under its law.

namespace
{

void CheckPaging(FuzzedDataProvider& input)
{
    const int iFrom = input.ConsumeIntegral<int>();
    const int iSize = input.ConsumeIntegral<int>();
    const int iCount = input.ConsumeIntegral<int>();
    std::string strHTML;
    const int iFirst = mu::AddHTMLPagingBlock(strHTML, iFrom, iSize, iCount);
    Law(iFirst >= 0 && (iFirst == 0 || iFirst < iCount), "a page begins at a row that is there");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t uSize)
{
    FuzzedDataProvider input(pData, uSize);
    const auto uCodec = input.ConsumeIntegralInRange(0, 7);
    const auto uNumber = input.ConsumeIntegral<unsigned char>();
    if (uCodec == 7)
    {
        CheckPaging(input);
        return 0;
    }
    // Text that repeats reaches the long blocks.
    std::string strText;
    const auto uTimes = input.ConsumeIntegralInRange(1, 40);
    const std::string strPiece = input.ConsumeRemainingBytesAsString();
    for (int i = 0; i < uTimes; ++i)
    {
        strText += strPiece;
    }
    switch (uCodec)
    {
    case 0:
        CheckHex(strText);
        break;
    case 1:
        CheckBase64(strText, uNumber);
        break;
    case 2:
        CheckCrc7(uNumber & 0x7F, strText);
        break;
    case 3:
        CheckUrl(strText);
        break;
    case 4:
        CheckCookies(strText);
        break;
    case 5:
        CheckMail(strText);
        break;
    default:
        CheckSms(strText);
        break;
    }
    return 0;
}
