#ifndef ZOR_DIAGNOSTICS_EXCEPTION_DELIVERY_H
#define ZOR_DIAGNOSTICS_EXCEPTION_DELIVERY_H

#include <atomic>
#include <cstddef>

#include "mu/calendar.h"

class CWinEvent;

namespace mu
{

/// Where reports go beside standard output and the process's text logger. Paths are at most 256 and
/// 255 characters, the rest is cut off; empty is none, and so is a null folder.
void SetExceptionLogFile(const wchar_t* wszPath);
void SetExceptionFilesFolder(const wchar_t* wszPath);
void SetExceptionEvent(CWinEvent* pEvent);
bool HasExceptionEvent();
void SetExceptionLogWriter(void (*pfnWrite)());

/// The delivery of one report: standard output, logger, log file, dated file; of a crash's also
/// the event and, last, the log writer. Each step fails for itself alone, and is taken by the first
/// thread or handler that comes to it: when one hangs in a step, another one's Run() does the rest.
/// Allocates nothing.
class CExceptionDelivery
{
public:
    explicit constexpr CExceptionDelivery(bool bOfCrash) : m_bOfCrash(bOfCrash) {}

    /// The report ends with a zero. The time, local, names the dated file.
    void Run(const char* szReport, int iLength, const mu::STimeComponents& time);
    /// Nothing of it is done any more: for a forked child, which inherits a delivery of its parent.
    void Restart() { m_uNextStep = 0; }
    /// The log writer at once, unless it was called: no other step begins any more.
    void SkipToLogWriter();

private:
    const bool m_bOfCrash;
    std::atomic<std::size_t> m_uNextStep{0};
};

} // namespace mu

#endif
