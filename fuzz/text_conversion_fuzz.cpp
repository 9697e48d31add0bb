#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "fuzz/support/law.h"
#include "fuzz/support/plain_utf8.h"
#include "mu/unicode.h"

// Both conversions beside the plainest form of their rules, one unit or byte at a time.

namespace
{

int Length(const auto& text)
{
    return static_cast<int>(text.size());
}

void CheckDecoding(const std::string& strText, int iCapacity)
{
    const SPlainText plain = PlainDecode(strText);
    std::wstring wsOut = L"before";
    const char* szError = nullptr;
    const int iUnits = mu::ConvertString(strText.data(), Length(strText), wsOut, &szError);
    Law(wsOut == plain.m_wsText && iUnits == Length(wsOut), "decodes into a string");
    Law(szError ==
            (plain.m_uError == std::string_view::npos ? nullptr : strText.data() + plain.m_uError),
        "tells the place of the error");

    // Exactly the memory that the header asks for: the sanitizer sees what is beyond.
    const auto uCapacity = static_cast<std::size_t>(iCapacity);
    std::vector<wchar_t> vOut(uCapacity + 1, L'Z');
    const std::wstring wsCut = PlainDecode(strText, uCapacity).m_wsText;
    const int iWritten = mu::ConvertString(strText.data(), Length(strText), vOut.data(), iCapacity);
    Law(iWritten == Length(wsCut) && std::wstring_view(vOut.data(), wsCut.size()) == wsCut &&
            vOut[wsCut.size()] == L'\0',
        "decodes into a buffer");
}

void CheckEncoding(const std::vector<std::uint32_t>& vUnits)
{
    const std::string strPlain = PlainEncode(vUnits);
    const std::wstring wsText(vUnits.begin(), vUnits.end());
    const int iBytes = Length(strPlain);
    Law(mu::WideStringToNarrow(wsText) == strPlain, "encodes into a string");

    const auto CheckBuffer = [&](const auto& units, auto Measure, auto Convert)
    {
        std::vector<char> vOut(strPlain.size() + 1, 'Z');
        Law(Measure(units.data(), Length(units)) == iBytes, "measures");
        // A capacity above 4 guards nothing.
        const int iWritten = Convert(units.data(), Length(units), vOut.data(), iBytes + 5);
        Law(iWritten == iBytes && std::string(vOut.data(), strPlain.size() + 1) == strPlain + '\0',
            "encodes into a buffer");
    };
    const auto Measure = [](auto... args) { return mu::GetConvertedStringLength(args...); };
    const auto Convert = [](auto... args) { return mu::ConvertString(args...); };
    CheckBuffer(wsText, Measure, Convert);
    CheckBuffer(std::vector<unsigned long>(vUnits.begin(), vUnits.end()),
                mu::GetConvertedStringLength32, mu::ConvertString32);
}

void CheckEncodingOf16Bits(const std::vector<std::uint32_t>& vUnits)
{
    std::vector<unsigned short> vHalves;
    vHalves.reserve(vUnits.size());
    for (const std::uint32_t u : vUnits)
    {
        vHalves.push_back(static_cast<unsigned short>(u));
    }
    const std::string strPlain = PlainEncode(vHalves);
    std::vector<char> vOut(strPlain.size() + 1, 'Z');
    const int iWritten =
        mu::ConvertString16(vHalves.data(), Length(vHalves), vOut.data(), Length(strPlain) + 5);
    Law(iWritten == Length(strPlain) &&
            mu::GetConvertedStringLength16(vHalves.data(), Length(vHalves)) == iWritten &&
            std::string(vOut.data(), strPlain.size()) == strPlain,
        "encodes 16-bit units");
}

} // namespace

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
