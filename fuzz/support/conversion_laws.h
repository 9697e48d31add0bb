#ifndef ZOR_FUZZ_SUPPORT_CONVERSION_LAWS_H
#define ZOR_FUZZ_SUPPORT_CONVERSION_LAWS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/support/law.h"
#include "fuzz/support/plain_utf8.h"
#include "mu/unicode.h"
#include "tests/mu/wide.h"

// Both conversions beside the plainest form of their rules.

inline void CheckDecoding(const std::string& strText, int iCapacity)
{
    // Exactly the memory that the header asks for: the sanitizer sees what is beyond.
    const std::vector<char> vText(strText.begin(), strText.end());
    const SPlainText plain = PlainDecode(strText);
    std::wstring wsOut = L"before";
    const char* szError = "before";
    const int iUnits = mu::ConvertString(vText.data(), Length(vText), wsOut, &szError);
    Law(wsOut == plain.m_wsText && iUnits == Length(wsOut), "decodes into a string");
    Law(szError ==
            (plain.m_uError == std::string_view::npos ? nullptr : vText.data() + plain.m_uError),
        "tells the place of the error");

    const auto uCapacity = static_cast<std::size_t>(iCapacity);
    std::vector<wchar_t> vOut(uCapacity + 1, L'Z');
    const std::wstring wsCut = PlainDecode(strText, uCapacity).m_wsText;
    const int iWritten = mu::ConvertString(vText.data(), Length(vText), vOut.data(), iCapacity);
    Law(iWritten == Length(wsCut) && std::wstring_view(vOut.data(), wsCut.size()) == wsCut &&
            vOut[wsCut.size()] == L'\0',
        "decodes into a buffer");
}

inline void CheckEncoding(const std::vector<std::uint32_t>& vUnits)
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

inline void CheckEncodingOf16Bits(const std::vector<std::uint32_t>& vUnits)
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

#endif
