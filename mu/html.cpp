#include "mu/html.h"

#include <algorithm>

namespace
{

void AddButton(std::string& strHTML, const char* szText, bool bEnabled, int iOffset)
{
    strHTML += "<a class='button'";
    strHTML += bEnabled ? " href='?from=" + std::to_string(iOffset) + "'>"
                        : std::string(" aria-disabled='true'>");
    strHTML += szText;
    strHTML += "</a> ";
}

} // namespace

namespace mu
{

int AddHTMLPagingBlock(std::string& strHTML, int iFrom, int iPageSize, int iCount)
{
    const int iSize = std::max(iPageSize, 1);
    const int iLastPage = iCount > 0 ? (iCount - 1) / iSize : 0;
    const int iPage = std::clamp(iFrom / iSize, 0, iLastPage);
    const bool bBefore = iPage > 0;
    const bool bAfter = iPage < iLastPage;

    strHTML += "<div class='paging'>";
    AddButton(strHTML, "First Page", bBefore, 0);
    AddButton(strHTML, "Previous Page", bBefore, (iPage - 1) * iSize);
    strHTML += "<span>Page " + std::to_string(iPage + 1) + " of " + std::to_string(iLastPage + 1) +
               "</span> ";
    AddButton(strHTML, "Next Page", bAfter, bAfter ? (iPage + 1) * iSize : 0);
    AddButton(strHTML, "Last Page", bAfter, iLastPage * iSize);
    strHTML += "</div>";
    return iPage * iSize;
}

} // namespace mu
