// Every text and value of a loaded document, as a wide string each.

#include <string>

#include <benchmark/benchmark.h>
#include <pugixml.hpp>

#include "bench/xml/documents.h"
#include "xml/element_tree.h"

namespace
{

constexpr std::size_t kBytes = 65536;

void ReadZor(benchmark::State& state)
{
    const std::string strXML = MakeDeviceParameters(kBytes);
    CVariablesTree tree;
    tree.FromUTF8(strXML.data(), static_cast<int>(strXML.size()));
    for (auto unused : state)
    {
        const CVariablesSubTree* const pRoot = tree.GetRoot();
        for (const CVariablesSubTree* p = pRoot; p != nullptr; p = mu::NextInDocument(p, pRoot))
        {
            const std::wstring wsText(p->GetText());
            benchmark::DoNotOptimize(wsText.data());
            for (const mu::SNodeAttribute& attribute : p->GetAttributes())
            {
                const std::wstring wsValue(attribute.m_value.View());
                benchmark::DoNotOptimize(wsValue.data());
            }
        }
    }
}

void ReadPugixml(benchmark::State& state)
{
    struct SReader final : pugi::xml_tree_walker
    {
        bool for_each(pugi::xml_node& node) override
        {
            const std::wstring wsText = pugi::as_wide(node.value());
            benchmark::DoNotOptimize(wsText.data());
            for (const pugi::xml_attribute& attribute : node.attributes())
            {
                const std::wstring wsValue = pugi::as_wide(attribute.value());
                benchmark::DoNotOptimize(wsValue.data());
            }
            return true;
        }
    };
    const std::string strXML = MakeDeviceParameters(kBytes);
    pugi::xml_document document;
    document.load_buffer(strXML.data(), strXML.size());
    for (auto unused : state)
    {
        SReader reader;
        document.traverse(reader);
    }
}

BENCHMARK(ReadZor)->Name("XmlReadWide/64k/zor");
BENCHMARK(ReadPugixml)->Name("XmlReadWide/64k/pugixml");

} // namespace
