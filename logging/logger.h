#ifndef ZOR_LOGGING_LOGGER_H
#define ZOR_LOGGING_LOGGER_H

#include <cstdarg>

class CEasyXML;

/// A reference-counted object. Both operations return the new count; the object deletes itself
/// when it reaches 0. Any thread may call them.
class ISticky
{
public:
    virtual int AddRef() = 0;
    virtual int Release() = 0;

protected:
    ~ISticky() = default;
};

/// What every logger has. Any thread may call any operation of a logger.
class IBaseLogger : public virtual ISticky
{
public:
    enum Severity : int
    {
        Undefined = 0,
        Status = 1,
        Warning = 2,
        Error = 3,
    };

    /// Messages below this severity are not wanted.
    virtual Severity GetLowestLoggerServerity() = 0;

protected:
    ~IBaseLogger() = default;
};

/// Takes messages as documents: root "zor:Message" with the attribute "zor:Text".
class IXMLLogger : public IBaseLogger
{
public:
    virtual void LogMessage(IBaseLogger::Severity eSeverity, CEasyXML& exmlMessage) = 0;

protected:
    ~IXMLLogger() = default;
};

/// Takes messages as UTF-8 text without a line end.
class ITextLogger : public IBaseLogger
{
public:
    virtual void LogMessage(IBaseLogger::Severity eSeverity, const char* szText) = 0;
    /// Calls LogMessageV().
    virtual void LogMessageF(IBaseLogger::Severity eSeverity, const char* szFormat, ...)
        __attribute__((format(printf, 3, 4)));
    virtual void LogMessageV(IBaseLogger::Severity eSeverity, const char* szFormat, va_list args)
        __attribute__((format(printf, 3, 0))) = 0;

protected:
    ~ITextLogger() = default;
};

namespace mu
{

/// The process's logger, null until the application installs one. The application sets it before
/// other threads start and keeps the logger alive while any of them runs.
extern ITextLogger* g_ptlTextLogger;

/// The process's logger if it is installed and wants messages of this severity, else null.
ITextLogger* TextLoggerFor(IBaseLogger::Severity eSeverity);

/// Logs what failed, at severity Error, with the system's error: "<text>: (<errno>) <strerror>".
void LogSystemError(int iError, const char* szFormat, ...) __attribute__((format(printf, 2, 3)));
void LogSystemErrorV(int iError, const char* szFormat, va_list args)
    __attribute__((format(printf, 2, 0)));

} // namespace mu

#endif
