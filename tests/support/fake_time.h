#ifndef ZOR_TESTS_SUPPORT_FAKE_TIME_H
#define ZOR_TESTS_SUPPORT_FAKE_TIME_H

#include <cstdlib>
#include <ctime>

/// What time() answers for a scope in a test that links fake_time.cpp, in seconds since 1970-01-01,
/// UTC, and the time zone (POSIX TZ). In such a test the library sets this time and no clock.
/// Threads that ask start after a change.
class CFakeTime
{
public:
    explicit CFakeTime(long long llTime, const char* szZone = "UTC0")
    {
        ::setenv("TZ", szZone, 1);
        ::tzset();
        Set(llTime);
    }
    ~CFakeTime() { Set(-1); }
    static void Set(long long llTime) { s_llTime = llTime; }

    inline static long long s_llTime = -1; ///< the system's
};

#endif
