// Writes the page docs/vocabulary.md to standard output.

#include <cstdio>
#include <string>

#include "config/vocabulary.h"
#include "mu/unicode.h"

namespace
{

std::string Text(const wchar_t* wszText)
{
    return wszText != nullptr ? mu::WideStringToNarrow(wszText) : "(end of the table)";
}

void WriteFeatures()
{
    std::puts("\n## g_DeviceFeatureEnums, g_DeviceFeatureAccessLevelRequirements\n\n"
              "| Value | Text | Required access level |\n|---|---|---|");
    for (const SEnumerationEntry& row : g_DeviceFeatureEnums)
    {
        const auto iLevel = static_cast<std::int32_t>(
            GetRequiredAccessLevelForDeviceFeature(EDeviceFeature{row.m_iValue}));
        std::printf("| %d | %s | %d %s |\n", row.m_iValue, Text(row.m_wszText).c_str(), iLevel,
                    Text(mu::GetEnumerationText(g_DeviceAccessLevelEnumeration, iLevel)).c_str());
    }
}

void WriteTable(const SVocabularyTable& table)
{
    std::printf("\n## %s\n\n%s.\n\n| Value | Text |\n|---|---|\n", table.m_szName, table.m_szTitle);
    for (const SEnumerationEntry& row : table.m_rows)
    {
        std::printf("| %d | %s |\n", row.m_iValue, Text(row.m_wszText).c_str());
    }
}

void WriteCodecs()
{
    std::puts("\n## g_MediaCodecEnums\n\n| Media kind | Codec | Text |\n|---|---|---|");
    for (const mu::SMediaCodecEntry& row : g_MediaCodecEnums)
    {
        std::printf(
            "| %d %s | %d | %s |\n", row.m_iMediaKind,
            Text(mu::GetEnumerationText(g_SourceChannelTypesEnumeration, row.m_iMediaKind)).c_str(),
            row.m_iCodec, Text(row.m_wszText).c_str());
    }
}

void WriteHardwareModels()
{
    std::puts("\n## g_HardwareModels\n\n| Model | Identifier |\n|---|---|");
    for (const mu::SHardwareModelEntry& row : mu::g_HardwareModels)
    {
        std::printf("| %s | %s |\n", Text(row.m_wszModel).c_str(),
                    Text(row.m_wszIdentifier).c_str());
    }
}

} // namespace

int main()
{
    std::puts(
        "# Vocabulary\n\n"
        "The enumerated values that the device's documents carry, always as these texts.\n"
        "They are compared whole and with their case, in the order of the rows; of several\n"
        "rows of a value the first is written. The tables are in `config/`; the log's severities\n"
        "are in `logging/`.\n\n"
        "Generated; after a change of a table:\n\n"
        "```sh\nbuild/release/tests/config/vocabulary_page > docs/vocabulary.md\n```");
    WriteFeatures();
    for (const SVocabularyTable& table : kVocabularyTables)
    {
        WriteTable(table);
    }
    WriteCodecs();
    WriteHardwareModels();
}
