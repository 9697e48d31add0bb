#ifndef ZOR_XML_ENTITIES_H
#define ZOR_XML_ENTITIES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// The characters that XML text and attribute values cannot hold as they are (XML 1.0, 4.6), and one
// entity of our own: "&null;", the character 0.

/// Decodes references: the named ones, "&#x...;" and "&#...;". A numeric reference ends at the
/// first ';' anywhere after it and swallows all before; its number is read in 32-bit arithmetic.
/// One object serves one text from left to right, because it remembers that no ';' follows.
struct SUnEscapeXMLText
{
    /// The reference that begins at pText, where a '&' stands: the units it takes and its
    /// character, or 0 units if it is none.
    template <typename TChar>
    std::size_t Decode(const TChar* pText, const TChar* pEnd, std::uint32_t& uCode);

private:
    bool m_bNoMoreSemicolons = false;
};

struct SEscapeXMLText
{
    /// What is written for a character; null where that is the character itself.
    static constexpr const char* EntityFor(std::uint32_t uUnit)
    {
        switch (uUnit)
        {
        case '\'':
            return "&apos;";
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        case '"':
            return "&quot;";
        case '&':
            return "&amp;";
        case 0:
            return "&null;";
        default:
            return nullptr;
        }
    }
};

/// Whether any character has a replacement in the rule.
template <typename TRule>
bool HasSpecialCharsToReplace(const std::wstring& wsText, TRule& rule)
{
    for (const wchar_t ch : wsText)
    {
        if (rule.EntityFor(static_cast<std::uint32_t>(ch)) != nullptr)
        {
            return true;
        }
    }
    return false;
}

/// Puts the replacements in place, in one pass. For std::string and std::wstring.
template <typename TString, typename TRule>
void ReplaceCharsWithStrings(TString& text, TRule& rule)
{
    TString replaced;
    replaced.reserve(text.size() + text.size() / 8);
    for (const auto ch : text)
    {
        const char* const szReplacement = rule.EntityFor(static_cast<std::uint32_t>(ch));
        if (szReplacement == nullptr)
        {
            replaced.push_back(ch);
            continue;
        }
        const std::string_view strReplacement(szReplacement);
        replaced.append(strReplacement.begin(), strReplacement.end());
    }
    text = std::move(replaced);
}

/// Replaces each reference that the rule decodes by its character, in one pass; what comes out is
/// not decoded again. In narrow text the character stands as UTF-8, or vanishes where the text
/// conversion lets it vanish.
template <typename TString, typename TRule>
void ReplaceAllSubstringsWithChar(TString& text, TRule& rule);

namespace mu
{

void EscapeXML(std::wstring& wsText);
void EscapeXML(std::string& strText);
void UnEscapeXML(std::wstring& wsText);
void UnEscapeXML(std::string& strText);

} // namespace mu

#endif
