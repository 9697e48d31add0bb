#include "diagnostics/backtrace.h"

#include <cstddef>

#include <execinfo.h>
#include <fcntl.h>
#include <unistd.h>

#include "diagnostics/fixed_text.h"
#include "diagnostics/readable_memory.h"

namespace
{

struct SFrames
{
    void* m_vAddresses[16];
    int m_iFrames;
};

void FindFrames(void* pArgument)
{
    auto& frames = *static_cast<SFrames*>(pArgument);
    frames.m_iFrames =
        ::backtrace(frames.m_vAddresses, static_cast<int>(std::size(frames.m_vAddresses)));
}

/// backtrace_symbols() allocates; the same text comes out of a pipe without. Made anew each time: a
/// descriptor that was kept may be another file's by now. No end blocks.
class CSymbolPipe
{
public:
    CSymbolPipe()
    {
        if (::pipe2(m_vEnds, O_CLOEXEC | O_NONBLOCK) != 0)
        {
            m_vEnds[0] = m_vEnds[1] = -1;
        }
    }
    ~CSymbolPipe()
    {
        ::close(m_vEnds[0]);
        ::close(m_vEnds[1]);
    }

    CSymbolPipe(const CSymbolPipe&) = delete;
    CSymbolPipe& operator=(const CSymbolPipe&) = delete;

    bool AppendSymbol(CFixedText& text, void* pAddress)
    {
        constexpr int kLineEnd = 2;
        if (m_vEnds[0] < 0 || text.Room() < kLineEnd)
        {
            return false;
        }
        ::backtrace_symbols_fd(&pAddress, 1, m_vEnds[1]);
        const auto iLength = static_cast<int>(
            ::read(m_vEnds[0], text.Rest(), static_cast<std::size_t>(text.Room())));
        // With its "\n", or it was cut.
        if (iLength <= 0 || text.Rest()[iLength - 1] != '\n' ||
            text.Room() < iLength - 1 + kLineEnd)
        {
            return false;
        }
        text.Extend(iLength - 1);
        return text.Append("\r\n");
    }

private:
    int m_vEnds[2];
};

} // namespace

int Backtrace(char* szBuffer, int iBufferSize)
{
    CFixedText text(szBuffer, iBufferSize);
    if (text.Append("Backtrace:\r\n"))
    {
        SFrames frames = {};
        CMemoryProbe().Call(FindFrames, &frames);
        CSymbolPipe pipe;
        for (int i = 0; i < frames.m_iFrames && pipe.AppendSymbol(text, frames.m_vAddresses[i]);
             ++i)
        {
        }
    }
    return text.Length();
}

void PrepareBacktrace()
{
    SFrames frames = {};
    FindFrames(&frames); // its first call loads a library
}
