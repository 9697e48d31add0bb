#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cwchar>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "config/media_recorder_configuration.h"
#include "config/vocabulary.h"
#include "fuzz/support/law.h"
#include "fuzz/support/plain_utf8.h"
#include "logging/logging_parameters.h"
#include "mu/unicode.h"
#include "simulator/recorder_configuration.h"
#include "tests/support/temporary_folder.h"
#include "xml/easy_xml.h"

// Configuration records from any document, and the recorder's file of them. The input is the
// document in UTF-8; its root is read as each record.

namespace
{

template <typename TRecord>
CEasyXML Written(TRecord record)
{
    CEasyXML exml;
    CEasyXMLNode root = exml.AddRoot(L"all", nullptr);
    Law(record.ToXML(root), "each record that was read can be written");
    return exml;
}

std::wstring TextOf(const CEasyXML& exml)
{
    std::wstring wsText;
    exml.GetXML(wsText);
    return wsText;
}

/// The value of a field whose text stands in a document, by what the field holds without one.
std::wstring PlainValue(const std::wstring& wsName, const std::wstring& wsDefault,
                        const std::wstring& wsRead)
{
    const auto IsIn = [&](const auto& table)
    {
        return std::ranges::any_of(table, [&](const SEnumerationEntry& row)
                                   { return wsRead == row.m_wszText; });
    };
    if (wsName.ends_with(L"FileFormat") || wsName == L"zor:LogSeverity")
    {
        const bool bKnown = wsName == L"zor:LogSeverity" ? IsIn(mu::g_LogSeverityEnums)
                                                         : IsIn(g_MediaFileFormatEnums);
        return bKnown ? wsRead : wsDefault;
    }
    if (wsDefault == L"True" || wsDefault == L"False")
    {
        return !wsRead.empty() && std::wcschr(L"TtYy", wsRead[0]) != nullptr && wsRead[0] != 0
                   ? L"True"
                   : L"False";
    }
    if (!wsDefault.empty())
    {
        const long long ll = std::wcstoll(wsRead.c_str(), nullptr, 10);
        return std::to_wstring(wsName == L"zor:FileSizeSplitThreshold"
                                   ? ll
                                   : std::clamp<long long>(ll, INT_MIN, INT_MAX));
    }
    return wsRead;
}

template <typename TRecord>
void CheckRecord(CEasyXMLNode read)
{
    TRecord record;
    record.FromXML(read);
    const CEasyXML exmlWritten = Written(record);
    const CEasyXML exmlDefaults = Written(TRecord());
    CEasyXMLNode written = exmlWritten.GetRoot().GetFirstChild();
    CEasyXMLNode untouched = exmlDefaults.GetRoot().GetFirstChild().GetFirstChild();
    for (CEasyXMLNode field = written.GetFirstChild(); field.IsValid();
         field = field.GetNextSibling(), untouched = untouched.GetNextSibling())
    {
        std::wstring wsName;
        std::wstring wsValue;
        std::wstring wsExpected;
        std::wstring wsAttributes;
        field.GetName(wsName);
        field.GetTextValue(wsValue);
        field.GetAttributesText(wsAttributes);
        untouched.GetTextValue(wsExpected);
        std::wstring wsRead;
        if (!field.GetFirstChild().IsValid() && wsAttributes.find(L"zor:") == std::wstring::npos &&
            read.GetChildByName(wsName.c_str()).GetTextValue(wsRead))
        {
            wsExpected = PlainValue(wsName, wsExpected, wsRead);
        }
        Law(wsValue == wsExpected, "a field has its value");
    }

    TRecord again;
    Law(again.FromXML(written) && TextOf(Written(again)) == TextOf(exmlWritten),
        "reads what it has written");
    CEasyXML exmlText;
    std::wstring wsText = TextOf(exmlWritten);
    for (int i = 0; i < 2; ++i) // the first loses white space that began a text
    {
        CEasyXMLNode node = exmlText.LoadFromText(wsText.c_str()).GetFirstChild();
        TRecord loaded;
        Law(loaded.FromXML(node), "reads its text");
        const std::wstring wsLast = wsText;
        wsText = TextOf(Written(loaded));
        Law(i == 0 || wsText == wsLast, "save, load, save: the same");
    }
}

void CheckVocabulary(const std::wstring& wsText)
{
    for (const SVocabularyTable& table : kVocabularyTables)
    {
        std::int32_t iValue = -7;
        if (mu::GetEnumerationValue(table.m_rows, wsText, iValue))
        {
            std::int32_t iAgain = -7;
            const wchar_t* const wszWritten = mu::GetEnumerationText(table.m_rows, iValue);
            Law(wszWritten != nullptr &&
                    mu::GetEnumerationValue(table.m_rows, wszWritten, iAgain) && iAgain == iValue,
                "what is written for a value is read as the value");
        }
        else
        {
            Law(iValue == -7, "an unknown text changes nothing");
        }
    }
}

/// Everything but the root directory.
std::wstring Kept(const CRecorderConfiguration& configuration)
{
    CMediaRecorderConfiguration recorder = configuration.m_recorder;
    recorder.m_wsRootDirectory.clear();
    return TextOf(Written(recorder)) + TextOf(Written(configuration.m_logging));
}

void CheckFile(const std::string& strBytes)
{
    static const CTemporaryFolder s_folder;
    const std::string strPath = s_folder.Path("configuration.xml");
    std::ofstream(strPath, std::ios::binary) << strBytes;
    std::wstring wsKept;
    for (const char* const szRoot : {"/first", "/second", "/third"})
    {
        std::vector<std::string> vNotUnderstood;
        CRecorderConfiguration configuration;
        const std::string strError = configuration.Load(strPath, vNotUnderstood);
        if (!strError.empty())
        {
            Law(wsKept.empty(), "loads what it has saved");
            return;
        }
        Law(wsKept.empty() || std::string_view(szRoot) == "/second" ||
                Kept(configuration) == wsKept,
            "load, save, load: the same");
        wsKept = Kept(configuration);
        Law(configuration.SetRootDirectory(szRoot).empty() && configuration.Save().empty(),
            "saves");
        CRecorderConfiguration saved;
        Law(saved.Load(strPath, vNotUnderstood).empty() &&
                mu::WideStringToNarrow(saved.m_recorder.m_wsRootDirectory) == szRoot,
            "keeps the root directory");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t uSize)
{
    const std::string strBytes(pData, pData + uSize);
    CheckVocabulary(PlainDecode(strBytes).m_wsText);
    CheckFile(strBytes);
    CEasyXML exml;
    const CEasyXMLNode root = exml.LoadFromText(strBytes.data(), static_cast<int>(uSize));
    if (root.IsValid())
    {
        CheckRecord<CMediaRecorderConfiguration>(root);
        CheckRecord<SLoggingParameters>(root);
    }
    return 0;
}
