#ifndef ZOR_SIMULATOR_HTTP_ADDRESS_H
#define ZOR_SIMULATOR_HTTP_ADDRESS_H

#include <cstdint>
#include <string>
#include <string_view>

/// Where the live page is served.
struct SHttpAddress
{
    std::string m_strHost = "127.0.0.1"; ///< a numeric address, IPv6 without its brackets
    std::uint16_t m_uPort = 0;           ///< 0: one that the system chooses

    /// "http://127.0.0.1:8080/"
    std::string GetURL() const;
};

/// Reads "PORT", "ADDRESS:PORT" or "[ADDRESS]:PORT", the last for IPv6. The address is numeric: a
/// name could mean another one tomorrow. Without one it stays the loopback address. False, with
/// nothing changed, for any other text.
bool ParseHttpAddress(std::string_view svText, SHttpAddress& address);

/// Whether a numeric address is reached from this machine only.
bool IsLoopbackAddress(const std::string& strAddress);

/// Whether a Host header (RFC 9110, section 7.2) names this machine as such: "localhost" or a
/// loopback address, with any port. A foreign page can let its own name resolve to this machine, so
/// that its scripts may read what is served here; but the requests then carry that name.
bool IsLoopbackHost(std::string_view svHost);

#endif
