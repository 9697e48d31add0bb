#ifndef ZOR_FUZZ_SUPPORT_LAW_H
#define ZOR_FUZZ_SUPPORT_LAW_H

#include <cstdio>
#include <cstdlib>

/// Ends the run where a law is broken: libFuzzer keeps the input.
inline void Law(bool bHolds, const char* szLaw)
{
    if (!bHolds)
    {
        std::fprintf(stderr, "broken: %s\n", szLaw);
        std::abort();
    }
}

#endif
