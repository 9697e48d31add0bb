// Sizes and depths at which recursion, quadratic time or growing memory show: each test ends in a
// moment, or not before its time-out.

#include <malloc.h>

#include "tests/support/failing_heap.h"
#include "tests/support/testing.h"
#include "xml/easy_xml.h"

namespace
{

std::wstring Repeated(const std::wstring& wsPiece, int iTimes)
{
    std::wstring wsAll;
    while (iTimes-- > 0)
        wsAll += wsPiece;
    return wsAll;
}

TEST(XmlLimits, NothingRecursesOverTheDepthOfADocument)
{
    constexpr int kDepth = 1000000; // a frame for each would not fit into any usual stack
    const std::wstring wsDeep = Repeated(L"<a>", kDepth) + Repeated(L"</a>", kDepth);
    CVariablesTree tree;
    ASSERT_TRUE(tree.FromXML(wsDeep.c_str()));
    EXPECT_EQ(tree.GetNodeCount(), kDepth);
    CVariablesTree copy;
    copy.AppendClone(tree.GetRoot(), nullptr);
    copy.GetRoot()->SetAttribute(L"k", L"v");
    copy.GetRoot()->MergeWith(*tree.GetRoot());
    EXPECT_EQ(copy.GetNodeCount(), kDepth);
    std::string strXML;
    ASSERT_TRUE(copy.ToUTF8(strXML));
    EXPECT_EQ(strXML.size(), wsDeep.size() + 6 - 3);
    CEasyXML exml;
    CEasyXMLNode root = exml.LoadFromText(strXML.data(), static_cast<int>(strXML.size()));
    CNamespacesPrefixesMap map;
    exml.GetNamespacePrefixes(map);
    root.RemoveChildrenByName(L"a");
    EXPECT_FALSE(root.GetFirstChild().IsValid());
    EXPECT_FALSE(tree.FromXML((wsDeep + L"x").c_str()));
}

TEST(XmlLimits, EveryInputTakesLinearTime)
{
    constexpr int kTimes = 1000000;
    CEasyXML exml;
    std::wstring wsText;
    for (const wchar_t* const wszPiece : {L"<", L"<a ", L"<a>", L"<a b='", L"b=''"})
    {
        const std::wstring wsXML = L"<a " + Repeated(wszPiece, kTimes);
        EXPECT_FALSE(exml.LoadFromText(wsXML.c_str()).IsValid());
        EXPECT_FALSE(exml.LoadFromText(wsXML.c_str() + 3).IsValid());
    }
    for (const wchar_t* const wszReference : {L"&#", L"&#x", L"&#1", L"&", L"&amp"})
    {
        const std::wstring wsReferences = Repeated(wszReference, kTimes);
        const std::wstring wsXML = L"<a b='" + wsReferences + L"'>" + wsReferences + L"</a>";
        ASSERT_TRUE(exml.LoadFromText(wsXML.c_str()).IsValid());
        ASSERT_TRUE(exml.GetRoot().GetTextValue(wsText) && wsText == wsReferences);
    }

    ASSERT_TRUE(
        exml.LoadFromText((L"<a>" + Repeated(L"x<b/>", kTimes) + L"</a>").c_str()).IsValid());
    ASSERT_TRUE(exml.GetRoot().GetTextValue(wsText));
    EXPECT_EQ(wsText.size(), static_cast<std::size_t>(kTimes));
    exml.GetRoot().RemoveChildrenByName(L"b");
    EXPECT_TRUE(exml.LoadFromText((Repeated(L"<?x y='z' ?>", kTimes) + L"<a/>").c_str()).IsValid());

    std::wstring wsDescending = L"<a";
    for (int i = 200000; i > 0; --i)
        wsDescending += L" n" + std::to_wstring(1000000 + i) + L"=''";
    EXPECT_TRUE(exml.LoadFromText((wsDescending + L"/>").c_str()).IsValid());
    CEasyXML other;
    EXPECT_TRUE(other.AddRoot(L"r", nullptr).SetAttributesFromText(wsDescending.substr(2)));
    other.GetRoot().MergeWith(exml.GetRoot());
}

TEST(XmlLimits, EveryEditTakesLinearTime)
{
    CEasyXML exml, other;
    CEasyXMLNode node = exml.AddRoot(L"r", nullptr);
    const CEasyXMLNode copied = other.LoadFromText(L"<a><b/></a>");
    for (int i = 0; i < 300000; ++i)
        node = node.AppendChild(copied); // ever deeper
    EXPECT_TRUE(node.IsValid());

    std::wstring wsInto = L"<r>", wsFrom = L"<r>";
    for (int i = 0; i < 100000; ++i)
    {
        wsInto += L"<a" + std::to_wstring(i) + L"/>";
        wsFrom += L"<b" + std::to_wstring(i) + L"/>";
    }
    CEasyXMLNode root = exml.LoadFromText((wsInto + L"</r>").c_str());
    root.MergeWith(other.LoadFromText((wsFrom + L"</r>").c_str()));
    root.MergeWith(other.GetRoot());
    EXPECT_FALSE(root.GetChildByName(L"none", L"urn:none").IsValid());
    std::wstring wsXML;
    ASSERT_TRUE(exml.GetXML(wsXML));
    EXPECT_EQ(wsXML.size(), wsInto.size() + wsFrom.size() - 3 + 4);
}

TEST(XmlLimits, DocumentsAreSmallAndChangingThemDoesNotGrowThem)
{
    const auto HeapInUse = [] { return mallinfo2().uordblks + mallinfo2().hblkhd; };
    if (!CFailingHeap::kAvailable)
        GTEST_SKIP() << "the sanitizer's allocator keeps no such counts";
    CEasyXML exml;
    CEasyXMLNode root = exml.LoadFromText(L"<r a='1'>text</r>");
    std::size_t uBefore = 0;
    for (int i = 0; i < 1000000; ++i)
    {
        root.SetTextValue(i);
        root.SetAttributeValue(L"a", nullptr, i);
        if (i % 16 == 0)
        {
            root.AppendChild(L"child", nullptr).SetTextValue(i);
            root.RemoveChildrenByName(L"child");
        }
        uBefore = i == 100000 ? HeapInUse() : uBefore; // no number is longer from here on
    }
    EXPECT_LE(HeapInUse(), uBefore + 64);

    constexpr std::size_t kDocuments = 100;
    for (const bool bParsed : {false, true})
    {
        uBefore = HeapInUse();
        CEasyXML aDocuments[kDocuments];
        for (CEasyXML& document : aDocuments)
        {
            root = bParsed ? document.LoadFromText(L"<zor:Message/>")
                           : document.AddRoot(L"zor:Message", L"http://zor.example/zor");
            root.SetAttributeValue(L"zor:Text", nullptr,
                                   "A message of some forty characters length");
        }
        EXPECT_LE((HeapInUse() - uBefore) / kDocuments, 1024U);
    }
}

} // namespace
