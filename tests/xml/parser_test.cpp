#include "fuzz/support/plain_document.h"
#include "tests/support/files.h"
#include "tests/support/line_logger.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/testing.h"
#include "tests/xml/written.h"
#include "xml/easy_xml.h"

namespace
{

using namespace std::string_literals;

// The prefixes of a document are all refused, see below: they are not listed here.
const struct
{
    const char* szRule;
    std::wstring wsXML;
    std::wstring wsWritten;
    bool bHeader = false; // whether a declaration was seen
} kCases[] = {
    {"text of every level joins", L"<a>1<b>2<c/>3</b>4<b/>5</a>", L"<a><b><c/>23</b><b/>145</a>"},
    {"white space before a text goes, behind it stays", L"<a> \n\t\rtext \n</a>",
     L"<a>text \n</a>"},
    {"white space alone is no text, a no-break space is", L" \r\n\t<a> <b> </b>\xA0</a>\n ",
     L"<a><b/>\xA0</a>"},
    {"entities in a text", L"<a>&lt;&#65;&#x42;&null;&bogus;</a>",
     L"<a>&lt;AB&null;&amp;bogus;</a>"},
    {"a reference ends with its value and text", L"<a x='&#65' y=';'>&#65<b/>;</a>",
     L"<a x=\"&amp;#65\" y=\";\"><b/>&amp;#65;</a>"},

    {"either quote, the other inside", L"<a x='\"'y=\"'\"/>", L"<a x=\"&quot;\" y=\"&apos;\"/>"},
    {"first of a pair stays", L"<a x='1' x='2'/>", L"<a x=\"1\"/>"},
    {"first of many stays, unsorted",
     L"<a z='0' y='1' y='2' y='3' y='4' y='5' y='6' y='7' y='8' y='9' y='10' y='11' y='12' y='13' "
     L"y='14' y='15' y='16' y='17' y='18' y='19' y='20' y='21' y='22'/>",
     L"<a y=\"1\" z=\"0\"/>"},
    {"by unsigned units, a prefix first", L"<a \x10FFFE='1' \xE9='2' xy='3' x='4'/>",
     L"<a x=\"4\" xy=\"3\" \xE9=\"2\" \x10FFFE=\"1\"/>"},
    {"markup in a value, an empty name", L"<a ='<b>/>'/>", L"<a =\"&lt;b&gt;/&gt;\"/>"},

    {"odd names", L"<!--x=''--><-></-></!--x=''-->", L"<!--x=''--><-/></!--x=''-->"},

    {"shortest declaration", L"<? ?><a/>", L"<a/>", true},
    {"declarations anywhere", L"<?a ?> <?b c='?>' ?><a><?d ?>x</a><?e ?>", L"<a>x</a>", true},
};

using enum mu::EXMLError;

// The prefixes of a document are refused, too: see below.
const struct
{
    std::wstring wsXML;
    mu::EXMLError eReason;
    std::uint32_t uOffset;
    bool bHeader = false; // whether a declaration was seen
} kRefused[] = {
    {L"< a/>", NoName, 1},          {L"<a></a >", WrongClosing, 5},
    {L"<>x</>", NoName, 1},         {L"<ab></a>", WrongClosing, 6},
    {L" \n", NoElement, 2},         {L"<a></ab>", WrongClosing, 5},
    {L"<a/ >", BadTagEnd, 3},       {L" junk<a/>", TextOutside, 1},
    {L"<a/", UnclosedTag, 0},       {L"<a x '1'/>", BadAttribute, 5},
    {L"<a><", UnclosedTag, 3},      {L"</a><a/>", NothingToClose, 2},
    {L"<a ?>", UnclosedTag, 0},     {L"<?xml ?", BadTagEnd, 6, true},
    {L"<?xml ", UnclosedTag, 0},    {L" <a x='1\"/>", UnclosedTag, 1},
    {L"<a x/>", UnclosedTag, 0},    {L"<x:a></y:a>", WrongClosing, 7},
    {L"<a></a", UnclosedTag, 3},    {L"<a></a></a>", NothingToClose, 9},
    {L"<a></b>", WrongClosing, 5},  {L"<!-- c --><a/>", BadAttribute, 7},
    {L"<a/> <b/>", SecondRoot, 5},  {L"<?xml?><a/>", BadTagEnd, 6, true},
    {L"<a/>junk", TextOutside, 4},  {L"<?xml ? ><a/>", BadTagEnd, 6, true},
    {L"<a> <b>text", Unclosed, 4},  {L"<?xml version=1.0?><a/>", BadAttribute, 14},
    {L"<a><b></b> ", Unclosed, 0},  {L"<?xml version='1.0' /><a/>", BadTagEnd, 20, true},
    {L"<a x=1/>", BadAttribute, 5},
};

void ExpectRead(const std::wstring& wsXML, const std::wstring& wsWritten, bool bHeader,
                mu::EXMLError eReason = None, std::uint32_t uOffset = 0)
{
    const std::string strXML = mu::WideStringToNarrow(wsXML);
    SCOPED_TRACE(strXML);
    for (const bool bWide : {true, false})
    {
        CVariablesTree tree;
        ASSERT_TRUE(tree.FromXML(L"<old/>"));
        EXPECT_EQ(bWide ? tree.FromXML(wsXML.c_str())
                        : tree.FromUTF8(strXML.data(), static_cast<int>(strXML.size())),
                  eReason == None);
        EXPECT_EQ(tree.GetParseError().m_eReason, eReason);
        EXPECT_EQ(tree.GetParseError().m_uOffset, uOffset);
        EXPECT_EQ(tree.IsXMLHeaderTagEnabled(), bHeader);
        EXPECT_EQ(Written(tree),
                  (bHeader ? L"<?xml version='1.0' encoding='UTF-8'?>" : L"") + wsWritten);
    }
}

TEST(XmlParser, ReadsADocumentOrKeepsTheOldOne)
{
    for (const auto& row : kCases)
    {
        SCOPED_TRACE(row.szRule);
        ExpectRead(row.wsXML, row.wsWritten, row.bHeader);
    }
    for (const auto& row : kRefused)
        ExpectRead(row.wsXML, L"<old/>", row.bHeader, row.eReason, row.uOffset);
}

TEST(XmlParser, TellsPeopleTheLineAndColumnOfAnError)
{
    CEasyXML exml;
    const auto Describe = [&exml](const std::string& strXML)
    {
        exml.LoadFromText(strXML.data(), static_cast<int>(strXML.size()));
        return mu::DescribeXMLError(exml.GetLoadError(), strXML);
    };
    EXPECT_EQ(Describe("<a>\n\xC3\xA9 <b x/>"), "line 2, column 3: the text ends inside this tag");
    EXPECT_EQ(Describe("<a>\xC3\xA9\xE9</a>"), "line 1, column 5: the text is not UTF-8");
    EXPECT_EQ(Describe(""), "line 1, column 1: there is no text");
    for (const char* const szNone :
         {"\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\xF5\x80\x80\x80"})
        EXPECT_EQ(Describe(szNone), "line 1, column 1: the text is not UTF-8");
    EXPECT_FALSE(exml.LoadFromText(L"<a>\n\n\xE9 </b>").IsValid());
    EXPECT_EQ(mu::DescribeXMLError(exml.GetLoadError(), L"<a>\n\n\xE9 </b>"),
              "line 3, column 5: the closing tag does not match the open element");
    int iReason = 0;
    for (const std::string strReason :
         {"no error", "there is no text", "the text is too long", "the text is not UTF-8",
          "there is no element", "text outside the root element", "a second root element",
          "the text ends inside this tag", "a tag without a name",
          "an attribute is not of the form name=\"value\"", "a tag does not end as it must",
          "the closing tag does not match the open element",
          "a closing tag, but no element is open", "this element is not closed"})
        EXPECT_EQ(mu::DescribeXMLError({static_cast<mu::EXMLError>(iReason++), 0}, ""),
                  "line 1, column 1: " + strReason);
}

// Bytes that the lenient conversion makes markup of must be markup, wherever they stand.
TEST(XmlParser, Utf8ReadsAsItsConversionReads)
{
    const std::string strLong(46, 'x'); // than a block
    const std::string strEach = "\xC3\xA9\xC2\x80\xF0\x90\x80\x80\xF1\x80\x80\x80";
    const std::string aPieces[] = {
        ";",    " ",    "'>",    "<a>",      strEach,    "\xE0\x80\xBC",     "\xF0\x80\x80\xBC",
        "<a ",  "&#6",  "</a>",  "\0"s,      "\xC0\xBC", "<b x='1'/>",       "\xF8\x80\x81\xA1",
        "\xC3", "\xFF", strLong, "\xC0\xBB", "\x80\x80", "\xF4\x8F\xBF\xBF", "\xF7\xBF\xBF\xBF",
    };
    for (const std::string& strFirst : aPieces)
        for (const std::string& strSecond : aPieces)
            for (const std::string& strThird : aPieces)
                for (const std::string strAround : {"<a>", "<a y='", "<a", "<?x"})
                    CheckDocument(strAround + strFirst + strSecond + strThird + "</a>");
}

TEST(XmlParser, EveryPrefixIsRefusedAndEveryChangedByteEndsWell)
{
    const std::string strXML =
        "<?xml version= '1.0' ?><z:a b=\"1&quot;\" c='\xC2\x80\xDF\xBF'> t&#x41;"
        "<d/><e f='g'>&lt;h</e>\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80"
        "\xF4\x8F\xBF\xBF</z:a>";
    for (std::size_t i = 0; i < strXML.size(); ++i)
    {
        CVariablesTree tree;
        EXPECT_FALSE(tree.FromUTF8(strXML.data(), static_cast<int>(i))) << i;
        EXPECT_EQ(tree.GetParseError().m_eReason == NotUTF8, (strXML[i] & 0xC0) == 0x80) << i;
        for (int iByte = 0; iByte < 256; ++iByte)
            CheckDocument(strXML.substr(0, i) + static_cast<char>(iByte) + strXML.substr(i + 1));
    }
}

TEST(XmlParser, AFileIsReadInItsEncodingAndFailuresAreLogged)
{
    CTemporaryFolder folder;
    WriteFile(folder.Path("utf8"), "\xEF\xBB\xBF<a>\xC3\xA9\0b</a>"s);
    WriteFile(folder.Path("utf16"), "\xFE\xFF\0<\0b\0/\0>"s);
    WriteFile(folder.Path("bad"), "<c>\xC3\xA9");
    CLineLogger logger;
    CVariablesTree tree;
    ASSERT_TRUE(tree.FromFile(folder.WidePath(L"utf8").c_str()));
    EXPECT_EQ(tree.GetRoot()->GetText(), L"\xE9 b");
    ASSERT_TRUE(tree.FromFile(folder.WidePath(L"utf16").c_str()));
    EXPECT_EQ(tree.GetRoot()->GetName(), L"b");
    EXPECT_TRUE(logger.TakeLines().empty());

    EXPECT_FALSE(tree.FromFile(folder.WidePath(L"missing\xE9").c_str()));
    EXPECT_FALSE(tree.FromFile(folder.WidePath(L"bad").c_str()));
    EXPECT_FALSE(tree.FromFile(folder.WidePath(L"bad").c_str(), true));
    EXPECT_EQ(tree.GetRoot()->GetName(), L"b");
    const auto vecLines = logger.TakeLines(); // the file object tells of the missing file first
    ASSERT_EQ(vecLines.size(), 4U);
    EXPECT_EQ(vecLines[1], "2 Cannot read XML file \"" + folder.Path("missing\xC3\xA9") + "\"");
    EXPECT_EQ(vecLines[2], "2 Invalid XML file \"" + folder.Path("bad") + "\": \"<c>\xC3\xA9\"");
    EXPECT_EQ(vecLines[3], "2 Invalid XML file \"" + folder.Path("bad") + "\": \"(confidential)\"");
}

} // namespace
