#include "mu/network_interfaces.h"

#include <algorithm>
#include <memory>
#include <utility>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>

#include "mu/ip_prefix.h"

namespace
{

/// The address inside a socket address; null if it is neither IPv4 nor IPv6.
const void* AddressBytes(const sockaddr* pAddress)
{
    switch (pAddress == nullptr ? AF_UNSPEC : pAddress->sa_family)
    {
    case AF_INET:
        return &reinterpret_cast<const sockaddr_in*>(pAddress)->sin_addr;
    case AF_INET6:
        return &reinterpret_cast<const sockaddr_in6*>(pAddress)->sin6_addr;
    default:
        return nullptr;
    }
}

/// The text that inet_ntop() gives, which has one form for each address; empty if it gives none.
std::string AddressText(int iFamily, const void* pBytes)
{
    char szText[INET6_ADDRSTRLEN];
    const char* const szWritten = ::inet_ntop(iFamily, pBytes, szText, sizeof(szText));
    return szWritten == nullptr ? "" : szWritten;
}

std::string CommonForm(const std::string& strAddress)
{
    unsigned char address[sizeof(in6_addr)];
    for (const int iFamily : {AF_INET, AF_INET6})
    {
        if (::inet_pton(iFamily, strAddress.c_str(), address) == 1)
        {
            return AddressText(iFamily, address);
        }
    }
    return "";
}

bool FindInterface(auto IsWanted, mu::SNetworkInterface& found)
{
    std::vector<mu::SNetworkInterface> vInterfaces;
    mu::GetNetworkInterfaces(vInterfaces);
    const auto place = std::find_if(vInterfaces.begin(), vInterfaces.end(), IsWanted);
    if (place == vInterfaces.end())
    {
        return false;
    }
    found = std::move(*place);
    return true;
}

} // namespace

namespace mu
{

bool GetNetworkInterfaces(std::vector<SNetworkInterface>& vInterfaces)
{
    vInterfaces.clear();
    ifaddrs* pFirst = nullptr;
    if (::getifaddrs(&pFirst) != 0)
    {
        return false;
    }
    const std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> owner(pFirst, ::freeifaddrs);
    for (const ifaddrs* pEntry = pFirst; pEntry != nullptr; pEntry = pEntry->ifa_next)
    {
        // getifaddrs() lists an interface once for each address and once for its link.
        auto place = std::find_if(vInterfaces.begin(), vInterfaces.end(),
                                  [pEntry](const SNetworkInterface& known)
                                  { return known.m_strName == pEntry->ifa_name; });
        if (place == vInterfaces.end())
        {
            SNetworkInterface added;
            added.m_strName = pEntry->ifa_name;
            added.m_uIndex = ::if_nametoindex(pEntry->ifa_name);
            added.m_bUp = (pEntry->ifa_flags & IFF_UP) != 0;
            added.m_bLoopback = (pEntry->ifa_flags & IFF_LOOPBACK) != 0;
            place = vInterfaces.insert(place, added);
        }
        const void* const pAddress = AddressBytes(pEntry->ifa_addr);
        if (pAddress != nullptr)
        {
            const int iFamily = pEntry->ifa_addr->sa_family;
            const void* const pMask = AddressBytes(pEntry->ifa_netmask);
            const int iBytes = iFamily == AF_INET ? sizeof(in_addr) : sizeof(in6_addr);
            place->m_vAddresses.push_back(
                {AddressText(iFamily, pAddress),
                 pMask == nullptr ? -1 : MaskToPrefixLength(pMask, iBytes)});
        }
    }
    return true;
}

bool FindNetworkInterfaceByName(const std::string& strName, SNetworkInterface& found)
{
    return FindInterface(
        [&strName](const SNetworkInterface& known) { return known.m_strName == strName; }, found);
}

bool FindNetworkInterfaceByAddress(const std::string& strAddress, SNetworkInterface& found)
{
    const std::string strWanted = CommonForm(strAddress);
    return FindInterface(
        [&strWanted](const SNetworkInterface& known)
        {
            return std::any_of(known.m_vAddresses.begin(), known.m_vAddresses.end(),
                               [&strWanted](const SInterfaceAddress& address)
                               { return address.m_strAddress == strWanted; });
        },
        found);
}

} // namespace mu
