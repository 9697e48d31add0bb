#include "fuzz/support/conversion_laws.h"
#include "tests/support/failing_heap.h"
#include "tests/support/testing.h"

namespace
{

using namespace std::string_literals;

/// ASCII, its letters all different within a block of a fast path.
std::string Ascii(std::size_t uLength)
{
    std::string strText;
    while (strText.size() < uLength)
        strText += static_cast<char>(strText.size() * 7 & 0x7F);
    return strText;
}

const std::pair<std::uint32_t, std::string> kEncodeCases[] = {
    {0x7F, "\x7F"},   {0x80, "\xC2\x80"},  {0x800, "\xE0\xA0\x80"},  {0x10000, "\xF0\x90\x80\x80"},
    {0x10FFFF, ""},   {0x7FF, "\xDF\xBF"}, {0xD800, "\xED\xA0\x80"}, {0x10FFFE, "\xF4\x8F\xBF\xBE"},
    {0x80000041, ""}, {0xFFFFFFFF, ""},    {0xFFFF, "\xEF\xBF\xBF"},
};

TEST(WideToUtf8, EncodesEachUnitAtEveryPlaceOfABlock)
{
    for (const auto& [uCodePoint, strBytes] : kEncodeCases)
    {
        EXPECT_EQ(mu::WideStringToNarrow(std::wstring(1, static_cast<wchar_t>(uCodePoint))),
                  strBytes);
        for (std::size_t uBefore = 0; uBefore < 70; ++uBefore)
            for (const std::size_t uBehind : {0U, 1U, 40U})
            {
                const std::string strAscii = Ascii(uBefore + 1 + uBehind);
                std::vector<std::uint32_t> vUnits(strAscii.begin(), strAscii.end());
                vUnits[uBefore] = uCodePoint;
                CheckEncoding(vUnits);
                CheckEncodingOf16Bits(vUnits);
            }
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
    {"two and three", "\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBFz", L"\x80\x7FF\x800\xFFFFz", -1},
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
        SCOPED_TRACE(szRule);
        const char* szPosition = "untouched";
        std::wstring wsOut = L"old";
        EXPECT_EQ(mu::ConvertString(strBytes.data(), Length(strBytes), wsOut, &szPosition),
                  Length(wsUnits));
        EXPECT_EQ(wsOut, wsUnits);
        EXPECT_EQ(szPosition, iErrorPosition < 0 ? nullptr : strBytes.data() + iErrorPosition);
        for (std::size_t uBefore = 0; uBefore < 70; ++uBefore)
            for (int iCapacity = std::max(Length(wsUnits) - 2, 0); iCapacity < 5; ++iCapacity)
                CheckDecoding("\xE4\xBD\xA0" + Ascii(uBefore) + strBytes,
                              static_cast<int>(uBefore) + iCapacity);
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
    EXPECT_TRUE(wsOut.empty());
    EXPECT_EQ(szPosition, nullptr);
}

} // namespace
