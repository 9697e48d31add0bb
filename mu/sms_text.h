#ifndef ZOR_MU_SMS_TEXT_H
#define ZOR_MU_SMS_TEXT_H

#include <string>
#include <vector>

namespace mu
{

// The text of short messages (3GPP TS 23.038, and TS 23.040 for parts). Septets and octets are the
// bytes of a string. A failed allocation throws.

enum class ESmsCoding
{
    Gsm7Bit, ///< the 7-bit default alphabet with its extension table
    Ucs2,    ///< UTF-16, the high octet first
};

/// One short message.
struct SSmsPart
{
    /// The octets. In a message that is one of several parts, the first six are a header with the
    /// reference, the number of parts and the number of this part.
    std::string m_strUserData;
    /// The user data length: in septets for 7-bit text, the header counted as seven, else in
    /// octets.
    int m_iUserDataLength = 0;
};

/// False, with no septets, if a character is in neither table. One of the extension table takes
/// two septets.
bool TextToSeptets(const std::wstring& wsText, std::string& strSeptets);
/// An escape and a septet that is not in the extension table give the septet's character of the
/// default alphabet, as the standard asks; an escape before an escape or the end is a space.
std::wstring SeptetsToText(const std::string& strSeptets);

/// Eight septets in seven octets, the lowest bits first, behind iFillBits (0 to 6) that are 0.
std::string PackSeptets(const std::string& strSeptets, int iFillBits = 0);
/// At most as many septets as the octets hold.
std::string UnpackSeptets(const std::string& strOctets, int iSeptets, int iFillBits = 0);

/// Both ways, a unit that is no character (a surrogate, or above 0x10FFFF) becomes U+FFFD. An odd
/// last octet is ignored.
std::string TextToUcs2(const std::wstring& wsText);
std::wstring Ucs2ToText(const std::string& strOctets);

/// 7-bit if it has all of the characters.
ESmsCoding ChooseSmsCoding(const std::wstring& wsText);

/// Messages that the text takes: one of up to 160 septets or 140 octets, or parts of up to 153
/// septets or 134 octets. An empty text takes one.
int CountSmsParts(const std::wstring& wsText);
/// The messages in the coding that fits the text. Characters stay whole. False, with no parts, if
/// there were more than 255. The reference tells the parts of one text from those of others.
bool SplitSmsText(const std::wstring& wsText, unsigned char uReference,
                  std::vector<SSmsPart>& vParts);

} // namespace mu

#endif
