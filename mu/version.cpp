#include "mu/version.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <string_view>
#include <system_error>
#include <utility>

#include "mu/characters.h"

namespace
{

/// Removes the text up to the separator, and the separator, from svText. Returns that text.
std::string_view TakeUntil(std::string_view& svText, char cSeparator)
{
    const std::string_view svTaken = svText.substr(0, svText.find(cSeparator));
    svText.remove_prefix(std::min(svText.size(), svTaken.size() + 1));
    return svTaken;
}

bool IsNumber(std::string_view svText)
{
    return svText.find_first_not_of("0123456789") == std::string_view::npos;
}

/// Whether each piece between dots has a character, and only letters, digits and hyphens.
bool AreIdentifiers(std::string_view svText)
{
    char cBefore = '.';
    for (const char ch : svText)
    {
        const bool bDot = ch == '.';
        if (bDot ? cBefore == '.' : ch != '-' && !mu::IsAlphaNumeric(static_cast<wchar_t>(ch)))
        {
            return false;
        }
        cBefore = ch;
    }
    return cBefore != '.';
}

/// Two numbers are compared by value, whatever their size; a number precedes a word; two words are
/// compared by their characters.
int CompareIdentifiers(std::string_view svFirst, std::string_view svSecond)
{
    const bool bFirstNumber = IsNumber(svFirst);
    if (bFirstNumber != IsNumber(svSecond))
    {
        return bFirstNumber ? -1 : 1;
    }
    if (bFirstNumber)
    {
        svFirst.remove_prefix(std::min(svFirst.find_first_not_of('0'), svFirst.size()));
        svSecond.remove_prefix(std::min(svSecond.find_first_not_of('0'), svSecond.size()));
        if (svFirst.size() != svSecond.size())
        {
            return svFirst.size() < svSecond.size() ? -1 : 1;
        }
    }
    return svFirst.compare(svSecond);
}

int ComparePreReleases(std::string_view svFirst, std::string_view svSecond)
{
    if (svFirst.empty() || svSecond.empty())
    {
        // The release follows.
        return static_cast<int>(svFirst.empty()) - static_cast<int>(svSecond.empty());
    }
    while (!svFirst.empty() && !svSecond.empty())
    {
        const int iOrder = CompareIdentifiers(TakeUntil(svFirst, '.'), TakeUntil(svSecond, '.'));
        if (iOrder != 0)
        {
            return iOrder;
        }
    }
    return static_cast<int>(svSecond.empty()) - static_cast<int>(svFirst.empty());
}

} // namespace

namespace mu
{

bool ParseVersion(const std::string& strText, SVersion& version)
{
    SVersion parsed;
    const std::size_t uNumbersEnd = std::min(strText.find_first_of("-+"), strText.size());
    const char* pNumber = strText.data();
    const char* const pEnd = pNumber + uNumbersEnd;
    for (;;)
    {
        unsigned int uNumber = 0;
        const auto result = std::from_chars(pNumber, pEnd, uNumber);
        if (result.ec != std::errc())
        {
            return false;
        }
        parsed.m_vNumbers.push_back(uNumber);
        if (result.ptr == pEnd)
        {
            break;
        }
        if (*result.ptr != '.')
        {
            return false;
        }
        pNumber = result.ptr + 1;
    }

    const std::size_t uPlus = std::min(strText.find('+', uNumbersEnd), strText.size());
    if (uPlus < strText.size())
    {
        parsed.m_strBuild = strText.substr(uPlus + 1);
        if (!AreIdentifiers(parsed.m_strBuild))
        {
            return false;
        }
    }
    if (uNumbersEnd < uPlus)
    {
        parsed.m_strPreRelease = strText.substr(uNumbersEnd + 1, uPlus - uNumbersEnd - 1);
        if (!AreIdentifiers(parsed.m_strPreRelease))
        {
            return false;
        }
    }
    version = std::move(parsed);
    return true;
}

int CompareVersions(const SVersion& first, const SVersion& second)
{
    const auto Number = [](const SVersion& version, std::size_t i)
    { return i < version.m_vNumbers.size() ? version.m_vNumbers[i] : 0; };
    const std::size_t uNumbers = std::max(first.m_vNumbers.size(), second.m_vNumbers.size());
    for (std::size_t i = 0; i < uNumbers; ++i)
    {
        if (Number(first, i) != Number(second, i))
        {
            return Number(first, i) < Number(second, i) ? -1 : 1;
        }
    }
    return ComparePreReleases(first.m_strPreRelease, second.m_strPreRelease);
}

std::string FormatVersion(const SVersion& version)
{
    std::string strText;
    for (const unsigned int uNumber : version.m_vNumbers)
    {
        strText.append(strText.empty() ? "" : ".").append(std::to_string(uNumber));
    }
    strText.append(version.m_strPreRelease.empty() ? "" : "-").append(version.m_strPreRelease);
    strText.append(version.m_strBuild.empty() ? "" : "+").append(version.m_strBuild);
    return strText;
}

} // namespace mu
