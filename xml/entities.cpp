#include "xml/entities.h"

#include <algorithm>
#include <climits>

#include "mu/hex.h"
#include "mu/numbers.h"
#include "mu/unicode.h"

namespace
{

struct SNamedEntity
{
    std::string_view m_strAfterAmpersand;
    char m_chCharacter;
};

constexpr SNamedEntity kNamedEntities[] = {
    {"gt;", '>'}, {"lt;", '<'}, {"amp;", '&'}, {"quot;", '"'}, {"apos;", '\''}, {"null;", '\0'},
};

template <typename TChar>
int BoundedLength(const TChar* pStart, const TChar* pEnd)
{
    return static_cast<int>(std::min<std::ptrdiff_t>(pEnd - pStart, INT_MAX));
}

void AppendCode(std::wstring& wsText, std::uint32_t uCode)
{
    wsText.push_back(static_cast<wchar_t>(uCode));
}

void AppendCode(std::string& strText, std::uint32_t uCode)
{
    const auto chCode = static_cast<wchar_t>(uCode);
    char szCode[5];
    const int iLength = mu::ConvertString(&chCode, 1, szCode, static_cast<int>(sizeof(szCode)));
    strText.append(szCode, static_cast<std::size_t>(iLength));
}

} // namespace

template <typename TChar>
std::size_t SUnEscapeXMLText::Decode(const TChar* pText, const TChar* pEnd, std::uint32_t& uCode)
{
    const TChar* const pName = pText + 1;
    if (pName == pEnd)
    {
        return 0;
    }
    if (*pName != TChar('#'))
    {
        for (const SNamedEntity& entity : kNamedEntities)
        {
            const std::string_view strName = entity.m_strAfterAmpersand;
            if (*pName == TChar(strName.front()) &&
                static_cast<std::size_t>(pEnd - pName) >= strName.size() &&
                std::equal(strName.begin(), strName.end(), pName,
                           [](char chName, TChar ch) { return TChar(chName) == ch; }))
            {
                uCode = static_cast<unsigned char>(entity.m_chCharacter);
                return strName.size() + 1;
            }
        }
        return 0;
    }

    const TChar* const pDigits = pName + 1;
    const TChar* const pSemicolon =
        m_bNoMoreSemicolons ? pEnd : std::find(pDigits, pEnd, TChar(';'));
    if (pSemicolon == pEnd)
    {
        m_bNoMoreSemicolons = true;
        return 0;
    }
    uCode = *pDigits == TChar('x') || *pDigits == TChar('X')
                ? static_cast<std::uint32_t>(
                      mu::HexCharsToInt(pDigits + 1, BoundedLength(pDigits + 1, pSemicolon)))
                : mu::ParseUInt32(pDigits, BoundedLength(pDigits, pSemicolon));
    return static_cast<std::size_t>(pSemicolon + 1 - pText);
}

template std::size_t SUnEscapeXMLText::Decode(const char*, const char*, std::uint32_t&);
template std::size_t SUnEscapeXMLText::Decode(const wchar_t*, const wchar_t*, std::uint32_t&);

template <typename TString, typename TRule>
void ReplaceAllSubstringsWithChar(TString& text, TRule& rule)
{
    using TChar = typename TString::value_type;
    TString replaced;
    replaced.reserve(text.size());
    const TChar* p = text.data();
    const TChar* const pEnd = p + text.size();
    while (p != pEnd)
    {
        const TChar* const pReference = std::find(p, pEnd, TChar('&'));
        replaced.append(p, pReference);
        p = pReference;
        if (p != pEnd)
        {
            std::uint32_t uCode = 0;
            const std::size_t uTaken = rule.Decode(p, pEnd, uCode);
            if (uTaken != 0)
            {
                AppendCode(replaced, uCode);
                p += uTaken;
            }
            else
            {
                replaced.push_back(*p);
                ++p;
            }
        }
    }
    text = std::move(replaced);
}

template void ReplaceAllSubstringsWithChar(std::wstring&, SUnEscapeXMLText&);
template void ReplaceAllSubstringsWithChar(std::string&, SUnEscapeXMLText&);

namespace mu
{

void EscapeXML(std::wstring& wsText)
{
    SEscapeXMLText rule;
    if (HasSpecialCharsToReplace(wsText, rule))
    {
        ReplaceCharsWithStrings(wsText, rule);
    }
}

void EscapeXML(std::string& strText)
{
    SEscapeXMLText rule;
    ReplaceCharsWithStrings(strText, rule);
}

void UnEscapeXML(std::wstring& wsText)
{
    SUnEscapeXMLText rule;
    ReplaceAllSubstringsWithChar(wsText, rule);
}

void UnEscapeXML(std::string& strText)
{
    SUnEscapeXMLText rule;
    ReplaceAllSubstringsWithChar(strText, rule);
}

} // namespace mu
