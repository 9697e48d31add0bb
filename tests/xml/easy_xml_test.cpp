#include "fuzz/support/plain_tree.h"
#include "tests/support/comma_locale.h"
#include "tests/support/testing.h"

namespace
{

using namespace std::string_literals;

CEasyXML Document(const wchar_t* wszXML)
{
    CEasyXML exml;
    EXPECT_TRUE(exml.LoadFromText(wszXML).IsValid());
    return exml;
}

std::wstring Written(const CEasyXML& exml)
{
    std::wstring wsXML = L"(none)";
    exml.GetXML(wsXML);
    return wsXML;
}

TEST(EasyXml, CopiesShareTheDocument)
{
    CEasyXML first;
    EXPECT_FALSE(first.GetRoot().IsValid());
    {
        CEasyXML second(first);
        CEasyXML third;
        third = second;
        third = *&third;
        EXPECT_TRUE(third.LoadFromText("<a>\xC3\xA9</a>", 9).IsValid());
        second.EnableXMLHeaderTag(true);
    }
    EXPECT_TRUE(first.IsXMLHeaderTagEnabled());
    EXPECT_EQ(Written(first), L"<?xml version='1.0' encoding='UTF-8'?><a>\xE9</a>");
    EXPECT_EQ(Written(first.Clone()), Written(first));
    EXPECT_FALSE(CEasyXML().Clone().GetRoot().IsValid());
    EXPECT_FALSE(first.LoadFromText(L"<b>").IsValid());
    EXPECT_FALSE(first.LoadFromText(nullptr).IsValid());
    EXPECT_FALSE(first.LoadFromText(nullptr, 5).IsValid());
    EXPECT_FALSE(first.LoadFromText("<b/>", -1).IsValid());
    EXPECT_FALSE(first.LoadFromFile(nullptr).IsValid());
    EXPECT_FALSE(first.SaveToFile(nullptr));
    first.EnableXMLHeaderTag(false);
    EXPECT_EQ(Written(CEasyXML(first)), L"<a>\xE9</a>");
    EXPECT_TRUE(first.AddRoot(L"n:r", L"urn:n").IsValid());
    EXPECT_EQ(Written(first), L"<n:r xmlns:n=\"urn:n\"/>");
}

TEST(EasyXml, ABufferGetsWhatFitsCutAtACharacter)
{
    const CEasyXML exml = Document(L"<a>\xE9\x10FFFE</a>");
    const std::string strXML = "<a>\xC3\xA9\xF4\x8F\xBF\xBE</a>";
    constexpr int aFitting[] = {0, 0, 1, 2, 3, 3, 5, 5, 5, 5, 9, 10, 11, 12, 13, 13};
    for (int iSize = -1; iSize < static_cast<int>(std::size(aFitting)); ++iSize)
    {
        std::string strBuffer(20, '#');
        const int iLength = exml.GetXML(strBuffer.data(), iSize);
        EXPECT_EQ(iLength, iSize < 0 ? 0 : aFitting[iSize]) << iSize;
        std::string strExpected = strXML.substr(0, static_cast<std::size_t>(iLength));
        strExpected.append(iSize > 0 ? 1 : 0, '\0');
        EXPECT_EQ(strBuffer, strExpected.append(20 - strExpected.size(), '#'));
    }
    char szBuffer[4] = "abc";
    EXPECT_EQ(CEasyXML().GetXML(szBuffer, 4), 0);
    EXPECT_STREQ(szBuffer, "");
}

TEST(EasyXml, InvalidHandlesAreHarmlessEverywhere)
{
    CEasyXML exml = Document(L"<r a='1'>x<c/></r>");
    CEasyXMLNode none;
    CEasyXMLNode root = exml.GetRoot();
    std::wstring ws = L"old";
    CNamespacesPrefixesMap map;
    for (const CEasyXMLNode& node :
         {none.GetFirstChild(), none.GetNextSibling(), none.GetChildByName(L"c"),
          none.GetChildByName(L"c", L""), none.SyncChild(L"c", L"", true),
          none.AppendChild(L"c"s, nullptr), none.AppendChild(root), root.AppendChild(none)})
        EXPECT_FALSE(node.IsValid());
    none.RemoveChildrenByName(L"c");
    none.MergeWith(root);
    root.MergeWith(none);
    none.SetNamespacePrefix(L"p", L"u");
    EXPECT_FALSE(none.SetTextValue(1));
    EXPECT_FALSE(none.SetAttributeValue(L"a", nullptr, true));
    EXPECT_FALSE(none.SetAttributesFromText(L"a='1'"));
    EXPECT_FALSE(none.GetNamespacePrefixes(map, true));
    EXPECT_FALSE(none.GetAttributesText(ws));
    EXPECT_FALSE(none.GetAttributesTextWithoutNS(ws));
    EXPECT_FALSE(none.GetAttributeValue(L"a", L"", ws));
    EXPECT_FALSE(root.GetAttributeValue(L"b", L"", ws));
    EXPECT_FALSE(none.GetTextValue(ws));
    EXPECT_FALSE(root.GetAttributeValue(L"b", ws));
    EXPECT_FALSE(none.GetAttributeValue(nullptr, ws));
    EXPECT_EQ(ws, L"old");
    std::wstring wsLocal = L"old", wsURI = L"old";
    EXPECT_FALSE(none.GetName(ws));
    EXPECT_FALSE(none.GetName(wsLocal, wsURI));
    EXPECT_EQ(ws + wsLocal + wsURI, L"");
    EXPECT_EQ(Written(exml), L"<r a=\"1\"><c/>x</r>");
    root.Invalidate();
    EXPECT_FALSE(root.IsValid());
}

TEST(EasyXml, ValuesConvertByTheSameRulesInTextsAndAttributes)
{
    const CCommaLocale comma;
    ASSERT_TRUE(comma.IsActive());
    CEasyXML exml;
    CEasyXMLNode node = exml.AddRoot(L"r", nullptr);
    const auto Check = [&node](auto&& set, auto expected)
    {
        EXPECT_TRUE(node.SetTextValue(set));
        EXPECT_TRUE(node.SetAttributeValue(L"a", L"unused", set));
        auto text = decltype(expected)();
        auto attribute = decltype(expected)();
        EXPECT_TRUE(node.GetTextValue(text));
        EXPECT_TRUE(node.GetAttributeValue(L"a", attribute));
        EXPECT_EQ(text, expected);
        EXPECT_EQ(attribute, expected);
    };
    Check(L"True", true);
    Check(L"yes", true);
    Check(L"1", false);
    Check(L"", false);
    Check(L"4294967297kg", INT_MAX);
    Check(L"4294967297kg", 4294967297LL);
    Check(L" -12.5kg", -12.5);
    Check(true, L"True"s);
    Check(false, L"False"s);
    Check(std::vector<bool>{true}[0], L"True"s); // stand for a bool or a number
    Check(std::atomic<bool>(false), L"False"s);
    Check(std::atomic<int>(1), L"1"s);
    Check(-4294967297LL, -4294967297LL);
    Check(-1234567.0, L"-1.23457e+06"s);
    Check("True", L"True"s);
    Check("\xC3\xA9", L"\xE9"s);
    Check("\xE2\x82\xAC"s, L"\x20AC"s);
    Check(L"\xE9\x10FFFE", "\xC3\xA9\xF4\x8F\xBF\xBE"s);
    Check(static_cast<const char*>(nullptr), L""s);
    Check(static_cast<const wchar_t*>(nullptr), L""s);
}

TEST(EasyXml, AttributesAreReadFromTextUpToItsEnd)
{
    const CEasyXML exml = Document(L"<o b='kept'/>");
    CEasyXMLNode root = exml.GetRoot();
    EXPECT_TRUE(root.SetAttributesFromText(L""));
    EXPECT_TRUE(root.SetAttributesFromText(L"b='new' c='&quot;' / d='2'"));
    EXPECT_FALSE(root.SetAttributesFromText(L"x='1' y=2"));
    EXPECT_EQ(Written(exml), L"<o b=\"kept\" c=\"&quot;\"/>");
    const wchar_t* pText = L"k='?>' ?>";
    EXPECT_TRUE(CNodeAttributesMap().Parse(&pText, L'?'));
    EXPECT_STREQ(pText, L"?>");
}

TEST(EasyXml, AnyOperationsDoWhatTheyDoToAPlainTree)
{
    std::mt19937 random;
    for (int i = 0; i < 500; ++i)
    {
        std::string strInput(500, '\0');
        std::ranges::generate(strInput, [&] { return static_cast<char>(random()); });
        CTreeSession(strInput).Run();
    }
}

} // namespace
