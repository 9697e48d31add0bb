#include "mu/hex.h"

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <exception>

#include "mu/characters.h"
#include "mu/hex_block.h"
#include "mu/lengths.h"
#include "mu/text.h"

namespace
{

template <typename TChar>
int ReadTwoDigits(const TChar* pText)
{
    const int iHigh = mu::HexCharToInt(pText[0]);
    const int iLow = iHigh < 0 ? -1 : mu::HexCharToInt(pText[1]);
    return iLow < 0 ? -1 : iHigh << 4 | iLow;
}

template <typename TChar>
int ReadHex(const TChar* pText, int iMaxLength)
{
    unsigned int uValue = 0;
    for (int i = 0; i < iMaxLength && pText[i] != 0; ++i)
    {
        const int iDigit = mu::HexCharToInt(pText[i]);
        if (iDigit < 0)
        {
            return -1;
        }
        uValue = uValue << 4 | static_cast<unsigned int>(iDigit);
    }
    return static_cast<int>(uValue);
}

using mu::hex_block::kBlock;
using mu::hex_block::kEach;

/// uToLetter is added to digits above 9 besides '0': 'A' - '0' - 10 gives upper case.
void EncodeBlock(const unsigned char* puData, unsigned char uToLetter, char* szOut)
{
    std::uint16_t pairs[kBlock / 2];
    std::memcpy(pairs, puData, sizeof(pairs));
    std::uint32_t digits[kBlock / 2];
    for (std::size_t i = 0; i < kBlock / 2; ++i)
    {
        const std::uint32_t uBytes = (pairs[i] & 0xFFU) | (pairs[i] & 0xFF00U) << 8;
        const std::uint32_t uDigits = (uBytes >> 4 & 0x000F000F) | (uBytes & 0x000F000F) << 8;
        const std::uint32_t uLetters = (uDigits + 6 * kEach) >> 4 & kEach; // 1 for those above 9
        digits[i] = uDigits + '0' * kEach + (((uLetters << 8) - uLetters) & uToLetter * kEach);
    }
    std::memcpy(szOut, digits, sizeof(digits));
}

void Encode(const unsigned char* puData, std::size_t uLength, mu::ELetterCase eCase, char* szOut)
{
    const unsigned char uToLetter = (eCase == mu::ELC_UPPER ? 'A' : 'a') - '0' - 10;
    for (; uLength >= kBlock; uLength -= kBlock, puData += kBlock, szOut += 2 * kBlock)
    {
        EncodeBlock(puData, uToLetter, szOut);
    }
    if (uLength > 0)
    {
        unsigned char data[kBlock] = {};
        char szText[2 * kBlock];
        std::memcpy(data, puData, uLength);
        EncodeBlock(data, uToLetter, szText);
        std::memcpy(szOut, szText, 2 * uLength);
    }
}

bool DecodeBlock(const char* szText, unsigned char* puOut)
{
#if defined(__SSE2__) || defined(__ARM_NEON)
    return mu::hex_block::DecodeByBytes(szText, puOut);
#else
    return mu::hex_block::DecodeByWords(szText, puOut);
#endif
}

void Decode(const char* szText, std::size_t uBytes, unsigned char* puOut)
{
    while (uBytes > 0)
    {
        const std::size_t uPart = std::min(uBytes, kBlock);
        char szPadded[2 * kBlock];
        unsigned char block[kBlock];
        const char* pBlock = szText;
        if (uPart < kBlock)
        {
            std::memset(szPadded, '0', sizeof(szPadded));
            std::memcpy(szPadded, szText, 2 * uPart);
            pBlock = szPadded;
        }
        if (!DecodeBlock(pBlock, block))
        {
            for (std::size_t i = 0; i < uPart; ++i)
            {
                block[i] = static_cast<unsigned char>(ReadTwoDigits(pBlock + 2 * i));
            }
        }
        std::memcpy(puOut, block, uPart);
        szText += 2 * uPart;
        puOut += uPart;
        uBytes -= uPart;
    }
}

using TToHex = void (*)(const void* pData, int iLength, mu::ELetterCase eCase, char* szOut);

void ToHexString(TToHex ToHex, const void* pData, int iLength, mu::ELetterCase eCase,
                 std::string& strOut)
try
{
    strOut.resize(2 * mu::UnitCount(iLength));
    ToHex(pData, iLength, eCase, strOut.data());
}
catch (const std::exception&) // no memory
{
    strOut.clear();
}

} // namespace

namespace mu
{

int HexTwoCharsToInt(const char* szText)
{
    return ReadTwoDigits(szText);
}

int HexTwoCharsToInt(const wchar_t* wszText)
{
    return ReadTwoDigits(wszText);
}

int HexCharsToInt(const char* szText, int iMaxLength)
{
    return ReadHex(szText, iMaxLength);
}

int HexCharsToInt(const wchar_t* wszText, int iMaxLength)
{
    return ReadHex(wszText, iMaxLength);
}

void Int64ToHexDisplay(long long llValue, std::wstring& wsOut)
try
{
    const auto ullValue = static_cast<unsigned long long>(llValue);
    wsOut.resize(16);
    for (std::size_t i = 0; i < wsOut.size(); ++i)
    {
        wsOut[i] =
            static_cast<wchar_t>(IntToHexChar(static_cast<int>(ullValue >> (60 - 4 * i) & 0xF)));
    }
}
catch (const std::exception&) // no memory
{
    wsOut.clear();
}

void BufferToHex(const void* pData, int iLength, ELetterCase eCase, char* szOut)
{
    Encode(static_cast<const unsigned char*>(pData), UnitCount(iLength), eCase, szOut);
}

void BufferToHex(const void* pData, int iLength, ELetterCase eCase, std::string& strOut)
{
    ToHexString(BufferToHex, pData, iLength, eCase, strOut);
}

void BufferToHexRev(const void* pData, int iLength, ELetterCase eCase, char* szOut)
{
    const auto* const puData = static_cast<const unsigned char*>(pData);
    unsigned char block[kBlock];
    for (std::size_t uLeft = UnitCount(iLength); uLeft > 0;)
    {
        const std::size_t uPart = std::min(uLeft, kBlock);
        std::reverse_copy(puData + uLeft - uPart, puData + uLeft, block);
        Encode(block, uPart, eCase, szOut);
        szOut += 2 * uPart;
        uLeft -= uPart;
    }
}

void BufferToHexRev(const void* pData, int iLength, ELetterCase eCase, std::string& strOut)
{
    ToHexString(BufferToHexRev, pData, iLength, eCase, strOut);
}

int HexToBin(const char* szText, int iLength, void* pOut)
{
    const std::size_t uBytes = UnitCount(iLength) / 2;
    Decode(szText, uBytes, static_cast<unsigned char*>(pOut));
    return static_cast<int>(uBytes);
}

int HexToBinRev(const char* szText, int iLength, void* pOut)
{
    const std::size_t uBytes = UnitCount(iLength) / 2;
    unsigned char block[kBlock];
    for (std::size_t uLeft = uBytes; uLeft > 0;)
    {
        const std::size_t uPart = std::min(uLeft, kBlock);
        Decode(szText, uPart, block);
        uLeft -= uPart;
        std::reverse_copy(block, block + uPart, static_cast<unsigned char*>(pOut) + uLeft);
        szText += 2 * uPart;
    }
    return static_cast<int>(uBytes);
}

int HexDump(const void* pData, int iLength, char* szOut, int iCapacity)
{
    if (iCapacity < 1)
    {
        return 0;
    }
    constexpr std::size_t kPerLine = 16;
    const auto* puData = static_cast<const unsigned char*>(pData);
    const std::size_t uLength = UnitCount(iLength);
    int iDone = 0;
    szOut[0] = '\0';
    for (std::size_t uStart = 0; uStart < uLength; uStart += kPerLine)
    {
        char szHex[3 * kPerLine + 3];
        char szText[kPerLine + 2];
        char* pHex = szHex;
        char* pText = szText;
        for (std::size_t i = 0; i < kPerLine && uStart + i < uLength; ++i)
        {
            const unsigned char uByte = puData[uStart + i];
            *pHex++ = IntToHexChar(uByte >> 4);
            *pHex++ = IntToHexChar(uByte & 0xF);
            *pHex++ = ' ';
            *pText++ = IsAlphaNumeric(static_cast<wchar_t>(uByte)) ? static_cast<char>(uByte) : '.';
            if (i == kPerLine / 2 - 1)
            {
                *pHex++ = ' ';
                *pHex++ = ' ';
                *pText++ = ' ';
            }
        }
        *pHex = '\0';
        *pText = '\0';

        char szOffset[2 * sizeof(uStart) + 1];
        SNPrintF(szOffset, sizeof(szOffset), "%.4zx", uStart);
        char szLine[96];
        const int iLine =
            SNPrintF(szLine, sizeof(szLine), "[%4.4s]   %-50.50s  %s\r\n", szOffset, szHex, szText);
        assert(iLine > 0 && iLine < static_cast<int>(sizeof(szLine)));
        if (iLine >= iCapacity - iDone)
        {
            break;
        }
        std::memcpy(szOut + iDone, szLine, UnitCount(iLine) + 1);
        iDone += iLine;
    }
    return iDone;
}

} // namespace mu
