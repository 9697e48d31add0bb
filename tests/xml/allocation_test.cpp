// Every allocation that an operation makes fails once: the operation throws, the document is as it
// was or as far as the operation's header says, and nothing leaks.

#include "tests/support/failing_heap.h"
#include "tests/support/testing.h"
#include "xml/easy_xml.h"

using namespace std::string_literals;
using CExml = CEasyXML&;

TEST(XmlAllocation, FailuresLeaveAWholeDocument)
{
    if (!CFailingHeap::kAvailable)
        GTEST_SKIP() << "the sanitizer's allocator cannot be made to fail";
    static const std::wstring wsLong(100, L'x');
    const std::wstring wsXML = L"<r b='2' a='1'>te&amp;xt<c>" + std::wstring(2000, L'y') +
                               L"</c><d k='&#65;'><e/>more<e/>text</d></r>";
    const std::string strXML(wsXML.begin(), wsXML.end());
    const std::string strCut = strXML + "\xFF";
    const auto Load = [](CExml exml, const std::string& strText)
    { exml.LoadFromText(strText.data(), static_cast<int>(strText.size())); };
    const auto GetAndSet = [](CExml exml, CExml)
    {
        std::string strText;
        exml.GetRoot().GetTextValue(strText);
        EXPECT_EQ(strText, "the old text");
        exml.GetRoot().SetTextValue("a new text of more units");
    };
    const std::pair<const char*, std::function<void(CExml, CExml)>> aOperations[] = {
        {"wide", [&](CExml exml, CExml) { exml.LoadFromText(wsXML.c_str()); }},
        {"UTF-8", [&](CExml exml, CExml) { Load(exml, strXML); }},
        {"malformed UTF-8", [&](CExml exml, CExml) { Load(exml, strCut); }},
        {"root", [](CExml exml, CExml) { exml.AddRoot(wsLong.c_str(), L"urn:x"); }},
        {"append", [](CExml x, CExml) { x.GetRoot().AppendChild(wsLong, L"urn:x"); }},
        {"clone", [](CExml x, CExml y) { x.GetRoot().AppendChild(y.GetRoot()); }},
        {"clone itself", [](CExml x, CExml) { x.GetRoot().AppendChild(x.GetRoot()); }},
        {"text", [](CExml x, CExml) { x.GetRoot().SetTextValue(wsLong); }},
        {"UTF-8 text", GetAndSet},
        {"add", [](CExml x, CExml) { x.GetRoot().SetAttributeValue(L"b", L"", wsLong); }},
        {"replace", [](CExml x, CExml) { x.GetRoot().SetAttributeValue(L"k", L"", wsLong); }},
        {"from text", [](CExml x, CExml) { x.GetRoot().SetAttributesFromText(L"l='1'"); }},
        {"merge", [](CExml x, CExml y) { x.GetRoot().MergeWith(y.GetRoot()); }},
    };
    CEasyXML().LoadFromText(L"<a/>"); // the thread's storage for tracing is made once and stays
    for (const auto& [szOperation, run] : aOperations)
    {
        SCOPED_TRACE(szOperation);
        const auto RunOnce = [&, szOperation = szOperation, &run = run]
        {
            CEasyXML other, exml;
            std::wstring wsOld, wsNew;
            other.LoadFromText(wsXML.c_str());
            exml.LoadFromText(L"<o k='v'>the old text<c>t</c></o>");
            exml.GetXML(wsOld);
            bool bThrown = true;
            try
            {
                run(exml, other);
                bThrown = false;
            }
            catch (const std::bad_alloc&)
            {
            }
            ASSERT_TRUE(exml.GetXML(wsNew));
            EXPECT_TRUE(szOperation == "merge"s || (wsNew == wsOld) == bThrown);
        };
        EXPECT_EQ(CFailingHeap::FirstLeakOf(RunOnce), -1);
    }
}
