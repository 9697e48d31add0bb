#include "mu/calendar.h"

#include "mu/unicode.h"
#include "tests/support/comma_locale.h"
#include "tests/support/testing.h"

namespace
{

using mu::STimeComponents;
using Days = std::chrono::sys_days;
using std::chrono::year;

constexpr long long kDay = 86400;

int Int(auto number)
{
    return static_cast<int>(static_cast<unsigned int>(number));
}

std::string Text(const STimeComponents& time)
{
    std::wstring wsText;
    mu::GetTimeComponentsAsString(time, wsText);
    return mu::WideStringToNarrow(wsText);
}

// Holds both directions against the standard library's calendar, which has its own arithmetic.
TEST(Calendar, AgreesWithTheLibraryOnEveryDay)
{
    for (Days day = year(1970) / 1 / 1; day < Days(year(2101) / 1 / 1); day += std::chrono::days(1))
    {
        const std::chrono::year_month_day date = day;
        const int iYear = static_cast<int>(date.year());
        const int iMonth = Int(date.month());
        const auto lastOfMonth = (date.year() / date.month() / std::chrono::last).day();
        const long long llDays = day.time_since_epoch().count();
        const int iSecond = static_cast<int>(llDays * 7919 % kDay);
        const long long llSeconds = llDays * kDay + iSecond;
        STimeComponents time;
        time.FromStandardTimeValue(llSeconds);
        ASSERT_EQ(time, (STimeComponents{iYear, iMonth, Int(date.day()), iSecond / 3600,
                                         iSecond / 60 % 60, iSecond % 60}));
        ASSERT_EQ(time.GetNumDayMinutes(), iSecond / 60);
        STimeComponents sameDay = {iYear, iMonth, Int(date.day()), 1, 2, 3};
        ASSERT_TRUE(!sameDay.SetFromNumDaySeconds(-1) && !sameDay.SetFromNumDaySeconds(86400));
        ASSERT_TRUE(sameDay.SetFromNumDaySeconds(iSecond) && sameDay == time) << Text(sameDay);
        ASSERT_EQ(time.GetStandardTimeValue(), llSeconds - (iYear == 2100 ? kDay : 0));
        ASSERT_EQ(mu::GetNumDaysInMonth(iMonth, iYear), Int(lastOfMonth));

        std::tm tmTime = {};
        mu::TimeComponentsToStandardTimeStruct(&tmTime, time);
        const auto tTime = static_cast<std::time_t>(llSeconds);
        ASSERT_TRUE(tTime != llSeconds || ::timegm(&tmTime) == tTime) << Text(time);
        tmTime.tm_wday = Int(std::chrono::weekday(day).c_encoding());
        char szNames[30];
        std::strftime(szNames, sizeof(szNames), "%B %A", &tmTime);
        const int iDayOfWeek = mu::CalcDayOfWeek(time);
        ASSERT_EQ(mu::WideStringToNarrow(mu::GetMonthName(iMonth)) + " " +
                      mu::GetDayOfWeekName(iDayOfWeek),
                  szNames);
        ASSERT_EQ(iDayOfWeek, tmTime.tm_wday + 1);
    }
}

TEST(Calendar, SecondsOfDatesFarOffAndBack)
{
    using TCase = std::pair<STimeComponents, long long>;
    // A day early from 1601 to 1900 and in most later years that end in 00.
    const TCase kSeconds[] = {
        {{2200, 1, 1}, 7258118400 - kDay},   {{1900, 12, 31}, -2177539200 - kDay},
        {{1901, 1, 1}, -2177452800},         {{1970, 1, 32, 24, 0, 0}, 32 * kDay},
        {{1601, 1, 1}, -11644473600 - kDay}, {{INT_MAX, 12, 31}, 67767976233446400},
        {{1600, 12, 31}, -11644560000},      {{INT_MIN, 1, 1}, -67768100567971200},
    };
    for (const auto& [time, llSeconds] : kSeconds)
        EXPECT_EQ(time.GetStandardTimeValue(), llSeconds) << Text(time);
    const TCase kDates[] = {
        {{2100, 13, 1}, 4133980800}, // month 13
        {{1970, 1, -1459}, -1460 * kDay},
        {{1966, 1, 1, 0, -1, -1}, -1461 * kDay - 61},
        // The years are 292271025015 and -292271021074 without their upper halves.
        {{213248887, 4, 25, 15, 30, 7}, LLONG_MAX},
        {{-213244946, 1, -478, -15, -30, -8}, LLONG_MIN},
    };
    for (const auto& [expected, llSeconds] : kDates)
    {
        STimeComponents time;
        time.FromStandardTimeValue(llSeconds);
        EXPECT_EQ(time, expected) << Text(time);
    }
}

TEST(Calendar, OnlyTimesOfTheDevicesLifeAreSane)
{
    EXPECT_TRUE(mu::IsCurrentTimeSane({2013, 1, 1, 0, 0, 0}));
    EXPECT_TRUE(mu::IsCurrentTimeSane({2112, 12, 31, 23, 59, 59}));
    for (const int iNumber : {INT_MIN, -1, 0, 13, 60, INT_MAX}) // and no table is left
    {
        EXPECT_FALSE(mu::IsCurrentTimeSane({2014, iNumber, 1, 0, 0, 0}));
        EXPECT_EQ(mu::GetNumDaysInMonth(iNumber, iNumber), 0);
        EXPECT_EQ(mu::GetMonthName(iNumber), mu::g_vMonthNames[0]);
        EXPECT_STREQ(mu::GetDayOfWeekName(iNumber), "Undefined");
    }
}

TEST(Calendar, FormOfATime)
{
    const std::tuple<STimeComponents, const char*, const char*> kCases[] = {
        {{12345, 678, 100, 99, 101, 60}, "2345/78/00 99:01:60", "12345/678/100 99:101:60"},
        {{-1, -2, -34}, "000//0./-, 00:00:00", "-001/-2/-34 00:00:00"},
        {{INT_MIN, INT_MIN, INT_MIN, INT_MIN, INT_MIN, INT_MIN},
         "-*,(/,(/,( ,(:,(:,(",
         "-2147483648/-2147483648/-2147483648 -2147483648:-2147483648:-2147483648"},
    };
    for (const auto& [time, szFixed, szFull] : kCases)
    {
        EXPECT_EQ(Text(time), szFull);
        std::string strText;
        mu::GetTimeComponentsAsString(time, strText);
        EXPECT_EQ(strText, szFixed);
        for (const int iCapacity : {0, 19, 20, INT_MAX})
        {
            const std::string strWritten = iCapacity < 20 ? "" : strText;
            const int iLength = static_cast<int>(strWritten.size());
            char szNarrow[21] = "?";
            wchar_t wszWide[21] = L"?";
            EXPECT_EQ(mu::GetTimeComponentsAsChars(time, szNarrow, iCapacity), iLength);
            EXPECT_EQ(mu::GetTimeComponentsAsChars(time, wszWide, iCapacity), iLength);
            EXPECT_EQ(szNarrow, iCapacity == 0 ? "?" : strWritten);
            EXPECT_EQ(mu::WideStringToNarrow(wszWide), szNarrow);
        }
    }
}

TEST(Calendar, ReadsTheFormAndNothingElse)
{
    const std::wstring wsGood = L"9876/54/32 10:98:76";
    STimeComponents time;
    EXPECT_TRUE(mu::GetTimeComponentsFromString(wsGood + L".5Z", time));
    for (std::size_t i = 0; i < wsGood.size(); ++i)
    {
        EXPECT_FALSE(mu::GetTimeComponentsFromString(wsGood.substr(0, i), time)) << i;
        // Neighbours of the digits, a digit of another script, one that is '0' in its low byte.
        for (const wchar_t ch : {L'/', L':', L' ', L'\0', L'\x0660', L'\x0130'})
        {
            std::wstring wsBad = wsGood;
            wsBad[i] = ch;
            EXPECT_EQ(mu::GetTimeComponentsFromString(wsBad, time), wsBad == wsGood) << i;
        }
    }
    EXPECT_EQ(time, (STimeComponents{9876, 54, 32, 10, 98, 76}));
}

TEST(Calendar, SpansOfTime)
{
    const std::tuple<long long, const char*, const char*, const char*> kCases[] = {
        {59, "59s", "59 seconds", "59 minutes"},
        {-90, "00:-1:-30", "-30 seconds", "-30 minutes"},
        {60, "00:01:00", "1 minutes", "1 hours"},
        {61, "00:01:01", "1 minutes and 1 seconds", "1 hours and 1 minutes"},
        {3600, "01:00:00", "1 hours", "2 days and 12 hours"},
        {86400, "1d 00:00:00", "1 days", "8 weeks and 4 days"},
        {1499, "00:24:59", "24 minutes and 59 seconds", "1 days"},
        {90061, "1d 01:01:01", "1 days and 1 hours", "8 weeks and 6 days"},
        {604800, "1w 0d 00:00:00", "1 weeks", "60 weeks"},
        {LLONG_MAX, "15250284452471w 3d 15:30:07", "15250284452471 weeks and 3 days",
         "915017067148291 weeks and 1 days"},
        {LLONG_MIN, "-15:-30:-8", "-8 seconds", "-8 minutes"},
    };
    const auto expect = [](auto* pWrite, long long llSpan, const std::string& strText)
    {
        const int iLength = static_cast<int>(strText.size());
        char szText[64];
        for (const int iCapacity : {iLength, iLength + 1})
        {
            EXPECT_EQ(pWrite(llSpan, szText, iCapacity), iLength);
            EXPECT_EQ(szText, strText.substr(0, static_cast<std::size_t>(iCapacity) - 1));
        }
        EXPECT_EQ(pWrite(llSpan, nullptr, 0), iLength);
    };
    for (const auto& [llSpan, szShort, szLong, szMinutes] : kCases)
    {
        expect(mu::GetShortTimeSpanString, llSpan, szShort);
        expect(mu::GetTimeSpanString, llSpan, szLong);
        expect(mu::GetTimeSpanStringMinutes, llSpan, szMinutes);
    }
}

TEST(Calendar, AmountsInEveryLocale)
{
    const std::tuple<unsigned long long, const char*, const char*> kCases[] = {
        {127, "127 bytes", "1016 bps"},
        {1023, "1023 bytes", "8.0 Kbps"},
        {134217728, "128.00 MB", "1.000 Gb/s"},
        {1076, "1.1 KB", "8.4 Kbps"},
        {1073741823, "1024.00 MB", "8.000 Gb/s"},
        {131072, "128.0 KB", "1.00 Mb/s"},
        {ULLONG_MAX, "17179869184.000 GB", "137438953472.000 Gb/s"},
    };
    const CCommaLocale comma;
    ASSERT_TRUE(comma.IsActive());
    for (const auto& [ullBytes, szCount, szBitrate] : kCases)
    {
        std::string strCount, strBitrate;
        std::wstring wsCount, wsBitrate;
        mu::GetByteCountString(ullBytes, strCount), mu::GetByteCountString(ullBytes, wsCount);
        mu::GetBitrateString(ullBytes, strBitrate), mu::GetBitrateString(ullBytes, wsBitrate);
        EXPECT_EQ(strCount + " " + strBitrate, szCount + std::string(" ") + szBitrate);
        EXPECT_EQ(mu::WideStringToNarrow(wsCount + L" " + wsBitrate), strCount + " " + strBitrate);
    }
}

} // namespace
