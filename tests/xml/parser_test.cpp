#include <cstdio>
#include <cstring>
#include <iterator>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "mu/unicode.h"
#include "tests/support/line_logger.h"
#include "tests/support/temporary_folder.h"
#include "xml/element_tree.h"

namespace
{

using namespace std::string_literals;

struct SParseCase
{
    const char* szRule;
    std::wstring wsXML;
    const wchar_t* wszWritten; // null: refused
};

const SParseCase kCases[] = {
    {"empty element", L"<a/>", L"<a/>"},
    {"empty element in two tags", L"<a></a>", L"<a/>"},
    {"text around children joins", L"<a>x<b/>y<b/>z</a>", L"<a><b/><b/>xyz</a>"},
    {"text of two levels", L"<a>1<b>2<c>3</c>4</b>5</a>", L"<a><b><c>3</c>24</b>15</a>"},
    {"white space before a text goes, behind it stays", L"<a> \n\t\rtext \n</a>",
     L"<a>text \n</a>"},
    {"white space alone is no text", L"<a> <b> </b> </a>", L"<a><b/></a>"},
    {"a no-break space is text", L"<a>\xA0</a>", L"<a>\xA0</a>"},
    {"entities in a text", L"<a>&lt;&#65;&#x42;&null;&bogus;</a>",
     L"<a>&lt;AB&null;&amp;bogus;</a>"},
    {"a reference ends with its text", L"<a>&#65<b/>;</a>", L"<a><b/>&amp;#65;</a>"},
    {"a reference ends with its value", L"<a x='&#65' y=';'/>", L"<a x=\"&amp;#65\" y=\";\"/>"},
    {"space around the root", L" \r\n\t<a/>\n ", L"<a/>"},

    {"either quote, the other inside", L"<a x='\"' y=\"'\"/>", L"<a x=\"&quot;\" y=\"&apos;\"/>"},
    {"no blank between", L"<a x='1'y='2'/>", L"<a x=\"1\" y=\"2\"/>"},
    {"space around the equals sign", L"<a x = \t'1' />", L"<a x=\"1\"/>"},
    {"first of a pair stays", L"<a x='1' x='2'/>", L"<a x=\"1\"/>"},
    {"first of a pair stays, unsorted", L"<a x='1' b='2' x='3' b='4'/>", L"<a b=\"2\" x=\"1\"/>"},
    {"first of many stays, unsorted",
     L"<a z='0' y='1' y='2' y='3' y='4' y='5' y='6' y='7' y='8' y='9' y='10' y='11' y='12' y='13' "
     L"y='14' y='15' y='16' y='17' y='18' y='19' y='20' y='21' y='22'/>",
     L"<a y=\"1\" z=\"0\"/>"},
    {"by unsigned units", L"<a \x10FFFE='1' \xE9='2' z='3'/>",
     L"<a z=\"3\" \xE9=\"2\" \x10FFFE=\"1\"/>"},
    {"a prefix sorts first", L"<a xy='1' x='2'/>", L"<a x=\"2\" xy=\"1\"/>"},
    {"markup in a value", L"<a x='<b>/>'/>", L"<a x=\"&lt;b&gt;/&gt;\"/>"},
    {"an empty name is a name", L"<a ='1'/>", L"<a =\"1\"/>"},
    {"anything but its ends is in a name", L"<a \"/>x='1'/>", L"<a \"/>x=\"1\"/>"},
    {"unquoted", L"<a x=1/>", nullptr},
    {"no value", L"<a x/>", nullptr},
    {"no equals sign", L"<a x '1'/>", nullptr},
    {"no end of the value", L"<a x='1\"/>", nullptr},
    {"nothing after a value", L"<a x='1'", nullptr},
    {"nothing after the blank", L"<a ", nullptr},
    {"nothing after the equals sign", L"<a x= ", nullptr},

    {"space in an opening tag", L"<a >x</a>", L"<a>x</a>"},
    {"space in a closing tag", L"<a></a >", nullptr},
    {"odd names", L"<!--x=''--><-></-></!--x=''-->", L"<!--x=''--><-/></!--x=''-->"},
    {"a name of controls and others", L"<\x01\xE9'&>&amp;</\x01\xE9'&>",
     L"<\x01\xE9'&>&amp;</\x01\xE9'&>"},
    {"comment", L"<!-- c --><a/>", nullptr},
    {"empty name", L"<>x</>", nullptr},
    {"blank before the name", L"< a/>", nullptr},
    {"a name that ends the text", L"<a", nullptr},
    {"only the bracket", L"<", nullptr},
    {"slash without bracket", L"<a/ >", nullptr},
    {"slash at the end", L"<a/", nullptr},
    {"question mark in a tag", L"<a ?>", nullptr},

    {"other closing tag", L"<a></b>", nullptr},
    {"closing tag a piece of the name", L"<ab></a>", nullptr},
    {"closing tag longer than the name", L"<a></ab>", nullptr},
    {"other prefix", L"<x:a></y:a>", nullptr},
    {"crossed", L"<a><b></a></b>", nullptr},
    {"not closed", L"<a><b></b>", nullptr},
    {"closed twice", L"<a></a></a>", nullptr},
    {"closed before", L"</a><a/>", nullptr},
    {"empty closing name", L"<a></>", nullptr},
    {"two roots", L"<a/><b/>", nullptr},
    {"text behind", L"<a/>junk", nullptr},
    {"text before", L"junk<a/>", nullptr},
    {"text to the end", L"<a>text", nullptr},
    {"nothing", L"", nullptr},
    {"only space", L" \n", nullptr},
};

struct SDeclarationCase
{
    const wchar_t* wszXML;
    bool bParses;
    bool bHeader;
};

constexpr SDeclarationCase kDeclarationCases[] = {
    {L"<?xml version='1.0'?><a/>", true, true},
    {L"<?pi ?><a/>", true, true},
    {L"<? ?><a/>", true, true},
    {L"<?a ?> <?b c='?>' ?><a><?d ?>x</a><?e ?>", true, true},
    {L"<?xml version='1.0'?><a>", false, true},
    {L"<?xml version='1.0' /><a/>", false, true},
    {L"<?xml?><a/>", false, true},
    {L"<?xml ? ><a/>", false, true},
    {L"<?xml ?", false, true},
    {L"<?xml ", false, false},
    {L"<?xml", false, false},
    {L"<?xml version=1.0?><a/>", false, false},
    {L"<a/>", true, false},
};

TEST(XmlParser, ReadsADocumentOrKeepsTheOldOne)
{
    for (const SParseCase& row : kCases)
    {
        const std::string strXML = mu::WideStringToNarrow(row.wsXML);
        for (const bool bWide : {true, false})
        {
            SCOPED_TRACE(std::string(row.szRule) + (bWide ? ", wide" : ", UTF-8"));
            CVariablesTree tree;
            ASSERT_TRUE(tree.FromXML(L"<old/>"));

            EXPECT_EQ(bWide ? tree.FromXML(row.wsXML.c_str())
                            : tree.FromUTF8(strXML.data(), static_cast<int>(strXML.size())),
                      row.wszWritten != nullptr);

            std::wstring wsWritten;
            ASSERT_TRUE(tree.ToXML(wsWritten));
            EXPECT_EQ(wsWritten, row.wszWritten != nullptr ? row.wszWritten : L"<old/>");
            EXPECT_EQ(tree.ToXMLLength(), static_cast<int>(wsWritten.size()));
        }
    }
}

TEST(XmlParser, ADeclarationSetsTheHeaderFlagAsItIsSeen)
{
    for (const SDeclarationCase& row : kDeclarationCases)
    {
        SCOPED_TRACE(mu::WideStringToNarrow(row.wszXML));
        CVariablesTree tree;
        EXPECT_EQ(tree.FromXML(row.wszXML), row.bParses);
        EXPECT_EQ(tree.IsXMLHeaderTagEnabled(), row.bHeader);
    }
}

// Bytes that the lenient conversion makes markup of must be markup, wherever they stand.
TEST(XmlParser, Utf8ReadsAsItsConversionReads)
{
    const std::string aPieces[] = {
        "<a>",
        "</a>",
        "<b x='1'/>",
        "<a ",
        "'>",
        "&#6",
        ";",
        "x",
        " ",
        "\xC3\xA9",
        "\xC0\xBC",
        "\xC1\xA1",
        "\xE0\x80\xBC",
        "\xF0\x80\x80\xBC",
        "\x80\x80",
        "\xF8\x80\x81\xA1",
        "\xC0\xBB",
        "\xED\xA0\x80",
        "\xF4\x8F\xBF\xBF",
        "\xF7\xBF\xBF\xBF",
        "\xC3",
        "\xE2\x82",
        "\xFF",
        "\0"s,
        "A text of more bytes than fit into a block ",
    };
    constexpr std::size_t kPieces = std::size(aPieces);
    int iParsed = 0;
    for (std::size_t i = 0; i < kPieces * kPieces * kPieces; ++i)
    {
        std::string strXML;
        for (const char* const szAround : {"<a>", "<a y='", "<a", "<?x"})
        {
            strXML = szAround + aPieces[i % kPieces] + aPieces[i / kPieces % kPieces] +
                     aPieces[i / kPieces / kPieces] + "</a>";
            const auto iLength = static_cast<int>(strXML.size());
            std::wstring wsXML;
            mu::ConvertString(strXML.data(), iLength, wsXML);

            CVariablesTree narrow;
            CVariablesTree wide;
            const bool bParsed = wide.FromXML(wsXML.c_str());
            ASSERT_EQ(narrow.FromUTF8(strXML.data(), iLength), bParsed) << strXML;
            ASSERT_EQ(narrow.IsXMLHeaderTagEnabled(), wide.IsXMLHeaderTagEnabled());
            std::wstring wsNarrow;
            std::wstring wsWide;
            ASSERT_EQ(narrow.ToXML(wsNarrow), wide.ToXML(wsWide));
            ASSERT_TRUE(wsNarrow == wsWide) << strXML;
            iParsed += bParsed ? 1 : 0;
        }
    }
    EXPECT_GT(iParsed, 1000);
}

TEST(XmlParser, EveryPrefixAndEveryChangedByteEndWell)
{
    const std::string strXML = "<?xml version='1.0' ?><z:a b=\"1&quot;\" c='\xC3\xA9'> t&#x41;<d/>"
                               "<e f='g'>&lt;h</e>\xE2\x82\xAC</z:a>";
    const auto Check = [](const std::string& strChanged)
    {
        // On the heap and exactly as long, so that a read behind the end is seen.
        const std::unique_ptr<char[]> pText(new char[strChanged.size()]);
        strChanged.copy(pText.get(), strChanged.size());
        CVariablesTree tree;
        if (tree.FromUTF8(pText.get(), static_cast<int>(strChanged.size())))
        {
            std::string strOnce;
            std::string strTwice;
            CVariablesTree again;
            ASSERT_TRUE(tree.ToUTF8(strOnce));
            // Names that are no names, as the scanner lets them pass, need not survive.
            if (again.FromUTF8(strOnce.data(), static_cast<int>(strOnce.size())))
            {
                ASSERT_TRUE(again.ToUTF8(strTwice));
                EXPECT_EQ(strOnce, strTwice);
            }
        }
    };
    for (std::size_t i = 0; i <= strXML.size(); ++i)
    {
        Check(strXML.substr(0, i));
        for (int iByte = 0; i < strXML.size() && iByte < 256; ++iByte)
        {
            std::string strChanged = strXML;
            strChanged[i] = static_cast<char>(iByte);
            Check(strChanged);
        }
    }
}

TEST(XmlParser, AttributesParseStopsAtTheEndsItIsGiven)
{
    struct SCase
    {
        std::wstring wsText;
        wchar_t chEnd;
        bool bParses;
        std::size_t uRest;
        const wchar_t* wszWritten;
    };
    const SCase aCases[] = {
        {L"b='1' a='2'>x", 0, true, 2, L" a=\"2\" b=\"1\" old=\"0\""},
        {L" /", 0, true, 1, L" old=\"0\""},
        {L"a='1' ]b='2'>", L']', true, 7, L" a=\"1\" old=\"0\""},
        {L"old='1'>", 0, true, 1, L" old=\"0\""},
        {L"a='1'", 0, false, 5, L" old=\"0\""},
        {L"  ", 0, false, 2, L" old=\"0\""},
        {L"a='" + std::wstring(5000, L'x') + L"'>", 0, true, 1, nullptr},
        {L"a='" + std::wstring(5000, L'x'), 0, false, 5003, L" old=\"0\""},
    };
    for (const SCase& row : aCases)
    {
        SCOPED_TRACE(mu::WideStringToNarrow(row.wsText.substr(0, 20)));
        CNodeAttributesMap attributes;
        attributes.Set(L"old", L"0");
        const wchar_t* p = row.wsText.c_str();
        EXPECT_EQ(attributes.Parse(&p, row.chEnd), row.bParses);
        EXPECT_EQ(std::wstring(p).size(), row.uRest);
        std::wstring wsWritten;
        attributes.ToTagAttributes(wsWritten);
        EXPECT_EQ(attributes.ToTagAttributesLength(), static_cast<int>(wsWritten.size()));
        if (row.wszWritten != nullptr)
        {
            EXPECT_EQ(wsWritten, row.wszWritten);
        }
    }
}

TEST(XmlParser, AFileIsReadInItsEncodingAndFailuresAreLogged)
{
    CTemporaryFolder folder;
    const auto Write = [&folder](const char* szName, const std::string& strBytes)
    {
        std::FILE* const pFile = std::fopen(folder.Path(szName).c_str(), "wb");
        std::fwrite(strBytes.data(), 1, strBytes.size(), pFile);
        std::fclose(pFile);
        return folder.WidePath(std::wstring(szName, szName + std::strlen(szName)));
    };
    CLineLogger logger;
    CVariablesTree tree;
    ASSERT_TRUE(tree.FromFile(Write("utf8", "\xEF\xBB\xBF<a>\xC3\xA9\0b</a>"s).c_str()));
    EXPECT_EQ(tree.GetRoot()->GetText(), L"\xE9 b");
    ASSERT_TRUE(tree.FromFile(Write("utf16", "\xFE\xFF\0<\0b\0/\0>"s).c_str()));
    EXPECT_EQ(tree.GetRoot()->GetName(), L"b");
    EXPECT_TRUE(logger.TakeLines().empty());

    EXPECT_FALSE(tree.FromFile(folder.WidePath(L"missing\xE9").c_str()));
    EXPECT_FALSE(tree.FromFile(Write("bad", "<c>\xC3\xA9").c_str()));
    EXPECT_FALSE(tree.FromFile(folder.WidePath(L"bad").c_str(), true));
    EXPECT_EQ(tree.GetRoot()->GetName(), L"b");
    const auto vecLines = logger.TakeLines(); // the file object tells of the missing file first
    ASSERT_EQ(vecLines.size(), 4U);
    EXPECT_EQ(vecLines[1], "2 Cannot read XML file \"" + folder.Path("missing\xC3\xA9") + "\"");
    EXPECT_EQ(vecLines[2], "2 Invalid XML file \"" + folder.Path("bad") + "\": \"<c>\xC3\xA9\"");
    EXPECT_EQ(vecLines[3], "2 Invalid XML file \"" + folder.Path("bad") + "\": \"(confidential)\"");
}

} // namespace
