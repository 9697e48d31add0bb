#include "logging/logger.h"

namespace mu
{

ITextLogger* g_ptlTextLogger = nullptr;

ITextLogger* TextLoggerFor(IBaseLogger::Severity eSeverity)
{
    ITextLogger* const ptlLogger = g_ptlTextLogger;
    return ptlLogger != nullptr && ptlLogger->GetLowestLoggerServerity() <= eSeverity ? ptlLogger
                                                                                      : nullptr;
}

} // namespace mu
