#include "simulator/http_address.h"

#include <charconv>

#include <arpa/inet.h>
#include <strings.h>

namespace
{

bool IsIPv4(const std::string& strAddress)
{
    in_addr address{};
    return ::inet_pton(AF_INET, strAddress.c_str(), &address) == 1;
}

bool IsIPv6(const std::string& strAddress)
{
    in6_addr address{};
    return ::inet_pton(AF_INET6, strAddress.c_str(), &address) == 1;
}

/// Splits "host", "host:port" or "[IPv6]:port"; brackets come off. The port is empty without a
/// colon. False for brackets that hold anything else and for text between them and the port. Does
/// not check that the port is a number or that the host exists.
bool SplitHost(std::string_view svText, std::string& strHost, std::string_view& svPort)
{
    const bool bBrackets = svText.starts_with('[');
    const std::size_t uEnd = bBrackets ? svText.find(']') : svText.find(':');
    strHost = svText.substr(bBrackets ? 1 : 0, bBrackets ? uEnd - 1 : uEnd);
    svPort = uEnd != std::string_view::npos ? svText.substr(uEnd) : std::string_view();
    if (bBrackets)
    {
        if (uEnd == std::string_view::npos || !IsIPv6(strHost))
        {
            return false;
        }
        svPort.remove_prefix(1);
    }
    if (!svPort.empty() && svPort.front() != ':')
    {
        return false;
    }
    svPort.remove_prefix(svPort.empty() ? 0 : 1);
    return true;
}

} // namespace

std::string SHttpAddress::GetURL() const
{
    const std::string strHost = IsIPv6(m_strHost) ? "[" + m_strHost + "]" : m_strHost;
    return "http://" + strHost + ":" + std::to_string(m_uPort) + "/";
}

bool ParseHttpAddress(std::string_view svText, SHttpAddress& address)
{
    SHttpAddress read;
    std::string_view svPort = svText;
    if (svText.find(':') != std::string_view::npos &&
        (!SplitHost(svText, read.m_strHost, svPort) ||
         (!svText.starts_with('[') && !IsIPv4(read.m_strHost))))
    {
        return false;
    }
    const auto [pEnd, eError] =
        std::from_chars(svPort.data(), svPort.data() + svPort.size(), read.m_uPort);
    if (eError != std::errc() || pEnd != svPort.data() + svPort.size())
    {
        return false;
    }
    address = read;
    return true;
}

bool IsLoopbackAddress(const std::string& strAddress)
{
    in_addr ipv4{};
    if (::inet_pton(AF_INET, strAddress.c_str(), &ipv4) == 1)
    {
        return ntohl(ipv4.s_addr) >> 24 == 127;
    }
    in6_addr ipv6{};
    return ::inet_pton(AF_INET6, strAddress.c_str(), &ipv6) == 1 && IN6_IS_ADDR_LOOPBACK(&ipv6);
}

bool IsLoopbackHost(std::string_view svHost)
{
    std::string strName;
    std::string_view svPort;
    if (!SplitHost(svHost, strName, svPort) ||
        svPort.find_first_not_of("0123456789") != std::string_view::npos)
    {
        return false;
    }
    return ::strcasecmp(strName.c_str(), "localhost") == 0 || IsLoopbackAddress(strName);
}
