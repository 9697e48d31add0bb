#include "mu/mime_types.h"

#include <algorithm>
#include <string_view>

#include "mu/characters.h"
#include "mu/lengths.h"

namespace
{

/// Whether the extension is one whole item of the list.
bool IsInList(std::string_view svList, std::string_view svExtension)
{
    while (!svList.empty())
    {
        const std::string_view svItem = svList.substr(0, svList.find(','));
        if (std::ranges::equal(svItem, svExtension, mu::IsCharMatchIgnoreCase))
        {
            return true;
        }
        svList.remove_prefix(std::min(svItem.size() + 1, svList.size()));
    }
    return false;
}

/// Empty for an unknown extension.
std::string_view FindMimeType(const char* szExtension, int iLength)
{
    const std::string_view svExtension(szExtension, mu::UnitCount(iLength));
    for (const auto& row : mu::g_MimeTypesForFileExtensions)
    {
        if (IsInList(row.m_szExtensions, svExtension))
        {
            return row.m_szMimeType;
        }
    }
    return {};
}

} // namespace

namespace mu
{

bool FindContentTypeForFileExt(const char* szExtension, int iLength, std::string& strContentType)
{
    const std::string_view svMimeType = FindMimeType(szExtension, iLength);
    if (svMimeType.empty())
    {
        return false;
    }
    strContentType = svMimeType;
    return true;
}

bool IsImageFileExtension(const char* szExtension, int iLength)
{
    return FindMimeType(szExtension, iLength).starts_with("image/");
}

} // namespace mu
