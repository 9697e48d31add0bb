#include "simulator/http_address.h"

#include <charconv>

#include <arpa/inet.h>
#include <strings.h>

namespace
{

/// Splits "host:port" at the last colon outside brackets, and takes the brackets off. The port
/// stays empty without a colon.
void SplitHost(std::string_view svText, std::string& strHost, std::string_view& svPort)
{
    const std::size_t uBracket = svText.rfind(']');
    const std::size_t uColon = svText.find(':', uBracket != std::string_view::npos ? uBracket : 0);
    strHost = svText.substr(0, uColon);
    svPort = uColon != std::string_view::npos ? svText.substr(uColon + 1) : std::string_view();
    if (strHost.starts_with('[') && strHost.ends_with(']'))
    {
        strHost = strHost.substr(1, strHost.size() - 2);
    }
}

bool IsIPv6(const std::string& strAddress)
{
    in6_addr address{};
    return ::inet_pton(AF_INET6, strAddress.c_str(), &address) == 1;
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
    if (svText.find(':') != std::string_view::npos)
    {
        SplitHost(svText, read.m_strHost, svPort);
        in_addr ipv4{};
        const bool bNumeric = svText.starts_with('[')
                                  ? IsIPv6(read.m_strHost)
                                  : ::inet_pton(AF_INET, read.m_strHost.c_str(), &ipv4) == 1;
        if (!bNumeric)
        {
            return false;
        }
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
    SplitHost(svHost, strName, svPort);
    return ::strcasecmp(strName.c_str(), "localhost") == 0 || IsLoopbackAddress(strName);
}
