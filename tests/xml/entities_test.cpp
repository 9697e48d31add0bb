#include "xml/entities.h"

#include "fuzz/support/plain_document.h"
#include "tests/support/testing.h"

using namespace std::string_literals;

TEST(XmlEntities, NarrowAndWideTextDecodeByThePlainRule)
{
    constexpr const char* kPieces[] = {
        "&", "&#", "&#x", ";",  "X",  "6",  "5;",         "G;",         "gt;",      "LT;",
        " ", "+",  "-",   "lt", ";;", "a;", "4294967231", "4294967361", "10000004", "10FFFF;",
    };
    std::minstd_rand random;
    for (int i = 0; i < 200000; ++i)
    {
        std::string strText = kPieces[random() % 3];
        for (int iPiece = 0; iPiece < i % 7; ++iPiece)
            strText += kPieces[random() % std::size(kPieces)];
        std::wstring wsText(strText.begin(), strText.end());
        const TText decoded = Decoded(TText(strText.begin(), strText.end()));
        mu::UnEscapeXML(strText);
        mu::UnEscapeXML(wsText);
        ASSERT_EQ(strText, PlainEncode(decoded));
        ASSERT_EQ(TText(wsText.begin(), wsText.end()), decoded);
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
