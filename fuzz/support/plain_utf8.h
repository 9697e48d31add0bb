#ifndef ZOR_FUZZ_SUPPORT_PLAIN_UTF8_H
#define ZOR_FUZZ_SUPPORT_PLAIN_UTF8_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// Both conversions in the plainest form of their rules, one unit or byte at a time.

/// Units of any type to UTF-8.
template <typename TUnits>
std::string PlainEncode(const TUnits& units)
{
    std::string strOut;
    for (const auto unit : units)
    {
        const auto u = static_cast<std::uint32_t>(unit);
        const int iMore = u <= 0x7F ? 0 : u <= 0x7FF ? 1 : u <= 0xFFFF ? 2 : u <= 0x10FFFE ? 3 : -1;
        if (iMore < 0)
        {
            continue;
        }
        static constexpr std::uint32_t kLeads[] = {0, 0xC0, 0xE0, 0xF0};
        strOut += static_cast<char>(kLeads[iMore] | u >> 6 * iMore);
        for (int i = iMore - 1; i >= 0; --i)
        {
            strOut += static_cast<char>(0x80 | (u >> 6 * i & 0x3F));
        }
    }
    return strOut;
}

struct SPlainText
{
    std::wstring m_wsText;
    std::size_t m_uError = std::string_view::npos; ///< behind the lead of a malformed sequence
};

inline SPlainText PlainDecode(std::string_view svText, std::size_t uCapacity = SIZE_MAX)
{
    SPlainText plain;
    for (std::size_t i = 0; i < svText.size() && plain.m_wsText.size() < uCapacity;)
    {
        const auto uLead = static_cast<unsigned char>(svText[i]);
        const std::size_t uMore = uLead < 0x80 ? 0 : uLead < 0xE0 ? 1 : uLead < 0xF0 ? 2 : 3;
        static constexpr std::uint32_t kBits[] = {0x7F, 0x1F, 0x0F, 0x07};
        std::uint32_t u = uLead & kBits[uMore];
        if (i + uMore >= svText.size())
        {
            break;
        }
        for (std::size_t k = 1; k <= uMore; ++k)
        {
            const auto uByte = static_cast<unsigned char>(svText[i + k]);
            if ((uByte & 0xC0) != 0x80)
            {
                plain.m_uError = i + 1;
                return plain;
            }
            u = u << 6 | (uByte & 0x3F);
        }
        plain.m_wsText += static_cast<wchar_t>(u);
        i += uMore + 1;
    }
    return plain;
}

#endif
