#ifndef ZOR_MU_CHARACTERS_H
#define ZOR_MU_CHARACTERS_H

namespace mu
{

// Character classes and cases of ASCII; no other character belongs to any or has another case.

/// The space alone: tabs and line breaks are none.
constexpr bool IsSpace(wchar_t wc)
{
    return wc == L' ';
}

constexpr bool IsDigit(wchar_t wc)
{
    return wc >= L'0' && wc <= L'9';
}

/// For the digits of numbers up to 255.
constexpr bool IsDigit025(wchar_t wc)
{
    return wc >= L'0' && wc <= L'5';
}

constexpr wchar_t CharToLowerCase(wchar_t wc)
{
    return wc >= L'A' && wc <= L'Z' ? static_cast<wchar_t>(wc + (L'a' - L'A')) : wc;
}

constexpr wchar_t CharToUpperCase(wchar_t wc)
{
    return wc >= L'a' && wc <= L'z' ? static_cast<wchar_t>(wc - (L'a' - L'A')) : wc;
}

constexpr bool IsAlphaNumeric(wchar_t wc)
{
    const wchar_t wcLower = CharToLowerCase(wc);
    return IsDigit(wc) || (wcLower >= L'a' && wcLower <= L'z');
}

constexpr bool IsCharMatchIgnoreCase(wchar_t a, wchar_t b)
{
    return CharToLowerCase(a) == CharToLowerCase(b);
}

/// Whether every unit is a digit, which holds for a text without units.
constexpr bool AreDigits(const wchar_t* wszText, int iLength)
{
    for (int i = 0; i < iLength; ++i)
    {
        if (!IsDigit(wszText[i]))
        {
            return false;
        }
    }
    return true;
}

constexpr bool AreDigits(const char* szText, int iLength)
{
    for (int i = 0; i < iLength; ++i)
    {
        if (!IsDigit(static_cast<wchar_t>(szText[i])))
        {
            return false;
        }
    }
    return true;
}

} // namespace mu

#endif
