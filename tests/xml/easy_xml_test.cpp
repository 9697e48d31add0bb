#include "xml/easy_xml.h"

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
    EXPECT_FALSE(first.LoadFromText(L"<b>").IsValid() || first.LoadFromText(nullptr).IsValid() ||
                 first.LoadFromText(nullptr, 5).IsValid() ||
                 first.LoadFromText("<b/>", -1).IsValid() ||
                 first.LoadFromFile(nullptr).IsValid() || first.SaveToFile(nullptr));
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
    EXPECT_FALSE(none.SetTextValue(1) || none.SetAttributeValue(L"a", nullptr, true) ||
                 none.SetAttributesFromText(L"a='1'") || none.GetNamespacePrefixes(map, true) ||
                 none.GetAttributesText(ws) || none.GetAttributesTextWithoutNS(ws) ||
                 none.GetAttributeValue(L"a", L"", ws) || root.GetAttributeValue(L"b", L"", ws) ||
                 none.GetTextValue(ws) || root.GetAttributeValue(L"b", ws) ||
                 none.GetAttributeValue(nullptr, ws));
    EXPECT_EQ(ws, L"old");
    EXPECT_FALSE(none.GetName(ws));
    EXPECT_EQ(ws, L"");
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
        EXPECT_TRUE(node.SetTextValue(set) && node.SetAttributeValue(L"a", L"unused", set));
        auto text = decltype(expected)();
        auto attribute = decltype(expected)();
        EXPECT_TRUE(node.GetTextValue(text) && node.GetAttributeValue(L"a", attribute));
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
    Check(INT_MIN, L"-2147483648"s);
    Check(LLONG_MAX, L"9223372036854775807"s);
    Check(-1234567.0, L"-1.23457e+06"s);
    Check("True", L"True"s);
    Check("\xC3\xA9", L"\xE9"s);
    Check("\xE2\x82\xAC"s, L"\x20AC"s);
    Check(L"\xE9\x10FFFE", "\xC3\xA9\xF4\x8F\xBF\xBE"s);
    Check(static_cast<const char*>(nullptr), L""s);
    Check(static_cast<const wchar_t*>(nullptr), L""s);
}

TEST(EasyXml, NamesResolveByNamespaceOrExactly)
{
    CEasyXML exml = Document(
        L"<z:r xmlns:z='urn:z' xmlns='urn:d'><z:a i='0'/><y:a xmlns:y='urn:z' i='1'/>"
        L"<a i='2'/><q:a i='3'/><z:a xmlns:z='urn:other' xmlns:='no' z:k='2' k='3' i='4'/></z:r>");
    const CEasyXMLNode root = exml.GetRoot();
    const auto Index = [](const CEasyXMLNode& node)
    {
        std::wstring wsIndex = L"-1";
        node.GetAttributeValue(L"i", wsIndex);
        return std::stoi(wsIndex);
    };
    EXPECT_EQ(Index(root.GetChildByName(L"z:a")), 0);
    EXPECT_EQ(Index(root.GetChildByName(L"a", L"urn:z")), 0);
    EXPECT_EQ(Index(root.GetChildByName(L"a", L"urn:d")), 2);
    EXPECT_EQ(Index(root.GetChildByName(L"a", L"")), 3);
    EXPECT_EQ(Index(root.GetChildByName(L"a", L"urn:other")), 4);
    EXPECT_EQ(Index(root.GetChildByName(L"z:a", L"urn:z")), -1);

    std::wstring ws, wsURI;
    ASSERT_TRUE(root.GetFirstChild().GetNextSibling().GetName(ws, wsURI));
    EXPECT_EQ(ws + L"|" + wsURI, L"a|urn:z");
    const CEasyXMLNode last = root.GetChildByName(L"a", L"urn:other");
    EXPECT_TRUE(last.GetAttributeValue(L"k", L"urn:other", ws) && ws == L"2");
    EXPECT_TRUE(last.GetAttributeValue(L"k", L"urn:d", ws) && ws == L"3");
    EXPECT_FALSE(last.GetAttributeValue(L"z", L"", ws));

    CNamespacesPrefixesMap mapAll;
    exml.GetNamespacePrefixes(mapAll);
    EXPECT_EQ(mapAll,
              (CNamespacesPrefixesMap{{L"", L"urn:d"}, {L"y", L"urn:z"}, {L"z", L"urn:z"}}));
    CNamespacesPrefixesMap mapOwn{{L"kept", L"urn:kept"}};
    CNamespacesPrefixesMap mapInherited;
    EXPECT_TRUE(last.GetNamespacePrefixes(mapOwn, false) &&
                last.GetNamespacePrefixes(mapInherited, true));
    EXPECT_EQ(mapOwn, (CNamespacesPrefixesMap{{L"kept", L"urn:kept"}, {L"z", L"urn:other"}}));
    EXPECT_EQ(mapInherited, (CNamespacesPrefixesMap{{L"", L"urn:d"}, {L"z", L"urn:other"}}));
}

TEST(EasyXml, ChildrenAreSyncedAppendedAndRemoved)
{
    CEasyXML exml = Document(L"<r><a/></r>");
    CEasyXMLNode root = exml.GetRoot();
    EXPECT_FALSE(root.SyncChild(L"b", L"urn:b", false).IsValid());
    EXPECT_TRUE(root.SyncChild(L"a", L"urn:a", true).IsValid());
    root.SyncChild(L"z:b", L"urn:b", true).SetTextValue(5);
    EXPECT_EQ(Written(exml), L"<r><a/><z:b xmlns:z=\"urn:b\">5</z:b></r>");
    EXPECT_TRUE(root.GetFirstChild().AppendChild(root).IsValid());
    EXPECT_TRUE(root.AppendChild(Document(L"<o>other</o>").GetRoot()).IsValid());
    EXPECT_EQ(Written(exml), L"<r><a><r><a/><z:b xmlns:z=\"urn:b\">5</z:b></r></a>"
                             L"<z:b xmlns:z=\"urn:b\">5</z:b><o>other</o></r>");
    root.RemoveChildrenByName(L"a");
    CEasyXMLNode merged = root.GetChildByName(L"o");
    merged.MergeWith(Document(L"<m k='v'/>").GetRoot());
    EXPECT_EQ(Written(exml), L"<r><z:b xmlns:z=\"urn:b\">5</z:b><o k=\"v\">other</o></r>");
}

TEST(EasyXml, AttributesAsTextGoThereAndBack)
{
    CEasyXML exml = Document(L"<r b='&quot;' xmlns:p='u' xmlns='d' xmlnsx='1'/>");
    CEasyXMLNode root = exml.GetRoot();
    root.SetNamespacePrefix(L"q", L"v");
    root.SetNamespacePrefix(L"", L"e");
    std::wstring wsAll, wsOwn;
    ASSERT_TRUE(root.GetAttributesText(wsAll) && root.GetAttributesTextWithoutNS(wsOwn));
    EXPECT_EQ(wsAll, L" b=\"&quot;\" xmlns=\"e\" xmlns:p=\"u\" xmlns:q=\"v\" xmlnsx=\"1\"");
    EXPECT_EQ(wsOwn, L" b=\"&quot;\" xmlnsx=\"1\"");

    CEasyXML other = Document(L"<o b='kept'/>");
    root = other.GetRoot();
    EXPECT_TRUE(root.SetAttributesFromText(wsAll) && root.SetAttributesFromText(L"") &&
                root.SetAttributesFromText(L"c='1' / d='2'"));
    EXPECT_FALSE(root.SetAttributesFromText(L"x='1' y=2"));
    EXPECT_EQ(Written(other), L"<o b=\"kept\" c=\"1\" xmlns=\"e\" xmlns:p=\"u\" xmlns:q=\"v\" "
                              L"xmlnsx=\"1\"/>");
}

} // namespace
