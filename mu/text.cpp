#include "mu/text.h"

#include <algorithm>
#include <cstdio>
#include <cwchar>
#include <string_view>
#include <type_traits>
#include <utility>

#include "mu/characters.h"
#include "mu/lengths.h"

namespace
{

template <typename TChar>
TChar UpperCase(TChar ch)
{
    return static_cast<TChar>(mu::CharToUpperCase(static_cast<wchar_t>(ch)));
}

template <typename TChar>
TChar LowerCase(TChar ch)
{
    return static_cast<TChar>(mu::CharToLowerCase(static_cast<wchar_t>(ch)));
}

template <typename TChar>
std::make_unsigned_t<TChar> Unsigned(TChar ch)
{
    return static_cast<std::make_unsigned_t<TChar>>(ch);
}

template <typename TChar>
int Compare(const TChar* pFirst, const TChar* pSecond)
{
    for (std::size_t i = 0;; ++i)
    {
        const auto first = Unsigned(UpperCase(pFirst[i]));
        const auto second = Unsigned(UpperCase(pSecond[i]));
        if (first != second)
        {
            return first < second ? -mu::IntCount(i + 1) : mu::IntCount(i + 1);
        }
        if (first == 0)
        {
            return 0;
        }
    }
}

template <typename TString>
void MakeUpperCase(TString& text)
{
    for (auto& ch : text)
    {
        ch = UpperCase(ch);
    }
}

template <typename TString>
void MakeLowerCase(TString& text)
{
    for (auto& ch : text)
    {
        ch = LowerCase(ch);
    }
}

template <typename TChar>
int ReplaceNulls(TChar* pBuffer, int iLength)
{
    int iReplaced = 0;
    for (int i = 0; i < iLength; ++i)
    {
        if (pBuffer[i] == 0)
        {
            pBuffer[i] = ' ';
            ++iReplaced;
        }
    }
    return iReplaced;
}

/// Gives the output to take() piece by piece, until that returns false.
template <typename TChar, typename TTake>
void ReplaceLineBreaks(std::basic_string_view<TChar> text, std::basic_string_view<TChar> newLine,
                       TTake take)
{
    constexpr TChar kPair[] = {'\r', '\n'};
    while (!text.empty())
    {
        const std::size_t uLine = text.find_first_of(kPair, 0, 2);
        if (!take(text.substr(0, uLine)) || uLine == text.npos || !take(newLine))
        {
            return;
        }
        text.remove_prefix(uLine);
        text.remove_prefix(text.starts_with(std::basic_string_view<TChar>(kPair, 2)) ? 2 : 1);
    }
}

template <typename TString>
int ReplaceLineBreaksInString(const TString& in, TString& out, const TString& newLine)
{
    using TView = std::basic_string_view<typename TString::value_type>;
    TString replaced;
    replaced.reserve(in.size());
    ReplaceLineBreaks(TView(in), TView(newLine),
                      [&replaced](TView piece)
                      {
                          replaced += piece;
                          return true;
                      });
    out = std::move(replaced);
    return mu::IntCount(out.size());
}

template <typename TString>
void Trim(TString& text)
{
    const auto IsText = [](auto ch) { return Unsigned(ch) > ' '; };
    text.erase(std::find_if(text.rbegin(), text.rend(), IsText).base(), text.end());
    text.erase(text.begin(), std::find_if(text.begin(), text.end(), IsText));
}

bool EndsInSeparator(std::wstring_view path)
{
    return path.ends_with(mu::GetFolderSeparator()) || path.ends_with(L'\\');
}

} // namespace

namespace mu
{

int CompareIgnoreCase(const char* szFirst, const char* szSecond)
{
    return Compare(szFirst, szSecond);
}

int CompareIgnoreCase(const wchar_t* wszFirst, const wchar_t* wszSecond)
{
    return Compare(wszFirst, wszSecond);
}

int StringToUpperCase(char* szText)
{
    char* pEnd = szText;
    for (; *pEnd != '\0'; ++pEnd)
    {
        *pEnd = UpperCase(*pEnd);
    }
    return IntCount(static_cast<std::size_t>(pEnd - szText));
}

void StringToUpperCase(std::string& strText)
{
    MakeUpperCase(strText);
}

void StringToUpperCase(std::wstring& wsText)
{
    MakeUpperCase(wsText);
}

void StringToUpperCase(const char* szText, int iLength, std::string& strOut)
{
    MakeUpperCase(strOut.assign(szText, UnitCount(iLength)));
}

void StringToUpperCase(const wchar_t* wszText, int iLength, std::wstring& wsOut)
{
    MakeUpperCase(wsOut.assign(wszText, UnitCount(iLength)));
}

void StringToLowerCase(std::string& strText)
{
    MakeLowerCase(strText);
}

void StringToLowerCase(std::wstring& wsText)
{
    MakeLowerCase(wsText);
}

void StringToLowerCase(const char* szText, int iLength, std::string& strOut)
{
    MakeLowerCase(strOut.assign(szText, UnitCount(iLength)));
}

void StringToLowerCase(const wchar_t* wszText, int iLength, std::wstring& wsOut)
{
    MakeLowerCase(wsOut.assign(wszText, UnitCount(iLength)));
}

void wcsnrev(wchar_t* wszText, int iLength)
{
    std::reverse(wszText, wszText + UnitCount(iLength));
}

int ReplaceNullsWithSpaces(char* szBuffer, int iLength)
{
    return ReplaceNulls(szBuffer, iLength);
}

int ReplaceNullsWithSpaces(wchar_t* wszBuffer, int iLength)
{
    return ReplaceNulls(wszBuffer, iLength);
}

int ReplaceNewLines(const char* szIn, char* szOut, const char* szNewLine, int iInLength,
                    int iOutCapacity)
{
    const std::size_t uCapacity = UnitCount(iOutCapacity);
    std::size_t uWritten = 0;
    ReplaceLineBreaks(std::string_view(szIn, UnitCount(iInLength)), std::string_view(szNewLine),
                      [&](std::string_view piece)
                      {
                          uWritten += piece.copy(szOut + uWritten, uCapacity - uWritten);
                          return uWritten < uCapacity;
                      });
    if (uWritten < uCapacity)
    {
        szOut[uWritten] = '\0';
    }
    return static_cast<int>(uWritten);
}

int ReplaceNewLines(const std::string& strIn, std::string& strOut, const std::string& strNewLine)
{
    return ReplaceLineBreaksInString(strIn, strOut, strNewLine);
}

int ReplaceNewLines(const std::wstring& wsIn, std::wstring& wsOut, const std::wstring& wsNewLine)
{
    return ReplaceLineBreaksInString(wsIn, wsOut, wsNewLine);
}

void TrimSideWhiteSpaces(std::string& strText)
{
    Trim(strText);
}

void TrimSideWhiteSpaces(std::wstring& wsText)
{
    Trim(wsText);
}

void AddFolderSeparator(wchar_t* wszPath)
{
    const std::wstring_view path = wszPath;
    if (!path.empty() && !EndsInSeparator(path))
    {
        wszPath[path.size() + 1] = L'\0';
        wszPath[path.size()] = GetFolderSeparator();
    }
}

void AddFolderSeparator(std::wstring& wsPath)
{
    if (!wsPath.empty() && !EndsInSeparator(wsPath))
    {
        wsPath += GetFolderSeparator();
    }
}

void RemoveLastFolderSeparator(wchar_t* wszPath)
{
    const std::wstring_view path = wszPath;
    if (EndsInSeparator(path))
    {
        wszPath[path.size() - 1] = L'\0';
    }
}

void RemoveLastFolderSeparator(std::wstring& wsPath)
{
    if (EndsInSeparator(wsPath))
    {
        wsPath.pop_back();
    }
}

int SNPrintF(char* szOut, int iCapacity, const char* szFormat, ...)
{
    std::va_list arguments;
    va_start(arguments, szFormat);
    const int iResult = VSNPrintF(szOut, iCapacity, szFormat, arguments);
    va_end(arguments);
    return iResult;
}

int VSNPrintF(char* szOut, int iCapacity, const char* szFormat, std::va_list arguments)
{
    return std::vsnprintf(szOut, UnitCount(iCapacity), szFormat, arguments);
}

int SWPrintF(wchar_t* wszOut, int iCapacity, const wchar_t* wszFormat, ...)
{
    std::va_list arguments;
    va_start(arguments, wszFormat);
    const int iResult = VSWPrintF(wszOut, iCapacity, wszFormat, arguments);
    va_end(arguments);
    return iResult;
}

int VSWPrintF(wchar_t* wszOut, int iCapacity, const wchar_t* wszFormat, std::va_list arguments)
{
    return std::vswprintf(wszOut, UnitCount(iCapacity), wszFormat, arguments);
}

} // namespace mu
