#ifndef ZOR_MU_LENGTHS_H
#define ZOR_MU_LENGTHS_H

#include <climits>
#include <cstddef>

namespace mu
{

// Interfaces count in int, memory in size_t. These turn one into the other within its range.

/// A length below 0 counts as 0.
constexpr std::size_t UnitCount(int iLength)
{
    return iLength > 0 ? static_cast<std::size_t>(iLength) : 0;
}

/// A count that is too large becomes the limit.
constexpr int IntCount(std::size_t uCount, int iLimit = INT_MAX)
{
    return uCount < static_cast<std::size_t>(iLimit) ? static_cast<int>(uCount) : iLimit;
}

} // namespace mu

#endif
