#include "xml/parse_error.h"

#include <algorithm>

namespace mu
{

namespace
{

const char* ReasonText(EXMLError eReason)
{
    switch (eReason)
    {
    case EXMLError::None:
        return "no error";
    case EXMLError::NoText:
        return "there is no text";
    case EXMLError::TooLong:
        return "the text is too long";
    case EXMLError::NotUTF8:
        return "the text is not UTF-8";
    case EXMLError::NoElement:
        return "there is no element";
    case EXMLError::TextOutside:
        return "text outside the root element";
    case EXMLError::SecondRoot:
        return "a second root element";
    case EXMLError::UnclosedTag:
        return "the text ends inside this tag";
    case EXMLError::NoName:
        return "a tag without a name";
    case EXMLError::BadAttribute:
        return "an attribute is not of the form name=\"value\"";
    case EXMLError::BadTagEnd:
        return "a tag does not end as it must";
    case EXMLError::WrongClosing:
        return "the closing tag does not match the open element";
    case EXMLError::NothingToClose:
        return "a closing tag, but no element is open";
    case EXMLError::Unclosed:
        return "this element is not closed";
    }
    return "";
}

/// A continuation byte of UTF-8 belongs to the character before it.
bool BeginsCharacter(char ch)
{
    return (static_cast<unsigned char>(ch) & 0xC0) != 0x80;
}

bool BeginsCharacter(wchar_t)
{
    return true;
}

template <typename TChar>
std::string Describe(const SXMLError& error, std::basic_string_view<TChar> text)
{
    const auto before = text.substr(0, error.m_uOffset);
    const auto line = before.substr(before.rfind(TChar('\n')) + 1); // npos + 1 is 0
    const auto iLine = 1 + std::count(before.begin(), before.end(), TChar('\n'));
    const auto iColumn =
        1 + std::count_if(line.begin(), line.end(), [](TChar ch) { return BeginsCharacter(ch); });
    return "line " + std::to_string(iLine) + ", column " + std::to_string(iColumn) + ": " +
           ReasonText(error.m_eReason);
}

} // namespace

std::string DescribeXMLError(const SXMLError& error, std::string_view svText)
{
    return Describe(error, svText);
}

std::string DescribeXMLError(const SXMLError& error, std::wstring_view wsText)
{
    return Describe(error, wsText);
}

} // namespace mu
