#include "mu/unicode.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include "tests/mu/failing_memory.h"

namespace
{

using namespace std::string_literals;

template <typename TUnit>
using Units = std::vector<TUnit>;

int Length(const auto& text)
{
    return static_cast<int>(text.size());
}

/// A buffer of exactly as many units as asked for, so that the sanitizer sees the next one written.
template <typename TUnit>
std::unique_ptr<TUnit[]> Buffer(int iUnits)
{
    auto buffer = std::make_unique<TUnit[]>(static_cast<std::size_t>(iUnits));
    std::fill_n(buffer.get(), iUnits, static_cast<TUnit>(0x5A));
    return buffer;
}

struct SEncodeCase
{
    std::uint32_t uCodePoint;
    std::string strBytes;
};

const SEncodeCase kEncodeCases[] = {
    {0x0, "\0"s},
    {0x7F, "\x7F"},
    {0x80, "\xC2\x80"},
    {0x7FF, "\xDF\xBF"},
    {0x800, "\xE0\xA0\x80"},
    {0xD800, "\xED\xA0\x80"},
    {0xDFFF, "\xED\xBF\xBF"},
    {0xFFFF, "\xEF\xBF\xBF"},
    {0x10000, "\xF0\x90\x80\x80"},
    {0x10FFFE, "\xF4\x8F\xBF\xBE"},
    {0x10FFFF, ""},
    {0x110000, ""},
    {0x7FFFFFFF, ""},
    {0x80000041, ""}, // negative where wchar_t is signed
    {0xFFFFFFFF, ""},
};

TEST(WideToUtf8, EncodesEachUnitAmongOthers)
{
    for (const SEncodeCase& row : kEncodeCases)
    {
        // Every place that the unit can have in the blocks of a fast path, and the text's ends.
        for (std::size_t uBefore = 0; uBefore < 70; uBefore = uBefore * 5 / 4 + 1)
        {
            for (const std::size_t uBehind : {0U, 1U, 3U, 40U})
            {
                SCOPED_TRACE(testing::Message() << std::hex << row.uCodePoint << std::dec << " at "
                                                << uBefore << " before " << uBehind);
                const std::string strExpected =
                    std::string(uBefore, 'a') + row.strBytes + std::string(uBehind, 'b');
                std::wstring wsText(uBefore, L'a');
                wsText += static_cast<wchar_t>(row.uCodePoint);
                wsText.append(uBehind, L'b');
                const int iBytes = Length(strExpected);

                ASSERT_EQ(mu::GetConvertedStringLength(wsText.data(), Length(wsText)), iBytes);
                ASSERT_EQ(mu::WideStringToNarrow(wsText), strExpected);
                std::string strOut = "old";
                ASSERT_EQ(mu::ConvertString(wsText.data(), Length(wsText), strOut), iBytes);
                ASSERT_EQ(strOut, strExpected);
                const auto out = Buffer<char>(iBytes + 1);
                ASSERT_EQ(mu::ConvertString(wsText.data(), Length(wsText), out.get(), iBytes + 5),
                          iBytes);
                ASSERT_EQ(std::string(out.get(), strExpected.size() + 1), strExpected + '\0');
            }
        }
    }
}

TEST(WideToUtf8, OtherUnitsGiveTheSame)
{
    for (const SEncodeCase& row : kEncodeCases)
    {
        SCOPED_TRACE(testing::Message() << std::hex << row.uCodePoint);
        Units<unsigned long> units32(40, row.uCodePoint);
        units32[0] = 0; // leads into the block of the others, and adds no bits to it
        std::string strExpected(1, '\0');
        for (std::size_t i = 1; i < units32.size(); ++i)
        {
            strExpected += row.strBytes;
        }
        char szOut[200];
        EXPECT_EQ(mu::GetConvertedStringLength32(units32.data(), 40), Length(strExpected));
        EXPECT_EQ(mu::ConvertString32(units32.data(), 40, szOut, 200), Length(strExpected));
        EXPECT_EQ(std::string(szOut, strExpected.size() + 1), strExpected + '\0');

        if (row.uCodePoint > 0xFFFF)
        {
            continue;
        }
        const Units<unsigned short> units16(units32.begin(), units32.end());
        EXPECT_EQ(mu::GetConvertedStringLength16(units16.data(), 40), Length(strExpected));
        EXPECT_EQ(mu::ConvertString16(units16.data(), 40, szOut, 200), Length(strExpected));
        EXPECT_EQ(std::string(szOut, strExpected.size() + 1), strExpected + '\0');
    }
    if constexpr (sizeof(unsigned long) > 4)
    {
        Units<unsigned long> units(40, static_cast<unsigned long>(0x100000041ULL));
        units[0] = 'a';
        char szOut[200];
        EXPECT_EQ(mu::GetConvertedStringLength32(units.data(), 40), 1);
        EXPECT_EQ(mu::ConvertString32(units.data(), 40, szOut, 200), 1);
        EXPECT_STREQ(szOut, "a");
    }
}

struct SCapacityCase
{
    std::wstring wsText;
    int iCapacity;
    std::string strWritten; ///< with its NUL
};

TEST(WideToUtf8, SmallCapacitiesCountAsAWhole)
{
    const SCapacityCase kCases[] = {
        {L"a", -1, ""},
        {L"a", 0, ""},
        {L"a", 1, "\0"s},
        {L"", 9, "\0"s},
        {L"abc", 2, "abc\0"s},
        {L"ab\xE9"
         L"c",
         2, "ab\0"s},
        {L"ab\xE9"
         L"c",
         3,
         "ab\xC3\xA9"
         "c\0"s},
        {L"\xE9\x20AC", 3, "\xC3\xA9\0"s},
        {L"\xE9\x20AC", 4, "\xC3\xA9\xE2\x82\xAC\0"s},
        {L"\x20AC\x10000z", 4, "\xE2\x82\xAC\0"s},
        {L"\x20AC\x10000z", 5, "\xE2\x82\xAC\xF0\x90\x80\x80z\0"s},
        {L"\x10FFFFz", 2, "z\0"s},
    };
    for (const SCapacityCase& row : kCases)
    {
        SCOPED_TRACE(testing::Message() << row.strWritten << " in " << row.iCapacity);
        const int iResult = std::max(Length(row.strWritten) - 1, 0);
        const std::string strExpected = row.strWritten + "ZZ";

        auto out = Buffer<char>(Length(strExpected));
        EXPECT_EQ(
            mu::ConvertString(row.wsText.data(), Length(row.wsText), out.get(), row.iCapacity),
            iResult);
        EXPECT_EQ(std::string(out.get(), strExpected.size()), strExpected);

        const Units<unsigned long> units32(row.wsText.begin(), row.wsText.end());
        out = Buffer<char>(Length(strExpected));
        EXPECT_EQ(mu::ConvertString32(units32.data(), Length(units32), out.get(), row.iCapacity),
                  iResult);
        EXPECT_EQ(std::string(out.get(), strExpected.size()), strExpected);
    }

    const unsigned short kUnits[] = {'a', 0xE9, 0x20AC};
    for (const int iCapacity : {2, 3, 4})
    {
        char szOut[8];
        EXPECT_EQ(mu::ConvertString16(kUnits, 3, szOut, iCapacity), iCapacity == 2   ? 1
                                                                    : iCapacity == 3 ? 3
                                                                                     : 6);
    }
}

// It takes 3 GB of address space, and sanitizers take their time over it.
#if UINTPTR_MAX > UINT32_MAX && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

/// The same page of memory over and over: gigabytes of address space, little memory.
class CRepeatedPages
{
public:
    explicit CRepeatedPages(std::size_t uBytes) : m_uBytes(uBytes)
    {
        const int iFile = ::memfd_create("pages", MFD_CLOEXEC);
        EXPECT_EQ(::ftruncate(iFile, kPages), 0);
        m_pMemory =
            ::mmap(nullptr, uBytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        for (std::size_t u = 0; m_pMemory != MAP_FAILED && u < uBytes; u += kPages)
        {
            EXPECT_NE(::mmap(static_cast<char*>(m_pMemory) + u, kPages, PROT_READ | PROT_WRITE,
                             MAP_SHARED | MAP_FIXED, iFile, 0),
                      MAP_FAILED);
        }
        ::close(iFile);
    }
    ~CRepeatedPages() { ::munmap(m_pMemory, m_uBytes); }

    CRepeatedPages(const CRepeatedPages&) = delete;
    CRepeatedPages& operator=(const CRepeatedPages&) = delete;

    static constexpr std::size_t kPages = std::size_t{1} << 20;
    void* m_pMemory;

private:
    std::size_t m_uBytes;
};

TEST(WideToUtf8, MoreBytesThanAnIntCounts)
{
    constexpr int kUnits = INT_MAX / 3 + 1000;
    const CRepeatedPages text(std::size_t{kUnits / CRepeatedPages::kPages + 1} * 2 *
                              CRepeatedPages::kPages);
    const CRepeatedPages out(std::size_t{1} << 31);
    auto* const pText = static_cast<unsigned short*>(text.m_pMemory);
    std::fill_n(pText, CRepeatedPages::kPages / 2, static_cast<unsigned short>(0x20AC));

    EXPECT_EQ(mu::GetConvertedStringLength16(pText, kUnits), INT_MAX - 1);
    EXPECT_EQ(mu::ConvertString16(pText, kUnits, static_cast<char*>(out.m_pMemory), INT_MAX),
              (INT_MAX - 1) / 3 * 3);
}

#endif

struct SDecodeCase
{
    const char* szRule;
    std::string strBytes;
    std::wstring wsUnits;
    int iErrorPosition; ///< -1: none
};

const SDecodeCase kDecodeCases[] = {
    {"ASCII with NUL", "a\0b\x7F"s, L"a\0b\x7F"s, -1},
    {"two bytes", "\xC2\x80\xDF\xBF", L"\x80\x7FF", -1},
    {"three bytes", "\xE0\xA0\x80\xE2\x82\xAC\xEF\xBF\xBF", L"\x800\x20AC\xFFFF", -1},
    {"four bytes", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", L"\x10000\x10FFFF", -1},
    {"overlong forms", "\xC0\x81\xE0\x80\x82\xF0\x80\x80\x83", L"\x1\x2\x3", -1},
    {"surrogates", "\xED\xA0\x80\xED\xBF\xBF", std::wstring{wchar_t(0xD800), wchar_t(0xDFFF)}, -1},
    {"beyond the range", "\xF7\xBF\xBF\xBF", std::wstring{wchar_t(0x1FFFFF)}, -1},
    {"leads of five and more bytes take four", "\xF8\x81\x81\x81\xFF\xBF\xBF\xBF",
     std::wstring{wchar_t(0x1041), wchar_t(0x1FFFFF)}, -1},
    {"stray continuation bytes pair up", "\x80\x80\xBF\xBFz", L"\0\x7FFz"s, -1},
    {"stray continuation byte before ASCII",
     "a\x80"
     "b",
     L"a", 2},
    {"two cut off", "a\xC3", L"a", -1},
    {"two broken", "a\xC3\x41", L"a", 2},
    {"three cut off after one", "a\xE2", L"a", -1},
    {"three cut off after two", "a\xE2\x82", L"a", -1},
    {"three cut off with a broken byte", "a\xE2\x41", L"a", -1},
    {"three broken in the second", "a\xE2\x41\x82", L"a", 2},
    {"three broken in the third", "a\xE2\x82\x41", L"a", 2},
    {"three broken after three",
     "\xE2\x82\xAC\xE2\x82\xC0"
     "abcd",
     L"\x20AC", 4},
    {"four cut off", "a\xF0\x90\x80", L"a", -1},
    {"four broken in the second", "a\xF0\x41\x80\x80", L"a", 2},
    {"four broken in the third", "a\xF0\x90\x41\x80", L"a", 2},
    {"four broken in the fourth", "a\xF0\x90\x80\x41", L"a", 2},
};

TEST(Utf8ToWide, DecodesEachSequenceAmongOthers)
{
    for (const SDecodeCase& row : kDecodeCases)
    {
        for (std::size_t uBefore = 0; uBefore < 70; uBefore = uBefore * 5 / 4 + 1)
        {
            for (const bool bWide : {false, true}) // what comes before it
            {
                SCOPED_TRACE(testing::Message()
                             << row.szRule << " after " << uBefore << (bWide ? " CJK" : " ASCII"));
                std::string strText;
                for (std::size_t i = 0; i < uBefore; ++i)
                {
                    strText += bWide ? "\xE4\xBD\xA0" : "a";
                }
                const auto uError = strText.size() + static_cast<std::size_t>(row.iErrorPosition);
                strText += row.strBytes;
                const std::wstring wsExpected =
                    std::wstring(uBefore, bWide ? L'\x4F60' : L'a') + row.wsUnits;

                // Exactly the text, so that the sanitizer sees a byte read behind it.
                const std::vector<char> bytes(strText.begin(), strText.end());
                const char* szPosition = "untouched";
                std::wstring wsOut = L"old";
                ASSERT_EQ(mu::ConvertString(bytes.data(), Length(bytes), wsOut, &szPosition),
                          Length(wsExpected));
                ASSERT_EQ(wsOut, wsExpected);
                ASSERT_EQ(szPosition, row.iErrorPosition < 0 ? nullptr : bytes.data() + uError);
                ASSERT_EQ(mu::ConvertString(bytes.data(), Length(bytes), wsOut),
                          Length(wsExpected));

                for (int iCapacity = std::max(Length(wsExpected) - 3, 0);
                     iCapacity < Length(wsExpected) + 3; ++iCapacity)
                {
                    const int iUnits = std::min(iCapacity, Length(wsExpected));
                    const auto out = Buffer<wchar_t>(iCapacity + 1);
                    ASSERT_EQ(mu::ConvertString(bytes.data(), Length(bytes), out.get(), iCapacity),
                              iUnits);
                    ASSERT_EQ(std::wstring(out.get(), static_cast<std::size_t>(iUnits) + 1),
                              wsExpected.substr(0, static_cast<std::size_t>(iUnits)) + L'\0');
                }
            }
        }
    }
}

TEST(Utf8ToWide, NoTextAndNoRoom)
{
    wchar_t wcOut = L'Z';
    EXPECT_EQ(mu::ConvertString("a", 1, &wcOut, -1), 0);
    EXPECT_EQ(wcOut, L'Z');
    EXPECT_EQ(mu::ConvertString("a", 1, &wcOut, 0), 0);
    EXPECT_EQ(wcOut, L'\0');

    const char* szPosition = "untouched";
    std::wstring wsOut = L"old";
    EXPECT_EQ(mu::ConvertString(nullptr, -1, wsOut, &szPosition), 0);
    EXPECT_EQ(wsOut, L"");
    EXPECT_EQ(szPosition, nullptr);
}

TEST(Unicode, StringsKeepTheirMemoryOrTakeLittle)
{
    const std::string strText(30000, '\xE4'); // malformed at once
    std::wstring wsOut;
    mu::ConvertString(strText.data(), Length(strText), wsOut);
    EXPECT_LT(wsOut.capacity(), 100U);
    wsOut.reserve(30000);
    mu::ConvertString(strText.data(), Length(strText), wsOut);
    EXPECT_GE(wsOut.capacity(), 30000U);

    const std::wstring wsText(30000, L'\x20AC');
    EXPECT_LT(mu::WideStringToNarrow(wsText).capacity(), 90000U * 5 / 4 + 100);
}

TEST(Unicode, TextIsCutBetweenCharacters)
{
    const std::string strText = "a\u00E4\u6E29\U0001F600";
    const std::size_t aLengths[] = {0, 1, 1, 3, 3, 3, 6, 6, 6, 6, 10, 10};
    for (std::size_t u = 0; u < std::size(aLengths); ++u)
    {
        EXPECT_EQ(mu::CutText(strText, u), strText.substr(0, aLengths[u])) << u;
    }
    EXPECT_EQ(mu::CutText("\x80\x80\x80", 2), "");
}

TEST(Unicode, StringsAreEmptyWithoutMemory)
{
    const std::string strText(1000, 'a');
    const std::wstring wsText(1000, L'a');
    std::wstring wsOut = L"ol";
    std::string strOut = "old";
    const char* szPosition = "untouched";
    {
        const CFailingMemory noMemory;
        EXPECT_EQ(mu::ConvertString(strText.data(), 1000, wsOut, &szPosition), 0);
        EXPECT_EQ(mu::ConvertString(wsText.data(), 1000, strOut), 0);
    }
    EXPECT_EQ(wsOut, L"");
    EXPECT_EQ(szPosition, nullptr);
    EXPECT_EQ(strOut, "");
}

} // namespace
