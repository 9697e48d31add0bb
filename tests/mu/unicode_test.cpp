#include "mu/unicode.h"

#include "tests/mu/wide.h"
#include "tests/support/failing_heap.h"
#include "tests/support/testing.h"

namespace
{

using namespace std::string_literals;

/// ASCII, its letters all different within a block of a fast path.
template <typename TUnit = char>
std::basic_string<TUnit> Ascii(std::size_t uLength)
{
    std::basic_string<TUnit> text;
    while (text.size() < uLength)
        text += static_cast<TUnit>(text.size() * 7 & 0x7F);
    return text;
}

const std::pair<std::uint32_t, std::string> kEncodeCases[] = {
    {0x7F, "\x7F"},   {0x80, "\xC2\x80"},  {0x800, "\xE0\xA0\x80"},  {0x10000, "\xF0\x90\x80\x80"},
    {0x10FFFF, ""},   {0x7FF, "\xDF\xBF"}, {0xD800, "\xED\xA0\x80"}, {0x10FFFE, "\xF4\x8F\xBF\xBE"},
    {0x80000041, ""}, {0xFFFFFFFF, ""},    {0xFFFF, "\xEF\xBF\xBF"},
};

TEST(WideToUtf8, EncodesEachUnitAtEveryPlaceOfABlock)
{
    for (const auto& [uCodePoint, strBytes] : kEncodeCases)
        for (std::size_t uBefore = 0; uBefore < 70; ++uBefore)
            for (const std::size_t uBehind : {0U, 1U, 40U})
            {
                SCOPED_TRACE(testing::Message() << uCodePoint << " at " << uBefore);
                const std::string strExpected = Ascii(uBefore) + strBytes + Ascii(uBehind);
                const std::wstring wsText = Ascii<wchar_t>(uBefore) +
                                            static_cast<wchar_t>(uCodePoint) +
                                            Ascii<wchar_t>(uBehind);
                const int iBytes = Length(strExpected);
                ASSERT_EQ(mu::WideStringToNarrow(wsText), strExpected);

                const auto expect = [&](auto unit, auto write, auto length)
                {
                    const std::vector<decltype(unit)> units(wsText.begin(), wsText.end());
                    std::vector<char> out(strExpected.size() + 1, 'Z');
                    ASSERT_EQ(length(units.data(), Length(units)), iBytes);
                    ASSERT_EQ(write(units.data(), Length(units), out.data(), iBytes + 5), iBytes);
                    ASSERT_EQ(std::string(out.begin(), out.end()), strExpected + '\0');
                };
                const auto convert = [](auto... args) { return mu::ConvertString(args...); };
                expect(L'0', convert, mu::GetConvertedStringLength);
                expect(0UL, mu::ConvertString32, mu::GetConvertedStringLength32);
                if (uCodePoint <= 0xFFFF)
                    expect(static_cast<unsigned short>(0), mu::ConvertString16,
                           mu::GetConvertedStringLength16);
            }
}

TEST(WideToUtf8, SmallCapacitiesCountAsAWhole)
{
    const std::tuple<std::wstring, int, std::string> kCases[] = {
        {L"abcd", 0, ""},          {L"xy\xE9z", 3, "xy\xC3\xA9z\0"s},
        {L"abcd", INT_MIN, ""},    {L"\xE9\x20AC", 3, "\xC3\xA9\0"s},
        {L"a", 1, "\0"s},          {L"\x20AC\x10000z", 4, "\xE2\x82\xAC\0"s},
        {L"xy\xE9z", 2, "xy\0"s},  {L"\xE9\x20AC", 4, "\xC3\xA9\xE2\x82\xAC\0"s},
        {L"\x10FFFFz", 2, "z\0"s}, {L"\x20AC\x10000z", 5, "\xE2\x82\xAC\xF0\x90\x80\x80z\0"s},
    };
    for (const auto& [wsText, iCapacity, strWritten] : kCases)
    {
        SCOPED_TRACE(testing::Message() << strWritten << " in " << iCapacity);
        std::string strOut(strWritten.size() + 2, 'Z');
        EXPECT_EQ(mu::ConvertString(wsText.data(), Length(wsText), strOut.data(), iCapacity),
                  std::max(Length(strWritten) - 1, 0));
        EXPECT_EQ(strOut, strWritten + "ZZ");
    }
}

// The last is the position of the error, -1 if there is none.
const std::tuple<const char*, std::string, std::wstring, int> kDecodeCases[] = {
    {"ASCII with NUL", "a\0b\x7F"s, L"a\0b\x7F"s, -1},
    {"two and three", "\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF", L"\x80\x7FF\x800\xFFFF", -1},
    {"four bytes", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", L"\x10000\x10FFFF", -1},
    {"overlong forms", "\xC0\x81\xE0\x80\x82\xF0\x80\x80\x83", L"\x1\x2\x3", -1},
    {"surrogates", "\xED\xA0\x80\xED\xBF\xBF", {wchar_t(0xD800), wchar_t(0xDFFF)}, -1},
    {"leads of five and more bytes", "\xF8\x81\x81\x81\xFF\xBF\xBF\xBF", L"\x1041\x1FFFFF", -1},
    {"stray continuation bytes pair up", "\x80\x80\xBF\xBFz", L"\0\x7FFz"s, -1},
    {"stray continuation byte before ASCII", "a\x80z", L"a", 2},
    {"two cut off", "a\xC3", L"a", -1},
    {"three cut off", "a\xE2\x82", L"a", -1},
    {"three cut off with a broken byte", "a\xE2\x41", L"a", -1},
    {"three broken in the second", "a\xE2\x41\x82", L"a", 2},
    {"three broken in the third", "a\xE2\x82\x41", L"a", 2},
    {"four cut off", "a\xF0\x90\x80", L"a", -1},
    {"four broken in the second", "a\xF0\x41\x80\x80", L"a", 2},
    {"four broken in the third", "a\xF0\x90\x41\x80", L"a", 2},
    {"four broken in the fourth", "a\xF0\x90\x80\x41", L"a", 2},
};

TEST(Utf8ToWide, DecodesEachSequenceAtEveryPlaceOfABlock)
{
    for (const auto& [szRule, strBytes, wsUnits, iErrorPosition] : kDecodeCases)
    {
        for (std::size_t uBefore = 0; uBefore < 70; ++uBefore)
        {
            SCOPED_TRACE(testing::Message() << szRule << " after " << uBefore);
            const std::string strText = "\xE4\xBD\xA0" + Ascii(uBefore) + strBytes;
            const std::wstring wsExpected = L'\x4F60' + Ascii<wchar_t>(uBefore) + wsUnits;
            // Exactly the text, so that the sanitizer sees a byte read behind it.
            const std::vector<char> bytes(strText.begin(), strText.end());
            const char* const pError =
                iErrorPosition < 0 ? nullptr : bytes.data() + 3 + uBefore + iErrorPosition;
            const char* szPosition = "untouched";
            std::wstring wsOut = L"old";
            ASSERT_EQ(mu::ConvertString(bytes.data(), Length(bytes), wsOut, &szPosition),
                      Length(wsExpected));
            ASSERT_EQ(wsOut, wsExpected);
            ASSERT_EQ(szPosition, pError);

            for (int iMissing = std::min(Length(wsExpected), 3); iMissing >= -1; --iMissing)
            {
                const int iCapacity = Length(wsExpected) - iMissing;
                const int iUnits = std::min(iCapacity, Length(wsExpected));
                std::vector<wchar_t> out(static_cast<std::size_t>(iCapacity) + 1, L'Z');
                ASSERT_EQ(mu::ConvertString(bytes.data(), Length(bytes), out.data(), iCapacity),
                          iUnits);
                ASSERT_EQ(std::wstring(out.data(), static_cast<std::size_t>(iUnits) + 1),
                          wsExpected.substr(0, static_cast<std::size_t>(iUnits)) + L'\0');
            }
        }
    }
    wchar_t wcOut = L'Z';
    EXPECT_EQ(mu::ConvertString("a", 1, &wcOut, -1), 0);
    EXPECT_EQ(wcOut, L'Z');
}

TEST(Unicode, TextIsCutBetweenCharacters)
{
    const std::string strText = "a\u00E4\u6E29\U0001F600";
    const std::size_t aLengths[] = {0, 1, 1, 3, 3, 3, 6, 6, 6, 6, 10, 10};
    for (std::size_t u = 0; u < std::size(aLengths); ++u)
        EXPECT_EQ(mu::CutText(strText, u), strText.substr(0, aLengths[u])) << u;
    EXPECT_EQ(mu::CutText("\x80\x80\x80", 2), "");
}

TEST(Unicode, StringsAreEmptyWithoutMemory)
{
    const std::string strText(1000, 'a');
    std::wstring wsOut = L"old";
    const char* szPosition = "untouched";
    if (!CFailingHeap::kAvailable)
        GTEST_SKIP();
    const CFailingHeap noMemory(0);
    EXPECT_EQ(mu::ConvertString(strText.data(), 1000, wsOut, &szPosition), 0);
    EXPECT_TRUE(wsOut.empty() && szPosition == nullptr);
}

} // namespace
