#include "diagnostics/state_report.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <iterator>
#include <string_view>

#include <sched.h>

#include "diagnostics/fixed_text.h"
#include "diagnostics/readable_memory.h"
#include "diagnostics/set_aside_chain.h"
#include "logging/logger.h"
#include "mu/unicode.h"

const char* mu::g_szApplicationName = "Unknown Application";
const char* mu::g_szVersion = "Unknown Version";

using namespace mu;

namespace
{

constexpr std::string_view kSeparator = "===============\r\n";

/// What must be left of the room for a text that is copied: line end and a short value.
constexpr int kSpareRoom = 15;

/// Text is copied in pieces. Those of narrow text end at a multiple of it, and so never reach into
/// a page that the text does not.
constexpr std::size_t kPiece = 64;

/// Finds out that a walk along links runs in a circle, soon after its first round.
class CCircleCheck
{
public:
    bool IsCircle(const void* pLink)
    {
        if (pLink == m_pMark || m_uSteps == kMostSteps)
        {
            return true;
        }
        if (++m_uSteps == m_uNextMark)
        {
            m_pMark = pLink;
            m_uNextMark *= 2;
        }
        return false;
    }

private:
    // A chain that changes while it is read may evade the mark.
    static constexpr unsigned int kMostSteps = 1U << 16;

    const void* m_pMark = nullptr;
    unsigned int m_uSteps = 0;
    unsigned int m_uNextMark = 1;
};

/// The text of a number, made from its end.
class CNumberText
{
public:
    static CNumberText Digits(std::uint64_t ullValue, int iDigits, int iBitsPerDigit)
    {
        CNumberText text;
        for (int i = 0; i < iDigits; ++i, ullValue >>= iBitsPerDigit)
        {
            text.Put(HexChar(static_cast<unsigned int>(ullValue) & ((1U << iBitsPerDigit) - 1)));
        }
        text.Put(iBitsPerDigit == 1 ? 'b' : 'x');
        text.Put('0');
        return text;
    }
    static CNumberText Decimal(std::int64_t llValue, bool bGrouped)
    {
        CNumberText text;
        auto ullRest = static_cast<std::uint64_t>(llValue);
        if (llValue < 0)
        {
            ullRest = 0 - ullRest;
        }
        for (int iDigit = 0; iDigit == 0 || ullRest > 0; ++iDigit, ullRest /= 10)
        {
            if (bGrouped && iDigit > 0 && iDigit % 3 == 0)
            {
                text.Put(',');
            }
            text.Put(HexChar(static_cast<unsigned int>(ullRest % 10)));
        }
        if (llValue < 0)
        {
            text.Put('-');
        }
        return text;
    }

    std::string_view Text() const
    {
        return std::string_view(m_szText, sizeof m_szText).substr(m_uStart);
    }

private:
    void Put(char ch) { m_szText[--m_uStart] = ch; }

    char m_szText[40] = {};
    std::size_t m_uStart = sizeof m_szText;
};

/// Takes texts that may not be there.
class CReportText : public CFixedText
{
public:
    CReportText(CMemoryProbe& probe, char* szBuffer, int iBufferSize)
        : CFixedText(szBuffer, iBufferSize), m_probe(probe)
    {
    }

    /// Appends at most iMost bytes of a text, which ends also where it cannot be read. Whether that
    /// was all of it.
    bool AppendString(const char* szText, int iMost)
    {
        for (;;)
        {
            char szPiece[kPiece];
            const std::size_t uPiece = kPiece - reinterpret_cast<std::uintptr_t>(szText) % kPiece;
            const std::size_t uLength =
                ::strnlen(szPiece, m_probe.CopySome(szPiece, szText, uPiece));
            const std::size_t uTaken =
                std::min(uLength, static_cast<std::size_t>(std::max(iMost, 0)));
            Append({szPiece, uTaken});
            if (uTaken < uLength || uLength < uPiece)
            {
                return uTaken == uLength;
            }
            iMost -= static_cast<int>(uTaken);
            szText += uPiece;
        }
    }

    /// The same of a wide text, in UTF-8; nothing of the piece that is too long.
    bool AppendString(const wchar_t* wszText, int iMost)
    {
        for (;;)
        {
            wchar_t wszPiece[kPiece / sizeof(wchar_t)];
            const std::size_t uRead =
                m_probe.CopySome(wszPiece, wszText, sizeof wszPiece) / sizeof(wchar_t);
            const std::size_t uLength = ::wcsnlen(wszPiece, uRead);
            char szPiece[kPiece + 1]; // no unit takes more than four bytes
            const int iBytes = mu::ConvertString(wszPiece, static_cast<int>(uLength), szPiece,
                                                 static_cast<int>(sizeof szPiece));
            if (iBytes > iMost)
            {
                return false;
            }
            Append({szPiece, static_cast<std::size_t>(iBytes)});
            if (uLength < std::size(wszPiece))
            {
                return true;
            }
            iMost -= iBytes;
            wszText += std::size(wszPiece);
        }
    }

private:
    CMemoryProbe& m_probe;
};

/// The report on one chain.
class CChainReport
{
public:
    CChainReport(CMemoryProbe& probe, char* szBuffer, int iBufferSize)
        : m_probe(probe), m_text(probe, szBuffer, iBufferSize)
    {
    }

    int Write(const SFuncStateEntry* pEntry)
    {
        CCircleCheck circle;
        SFuncStateEntry entry;
        while (reinterpret_cast<std::uintptr_t>(pEntry) % 4 == 0 && m_text.Room() > 10 &&
               m_probe.Copy(entry, pEntry) && !circle.IsCircle(pEntry) &&
               (entry.m_szTag == nullptr || WriteEntry(entry)))
        {
            pEntry = entry.m_pPrevious;
        }
        return m_text.Length();
    }

private:
    // Each of these tells whether the report goes on.

    bool WriteEntry(const SFuncStateEntry& entry)
    {
        const int iStart = m_text.Length();
        if (!m_probe.IsReadable(entry.m_szTag, 1) ||
            !m_text.AppendString(entry.m_szTag, m_text.Room() - 3))
        {
            m_text.CutBackTo(iStart);
            return false;
        }

        CCircleCheck circle;
        SFuncStateParam param;
        const SFuncStateParam* pParam = entry.m_pFirstParam;
        while (m_probe.Copy(param, pParam) && !circle.IsCircle(pParam) &&
               (!m_probe.IsReadable(param.m_szName, 1) || !m_probe.IsReadable(param.m_pValue, 1) ||
                WriteParameter(param)))
        {
            pParam = param.m_pNext;
        }
        return m_text.Append("\r\n");
    }

    bool WriteParameter(const SFuncStateParam& param)
    {
        const int iStart = m_text.Length();
        if (!m_text.Append(" ") || !m_text.AppendString(param.m_szName, m_text.Room() - kSpareRoom))
        {
            m_text.CutBackTo(iStart);
            return false;
        }
        m_text.Append("=");
        WriteValue(param);
        return true;
    }

    // A value for which there is no room is left out.
    void WriteValue(const SFuncStateParam& param)
    {
        switch (param.m_iType)
        {
        case FPT_POINTER:
            return WritePointer(param.m_pValue);
        case FPT_INT:
            return WriteDecimal<std::int32_t>(param.m_pValue);
        case FPT_BINARY:
            if (m_text.Room() > 40)
            {
                WriteDigits<std::uint32_t>(param.m_pValue, 1);
            }
            return;
        case FPT_STRING:
            return WriteNarrowString(param.m_pValue);
        case FPT_BOOL:
            if (unsigned char uValue = 0; m_probe.Copy(uValue, param.m_pValue))
            {
                m_text.Append(uValue != 0 ? "True" : "False");
            }
            return;
        case FPT_WSTRING:
            return WriteWideString(param.m_pValue);
        case FPT_INT64:
            return WriteDecimal<std::int64_t>(param.m_pValue);
        case FPT_BYTE:
            return WriteDigits<std::uint8_t>(param.m_pValue, 4);
        case FPT_SHORT:
            return WriteDecimal<std::int16_t>(param.m_pValue);
        case FPT_WORD:
            return WriteDigits<std::uint16_t>(param.m_pValue, 4);
        default: // FPT_DWORD, and what is not known
            return WriteDigits<std::uint32_t>(param.m_pValue, 4);
        }
    }

    template <class T>
    void WriteDecimal(const void* pValue)
    {
        if (T value = 0; m_probe.Copy(value, pValue))
        {
            m_text.Append(CNumberText::Decimal(value, true).Text());
        }
    }

    template <class T>
    void WriteDigits(const void* pValue, int iBitsPerDigit)
    {
        if (T value = 0; m_probe.Copy(value, pValue))
        {
            constexpr int kBits = static_cast<int>(8 * sizeof(T));
            m_text.Append(CNumberText::Digits(value, kBits / iBitsPerDigit, iBitsPerDigit).Text());
        }
    }

    void WritePointer(const void* pValue)
    {
        const void* pPointer = nullptr;
        if (!m_probe.Copy(pPointer, pValue))
        {
            return;
        }
        if (pPointer == nullptr)
        {
            m_text.Append("NULL");
            return;
        }
        const int iStart = m_text.Length();
        const CNumberText number = CNumberText::Digits(reinterpret_cast<std::uintptr_t>(pPointer),
                                                       2 * static_cast<int>(sizeof(void*)), 4);
        if (!(m_probe.IsReadable(pPointer, 1) || m_text.Append("(BAD)")) ||
            !m_text.Append(number.Text()))
        {
            m_text.CutBackTo(iStart);
        }
    }

    // Cut at its end, so that more can follow.
    void WriteNarrowString(const void* pValue)
    {
        const char* szText = nullptr;
        if (IsString(pValue, szText, 1) && m_text.Append("\""))
        {
            m_text.AppendString(szText, m_text.Room() - kSpareRoom);
            m_text.Append("\"");
        }
    }

    // Whole or not at all.
    void WriteWideString(const void* pValue)
    {
        const wchar_t* wszText = nullptr;
        const int iStart = m_text.Length();
        const int iMost = m_text.Room() - kSpareRoom - 1;
        if (IsString(pValue, wszText, sizeof(wchar_t)) && m_text.Append("\"") &&
            !(m_text.AppendString(wszText, iMost) && m_text.Append("\"")))
        {
            m_text.CutBackTo(iStart);
        }
    }

    /// Whether the variable holds a text that can be read; says so in the report if not.
    template <class TChar>
    bool IsString(const void* pValue, const TChar*& szText, std::size_t uUnit)
    {
        if (!m_probe.Copy(szText, pValue))
        {
            return false;
        }
        if (szText == nullptr || (uUnit > 1 && reinterpret_cast<std::uintptr_t>(szText) % 2 != 0))
        {
            m_text.Append("NULL");
            return false;
        }
        if (!m_probe.IsReadable(szText, uUnit))
        {
            m_text.Append("INVALID");
            return false;
        }
        return true;
    }

    CMemoryProbe& m_probe;
    CReportText m_text;
};

struct SScheduling
{
    pthread_t m_thread;
    int m_iPolicy;
    int m_iPriority;
};

// A thread that ended without freeing its storage is still listed, and its id may lead nowhere.
SScheduling GetScheduling(CMemoryProbe& probe, unsigned long dwThreadID)
{
    const auto thread = static_cast<pthread_t>(dwThreadID);
    SScheduling scheduling = {thread, -1, -1};
    probe.Call(
        [](void* pArgument)
        {
            auto* const pScheduling = static_cast<SScheduling*>(pArgument);
            sched_param parameters = {};
            int iPolicy = 0;
            if (pthread_getschedparam(pScheduling->m_thread, &iPolicy, &parameters) == 0)
            {
                *pScheduling = {pScheduling->m_thread, iPolicy, parameters.sched_priority};
            }
        },
        &scheduling);
    return scheduling;
}

bool AppendThreadHead(CFixedText& text, unsigned long dwThreadID, const SScheduling& scheduling)
{
    int iDigits = 8;
    while (iDigits < 2 * static_cast<int>(sizeof dwThreadID) && dwThreadID >> (4 * iDigits) != 0)
    {
        ++iDigits;
    }
    const int iStart = text.Length();
    if (text.Append("Thread ") && text.Append(CNumberText::Digits(dwThreadID, iDigits, 4).Text()) &&
        text.Append(" policy=") &&
        text.Append(CNumberText::Decimal(scheduling.m_iPolicy, false).Text()) &&
        text.Append(" priority=") &&
        text.Append(CNumberText::Decimal(scheduling.m_iPriority, false).Text()) &&
        text.Append("\r\n"))
    {
        return true;
    }
    text.CutBackTo(iStart);
    return false;
}

/// The report on all threads.
class CThreadsReport
{
public:
    CThreadsReport(const CThreadStatesMap& map, char* szBuffer, int iBufferSize)
        : m_mapThreads(map.m_mapThreads), m_text(szBuffer, iBufferSize)
    {
    }

    int Write()
    {
        const auto llThreads = static_cast<std::int64_t>(m_mapThreads.size());
        if (!m_text.Append(g_szApplicationName) || !m_text.Append(" ") ||
            !m_text.Append(g_szVersion) || !m_text.Append(": Application Threads (") ||
            !m_text.Append(CNumberText::Decimal(llThreads, false).Text()) ||
            !m_text.Append(")\r\n") || !m_text.Append(kSeparator))
        {
            return 0;
        }
        // The map lies on the heap, which may be what is damaged.
        m_probe.Call([](void* pThis) { static_cast<CThreadsReport*>(pThis)->WriteThreads(); },
                     this);
        return m_text.Length();
    }

private:
    void WriteThreads()
    {
        CCircleCheck circle;
        for (const auto& [dwThreadID, pVars] : m_mapThreads)
        {
            if (circle.IsCircle(&dwThreadID) || !WriteThread(dwThreadID, pVars))
            {
                break;
            }
        }
    }

    /// Whether the report goes on.
    bool WriteThread(unsigned long dwThreadID, const SPosixThreadExceptionVars* pVars)
    {
        SFuncStateEntry* pEntry = nullptr;
        if (pthread_equal(static_cast<pthread_t>(dwThreadID), pthread_self()) != 0)
        {
            pEntry = GetCurrentFuncStateEntry(); // its storage may be set aside
        }
        else if (!m_probe.Copy(pEntry, pVars))
        {
            return true;
        }
        if (pEntry == nullptr)
        {
            return true;
        }
        if (!AppendThreadHead(m_text, dwThreadID, GetScheduling(m_probe, dwThreadID)))
        {
            return false;
        }
        const int iChain = WriteStateReport(pEntry, m_text.Rest(), m_text.Room());
        m_text.Extend(iChain);
        return iChain > 0 && m_text.Append(kSeparator);
    }

    const std::map<unsigned long, SPosixThreadExceptionVars*>& m_mapThreads;
    CMemoryProbe m_probe;
    CFixedText m_text;
};

SFuncStateEntry* FollowLinks(SFuncStateEntry* pEntry, SFuncStateEntry* SFuncStateEntry::*pLink)
{
    CMemoryProbe probe;
    CCircleCheck circle;
    SFuncStateEntry entry;
    if (!probe.Copy(entry, pEntry))
    {
        return nullptr;
    }
    while (!circle.IsCircle(pEntry))
    {
        SFuncStateEntry* const pNext = entry.*pLink;
        if (!probe.Copy(entry, pNext))
        {
            break;
        }
        pEntry = pNext;
    }
    return pEntry;
}

} // namespace

int WriteStateReport(SFuncStateEntry* pEntry, char* szBuffer, int iBufferSize)
{
    const CSetAsideChain chain;
    CMemoryProbe probe;
    CFunctionSwitch fsReport("::WSR");
    return CChainReport(probe, szBuffer, iBufferSize).Write(pEntry);
}

int CThreadStatesMap::PrintAllStateReports(char* szBuffer, int iBufferSize)
{
    const CSetAsideChain chain;
    CFunctionSwitch fsReport("TSM::PASR");
    if (!LockForReport(m_mutex))
    {
        return 0;
    }
    const int iLength = CThreadsReport(*this, szBuffer, iBufferSize).Write();
    pthread_mutex_unlock(&m_mutex);
    return iLength;
}

int WriteThreadsStateReport(char* szBuffer, int iBufferSize)
{
    const CThreadStatesMapScope scope;
    CThreadStatesMap* const pMap = scope.GetMap();
    return pMap != nullptr ? pMap->PrintAllStateReports(szBuffer, iBufferSize) : 0;
}

void WarnProgramState(const char* szText)
{
    if (mu::g_ptlTextLogger == nullptr)
    {
        return;
    }
    GetAllocExVarsStorage();    // so that the report lists this thread too
    const CSetAsideChain chain; // the logger traces
    ITextLogger* const ptlLogger = mu::TextLoggerFor(IBaseLogger::Warning);
    if (ptlLogger == nullptr)
    {
        return;
    }
    constexpr int kBufferSize = 16384;
    auto* const szReport = static_cast<char*>(std::malloc(kBufferSize));
    const int iLength = szReport != nullptr ? WriteThreadsStateReport(szReport, kBufferSize) : 0;
    if (iLength > 0 && iLength < kBufferSize)
    {
        szReport[iLength] = '\0';
        ptlLogger->LogMessageF(IBaseLogger::Warning, "%s:\r\n%s", szText, szReport);
    }
    else
    {
        ptlLogger->LogMessageF(IBaseLogger::Warning, "%s", szText);
    }
    std::free(szReport);
}

SFuncStateEntry* GetFirstStateEntry(SFuncStateEntry* pEntry)
{
    return FollowLinks(pEntry, &SFuncStateEntry::m_pPrevious);
}

SFuncStateEntry* GetLastStateEntry(SFuncStateEntry* pEntry)
{
    return FollowLinks(pEntry, &SFuncStateEntry::m_pNext);
}
