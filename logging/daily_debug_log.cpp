#include "logging/daily_debug_log.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <new>
#include <utility>

#include "diagnostics/crash_handler.h"
#include "diagnostics/function_state.h"
#include "logging/log_recorder.h"
#include "mu/lengths.h"
#include "mu/text.h"
#include "mu/unicode.h"
#include "threading/system_clock.h"

namespace
{

constexpr char kLineEnd[] = {'\r', '\n'};
constexpr int kLineEndSize = sizeof(kLineEnd);

// Reads a byte of each page of a text: if the text cannot be read, this faults here, and not under
// the lock that other threads need.
void TouchText(const char* pText, int iLength)
{
    constexpr int kSmallestPage = 4096;
    for (int i = 0; i < iLength; i += std::min(kSmallestPage, std::max(1, iLength - 1 - i)))
    {
        static_cast<void>(*const_cast<const volatile char*>(pText + i));
    }
}

} // namespace

CDailyDebugLog::CTextBuffer* CDailyDebugLog::MakeTextBuffer()
{
    auto* const pTextBuffer = new CTextBuffer;
    pTextBuffer->AddRef();
    return pTextBuffer;
}

CDailyDebugLog::CDailyDebugLog()
    : m_pTextBuffer(MakeTextBuffer()), m_pFlushMutex(std::make_shared<CFlushMutex>())
{
    RegisterForCrash();
}

CDailyDebugLog::~CDailyDebugLog()
{
    ReleaseResources();
}

void CDailyDebugLog::ReleaseResources()
{
    ForgetClock();
    if (const CSchedulerReference pScheduler = GetScheduler())
    {
        SetStorageScheduler(nullptr);
        pScheduler->RemoveTasks(0, TimeToSaveLog, this, 1);
        pScheduler->RemoveTasks(0, TimeToHandleConfigChange, this, 1);
    }
    const CFlushLock flushLock(*m_pFlushMutex);
    const mu::CPosixLock writeLock(m_writeMutex);
    UnregisterForCrash();
    m_pTextBuffer.reset();
    CloseFile();
}

bool CDailyDebugLog::SetBufferSize(int iSize)
{
    const mu::CPosixLock lock(m_writeMutex);
    if (m_pTextBuffer == nullptr || !m_pTextBuffer->SetBufferSize(iSize))
    {
        return false;
    }
    m_iBufferSize = iSize;
    m_llFreeAtLeast = 0;
    return true;
}

void CDailyDebugLog::SetRecConfig(CMediaRecorderConfiguration* pRecConfig)
{
    m_pRecConfig = pRecConfig;
    PrepareForCrash();
    m_bArmed = true;
}

void CDailyDebugLog::SetInitLogCallback(LogCallback pCallback, void* pContext)
{
    m_pInitCallback = pCallback;
    m_pInitContext = pContext;
}

void CDailyDebugLog::SetTermLogCallback(LogCallback pCallback, void* pContext)
{
    m_pTermCallback = pCallback;
    m_pTermContext = pContext;
}

void CDailyDebugLog::SetStorageScheduler(IScheduler* pScheduler)
{
    CSchedulerReference pOld;
    {
        const mu::CPosixLock lock(m_writeMutex);
        if (pScheduler == m_pScheduler)
        {
            return;
        }
        if (pScheduler != nullptr)
        {
            pScheduler->AddRef();
        }
        pOld.reset(std::exchange(m_pScheduler, pScheduler));
    }
}

CDailyDebugLog::CSchedulerReference CDailyDebugLog::GetScheduler()
{
    const mu::CPosixLock lock(m_writeMutex);
    if (m_pScheduler != nullptr)
    {
        m_pScheduler->AddRef();
    }
    return CSchedulerReference(m_pScheduler);
}

bool CDailyDebugLog::AddText(const char* szText, int iLength, bool bAddNewLine)
{
    const char* szState = "copy block";
    CFunctionSwitch fsAddText("DDL::AT");
    mu::CFunctionParam fpState(fsAddText, "szState", szState);

    if (iLength <= m_iBufferSize)
    {
        TouchText(szText, iLength);
    }
    return AddBlock(szText, iLength, iLength, bAddNewLine, szState);
}

bool CDailyDebugLog::AddTextF(const char* szFormat, ...)
{
    va_list args;
    va_start(args, szFormat);
    const bool bAdded = AddTextV(szFormat, args);
    va_end(args);
    return bAdded;
}

bool CDailyDebugLog::AddTextV(const char* szFormat, va_list args)
{
    const char* szState = "printf";
    CFunctionSwitch fsAddText("DDL::ATV");
    mu::CFunctionParam fpState(fsAddText, "szState", szState);

    // Formatted outside the lock: an argument that faults must not leave it held.
    char szLine[kLineBlockSize];
    const int iLength = mu::VSNPrintF(szLine, kLineBlockSize, szFormat, args);
    const bool bFits = iLength >= 1 && iLength <= kLineBlockSize - kLineEndSize;
    return AddBlock(szLine, bFits ? iLength : -1, kLineBlockSize - kLineEndSize, true, szState);
}

// Allocates a block with room for iRoom bytes of text, writes iLength bytes of text and, if asked,
// the line end into it and commits those. A negative iLength adds nothing.
bool CDailyDebugLog::AddBlock(const char* pText, int iLength, int iRoom, bool bAddNewLine,
                              const char*& szState)
{
    const int iLineEnd = bAddNewLine ? kLineEndSize : 0;
    if (iLength < 0 || iRoom > m_iBufferSize - iLineEnd)
    {
        szState = "check size";
        CheckLargeContent();
        return false;
    }
    bool bAdded = false;
    bool bFlush = false;
    {
        szState = "alloc";
        const mu::CPosixLock lock(m_writeMutex);
        if (m_pTextBuffer == nullptr || m_bCrashed)
        {
            return false;
        }
        const int iBlock = iRoom + iLineEnd;
        if (void* const pBlock = m_pTextBuffer->AllocateBlock(iBlock))
        {
            szState = "copy block";
            char* const pEnd = std::copy_n(pText, iLength, static_cast<char*>(pBlock));
            std::copy_n(kLineEnd, iLineEnd, pEnd);
            szState = "commit";
            bAdded = m_pTextBuffer->CommitWrittenBlock(pBlock, iLength + iLineEnd, iBlock) &&
                     !m_bCrashed;
        }
        szState = "check size";
        // A block uses up at most twice its size: if it does not fit before the ring's end, the
        // tail that is skipped there is shorter than the block.
        m_llFreeAtLeast -= 2LL * iBlock;
        // A line may find no room in a small buffer although less than half of it is used.
        bFlush =
            (m_llFreeAtLeast < m_iBufferSize / 2 && IsContentLarge()) || (!bAdded && iBlock > 0);
    }
    if (bFlush)
    {
        RequestFlush(false);
    }
    return bAdded;
}

bool CDailyDebugLog::IsContentLarge()
{
    if (m_pTextBuffer == nullptr)
    {
        return false;
    }
    m_llFreeAtLeast = m_pTextBuffer->GetAvailableSizeToWrite();
    return m_llFreeAtLeast < m_iBufferSize / 2;
}

void CDailyDebugLog::CheckLargeContent()
{
    bool bLarge = false;
    {
        const mu::CPosixLock lock(m_writeMutex);
        bLarge = IsContentLarge();
    }
    if (bLarge)
    {
        RequestFlush(false);
    }
}

void CDailyDebugLog::CheckSeverity(Severity eSeverity)
{
    if (eSeverity == Error)
    {
        RequestFlush(true);
    }
}

// After a failed write (m_llRetryTime is not 0) the buffer may be full although the disk has room
// again. So an Error that was not added asks for a flush, and is added again, before it is dropped.
template <typename TAdd>
void CDailyDebugLog::AddMessage(Severity eSeverity, TAdd add)
{
    if (!add() && eSeverity == Error && m_llRetryTime != 0)
    {
        CheckSeverity(eSeverity);
        add();
    }
    CheckSeverity(eSeverity);
}

void CDailyDebugLog::LogMessage(Severity eSeverity, CEasyXML& exmlMessage)
{
    CFunctionSwitch fsLogMessage("DDL::LM");

    if (eSeverity < m_eLowestSeverity)
    {
        return;
    }
    std::string strText;
    try
    {
        mu::STimeComponents now;
        mu::GetLocalTimeComponents(mu::GetCurrentUTCTime(), now);
        wchar_t wszTime[10];
        mu::SWPrintF(wszTime, static_cast<int>(std::size(wszTime)), L"%02d:%02d:%02d ", now.m_iHour,
                     now.m_iMinute, now.m_iSecond);
        std::wstring wsText(wszTime);
        CEasyXMLNode message = exmlMessage.GetRoot();
        CLogRecorder::CollectTextMessage(message, wsText, 0, L"\r\n");
        strText = mu::WideStringToNarrow(wsText);
    }
    catch (const std::bad_alloc&)
    {
        // Dropped, as a line without room is.
    }
    AddMessage(eSeverity,
               [&] { return AddText(strText.data(), mu::IntCount(strText.size()), false); });
}

void CDailyDebugLog::LogMessage(Severity eSeverity, const char* szText)
{
    if (mu::IsCrashReport(szText))
    {
        m_szCrashReport = szText; // for WriteInCrash()
    }
    else if (eSeverity >= m_eLowestSeverity)
    {
        const int iLength = szText != nullptr ? mu::IntCount(std::strlen(szText)) : 0;
        AddMessage(eSeverity, [=, this] { return AddText(szText, iLength, true); });
    }
}

void CDailyDebugLog::LogMessageV(Severity eSeverity, const char* szFormat, va_list args)
{
    if (eSeverity >= m_eLowestSeverity)
    {
        AddMessage(eSeverity,
                   [&]
                   {
                       va_list argsOfTry;
                       va_copy(argsOfTry, args);
                       const bool bAdded = AddTextV(szFormat, argsOfTry);
                       va_end(argsOfTry);
                       return bAdded;
                   });
    }
}
