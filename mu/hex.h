#ifndef ZOR_MU_HEX_H
#define ZOR_MU_HEX_H

namespace mu
{

/// 0 to 15 for an ASCII hexadecimal digit of either case, -1 for anything else.
constexpr int HexCharToInt(wchar_t wcDigit)
{
    if (wcDigit >= L'0' && wcDigit <= L'9')
    {
        return static_cast<int>(wcDigit - L'0');
    }
    const auto uLetter = static_cast<unsigned int>(wcDigit) | 0x20U;
    return uLetter >= 'a' && uLetter <= 'f' ? static_cast<int>(uLetter - 'a') + 10 : -1;
}

constexpr int HexCharToInt(char cDigit)
{
    return HexCharToInt(static_cast<wchar_t>(static_cast<unsigned char>(cDigit)));
}

/// The value of the digits up to a NUL or iMaxLength characters, 0 where there are none, -1 if one
/// of them is no hexadecimal digit. Of more than eight digits the last eight count.
int HexCharsToInt(const char* szText, int iMaxLength);
int HexCharsToInt(const wchar_t* wszText, int iMaxLength);

} // namespace mu

#endif
