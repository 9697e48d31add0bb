// Loading, destroying and writing device-parameters documents, beside other libraries.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>
#include <malloc.h>

#include "bench/support/heap_meter.h"
#include "bench/xml/documents.h"
#include "bench/xml/peers.h"

namespace
{

/// The share of the time that goes into destroying, in percent.
double DestroyingShare(const SPeer& peer, const std::string& strXML)
{
    using SClock = std::chrono::steady_clock;
    SClock::duration total{};
    SClock::duration destroying{};
    const std::size_t uRounds = std::clamp<std::size_t>((16 << 20) / strXML.size(), 1, 20);
    for (std::size_t i = 0; i < uRounds; ++i)
    {
        const auto start = SClock::now();
        auto pDocument = peer.m_pMake();
        pDocument->Load(strXML);
        const auto loaded = SClock::now();
        pDocument.reset();
        const auto end = SClock::now();
        total += end - start;
        destroying += end - loaded;
    }
    return 100 * std::chrono::duration<double>(destroying) / total;
}

double PeakHeapPerByte(const SPeer& peer, const std::string& strXML)
{
    CHeapMeter::Start();
    auto pDocument = peer.m_pMake();
    pDocument->Load(strXML);
    const std::size_t uPeak = CHeapMeter::StopAndGetPeak();
    return static_cast<double>(uPeak) / static_cast<double>(strXML.size());
}

void LoadAndDestroy(benchmark::State& state, const SPeer& peer, const std::string& strXML)
{
    for (auto unused : state)
    {
        if (!peer.m_pMake()->Load(strXML))
        {
            state.SkipWithError("does not load");
            return;
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(strXML.size()) * state.iterations());
    state.counters["heap/B"] = PeakHeapPerByte(peer, strXML);
    state.counters["destroy%"] = DestroyingShare(peer, strXML);
}

void Write(benchmark::State& state, const SPeer& peer, const std::string& strXML)
{
    const auto pDocument = peer.m_pMake();
    pDocument->Load(strXML);
    std::size_t uWritten = 0;
    for (auto unused : state)
    {
        std::string strOut;
        pDocument->Write(strOut);
        uWritten = strOut.size();
        benchmark::DoNotOptimize(strOut.data());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(uWritten) * state.iterations());
}

} // namespace

int main(int iArgs, char** ppArgs)
{
    // Freed memory stays with the process: otherwise each round pays the kernel for its pages, and
    // whoever runs after a larger document does not.
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
    mallopt(M_MMAP_THRESHOLD, 1 << 30);

    constexpr std::pair<const char*, std::size_t> kSizes[] = {
        {"4k", 4 << 10}, {"64k", 64 << 10}, {"1m", 1 << 20}, {"16m", 16 << 20}, {"64m", 64 << 20}};
    static std::string aDocuments[std::size(kSizes)];
    std::vector<SPeer> peers(std::begin(g_aPeers), std::end(g_aPeers));
    peers.insert(peers.end(), std::begin(g_aLargePeers), std::end(g_aLargePeers));
    for (std::size_t i = 0; i < std::size(kSizes); ++i)
    {
        aDocuments[i] = MakeDeviceParameters(kSizes[i].second);
        for (const SPeer& peer : peers)
        {
            const std::string strSuffix = std::string("/") + kSizes[i].first + "/" + peer.m_szName;
            benchmark::RegisterBenchmark(("XmlLoadDestroy" + strSuffix).c_str(),
                                         [peer, i](benchmark::State& state)
                                         { LoadAndDestroy(state, peer, aDocuments[i]); });
            if (peer.m_bWrites)
            {
                benchmark::RegisterBenchmark(("XmlWrite" + strSuffix).c_str(),
                                             [peer, i](benchmark::State& state)
                                             { Write(state, peer, aDocuments[i]); });
            }
        }
    }
    benchmark::Initialize(&iArgs, ppArgs);
    if (benchmark::ReportUnrecognizedArguments(iArgs, ppArgs))
    {
        return 2;
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
