#include "logging/log_recorder.h"

#include <cstddef>
#include <new>
#include <utility>

#include "mu/lengths.h"
#include "mu/text.h"
#include "threading/system_clock.h"
#include "threading/wait_time.h"
#include "xml/document_namespace.h"

CLogRecorder::CLogRecorder()
{
    if (!m_lock.IsValid())
    {
        throw std::bad_alloc();
    }
}

IBaseLogger::Severity CLogRecorder::GetLowestLoggerServerity()
{
    return static_cast<Severity>(std::atomic_ref(m_iLogSeverity).load(std::memory_order_relaxed));
}

void CLogRecorder::SetLowestLogSeverity(Severity eSeverity)
{
    std::atomic_ref(m_iLogSeverity).store(eSeverity, std::memory_order_relaxed);
}

void CLogRecorder::LogMessage(Severity eSeverity, CEasyXML& exmlMessage)
{
    if (eSeverity >= GetLowestLoggerServerity())
    {
        LogMessage(exmlMessage);
    }
}

void CLogRecorder::LogMessage(Severity eSeverity, const char* szText)
{
    if (eSeverity >= GetLowestLoggerServerity())
    {
        LogText(szText);
    }
}

void CLogRecorder::LogMessageV(Severity eSeverity, const char* szFormat, va_list args)
{
    if (eSeverity >= GetLowestLoggerServerity())
    {
        char szText[500] = "";
        mu::VSNPrintF(szText, sizeof(szText), szFormat, args);
        LogText(szText);
    }
}

void CLogRecorder::LogMessage(CEasyXML& exmlMessage)
{
    try
    {
        CEasyXML exmlClone = exmlMessage.Clone();
        Keep(exmlClone);
    }
    catch (const std::bad_alloc&)
    {
        ++m_iLostMessages;
    }
}

void CLogRecorder::LogText(const char* szText)
{
    try
    {
        CEasyXML exmlMessage;
        GetXMLLogMessage(szText, exmlMessage);
        Keep(exmlMessage);
    }
    catch (const std::bad_alloc&)
    {
        ++m_iLostMessages;
    }
}

void CLogRecorder::GetXMLLogMessage(const char* szText, CEasyXML& exmlMessage)
{
    exmlMessage.AddRoot(L"zor:Message", mu::g_wszDocumentNamespace)
        .SetAttributeValue(L"zor:Text", mu::g_wszDocumentNamespace, szText);
}

// Moves the document into the store and leaves an empty one. A document is for one thread, so the
// caller must have no further handle on it.
//
// A thread that holds the lock to read the recorder may have an error to log. Its message is lost
// like any other that finds the recorder busy: locking again would be reported as a relock.
void CLogRecorder::Keep(CEasyXML& exmlMessage)
{
    if (m_lock.IsLockedByCurrentThread())
    {
        ++m_iLostMessages;
        return;
    }
    const CMutexProtection lock(m_lock, 0);
    if (!lock.IsLocked())
    {
        ++m_iLostMessages;
        return;
    }
    const int iLost = m_iLostMessages.load();
    if (iLost != 0)
    {
        char szLost[64];
        mu::SNPrintF(szLost, sizeof(szLost), "%d message%s could not be logged", iLost,
                     iLost < 2 ? "" : "s");
        CEasyXML exmlLost;
        GetXMLLogMessage(szLost, exmlLost);
        KeepLocked(exmlLost);
        m_iLostMessages -= iLost; // more may have come meanwhile
    }
    KeepLocked(exmlMessage);
}

void CLogRecorder::KeepLocked(CEasyXML& exmlMessage)
{
    const std::size_t uMaximum = mu::UnitCount(m_iMaxNumberOfLogMessages);
    while (uMaximum > 0 && m_messages.size() >= uMaximum)
    {
        m_messages.pop_front();
    }
    m_messages.push_back({static_cast<unsigned long long>(mu::GetCurrentUTCTime()), CEasyXML()});
    std::swap(m_messages.back().m_exmlMessage, exmlMessage);
    ++m_llTotalMessages;
}

int CLogRecorder::GetNumberOfMessages()
{
    const CMutexProtection lock(m_lock, mu::kInfinite);
    return mu::IntCount(m_messages.size());
}

int CLogRecorder::GetTotalMessageCount()
{
    const CMutexProtection lock(m_lock, mu::kInfinite);
    return static_cast<int>(m_llTotalMessages);
}

bool CLogRecorder::GetLogMessage(int iIndex, int iCount, unsigned long long& ullTime,
                                 CEasyXML& exmlMessage)
{
    const CMutexProtection lock(m_lock, mu::kInfinite);
    long long llPosition = iIndex;
    if (m_llTotalMessages > m_iMaxNumberOfLogMessages)
    {
        llPosition += iCount - m_llTotalMessages;
    }
    if (llPosition < 0 || llPosition >= static_cast<long long>(m_messages.size()))
    {
        return false;
    }
    const SLogMessageRec& record = m_messages[static_cast<std::size_t>(llPosition)];
    exmlMessage = record.m_exmlMessage.Clone();
    ullTime = record.m_ullTime;
    return true;
}

void CLogRecorder::Clear()
{
    const CMutexProtection lock(m_lock, mu::kInfinite);
    m_messages.clear();
}
