#ifndef ZOR_MU_CALENDAR_H
#define ZOR_MU_CALENDAR_H

#include <string>

namespace mu
{

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

} // namespace mu

#endif
