#include "mu/strings_map.h"

#include <algorithm>
#include <utility>

#include "diagnostics/function_state.h"
#include "mu/lengths.h"
#include "mu/numbers.h"
#include "mu/text.h"

void CBasicStringsMap::FromCookieHeader(const char* szHeader, int iLength)
{
    CFunctionSwitch fsFromCookieHeader("BSM::FCH");

    AddPairs({szHeader, mu::UnitCount(iLength)}, ';', mu::TrimSideWhiteSpaces);
}

bool CBasicStringsMap::GetParamInt(const char* szName, int& iValue) const
{
    const auto it = find(szName);
    if (it == end())
    {
        return false;
    }
    iValue = mu::ParseInt32(it->second.data(), mu::IntCount(it->second.size()));
    return true;
}

bool CBasicStringsMap::GetParamBool(const char* szName, bool& bValue) const
{
    const auto it = find(szName);
    if (it == end())
    {
        return false;
    }
    const std::string& strValue = it->second;
    bValue = mu::StringToBool(std::wstring(strValue.begin(), strValue.end())) || strValue == "1" ||
             strValue == "on";
    return true;
}

void CBasicStringsMap::AddPairs(std::string_view svText, char cSeparator,
                                void (*pEdit)(std::string&))
{
    while (!svText.empty())
    {
        const std::string_view svPiece = svText.substr(0, svText.find(cSeparator));
        svText.remove_prefix(std::min(svPiece.size() + 1, svText.size()));

        const std::size_t uNameLength = svPiece.find('=');
        if (uNameLength == std::string_view::npos)
        {
            continue;
        }
        std::string strName(svPiece.substr(0, uNameLength));
        std::string strValue(svPiece.substr(uNameLength + 1));
        pEdit(strName);
        pEdit(strValue);
        if (!strName.empty())
        {
            emplace(std::move(strName), std::move(strValue));
        }
    }
}
