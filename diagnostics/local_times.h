#ifndef ZOR_DIAGNOSTICS_LOCAL_TIMES_H
#define ZOR_DIAGNOSTICS_LOCAL_TIMES_H

#include <ctime>

#include "mu/calendar.h"

namespace mu
{

/// The local time in a crash. localtime_r(3) takes a lock, which the crashed thread may hold, so
/// all changes of the zone's offset are asked for beforehand.
class CLocalTimes
{
public:
    /// Takes the time zone that is set now (tzset(3)). Needs some milliseconds; not for signal
    /// handlers.
    void Load();

    /// The local time of a moment from 1970 to 2100; UTC if nothing is loaded. Any thread and any
    /// signal handler may call it.
    mu::STimeComponents At(std::time_t tMoment) const;

private:
    struct SChange
    {
        std::time_t m_tFrom;
        long m_iOffset; // seconds east of Greenwich
    };
    void FindChanges(std::time_t tFrom, std::time_t tTo);

    // Four a year, as some zones have for decades. Further changes would be missed.
    static constexpr int kMostChanges = 600;
    SChange m_vChanges[kMostChanges] = {};
    int m_iChanges = 0;
};

} // namespace mu

#endif
