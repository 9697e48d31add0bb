#include "console/shown_text.h"

#include <cstddef>
#include <cstdio>

#include "mu/text.h"

namespace
{

// The length of the well-formed UTF-8 sequence (RFC 3629) at the start of the text, 0 without one.
std::size_t SequenceLength(std::string_view svText)
{
    const auto Byte = [svText](std::size_t i)
    { return i < svText.size() ? static_cast<unsigned char>(svText[i]) : 0U; };
    const unsigned int uLead = Byte(0);
    const std::size_t uLength = uLead < 0x80   ? 1
                                : uLead < 0xC2 ? 0
                                : uLead < 0xE0 ? 2
                                : uLead < 0xF0 ? 3
                                : uLead < 0xF5 ? 4
                                               : 0;
    // Some leads exclude second bytes: of overlong forms, of surrogates, beyond U+10FFFF.
    unsigned int uLowest = uLead == 0xE0 ? 0xA0 : uLead == 0xF0 ? 0x90 : 0x80;
    unsigned int uHighest = uLead == 0xED ? 0x9F : uLead == 0xF4 ? 0x8F : 0xBF;
    for (std::size_t i = 1; i < uLength; ++i)
    {
        if (Byte(i) < uLowest || Byte(i) > uHighest)
        {
            return 0;
        }
        uLowest = 0x80;
        uHighest = 0xBF;
    }
    return uLength;
}

// Of a well-formed sequence.
bool IsControl(std::string_view svSequence)
{
    const auto uFirst = static_cast<unsigned char>(svSequence[0]);
    return uFirst < 0x20 || uFirst == 0x7F ||
           (uFirst == 0xC2 && static_cast<unsigned char>(svSequence[1]) < 0xA0);
}

void Print(std::string_view svText)
{
    std::fwrite(svText.data(), 1, svText.size(), stdout);
}

} // namespace

void MakePlainText(std::string& strText)
{
    mu::ReplaceNullsWithSpaces(strText.data(), static_cast<int>(strText.size()));
    std::size_t uKept = 0;
    for (std::size_t i = 0; i < strText.size(); ++i)
    {
        if (strText.compare(i, 2, "\r\n") != 0)
        {
            strText[uKept] = strText[i];
            ++uKept;
        }
    }
    strText.resize(uKept);
}

void PrintShownText(std::string_view svText, bool bOneLine)
{
    while (!svText.empty())
    {
        const std::size_t uLength = SequenceLength(svText);
        const std::string_view svPiece = svText.substr(0, uLength > 0 ? uLength : 1);
        const bool bKept = !bOneLine && (svPiece == "\n" || svPiece == "\t");
        if (uLength > 0 && (bKept || !IsControl(svPiece)))
        {
            Print(svPiece);
        }
        else
        {
            for (const char ch : svPiece)
            {
                std::printf("\\x%02X", static_cast<unsigned char>(ch));
            }
        }
        svText.remove_prefix(svPiece.size());
    }
}

void PrintJsonString(std::string_view svText)
{
    std::putchar('"');
    while (!svText.empty())
    {
        const std::size_t uLength = SequenceLength(svText);
        const std::string_view svPiece = svText.substr(0, uLength > 0 ? uLength : 1);
        if (uLength == 0)
        {
            Print("\xEF\xBF\xBD");
        }
        else if (svPiece == "\"" || svPiece == "\\")
        {
            std::putchar('\\');
            Print(svPiece);
        }
        else if (svPiece == "\n")
        {
            Print("\\n");
        }
        else if (IsControl(svPiece))
        {
            // A C1 control's code is its second byte.
            std::printf("\\u%04x", static_cast<unsigned char>(svPiece.back()));
        }
        else if (svPiece == "\xE2\x80\xA8" || svPiece == "\xE2\x80\xA9")
        {
            Print(svPiece.back() == '\xA8' ? "\\u2028" : "\\u2029");
        }
        else
        {
            Print(svPiece);
        }
        svText.remove_prefix(svPiece.size());
    }
    std::putchar('"');
}
