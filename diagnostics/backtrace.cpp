#include "diagnostics/backtrace.h"

#include "diagnostics/crash_backtrace.h"
#include "diagnostics/fixed_text.h"
#include "diagnostics/readable_memory.h"
#include "diagnostics/stack_walk.h"
#include "diagnostics/symbol.h"

namespace mu
{

namespace
{

template <typename TOrigin>
int WriteBacktrace(TOrigin& origin, char* szBuffer, int iBufferSize)
{
    CFixedText text(szBuffer, iBufferSize);
    if (!text.Append("Backtrace:\r\n"))
    {
        return 0;
    }
    CMemoryProbe probe;
    for (const CStackWalk::SFrame& frame : CStackWalk(probe, origin))
    {
        const int iStart = text.Length();
        if (!AppendSymbol(probe, text, frame.m_uAddress, frame.m_uInside) || !text.Append("\r\n"))
        {
            text.CutBackTo(iStart);
            break;
        }
    }
    return text.Length();
}

} // namespace

int BacktraceFrom(const void* pReturnAddress, char* szBuffer, int iBufferSize)
{
    return WriteBacktrace(pReturnAddress, szBuffer, iBufferSize);
}

int BacktraceOfSignal(ucontext_t& context, char* szBuffer, int iBufferSize)
{
    return WriteBacktrace(context, szBuffer, iBufferSize);
}

void PrepareBacktrace()
{
    char szText[1024];
    // The dynamic linker binds a function at its first call, which a crash must not have to do.
    Backtrace(szText, static_cast<int>(sizeof(szText)));
}

} // namespace mu

[[gnu::noinline]] int Backtrace(char* szBuffer, int iBufferSize)
{
    return mu::BacktraceFrom(__builtin_return_address(0), szBuffer, iBufferSize);
}
