#include "tests/support/files.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/testing.h"
#include "tests/xml/written.h"

namespace
{

using namespace std::string_literals;

TEST(XmlWriter, WritesTheCompactForm)
{
    CVariablesTree tree;
    std::wstring wsXML = L"kept";
    std::string strXML = "kept";
    EXPECT_FALSE(tree.ToXML(wsXML) || tree.ToUTF8(strXML) || tree.ToXMLLength() != 0);
    EXPECT_TRUE(wsXML == L"kept" && strXML == "kept");

    CVariablesSubTree* const pRoot = tree.AppendNode(L"a", nullptr, nullptr);
    tree.AppendNode(L"b", nullptr, pRoot);
    pRoot->SetText(L"x'<>\"&\0\n\xE9"s);
    pRoot->SetAttribute(L"b", L"'<>\"&\0\t\x20AC"s);
    pRoot->SetAttribute(L"a&", L"");
    tree.EnableXMLHeaderTag(true);
    const std::wstring wsExpected =
        L"<?xml version='1.0' encoding='UTF-8'?><a a&=\"\" b=\"&apos;&lt;&gt;&quot;&amp;&null;\t"
        L"\x20AC\"><b/>x&apos;&lt;&gt;&quot;&amp;&null;\n\xE9</a>";
    EXPECT_EQ(Written(tree), wsExpected);
    EXPECT_EQ(pRoot->GetAttributes().ToTagAttributesLength(), 44);
}

/// A tree of random shape, whose texts hold whatever a text can.
void AppendRandom(std::mt19937& random, CVariablesTree& tree, int iElements)
{
    const auto RandomText = [&random]
    {
        constexpr wchar_t aUnits[] = L"abc 0123456789 some words &<>'\"\n\xE9\x20AC\x10FFFE";
        std::wstring wsText(random() % 3 != 0 ? random() % 40 : 0, L' ');
        for (wchar_t& wc : wsText)
            wc = aUnits[random() % std::size(aUnits)]; // the terminator, too
        return wsText;
    };
    constexpr const wchar_t* aNames[] = {L"n", L"zor:RecordIfMotionDetected", L"\xE9t\xE9",
                                         L"sixteen-letters:", L"zor:Name"};
    const auto RandomName = [&] { return aNames[random() % std::size(aNames)]; };
    CVariablesSubTree* pElement = tree.AppendNode(L"root", nullptr, nullptr);
    for (int i = 0; i < iElements; ++i)
    {
        pElement = tree.AppendNode(RandomName(), nullptr, pElement);
        const std::wstring wsText = RandomText(); // reading drops the space before it
        pElement->SetText(wsText.substr(std::min(wsText.find_first_not_of(L" \n"), wsText.size())));
        for (std::size_t j = random() % 3; j > 0; --j)
            pElement->SetAttribute(RandomName(), RandomText());
        for (std::size_t j = random() % 3; j > 0 && pElement->GetParent() != nullptr; --j)
            pElement = pElement->GetParent();
    }
}

TEST(XmlWriter, WhatIsWrittenReadsBackTheSame)
{
    std::mt19937 random(7);
    for (int i = 0; i < 300; ++i)
    {
        CVariablesTree tree;
        AppendRandom(random, tree, i % 40);
        const std::wstring wsXML = Written(tree);
        const std::string strXML = mu::WideStringToNarrow(wsXML);
        CVariablesTree again;
        ASSERT_TRUE(i % 2 != 0 ? again.FromXML(wsXML.c_str())
                               : again.FromUTF8(strXML.data(), static_cast<int>(strXML.size())));
        EXPECT_TRUE(Written(again) == wsXML);
        EXPECT_EQ(again.GetNodeCount(), tree.GetNodeCount());
    }
}

TEST(XmlWriter, LongTextsAreTheSameInUtf8)
{
    // UTF-8 is gathered in chunks of 4 KiB and copied in blocks: every end of a chunk meets every
    // place in a block.
    for (std::size_t u = 0; u < 64 * 32; ++u)
    {
        CVariablesTree tree;
        CVariablesSubTree* const pRoot = tree.AppendNode(L"a", nullptr, nullptr);
        const std::wstring wsLong(4040 + u / 32, L'x');
        pRoot->SetAttribute(L"k", std::wstring(u / 2 % 16, L'y'));
        pRoot->SetText(u % 2 != 0 ? wsLong : wsLong + L"\x10FFFE");
        ASSERT_EQ(Written(tree).size(), 4040U + u / 32 + u / 2 % 16 + (u % 2 == 0 ? 13 : 12)) << u;
    }
}

TEST(XmlWriter, SavesAFileWithAMark)
{
    CTemporaryFolder folder;
    CVariablesTree tree;
    EXPECT_FALSE(tree.ToFile(folder.WidePath(L"empty").c_str()));
    ASSERT_TRUE(tree.FromXML(L"<a>\xE9</a>"));
    ASSERT_TRUE(tree.ToFile(folder.WidePath(L"a.xml").c_str()));
    EXPECT_FALSE(tree.ToFile(folder.WidePath(L"no/a.xml").c_str()));
    EXPECT_FALSE(tree.ToFile(L"/dev/full"));
    EXPECT_EQ(ReadFile(folder.Path("a.xml")), "\xEF\xBB\xBF<a>\xC3\xA9</a>");
}

} // namespace
