#include "mu/ip_prefix.h"

#include <algorithm>
#include <bit>

#include <arpa/inet.h>
#include <netinet/in.h>

namespace
{

constexpr bool IsAddressSize(int iBytes)
{
    return iBytes == sizeof(in_addr) || iBytes == sizeof(in6_addr);
}

} // namespace

namespace mu
{

int MaskToPrefixLength(const void* pMask, int iBytes)
{
    const auto* const puMask = static_cast<const unsigned char*>(pMask);
    int iLength = IsAddressSize(iBytes) ? 0 : -1;
    for (int i = 0; i < iBytes && iLength >= 0; ++i)
    {
        const int iOnes = std::countl_one(puMask[i]);
        const bool bOnesBehind = (puMask[i] << iOnes & 0xFF) != 0;
        const bool bZerosBefore = iOnes > 0 && iLength < 8 * i;
        iLength = bOnesBehind || bZerosBefore ? -1 : iLength + iOnes;
    }
    return iLength;
}

bool PrefixLengthToMask(int iPrefixLength, void* pMask, int iBytes)
{
    if (!IsAddressSize(iBytes) || iPrefixLength < 0 || iPrefixLength > 8 * iBytes)
    {
        return false;
    }
    for (int i = 0; i < iBytes; ++i)
    {
        const int iOnes = std::clamp(iPrefixLength - 8 * i, 0, 8);
        static_cast<unsigned char*>(pMask)[i] = static_cast<unsigned char>(0xFF00 >> iOnes);
    }
    return true;
}

int MaskTextToPrefixLength(const std::string& strMask)
{
    unsigned char mask[sizeof(in6_addr)];
    if (::inet_pton(AF_INET, strMask.c_str(), mask) == 1)
    {
        return MaskToPrefixLength(mask, sizeof(in_addr));
    }
    if (::inet_pton(AF_INET6, strMask.c_str(), mask) == 1)
    {
        return MaskToPrefixLength(mask, sizeof(in6_addr));
    }
    return -1;
}

std::string PrefixLengthToMaskText(int iPrefixLength, bool bIPv6)
{
    unsigned char mask[sizeof(in6_addr)];
    char szText[INET6_ADDRSTRLEN];
    const bool bMask =
        PrefixLengthToMask(iPrefixLength, mask, bIPv6 ? sizeof(in6_addr) : sizeof(in_addr));
    return bMask && ::inet_ntop(bIPv6 ? AF_INET6 : AF_INET, mask, szText, sizeof(szText)) != nullptr
               ? szText
               : "";
}

} // namespace mu
