#ifndef ZOR_MU_TEXT_H
#define ZOR_MU_TEXT_H

#include <cstdarg>
#include <string>

namespace mu
{

// Comparison and edits of text. Cases are ASCII's. Lengths and capacities are counted in units;
// those below 0 are as good as 0.

/// 0 if the texts are equal but for the case. Otherwise the sign tells which is the greater one
/// (units are compared in upper case, unsigned; a text that ends first is the smaller), and the
/// magnitude is the place of the first difference, counted from 1.
int CompareIgnoreCase(const char* szFirst, const char* szSecond);
int CompareIgnoreCase(const wchar_t* wszFirst, const wchar_t* wszSecond);

/// In place, up to the NUL. Returns the length.
int StringToUpperCase(char* szText);
void StringToUpperCase(std::string& strText);
void StringToUpperCase(std::wstring& wsText);
void StringToUpperCase(const char* szText, int iLength, std::string& strOut);
void StringToUpperCase(const wchar_t* wszText, int iLength, std::wstring& wsOut);
void StringToLowerCase(std::string& strText);
void StringToLowerCase(std::wstring& wsText);
void StringToLowerCase(const char* szText, int iLength, std::string& strOut);
void StringToLowerCase(const wchar_t* wszText, int iLength, std::wstring& wsOut);

/// Reverses the first iLength units in place.
void wcsnrev(wchar_t* wszText, int iLength);

/// Returns how many NULs there were.
int ReplaceNullsWithSpaces(char* szBuffer, int iLength);
int ReplaceNullsWithSpaces(wchar_t* wszBuffer, int iLength);

/// Copies the text with each line break (CR LF, CR or LF) replaced by the new line, which ends at
/// its NUL. Stops when the capacity is used up, also in the middle of a new line; the NUL follows
/// only if there is room for it. Returns the units written.
int ReplaceNewLines(const char* szIn, char* szOut, const char* szNewLine, int iInLength,
                    int iOutCapacity);
/// The same without a limit. The strings may be one.
int ReplaceNewLines(const std::string& strIn, std::string& strOut, const std::string& strNewLine);
int ReplaceNewLines(const std::wstring& wsIn, std::wstring& wsOut, const std::wstring& wsNewLine);

/// Removes spaces and control characters (units up to 32) from both ends.
void TrimSideWhiteSpaces(std::string& strText);
void TrimSideWhiteSpaces(std::wstring& wsText);

constexpr wchar_t GetFolderSeparator()
{
    return L'/';
}

/// Appends the separator, except to an empty path and one that ends in a slash or a backslash. The
/// buffer must have room for one more unit and the terminator.
void AddFolderSeparator(wchar_t* wszPath);
void AddFolderSeparator(std::wstring& wsPath);
/// Removes one slash or backslash from the end.
void RemoveLastFolderSeparator(wchar_t* wszPath);
void RemoveLastFolderSeparator(std::wstring& wsPath);

/// vsnprintf and vswprintf, with their results.
[[gnu::format(printf, 3, 4)]] int SNPrintF(char* szOut, int iCapacity, const char* szFormat, ...);
[[gnu::format(printf, 3, 0)]] int VSNPrintF(char* szOut, int iCapacity, const char* szFormat,
                                            std::va_list arguments);
int SWPrintF(wchar_t* wszOut, int iCapacity, const wchar_t* wszFormat, ...);
int VSWPrintF(wchar_t* wszOut, int iCapacity, const wchar_t* wszFormat, std::va_list arguments);

} // namespace mu

#endif
