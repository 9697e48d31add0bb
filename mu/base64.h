#ifndef ZOR_MU_BASE64_H
#define ZOR_MU_BASE64_H

namespace mu
{

// Base64 with the standard alphabet and padding, without line breaks (RFC 4648, section 4). Lengths
// and capacities are counted in units. Buffers are the caller's; output and input must not overlap.

/// 0 to 63 for a character of the alphabet, -1 for anything else, the padding included.
int base64_charvalue(char ch);
int base64_charvalue(wchar_t wc);

/// Ends when the capacity is used up, also in the middle of a group of four. Returns the characters
/// written; a NUL follows them if there is room for it.
unsigned int base64_encode(const unsigned char* puData, unsigned int uLength, char* szOut,
                           unsigned int uCapacity);
unsigned int base64_encode(const unsigned char* puData, unsigned int uLength, wchar_t* wszOut,
                           unsigned int uCapacity);

/// Reads the text in groups of four characters and ignores one to three characters at the end. Each
/// byte comes from two characters of its group and is written only if both are valid. So padding or
/// an invalid character drops bytes, and reading goes on with the next group; but a group whose
/// first character is invalid ends the text. White space is invalid. Returns the bytes written; a 0
/// follows them if there is room for it. TChar is char or wchar_t.
template <typename TChar>
unsigned int base64_decode_T(const TChar* pText, unsigned int uLength, unsigned char* puOut,
                             unsigned int uCapacity);

extern template unsigned int base64_decode_T(const char*, unsigned int, unsigned char*,
                                             unsigned int);
extern template unsigned int base64_decode_T(const wchar_t*, unsigned int, unsigned char*,
                                             unsigned int);

inline unsigned int base64_decode(const char* szText, unsigned int uLength, unsigned char* puOut,
                                  unsigned int uCapacity)
{
    return base64_decode_T(szText, uLength, puOut, uCapacity);
}

inline unsigned int base64_decode(const wchar_t* wszText, unsigned int uLength,
                                  unsigned char* puOut, unsigned int uCapacity)
{
    return base64_decode_T(wszText, uLength, puOut, uCapacity);
}

} // namespace mu

#endif
