#include "mu/numbers.h"

#include <cassert>
#include <charconv>
#include <climits>
#include <clocale>
#include <cwchar>
#include <string_view>

#include "mu/lengths.h"

namespace
{

struct SInteger
{
    bool m_bNegative;
    unsigned long long m_ullMagnitude;
};

template <typename TChar>
bool IsWhiteSpace(TChar ch)
{
    return ch == ' ' || (ch >= '\t' && ch <= '\r');
}

/// Reads white space, a sign and digits. A magnitude beyond ullLimit, which is at least 9, becomes
/// ullLimit.
template <typename TChar>
SInteger ReadInteger(const TChar* pText, const TChar* pEnd, unsigned long long ullLimit)
{
    assert(ullLimit >= 9);
    while (pText != pEnd && IsWhiteSpace(*pText))
    {
        ++pText;
    }

    SInteger integer = {false, 0};
    if (pText != pEnd && (*pText == '-' || *pText == '+'))
    {
        integer.m_bNegative = *pText++ == '-';
    }

    for (; pText != pEnd && *pText >= '0' && *pText <= '9'; ++pText)
    {
        const auto ullDigit = static_cast<unsigned long long>(*pText - '0');
        if (integer.m_ullMagnitude > (ullLimit - ullDigit) / 10)
        {
            integer.m_ullMagnitude = ullLimit;
            return integer;
        }
        integer.m_ullMagnitude = integer.m_ullMagnitude * 10 + ullDigit;
    }
    return integer;
}

template <typename TSigned, typename TChar>
TSigned ReadSigned(const TChar* pText, const TChar* pEnd, TSigned maximum)
{
    // The lowest number is -(maximum + 1): its magnitude fits only the unsigned type.
    const auto ullMaximum = static_cast<unsigned long long>(maximum);
    const SInteger integer = ReadInteger(pText, pEnd, ullMaximum + 1);
    if (integer.m_bNegative)
    {
        return static_cast<TSigned>(0 - integer.m_ullMagnitude);
    }
    return integer.m_ullMagnitude > ullMaximum ? maximum
                                               : static_cast<TSigned>(integer.m_ullMagnitude);
}

template <typename TChar>
unsigned int ReadUnsigned(const TChar* pText, const TChar* pEnd)
{
    constexpr unsigned long long kBeyond = UINT_MAX + 1ULL;
    const SInteger integer = ReadInteger(pText, pEnd, kBeyond);
    if (integer.m_ullMagnitude == kBeyond)
    {
        return UINT_MAX; // also where there is a minus sign
    }
    const auto uMagnitude = static_cast<unsigned int>(integer.m_ullMagnitude);
    return integer.m_bNegative ? 0 - uMagnitude : uMagnitude;
}

std::wstring Widen(const char* szBegin, const char* szEnd)
{
    return std::wstring(szBegin, szEnd);
}

template <typename TInteger>
std::wstring IntegerToString(TInteger value)
{
    char szText[24];
    return Widen(szText, std::to_chars(szText, szText + sizeof(szText), value).ptr);
}

} // namespace

namespace mu
{

int ParseInt32(const char* szText, int iLength)
{
    return ReadSigned(szText, szText + UnitCount(iLength), INT_MAX);
}

int ParseInt32(const wchar_t* wszText, int iLength)
{
    return ReadSigned(wszText, wszText + UnitCount(iLength), INT_MAX);
}

unsigned int ParseUInt32(const char* szText, int iLength)
{
    return ReadUnsigned(szText, szText + UnitCount(iLength));
}

unsigned int ParseUInt32(const wchar_t* wszText, int iLength)
{
    return ReadUnsigned(wszText, wszText + UnitCount(iLength));
}

int StringToInt(const std::wstring& wsText)
{
    return ReadSigned(wsText.data(), wsText.data() + wsText.size(), INT_MAX);
}

long long StringToInt64(const std::wstring& wsText)
{
    return ReadSigned(wsText.data(), wsText.data() + wsText.size(), LLONG_MAX);
}

double StringToDouble(const std::wstring& wsText)
{
    // The "C" locale is built into the C library: taking it allocates nothing and cannot fail.
    static const locale_t s_cLocale = ::newlocale(LC_ALL_MASK, "C", nullptr);
    return ::wcstod_l(wsText.c_str(), nullptr, s_cLocale);
}

bool StringToBool(const std::wstring& wsText)
{
    return !wsText.empty() && std::wstring_view(L"TtYy").find(wsText[0]) != std::wstring::npos;
}

std::wstring IntToString(int iValue)
{
    return IntegerToString(iValue);
}

std::wstring Int64ToString(long long llValue)
{
    return IntegerToString(llValue);
}

std::wstring DoubleToString(double dValue)
{
    char szText[32];
    return Widen(
        szText,
        std::to_chars(szText, szText + sizeof(szText), dValue, std::chars_format::general, 6).ptr);
}

std::wstring BoolToString(bool bValue)
{
    return bValue ? L"True" : L"False";
}

} // namespace mu
