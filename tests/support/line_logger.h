#ifndef ZOR_TESTS_SUPPORT_LINE_LOGGER_H
#define ZOR_TESTS_SUPPORT_LINE_LOGGER_H

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "logging/logger.h"

/// A system error as messages end with it.
inline std::string ErrorText(int iError)
{
    std::string strText("(");
    return strText.append(std::to_string(iError)).append(") ").append(std::strerror(iError));
}

/// The process's text logger for its own lifetime. It keeps each message as the severity's number,
/// a blank and the text.
class CLineLogger final : public ITextLogger
{
public:
    explicit CLineLogger(Severity eLowest = Undefined)
        : m_eLowest(eLowest), m_ptlPrevious(std::exchange(mu::g_ptlTextLogger, this))
    {
    }
    ~CLineLogger() { mu::g_ptlTextLogger = m_ptlPrevious; }

    CLineLogger(CLineLogger&&) = delete; // nor copied

    /// The messages since the last call.
    std::vector<std::string> TakeLines()
    {
        const std::scoped_lock lock(m_mutex);
        return std::exchange(m_vLines, {});
    }

    // The object belongs to its scope.
    int AddRef() override { return 1; }
    int Release() override { return 1; }

    Severity GetLowestLoggerServerity() override { return m_eLowest; }
    void LogMessage(Severity eSeverity, const char* szText) override
    {
        const std::scoped_lock lock(m_mutex);
        m_vLines.push_back(std::to_string(eSeverity) + " " + szText);
        if (m_onMessage)
        {
            m_onMessage();
        }
    }
    void LogMessageV(Severity eSeverity, const char* szFormat, va_list args) override
        __attribute__((format(printf, 3, 0)))
    {
        char* szText = nullptr;
        LogMessage(eSeverity, ::vasprintf(&szText, szFormat, args) >= 0 ? szText : "no memory");
        std::free(szText);
    }

    const Severity m_eLowest;
    std::function<void()> m_onMessage; ///< called on the thread that logs

private:
    ITextLogger* const m_ptlPrevious;
    std::mutex m_mutex;
    std::vector<std::string> m_vLines;
};

#endif
