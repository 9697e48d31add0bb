#ifndef ZOR_FUZZ_SUPPORT_PLAIN_DOCUMENT_H
#define ZOR_FUZZ_SUPPORT_PLAIN_DOCUMENT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fuzz/support/law.h"
#include "fuzz/support/plain_utf8.h"
#include "xml/easy_xml.h"

// The plainest reader of documents, which writes each element as soon as it has read it, and the
// laws that hold our documents against it.

using TText = std::u32string; // compares units without a sign
using TView = std::u32string_view;
using TAttributes = std::map<TText, TText>;

constexpr TView kSpace = U"\t\r\n ";
constexpr std::size_t kNone = TView::npos;

/// What strtoul makes of it where a long has 32 bits.
inline char32_t PlainNumber(TView text)
{
    std::size_t u = std::min(text.find_first_not_of(U" \t\n\v\f\r"), text.size());
    const bool bMinus = text.substr(u, 1) == U"-";
    u += bMinus || text.substr(u, 1) == U"+" ? 1U : 0U;
    std::uint64_t ullValue = 0;
    for (; u < text.size() && text[u] >= U'0' && text[u] <= U'9'; ++u)
    {
        ullValue = std::min<std::uint64_t>(ullValue * 10 + (text[u] - U'0'), 0x100000000);
    }
    return ullValue > 0xFFFFFFFF ? 0xFFFFFFFF
                                 : static_cast<char32_t>(bMinus ? 0 - ullValue : ullValue);
}

inline char32_t PlainHexNumber(TView text)
{
    char32_t uValue = 0;
    for (const char32_t u : text)
    {
        const std::size_t uDigit = TView(U"0123456789abcdefABCDEF").find(u);
        if (uDigit == kNone)
        {
            return 0xFFFFFFFF;
        }
        uValue = uValue << 4 | static_cast<char32_t>(uDigit < 16 ? uDigit : uDigit - 6);
    }
    return uValue;
}

constexpr std::pair<char32_t, TView> kEntities[] = {
    {U'>', U"&gt;"},   {U'<', U"&lt;"},    {U'&', U"&amp;"},
    {U'"', U"&quot;"}, {U'\'', U"&apos;"}, {U'\0', U"&null;"},
};

inline TText Decoded(TView text)
{
    TText out;
    while (!text.empty())
    {
        std::size_t uTaken = 1;
        out += text[0];
        for (const auto& [uChar, entity] : kEntities)
        {
            if (text.starts_with(entity))
            {
                uTaken = entity.size();
                out.back() = uChar;
            }
        }
        const std::size_t uEnd = text.find(U';');
        if (text.starts_with(U"&#") && uEnd != kNone)
        {
            const TView digits = text.substr(2, uEnd - 2);
            const bool bHex = digits.starts_with(U'x') || digits.starts_with(U'X');
            uTaken = uEnd + 1;
            out.back() = bHex ? PlainHexNumber(digits.substr(1)) : PlainNumber(digits);
        }
        text.remove_prefix(uTaken);
    }
    return out;
}

inline TText Escaped(TView text)
{
    TText out;
    for (const char32_t u : text)
    {
        out += u;
        for (const auto& [uChar, entity] : kEntities)
        {
            if (u == uChar)
            {
                out.replace(out.size() - 1, 1, entity);
            }
        }
    }
    return out;
}

/// Leaves u at the character that ends the list.
inline bool ReadAttributes(TView text, std::size_t& u, char32_t uEndChar, TAttributes& attributes)
{
    for (;;)
    {
        u = text.find_first_not_of(kSpace, u);
        if (u == kNone)
        {
            return false;
        }
        if (text[u] == U'/' || text[u] == U'>' || text[u] == uEndChar)
        {
            return true;
        }
        const std::size_t uNameEnd = text.find_first_of(U"=\t\r\n ", u);
        const std::size_t uEquals = text.find_first_not_of(kSpace, uNameEnd);
        if (uNameEnd == kNone || uEquals == kNone || text[uEquals] != U'=')
        {
            return false;
        }
        const std::size_t uQuote = text.find_first_not_of(kSpace, uEquals + 1);
        if (uQuote == kNone || (text[uQuote] != U'"' && text[uQuote] != U'\''))
        {
            return false;
        }
        const std::size_t uEnd = text.find(text[uQuote], uQuote + 1);
        if (uEnd == kNone)
        {
            return false;
        }
        attributes.emplace(text.substr(u, uNameEnd - u),
                           Decoded(text.substr(uQuote + 1, uEnd - uQuote - 1)));
        u = uEnd + 1;
    }
}

class CPlainReader
{
public:
    bool m_bDeclared = false;

    /// The document as it is to be written, without its declaration; nothing for what is none.
    std::optional<TText> Rewrite(TView text)
    {
        bool bRoot = false;
        for (std::size_t u = 0; (u = text.find_first_not_of(kSpace, u)) != kNone;)
        {
            if (text[u] != U'<')
            {
                const std::size_t uEnd = text.find(U'<', u);
                if (m_vOpen.empty() || uEnd == kNone)
                {
                    return std::nullopt;
                }
                m_vOpen.back().m_text += Decoded(text.substr(u, uEnd - u));
                u = uEnd;
                continue;
            }
            const bool bClosing = text.substr(u, 2) == U"</";
            u += bClosing ? 2 : 1;
            const std::size_t uNameEnd = text.find_first_of(U"/>\t\r\n ", u);
            if (uNameEnd == kNone || uNameEnd == u)
            {
                return std::nullopt;
            }
            const TView name = text.substr(u, uNameEnd - u);
            const bool bDeclaration = !bClosing && name.starts_with(U'?');
            u = uNameEnd;
            if (bClosing)
            {
                if (m_vOpen.empty() || text[u] != U'>' || name != m_vOpen.back().m_name)
                {
                    return std::nullopt;
                }
                CloseLast();
                ++u;
                continue;
            }
            TAttributes attributes;
            if ((!bDeclaration && bRoot && m_vOpen.empty()) ||
                !ReadAttributes(text, u, bDeclaration ? U'?' : U'>', attributes))
            {
                return std::nullopt;
            }
            m_bDeclared = m_bDeclared || bDeclaration;
            const bool bEmpty = !bDeclaration && text[u] == U'/';
            const TView end = bDeclaration ? U"?>" : bEmpty ? U"/>" : U">";
            if (text.substr(u, end.size()) != end)
            {
                return std::nullopt;
            }
            u += end.size();
            if (!bDeclaration)
            {
                bRoot = true;
                Open(name, attributes);
                if (bEmpty)
                {
                    CloseLast();
                }
            }
        }
        return bRoot && m_vOpen.empty() ? std::optional(m_out) : std::nullopt;
    }

private:
    struct SElement
    {
        TText m_name;
        TText m_text;
        bool m_bTagEnded = false;
    };

    void EndTag()
    {
        if (!m_vOpen.empty() && !std::exchange(m_vOpen.back().m_bTagEnded, true))
        {
            m_out += U'>';
        }
    }
    void Open(TView name, const TAttributes& attributes)
    {
        EndTag();
        (m_out += U'<') += name;
        for (const auto& [attribute, value] : attributes)
        {
            m_out += U' ' + attribute + U"=\"" + Escaped(value) + U'"';
        }
        m_vOpen.push_back({TText(name), {}});
    }
    void CloseLast()
    {
        if (!m_vOpen.back().m_bTagEnded && m_vOpen.back().m_text.empty())
        {
            m_out += U"/>";
        }
        else
        {
            EndTag();
            m_out += Escaped(m_vOpen.back().m_text) + U"</" + m_vOpen.back().m_name + U'>';
        }
        m_vOpen.pop_back();
    }

    std::vector<SElement> m_vOpen;
    TText m_out;
};

/// Loads a text into a document and returns what that writes then; plain is the same text.
template <typename... TArguments>
std::wstring CheckLoad(TText plain, TArguments... text)
{
    CPlainReader reader;
    plain.resize(std::min(plain.find(U'\0'), plain.size()));
    const std::optional<TText> read = reader.Rewrite(plain);
    TText expected = reader.m_bDeclared ? U"<?xml version='1.0' encoding='UTF-8'?>" : U"";
    expected += read.value_or(U"<old/>");

    CEasyXML exml;
    exml.AddRoot(L"old", nullptr);
    Law(exml.LoadFromText(text...).IsValid() == read.has_value(), "reads documents, nothing else");
    std::wstring wsWritten;
    std::string strWritten;
    Law(exml.GetXML(wsWritten) && TText(wsWritten.begin(), wsWritten.end()) == expected,
        "writes what it has read, or what was there");
    Law(exml.GetXML(strWritten) && strWritten == PlainEncode(expected), "writes the same in UTF-8");
    return wsWritten;
}

inline std::wstring CheckWide(const std::wstring& wsText)
{
    return CheckLoad(TText(wsText.begin(), wsText.end()), wsText.c_str());
}

inline void CheckUTF8(const std::string& strText)
{
    // Exactly the text, so that the sanitizer sees a byte read behind it.
    const std::vector<char> vText(strText.begin(), strText.end());
    const std::wstring wsText = PlainDecode(strText.substr(0, strText.find('\0'))).m_wsText;
    CheckLoad(TText(wsText.begin(), wsText.end()), vText.data(), static_cast<int>(vText.size()));
}

inline void CheckWideDocument(const std::wstring& wsText)
{
    const std::wstring wsWritten = CheckWide(wsText);
    CheckUTF8(PlainEncode(wsWritten));
    const std::wstring wsAgain = CheckWide(wsWritten); // without white space that began a text
    Law(CheckWide(wsAgain) == wsAgain, "write, read, write: the same");
}

/// A document in UTF-8, whose conversion is read and written alike.
inline void CheckDocument(const std::string& strText)
{
    CheckUTF8(strText);
    CheckWideDocument(PlainDecode(strText).m_wsText);
}

#endif
