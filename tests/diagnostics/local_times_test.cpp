#include "diagnostics/local_times.h"

#include "tests/support/testing.h"

TEST(LocalTimes, AreTheCLibrarysAroundEveryHour)
{
    for (const char* const szZone :
         {"CET-1CEST,M3.5.0,M10.5.0/3", "<-0330>3:30", "Africa/Casablanca"})
    {
        ::setenv("TZ", szZone, 1);
        mu::CLocalTimes times;
        times.Load();
        for (std::time_t tHour = 0; tHour < 2'000'000'000; tHour += 3600 * 7)
            for (const std::time_t t : {tHour, tHour + 3599, tHour + 3600})
            {
                std::tm tm = {};
                mu::STimeComponents expected;
                mu::StandardTimeStructToTimeComponents(::localtime_r(&t, &tm), expected);
                ASSERT_EQ(times.At(t), expected) << szZone << " " << t;
            }
    }
    ::unsetenv("TZ");
}
