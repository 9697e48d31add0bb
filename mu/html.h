#ifndef ZOR_MU_HTML_H
#define ZOR_MU_HTML_H

#include <string>

namespace mu
{

/// Appends the block that leads through the pages of a list: the buttons "First Page", "Previous
/// Page", "Next Page" and "Last Page", and "Page 2 of 7" in their middle. A button is a link to
/// "?from=" with the offset of the page's first item; one that leads nowhere has no target and is
/// marked as disabled. It needs no script; a style sheet finds the block by its class "paging".
///
/// iFrom is an offset on the page that is shown, iPageSize the items of a page (below 1 counts as
/// 1), iCount the items of the list, which has one page without any. Any offset will do: the page
/// is the nearest that there is. Returns the offset of its first item.
int AddHTMLPagingBlock(std::string& strHTML, int iFrom, int iPageSize, int iCount);

} // namespace mu

#endif
