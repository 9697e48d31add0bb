#ifndef ZOR_MU_MAIL_BODY_H
#define ZOR_MU_MAIL_BODY_H

#include <string>

namespace mu
{

/// Replaces the string by the text as a mail's body, by the line rules of RFC 5322 (2.1.1, 2.3) and
/// RFC 2045 (2.7, 2.8): lines end in CR LF, which stand nowhere else (a lone CR or LF becomes
/// both); a line of more than 998 bytes is broken behind its last space that fits, or else before
/// the character that does not fit; a NUL becomes a space. The rest stays, UTF-8 included: such a
/// body goes with the header "Content-Transfer-Encoding: 8bit". Leading dots are not doubled: that
/// is the task of SMTP.
void CharsToMailBody(const char* szText, int iLength, std::string& strBody);

} // namespace mu

#endif
