#include "diagnostics/local_times.h"

#include <algorithm>
#include <limits>

namespace mu
{

namespace
{

constexpr std::time_t kDay = 86400;
constexpr std::time_t kWeek = 7 * kDay;
// A change that is taken back within a step is missed. No zone makes one before Palestine's of
// 2040.
constexpr std::time_t kStep = 4 * kWeek - 1;
constexpr long long kEndOf2100 = 4'133'980'800;

long OffsetAt(std::time_t tMoment)
{
    std::tm time = {};
    ::localtime_r(&tMoment, &time);
    return time.tm_gmtoff;
}

} // namespace

void CLocalTimes::Load()
{
    ::tzset();
    // A step that begins before the end goes beyond it, and FindChanges() counts another week.
    constexpr auto kEnd = static_cast<std::time_t>(
        std::min<long long>(kEndOf2100, std::numeric_limits<std::time_t>::max() - kStep - kWeek));
    m_vChanges[0] = {0, OffsetAt(0)};
    m_iChanges = 1;
    for (std::time_t t = 0; t < kEnd; t += kStep)
    {
        FindChanges(t, t + kStep);
    }
}

void CLocalTimes::FindChanges(std::time_t tFrom, std::time_t tTo)
{
    const long iOffset = OffsetAt(tTo);
    if (iOffset == m_vChanges[m_iChanges - 1].m_iOffset || m_iChanges == kMostChanges)
    {
        return;
    }
    // Most changes come at the same second of the week as the one before the last, and to ask for
    // that second spares the search below.
    const std::time_t tLike = m_vChanges[std::max(m_iChanges - 2, 0)].m_tFrom;
    for (std::time_t t = tFrom + kWeek - (tFrom - tLike) % kWeek; t < tTo; t += kWeek)
    {
        (OffsetAt(t) == iOffset ? tTo : tFrom) = t;
    }
    const bool bFound = OffsetAt(tTo - 1) != iOffset;
    while (!bFound && tTo - tFrom > 1)
    {
        const std::time_t tMiddle = tFrom + (tTo - tFrom) / 2;
        (OffsetAt(tMiddle) == iOffset ? tTo : tFrom) = tMiddle;
    }
    m_vChanges[m_iChanges++] = {tTo, iOffset};
}

mu::STimeComponents CLocalTimes::At(std::time_t tMoment) const
{
    const SChange* const pEnd = m_vChanges + m_iChanges;
    const SChange* const pNext =
        std::upper_bound(m_vChanges, pEnd, tMoment,
                         [](std::time_t t, const SChange& change) { return t < change.m_tFrom; });
    const long iOffset = pNext == m_vChanges ? 0 : pNext[-1].m_iOffset;
    const long long llLocal = static_cast<long long>(tMoment) + iOffset;
    // Where a clock that nobody has set is still in 1969, west of Greenwich.
    constexpr int kYears = 4;
    constexpr long long kCycle = (kYears * 365 + 1) * 86400LL;
    mu::STimeComponents time;
    time.FromStandardTimeValue(llLocal < 0 ? llLocal + kCycle : llLocal);
    time.m_iYear -= llLocal < 0 ? kYears : 0;
    return time;
}

} // namespace mu
