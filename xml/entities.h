#ifndef ZOR_XML_ENTITIES_H
#define ZOR_XML_ENTITIES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// The characters that XML text and attribute values cannot hold as they are (XML 1.0, 4.6), and one
// entity of our own: "&null;", the character 0.

/// Decodes references: the named ones, "&#x...;" and "&#...;". A numeric reference ends at the
/// first ';' anywhere after it; what stands between its digits and the ';' is swallowed. Its number
/// is read in 32-bit arithmetic. Each text needs an object of its own and is decoded from left to
/// right: the object remembers that no ';' is left, so that many "&#" without one are not searched
/// to the end each time.
struct SUnEscapeXMLText
{
    /// Decodes the reference at pText, where a '&' stands. Returns how many units it takes and puts
    /// its character into uCode; returns 0 if it is no reference.
    template <typename TChar>
    std::size_t Decode(const TChar* pText, const TChar* pEnd, std::uint32_t& uCode);

private:
    bool m_bNoMoreSemicolons = false;
};

struct SEscapeXMLText
{
    /// The text that is written in place of a character; null for a character that is written as it
    /// is.
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

/// Replaces each character that has a replacement in the rule. For std::string and std::wstring.
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
/// not decoded again. Narrow text gets the character as UTF-8, or nothing where mu::ConvertString()
/// gives nothing.
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
