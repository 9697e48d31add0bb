#ifndef ZOR_MU_HEX_H
#define ZOR_MU_HEX_H

#include <string>

namespace mu
{

/// Of hexadecimal letters. Every value but ELC_UPPER is lower case.
enum ELetterCase : int
{
    ELC_LOWER = 0,
    ELC_UPPER = 1,
};

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

/// The digit in upper case; the character NUL for what is not 0 to 15.
constexpr char IntToHexChar(int iValue)
{
    return iValue >= 0 && iValue < 16 ? "0123456789ABCDEF"[iValue] : '\0';
}

/// The value of two digits, the first one high; -1 if one is no hexadecimal digit. The second is
/// not read if the first is none.
int HexTwoCharsToInt(const char* szText);
int HexTwoCharsToInt(const wchar_t* wszText);

/// The value of the digits up to a NUL or iMaxLength characters, 0 where there are none, -1 if one
/// of them is no hexadecimal digit. Of more than eight digits the last eight count.
int HexCharsToInt(const char* szText, int iMaxLength);
int HexCharsToInt(const wchar_t* wszText, int iMaxLength);

/// Always 16 digits in upper case; a negative value as two's complement.
void Int64ToHexDisplay(long long llValue, std::wstring& wsOut);

// Bytes as two digits each, without separator and terminator; a length below 1 has none. The buffer
// needs twice the length and must not overlap the data; a string that finds no memory is left
// empty.

void BufferToHex(const void* pData, int iLength, ELetterCase eCase, char* szOut);
void BufferToHex(const void* pData, int iLength, ELetterCase eCase, std::string& strOut);
/// From the last byte to the first.
void BufferToHexRev(const void* pData, int iLength, ELetterCase eCase, char* szOut);
void BufferToHexRev(const void* pData, int iLength, ELetterCase eCase, std::string& strOut);

/// Writes a byte for each two characters and returns how many; an odd last character is ignored.
/// For a pair that is not two digits 0xFF is written.
int HexToBin(const char* szText, int iLength, void* pOut);
/// The same, the last byte of the output first.
int HexToBinRev(const char* szText, int iLength, void* pOut);

/// A dump of 16 bytes a line: the offset ("%.4x", of which the first four digits appear), the bytes
/// in hexadecimal, and those that are ASCII letters or digits as characters, others as dots. It
/// ends before the first line that does not fit as a whole, with a NUL behind it. Returns the
/// characters written; a NUL follows them unless the capacity is below 1.
int HexDump(const void* pData, int iLength, char* szOut, int iCapacity);

} // namespace mu

#endif
