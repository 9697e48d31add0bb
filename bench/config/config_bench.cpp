// A full configuration record, saved and loaded as UTF-8 text, and the vocabulary it looks up.

#include <cstdint>
#include <span>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>
#include <pugixml.hpp>

#include "config/media_recorder_configuration.h"
#include "xml/easy_xml.h"

namespace
{

CMediaRecorderConfiguration FullConfiguration()
{
    CMediaRecorderConfiguration config;
    config.m_wsRootDirectory = L"/media/recordings";
    config.m_wsDownloadsRootDirectory = L"/media/downloads";
    config.m_ullFileSizeSplitThreshold = 1073741824;
    config.m_remoteFileSystem = {mu::ERemoteFileSystem::SMB, L"archive.example", L"recorder",
                                 L"0417"};
    config.m_fileEncryption = {true, L"4f1d0c9a7be2"};
    return config;
}

std::string Save(CMediaRecorderConfiguration& config)
{
    CEasyXML exml;
    CEasyXMLNode root = exml.AddRoot(L"zor:DeviceParameters", mu::g_wszDocumentNamespace);
    config.ToXML(root);
    std::string strXML;
    exml.GetXML(strXML);
    return strXML;
}

void SaveZor(benchmark::State& state)
{
    CMediaRecorderConfiguration config = FullConfiguration();
    for (auto unused : state)
    {
        benchmark::DoNotOptimize(Save(config));
    }
}

void LoadZor(benchmark::State& state)
{
    CMediaRecorderConfiguration config = FullConfiguration();
    const std::string strXML = Save(config);
    for (auto unused : state)
    {
        CEasyXML exml;
        CEasyXMLNode node =
            exml.LoadFromText(strXML.data(), static_cast<int>(strXML.size())).GetFirstChild();
        if (!config.FromXML(node))
        {
            state.SkipWithError("is not read");
        }
    }
}

/// The fields that are children, as texts: the peer has no numbers and no vocabulary to convert,
/// and leaves out what lies deeper.
std::vector<std::pair<std::string, std::string>> FieldTexts()
{
    CMediaRecorderConfiguration config = FullConfiguration();
    pugi::xml_document document;
    document.load_string(Save(config).c_str());
    std::vector<std::pair<std::string, std::string>> vFields;
    for (const pugi::xml_node& child : document.document_element().first_child().children())
    {
        vFields.emplace_back(child.name(), child.text().get());
    }
    return vFields;
}

struct SStringWriter final : pugi::xml_writer
{
    void write(const void* pData, std::size_t uSize) override
    {
        m_strXML.append(static_cast<const char*>(pData), uSize);
    }
    std::string m_strXML;
};

void SavePugixml(benchmark::State& state)
{
    const auto vFields = FieldTexts();
    for (auto unused : state)
    {
        pugi::xml_document document;
        pugi::xml_node node =
            document.append_child("zor:DeviceParameters").append_child("zor:MediaRecorderConfig");
        for (const auto& [strName, strText] : vFields)
        {
            pugi::xml_node child = node.append_child(strName.c_str());
            child.append_attribute("xmlns:zor") = "http://zor.example/documents";
            child.text().set(strText.c_str());
        }
        SStringWriter writer;
        document.save(writer, "", pugi::format_raw | pugi::format_no_declaration);
        benchmark::DoNotOptimize(writer.m_strXML);
    }
}

void LoadPugixml(benchmark::State& state)
{
    CMediaRecorderConfiguration config = FullConfiguration();
    const std::string strXML = Save(config);
    auto vFields = FieldTexts();
    for (auto unused : state)
    {
        pugi::xml_document document;
        document.load_buffer(strXML.data(), strXML.size());
        const pugi::xml_node node = document.document_element().first_child();
        for (auto& [strName, strText] : vFields)
        {
            strText = node.child(strName.c_str()).text().get();
        }
        benchmark::DoNotOptimize(vFields);
    }
}

/// Each text of a table looked up in turn.
void FindValues(benchmark::State& state, std::span<const SEnumerationEntry> table, bool bMap)
{
    std::vector<std::wstring> vTexts;
    std::unordered_map<std::wstring, std::int32_t> map;
    for (const SEnumerationEntry& row : table)
    {
        vTexts.emplace_back(row.m_wszText);
        map.emplace(row.m_wszText, row.m_iValue);
    }
    std::size_t i = 0;
    for (auto unused : state)
    {
        std::int32_t iValue = 0;
        if (bMap)
        {
            iValue = map.find(vTexts[i])->second;
        }
        else
        {
            mu::GetEnumerationValue(table, vTexts[i], iValue);
        }
        benchmark::DoNotOptimize(iValue);
        i = i + 1 == vTexts.size() ? 0 : i + 1;
    }
}

void FindTexts(benchmark::State& state, std::span<const SEnumerationEntry> table, bool bMap)
{
    std::unordered_map<std::int32_t, const wchar_t*> map;
    for (const SEnumerationEntry& row : table)
    {
        map.emplace(row.m_iValue, row.m_wszText);
    }
    std::int32_t iValue = 0;
    for (auto unused : state)
    {
        benchmark::DoNotOptimize(bMap ? map.find(iValue)->second
                                      : mu::GetEnumerationText(table, iValue));
        iValue = iValue + 1 == static_cast<std::int32_t>(table.size()) ? 0 : iValue + 1;
    }
}

BENCHMARK(SaveZor)->Name("ConfigSave/zor");
BENCHMARK(SavePugixml)->Name("ConfigSave/pugixml");
BENCHMARK(LoadZor)->Name("ConfigLoad/zor");
BENCHMARK(LoadPugixml)->Name("ConfigLoad/pugixml");

[[maybe_unused]] const bool g_bRegistered = []
{
    const std::pair<std::string, std::span<const SEnumerationEntry>> aTables[] = {
        {"6", g_MediaFileFormatEnums},
        {"24", g_HWSWPlatformTypesEnumeration},
        {"32", g_DeviceFeatureEnums},
    };
    for (const auto& [strRows, table] : aTables)
    {
        for (const bool bMap : {false, true})
        {
            const std::string strName = strRows + (bMap ? "/unordered_map" : "/zor");
            benchmark::RegisterBenchmark(("VocabularyValue/" + strName).c_str(), FindValues, table,
                                         bMap);
            benchmark::RegisterBenchmark(("VocabularyText/" + strName).c_str(), FindTexts, table,
                                         bMap);
        }
    }
    return true;
}();

} // namespace
