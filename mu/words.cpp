#include "mu/words.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "mu/lengths.h"
#include "mu/search.h"
#include "mu/text.h"
#include "mu/unicode.h"

namespace
{

/// UTF-8 in lower case. Its bytes can be searched, because no character occurs inside another.
std::string Folded(const std::wstring& wsText)
{
    std::string strText = mu::WideStringToNarrowOrThrow(wsText);
    mu::StringToLowerCase(strText);
    return strText;
}

} // namespace

namespace mu
{

std::vector<std::wstring> SplitWords(const std::wstring& wsText)
{
    std::vector<std::wstring> vWords;
    std::wstring wsWord;
    bool bQuoted = false;
    const auto EndWord = [&]
    {
        if (!wsWord.empty())
        {
            vWords.push_back(std::exchange(wsWord, {}));
        }
    };
    for (const wchar_t wc : wsText)
    {
        if (wc == L'"')
        {
            bQuoted = !bQuoted;
            EndWord();
        }
        else if (!bQuoted && static_cast<std::uint32_t>(wc) <= L' ')
        {
            EndWord();
        }
        else
        {
            wsWord += wc;
        }
    }
    EndWord();
    return vWords;
}

bool ContainsAllWords(const std::wstring& wsText, const std::vector<std::wstring>& vWords)
{
    const std::string strText = Folded(wsText);
    return std::all_of(vWords.begin(), vWords.end(),
                       [&strText](const std::wstring& wsWord)
                       {
                           const std::string strWord = Folded(wsWord);
                           return FindTokenInBuffer(strText.data(), IntCount(strText.size()),
                                                    strWord.data(), IntCount(strWord.size())) >= 0;
                       });
}

bool IsSearchMatch(const std::wstring& wsText, const std::wstring& wsSearch)
{
    return ContainsAllWords(wsText, SplitWords(wsSearch));
}

} // namespace mu
