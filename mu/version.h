#ifndef ZOR_MU_VERSION_H
#define ZOR_MU_VERSION_H

#include <string>
#include <vector>

namespace mu
{

/// A version of software: Semantic Versioning 2.0.0, but with any count of numbers, where a missing
/// one counts as 0, and with leading zeros, which do not count. A failed allocation throws.
struct SVersion
{
    std::vector<unsigned int> m_vNumbers; ///< at least one
    std::string m_strPreRelease;          ///< what follows "-", or empty
    std::string m_strBuild;               ///< what follows "+", or empty
};

/// False, with the version untouched, if the text is no version or a number does not fit 32 bits.
bool ParseVersion(const std::string& strText, SVersion& version);
/// Below 0 if the first precedes the second, 0 if neither does, else above 0. Builds do not count.
int CompareVersions(const SVersion& first, const SVersion& second);
std::string FormatVersion(const SVersion& version);

} // namespace mu

#endif
