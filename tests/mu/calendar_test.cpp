#include "mu/calendar.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <ctime>
#include <string>

#include <gtest/gtest.h>

#include "mu/unicode.h"
#include "tests/support/comma_locale.h"

namespace
{

using mu::STimeComponents;
using Days = std::chrono::sys_days;
using std::chrono::year;

constexpr long long kSecondsPerDay = 86400;

std::string Text(const STimeComponents& time)
{
    std::wstring wsText;
    mu::GetTimeComponentsAsString(time, wsText);
    return mu::WideStringToNarrow(wsText);
}

// Holds both directions against the C library, where its time_t has room, and against the standard
// library's calendar, which has its own arithmetic.
TEST(Calendar, AgreesWithTheLibrariesOnEveryDay)
{
    for (Days day = year(1970) / 1 / 1; day < Days(year(2101) / 1 / 1); day += std::chrono::days(1))
    {
        const std::chrono::year_month_day date = day;
        const long long llDays = day.time_since_epoch().count();
        const int iSecondOfDay = static_cast<int>(llDays * 7919 % kSecondsPerDay);
        const long long llSeconds = llDays * kSecondsPerDay + iSecondOfDay;

        STimeComponents expected = {static_cast<int>(date.year()),
                                    static_cast<int>(static_cast<unsigned>(date.month())),
                                    static_cast<int>(static_cast<unsigned>(date.day())),
                                    iSecondOfDay / 3600,
                                    iSecondOfDay / 60 % 60,
                                    iSecondOfDay % 60};
        STimeComponents time;
        time.FromStandardTimeValue(llSeconds);
        ASSERT_EQ(Text(time), Text(expected));
        ASSERT_EQ(time.GetNumDaySeconds(), iSecondOfDay);
        ASSERT_EQ(time.GetNumDayMinutes(), iSecondOfDay / 60);
        const bool bDayEarly = expected.m_iYear == 2100;
        ASSERT_EQ(time.GetStandardTimeValue(), llSeconds - (bDayEarly ? kSecondsPerDay : 0))
            << Text(time);
        ASSERT_EQ(mu::CalcDayOfWeek(time),
                  static_cast<int>(std::chrono::weekday(day).c_encoding()) + 1)
            << Text(time);
        const auto lastOfMonth = (date.year() / date.month() / std::chrono::last).day();
        ASSERT_EQ(mu::GetNumDaysInMonth(time.m_iMonth, time.m_iYear),
                  static_cast<int>(static_cast<unsigned>(lastOfMonth)));

        const auto tTime = static_cast<std::time_t>(llSeconds);
        if (tTime == llSeconds)
        {
            std::tm tmTime = {};
            ASSERT_NE(::gmtime_r(&tTime, &tmTime), nullptr);
            STimeComponents fromLibrary;
            mu::StandardTimeStructToTimeComponents(&tmTime, fromLibrary);
            ASSERT_EQ(Text(fromLibrary), Text(time));
            tmTime = {};
            mu::TimeComponentsToStandardTimeStruct(&tmTime, time);
            ASSERT_EQ(::timegm(&tmTime), tTime) << Text(time);
        }
    }
}

struct SSecondsCase
{
    const char* szRule;
    STimeComponents time;
    long long llSeconds;
};

TEST(Calendar, SecondsOfDatesFarOff)
{
    constexpr SSecondsCase kCases[] = {
        {"epoch", {1970, 1, 1, 0, 0, 0}, 0},
        {"leap day of a leap century", {2000, 2, 29, 23, 59, 59}, 951868799},
        {"a day early in 2100", {2100, 12, 31, 0, 0, 0}, 4133894400 - kSecondsPerDay},
        {"right again in 2101", {2101, 1, 1, 0, 0, 0}, 4133980800},
        {"a day early in 2200", {2200, 1, 1, 0, 0, 0}, 7258118400 - kSecondsPerDay},
        {"first right one", {1901, 1, 1, 0, 0, 0}, -2177452800},
        {"a day early up to 1900", {1900, 12, 31, 0, 0, 0}, -2177539200 - kSecondsPerDay},
        {"a day early from 1601", {1601, 1, 1, 0, 0, 0}, -11644473600 - kSecondsPerDay},
        {"right up to 1600", {1600, 12, 31, 0, 0, 0}, -11644560000},
        {"year 0", {0, 3, 1, 0, 0, 0}, -62162035200},
        {"month below", {2000, 0, 1, 0, 0, 1}, 0},
        {"month above", {2000, 13, 1, 0, 0, 1}, 0},
        {"lowest month", {2000, INT_MIN, 1, 0, 0, 1}, 0},
        {"day beyond its month", {1970, 1, 32, 24, 0, 0}, 32 * kSecondsPerDay},
        {"last year", {INT_MAX, 12, 31, 0, 0, 0}, 67767976233446400},
        {"first year", {INT_MIN, 1, 1, 0, 0, 0}, -67768100567971200},
    };
    for (const SSecondsCase& row : kCases)
    {
        EXPECT_EQ(row.time.GetStandardTimeValue(), row.llSeconds) << row.szRule;
    }
}

TEST(Calendar, DatesOfSecondsFarOff)
{
    constexpr SSecondsCase kCases[] = {
        {"last right one", {2100, 12, 31, 23, 59, 59}, 4133980799},
        {"month 13", {2100, 13, 1, 0, 0, 0}, 4133980800},
        {"its end", {2100, 13, 1, 23, 59, 59}, 4134067199},
        {"a day early after it", {2101, 1, 1, 0, 0, 0}, 4134067200},
        {"a second before the epoch", {1970, 1, 1, 0, 0, -1}, -1},
        {"a day before it", {1970, 1, 0, 0, 0, 0}, -86400},
        {"a cycle's last day before it", {1970, 1, -1459, 0, 0, 0}, -1460 * kSecondsPerDay},
        {"a cycle before it", {1966, 1, 1, 0, -1, -1}, -1461 * kSecondsPerDay - 61},
        // The years are 292271025015 and -292271021074 without their upper halves.
        {"last second", {213248887, 4, 25, 15, 30, 7}, LLONG_MAX},
        {"first second", {-213244946, 1, -478, -15, -30, -8}, LLONG_MIN},
    };
    for (const SSecondsCase& row : kCases)
    {
        STimeComponents time;
        time.FromStandardTimeValue(row.llSeconds);
        EXPECT_EQ(Text(time), Text(row.time)) << row.szRule;
    }
}

// What the sanitizers are to look at; the results have no meaning.
TEST(Calendar, NoNumberOverflowsOrLeavesATable)
{
    constexpr int kNumbers[] = {INT_MIN, INT_MIN + 1, -101, -13, -1,          0,
                                8,       12,          13,   100, INT_MAX - 1, INT_MAX};
    for (const int iFirst : kNumbers)
    {
        for (const int iSecond : kNumbers)
        {
            const STimeComponents time = {iFirst, iSecond, iFirst, iSecond, iFirst, iSecond};
            EXPECT_GE(mu::CalcDayOfWeek(time), -5);
            EXPECT_LE(mu::CalcDayOfWeek(time), 7);
            EXPECT_EQ(time.GetStandardTimeValue() == 0, iSecond < 1 || iSecond > 12);
            std::tm tmTime = {};
            mu::TimeComponentsToStandardTimeStruct(&tmTime, time);
            STimeComponents again;
            mu::StandardTimeStructToTimeComponents(&tmTime, again);
            EXPECT_EQ(again, time);
            STimeComponents inverse;
            inverse.FromStandardTimeValue(time.GetStandardTimeValue());
            EXPECT_EQ(mu::GetNumDaysInMonth(iSecond, iFirst) == 0, iSecond < 1 || iSecond > 12);
            EXPECT_EQ(mu::GetMonthName(iSecond) == mu::g_vMonthNames[0],
                      iSecond < 1 || iSecond > 12);
            EXPECT_EQ(mu::GetDayOfWeekName(iSecond) == std::string("Undefined"),
                      iSecond < 1 || iSecond > 7);
        }
    }
}

TEST(Calendar, OrdersByTheLargestField)
{
    // Ascending; each is the smallest in all fields behind the one that makes it larger.
    constexpr STimeComponents kTimes[] = {
        {INT_MIN, 9, 9, 9, 9, 9}, {-1, 9, 9, 9, 9, 9}, {0, -1, 9, 9, 9, 9}, {0, 0, -1, 9, 9, 9},
        {0, 0, 0, -1, 9, 9},      {0, 0, 0, 0, -1, 9}, {0, 0, 0, 0, 0, -1}, {},
    };
    EXPECT_TRUE(std::is_sorted(std::begin(kTimes), std::end(kTimes), std::less<>()));
    EXPECT_EQ(std::adjacent_find(std::begin(kTimes), std::end(kTimes)), std::end(kTimes));
}

TEST(Calendar, NamesAndLeapYears)
{
    EXPECT_STREQ(mu::GetMonthName(1), L"January");
    EXPECT_STREQ(mu::GetMonthName(12), L"December");
    EXPECT_STREQ(mu::GetDayOfWeekName(1), "Sunday");
    EXPECT_STREQ(mu::GetDayOfWeekName(7), "Saturday");
    EXPECT_EQ(mu::GetNumDaysInMonth(2, 1900), 28);
    EXPECT_EQ(mu::GetNumDaysInMonth(2, 1996), 29);
    EXPECT_EQ(mu::GetNumDaysInMonth(2, -400), 29);
}

TEST(Calendar, TimeOfDayIsSetOnlyWithinADay)
{
    STimeComponents time = {2014, 5, 6, 7, 8, 9};
    EXPECT_FALSE(time.SetFromNumDaySeconds(-1));
    EXPECT_FALSE(time.SetFromNumDaySeconds(86400));
    EXPECT_EQ(time, (STimeComponents{2014, 5, 6, 7, 8, 9}));
    EXPECT_TRUE(time.SetFromNumDaySeconds(86399));
    EXPECT_EQ(time, (STimeComponents{2014, 5, 6, 23, 59, 59}));
    EXPECT_TRUE(time.SetFromNumDaySeconds(0));
    EXPECT_EQ(time, (STimeComponents{2014, 5, 6, 0, 0, 0}));
}

TEST(Calendar, SaneTimesAreThoseOfTheDevicesLife)
{
    constexpr STimeComponents kSane[] = {
        {2013, 1, 1, 0, 0, 0}, {2112, 12, 31, 23, 59, 59}, {2014, 2, 31, 0, 0, 0}};
    constexpr STimeComponents kInsane[] = {
        {2012, 12, 31, 23, 59, 59}, {2113, 1, 1, 0, 0, 0},  {-2014, 1, 1, 0, 0, 0},
        {2014, 0, 1, 0, 0, 0},      {2014, 13, 1, 0, 0, 0}, {2014, 1, 0, 0, 0, 0},
        {2014, 1, 32, 0, 0, 0},     {2014, 1, 1, -1, 0, 0}, {2014, 1, 1, 24, 0, 0},
        {2014, 1, 1, 0, -1, 0},     {2014, 1, 1, 0, 60, 0}, {2014, 1, 1, 0, 0, -1},
        {2014, 1, 1, 0, 0, 60},
    };
    for (const STimeComponents& time : kSane)
    {
        EXPECT_TRUE(mu::IsCurrentTimeSane(time)) << Text(time);
    }
    for (const STimeComponents& time : kInsane)
    {
        EXPECT_FALSE(mu::IsCurrentTimeSane(time)) << Text(time);
    }
}

struct SFormCase
{
    STimeComponents time;
    const char* szFixed;
    const char* szFull;
};

TEST(Calendar, FormOfATime)
{
    constexpr SFormCase kCases[] = {
        {{2014, 1, 2, 3, 4, 5}, "2014/01/02 03:04:05", "2014/01/02 03:04:05"},
        {{}, "0000/00/00 00:00:00", "0000/00/00 00:00:00"},
        {{12345, 678, 100, 99, 101, 60}, "2345/78/00 99:01:60", "12345/678/100 99:101:60"},
        {{-1, -2, -34, 0, 0, 0}, "000//0./-, 00:00:00", "-001/-2/-34 00:00:00"},
        {{INT_MIN, INT_MIN, INT_MIN, INT_MIN, INT_MIN, INT_MIN},
         "-*,(/,(/,( ,(:,(:,(",
         "-2147483648/-2147483648/-2147483648 -2147483648:-2147483648:-2147483648"},
    };
    for (const SFormCase& row : kCases)
    {
        EXPECT_EQ(Text(row.time), row.szFull);
        std::string strText;
        mu::GetTimeComponentsAsString(row.time, strText);
        EXPECT_EQ(strText, row.szFixed);

        for (const int iCapacity : {INT_MIN, -1, 0, 1, 19, 20, INT_MAX})
        {
            SCOPED_TRACE(iCapacity);
            std::string strNarrow(21, 'x');
            std::wstring wsWide(21, L'x');
            const int iLength = iCapacity < 20 ? 0 : 19;
            EXPECT_EQ(mu::GetTimeComponentsAsChars(row.time, strNarrow.data(), iCapacity), iLength);
            EXPECT_EQ(mu::GetTimeComponentsAsChars(row.time, wsWide.data(), iCapacity), iLength);

            std::string strExpected(21, 'x');
            if (iCapacity > 0)
            {
                const std::string strWritten(iLength == 0 ? "" : row.szFixed);
                strExpected.replace(0, strWritten.size() + 1, strWritten.c_str(),
                                    strWritten.size() + 1);
            }
            EXPECT_EQ(strNarrow, strExpected);
            EXPECT_EQ(mu::WideStringToNarrow(wsWide), strExpected);
        }
    }
}

TEST(Calendar, ReadsTheFormAndNothingElse)
{
    const std::wstring wsGood = L"9876/54/32 10:98:76";
    const STimeComponents kUnchanged = {1, 2, 3, 4, 5, 6};
    STimeComponents time;
    for (const wchar_t* wszTail : {L"", L"x", L"0", L".5Z"})
    {
        time = kUnchanged;
        EXPECT_TRUE(mu::GetTimeComponentsFromString(wsGood + wszTail, time));
        EXPECT_EQ(time, (STimeComponents{9876, 54, 32, 10, 98, 76}));
    }

    time = kUnchanged;
    for (std::size_t i = 0; i < wsGood.size(); ++i)
    {
        EXPECT_FALSE(mu::GetTimeComponentsFromString(wsGood.substr(0, i), time)) << i;
        // Neighbours of the digits, a digit of another script, one that is '0' in its low byte.
        for (const wchar_t ch : {L'/', L':', L'-', L'+', L' ', L'\0', L'\x0660', L'\x0130', L'7'})
        {
            std::wstring wsBad = wsGood;
            wsBad[i] = ch;
            const bool bDigit = wsGood[i] >= L'0' && wsGood[i] <= L'9';
            if (bDigit ? ch != L'7' : ch != wsGood[i])
            {
                EXPECT_FALSE(mu::GetTimeComponentsFromString(wsBad, time)) << i;
            }
        }
    }
    EXPECT_EQ(time, kUnchanged);
}

struct SSpanCase
{
    int (*pWrite)(long long, char*, int);
    long long llSpan;
    const char* szText;
};

TEST(Calendar, SpansOfTime)
{
    constexpr auto Short = mu::GetShortTimeSpanString;
    constexpr auto Long = mu::GetTimeSpanString;
    constexpr auto Minutes = mu::GetTimeSpanStringMinutes;
    constexpr SSpanCase kCases[] = {
        {Short, 0, "0s"},
        {Short, -59, "-59s"},
        {Short, -60, "00:-1:00"},
        {Short, -90061, "-1:-1:-1"},
        {Short, 59, "59s"},
        {Short, 60, "00:01:00"},
        {Short, 86399, "23:59:59"},
        {Short, 86400, "1d 00:00:00"},
        {Short, 90061, "1d 01:01:01"},
        {Short, 604799, "6d 23:59:59"},
        {Short, 604800, "1w 0d 00:00:00"},
        {Short, LLONG_MAX, "15250284452471w 3d 15:30:07"},
        {Short, LLONG_MIN, "-15:-30:-8"},
        {Long, 0, "0 seconds"},
        {Long, 59, "59 seconds"},
        {Long, -90, "-30 seconds"},
        {Long, 60, "1 minutes"},
        {Long, 61, "1 minutes and 1 seconds"},
        {Long, 3599, "59 minutes and 59 seconds"},
        {Long, 3601, "1 hours"},
        {Long, LLONG_MAX, "15250284452471 weeks and 3 days"},
        {Long, LLONG_MIN, "-8 seconds"},
        {Minutes, 59, "59 minutes"},
        {Minutes, -90, "-30 minutes"},
        {Minutes, 60, "1 hours"},
        {Minutes, 61, "1 hours and 1 minutes"},
        {Minutes, 1439, "23 hours and 59 minutes"},
        {Minutes, 1440, "1 days"},
        {Minutes, 1499, "1 days"},
        {Minutes, 1500, "1 days and 1 hours"},
        {Minutes, 10079, "6 days and 23 hours"},
        {Minutes, 10080, "1 weeks"},
        {Minutes, 11520, "1 weeks and 1 days"},
        {Minutes, LLONG_MAX, "915017067148291 weeks and 1 days"},
        {Minutes, LLONG_MIN, "-8 minutes"},
    };
    for (const SSpanCase& row : kCases)
    {
        const std::string strText = row.szText;
        const int iLength = static_cast<int>(strText.size());
        char szText[64];
        EXPECT_EQ(row.pWrite(row.llSpan, szText, sizeof szText), iLength);
        EXPECT_EQ(szText, strText);
        EXPECT_EQ(row.pWrite(row.llSpan, szText, iLength), iLength);
        EXPECT_EQ(szText, strText.substr(0, strText.size() - 1));
        EXPECT_EQ(row.pWrite(row.llSpan, nullptr, 0), iLength);
    }
}

struct SAmountCase
{
    unsigned long long ullBytes;
    const char* szCount;
    const char* szBitrate;
};

TEST(Calendar, AmountsInEveryLocale)
{
    constexpr SAmountCase kCases[] = {
        {0, "0 bytes", "0 bps"},
        {127, "127 bytes", "1016 bps"},
        {128, "128 bytes", "1.0 Kbps"},
        {1023, "1023 bytes", "8.0 Kbps"},
        {1024, "1.0 KB", "8.0 Kbps"},
        {1075, "1.0 KB", "8.4 Kbps"},
        {1076, "1.1 KB", "8.4 Kbps"},
        {131071, "128.0 KB", "1024.0 Kbps"},
        {131072, "128.0 KB", "1.00 Mb/s"},
        {1048575, "1024.0 KB", "8.00 Mb/s"},
        {1048576, "1.00 MB", "8.00 Mb/s"},
        {134217727, "128.00 MB", "1024.00 Mb/s"},
        {134217728, "128.00 MB", "1.000 Gb/s"},
        {1073741823, "1024.00 MB", "8.000 Gb/s"},
        {1073741824, "1.000 GB", "8.000 Gb/s"},
        {2305843009213693952, "2147483648.000 GB", "17179869184.000 Gb/s"},
        {ULLONG_MAX, "17179869184.000 GB", "137438953472.000 Gb/s"},
    };
    const CCommaLocale comma;
    ASSERT_TRUE(comma.IsActive());
    for (const SAmountCase& row : kCases)
    {
        std::string strText = "before";
        std::wstring wsText = L"before";
        mu::GetByteCountString(row.ullBytes, strText);
        mu::GetByteCountString(row.ullBytes, wsText);
        EXPECT_EQ(strText, row.szCount);
        EXPECT_EQ(mu::WideStringToNarrow(wsText), row.szCount);
        mu::GetBitrateString(row.ullBytes, strText);
        mu::GetBitrateString(row.ullBytes, wsText);
        EXPECT_EQ(strText, row.szBitrate);
        EXPECT_EQ(mu::WideStringToNarrow(wsText), row.szBitrate);
    }
}

TEST(Calendar, FilesSortByUnsignedTime)
{
    EXPECT_TRUE(mu::IsTimeBefore({L"b", 1}, {L"a", ULLONG_MAX}));
    EXPECT_FALSE(mu::IsTimeBefore({L"a", 1}, {L"b", 1}));
}

} // namespace
