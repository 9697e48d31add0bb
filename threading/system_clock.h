#ifndef ZOR_THREADING_SYSTEM_CLOCK_H
#define ZOR_THREADING_SYSTEM_CLOCK_H

#include <ctime>

namespace mu
{

struct STimeComponents;

// Times are seconds since 1970-01-01 00:00:00 UTC, timestamps microseconds. Any thread may call
// any of these.

/// The timer clock (threading/precise_timer.h): for intervals, not for dates.
long long GetTimestamp();
/// Seconds in microseconds; beyond the range of a timestamp, the largest one.
long long GetTimestamp(unsigned long long ullSeconds);
long long GetTimeVarFromTimestamp(long long llTimestamp);

long long GetCurrentUTCTime();
long long GetCurrentTimestampInteger(); ///< the same
double GetCurrentTimestampDouble();     ///< the same

/// False, with all fields 0, for a time that the system's calendar does not hold.
bool GetLocalTimeComponents(long long llSeconds, STimeComponents& time);
/// Stores and returns the time; -1 if the system's calendar does not hold it.
long long SetLocalTimeComponents(long long& llSeconds, const STimeComponents& time);
/// The same in UTC, with the formulas and the range of STimeComponents.
void GetTimeComponents(long long llSeconds, STimeComponents& time);
long long SetTimeComponents(long long& llSeconds, const STimeComponents& time);

/// Is told when SetCurrentLocalTimeComponents() has set the clock, on the same thread and before
/// that call returns.
class IClockListener
{
public:
    virtual void HandleClockSet() = 0;

protected:
    ~IClockListener() = default;
};

/// Null takes the listener away. A listener must live as long as another thread may be setting the
/// clock.
void SetClockListener(IClockListener* pListener);

/// Sets the system's clock and the hardware clock to a local time. A failure is logged, and the
/// other clock is set all the same. Does nothing while another call runs.
void SetCurrentLocalTimeComponents(const STimeComponents& time);
/// Whether SetCurrentLocalTimeComponents() runs.
bool IsClockBeingSet();
/// How often it ran.
int GetNumClockChanges();

// Its two steps, which take privileges. 0, or -1 after logging why.

int settime(const std::timespec* pTime);
/// "/dev/rtc0"
int hwclock(std::tm* pTime);

} // namespace mu

#endif
