#include "fuzz/support/plain_document.h"
#include "tests/support/files.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/testing.h"
#include "tests/xml/written.h"

namespace
{

TEST(XmlWriter, WhatIsWrittenIsByThePlainRuleAndReadsBackTheSame)
{
    constexpr const char* aNames[] = {"n", "zor:RecordIfMotionDetected", "\u00E9t\u00E9",
                                      "sixteen-letters:"};
    constexpr const char* aPieces[] = {"abc 01", "&amp;", "&lt;",   ">",      "&quot;",    "&apos;",
                                       "&null;", "\n",    "\u00E9", "\u20AC", "\U0010FFFE"};
    std::mt19937 random(7);
    const auto text = [&]
    {
        std::string strText;
        for (std::size_t i = random() % 3 != 0 ? random() % 20 : 0; i > 0; --i)
            strText += aPieces[random() % std::size(aPieces)];
        return strText;
    };
    for (int i = 0; i < 4000; ++i)
    {
        const std::string strName = aNames[random() % std::size(aNames)];
        CheckDocument("<" + strName + " b='" + text() + "' " + strName + "=\"" + text() + "\">" +
                      text() + "</" + strName + ">");
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
        ASSERT_EQ(pRoot->GetAttributes().ToTagAttributesLength(), u / 2 % 16 + 5);
        pRoot->SetText(u % 2 != 0 ? wsLong : wsLong + L"\x10FFFE");
        ASSERT_EQ(Written(tree).size(), 4040U + u / 32 + u / 2 % 16 + (u % 2 == 0 ? 13 : 12)) << u;
    }
}

TEST(XmlWriter, SavesAFileWithAMarkAndNothingOfNoDocument)
{
    CTemporaryFolder folder;
    CVariablesTree tree;
    std::wstring wsXML = L"kept";
    std::string strXML = "kept";
    EXPECT_FALSE(tree.ToXML(wsXML));
    EXPECT_FALSE(tree.ToUTF8(strXML));
    EXPECT_EQ(tree.ToXMLLength(), 0);
    EXPECT_EQ(wsXML, L"kept");
    EXPECT_EQ(strXML, "kept");
    EXPECT_FALSE(tree.ToFile(folder.WidePath(L"empty").c_str()));
    ASSERT_TRUE(tree.FromXML(L"<a>\xE9</a>"));
    ASSERT_TRUE(tree.ToFile(folder.WidePath(L"a.xml").c_str()));
    EXPECT_FALSE(tree.ToFile(folder.WidePath(L"no/a.xml").c_str()));
    EXPECT_FALSE(tree.ToFile(L"/dev/full"));
    EXPECT_EQ(ReadFile(folder.Path("a.xml")), "\xEF\xBB\xBF<a>\xC3\xA9</a>");
}

} // namespace
