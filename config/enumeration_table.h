#ifndef ZOR_CONFIG_ENUMERATION_TABLE_H
#define ZOR_CONFIG_ENUMERATION_TABLE_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

/// A value of the device's vocabulary and the text that stands for it in documents. A null text
/// stands for nothing: the row ends a table whose readers look for such an end.
struct SEnumerationEntry
{
    constexpr SEnumerationEntry(std::int32_t iValue, const wchar_t* wszText)
        : m_iValue(iValue),
          m_uLength(static_cast<std::uint32_t>(
              std::wstring_view(wszText != nullptr ? wszText : L"").size())),
          m_wszText(wszText)
    {
    }

    std::int32_t m_iValue;
    std::uint32_t m_uLength; ///< of the text; texts of another length need no comparison
    const wchar_t* m_wszText;
};

namespace mu
{

// A table may have several rows of one value: each text is read as the value, and the first is
// written for it. Texts are compared whole and exactly.

/// The text of the first row that has the value, null if there is none.
constexpr const wchar_t* GetEnumerationText(std::span<const SEnumerationEntry> table,
                                            std::int32_t iValue)
{
    for (const SEnumerationEntry& row : table)
    {
        if (row.m_iValue == iValue)
        {
            return row.m_wszText;
        }
    }
    return nullptr;
}

/// The value of the first row that has the text. False, with nothing changed, if there is none.
constexpr bool GetEnumerationValue(std::span<const SEnumerationEntry> table,
                                   std::wstring_view wsText, std::int32_t& iValue)
{
    for (const SEnumerationEntry& row : table)
    {
        if (row.m_uLength == wsText.size() && row.m_wszText != nullptr &&
            wsText == std::wstring_view(row.m_wszText, row.m_uLength))
        {
            iValue = row.m_iValue;
            return true;
        }
    }
    return false;
}

/// Whether a table is an ordinary one: its rows have the values from iFirst to iLast, in this
/// order, and each a text of its own.
constexpr bool IsVocabulary(std::span<const SEnumerationEntry> table, std::int32_t iFirst,
                            std::int32_t iLast)
{
    std::int32_t iExpected = iFirst;
    for (const SEnumerationEntry& row : table)
    {
        std::int32_t iRead = 0;
        if (row.m_iValue != iExpected || row.m_wszText == nullptr || row.m_wszText[0] == L'\0' ||
            !GetEnumerationValue(table, row.m_wszText, iRead) || iRead != iExpected)
        {
            return false;
        }
        ++iExpected;
    }
    return iExpected == iLast + 1;
}

} // namespace mu

#endif
