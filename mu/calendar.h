#ifndef ZOR_MU_CALENDAR_H
#define ZOR_MU_CALENDAR_H

#include <array>
#include <compare>
#include <ctime>
#include <string>

namespace mu
{

// Dates and times of the proleptic Gregorian calendar, without time zones: components are local
// time or UTC, as the caller means them. Nothing here keeps state. Every value of every argument
// is safe: what has no meaning gives the stated fallback, and numbers that outgrow a field wrap
// around at its 32 bits.

struct STimeComponents
{
    int m_iYear = 0;  ///< in full: 2014
    int m_iMonth = 0; ///< 1 to 12
    int m_iDay = 0;   ///< 1 to 31
    int m_iHour = 0;
    int m_iMinute = 0;
    int m_iSecond = 0;

    /// Ordered by year, month, day, hour, minute and second.
    // NOLINTNEXTLINE(modernize-use-nullptr): the check takes the operator's result for a pointer
    auto operator<=>(const STimeComponents&) const = default;

    int GetNumDaySeconds() const;
    int GetNumDayMinutes() const;
    /// Sets the time of day and keeps the date. False, with nothing changed, if there is no such
    /// second in a day (0 to 86399).
    bool SetFromNumDaySeconds(int iSeconds);

    /// Seconds from 1970-01-01 00:00:00 to these components; 0 if the month is not 1 to 12. The
    /// day and the time of day may lie outside their ranges and count on from there.
    /// Exact from 1901-01-01 to 2099-12-31. A day early throughout 2100 and each later year that
    /// ends a century without being a leap year (2200, 2300, 2500, ...), and from 1601 to 1900;
    /// exact in all other years.
    long long GetStandardTimeValue() const;

    /// Sets all six fields from seconds since 1970-01-01 00:00:00. Exact from 0 to 4133980799,
    /// which is 2100-12-31 23:59:59. Beyond that, a year that ends a century without being a leap
    /// year (2100, 2200, ...) counts as one of 366 days: day 366 comes out as day 1 of month 13,
    /// and each such year makes all later dates one day early. Before 1970 the month and the year
    /// are those in which a cycle of four years begins, and the other fields negative numbers that
    /// count back from there.
    void FromStandardTimeValue(long long llSeconds);
};

/// A file and its time: seconds since 1970-01-01, UTC.
struct SFileAndTime
{
    std::wstring m_wsName;
    unsigned long long m_llTime;
};

/// The ordering that sorts a list of files from the oldest to the newest.
inline bool IsTimeBefore(const SFileAndTime& a, const SFileAndTime& b)
{
    return a.m_llTime < b.m_llTime;
}

/// By the number of the month; 0 is "Undefined".
extern const std::array<const wchar_t*, 13> g_vMonthNames;

bool IsLeapYear(int iYear);
/// 0 for a month outside 1 to 12.
int GetNumDaysInMonth(int iMonth, int iYear);
/// 1 is Sunday, 7 Saturday. Exact from year 1 on; outside the calendar it may be any number from
/// -5 to 7.
int CalcDayOfWeek(const STimeComponents& time);
/// "Undefined" outside 1 to 12.
const wchar_t* GetMonthName(int iMonth);
/// 1 is "Sunday"; "Undefined" outside 1 to 7.
const char* GetDayOfWeekName(int iDay);

void StandardTimeStructToTimeComponents(const std::tm* pTime, STimeComponents& time);
/// Leaves the fields for which there is no component as they were: set tm_isdst.
void TimeComponentsToStandardTimeStruct(std::tm* pTime, const STimeComponents& time);

/// Whether this can be the present, which tells whether the device's clock was ever set: a year
/// from 2013 to 2112, and every other field in its range (each month may have 31 days).
bool IsCurrentTimeSane(const STimeComponents& time);

// The form YYYY/MM/DD HH:MM:SS.

/// Writes the 19 characters and a NUL and returns 19. With a capacity below 20 the text is empty
/// and the result 0. Only the last four digits of a year and the last two of another field are
/// written; a negative field gives the characters that far below '0'.
template <typename TChar>
int GetTimeComponentsAsString_T(const STimeComponents& time, TChar* pOut, int iCapacity);
extern template int GetTimeComponentsAsString_T(const STimeComponents&, char*, int);
extern template int GetTimeComponentsAsString_T(const STimeComponents&, wchar_t*, int);
int GetTimeComponentsAsChars(const STimeComponents& time, char* szOut, int iCapacity);
int GetTimeComponentsAsChars(const STimeComponents& time, wchar_t* wszOut, int iCapacity);
void GetTimeComponentsAsString(const STimeComponents& time, std::string& strOut);
/// Unlike the others, writes numbers that are too long for the form in full, with their sign.
void GetTimeComponentsAsString(const STimeComponents& time, std::wstring& wsOut);
/// Reads the form from the text's beginning; anything may follow. False, with nothing changed, if
/// it is not there. The numbers are not checked against their ranges.
bool GetTimeComponentsFromString(const std::wstring& wsText, STimeComponents& time);

// Spans of time. Nothing is rounded, and plural forms stand for 1 as well. A negative span shows
// only its minutes or seconds (beyond whole hours or minutes), or, in the short form, its time
// beyond whole days. The text is cut to the capacity; the result is the length that it has in
// full, as with snprintf.

/// "%ds" up to 59 seconds, then "%02d:%02d:%02d", "%dd ..." from a day and "%dw %dd ..." from a
/// week.
int GetShortTimeSpanString(long long llSeconds, char* szOut, int iCapacity);
/// "%d seconds", "%d minutes and %d seconds", or as GetTimeSpanStringMinutes().
int GetTimeSpanString(long long llSeconds, char* szOut, int iCapacity);
/// The two largest units: "%d hours and %d minutes", or one if the smaller is 0.
int GetTimeSpanStringMinutes(long long llMinutes, char* szOut, int iCapacity);

// Amounts, in multiples of 1024, with a decimal point in every locale.

/// "1023 bytes", "1.0 KB", "1.00 MB", "1.000 GB".
void GetByteCountString(unsigned long long ullBytes, std::string& strOut);
void GetByteCountString(unsigned long long ullBytes, std::wstring& wsOut);
/// "1016 bps", "1.0 Kbps", "1.00 Mb/s", "1.000 Gb/s": eight times the bytes.
void GetBitrateString(unsigned long long ullBytesPerSecond, std::string& strOut);
void GetBitrateString(unsigned long long ullBytesPerSecond, std::wstring& wsOut);

} // namespace mu

#endif
