#include "xml/entities.h"

#include <string>

#include <gtest/gtest.h>

namespace
{

using namespace std::string_literals;

struct SDecodeCase
{
    const char* szRule;
    std::string strText;
    std::wstring wsDecoded;
    std::string strDecoded;
};

TEST(XmlEntities, NarrowAndWideTextDecodeByOneSetOfRules)
{
    const SDecodeCase aCases[] = {
        {"named", "&gt;&lt;&amp;&quot;&apos;&null;.", L"><&\"'\0."s, "><&\"'\0."s},
        {"unknown stays", "&bogus;&GT;&;", L"&bogus;&GT;&;", "&bogus;&GT;&;"},
        {"cut off", "&&gt&am", L"&&gt&am", "&&gt&am"},
        {"numbers", "&#65;&#x42;&#X43;&#233;", L"ABC\xE9", "ABC\xC3\xA9"},
        {"result is not decoded again", "&amp;gt;&#38;lt;", L"&gt;&lt;", "&gt;&lt;"},
        {"everything to the semicolon goes", "&#12 abc;d&#6x5;e", L"\fd\x06"s + L"e",
         "\fd\x06"s + "e"},
        {"no digits", "&#;a&#x;b", L"\0a\0b"s, "\0a\0b"s},
        {"no semicolon behind", "&#65 &#x41", L"&#65 &#x41", "&#65 &#x41"},
        {"the first semicolon ends it", "&#&#65;", L"\0"s, "\0"s},
        {"white space and signs as wcstoul", "&# 65;&#+66;", L"AB", "AB"},
        {"a negative number wraps", "&#-4294967231;", L"A", "A"},
        {"32-bit saturation",
         "&#4294967361;&#99999999999;",
         {static_cast<wchar_t>(0xFFFFFFFF), static_cast<wchar_t>(0xFFFFFFFF)},
         ""},
        {"a bad hexadecimal digit is -1",
         "&#xZZ;&#x4G;",
         {static_cast<wchar_t>(0xFFFFFFFF), static_cast<wchar_t>(0xFFFFFFFF)},
         ""},
        {"hexadecimal wraps at 32 bits", "&#x100000041;", L"A", "A"},
        {"no code point of UTF-8", "a&#x10FFFE;&#x10FFFF;b", L"a\x10FFFE\x10FFFF"s + L"b",
         "a\xF4\x8F\xBF\xBE"
         "b"},
    };
    for (const SDecodeCase& row : aCases)
    {
        SCOPED_TRACE(row.szRule);
        std::string strText = row.strText;
        mu::UnEscapeXML(strText);
        EXPECT_EQ(strText, row.strDecoded);
        std::wstring wsText(row.strText.begin(), row.strText.end());
        mu::UnEscapeXML(wsText);
        EXPECT_TRUE(wsText == row.wsDecoded);
    }
}

TEST(XmlEntities, EscapesSixCharactersAndDecodesThemAgain)
{
    const std::wstring wsText = L"a'<>\"&\0\t\xE9\x10FFFFz"s;
    std::wstring wsEscaped = wsText;
    mu::EscapeXML(wsEscaped);
    EXPECT_EQ(wsEscaped, L"a&apos;&lt;&gt;&quot;&amp;&null;\t\xE9\x10FFFFz");
    mu::UnEscapeXML(wsEscaped);
    EXPECT_TRUE(wsEscaped == wsText);

    std::string strEscaped = "\xC3\xA9\0<&"s;
    mu::EscapeXML(strEscaped);
    EXPECT_EQ(strEscaped, "\xC3\xA9&null;&lt;&amp;");

    SEscapeXMLText rule;
    EXPECT_TRUE(HasSpecialCharsToReplace(L"\0"s, rule));
    EXPECT_FALSE(HasSpecialCharsToReplace(L"plain \x3C00", rule));
}

} // namespace
