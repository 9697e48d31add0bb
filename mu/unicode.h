#ifndef ZOR_MU_UNICODE_H
#define ZOR_MU_UNICODE_H

#include <cstddef>
#include <string>
#include <string_view>

#include "mu/lengths.h"

namespace mu
{

// Wide text and UTF-8. Wide units hold one code point each. Encoding is UTF-8 (RFC 3629) with two
// differences: surrogate code points are encoded like any other, and code points from 0x10FFFF up
// vanish. Decoding stops at the first malformed sequence, accepts overlong forms and values beyond
// the range, and takes a stray continuation byte as the lead of a two-byte sequence.
//
// Lengths and capacities are counted in units, not bytes; those below 0 are as good as 0. Buffers
// are the caller's, and must not overlap. Nothing throws: a string that finds no memory is left
// empty.

/// The beginning of a text file in UTF-8.
inline constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

/// The bytes that the encoding of a text takes, without a terminator; at most INT_MAX - 1.
int GetConvertedStringLength(const wchar_t* wszText, int iLength);
int GetConvertedStringLength32(const unsigned long* pText, int iLength);
int GetConvertedStringLength16(const unsigned short* pText, int iLength);

/// Wide text to UTF-8. Returns the bytes written without the NUL that always follows them. The
/// buffer must hold GetConvertedStringLength() + 1 bytes, because iCapacity limits only tiny
/// buffers: 1 gives an empty text; 2, 3 or 4 end the text before its first sequence of that many
/// bytes or more. Nothing is written if the capacity is 0 or less. If an int cannot count the
/// bytes, the text ends before the character that is too much.
int ConvertString(const wchar_t* wszText, int iLength, char* szOut, int iCapacity);
int ConvertString32(const unsigned long* pText, int iLength, char* szOut, int iCapacity);
int ConvertString16(const unsigned short* pText, int iLength, char* szOut, int iCapacity);
/// The same into a string, which gets the whole text; the result is at most INT_MAX - 1.
int ConvertString(const wchar_t* wszText, int iLength, std::string& strOut);
std::string WideStringToNarrow(const std::wstring& wsText);
/// Unlike the others throws std::bad_alloc without memory, for results that must not miss the text.
inline std::string WideStringToNarrowOrThrow(const std::wstring& wsText)
{
    const int iLength = IntCount(wsText.size());
    std::string strText;
    strText.reserve(UnitCount(GetConvertedStringLength(wsText.data(), iLength)));
    ConvertString(wsText.data(), iLength, strText);
    return strText;
}

/// UTF-8 to wide text. Returns the units written without the 0 that follows them: the buffer must
/// hold iCapacity + 1 units.
int ConvertString(const char* szText, int iLength, wchar_t* wszOut, int iCapacity);
/// The same into a string. *pszErrorPosition becomes null, or the byte after the lead byte of the
/// first malformed sequence; a sequence cut off by the end of the text is no error.
int ConvertString(const char* szText, int iLength, std::wstring& wsOut,
                  const char** pszErrorPosition);
int ConvertString(const char* szText, int iLength, std::wstring& wsOut);

/// The conversion between buffers by the type of its output: char, or wchar_t.
template <typename TOut, typename TIn>
int ConvertString_T(const TIn* pText, int iLength, TOut* pOut, int iCapacity)
{
    return ConvertString(pText, iLength, pOut, iCapacity);
}

/// The beginning of a UTF-8 text that fits into uCapacity bytes with its last character whole.
constexpr std::string_view CutText(std::string_view svText, std::size_t uCapacity)
{
    if (svText.size() > uCapacity)
    {
        // Back to the lead byte of the character that does not fit.
        while (uCapacity > 0 && (static_cast<unsigned char>(svText[uCapacity]) & 0xC0) == 0x80)
        {
            --uCapacity;
        }
    }
    return svText.substr(0, uCapacity);
}

} // namespace mu

#endif
