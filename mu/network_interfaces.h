#ifndef ZOR_MU_NETWORK_INTERFACES_H
#define ZOR_MU_NETWORK_INTERFACES_H

#include <string>
#include <vector>

namespace mu
{

// The network interfaces of the machine, as getifaddrs(3) tells them at the moment of the call. Any
// thread may call any function. A failed allocation throws.

struct SInterfaceAddress
{
    std::string m_strAddress; ///< "192.168.1.20" (IPv4), or as in RFC 5952 (IPv6), without a zone
    int m_iPrefixLength = -1; ///< -1 if unknown
};

struct SNetworkInterface
{
    std::string m_strName;     ///< "eth0"
    unsigned int m_uIndex = 0; ///< if_nametoindex(3), RFC 3493; 0 if it has gone
    bool m_bUp = false;
    bool m_bLoopback = false;
    std::vector<SInterfaceAddress> m_vAddresses; ///< IPv4 and IPv6
};

/// In the system's order, those without addresses too. False, with none, if the system fails.
bool GetNetworkInterfaces(std::vector<SNetworkInterface>& vInterfaces);
/// False, with the result untouched, if there is none.
bool FindNetworkInterfaceByName(const std::string& strName, SNetworkInterface& found);
/// The first that has the address, which may be written in any form.
bool FindNetworkInterfaceByAddress(const std::string& strAddress, SNetworkInterface& found);

} // namespace mu

#endif
