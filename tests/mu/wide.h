#ifndef ZOR_TESTS_MU_WIDE_H
#define ZOR_TESTS_MU_WIDE_H

#include <string>

int Length(const auto& text)
{
    return static_cast<int>(text.size());
}

/// The same text, one unit a byte.
inline std::wstring Wide(const std::string& strText)
{
    const auto* const puBytes = reinterpret_cast<const unsigned char*>(strText.data());
    return {puBytes, puBytes + strText.size()};
}

#endif
