#ifndef ZOR_DIAGNOSTICS_LOCAL_TIMES_H
#define ZOR_DIAGNOSTICS_LOCAL_TIMES_H

#include <ctime>

#include "mu/calendar.h"

namespace mu
{

/// The local time for where localtime_r(3) may not be called: it locks, and whoever crashed may
/// hold that lock. All changes of the zone's offset are asked for beforehand.
class CLocalTimes
{
public:
    /// Takes the zone as it is now (tzset(3)). Some milliseconds; not for signal handlers.
    void Load();
    bool IsLoaded() const { return m_iChanges > 0; }

    /// Of a moment from 1970 to 2100; UTC if nothing is loaded. Any thread, any handler.
    mu::STimeComponents At(std::time_t tMoment) const;

private:
    struct SChange
    {
        std::time_t m_tFrom;
        long m_iOffset; // seconds east of Greenwich
    };
    void FindChanges(std::time_t tFrom, std::time_t tTo);

    // Four a year, which some zones have for decades; later ones would be missed.
    static constexpr int kMostChanges = 600;
    SChange m_vChanges[kMostChanges] = {};
    int m_iChanges = 0;
};

} // namespace mu

#endif
