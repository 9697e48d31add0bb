#include "diagnostics/state_report.h"

#include <cstdio>

#include <benchmark/benchmark.h>

// A report of 20 entries beside snprintf() of the same text, which trusts every pointer.

namespace
{

constexpr int kEntries = 20;

// The same frames each time, innermost last.
template <typename TWork>
void InEntries(int iEntries, const TWork& work)
{
    const char* szName = "/storage/recordings/current.mpg";
    CFunctionSwitch fsEntry("B::Entry");
    mu::CFunctionParam fpEntries(fsEntry, "iEntries", iEntries);
    mu::CFunctionParam fpName(fsEntry, "szName", szName);
    if (iEntries > 1)
    {
        InEntries(iEntries - 1, work);
    }
    else
    {
        work();
    }
}

void ReportZor(benchmark::State& state)
{
    InEntries(kEntries,
              [&]
              {
                  char szBuffer[4096];
                  for (auto _ : state)
                  {
                      benchmark::DoNotOptimize(WriteStateReport(
                          GetCurrentFuncStateEntry(), szBuffer, static_cast<int>(sizeof szBuffer)));
                  }
              });
}

void ReportPrintf(benchmark::State& state)
{
    InEntries(kEntries,
              [&]
              {
                  char szBuffer[4096];
                  for (auto _ : state)
                  {
                      std::size_t uLength = 0;
                      for (const SFuncStateEntry* p = GetCurrentFuncStateEntry(); p != nullptr;
                           p = p->m_pPrevious)
                      {
                          const SFuncStateParam* const q = p->m_pFirstParam;
                          uLength += static_cast<std::size_t>(std::snprintf(
                              szBuffer + uLength, sizeof szBuffer - uLength,
                              "%s %s=%d %s=\"%s\"\r\n", p->m_szTag, q->m_szName,
                              *static_cast<const int*>(q->m_pValue), q->m_pNext->m_szName,
                              *static_cast<const char* const*>(q->m_pNext->m_pValue)));
                      }
                      benchmark::DoNotOptimize(uLength);
                  }
              });
}

BENCHMARK(ReportZor)->Name("StateReport/20entries/zor");
BENCHMARK(ReportPrintf)->Name("StateReport/20entries/snprintf");

} // namespace
