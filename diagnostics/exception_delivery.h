#ifndef ZOR_DIAGNOSTICS_EXCEPTION_DELIVERY_H
#define ZOR_DIAGNOSTICS_EXCEPTION_DELIVERY_H

#include <atomic>
#include <cstddef>

#include "mu/calendar.h"

namespace mu
{

/// Delivers one report in steps: to standard output, the logger, the log file and the dated file,
/// and in a crash also to the event and, last, the log writer. A step that fails does not keep the
/// others from being taken. Each step is taken once, by the first thread or handler that comes to
/// it: when one of them hangs in a step, Run() of another takes the rest. Allocates nothing.
class CExceptionDelivery
{
public:
    explicit constexpr CExceptionDelivery(bool bOfCrash) : m_bOfCrash(bOfCrash) {}

    /// iLength does not count the zero that ends the report. The dated file is named after time, a
    /// local time.
    void Run(const char* szReport, int iLength, const mu::STimeComponents& time);
    /// Begins anew: for a forked child, which inherits the steps that its parent has taken.
    void Restart() { m_uNextStep = 0; }
    /// Calls the log writer at once, unless it was called before; no other step begins any more.
    void SkipToLogWriter();

private:
    const bool m_bOfCrash;
    std::atomic<std::size_t> m_uNextStep{0};
};

} // namespace mu

#endif
