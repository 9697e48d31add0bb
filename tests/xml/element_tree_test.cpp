#include "xml/element_tree.h"

#include "tests/support/testing.h"
#include "tests/xml/written.h"

namespace
{

CVariablesSubTree* Child(const CVariablesSubTree* pParent, int iPosition)
{
    return pParent->GetChildren()[iPosition];
}

TEST(ElementTree, CountsAndDeclaresWhatIsAppended)
{
    std::wstring wsPrefix;
    int iLocalStart = -1;
    NSPrefixFromName(L"a:b:c", wsPrefix, iLocalStart);
    EXPECT_EQ(std::pair(wsPrefix, iLocalStart), std::pair(std::wstring(L"a"), 2));
    NSPrefixFromName(L"b", wsPrefix, iLocalStart);
    EXPECT_EQ(std::pair(wsPrefix, iLocalStart), std::pair(std::wstring(), 0));
    CVariablesTree tree;
    CVariablesSubTree* const pRoot = tree.AppendNode(L"r", nullptr, nullptr);
    CVariablesSubTree* const pA = tree.AppendNode(L"a", L"", pRoot);
    tree.AppendNode(L":b", L"urn:b", pRoot);
    tree.AppendNode(L"c", nullptr, pA);
    EXPECT_EQ(tree.GetNodeCount(), 4);
    EXPECT_EQ(pRoot->GetChildren().GetNodeCount(), 3);
    EXPECT_EQ(pRoot->GetNextSibling(), nullptr);
    EXPECT_EQ(Written(tree), L"<r><a><c/></a><:b xmlns=\"urn:b\"/></r>");
    tree.AppendNode(L"p:q:new", L"urn:x", nullptr); // the first colon counts
    EXPECT_EQ(Written(tree), L"<p:q:new xmlns:p=\"urn:x\"/>");
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
    EXPECT_TRUE(tree.GetRoot()->GetParent() == nullptr && tree.GetRoot()->GetIndex() == 0);
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
}

TEST(ElementTree, RemovedChildrenLeaveTheOthersInOrder)
{
    CVariablesTree tree;
    ASSERT_TRUE(tree.FromXML(L"<r><a>1</a><b/><a/><c/><a/></r>"));
    tree.GetRoot()->RemoveChildrenByName(L"a");
    EXPECT_EQ(Written(tree), L"<r><b/><c/></r>");
    EXPECT_EQ(Child(tree.GetRoot(), 0)->GetNextSibling(), Child(tree.GetRoot(), 1));
    EXPECT_EQ(Child(tree.GetRoot(), 1)->GetNextSibling(), nullptr);
    tree.AppendNode(L"d", nullptr, tree.GetRoot());
    tree.AppendNode(L"d", nullptr, tree.GetRoot());
    tree.GetRoot()->RemoveChildrenByName(Child(tree.GetRoot(), 2)->GetName()); // a name that goes
    EXPECT_EQ(Written(tree), L"<r><b/><c/></r>");
}

TEST(ElementTree, AttributesAreSetSortedAndReplaced)
{
    CVariablesTree tree;
    ASSERT_TRUE(tree.FromXML(L"<r b='1' d='2'/>"));
    CVariablesSubTree* const pRoot = tree.GetRoot();
    for (const wchar_t* const wszName : {L"c", L"a", L"b", L"\xE9", L"e", L""})
        pRoot->SetAttribute(wszName, L"new");
    pRoot->SetAttribute(std::wstring(1, static_cast<wchar_t>(0x80000000)), L"last"); // unsigned
    pRoot->SetAttribute(L"b", std::wstring(100, L'x'));
    pRoot->SetAttribute(L"b", pRoot->GetAttributes().Find(L"b")->m_value.View().substr(97));
    EXPECT_EQ(Written(tree), L"<r =\"new\" a=\"new\" b=\"xxx\" c=\"new\" d=\"2\" e=\"new\" "
                             L"\xE9=\"new\" \x80000000=\"last\"/>");
    EXPECT_EQ(pRoot->GetAttributes().Find(L"f"), nullptr);
}

TEST(ElementTree, MergingTakesOverWhatTheOtherSays)
{
    const std::tuple<const char*, const wchar_t*, const wchar_t*, const wchar_t*> aCases[] = {
        {"attributes and text replace", L"<r a='1' b='2'>x</r>", L"<o b='3' c='4'>y</o>",
         L"<r a=\"1\" b=\"3\" c=\"4\">y</r>"},
        {"like-named by rank", L"<r><i>1</i><j/><i>2</i></r>",
         L"<o><i k='a'/><i>b</i><i>c</i><n><m/></n></o>",
         L"<r><i k=\"a\">1</i><j/><i>b</i><i>c</i><n><m/></n></r>"},
        {"deep", L"<r>x<i><k>1</k></i></r>", L"<o><i><k>2</k><l/></i></o>",
         L"<r><i><k>2</k><l/></i>x</r>"},
        {"erasing by attribute", L"<r z='1'><i/><j/></r>", L"<o erase_children='true'><k/></o>",
         L"<r z=\"1\"><k/></r>"},
        {"erasing by option, deeper", L"<r><i><a/></i></r>",
         L"<o><i __merge_options='keep, erase_children;more'><b/></i></o>", L"<r><i><b/></i></r>"},
        {"not erasing", L"<r><i/></r>",
         L"<o erase_children='false' __merge_options='no_erase_children'/>", L"<r><i/></r>"},
    };
    for (const auto& [szRule, wszInto, wszFrom, wszMerged] : aCases)
    {
        SCOPED_TRACE(szRule);
        CVariablesTree into, from;
        ASSERT_TRUE(into.FromXML(wszInto) && from.FromXML(wszFrom));
        const std::wstring wsFrom = Written(from);
        into.GetRoot()->MergeWith(*from.GetRoot());
        EXPECT_EQ(Written(into), wszMerged);
        EXPECT_EQ(Written(from), wsFrom);
    }

    CVariablesTree tree;
    ASSERT_TRUE(tree.FromXML(L"<r><a><a/></a></r>"));
    tree.GetRoot()->MergeWith(*tree.GetRoot());
    tree.GetRoot()->MergeWith(*Child(tree.GetRoot(), 0));
    Child(tree.GetRoot(), 0)->MergeWith(*tree.GetRoot());
    EXPECT_EQ(Written(tree), L"<r><a><a><a/></a></a></r>");
}

} // namespace
