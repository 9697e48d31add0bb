#ifndef ZOR_MU_NUMBERS_H
#define ZOR_MU_NUMBERS_H

#include <string>

namespace mu
{

// Numbers as text, the same on every machine and in every locale: "long" has 32 bits, the decimal
// point is a point, white space is ASCII's. The readers take what C's strtol family takes (leading
// white space, a sign, then the longest run that is a number), give 0 where there is none, and the
// nearest end of the range where it does not fit.

/// strtol/wcstol, base 10. The text ends at iLength units or at a NUL.
int ParseInt32(const char* szText, int iLength);
int ParseInt32(const wchar_t* wszText, int iLength);
/// strtoul/wcstoul, base 10: a minus sign negates the result as unsigned arithmetic does.
unsigned int ParseUInt32(const char* szText, int iLength);
unsigned int ParseUInt32(const wchar_t* wszText, int iLength);

int StringToInt(const std::wstring& wsText);
long long StringToInt64(const std::wstring& wsText);
double StringToDouble(const std::wstring& wsText);
/// True when the first character is one of "TtYy".
bool StringToBool(const std::wstring& wsText);

std::wstring IntToString(int iValue);
std::wstring Int64ToString(long long llValue);
/// The form of "%g".
std::wstring DoubleToString(double dValue);
/// "True" or "False".
std::wstring BoolToString(bool bValue);

} // namespace mu

#endif
