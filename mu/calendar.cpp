#include "mu/calendar.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <limits>

#include "mu/text.h"

namespace
{

constexpr int kSecondsPerMinute = 60;
constexpr int kSecondsPerHour = 3600;
constexpr int kSecondsPerDay = 86400;
constexpr int kMinutesPerDay = 1440;

constexpr int kDaysInMonth[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

// The last entry is the length of the year.
using DaysBeforeMonth = std::array<int, 13>;
constexpr DaysBeforeMonth kDaysBeforeMonth = {0,   31,  59,  90,  120, 151, 181,
                                              212, 243, 273, 304, 334, 365};
constexpr DaysBeforeMonth kDaysBeforeMonthOfLeapYear = {0,   31,  60,  91,  121, 152, 182,
                                                        213, 244, 274, 305, 335, 366};

constexpr const char* kDayOfWeekNames[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                           "Thursday", "Friday", "Saturday"};

const DaysBeforeMonth& DaysBeforeMonthIn(int iYear)
{
    return mu::IsLeapYear(iYear) ? kDaysBeforeMonthOfLeapYear : kDaysBeforeMonth;
}

bool IsMonth(int iMonth)
{
    return iMonth >= 1 && iMonth <= 12;
}

/// Results are calculated in 64 bits, which hold them for all values of the fields; the low 32 bits
/// are stored.
int Wrap(long long llValue)
{
    return static_cast<int>(llValue);
}

// 'Y' is the place of a digit of the year, and so on. Other characters are part of the text.
constexpr char kForm[] = "YYYY/MM/DD HH:mm:ss";
constexpr int kFormLength = static_cast<int>(std::size(kForm)) - 1;

int* FieldOf(mu::STimeComponents& time, char chLetter)
{
    switch (chLetter)
    {
    case 'Y':
        return &time.m_iYear;
    case 'M':
        return &time.m_iMonth;
    case 'D':
        return &time.m_iDay;
    case 'H':
        return &time.m_iHour;
    case 'm':
        return &time.m_iMinute;
    case 's':
        return &time.m_iSecond;
    default:
        return nullptr;
    }
}

struct SUnit
{
    double m_dEnd; // amounts from here on are written in the next unit
    double m_dSize;
    int m_iDecimals;
    const char* m_szName;
};
using Units = std::array<SUnit, 4>;

constexpr double kKilo = 1024;
constexpr double kMega = 1024 * kKilo;
constexpr double kGiga = 1024 * kMega;
constexpr double kNoLimit = std::numeric_limits<double>::infinity();

constexpr Units kByteUnits = {{{kKilo, 1, 0, " bytes"},
                               {kMega, kKilo, 1, " KB"},
                               {kGiga, kMega, 2, " MB"},
                               {kNoLimit, kGiga, 3, " GB"}}};
constexpr Units kBitrateUnits = {{{kKilo, 1, 0, " bps"},
                                  {kMega, kKilo, 1, " Kbps"},
                                  {kGiga, kMega, 2, " Mb/s"},
                                  {kNoLimit, kGiga, 3, " Gb/s"}}};

/// dAmount is below 2^67, so its text fits into szText. As a double it may be rounded, but only
/// above 2^53, where the unit is the largest one anyway.
template <typename TString>
void WriteAmount(double dAmount, const Units& units, TString& text)
{
    const auto* const pUnit = std::find_if(
        units.begin(), units.end(), [=](const SUnit& unit) { return dAmount < unit.m_dEnd; });

    char szText[30];
    char* const szUnit =
        std::to_chars(std::begin(szText), std::end(szText), dAmount / pUnit->m_dSize,
                      std::chars_format::fixed, pUnit->m_iDecimals)
            .ptr;
    text.assign(std::begin(szText), szUnit);
    text.append(pUnit->m_szName, pUnit->m_szName + std::char_traits<char>::length(pUnit->m_szName));
}

} // namespace

namespace mu
{

const std::array<const wchar_t*, 13> g_vMonthNames = {
    L"Undefined", L"January", L"February",  L"March",   L"April",    L"May",     L"June",
    L"July",      L"August",  L"September", L"October", L"November", L"December"};

int STimeComponents::GetNumDaySeconds() const
{
    return Wrap(m_iHour * static_cast<long long>(kSecondsPerHour) +
                m_iMinute * static_cast<long long>(kSecondsPerMinute) + m_iSecond);
}

int STimeComponents::GetNumDayMinutes() const
{
    return Wrap(m_iHour * 60LL + m_iMinute);
}

bool STimeComponents::SetFromNumDaySeconds(int iSeconds)
{
    if (iSeconds < 0 || iSeconds >= kSecondsPerDay)
    {
        return false;
    }
    m_iHour = iSeconds / kSecondsPerHour;
    m_iMinute = iSeconds / kSecondsPerMinute % 60;
    m_iSecond = iSeconds % 60;
    return true;
}

long long STimeComponents::GetStandardTimeValue() const
{
    if (!IsMonth(m_iMonth))
    {
        return 0;
    }
    const long long llYear = m_iYear;
    // On purpose: the century's leap day is dropped as its last year begins, not as it ends, so
    // 2100 is a day early. The shift rounds down, the divisions towards 0.
    const long long llLeapDays =
        ((llYear - 1969) >> 2) - (llYear - 1900) / 100 + (llYear - 1600) / 400;
    const long long llDays = llYear * 365 - 719051 + m_iDay + llLeapDays +
                             DaysBeforeMonthIn(m_iYear)[static_cast<std::size_t>(m_iMonth - 1)];
    return llDays * kSecondsPerDay + GetNumDaySeconds();
}

void STimeComponents::FromStandardTimeValue(long long llSeconds)
{
    m_iSecond = static_cast<int>(llSeconds % 60);
    m_iMinute = static_cast<int>(llSeconds / kSecondsPerMinute % 60);
    m_iHour = static_cast<int>(llSeconds / kSecondsPerHour % 24);

    // A cycle of four years begins with 1970; its third year has 366 days.
    constexpr int kDaysPerCycle = 4 * 365 + 1;
    const long long llDays = llSeconds / kSecondsPerDay;
    int iDayOfYear = static_cast<int>(llDays % kDaysPerCycle);
    int iYearOfCycle = 0;
    for (const int iDaysInYear : {365, 365, 366})
    {
        if (iDayOfYear < iDaysInYear)
        {
            break;
        }
        iDayOfYear -= iDaysInYear;
        ++iYearOfCycle;
    }
    m_iYear = Wrap(1970 + llDays / kDaysPerCycle * 4 + iYearOfCycle);

    // On purpose: the table follows the full rule for leap years, the cycle does not. Day 366 of
    // a year that the table gives 365 is in month 13.
    const DaysBeforeMonth& daysBefore = DaysBeforeMonthIn(m_iYear);
    std::size_t uMonth = 1;
    while (uMonth < 13 && iDayOfYear >= daysBefore[uMonth])
    {
        ++uMonth;
    }
    m_iMonth = static_cast<int>(uMonth);
    m_iDay = iDayOfYear + 1 - daysBefore[uMonth - 1];
}

bool IsLeapYear(int iYear)
{
    return (iYear % 4 == 0 && iYear % 100 != 0) || iYear % 400 == 0;
}

int GetNumDaysInMonth(int iMonth, int iYear)
{
    if (!IsMonth(iMonth))
    {
        return 0;
    }
    return iMonth == 2 && IsLeapYear(iYear) ? 29 : kDaysInMonth[iMonth - 1];
}

int CalcDayOfWeek(const STimeComponents& time)
{
    // Zeller's congruence: the year begins in March, so that its leap day is the last one.
    const long long llBeforeMarch = (14LL - time.m_iMonth) / 12;
    const long long llYear = time.m_iYear - llBeforeMarch;
    const long long llMonth = time.m_iMonth + 12 * llBeforeMarch - 2;
    return static_cast<int>((time.m_iDay + llYear + llYear / 4 - llYear / 100 + llYear / 400 +
                             31 * llMonth / 12) %
                            7) +
           1;
}

const wchar_t* GetMonthName(int iMonth)
{
    return g_vMonthNames[IsMonth(iMonth) ? static_cast<std::size_t>(iMonth) : 0];
}

const char* GetDayOfWeekName(int iDay)
{
    return iDay >= 1 && iDay <= 7 ? kDayOfWeekNames[iDay - 1] : "Undefined";
}

void StandardTimeStructToTimeComponents(const std::tm* pTime, STimeComponents& time)
{
    time = {Wrap(pTime->tm_year + 1900LL),
            Wrap(pTime->tm_mon + 1LL),
            pTime->tm_mday,
            pTime->tm_hour,
            pTime->tm_min,
            pTime->tm_sec};
}

void TimeComponentsToStandardTimeStruct(std::tm* pTime, const STimeComponents& time)
{
    pTime->tm_year = Wrap(time.m_iYear - 1900LL);
    pTime->tm_mon = Wrap(time.m_iMonth - 1LL);
    pTime->tm_mday = time.m_iDay;
    pTime->tm_hour = time.m_iHour;
    pTime->tm_min = time.m_iMinute;
    pTime->tm_sec = time.m_iSecond;
}

bool IsCurrentTimeSane(const STimeComponents& time)
{
    const auto IsFrom = [](int iValue, int iFirst, int iLast)
    { return iValue >= iFirst && iValue <= iLast; };
    return IsFrom(time.m_iYear, 2013, 2112) && IsMonth(time.m_iMonth) &&
           IsFrom(time.m_iDay, 1, 31) && IsFrom(time.m_iHour, 0, 23) &&
           IsFrom(time.m_iMinute, 0, 59) && IsFrom(time.m_iSecond, 0, 59);
}

template <typename TChar>
int GetTimeComponentsAsString_T(const STimeComponents& time, TChar* pOut, int iCapacity)
{
    if (iCapacity <= kFormLength)
    {
        if (iCapacity > 0)
        {
            *pOut = 0;
        }
        return 0;
    }

    STimeComponents rest = time;
    pOut[kFormLength] = 0;
    for (int i = kFormLength - 1; i >= 0; --i)
    {
        if (int* const pField = FieldOf(rest, kForm[i]); pField != nullptr)
        {
            pOut[i] = static_cast<TChar>('0' + *pField % 10);
            *pField /= 10;
        }
        else
        {
            pOut[i] = static_cast<TChar>(kForm[i]);
        }
    }
    return kFormLength;
}

template int GetTimeComponentsAsString_T(const STimeComponents&, char*, int);
template int GetTimeComponentsAsString_T(const STimeComponents&, wchar_t*, int);

int GetTimeComponentsAsChars(const STimeComponents& time, char* szOut, int iCapacity)
{
    return GetTimeComponentsAsString_T(time, szOut, iCapacity);
}

int GetTimeComponentsAsChars(const STimeComponents& time, wchar_t* wszOut, int iCapacity)
{
    return GetTimeComponentsAsString_T(time, wszOut, iCapacity);
}

void GetTimeComponentsAsString(const STimeComponents& time, std::string& strOut)
{
    char szText[kFormLength + 1];
    strOut.assign(
        szText, static_cast<std::size_t>(GetTimeComponentsAsChars(time, szText, kFormLength + 1)));
}

void GetTimeComponentsAsString(const STimeComponents& time, std::wstring& wsOut)
{
    wchar_t wszText[6 * 11 + 5 + 1]; // six numbers of any length
    const int iLength = SWPrintF(wszText, static_cast<int>(std::size(wszText)),
                                 L"%04d/%02d/%02d %02d:%02d:%02d", time.m_iYear, time.m_iMonth,
                                 time.m_iDay, time.m_iHour, time.m_iMinute, time.m_iSecond);
    wsOut.assign(wszText, static_cast<std::size_t>(iLength));
}

bool GetTimeComponentsFromString(const std::wstring& wsText, STimeComponents& time)
{
    if (wsText.size() < static_cast<std::size_t>(kFormLength))
    {
        return false;
    }
    STimeComponents read;
    for (int i = 0; i < kFormLength; ++i)
    {
        const wchar_t ch = wsText[static_cast<std::size_t>(i)];
        int* const pField = FieldOf(read, kForm[i]);
        if (pField != nullptr)
        {
            if (ch < L'0' || ch > L'9')
            {
                return false;
            }
            *pField = *pField * 10 + static_cast<int>(ch - L'0');
        }
        else if (ch != static_cast<wchar_t>(kForm[i]))
        {
            return false;
        }
    }
    time = read;
    return true;
}

int GetShortTimeSpanString(long long llSeconds, char* szOut, int iCapacity)
{
    const int iSeconds = static_cast<int>(llSeconds % 60);
    const int iMinutes = static_cast<int>(llSeconds / kSecondsPerMinute % 60);
    const int iHours = static_cast<int>(llSeconds / kSecondsPerHour % 24);
    const long long llDays = llSeconds / kSecondsPerDay;
    const int iDays = static_cast<int>(llDays % 7);

    if (llSeconds > -60 && llSeconds < 60)
    {
        return SNPrintF(szOut, iCapacity, "%ds", iSeconds);
    }
    if (llDays < 1)
    {
        return SNPrintF(szOut, iCapacity, "%02d:%02d:%02d", iHours, iMinutes, iSeconds);
    }
    if (llDays < 7)
    {
        return SNPrintF(szOut, iCapacity, "%dd %02d:%02d:%02d", iDays, iHours, iMinutes, iSeconds);
    }
    return SNPrintF(szOut, iCapacity, "%lldw %dd %02d:%02d:%02d", llDays / 7, iDays, iHours,
                    iMinutes, iSeconds);
}

int GetTimeSpanString(long long llSeconds, char* szOut, int iCapacity)
{
    const int iSeconds = static_cast<int>(llSeconds % 60);
    const long long llMinutes = llSeconds / kSecondsPerMinute;
    if (llSeconds < 60)
    {
        return SNPrintF(szOut, iCapacity, "%d seconds", iSeconds);
    }
    if (llMinutes < 60 && iSeconds != 0)
    {
        return SNPrintF(szOut, iCapacity, "%d minutes and %d seconds", static_cast<int>(llMinutes),
                        iSeconds);
    }
    return GetTimeSpanStringMinutes(llMinutes, szOut, iCapacity);
}

int GetTimeSpanStringMinutes(long long llMinutes, char* szOut, int iCapacity)
{
    const int iMinutes = static_cast<int>(llMinutes % 60);
    const int iHours = static_cast<int>(llMinutes / 60 % 24);
    const long long llDays = llMinutes / kMinutesPerDay;
    const int iDays = static_cast<int>(llDays % 7);

    if (llMinutes < 60)
    {
        return SNPrintF(szOut, iCapacity, "%d minutes", iMinutes);
    }
    if (llDays < 1)
    {
        return iMinutes == 0
                   ? SNPrintF(szOut, iCapacity, "%d hours", iHours)
                   : SNPrintF(szOut, iCapacity, "%d hours and %d minutes", iHours, iMinutes);
    }
    if (llDays < 7)
    {
        return iHours == 0 ? SNPrintF(szOut, iCapacity, "%d days", iDays)
                           : SNPrintF(szOut, iCapacity, "%d days and %d hours", iDays, iHours);
    }
    return iDays == 0 ? SNPrintF(szOut, iCapacity, "%lld weeks", llDays / 7)
                      : SNPrintF(szOut, iCapacity, "%lld weeks and %d days", llDays / 7, iDays);
}

void GetByteCountString(unsigned long long ullBytes, std::string& strOut)
{
    WriteAmount(static_cast<double>(ullBytes), kByteUnits, strOut);
}

void GetByteCountString(unsigned long long ullBytes, std::wstring& wsOut)
{
    WriteAmount(static_cast<double>(ullBytes), kByteUnits, wsOut);
}

// The rate is multiplied as a double: the factor 8 only changes the exponent, so nothing is
// rounded, and no product is too large.

void GetBitrateString(unsigned long long ullBytesPerSecond, std::string& strOut)
{
    WriteAmount(static_cast<double>(ullBytesPerSecond) * 8, kBitrateUnits, strOut);
}

void GetBitrateString(unsigned long long ullBytesPerSecond, std::wstring& wsOut)
{
    WriteAmount(static_cast<double>(ullBytesPerSecond) * 8, kBitrateUnits, wsOut);
}

} // namespace mu
