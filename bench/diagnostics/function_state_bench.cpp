#include "diagnostics/function_state.h"

#include <benchmark/benchmark.h>

// What tracing adds to a call: the same work with and without an entry. The asm statements keep
// the compiler from merging calls; they cost no instruction.

namespace
{

[[gnu::noinline]] int BareWithout(int iValue)
{
    asm volatile("" : "+r"(iValue));
    return iValue;
}

[[gnu::noinline]] int TracedWithout(int iValue)
{
    CFunctionSwitch fsTraced("B::T0");
    asm volatile("" : "+r"(iValue));
    return iValue;
}

// The traced variables must be in memory; here they are in both.
[[gnu::noinline]] int BareWithTwo(const char* szText, int iLength)
{
    asm volatile("" : : "m"(szText), "m"(iLength) : "memory");
    return iLength;
}

[[gnu::noinline]] int TracedWithTwo(const char* szText, int iLength)
{
    CFunctionSwitch fsTraced("B::T2");
    mu::CFunctionParam fpText(fsTraced, "szText", szText);
    mu::CFunctionParam fpLength(fsTraced, "iLength", iLength);
    asm volatile("" : : "m"(szText), "m"(iLength) : "memory");
    return iLength;
}

template <typename TCall>
void Run(benchmark::State& state, TCall call)
{
    // A caller that is traced itself, as nearly every one is.
    CFunctionSwitch fsCaller("B::Run");
    int iValue = 1;
    for (auto _ : state)
    {
        iValue = call(iValue);
    }
    benchmark::DoNotOptimize(iValue);
}

void Params0Bare(benchmark::State& state)
{
    Run(state, BareWithout);
}
void Params0Zor(benchmark::State& state)
{
    Run(state, TracedWithout);
}
void Params2Bare(benchmark::State& state)
{
    Run(state, [](int iValue) { return BareWithTwo("text", iValue); });
}
void Params2Zor(benchmark::State& state)
{
    Run(state, [](int iValue) { return TracedWithTwo("text", iValue); });
}

BENCHMARK(Params0Bare)->Name("Trace/params0/bare");
BENCHMARK(Params0Zor)->Name("Trace/params0/zor");
BENCHMARK(Params2Bare)->Name("Trace/params2/bare");
BENCHMARK(Params2Zor)->Name("Trace/params2/zor");

} // namespace
