#include "mu/sms_text.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>

#include "mu/lengths.h"

namespace
{

constexpr char kEscape = 0x1B;

constexpr std::wstring_view kAlphabet = L"@£$¥èéùìòÇ\nØø\rÅåΔ_ΦΓΛΩΠΨΣΘΞ\x1B"
                                        L"ÆæßÉ !\"#¤%&'()*+,-./0123456789:;<=>?¡"
                                        L"ABCDEFGHIJKLMNOPQRSTUVWXYZÄÖÑÜ§¿"
                                        L"abcdefghijklmnopqrstuvwxyzäöñüà";
static_assert(kAlphabet.size() == 128 && kAlphabet[kEscape] == kEscape);

constexpr struct
{
    char m_cSeptet;
    wchar_t m_wc;
} kExtensions[] = {
    {0x0A, L'\f'}, {0x14, L'^'}, {0x28, L'{'}, {0x29, L'}'}, {0x2F, L'\\'},
    {0x3C, L'['},  {0x3D, L'~'}, {0x3E, L']'}, {0x40, L'|'}, {0x65, L'€'},
};

constexpr wchar_t kReplacement = 0xFFFD;

constexpr bool IsSurrogate(std::uint32_t uUnit, std::uint32_t uFirst)
{
    return uUnit >= uFirst && uUnit < uFirst + 0x400;
}

constexpr bool IsHighSurrogate(std::uint32_t uUnit)
{
    return IsSurrogate(uUnit, 0xD800);
}

constexpr bool IsLowSurrogate(std::uint32_t uUnit)
{
    return IsSurrogate(uUnit, 0xDC00);
}

/// In bytes of the unpacked text; a 7-bit text has one byte a septet.
struct SLimits
{
    std::size_t m_uAlone;
    std::size_t m_uPart;
};

constexpr SLimits kSeptetLimits = {160, 153};
constexpr SLimits kUcs2Limits = {140, 134};

struct SEncodedText
{
    mu::ESmsCoding m_eCoding;
    std::string m_strBytes;
    std::vector<std::size_t> m_vEnds; ///< of the parts
};

SEncodedText EncodeParts(const std::wstring& wsText)
{
    SEncodedText text;
    const bool bSeptets = mu::TextToSeptets(wsText, text.m_strBytes);
    text.m_eCoding = bSeptets ? mu::ESmsCoding::Gsm7Bit : mu::ESmsCoding::Ucs2;
    if (!bSeptets)
    {
        text.m_strBytes = mu::TextToUcs2(wsText);
    }

    const std::string& strBytes = text.m_strBytes;
    const SLimits& limits = bSeptets ? kSeptetLimits : kUcs2Limits;
    std::size_t uEnd = 0;
    while (strBytes.size() > limits.m_uAlone && strBytes.size() - uEnd > limits.m_uPart)
    {
        uEnd += limits.m_uPart;
        // Not between an escape and its septet, nor between the surrogates of a pair.
        if (bSeptets && strBytes[uEnd - 1] == kEscape)
        {
            uEnd -= 1;
        }
        else if (!bSeptets && (strBytes[uEnd - 2] & 0xFC) == 0xD8)
        {
            uEnd -= 2;
        }
        text.m_vEnds.push_back(uEnd);
    }
    text.m_vEnds.push_back(strBytes.size());
    return text;
}

} // namespace

namespace mu
{

bool TextToSeptets(const std::wstring& wsText, std::string& strSeptets)
{
    strSeptets.clear();
    for (const wchar_t wc : wsText)
    {
        const std::size_t uSeptet = kAlphabet.find(wc);
        const auto* const pExtension =
            std::find_if(std::begin(kExtensions), std::end(kExtensions),
                         [wc](const auto& extension) { return extension.m_wc == wc; });
        if (uSeptet != std::wstring_view::npos && wc != kEscape)
        {
            strSeptets += static_cast<char>(uSeptet);
        }
        else if (pExtension != std::end(kExtensions))
        {
            strSeptets += {kEscape, pExtension->m_cSeptet};
        }
        else
        {
            strSeptets.clear();
            return false;
        }
    }
    return true;
}

std::wstring SeptetsToText(const std::string& strSeptets)
{
    std::wstring wsText;
    bool bEscaped = false;
    for (const char ch : strSeptets)
    {
        const auto cSeptet = static_cast<char>(ch & 0x7F);
        const auto* const pExtension = std::find_if(std::begin(kExtensions), std::end(kExtensions),
                                                    [cSeptet](const auto& extension)
                                                    { return extension.m_cSeptet == cSeptet; });
        if (cSeptet == kEscape)
        {
            wsText += std::wstring(bEscaped ? 1 : 0, L' ');
            bEscaped = !bEscaped;
            continue;
        }
        wsText += bEscaped && pExtension != std::end(kExtensions)
                      ? pExtension->m_wc
                      : kAlphabet[static_cast<std::size_t>(cSeptet)];
        bEscaped = false;
    }
    wsText += std::wstring(bEscaped ? 1 : 0, L' ');
    return wsText;
}

std::string PackSeptets(const std::string& strSeptets, int iFillBits)
{
    std::string strOctets;
    unsigned int uBits = 0;
    unsigned int uCount = static_cast<unsigned int>(iFillBits) & 7U;
    for (const char cSeptet : strSeptets)
    {
        uBits |= (static_cast<unsigned int>(cSeptet) & 0x7FU) << uCount;
        uCount += 7;
        if (uCount >= 8)
        {
            strOctets += static_cast<char>(uBits);
            uBits >>= 8;
            uCount -= 8;
        }
    }
    if (uCount > 0)
    {
        strOctets += static_cast<char>(uBits);
    }
    return strOctets;
}

std::string UnpackSeptets(const std::string& strOctets, int iSeptets, int iFillBits)
{
    std::string strSeptets;
    const std::size_t uFillBits = UnitCount(iFillBits);
    const std::size_t uBits = 8 * strOctets.size();
    const std::size_t uHeld = uBits > uFillBits ? (uBits - uFillBits) / 7 : 0;
    const std::size_t uSeptets = std::min(UnitCount(iSeptets), uHeld);
    for (std::size_t i = 0; i < uSeptets; ++i)
    {
        const std::size_t uBit = uFillBits + 7 * i;
        const std::size_t uOctet = uBit / 8;
        unsigned int uPair = static_cast<unsigned char>(strOctets[uOctet]);
        if (uOctet + 1 < strOctets.size())
        {
            uPair |= static_cast<unsigned int>(static_cast<unsigned char>(strOctets[uOctet + 1]))
                     << 8;
        }
        strSeptets += static_cast<char>(uPair >> uBit % 8 & 0x7FU);
    }
    return strSeptets;
}

std::string TextToUcs2(const std::wstring& wsText)
{
    std::string strOctets;
    const auto Append = [&strOctets](std::uint32_t uUnit) {
        strOctets += {static_cast<char>(uUnit >> 8), static_cast<char>(uUnit)};
    };
    for (const wchar_t wc : wsText)
    {
        const auto uCode = static_cast<std::uint32_t>(wc);
        if (uCode > 0x10FFFF || IsHighSurrogate(uCode) || IsLowSurrogate(uCode))
        {
            Append(kReplacement);
        }
        else if (uCode > 0xFFFF)
        {
            Append(0xD800 + ((uCode - 0x10000) >> 10));
            Append(0xDC00 + (uCode & 0x3FF));
        }
        else
        {
            Append(uCode);
        }
    }
    return strOctets;
}

std::wstring Ucs2ToText(const std::string& strOctets)
{
    const auto Unit = [&strOctets](std::size_t i) -> std::uint32_t
    {
        return i + 1 < strOctets.size()
                   ? static_cast<std::uint32_t>(static_cast<unsigned char>(strOctets[i]) << 8 |
                                                static_cast<unsigned char>(strOctets[i + 1]))
                   : 0;
    };
    std::wstring wsText;
    for (std::size_t i = 0; i + 1 < strOctets.size(); i += 2)
    {
        const std::uint32_t uUnit = Unit(i);
        const std::uint32_t uNext = Unit(i + 2);
        if (IsHighSurrogate(uUnit) && IsLowSurrogate(uNext))
        {
            wsText += static_cast<wchar_t>(0x10000 + ((uUnit & 0x3FF) << 10 | (uNext & 0x3FF)));
            i += 2;
        }
        else
        {
            const bool bHalf = IsHighSurrogate(uUnit) || IsLowSurrogate(uUnit);
            wsText += bHalf ? kReplacement : static_cast<wchar_t>(uUnit);
        }
    }
    return wsText;
}

ESmsCoding ChooseSmsCoding(const std::wstring& wsText)
{
    std::string strSeptets;
    return TextToSeptets(wsText, strSeptets) ? ESmsCoding::Gsm7Bit : ESmsCoding::Ucs2;
}

int CountSmsParts(const std::wstring& wsText)
{
    return IntCount(EncodeParts(wsText).m_vEnds.size());
}

bool SplitSmsText(const std::wstring& wsText, unsigned char uReference,
                  std::vector<SSmsPart>& vParts)
{
    vParts.clear();
    const SEncodedText text = EncodeParts(wsText);
    const std::size_t uParts = text.m_vEnds.size();
    if (uParts > 255)
    {
        return false;
    }
    std::size_t uStart = 0;
    for (const std::size_t uEnd : text.m_vEnds)
    {
        const std::string strPiece = text.m_strBytes.substr(uStart, uEnd - uStart);
        SSmsPart part;
        if (uParts > 1)
        {
            // The header: five octets follow, which are element 0 (a concatenated message) with its
            // three octets.
            part.m_strUserData = {5,
                                  0,
                                  3,
                                  static_cast<char>(uReference),
                                  static_cast<char>(uParts),
                                  static_cast<char>(vParts.size() + 1)};
        }
        if (text.m_eCoding == ESmsCoding::Gsm7Bit)
        {
            // Septets begin at a multiple of seven bits. The header has 48 bits, so one fill bit
            // follows it, and the two count as seven septets.
            part.m_iUserDataLength = IntCount(strPiece.size()) + (uParts > 1 ? 7 : 0);
            part.m_strUserData += PackSeptets(strPiece, uParts > 1 ? 1 : 0);
        }
        else
        {
            part.m_strUserData += strPiece;
            part.m_iUserDataLength = IntCount(part.m_strUserData.size());
        }
        vParts.push_back(part);
        uStart = uEnd;
    }
    return true;
}

} // namespace mu
