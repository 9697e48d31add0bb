#include "logging/logger.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

void ITextLogger::LogMessageF(Severity eSeverity, const char* szFormat, ...)
{
    va_list args;
    va_start(args, szFormat);
    LogMessageV(eSeverity, szFormat, args);
    va_end(args);
}

namespace mu
{

ITextLogger* g_ptlTextLogger = nullptr;

ITextLogger* TextLoggerFor(IBaseLogger::Severity eSeverity)
{
    ITextLogger* const ptlLogger = g_ptlTextLogger;
    return ptlLogger != nullptr && ptlLogger->GetLowestLoggerServerity() <= eSeverity ? ptlLogger
                                                                                      : nullptr;
}

void LogSystemError(int iError, const char* szFormat, ...)
{
    va_list args;
    va_start(args, szFormat);
    LogSystemErrorV(iError, szFormat, args);
    va_end(args);
}

void LogSystemErrorV(int iError, const char* szFormat, va_list args)
{
    ITextLogger* const ptlLogger = TextLoggerFor(IBaseLogger::Error);
    char* szText = nullptr;
    if (ptlLogger != nullptr && ::vasprintf(&szText, szFormat, args) >= 0)
    {
        ptlLogger->LogMessageF(IBaseLogger::Error, "%s: (%d) %s", szText, iError,
                               std::strerror(iError));
        std::free(szText);
    }
}

} // namespace mu
