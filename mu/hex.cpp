#include "mu/hex.h"

namespace
{

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

} // namespace

namespace mu
{

int HexCharsToInt(const char* szText, int iMaxLength)
{
    return ReadHex(szText, iMaxLength);
}

int HexCharsToInt(const wchar_t* wszText, int iMaxLength)
{
    return ReadHex(wszText, iMaxLength);
}

} // namespace mu
