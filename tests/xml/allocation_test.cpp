// Every allocation that an operation makes fails once: the operation throws, the document is as it
// was or as far as the operation's header says, and nothing leaks.

#include <climits>
#include <functional>
#include <new>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/failing_heap.h"
#include "tests/support/function_chain.h"
#include "xml/easy_xml.h"

namespace
{

struct SOperation
{
    const char* m_szName;
    std::function<void(CEasyXML&, CEasyXML&)> m_run;
    bool m_bAllOrNothing;
};

TEST(XmlAllocation, FailuresLeaveAWholeDocument)
{
    if (!CFailingHeap::kAvailable)
    {
        GTEST_SKIP() << "the sanitizer's allocator cannot be made to fail";
    }
    static const std::wstring wsLong(100, L'x');
    const std::wstring wsXML = L"<r b='2' a='1'>te&amp;xt<c>" + std::wstring(2000, L'y') +
                               L"</c><d k='&#65;'><e/>more<e/>text</d></r>";
    const std::string strXML(wsXML.begin(), wsXML.end());
    const SOperation aOperations[] = {
        {"load wide", [&](CEasyXML& exml, CEasyXML&) { exml.LoadFromText(wsXML.c_str()); }, true},
        {"load UTF-8",
         [&](CEasyXML& exml, CEasyXML&)
         { exml.LoadFromText(strXML.data(), static_cast<int>(strXML.size())); },
         true},
        {"new root",
         [](CEasyXML& exml, CEasyXML&)
         { exml.AddRoot(L"a-name:longer-than-a-string-holds", L"urn:x"); },
         true},
        {"append", [](CEasyXML& exml, CEasyXML&) { exml.GetRoot().AppendChild(wsLong, L"urn:x"); },
         true},
        {"clone",
         [](CEasyXML& exml, CEasyXML& other) { exml.GetRoot().AppendChild(other.GetRoot()); },
         true},
        {"clone itself",
         [](CEasyXML& exml, CEasyXML&) { exml.GetRoot().AppendChild(exml.GetRoot()); }, true},
        {"load malformed UTF-8",
         [&](CEasyXML& exml, CEasyXML&)
         {
             const std::string strCut = strXML + "\xFF";
             exml.LoadFromText(strCut.data(), static_cast<int>(strCut.size()));
         },
         true},
        {"set text", [](CEasyXML& exml, CEasyXML&) { exml.GetRoot().SetTextValue(wsLong); }, true},
        {"set and get UTF-8 text",
         [](CEasyXML& exml, CEasyXML&)
         {
             std::string strText;
             exml.GetRoot().GetTextValue(strText);
             EXPECT_EQ(strText, "the old text");
             exml.GetRoot().SetTextValue("a new text of more units");
         },
         true},
        {"add attribute",
         [](CEasyXML& exml, CEasyXML&) { exml.GetRoot().SetAttributeValue(L"b", nullptr, wsLong); },
         true},
        {"replace attribute",
         [](CEasyXML& exml, CEasyXML&) { exml.GetRoot().SetAttributeValue(L"k", nullptr, wsLong); },
         true},
        {"attributes from text",
         [](CEasyXML& exml, CEasyXML&)
         { exml.GetRoot().SetAttributesFromText(L"l='1' j='2' k='3'"); },
         true},
        {"merge",
         [](CEasyXML& exml, CEasyXML& other) { exml.GetRoot().MergeWith(other.GetRoot()); }, false},
    };
    CEasyXML().LoadFromText(L"<a/>"); // the thread's storage for tracing is made once and stays
    for (const SOperation& operation : aOperations)
    {
        SCOPED_TRACE(operation.m_szName);
        std::wstring wsOld;
        std::wstring wsNew;
        bool bFailed = true;
        for (int iAllowed = 0; bFailed; ++iAllowed)
        {
            const long iBlocksBefore = CFailingHeap::BlocksInUse();
            {
                CEasyXML other;
                CEasyXML exml;
                other.LoadFromText(wsXML.c_str());
                exml.LoadFromText(L"<o k='v'>the old text<c>t</c></o>");
                exml.GetXML(wsOld);
                bool bThrown = false;
                try
                {
                    const CFailingHeap heap(iAllowed);
                    operation.m_run(exml, other);
                }
                catch (const std::bad_alloc&)
                {
                    bThrown = true;
                }
                bFailed = CFailingHeap::HasFailed();
                EXPECT_EQ(bThrown, bFailed);
                ASSERT_TRUE(exml.GetXML(wsNew));
                if (operation.m_bAllOrNothing)
                {
                    EXPECT_EQ(wsNew == wsOld, bFailed) << iAllowed;
                }
                std::wstring().swap(wsOld);
                std::wstring().swap(wsNew);
            }
            EXPECT_EQ(CFailingHeap::BlocksInUse(), iBlocksBefore) << iAllowed;
            ASSERT_LT(iAllowed, 200);
        }
    }
}

std::string g_strChain;

/// What operator new calls when it fails; it tries again afterwards.
void NoteFunctionChain()
{
    const CFailingHeap unlimited(INT_MAX);
    g_strChain = FunctionChain();
}

TEST(XmlAllocation, ReportsNameTheFunctionsThatWork)
{
    if (!CFailingHeap::kAvailable)
    {
        GTEST_SKIP() << "the sanitizer's allocator cannot be made to fail";
    }
    struct SCase
    {
        const char* szChain;
        std::function<void(CEasyXML&)> run;
    };
    const SCase aCases[] = {
        {"VT::FXML wszXML:7;EXML::LFTW wszText:7;",
         [](CEasyXML& exml) { exml.LoadFromText(L"<a/>"); }},
        {"VT::FXML szXML:5;EXML::LFT szText:5 iTextLength:2;",
         [](CEasyXML& exml) { exml.LoadFromText("<a/>", 4); }},
        {"VT::TXML;",
         [](CEasyXML& exml)
         {
             std::wstring wsXML;
             exml.GetXML(wsXML);
         }},
        {"VT::TXML;EXML::STF;", [](CEasyXML& exml) { exml.SaveToFile(L"/dev/null"); }},
        {"EXML::GNSPFX;",
         [](CEasyXML& exml)
         {
             CNamespacesPrefixesMap mapPrefixes;
             exml.GetNamespacePrefixes(mapPrefixes);
         }},
        {"EXMLN::MW;",
         [](CEasyXML& exml)
         {
             CEasyXMLNode child = exml.GetRoot().GetFirstChild();
             child.MergeWith(child.GetNextSibling());
         }},
    };
    for (const SCase& row : aCases)
    {
        CEasyXML exml;
        ASSERT_TRUE(exml.LoadFromText(L"<root xmlns='urn:x'><child/><child/></root>").IsValid());
        std::set_new_handler(NoteFunctionChain);
        {
            const CFailingHeap heap(0);
            row.run(exml);
        }
        std::set_new_handler(nullptr);
        EXPECT_EQ(g_strChain, row.szChain);
    }
}

} // namespace
