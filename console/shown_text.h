#ifndef ZOR_CONSOLE_SHOWN_TEXT_H
#define ZOR_CONSOLE_SHOWN_TEXT_H

#include <string>
#include <string_view>

// Prints what a peer sent on standard output.

/// Puts LF for CR LF, and blanks for NULs.
void MakePlainText(std::string& strText);

/// Prints a text that cannot drive a terminal: bytes of control characters (those of Unicode's C1
/// range too) and bytes that are no UTF-8 become "\xHH". Line feeds and tabs stay, unless the text
/// is to take one line.
void PrintShownText(std::string_view svText, bool bOneLine);

/// Prints a JSON string, with its quotes. It is UTF-8 whatever the text is: each byte that is none
/// becomes U+FFFD. Control characters and what some readers take for line ends are escaped.
void PrintJsonString(std::string_view svText);

#endif
