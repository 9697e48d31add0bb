#ifndef ZOR_DIAGNOSTICS_NUMBER_TEXT_H
#define ZOR_DIAGNOSTICS_NUMBER_TEXT_H

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "diagnostics/function_state.h"

namespace mu
{

/// The text of a number. Its digits are put from the last one to the first.
class CNumberText
{
public:
    static CNumberText Digits(std::uint64_t ullValue, int iDigits, int iBitsPerDigit)
    {
        CNumberText text;
        for (int i = 0; i < iDigits; ++i, ullValue >>= iBitsPerDigit)
        {
            text.Put(HexChar(static_cast<unsigned int>(ullValue) & ((1U << iBitsPerDigit) - 1)));
        }
        text.Put(iBitsPerDigit == 1 ? 'b' : 'x');
        text.Put('0');
        return text;
    }
    static CNumberText Decimal(std::int64_t llValue, bool bGrouped)
    {
        CNumberText text;
        auto ullRest = static_cast<std::uint64_t>(llValue);
        if (llValue < 0)
        {
            ullRest = 0 - ullRest;
        }
        for (int iDigit = 0; iDigit == 0 || ullRest > 0; ++iDigit, ullRest /= 10)
        {
            if (bGrouped && iDigit > 0 && iDigit % 3 == 0)
            {
                text.Put(',');
            }
            text.Put(HexChar(static_cast<unsigned int>(ullRest % 10)));
        }
        if (llValue < 0)
        {
            text.Put('-');
        }
        return text;
    }

    std::string_view Text() const
    {
        return std::string_view(m_szText, sizeof(m_szText)).substr(m_uStart);
    }

private:
    void Put(char ch) { m_szText[--m_uStart] = ch; }

    char m_szText[40] = {};
    std::size_t m_uStart = sizeof(m_szText);
};

} // namespace mu

#endif
