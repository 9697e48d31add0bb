#ifndef ZOR_THREADING_CLOCK_CALLS_H
#define ZOR_THREADING_CLOCK_CALLS_H

#include <ctime>

// The system's clocks, behind functions of ours because setting them takes privileges: a test links
// its own clock_calls in place of this one. Each returns 0 or a descriptor, on failure -1 with
// errno set.

namespace mu::clock_calls
{

int GetTime(clockid_t clock, std::timespec* pTime);
int SetTime(clockid_t clock, const std::timespec* pTime);

int OpenHardwareClock(const char* szPath);
/// Writes the first nine fields, which are those of the real-time clock's own record.
int SetHardwareClock(int iDescriptor, const std::tm* pTime);

} // namespace mu::clock_calls

#endif
