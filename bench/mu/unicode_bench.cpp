#include "mu/unicode.h"

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <benchmark/benchmark.h>
#include <iconv.h>
#include <wchar.h>

// Text conversion beside the C library's: <direction>/<text>/<size>/<who>. "zor" fills a buffer as
// the peers do; "zor_string" fills a string that is used again, "zor_new_string" a new one.

namespace
{

struct SText
{
    const char* szName;
    std::vector<std::string_view> words;
};

// Words are drawn at random: a short text repeated would let the branch predictor learn it.
const SText kTexts[] = {
    {"ascii",
     {"<zor:Diagnostic ", "Index=\"12\" ", "Name=\"Battery voltage\">", "nominal ", "3.7 V",
      "</zor:Diagnostic>\r\n", "since ", "the ", "last ", "start ", "of ", "recording "}},
    {"latin",
     {"la ",     "température ", "de ",      "l'appareil ", "a ",        "dépassé ", "sa ",
      "limite ", "et ",          "le ",      "système ",    "s'arrête",  ". ",       "Das ",
      "Gerät ",  "schaltet ",    "nach ",    "längerer ",   "Zeit ",     "ab ",      "und ",
      "meldet ", "die ",         "Störung ", "dem ",        "Bediener ", "über ",    "Kabel "}},
    {"cjk",
     {"录音", "设备", "的", "存储", "空间", "不足，", "请", "更换", "存储卡", "后", "重新",
      "启动。", "本機の", "温度が", "上昇して", "います、", "しばらく", "お待ち", "ください。"}},
};

struct SSize
{
    const char* szName;
    std::size_t uBytes;
};

constexpr SSize kSizes[] = {{"30", 30}, {"64k", 65536}};

std::string MakeText(const std::vector<std::string_view>& words, std::size_t uBytes)
{
    std::string strText;
    std::minstd_rand random;
    while (strText.size() <= uBytes)
        strText += words[random() % words.size()];
    while ((strText[uBytes] & 0xC0) == 0x80)
        --uBytes;
    strText.resize(uBytes);
    return strText;
}

std::wstring Widen(const std::string& strText)
{
    std::wstring wsText;
    mu::ConvertString(strText.data(), static_cast<int>(strText.size()), wsText);
    return wsText;
}

/// Buffers for both directions and what the peers need.
struct SWork
{
    std::string strNarrow;
    std::wstring wsWide;
    std::vector<char> narrow;
    std::vector<wchar_t> wide;
};

SWork MakeWork(const SText& text, const SSize& size)
{
    SWork work;
    work.strNarrow = MakeText(text.words, size.uBytes);
    work.wsWide = Widen(work.strNarrow);
    work.narrow.resize(work.strNarrow.size() + 1);
    work.wide.resize(work.strNarrow.size() + 1);
    return work;
}

int Length(const auto& text)
{
    return static_cast<int>(text.size());
}

void SetBytes(benchmark::State& state, const SWork& work)
{
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(work.strNarrow.size()));
}

void Check(bool bSame)
{
    if (!bSame)
        std::abort();
}

void Utf8ToWideZor(benchmark::State& state, SWork work)
{
    for (auto _ : state)
    {
        mu::ConvertString(work.strNarrow.data(), Length(work.strNarrow), work.wide.data(),
                          Length(work.strNarrow));
        benchmark::ClobberMemory();
    }
    Check(work.wsWide == work.wide.data());
    SetBytes(state, work);
}

void Utf8ToWideString(benchmark::State& state, SWork work)
{
    std::wstring wsOut;
    for (auto _ : state)
    {
        mu::ConvertString(work.strNarrow.data(), Length(work.strNarrow), wsOut);
        benchmark::ClobberMemory();
    }
    Check(work.wsWide == wsOut);
    SetBytes(state, work);
}

void Utf8ToWideNewString(benchmark::State& state, SWork work)
{
    for (auto _ : state)
    {
        std::wstring wsOut;
        mu::ConvertString(work.strNarrow.data(), Length(work.strNarrow), wsOut);
        benchmark::DoNotOptimize(wsOut.data());
    }
    SetBytes(state, work);
}

void Iconv(benchmark::State& state, const char* szTo, const char* szFrom, const void* pIn,
           std::size_t uInBytes, void* pOut, std::size_t uOutBytes)
{
    const iconv_t converter = ::iconv_open(szTo, szFrom);
    for (auto _ : state)
    {
        char* pInNow = static_cast<char*>(const_cast<void*>(pIn));
        char* pOutNow = static_cast<char*>(pOut);
        std::size_t uInLeft = uInBytes;
        std::size_t uOutLeft = uOutBytes;
        Check(::iconv(converter, &pInNow, &uInLeft, &pOutNow, &uOutLeft) == 0);
        benchmark::ClobberMemory();
    }
    ::iconv_close(converter);
}

void Utf8ToWideIconv(benchmark::State& state, SWork work)
{
    Iconv(state, "WCHAR_T", "UTF-8", work.strNarrow.data(), work.strNarrow.size(), work.wide.data(),
          work.wide.size() * sizeof(wchar_t));
    Check(std::wmemcmp(work.wsWide.data(), work.wide.data(), work.wsWide.size()) == 0);
    SetBytes(state, work);
}

void Utf8ToWideLibc(benchmark::State& state, SWork work)
{
    for (auto _ : state)
    {
        mbstate_t shift = {};
        const char* szIn = work.strNarrow.c_str();
        Check(::mbsrtowcs(work.wide.data(), &szIn, work.wide.size(), &shift) == work.wsWide.size());
        benchmark::ClobberMemory();
    }
    SetBytes(state, work);
}

void WideToUtf8Zor(benchmark::State& state, SWork work)
{
    for (auto _ : state)
    {
        mu::ConvertString(work.wsWide.data(), Length(work.wsWide), work.narrow.data(),
                          Length(work.narrow));
        benchmark::ClobberMemory();
    }
    Check(work.strNarrow == work.narrow.data());
    SetBytes(state, work);
}

void WideToUtf8String(benchmark::State& state, SWork work)
{
    std::string strOut;
    for (auto _ : state)
    {
        mu::ConvertString(work.wsWide.data(), Length(work.wsWide), strOut);
        benchmark::ClobberMemory();
    }
    Check(work.strNarrow == strOut);
    SetBytes(state, work);
}

void WideToUtf8NewString(benchmark::State& state, SWork work)
{
    for (auto _ : state)
    {
        std::string strOut;
        mu::ConvertString(work.wsWide.data(), Length(work.wsWide), strOut);
        benchmark::DoNotOptimize(strOut.data());
    }
    SetBytes(state, work);
}

void WideToUtf8Iconv(benchmark::State& state, SWork work)
{
    Iconv(state, "UTF-8", "WCHAR_T", work.wsWide.data(), work.wsWide.size() * sizeof(wchar_t),
          work.narrow.data(), work.narrow.size());
    Check(std::memcmp(work.strNarrow.data(), work.narrow.data(), work.strNarrow.size()) == 0);
    SetBytes(state, work);
}

void WideToUtf8Libc(benchmark::State& state, SWork work)
{
    for (auto _ : state)
    {
        mbstate_t shift = {};
        const wchar_t* wszIn = work.wsWide.c_str();
        Check(::wcsrtombs(work.narrow.data(), &wszIn, work.narrow.size(), &shift) ==
              work.strNarrow.size());
        benchmark::ClobberMemory();
    }
    SetBytes(state, work);
}

struct SContender
{
    const char* szDirection;
    const char* szName;
    void (*pRun)(benchmark::State&, SWork);
};

constexpr SContender kContenders[] = {
    {"Utf8ToWide", "zor", Utf8ToWideZor},
    {"Utf8ToWide", "zor_string", Utf8ToWideString},
    {"Utf8ToWide", "zor_new_string", Utf8ToWideNewString},
    {"Utf8ToWide", "iconv", Utf8ToWideIconv},
    {"Utf8ToWide", "mbsrtowcs", Utf8ToWideLibc},
    {"WideToUtf8", "zor", WideToUtf8Zor},
    {"WideToUtf8", "zor_string", WideToUtf8String},
    {"WideToUtf8", "zor_new_string", WideToUtf8NewString},
    {"WideToUtf8", "iconv", WideToUtf8Iconv},
    {"WideToUtf8", "wcsrtombs", WideToUtf8Libc},
};

bool RegisterAll()
{
    Check(std::setlocale(LC_CTYPE, "C.UTF-8") != nullptr); // for the C library's converters
    for (const SSize& size : kSizes)
    {
        for (const SText& text : kTexts)
        {
            for (const SContender& contender : kContenders)
            {
                const std::string strName = std::string(contender.szDirection) + "/" + text.szName +
                                            "/" + size.szName + "/" + contender.szName;
                benchmark::RegisterBenchmark(strName.c_str(), [&](benchmark::State& state)
                                             { contender.pRun(state, MakeWork(text, size)); });
            }
        }
    }
    return true;
}

const bool g_bRegistered = RegisterAll();

} // namespace
