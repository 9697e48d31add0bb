#ifndef ZOR_BENCH_SUPPORT_HEAP_METER_H
#define ZOR_BENCH_SUPPORT_HEAP_METER_H

#include <cstddef>

/// The most heap bytes that were in use at once since Start(), over what was in use then, as the
/// allocator rounds them. For one thread; meters do not nest.
class CHeapMeter
{
public:
    static void Start();
    static std::size_t StopAndGetPeak();
};

#endif
