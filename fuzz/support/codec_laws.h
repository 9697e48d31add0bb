#ifndef ZOR_FUZZ_SUPPORT_CODEC_LAWS_H
#define ZOR_FUZZ_SUPPORT_CODEC_LAWS_H

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/support/law.h"
#include "mu/base64.h"
#include "mu/crc7.h"
#include "mu/hex.h"
#include "mu/hex_block.h"
#include "mu/mail_body.h"
#include "mu/sms_text.h"
#include "mu/strings_map.h"
#include "mu/unicode.h"
#include "mu/url.h"
#include "tests/mu/wide.h"

// Each codec beside the plainest form of its rule, or under a law of its own.

inline int PlainDigit(char ch)
{
    const std::string_view svDigits = "0123456789abcdef";
    const std::size_t u =
        svDigits.find(static_cast<char>(std::tolower(static_cast<unsigned char>(ch))));
    return ch != '\0' && u != std::string_view::npos ? static_cast<int>(u) : -1;
}

/// Each form of a block, of which a processor uses one.
inline void CheckHexBlock(std::string strText)
{
    strText.resize(2 * mu::hex_block::kBlock, '0');
    const bool bDigits =
        std::all_of(strText.begin(), strText.end(), [](char ch) { return PlainDigit(ch) >= 0; });
    for (auto* const pDecode : {mu::hex_block::DecodeByBytes, mu::hex_block::DecodeByWords})
    {
        unsigned char block[mu::hex_block::kBlock];
        Law(pDecode(strText.data(), block) == bDigits, "blocks of digits, no others");
        for (std::size_t i = 0; bDigits && i < mu::hex_block::kBlock; ++i)
        {
            Law(block[i] == 16 * PlainDigit(strText[2 * i]) + PlainDigit(strText[2 * i + 1]),
                "bytes of a block");
        }
    }
}

inline void CheckHex(const std::string& strData)
{
    std::string strPlain;
    for (const char ch : strData)
    {
        char szPair[3];
        std::snprintf(szPair, sizeof(szPair), "%02x",
                      static_cast<unsigned int>(static_cast<unsigned char>(ch)));
        strPlain += szPair;
    }
    const std::string strReversed(strData.rbegin(), strData.rend());
    std::string strHex;
    std::string strHexReversed(strPlain.size() + 1, 'Z');
    mu::BufferToHex(strData.data(), Length(strData), mu::ELC_LOWER, strHex);
    mu::BufferToHexRev(strReversed.data(), Length(strData), mu::ELC_LOWER, strHexReversed.data());
    Law(strHex == strPlain, "hex of bytes");
    Law(strHexReversed == strPlain + 'Z', "hex of reversed bytes");
    std::transform(strPlain.begin(), strPlain.end(), strPlain.begin(), ::toupper);
    mu::BufferToHexRev(strReversed.data(), Length(strData), mu::ELC_UPPER, strHex);
    mu::BufferToHex(strData.data(), Length(strData), mu::ELC_UPPER, strHexReversed.data());
    Law(strHex == strPlain && strHexReversed == strPlain + 'Z', "upper case");

    // The data themselves as text.
    CheckHexBlock(strData);
    const std::size_t uPairs = strData.size() / 2;
    std::vector<unsigned char> vBytes(uPairs + 1, 'Z');
    std::vector<unsigned char> vReversed(uPairs + 1, 'Z');
    Law(mu::HexToBin(strData.data(), Length(strData), vBytes.data()) == Length(vBytes) - 1 &&
            mu::HexToBinRev(strData.data(), Length(strData), vReversed.data()) ==
                Length(vBytes) - 1 &&
            vBytes.back() == 'Z' && vReversed.back() == 'Z',
        "counts pairs");
    for (std::size_t i = 0; i < uPairs; ++i)
    {
        const int iHigh = PlainDigit(strData[2 * i]);
        const int iLow = PlainDigit(strData[2 * i + 1]);
        const int iByte = iHigh < 0 || iLow < 0 ? 0xFF : 16 * iHigh + iLow;
        Law(vBytes[i] == iByte && vReversed[uPairs - 1 - i] == iByte, "bytes of hex");
    }
}

constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

inline std::string PlainBase64Decode(std::string_view svText, std::size_t uCapacity)
{
    const auto Value = [](char ch)
    {
        const std::size_t u = kAlphabet.find(ch);
        return u == std::string_view::npos ? -1 : static_cast<int>(u);
    };
    std::string strOut;
    for (; svText.size() >= 4 && strOut.size() < uCapacity; svText.remove_prefix(4))
    {
        const int v[] = {Value(svText[0]), Value(svText[1]), Value(svText[2]), Value(svText[3])};
        if (v[0] < 0)
        {
            break;
        }
        for (int i = 0; i < 3 && strOut.size() < uCapacity; ++i)
        {
            if (v[i] >= 0 && v[i + 1] >= 0)
            {
                strOut += static_cast<char>(v[i] << (2 * i + 2) | v[i + 1] >> (4 - 2 * i));
            }
        }
    }
    return strOut;
}

inline void CheckBase64(const std::string& strData, unsigned int uCapacity)
{
    const auto* const puData = reinterpret_cast<const unsigned char*>(strData.data());
    const auto uLength = static_cast<unsigned int>(strData.size());

    std::string strText((strData.size() + 2) / 3 * 4, 'Z');
    Law(mu::base64_encode(puData, uLength, strText.data(),
                          static_cast<unsigned int>(strText.size())) == strText.size() &&
            PlainBase64Decode(strText, strData.size()) == strData,
        "base64 there and back");
    const auto CheckCut = [&](auto unit)
    {
        std::vector<decltype(unit)> vCut(uCapacity + 1, unit);
        const unsigned int uCut = mu::base64_encode(puData, uLength, vCut.data(), uCapacity);
        Law(std::equal(vCut.data(), vCut.data() + uCut, strText.data()) &&
                uCut == std::min<std::size_t>(uCapacity, strText.size()) &&
                vCut[uCut] == (uCut < uCapacity ? 0 : unit),
            "base64, cut by the capacity");
    };
    CheckCut('Z');
    CheckCut(L'Z');

    const std::string strPlain = PlainBase64Decode(strData, uCapacity);
    const std::wstring wsData(puData, puData + uLength);
    std::vector<unsigned char> vOut(uCapacity + 1, 'Z');
    std::vector<unsigned char> vOutOfWide(vOut);
    const unsigned int uBytes = mu::base64_decode(strData.data(), uLength, vOut.data(), uCapacity);
    Law(uBytes == strPlain.size() &&
            std::equal(strPlain.begin(), strPlain.end(), vOut.begin(),
                       [](char ch, unsigned char u)
                       { return static_cast<unsigned char>(ch) == u; }) &&
            vOut[uBytes] == (uBytes < uCapacity ? 0 : 'Z'),
        "bytes of base64");
    mu::base64_decode(wsData.data(), uLength, vOutOfWide.data(), uCapacity);
    Law(vOut == vOutOfWide, "wide text is read like narrow text");
}

inline void CheckCrc7(unsigned char uStart, const std::string& strData)
{
    unsigned int uCrc = uStart;
    for (const char ch : strData)
    {
        uCrc = (uCrc << 1 ^ static_cast<unsigned char>(ch)) & 0xFF;
        for (int i = 0; i < 8; ++i)
        {
            uCrc = (uCrc & 0x80) != 0 ? (uCrc ^ 0x89) << 1 : uCrc << 1;
        }
        uCrc >>= 1;
    }
    Law(mu::CalcCRC7(uStart, strData.data(), static_cast<unsigned int>(strData.size())) == uCrc,
        "CRC-7 bit by bit");
}

inline void CheckUrl(const std::string& strText)
{
    std::string strURL = strText;
    mu::EncodeURL(strURL);
    Law(std::all_of(strURL.begin(), strURL.end(),
                    [](char ch)
                    {
                        return std::isalnum(static_cast<unsigned char>(ch)) != 0 ||
                               std::string_view("-._~%").find(ch) != std::string_view::npos;
                    }),
        "a URL has only characters of URLs");
    mu::DecodeURL(strURL);
    Law(strURL == strText, "URL there and back");

    CURLParamsMap params;
    params.FromBuffer(strText.data(), Length(strText));
    CURLParamsMap again;
    const std::string strQuery = params.ToString();
    again.FromBuffer(strQuery.data(), Length(strQuery));
    Law(again == params, "a query there and back");

    std::string strPath = "before";
    if (mu::ParseRequestObject(strText.data(), Length(strText), strPath, params))
    {
        const std::string strWhole = strPath + '/';
        Law(strPath.starts_with('/') && strPath.find('\0') == std::string::npos &&
                strWhole.find("/../") == std::string::npos &&
                strWhole.find("/./") == std::string::npos,
            "a path stays below its root");
    }
    else
    {
        Law(strPath == "before", "a refused target changes nothing");
    }
}

inline void CheckCookies(const std::string& strHeader)
{
    CBasicStringsMap cookies;
    cookies.FromCookieHeader(strHeader.data(), Length(strHeader));
    std::string strAgain;
    for (const auto& [strName, strValue] : cookies)
    {
        Law(!strName.empty() && strName.find_first_of("=;") == std::string::npos &&
                strValue.find(';') == std::string::npos,
            "names and values of cookies");
        strAgain.append(strName).append("=").append(strValue).append(";");
    }
    CBasicStringsMap again;
    again.FromCookieHeader(strAgain.data(), Length(strAgain));
    Law(again == cookies, "cookies there and back");
}

inline void CheckMail(const std::string& strText)
{
    std::string strBody;
    mu::CharsToMailBody(strText.data(), Length(strText), strBody);
    std::size_t uLine = 0;
    for (std::size_t i = 0; i < strBody.size(); ++i)
    {
        const bool bBreak = strBody[i] == '\r';
        Law(!bBreak || (i + 1 < strBody.size() && strBody[i + 1] == '\n'), "CR stands before LF");
        Law(strBody[i] != '\n' || (i > 0 && strBody[i - 1] == '\r'), "LF stands behind CR");
        Law(strBody[i] != '\0', "no NUL");
        uLine = bBreak || strBody[i] == '\n' ? 0 : uLine + 1;
        Law(uLine <= 998, "lines of at most 998 characters");
    }
}

inline void CheckSms(const std::string& strText)
{
    std::wstring wsText;
    mu::ConvertString(strText.data(), Length(strText), wsText);
    std::vector<mu::SSmsPart> vParts;
    std::string strSeptets;
    if (mu::TextToSeptets(wsText, strSeptets))
    {
        Law(mu::SeptetsToText(strSeptets) == wsText, "septets there and back");
        for (int iFill = 0; iFill < 7; ++iFill)
        {
            Law(mu::UnpackSeptets(mu::PackSeptets(strSeptets, iFill), Length(strSeptets), iFill) ==
                    strSeptets,
                "packed there and back");
        }
    }
    mu::SeptetsToText(strText);
    const std::string strUcs2 = mu::TextToUcs2(wsText);
    Law(mu::TextToUcs2(mu::Ucs2ToText(strUcs2)) == strUcs2, "UCS-2 there and back");
    if (mu::SplitSmsText(wsText, 7, vParts))
    {
        Law(Length(vParts) == mu::CountSmsParts(wsText), "counts the parts that it makes");
        Law(std::all_of(vParts.begin(), vParts.end(),
                        [](const mu::SSmsPart& part) { return part.m_strUserData.size() <= 140; }),
            "a message has at most 140 octets");
    }
}

#endif
