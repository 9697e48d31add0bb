#ifndef ZOR_MU_WORDS_H
#define ZOR_MU_WORDS_H

#include <string>
#include <vector>

namespace mu
{

// Searching by words, as in the search line of a list. A failed allocation throws.

/// The words between white space (units up to 32) and quotation marks ("). White space between two
/// marks, of which the last may be missing, belongs to the word. There are no empty words.
std::vector<std::wstring> SplitWords(const std::wstring& wsText);

/// Whether each of the words occurs in the text, whatever the case of ASCII letters. Takes time in
/// proportion to the text, for each word.
bool ContainsAllWords(const std::wstring& wsText, const std::vector<std::wstring>& vWords);
/// The same for the words of a search line; an empty one matches every text.
bool IsSearchMatch(const std::wstring& wsText, const std::wstring& wsSearch);

} // namespace mu

#endif
