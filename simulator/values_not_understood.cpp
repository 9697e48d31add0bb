#include "simulator/values_not_understood.h"

#include <algorithm>
#include <string_view>

#include <wchar.h>

#include "mu/numbers.h"
#include "mu/text.h"
#include "mu/unicode.h"

namespace
{

constexpr std::size_t kLongestShown = 60; // of a value, in characters

constexpr const wchar_t* kWords[2][4] = {{L"False", L"No", L"F", L"N"},
                                         {L"True", L"Yes", L"T", L"Y"}};

std::string Shown(std::wstring_view wsvValue)
{
    std::wstring wsShown(wsvValue.substr(0, kLongestShown));
    const auto IsControl = [](wchar_t wch)
    { return wch < L' ' || (wch >= L'\x7F' && wch <= L'\x9F'); };
    std::ranges::replace_if(wsShown, IsControl, L'?');
    std::string strShown = "'";
    strShown += mu::WideStringToNarrow(wsShown);
    return strShown += wsvValue.size() > kLongestShown ? "...'" : "'";
}

bool IsNumber(const std::wstring& wsText)
{
    const std::size_t uDigits = wsText.starts_with(L'-') || wsText.starts_with(L'+') ? 1 : 0;
    return wsText.size() > uDigits &&
           wsText.find_first_not_of(L"0123456789", uDigits) == std::wstring::npos;
}

/// The form in which records write the value, if the text is a bool or a whole number.
std::wstring AsWritten(std::wstring wsText)
{
    mu::TrimSideWhiteSpaces(wsText);
    if (IsNumber(wsText))
    {
        const std::size_t uStart = wsText.front() == L'-' ? 1 : 0;
        const std::size_t uDigits = wsText.find_first_not_of(L"+0", uStart);
        wsText.erase(uStart, std::min(uDigits, wsText.size() - 1) - uStart);
        return wsText;
    }
    for (const bool bValue : {true, false})
    {
        if (std::ranges::any_of(kWords[bValue ? 1 : 0], [&](const wchar_t* wszWord)
                                { return ::wcscasecmp(wszWord, wsText.c_str()) == 0; }))
        {
            return mu::BoolToString(bValue);
        }
    }
    return wsText;
}

void Compare(const std::string& strPath, std::wstring_view wsvRead, std::wstring_view wsvUsed,
             std::vector<std::string>& vLines)
{
    if (wsvRead != wsvUsed && AsWritten(std::wstring(wsvRead)) != wsvUsed)
    {
        vLines.push_back(strPath + ": " + Shown(wsvRead) + " is not understood, " + Shown(wsvUsed) +
                         " is used");
    }
}

// Recurses over the elements that the records write: their depth does not depend on the file.
void CompareElements(const std::string& strPath, const CVariablesSubTree& read,
                     const CVariablesSubTree& used, std::vector<std::string>& vLines)
{
    const auto PathTo = [&](std::wstring_view wsvName) {
        return strPath + (strPath.empty() ? "" : "/") +
               mu::WideStringToNarrow(std::wstring(wsvName));
    };
    for (const mu::SNodeAttribute& attribute : used.GetAttributes())
    {
        const std::wstring_view wsvName = attribute.m_name.View();
        const mu::SNodeAttribute* const pRead = read.GetAttributes().Find(wsvName);
        if (pRead != nullptr && !wsvName.starts_with(L"xmlns"))
        {
            Compare(PathTo(wsvName), pRead->m_value.View(), attribute.m_value.View(), vLines);
        }
    }
    for (const CVariablesSubTree* const pUsed : used.GetChildren())
    {
        const auto itRead =
            std::ranges::find_if(read.GetChildren(), [=](const CVariablesSubTree* pChild)
                                 { return pChild->GetName() == pUsed->GetName(); });
        if (itRead != read.GetChildren().end())
        {
            CompareElements(PathTo(pUsed->GetName()), **itRead, *pUsed, vLines);
        }
    }
    if (used.GetChildren().empty() && !used.GetText().empty())
    {
        Compare(strPath, read.GetText(), used.GetText(), vLines);
    }
}

} // namespace

void ListValuesNotUnderstood(const CVariablesSubTree& read, const CVariablesSubTree& used,
                             std::vector<std::string>& vLines)
{
    CompareElements("", read, used, vLines);
}
