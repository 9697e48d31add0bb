#ifndef ZOR_MU_SEARCH_H
#define ZOR_MU_SEARCH_H

namespace mu
{

// Searches in buffers that need no terminator. Lengths are counted in units; a text of a length
// below 1 has nothing to be found in it.

/// The first unit of the text that occurs in the set, or null.
const char* FindFirstOfChars(const char* szText, int iLength, const char* szSet, int iSetLength);
const wchar_t* FindFirstOfChars(const wchar_t* wszText, int iLength, const wchar_t* wszSet,
                                int iSetLength);
/// The first unit of the text that does not occur in the set, or null.
const char* FindFirstNotOfChars(const char* szText, int iLength, const char* szSet, int iSetLength);
const wchar_t* FindFirstNotOfChars(const wchar_t* wszText, int iLength, const wchar_t* wszSet,
                                   int iSetLength);

/// Writes where the character occurs, in order, at most iMaxPositions times. Returns how often.
int FindCharPositions(const char* szText, int iLength, char ch, int iMaxPositions,
                      int* piPositions);
int FindCharPositions(const wchar_t* wszText, int iLength, wchar_t wc, int iMaxPositions,
                      int* piPositions);

/// For NUL-terminated text and set. With bInSet false, the first unit that is in the set; with
/// true, the first that is not. Null if the text ends before.
const wchar_t* FindNextOf(const wchar_t* wszText, const wchar_t* wszSet, bool bInSet);

/// The index of the first of the prefixes, whose array ends in a null, that the text begins with;
/// -1 if there is none. Every text begins with an empty prefix.
int FindStringPrefix(const wchar_t* wszText, const wchar_t** pPrefixes);

/// The offset in bytes of the first occurrence of the token, -1 if there is none or a length is
/// negative. A token of length 0 is at offset 0.
int FindTokenInBuffer(const void* pBuffer, int iLength, const void* pToken, int iTokenLength);
/// Writes the offsets of at most iMaxPositions occurrences, which do not overlap. Returns how many;
/// a token of length 0 has none.
int FindTokensInBuffer(const void* pBuffer, int iLength, const void* pToken, int iTokenLength,
                       int* piPositions, int iMaxPositions);

} // namespace mu

#endif
