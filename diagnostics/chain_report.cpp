#include "diagnostics/chain_report.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <iterator>

#include "diagnostics/circle_check.h"
#include "diagnostics/fixed_text.h"
#include "diagnostics/number_text.h"
#include "mu/unicode.h"

namespace mu
{

namespace
{

/// A string is cut so that this many bytes of room are left: for a line end and a short value.
constexpr int kSpareRoom = 15;

/// Strings are copied in pieces of at most this many bytes. A piece of a narrow string ends where
/// the address is a multiple of it, so no piece reads from a page in which the string has no byte.
constexpr std::size_t kPiece = 64;

/// The report's text. Appends also strings whose memory may not be readable.
class CReportText : public CFixedText
{
public:
    CReportText(CMemoryProbe& probe, char* szBuffer, int iBufferSize)
        : CFixedText(szBuffer, iBufferSize), m_probe(probe)
    {
    }

    /// Appends at most iMost bytes of a string, which ends at its zero or where it cannot be read.
    /// Returns whether that was the whole string.
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
                return static_cast<int>(uLength) <= iMost; // nothing fits below 0, not even ""
            }
            iMost -= static_cast<int>(uTaken);
            szText += uPiece;
        }
    }

    /// The same for a wide string, in UTF-8. A piece that exceeds iMost is left out whole.
    bool AppendString(const wchar_t* wszText, int iMost)
    {
        for (;;)
        {
            wchar_t wszPiece[kPiece / sizeof(wchar_t)];
            const std::size_t uRead =
                m_probe.CopySome(wszPiece, wszText, sizeof(wszPiece)) / sizeof(wchar_t);
            const std::size_t uLength = ::wcsnlen(wszPiece, uRead);
            char szPiece[kPiece + 1]; // no unit takes more than four bytes
            const int iBytes = mu::ConvertString(wszPiece, static_cast<int>(uLength), szPiece,
                                                 static_cast<int>(sizeof(szPiece)));
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
    // WriteEntry() and WriteParameter() return whether the report goes on.

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
        default: // FPT_DWORD and unknown codes
            return WriteDigits<std::uint32_t>(param.m_pValue, 4);
        }
    }

    template <typename T>
    void WriteDecimal(const void* pValue)
    {
        if (T value = 0; m_probe.Copy(value, pValue))
        {
            m_text.Append(CNumberText::Decimal(value, true).Text());
        }
    }

    template <typename T>
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

    // A string that is too long is cut.
    void WriteNarrowString(const void* pValue)
    {
        const char* szText = nullptr;
        if (IsString(pValue, szText) && m_text.Append("\""))
        {
            m_text.AppendString(szText, m_text.Room() - kSpareRoom);
            m_text.Append("\"");
        }
    }

    // A string that is too long is left out.
    void WriteWideString(const void* pValue)
    {
        const wchar_t* wszText = nullptr;
        const int iStart = m_text.Length();
        const int iMost = m_text.Room() - kSpareRoom - 1;
        if (IsString(pValue, wszText) && m_text.Append("\"") &&
            !(m_text.AppendString(wszText, iMost) && m_text.Append("\"")))
        {
            m_text.CutBackTo(iStart);
        }
    }

    /// Whether the variable holds a string that can be read. If not, the report says why.
    template <typename TChar>
    bool IsString(const void* pValue, const TChar*& szText)
    {
        if (!m_probe.Copy(szText, pValue))
        {
            return false;
        }
        const bool bOdd = reinterpret_cast<std::uintptr_t>(szText) % 2 != 0;
        if (szText == nullptr || (sizeof(TChar) > 1 && bOdd))
        {
            m_text.Append("NULL");
            return false;
        }
        if (!m_probe.IsReadable(szText, sizeof(TChar)))
        {
            m_text.Append("INVALID");
            return false;
        }
        return true;
    }

    CMemoryProbe& m_probe;
    CReportText m_text;
};

} // namespace

int WriteChainReport(CMemoryProbe& probe, const SFuncStateEntry* pEntry, char* szBuffer,
                     int iBufferSize)
{
    return CChainReport(probe, szBuffer, iBufferSize).Write(pEntry);
}

} // namespace mu
