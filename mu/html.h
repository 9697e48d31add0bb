#ifndef ZOR_MU_HTML_H
#define ZOR_MU_HTML_H

#include <string>

namespace mu
{

/// Appends the block that leads through the pages of a list: the buttons "First Page", "Previous
/// Page", "Next Page" and "Last Page", and "Page 2 of 7" in their middle. A button is a link to
/// "?from=" with the offset of the page's first item; a button without a page to lead to has no
/// target and is marked as disabled. It needs no script; a style sheet finds the block by its class
/// "paging".
///
/// iFrom is the offset of any item on the page to be shown; an offset outside the list shows the
/// nearest page. iPageSize is the number of items on a page (below 1 counts as 1), iCount the
/// number of items in the list; an empty list has one page. Returns the offset of the shown page's
/// first item.
int AddHTMLPagingBlock(std::string& strHTML, int iFrom, int iPageSize, int iCount);

} // namespace mu

#endif
