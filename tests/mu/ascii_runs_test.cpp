#include "mu/ascii_runs.h"

#include <string>

#include <gtest/gtest.h>

#include "tests/mu/wide.h"

namespace
{

/// A run ends at the first unit that is not ASCII, wherever that is in the blocks, or at the
/// length.
template <typename TIn, typename TOut>
void ExpectRuns(const std::basic_string<TIn>& ascii, TIn other, const std::basic_string<TOut>& same)
{
    for (std::size_t uLength = 0; uLength <= ascii.size(); ++uLength)
    {
        for (std::size_t uRun = 0; uRun <= uLength; ++uRun)
        {
            std::basic_string<TIn> text = ascii.substr(0, uLength);
            if (uRun < uLength)
            {
                text[uRun] = other;
            }
            std::basic_string<TOut> out(uLength + 1, 'Z');
            ASSERT_EQ(mu::CopyAsciiRun(text.data(), uLength, out.data()), uRun);
            ASSERT_EQ(out.substr(0, uRun), same.substr(0, uRun));
            ASSERT_EQ(out.substr(uRun), std::basic_string<TOut>(uLength + 1 - uRun, 'Z'));
        }
    }
}

TEST(AsciiRuns, EndAtTheFirstOtherUnit)
{
    std::string strAscii;
    for (char ch = 0; strAscii.size() < 75; ch = static_cast<char>((ch + 7) & 0x7F))
    {
        strAscii += ch;
    }
    ExpectRuns(strAscii, '\x80', Wide(strAscii));
    ExpectRuns(strAscii, '\xFF', Wide(strAscii));
    ExpectRuns(Wide(strAscii), L'\x80', strAscii);
    ExpectRuns(Wide(strAscii), L'\x100', strAscii);
    ExpectRuns(Wide(strAscii), static_cast<wchar_t>(0x80000000), strAscii);
}

} // namespace
