#include "mu/search.h"

#include <cstring>
#include <cwchar>
#include <string>

#include "mu/lengths.h"

namespace
{

template <typename TChar>
const TChar* Find(const TChar* pText, int iLength, TChar ch)
{
    return std::char_traits<TChar>::find(pText, mu::UnitCount(iLength), ch);
}

template <typename TChar>
const TChar* FindByMembership(const TChar* pText, int iLength, const TChar* pSet, int iSetLength,
                              bool bMember)
{
    for (int i = 0; i < iLength; ++i)
    {
        if ((Find(pSet, iSetLength, pText[i]) != nullptr) == bMember)
        {
            return pText + i;
        }
    }
    return nullptr;
}

template <typename TChar>
int FindPositions(const TChar* pText, int iLength, TChar ch, int iMaxPositions, int* piPositions)
{
    int iFound = 0;
    int iFrom = 0;
    while (iFound < iMaxPositions)
    {
        const TChar* const pFound = Find(pText + iFrom, iLength - iFrom, ch);
        if (pFound == nullptr)
        {
            break;
        }
        const auto iPosition = static_cast<int>(pFound - pText);
        piPositions[iFound++] = iPosition;
        iFrom = iPosition + 1;
    }
    return iFound;
}

} // namespace

namespace mu
{

const char* FindFirstOfChars(const char* szText, int iLength, const char* szSet, int iSetLength)
{
    return FindByMembership(szText, iLength, szSet, iSetLength, true);
}

const wchar_t* FindFirstOfChars(const wchar_t* wszText, int iLength, const wchar_t* wszSet,
                                int iSetLength)
{
    return FindByMembership(wszText, iLength, wszSet, iSetLength, true);
}

const char* FindFirstNotOfChars(const char* szText, int iLength, const char* szSet, int iSetLength)
{
    return FindByMembership(szText, iLength, szSet, iSetLength, false);
}

const wchar_t* FindFirstNotOfChars(const wchar_t* wszText, int iLength, const wchar_t* wszSet,
                                   int iSetLength)
{
    return FindByMembership(wszText, iLength, wszSet, iSetLength, false);
}

int FindCharPositions(const char* szText, int iLength, char ch, int iMaxPositions, int* piPositions)
{
    return FindPositions(szText, iLength, ch, iMaxPositions, piPositions);
}

int FindCharPositions(const wchar_t* wszText, int iLength, wchar_t wc, int iMaxPositions,
                      int* piPositions)
{
    return FindPositions(wszText, iLength, wc, iMaxPositions, piPositions);
}

const wchar_t* FindNextOf(const wchar_t* wszText, const wchar_t* wszSet, bool bInSet)
{
    for (; *wszText != L'\0'; ++wszText)
    {
        if ((std::wcschr(wszSet, *wszText) != nullptr) != bInSet)
        {
            return wszText;
        }
    }
    return nullptr;
}

int FindStringPrefix(const wchar_t* wszText, const wchar_t** pPrefixes)
{
    for (int i = 0; pPrefixes[i] != nullptr; ++i)
    {
        if (std::wcsncmp(wszText, pPrefixes[i], std::wcslen(pPrefixes[i])) == 0)
        {
            return i;
        }
    }
    return -1;
}

int FindTokenInBuffer(const void* pBuffer, int iLength, const void* pToken, int iTokenLength)
{
    if (iTokenLength == 0)
    {
        return 0;
    }
    if (iLength < 0 || iTokenLength < 0 || iTokenLength > iLength)
    {
        return -1;
    }
    const void* const pFound =
        ::memmem(pBuffer, UnitCount(iLength), pToken, UnitCount(iTokenLength));
    return pFound == nullptr ? -1
                             : static_cast<int>(static_cast<const char*>(pFound) -
                                                static_cast<const char*>(pBuffer));
}

int FindTokensInBuffer(const void* pBuffer, int iLength, const void* pToken, int iTokenLength,
                       int* piPositions, int iMaxPositions)
{
    if (iTokenLength < 1)
    {
        return 0;
    }
    int iFound = 0;
    int iFrom = 0;
    while (iFound < iMaxPositions)
    {
        const int iOffset = FindTokenInBuffer(static_cast<const char*>(pBuffer) + iFrom,
                                              iLength - iFrom, pToken, iTokenLength);
        if (iOffset < 0)
        {
            break;
        }
        piPositions[iFound++] = iFrom + iOffset;
        iFrom += iOffset + iTokenLength;
    }
    return iFound;
}

} // namespace mu
