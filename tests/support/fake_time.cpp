#include "tests/support/fake_time.h"

long long g_llFakeTime = -1; // the system's

// In place of the C library's. No caller here wants the other result.
extern "C" std::time_t time(std::time_t*) noexcept
{
    std::timespec tsNow{};
    clock_gettime(CLOCK_REALTIME, &tsNow);
    return g_llFakeTime < 0 ? tsNow.tv_sec : static_cast<std::time_t>(g_llFakeTime);
}
