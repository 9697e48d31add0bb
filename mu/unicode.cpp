#include "mu/unicode.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <exception>

#include "mu/ascii_runs.h"
#include "mu/lengths.h"

namespace
{

constexpr std::uint32_t kLastEncoded = 0x10FFFE;

/// The longest text whose bytes, with a terminator, an int can count.
constexpr int kMostBytes = INT_MAX - 1;

/// A string may keep this many spare units: to free them would not be worth another allocation.
constexpr std::size_t kShortText = 64;

/// EncodeIntoString() encodes so many units at a time.
constexpr std::size_t kPiece = 256;

/// The unit's code point. A 64-bit unit above the last code point becomes 0xFFFFFFFF, which is left
/// out as well.
template <typename TUnit>
std::uint32_t CodePoint(TUnit unit)
{
    if constexpr (sizeof(TUnit) > sizeof(std::uint32_t))
    {
        return unit > kLastEncoded ? UINT32_MAX : static_cast<std::uint32_t>(unit);
    }
    else
    {
        return static_cast<std::uint32_t>(unit);
    }
}

template <typename TUnit>
std::size_t CountAbove(const TUnit* pText, std::size_t uLength, std::uint32_t uLimit)
{
    std::uint32_t uCount = 0; // as wide as a unit: both fit the same vectors
    for (std::size_t i = 0; i < uLength; ++i)
    {
        uCount += CodePoint(pText[i]) > uLimit ? 1U : 0U;
    }
    return uCount;
}

template <typename TUnit>
std::size_t EncodedLength(const TUnit* pText, std::size_t uLength)
{
    // Most blocks have only short sequences. So the units of longer ones are counted only in blocks
    // that have any.
    constexpr std::size_t kBlock = 256;

    std::size_t uBytes = uLength;
    while (uLength > 0)
    {
        const std::size_t uBlock = std::min(uLength, kBlock);
        std::uint32_t uAll = 0;
        for (std::size_t i = 0; i < uBlock; ++i)
        {
            uAll |= CodePoint(pText[i]);
        }
        if (uAll > 0x7F)
        {
            uBytes += CountAbove(pText, uBlock, 0x7F);
        }
        if (uAll > 0x7FF)
        {
            uBytes += CountAbove(pText, uBlock, 0x7FF);
        }
        if (uAll > 0xFFFF)
        {
            uBytes +=
                CountAbove(pText, uBlock, 0xFFFF) - 4 * CountAbove(pText, uBlock, kLastEncoded);
        }
        pText += uBlock;
        uLength -= uBlock;
    }
    return uBytes;
}

char ContinuationByte(std::uint32_t uBits)
{
    return static_cast<char>(0x80 | (uBits & 0x3F));
}

/// Encodes without a terminator; the first sequence of more than iLongest bytes ends the text.
/// Returns the end of the output.
template <typename TUnit>
char* Encode(const TUnit* pText, std::size_t uLength, char* szOut, int iLongest)
{
    const TUnit* const pEnd = pText + uLength;
    while (pText != pEnd)
    {
        const std::uint32_t u = CodePoint(*pText);
        if (u <= 0x7F)
        {
            const std::size_t uRun =
                mu::CopyAsciiRun(pText, static_cast<std::size_t>(pEnd - pText), szOut);
            pText += uRun;
            szOut += uRun;
            continue;
        }
        if (u <= 0x7FF)
        {
            if (iLongest < 2)
            {
                break;
            }
            szOut[0] = static_cast<char>(0xC0 | u >> 6);
            szOut[1] = ContinuationByte(u);
            szOut += 2;
        }
        else if (u <= 0xFFFF)
        {
            if (iLongest < 3)
            {
                break;
            }
            szOut[0] = static_cast<char>(0xE0 | u >> 12);
            szOut[1] = ContinuationByte(u >> 6);
            szOut[2] = ContinuationByte(u);
            szOut += 3;
        }
        else if (u <= kLastEncoded)
        {
            if (iLongest < 4)
            {
                break;
            }
            szOut[0] = static_cast<char>(0xF0 | u >> 18);
            szOut[1] = ContinuationByte(u >> 12);
            szOut[2] = ContinuationByte(u >> 6);
            szOut[3] = ContinuationByte(u);
            szOut += 4;
        }
        ++pText;
    }
    return szOut;
}

/// How many units can be encoded before their bytes and the terminator are more than an int can
/// count.
template <typename TUnit>
std::size_t CountableUnits(const TUnit* pText, std::size_t uLength)
{
    if (uLength <= std::size_t{kMostBytes} / 4)
    {
        return uLength;
    }
    std::size_t uBytes = 0;
    for (std::size_t uUnits = 0; uUnits < uLength; ++uUnits)
    {
        uBytes += EncodedLength(pText + uUnits, 1);
        if (uBytes > std::size_t{kMostBytes})
        {
            return uUnits;
        }
    }
    return uLength;
}

/// A string that had to grow for a text keeps no more than a quarter above what the text takes.
template <typename TString>
void ReturnSpareMemory(TString& text, std::size_t uCapacityBefore)
{
    if (text.capacity() > uCapacityBefore &&
        text.capacity() - text.size() > kShortText + text.size() / 4)
    {
        text.shrink_to_fit();
    }
}

template <typename TUnit>
int EncodeIntoBuffer(const TUnit* pText, int iLength, char* szOut, int iCapacity)
{
    if (iCapacity < 1)
    {
        return 0;
    }
    char* szEnd = szOut;
    if (iCapacity > 1)
    {
        szEnd = Encode(pText, CountableUnits(pText, mu::UnitCount(iLength)), szOut,
                       std::min(iCapacity - 1, 4));
    }
    *szEnd = '\0';
    return static_cast<int>(szEnd - szOut);
}

void EncodeIntoString(const wchar_t* wszText, std::size_t uLength, std::string& strOut)
try
{
    const std::size_t uCapacity = strOut.capacity();
    strOut.resize(uLength);
    std::size_t uDone = mu::CopyAsciiRun(wszText, uLength, strOut.data());
    strOut.resize(uDone); // often all of it

    // Measuring the rest first, or growing the string by what it may take at most, is slower.
    char szPiece[4 * kPiece];
    while (uDone < uLength)
    {
        const std::size_t uPiece = std::min(uLength - uDone, kPiece);
        strOut.append(szPiece, Encode(wszText + uDone, uPiece, szPiece, 4));
        uDone += uPiece;
    }
    ReturnSpareMemory(strOut, uCapacity);
}
catch (const std::exception&) // no memory
{
    strOut.clear();
}

bool IsContinuation(unsigned char uByte)
{
    return (uByte & 0xC0) == 0x80;
}

std::ptrdiff_t SequenceLength(unsigned char uLead)
{
    return uLead < 0x80 ? 1 : uLead <= 0xDF ? 2 : uLead <= 0xEF ? 3 : 4;
}

/// How far a conversion came.
struct SProgress
{
    const unsigned char* m_pText;
    wchar_t* m_wszOut;
};

/// Decodes well-formed sequences of kBytes each, as many as follow one another. The bytes of a
/// sequence are read as one number, so that one comparison checks them all. A sequence of three
/// bytes is read as four, so the last one of a text may be left to the caller.
template <std::ptrdiff_t kBytes>
SProgress DecodeRun(const unsigned char* p, const unsigned char* pEnd, wchar_t* wszOut,
                    const wchar_t* wszOutEnd)
{
    static_assert(kBytes == 2 || kBytes == 3);
    constexpr std::ptrdiff_t kReadBehind = kBytes - 2; // bytes behind a sequence that are read
    const std::ptrdiff_t iMost = std::min((pEnd - p - kReadBehind) / kBytes, wszOutEnd - wszOut);
    for (std::ptrdiff_t i = 0; i < iMost; ++i, p += kBytes)
    {
        std::uint32_t u = std::uint32_t{p[0]} | std::uint32_t{p[1]} << 8;
        if constexpr (kBytes == 2)
        {
            if ((u & 0xC0E0) != 0x80C0)
            {
                break;
            }
            *wszOut++ = static_cast<wchar_t>((u & 0x1F) << 6 | (u >> 8 & 0x3F));
        }
        else
        {
            u |= std::uint32_t{p[2]} << 16 | std::uint32_t{p[3]} << 24;
            if ((u & 0xC0C0F0) != 0x8080E0)
            {
                break;
            }
            *wszOut++ =
                static_cast<wchar_t>((u & 0x0F) << 12 | (u >> 2 & 0x0FC0) | (u >> 16 & 0x3F));
        }
    }
    return {p, wszOut};
}

/// Stops at the end of the text or of the room, and at a sequence that is malformed or cut off.
SProgress Decode(const unsigned char* p, const unsigned char* pEnd, wchar_t* wszOut,
                 wchar_t* wszOutEnd)
{
    while (p != pEnd && wszOut != wszOutEnd)
    {
        const std::uint32_t uLead = *p;
        const auto uLeft = static_cast<std::size_t>(pEnd - p);
        if (uLead < 0x80)
        {
            const auto uRoom = static_cast<std::size_t>(wszOutEnd - wszOut);
            const std::size_t uRun =
                mu::CopyAsciiRun(reinterpret_cast<const char*>(p), std::min(uLeft, uRoom), wszOut);
            p += uRun;
            wszOut += uRun;
        }
        else if (uLead <= 0xDF)
        {
            if (uLeft < 2 || !IsContinuation(p[1]))
            {
                break;
            }
            *wszOut++ = static_cast<wchar_t>((uLead & 0x1F) << 6 | (p[1] & 0x3FU));
            const SProgress run = DecodeRun<2>(p + 2, pEnd, wszOut, wszOutEnd);
            p = run.m_pText;
            wszOut = run.m_wszOut;
        }
        else if (uLead <= 0xEF)
        {
            if (uLeft < 3 || !IsContinuation(p[1]) || !IsContinuation(p[2]))
            {
                break;
            }
            *wszOut++ =
                static_cast<wchar_t>((uLead & 0x0F) << 12 | (p[1] & 0x3FU) << 6 | (p[2] & 0x3FU));
            const SProgress run = DecodeRun<3>(p + 3, pEnd, wszOut, wszOutEnd);
            p = run.m_pText;
            wszOut = run.m_wszOut;
        }
        else
        {
            if (uLeft < 4 || !IsContinuation(p[1]) || !IsContinuation(p[2]) ||
                !IsContinuation(p[3]))
            {
                break;
            }
            *wszOut++ = static_cast<wchar_t>((uLead & 0x07) << 18 | (p[1] & 0x3FU) << 12 |
                                             (p[2] & 0x3FU) << 6 | (p[3] & 0x3FU));
            p += 4;
        }
    }
    return {p, wszOut};
}

/// For a conversion that stopped at pText: the byte after the first of the malformed sequence
/// there; null if the text ended there, or inside that sequence.
const char* ErrorPosition(const unsigned char* pText, const unsigned char* pEnd)
{
    if (pText == pEnd || pEnd - pText < SequenceLength(*pText))
    {
        return nullptr;
    }
    return reinterpret_cast<const char*>(pText) + 1;
}

/// Returns where the conversion stopped.
const unsigned char* DecodeIntoString(const unsigned char* pText, const unsigned char* pEnd,
                                      std::wstring& wsOut)
try
{
    const std::size_t uCapacity = wsOut.capacity();
    wsOut.resize(static_cast<std::size_t>(pEnd - pText)); // no unit takes less than a byte
    const SProgress progress = Decode(pText, pEnd, wsOut.data(), wsOut.data() + wsOut.size());
    wsOut.resize(static_cast<std::size_t>(progress.m_wszOut - wsOut.data()));
    ReturnSpareMemory(wsOut, uCapacity);
    return progress.m_pText;
}
catch (const std::exception&) // no memory
{
    wsOut.clear();
    return pEnd;
}

} // namespace

namespace mu
{

int GetConvertedStringLength(const wchar_t* wszText, int iLength)
{
    return IntCount(EncodedLength(wszText, UnitCount(iLength)), kMostBytes);
}

int GetConvertedStringLength32(const unsigned long* pText, int iLength)
{
    return IntCount(EncodedLength(pText, UnitCount(iLength)), kMostBytes);
}

int GetConvertedStringLength16(const unsigned short* pText, int iLength)
{
    return IntCount(EncodedLength(pText, UnitCount(iLength)), kMostBytes);
}

int ConvertString(const wchar_t* wszText, int iLength, char* szOut, int iCapacity)
{
    return EncodeIntoBuffer(wszText, iLength, szOut, iCapacity);
}

int ConvertString32(const unsigned long* pText, int iLength, char* szOut, int iCapacity)
{
    return EncodeIntoBuffer(pText, iLength, szOut, iCapacity);
}

int ConvertString16(const unsigned short* pText, int iLength, char* szOut, int iCapacity)
{
    return EncodeIntoBuffer(pText, iLength, szOut, iCapacity);
}

int ConvertString(const wchar_t* wszText, int iLength, std::string& strOut)
{
    EncodeIntoString(wszText, UnitCount(iLength), strOut);
    return IntCount(strOut.size(), kMostBytes);
}

std::string WideStringToNarrow(const std::wstring& wsText)
{
    std::string strOut;
    EncodeIntoString(wsText.data(), wsText.size(), strOut);
    return strOut;
}

int ConvertString(const char* szText, int iLength, wchar_t* wszOut, int iCapacity)
{
    if (iCapacity < 0)
    {
        return 0;
    }
    const auto* const pText = reinterpret_cast<const unsigned char*>(szText);
    wchar_t* const wszEnd =
        Decode(pText, pText + UnitCount(iLength), wszOut, wszOut + iCapacity).m_wszOut;
    *wszEnd = L'\0';
    return static_cast<int>(wszEnd - wszOut);
}

int ConvertString(const char* szText, int iLength, std::wstring& wsOut,
                  const char** pszErrorPosition)
{
    const auto* const pText = reinterpret_cast<const unsigned char*>(szText);
    const auto* const pEnd = pText + UnitCount(iLength);
    const auto* const pStop = DecodeIntoString(pText, pEnd, wsOut);
    if (pszErrorPosition != nullptr)
    {
        *pszErrorPosition = ErrorPosition(pStop, pEnd);
    }
    return static_cast<int>(wsOut.size());
}

int ConvertString(const char* szText, int iLength, std::wstring& wsOut)
{
    return ConvertString(szText, iLength, wsOut, nullptr);
}

} // namespace mu
