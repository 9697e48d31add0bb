#ifndef ZOR_XML_PARSE_ERROR_H
#define ZOR_XML_PARSE_ERROR_H

#include <cstdint>
#include <string>
#include <string_view>

namespace mu
{

/// Why a text is no document. The comment tells the place that goes with the reason.
enum class EXMLError : std::uint8_t
{
    None,
    NoText,         ///< no text was given, or the file cannot be read; 0
    TooLong,        ///< 2^32 units or more; 0
    NotUTF8,        ///< its first malformed sequence; the text is no document without it either
    NoElement,      ///< the end of the text
    TextOutside,    ///< the first character of a text that no element contains
    SecondRoot,     ///< the second tag, at its "<", that no element contains
    UnclosedTag,    ///< the tag, at its "<", in which the text ends
    NoName,         ///< where the tag's name should begin
    BadAttribute,   ///< the character in place of the "=" or of the opening quote
    BadTagEnd,      ///< the character in place of the ">" behind a "/", or of a declaration's "?>"
    WrongClosing,   ///< the name that is not, or not with a ">" behind it, that of the open element
    NothingToClose, ///< the name in a closing tag where no element is open
    Unclosed,       ///< the innermost element, at its "<", that has no closing tag
};

/// How the last attempt to read a document ended.
struct SXMLError
{
    EXMLError m_eReason = EXMLError::None;
    std::uint32_t m_uOffset = 0; ///< from the beginning of the text, in units of the text as given
};

/// The error for people, without the text's contents: "line 3, column 14: an element is not
/// closed". Lines end in LF; columns count characters, from 1. The text is the one that was given
/// to the parser: UTF-8, or wide text, which a file is too.
std::string DescribeXMLError(const SXMLError& error, std::string_view svText);
std::string DescribeXMLError(const SXMLError& error, std::wstring_view wsText);

} // namespace mu

#endif
