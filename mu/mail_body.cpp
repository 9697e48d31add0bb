#include "mu/mail_body.h"

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <string_view>

#include "mu/lengths.h"
#include "mu/text.h"
#include "mu/unicode.h"

namespace
{

constexpr std::size_t kMaxLine = 998;

/// How much of the text becomes the body's next line.
std::size_t LineLength(std::string_view svText)
{
    // Searches only as far as a line may reach: otherwise each part of a long line would search the
    // rest of it again.
    const std::size_t uBreak = svText.substr(0, kMaxLine + 2).find("\r\n");
    if (uBreak != std::string_view::npos || svText.size() <= kMaxLine)
    {
        return std::min(uBreak, svText.size());
    }
    const std::size_t uSpace = svText.substr(0, kMaxLine).rfind(' ');
    if (uSpace != std::string_view::npos)
    {
        return uSpace + 1;
    }
    const std::size_t uWholeCharacters = mu::CutText(svText, kMaxLine).size();
    return uWholeCharacters > 0 ? uWholeCharacters : kMaxLine; // 0: this is no UTF-8
}

} // namespace

namespace mu
{

void CharsToMailBody(const char* szText, int iLength, std::string& strBody)
{
    std::string strText(szText, UnitCount(iLength));
    ReplaceNullsWithSpaces(strText.data(), iLength);
    ReplaceNewLines(strText, strText, "\r\n");

    strBody.clear();
    for (std::string_view svRest = strText; !svRest.empty();)
    {
        const std::size_t uLength = LineLength(svRest);
        assert(uLength > 0 || svRest.starts_with("\r\n")); // or the loop would not end
        strBody += svRest.substr(0, uLength);
        svRest.remove_prefix(uLength);
        if (!svRest.empty())
        {
            strBody += "\r\n";
            svRest.remove_prefix(svRest.starts_with("\r\n") ? 2 : 0);
        }
    }
}

} // namespace mu
