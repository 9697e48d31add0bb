#ifndef ZOR_MU_IP_PREFIX_H
#define ZOR_MU_IP_PREFIX_H

#include <string>

namespace mu
{

// Prefix lengths of networks (CIDR, RFC 4632 for IPv4 and RFC 4291 for IPv6) and their masks. A
// mask is 4 or 16 bytes in network order, or their text ("255.255.255.0", "ffff:ffff::").

/// -1 if the ones are not all in front of the zeros, or it has not 4 or 16 bytes.
int MaskToPrefixLength(const void* pMask, int iBytes);
/// False, with the mask untouched, if it has not 4 or 16 bytes, or the length is not of their bits.
bool PrefixLengthToMask(int iPrefixLength, void* pMask, int iBytes);

/// -1 if the text is no address, or one that is no mask.
int MaskTextToPrefixLength(const std::string& strMask);
/// Empty unless the length is 0 to 32, or 0 to 128 with bIPv6.
std::string PrefixLengthToMaskText(int iPrefixLength, bool bIPv6);

} // namespace mu

#endif
