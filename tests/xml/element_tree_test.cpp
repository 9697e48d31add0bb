#include "xml/element_tree.h"

#include "tests/support/testing.h"
#include "tests/xml/written.h"

namespace
{

CVariablesSubTree* Child(const CVariablesSubTree* pParent, int iPosition)
{
    return pParent->GetChildren()[iPosition];
}

TEST(ElementTree, NamesSplitAtTheFirstColon)
{
    std::wstring wsPrefix;
    int iLocalStart = -1;
    NSPrefixFromName(L"a:b:c", wsPrefix, iLocalStart);
    EXPECT_EQ(std::pair(wsPrefix, iLocalStart), std::pair(std::wstring(L"a"), 2));
    NSPrefixFromName(L"b", wsPrefix, iLocalStart);
    EXPECT_EQ(std::pair(wsPrefix, iLocalStart), std::pair(std::wstring(), 0));
}

TEST(ElementTree, SearchGoesRoundAndIsRangeChecked)
{
    CVariablesTree tree;
    ASSERT_TRUE(tree.FromXML(L"<r><b/><a/><c/><a/></r>"));
    const CVariablesSubTreesVector& children = tree.GetRoot()->GetChildren();
    EXPECT_EQ(children.FindSubTreeEx(L"a", 2, 4), 3);
    EXPECT_EQ(children.FindSubTreeEx(L"a", 2, 3), 1);
    EXPECT_EQ(children.FindSubTreeEx(L"x", 0, 4), -1);
    EXPECT_EQ(children.FindSubTreeEx(L"b", 0, 9), 0);
    EXPECT_EQ(children.FindSubTreeEx(L"A", 3, 1), -1);
    EXPECT_THROW(children.FindSubTreeEx(L"x", 0, 5), std::out_of_range);
    EXPECT_THROW(children.FindSubTreeEx(L"x", -1, 1), std::out_of_range);
    EXPECT_THROW(children.FindSubTreeEx(L"x", 6, 4), std::out_of_range);

    CVariablesSubTreesVector list;
    list.Append(nullptr);
    list.Append(new CVariablesSubTree(nullptr, nullptr, L"x"));
    EXPECT_EQ(list.FindSubTreeEx(L"x", 0, 2), 1);
    EXPECT_EQ(list.GetNodeCount(), 1);
}

TEST(ElementTree, ElementsMadeWithNewFindTheirPlace)
{
    CVariablesTree tree;
    ASSERT_TRUE(tree.FromXML(L"<r><c/><a><b>x</b></a></r>"));
    auto* const pFirst = new CVariablesSubTree(&tree, tree.GetRoot(), L"n1");
    auto* const pSecond = new CVariablesSubTree(&tree, tree.GetRoot(), L"n2");
    EXPECT_EQ(pFirst->GetIndex(), pSecond->GetIndex());
    tree.AddNodeToTree(tree.GetRoot(), pFirst);
    tree.AddNodeToTree(tree.GetRoot(), pSecond);
    EXPECT_EQ(pFirst->GetNextSibling(), pSecond);
    tree.AddNodeToTree(pSecond, pFirst); // moved
    EXPECT_EQ(pSecond->GetIndex(), 2);
    EXPECT_EQ(Written(tree), L"<r><c/><a><b>x</b></a><n2><n1/></n2></r>");
    tree.AddNodeToTree(pFirst, pSecond); // under itself
    tree.AddNodeToTree(pFirst, tree.GetRoot());
    tree.AddNodeToTree(pFirst, pFirst);
    tree.AddNodeToTree(nullptr, tree.GetRoot());
    EXPECT_EQ(tree.GetNodeCount(), 6);

    tree.AddNodeToTree(nullptr, Child(tree.GetRoot(), 1)); // something under the root
    EXPECT_EQ(Written(tree), L"<a><b>x</b></a>");
    EXPECT_EQ(tree.GetRoot()->GetParent(), nullptr);
    EXPECT_EQ(tree.GetRoot()->GetIndex(), 0);
    EXPECT_EQ(tree.GetRoot()->GetNextSibling(), nullptr);
    for (const wchar_t* const wszName : {L"next", L"last"})
        tree.AddNodeToTree(nullptr, new CVariablesSubTree(&tree, nullptr, wszName));
    EXPECT_EQ(Written(tree), L"<last/>");
}

TEST(ElementTree, ANewRootMayWrapWhatIsInTheTree)
{
    for (const bool bWhole : {true, false})
    {
        CVariablesTree tree;
        ASSERT_TRUE(tree.FromXML(L"<r><a>x</a></r>"));
        auto* const pWrap = new CVariablesSubTree(&tree, nullptr, L"w");
        tree.AddNodeToTree(pWrap, bWhole ? tree.GetRoot() : Child(tree.GetRoot(), 0));
        EXPECT_EQ(Written(tree), bWhole ? L"(none)" : L"<r/>");
        ASSERT_TRUE(tree.FromXML(L"<other/>")); // what was taken out stays
        tree.AddNodeToTree(nullptr, pWrap);
        EXPECT_EQ(Written(tree), bWhole ? L"<w><r><a>x</a></r></w>" : L"<w><a>x</a></w>");
    }
}

TEST(ElementTree, ElementsOfNoOrAnotherDocumentAreTakenOver)
{
    CVariablesTree tree, other;
    tree.AppendNode(L"r", nullptr, nullptr);
    for (CVariablesTree* const pTree : {static_cast<CVariablesTree*>(nullptr), &other})
    {
        auto* const pNode = new CVariablesSubTree(pTree, nullptr, L"n");
        auto* const pChild = new CVariablesSubTree(pTree, pNode, L"c");
        tree.AddNodeToTree(pNode, pChild);
        other.AddNodeToTree(nullptr, pNode);
        other.AddNodeToTree(tree.GetRoot(), pNode); // the parent's document counts
        pChild->SetText(L"still there");
        EXPECT_EQ(pChild->GetTree(), &tree);
    }
    other.AppendNode(L"m", nullptr, tree.GetRoot())->SetText(L"x");
    other.AppendClone(Child(tree.GetRoot(), 2), tree.GetRoot());
    EXPECT_EQ(Written(other), L"(none)");

    ASSERT_TRUE(other.FromXML(L"<o><a k='v'><b>x</b></a><c/></o>")); // parsed ones are copied
    tree.AddNodeToTree(tree.GetRoot(), Child(other.GetRoot(), 0));
    EXPECT_EQ(Written(other), L"<o><c/></o>");
    tree.AddNodeToTree(tree.GetRoot(), other.GetRoot());
    EXPECT_EQ(Written(other), L"(none)");
    other.AddNodeToTree(nullptr, tree.GetRoot());
    EXPECT_EQ(Written(tree), L"(none)");
    EXPECT_EQ(Written(other), L"<r><n><c>still there</c></n><n><c>still there</c></n><m>x</m>"
                              L"<m>x</m><a k=\"v\"><b>x</b></a><o><c/></o></r>");
}

TEST(ElementTree, CloningAnElementIntoItselfCopiesWhatWasThere)
{
    CVariablesTree tree;
    ASSERT_TRUE(tree.FromXML(L"<r><a><b/></a><c/></r>"));
    CVariablesSubTree* const pRoot = tree.GetRoot();
    pRoot->CloneChildrenFrom(*Child(pRoot, 1)); // nothing to copy
    EXPECT_EQ(Written(tree), L"<r><a><b/></a><c/></r>");
    pRoot->CloneChildrenFrom(*pRoot);
    EXPECT_EQ(Written(tree), L"<r><a><b/></a><c/><a><b/></a><c/></r>");
    Child(pRoot, 0)->CloneChildrenFrom(*pRoot);
    EXPECT_EQ(Written(tree),
              L"<r><a><b/><a><b/></a><c/><a><b/></a><c/></a><c/><a><b/></a><c/></r>");
    tree.AppendClone(pRoot, Child(pRoot, 1));
    EXPECT_EQ(tree.GetNodeCount(), 13 + 13);
    pRoot->RemoveChildrenByName(Child(pRoot, 2)->GetName()); // a name that goes
    EXPECT_EQ(pRoot->GetChildren().GetNodeCount(), 1 + 13 + 1);
}

TEST(ElementTree, AttributesSortUnsignedAndTakeTheirOwnValues)
{
    CVariablesTree tree;
    ASSERT_TRUE(tree.FromXML(L"<r b='1'/>"));
    CVariablesSubTree* const pRoot = tree.GetRoot();
    pRoot->SetAttribute(std::wstring(1, static_cast<wchar_t>(0x80000000)), L"last");
    pRoot->SetAttribute(L"b", std::wstring(100, L'x'));
    pRoot->SetAttribute(L"b", pRoot->GetAttributes().Find(L"b")->m_value.View().substr(97));
    EXPECT_EQ(Written(tree), L"<r b=\"xxx\" \x80000000=\"last\"/>");
    EXPECT_EQ(pRoot->GetAttributes().Find(L"f"), nullptr);
}

TEST(ElementTree, AnyWordOfTheMergeOptionsMayErase)
{
    CVariablesTree into, from;
    ASSERT_TRUE(into.FromXML(L"<r><a><x/></a><a><y/></a><a><z/></a></r>"));
    ASSERT_TRUE(from.FromXML(L"<o><a __merge_options='keep, erase_children;more'><b/></a>"
                             L"<a __merge_options='|erase_children'/>"
                             L"<a __merge_options='no\terase_childrens'/></o>"));
    into.GetRoot()->MergeWith(*from.GetRoot());
    EXPECT_EQ(Written(into), L"<r><a><b/></a><a/><a><z/></a></r>");
}

} // namespace
