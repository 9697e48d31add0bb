#include "mu/base64.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "mu/ascii_runs.h"
#include "mu/binary.h"

namespace
{

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// For each value of 12 bits the two characters that encode it.
constexpr auto kPairs = []
{
    std::array<std::array<char, 2>, 4096> pairs{};
    for (std::size_t i = 0; i < pairs.size(); ++i)
    {
        pairs[i] = {kAlphabet[i >> 6], kAlphabet[i & 63]};
    }
    return pairs;
}();

constexpr std::uint32_t kInvalid = 0xFFFFFFFF; // -1
constexpr std::uint32_t kMaxGroup = 0xFFFFFF;

/// For each of the four places in a group, the value of every character, shifted to the bits that
/// it takes in the group's 24; kInvalid if the character is not in the alphabet.
constexpr auto kValues = []
{
    std::array<std::array<std::uint32_t, 256>, 4> values{};
    for (std::size_t uPlace = 0; uPlace < values.size(); ++uPlace)
    {
        values[uPlace].fill(kInvalid);
        for (std::uint32_t uValue = 0; uValue < 64; ++uValue)
        {
            values[uPlace][static_cast<unsigned char>(kAlphabet[uValue])] = uValue
                                                                            << (18 - 6 * uPlace);
        }
    }
    return values;
}();

template <typename TChar>
int CharValue(TChar ch)
{
    const auto uChar = static_cast<std::make_unsigned_t<TChar>>(ch);
    return uChar < 256 ? static_cast<int>(kValues[3][static_cast<unsigned char>(uChar)]) : -1;
}

/// Encodes groups of three bytes, four characters each.
void EncodeGroups(const unsigned char* puData, std::size_t uGroups, char* szOut)
{
    for (; uGroups >= 2; uGroups -= 2, puData += 6, szOut += 8)
    {
        const std::uint64_t uBits =
            std::uint64_t{mu::LoadWord<std::uint32_t, std::endian::big>(puData)} << 16 |
            mu::LoadWord<std::uint16_t, std::endian::big>(puData + 4);
        for (std::size_t i = 0; i < 4; ++i)
        {
            std::memcpy(szOut + 2 * i, kPairs[uBits >> (36 - 12 * i) & 0xFFF].data(), 2);
        }
    }
    if (uGroups > 0)
    {
        const auto uBits = static_cast<std::uint32_t>(mu::ThreeBytesToIntBE(puData, false));
        std::memcpy(szOut, kPairs[uBits >> 12].data(), 2);
        std::memcpy(szOut + 2, kPairs[uBits & 0xFFF].data(), 2);
    }
}

void EncodeGroups(const unsigned char* puData, std::size_t uGroups, wchar_t* wszOut)
{
    constexpr std::size_t kAtOnce = 64;
    char szPart[4 * kAtOnce];
    while (uGroups > 0)
    {
        const std::size_t uPart = std::min(uGroups, kAtOnce);
        EncodeGroups(puData, uPart, szPart);
        mu::CopyAsciiRun(szPart, 4 * uPart, wszOut);
        puData += 3 * uPart;
        wszOut += 4 * uPart;
        uGroups -= uPart;
    }
}

template <typename TChar>
unsigned int Encode(const unsigned char* puData, unsigned int uLength, TChar* pOut,
                    unsigned int uCapacity)
{
    const unsigned int uGroups = std::min(uLength / 3, uCapacity / 4);
    EncodeGroups(puData, uGroups, pOut);
    unsigned int uDone = 4 * uGroups;
    puData += 3 * std::size_t{uGroups};
    uLength -= 3 * uGroups;
    if (uLength > 0)
    {
        // What is left is an incomplete group, or one that the capacity has no room for as a whole.
        unsigned char group[3] = {};
        std::memcpy(group, puData, std::min(uLength, 3U));
        char szGroup[4];
        EncodeGroups(group, 1, szGroup);
        std::fill(szGroup + std::min(uLength, 3U) + 1, szGroup + 4, '=');
        for (std::size_t i = 0; i < 4 && uDone < uCapacity; ++i)
        {
            pOut[uDone++] = static_cast<TChar>(szGroup[i]);
        }
    }
    if (uDone < uCapacity)
    {
        pOut[uDone] = 0;
    }
    return uDone;
}

/// The 24 bits of four characters; more than kMaxGroup if one of them is invalid.
std::uint32_t GroupBits(const char* szText)
{
    const auto Value = [szText](std::size_t i)
    { return kValues[i][static_cast<unsigned char>(szText[i])]; };
    return Value(0) | Value(1) | Value(2) | Value(3);
}

std::uint32_t GroupBits(const wchar_t* wszText)
{
    std::uint32_t uAll = 0;
    char szText[4];
    for (std::size_t i = 0; i < 4; ++i)
    {
        uAll |= static_cast<std::uint32_t>(wszText[i]);
        szText[i] = static_cast<char>(wszText[i]);
    }
    return uAll > 0x7F ? kInvalid : GroupBits(szText);
}

/// Decodes pairs of groups up to the first with an invalid character. Returns the groups decoded.
template <typename TChar>
std::size_t DecodeGroups(const TChar* pText, std::size_t uGroups, unsigned char* puOut)
{
    const TChar* const pStart = pText;
    const TChar* const pEnd = pText + 4 * (uGroups & ~std::size_t{1});
    for (; pText != pEnd; pText += 8, puOut += 6)
    {
        const std::uint32_t uFirst = GroupBits(pText);
        const std::uint32_t uSecond = GroupBits(pText + 4);
        if ((uFirst | uSecond) > kMaxGroup)
        {
            break;
        }
        mu::IntToFourBytesBE(uFirst << 8 | uSecond >> 16, puOut);
        mu::IntToTwoBytesBE(uSecond, puOut + 4);
    }
    return static_cast<std::size_t>(pText - pStart) / 4;
}

} // namespace

namespace mu
{

int base64_charvalue(char ch)
{
    return CharValue(ch);
}

int base64_charvalue(wchar_t wc)
{
    return CharValue(wc);
}

unsigned int base64_encode(const unsigned char* puData, unsigned int uLength, char* szOut,
                           unsigned int uCapacity)
{
    return Encode(puData, uLength, szOut, uCapacity);
}

unsigned int base64_encode(const unsigned char* puData, unsigned int uLength, wchar_t* wszOut,
                           unsigned int uCapacity)
{
    return Encode(puData, uLength, wszOut, uCapacity);
}

template <typename TChar>
unsigned int base64_decode_T(const TChar* pText, unsigned int uLength, unsigned char* puOut,
                             unsigned int uCapacity)
{
    unsigned int uDone = 0;
    while (uDone < uCapacity && uLength >= 4)
    {
        const auto uGroups = static_cast<unsigned int>(
            DecodeGroups(pText, std::min(uLength / 4, (uCapacity - uDone) / 3), puOut + uDone));
        pText += 4 * std::size_t{uGroups};
        uLength -= 4 * uGroups;
        uDone += 3 * uGroups;
        if (uDone == uCapacity || uLength < 4)
        {
            break;
        }

        int iValues[4];
        std::transform(pText, pText + 4, iValues, CharValue<TChar>);
        if (iValues[0] < 0)
        {
            break;
        }
        for (std::size_t i = 0; i < 3 && uDone < uCapacity; ++i)
        {
            if (iValues[i] >= 0 && iValues[i + 1] >= 0)
            {
                puOut[uDone++] = static_cast<unsigned char>(iValues[i] << (2 * i + 2) |
                                                            iValues[i + 1] >> (4 - 2 * i));
            }
        }
        pText += 4;
        uLength -= 4;
    }
    if (uDone < uCapacity)
    {
        puOut[uDone] = 0;
    }
    return uDone;
}

template unsigned int base64_decode_T(const char*, unsigned int, unsigned char*, unsigned int);
template unsigned int base64_decode_T(const wchar_t*, unsigned int, unsigned char*, unsigned int);

} // namespace mu
