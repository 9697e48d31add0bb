#ifndef ZOR_LOGGING_LOG_RECORDER_H
#define ZOR_LOGGING_LOG_RECORDER_H

#include <atomic>
#include <deque>
#include <string>
#include <string_view>

#include "logging/logger.h"
#include "logging/logging_parameters.h"
#include "mu/file_interfaces.h"
#include "threading/mutex.h"
#include "xml/easy_xml.h"

/// Keeps the most recent messages in memory, as documents with their times of arrival. Abstract:
/// the application derives from it and decides, with AddRef() and Release(), how long it lives.
///
/// Its logging parameters say which severities it keeps (from the log severity on) and how many
/// messages: the oldest go; 0 or less is no limit. They are loaded while no other thread logs.
///
/// A message is a document: the root "zor:Message" with the attribute "zor:Text", children
/// "zor:Parameter" with the attributes "zor:Name" and "zor:Value", and other children, which are
/// nested messages of the same form. The recorder keeps copies that nobody else touches.
///
/// Any thread may log, and no logging thread waits: a message that finds the recorder busy, or no
/// memory, is lost. How many were is told by a message of its own before the next one that is kept.
/// The operations that hand messages out throw std::bad_alloc without memory.
class CLogRecorder : public IXMLLogger, public ITextLogger, public SLoggingParameters
{
public:
    struct SLogMessageRec
    {
        unsigned long long m_ullTime; ///< seconds since 1970-01-01, UTC
        CEasyXML m_exmlMessage;
    };

    Severity GetLowestLoggerServerity() override;
    void SetLowestLogSeverity(Severity eSeverity);

    void LogMessage(Severity eSeverity, CEasyXML& exmlMessage) override;
    void LogMessage(Severity eSeverity, const char* szText) override;
    /// Texts longer than 499 bytes are cut.
    void LogMessageV(Severity eSeverity, const char* szFormat, va_list args) override
        __attribute__((format(printf, 3, 0)));
    /// Whatever its severity.
    void LogMessage(CEasyXML& exmlMessage);

    /// Makes the message of a UTF-8 text in an empty document.
    static void GetXMLLogMessage(const char* szText, CEasyXML& exmlMessage);

    // The questions below wait for the lock.

    int GetNumberOfMessages();
    /// Ever kept, those included that had to go.
    int GetTotalMessageCount();
    /// Gives one message, in a copy of the caller's own. While none has been dropped (the total is
    /// at most the maximum), iIndex counts from 0 for the oldest message held. After that it counts
    /// from 0 for the first one ever kept, and iCount is the number of messages that the caller
    /// believes to be held. False, with nothing changed, if the message is not held.
    bool GetLogMessage(int iIndex, int iCount, unsigned long long& ullTime, CEasyXML& exmlMessage);
    void Clear(); ///< The counters stay.

    // The forms of what is held, oldest first.

    /// A table of the messages with their own parameters; nested messages are left out. If html,
    /// which may hold text before, is then longer than iMaxLength bytes, the oldest rows go, but
    /// never the newest one. Whatever a message says stays text.
    void AppendHTMLTable(std::string& html, int iMaxLength);
    /// The parts of such a table: what stands before its rows, and the row of one message.
    static constexpr std::string_view kHTMLTableHead =
        "<table border='1'><tr><th>Time</th><th>Message</th><th>Parameters</th></tr>";
    static void AppendHTMLRow(const SLogMessageRec& record, std::string& html);

    // These take no lock, and are not checked for one: no other thread logs meanwhile. UTF-8; false
    // if it could not be written.

    /// The day, wherever it changes, and the messages, each with its time of day.
    bool WriteText(IFileWriter& writer, const wchar_t* wszLineEnd) ZOR_NO_THREAD_SAFETY_ANALYSIS;
    /// Both make or replace a file, which begins with a byte-order mark.
    bool SaveInXMLFile(const wchar_t* wszPath) ZOR_NO_THREAD_SAFETY_ANALYSIS;
    bool SaveInTextFile(const wchar_t* wszPath, const wchar_t* wszLineEnd);

    /// Appends one line for a message, text name="value" name="value", and one for each message
    /// nested in it. Nested lines are not indented: the depth makes no difference.
    static void CollectTextMessage(CEasyXMLNode& message, std::wstring& wsOut, int iDepth,
                                   const std::wstring& wsLineEnd);

protected:
    /// Throws std::bad_alloc without memory.
    CLogRecorder();
    ~CLogRecorder() override = default;

private:
    void LogText(const char* szText);
    void Keep(CEasyXML& exmlMessage);
    void KeepLocked(CEasyXML& exmlMessage) ZOR_REQUIRES(m_lock);

    std::deque<SLogMessageRec> m_messages ZOR_GUARDED_BY(m_lock);

protected:
    CMutualExclusion m_lock;

private:
    std::atomic<int> m_iLostMessages{0}; // since they were told last; changed without the lock
    long long m_llTotalMessages ZOR_GUARDED_BY(m_lock) = 0;
};

#endif
