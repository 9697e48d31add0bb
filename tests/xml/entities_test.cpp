#include "xml/entities.h"

#include "tests/support/testing.h"

using namespace std::string_literals;

TEST(XmlEntities, NarrowAndWideTextDecodeByOneSetOfRules)
{
    const std::tuple<const char*, std::string, std::wstring, std::string> aCases[] = {
        {"named", "&gt;&lt;&amp;&quot;&apos;&null;.", L"><&\"'\0."s, "><&\"'\0."s},
        {"unknown stays", "&bogus;&GT;&;", L"&bogus;&GT;&;", "&bogus;&GT;&;"},
        {"numbers", "&#65;&#x42;&#X43;&#233;", L"ABC\xE9", "ABC\xC3\xA9"},
        {"result is not decoded again", "&amp;gt;&#38;lt;", L"&gt;&lt;", "&gt;&lt;"},
        {"all to the semicolon goes", "&#12 abc;d&#6x5;.", L"\fd\x06."s, "\fd\x06."s},
        {"no digits", "&#;a&#x;b", L"\0a\0b"s, "\0a\0b"s},
        {"no semicolon behind", "&&gt&#65 &#x41", L"&&gt&#65 &#x41", "&&gt&#65 &#x41"},
        {"white space and signs as wcstoul", "&# 65;&#+66;", L"AB", "AB"},
        {"a negative number wraps", "&#-4294967231;", L"A", "A"},
        {"saturation, a bad digit is -1", "&#4294967361;&#x4G;",
         std::wstring(2, static_cast<wchar_t>(0xFFFFFFFF)), ""},
        {"hexadecimal wraps at 32 bits", "&#x100000041;", L"A", "A"},
        {"no code point of UTF-8", "&#x10FFFE;&#x10FFFF;.", L"\x10FFFE\x10FFFF."s,
         "\xF4\x8F\xBF\xBE."},
    };
    for (auto [szRule, strText, wsDecoded, strDecoded] : aCases)
    {
        SCOPED_TRACE(szRule);
        std::wstring wsText(strText.begin(), strText.end());
        mu::UnEscapeXML(strText);
        mu::UnEscapeXML(wsText);
        EXPECT_EQ(strText, strDecoded);
        EXPECT_TRUE(wsText == wsDecoded);
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
    EXPECT_FALSE(HasSpecialCharsToReplace(L"plain \x3C00", rule));
}
