#include "mu/web.h"

#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <sstream>
#include <string>

#include <benchmark/benchmark.h>

// Requests and replies beside what one would write without the library: <what>/<text>/<who>.

namespace
{

constexpr std::size_t kTextLength = 65536;

/// Random text of which about iPercent percent of the characters are escaped.
std::string MakeEncoded(unsigned int uPercent)
{
    std::minstd_rand random;
    std::string strText;
    while (strText.size() < kTextLength)
    {
        const bool bEscaped = random() % 100 < uPercent;
        std::string strCharacter(1, static_cast<char>((bEscaped ? 0x80 : 'a') + random() % 26));
        mu::EncodeURL(strCharacter);
        strText += strCharacter;
    }
    return strText;
}

/// Character by character into a new string, with the C library's tests and conversions.
std::string DecodePlain(const std::string& strText)
{
    std::string strOut;
    for (std::size_t i = 0; i < strText.size(); ++i)
    {
        const auto IsHex = [&](std::size_t uAt)
        { return std::isxdigit(static_cast<unsigned char>(strText[uAt])) != 0; };
        if (strText[i] == '%' && strText.size() - i > 2 && IsHex(i + 1) && IsHex(i + 2))
        {
            const char szDigits[] = {strText[i + 1], strText[i + 2], '\0'};
            strOut += static_cast<char>(std::strtol(szDigits, nullptr, 16));
            i += 2;
        }
        else
        {
            strOut += strText[i] == '+' ? ' ' : strText[i];
        }
    }
    return strOut;
}

template <typename TDecode>
void Decode(benchmark::State& state, unsigned int uPercent, TDecode Run)
{
    const std::string strEncoded = MakeEncoded(uPercent);
    std::string strText;
    for (auto _ : state)
    {
        strText = strEncoded;
        Run(strText);
        benchmark::DoNotOptimize(strText.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(strEncoded.size()));
}

/// A connection that takes everything.
class CSink final : public IWebServerExtContext
{
public:
    const char* GetRequestObject() override { return "/"; }
    const char* GetRequestHeader(const char* /*szName*/) override { return nullptr; }
    int Write(const void* pData, int iLength) override
    {
        benchmark::DoNotOptimize(pData);
        return iLength;
    }
};

template <typename TReply>
void Header(benchmark::State& state, TReply Reply)
{
    CSink sink;
    int iStatus = 200;
    int iLength = 48213;
    const char* szType = "text/html";
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(iStatus);
        benchmark::DoNotOptimize(iLength);
        benchmark::DoNotOptimize(szType);
        Reply(sink, iStatus, szType, iLength);
    }
}

constexpr const char* kNotCached = "\r\nCache-Control: no-cache, no-store, max-age=0, "
                                   "must-revalidate\r\nPragma: no-cache\r\n\r\n";

void HeaderZor(CSink& sink, int iStatus, const char* szType, int iLength)
{
    mu::WriteHttpContentHeader(iStatus, "OK", szType, false, iLength, &sink);
}

void HeaderStream(CSink& sink, int iStatus, const char* szType, int iLength)
{
    std::ostringstream header;
    header << "HTTP/1.1 " << iStatus << " OK\r\nContent-Type: " << szType
           << "\r\nContent-Length: " << iLength << kNotCached;
    const std::string strHeader = header.str();
    sink.Write(strHeader.data(), static_cast<int>(strHeader.size()));
}

void HeaderString(CSink& sink, int iStatus, const char* szType, int iLength)
{
    const std::string strHeader = "HTTP/1.1 " + std::to_string(iStatus) +
                                  " OK\r\nContent-Type: " + szType +
                                  "\r\nContent-Length: " + std::to_string(iLength) + kNotCached;
    sink.Write(strHeader.data(), static_cast<int>(strHeader.size()));
}

const bool g_bRegistered = []
{
    for (const unsigned int uPercent : {0U, 2U, 30U})
    {
        const std::string strName = "UrlDecode/" + std::to_string(uPercent) + "%/";
        const auto Register = [&](const char* szWho, auto Run)
        {
            benchmark::RegisterBenchmark((strName + szWho).c_str(), [=](benchmark::State& state)
                                         { Decode(state, uPercent, Run); });
        };
        Register("zor", [](std::string& strText) { mu::DecodeURL(strText); });
        Register("plain", [](std::string& strText) { strText = DecodePlain(strText); });
        Register("memcpy", [](std::string&) {});
    }
    benchmark::RegisterBenchmark("ReplyHeader/zor",
                                 [](benchmark::State& state) { Header(state, HeaderZor); });
    benchmark::RegisterBenchmark("ReplyHeader/ostringstream",
                                 [](benchmark::State& state) { Header(state, HeaderStream); });
    benchmark::RegisterBenchmark("ReplyHeader/string",
                                 [](benchmark::State& state) { Header(state, HeaderString); });
    return true;
}();

} // namespace
