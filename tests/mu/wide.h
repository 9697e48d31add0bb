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
    std::wstring wsText;
    for (const char ch : strText)
        wsText += static_cast<wchar_t>(static_cast<unsigned char>(ch));
    return wsText;
}

#endif
