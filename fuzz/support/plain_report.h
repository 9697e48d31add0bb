#ifndef ZOR_FUZZ_SUPPORT_PLAIN_REPORT_H
#define ZOR_FUZZ_SUPPORT_PLAIN_REPORT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <set>
#include <string>

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "diagnostics/function_state.h"
#include "fuzz/support/law.h"
#include "fuzz/support/plain_utf8.h"

// What WriteStateReport() says of a chain, damaged or not, written in the plainest way.

/// The system copies, through a pipe, so that a bad address is a result.
inline bool Read(void* pTarget, const void* pSource, std::size_t uSize)
{
    struct SPipe
    {
        SPipe() { Law(::pipe2(m_aEnds, O_CLOEXEC | O_NONBLOCK) == 0, "there is a pipe"); }
        int m_aEnds[2];
    };
    static const SPipe s_pipe;
    // Not by the sanitizer's write(), which looks at the memory itself.
    return ::syscall(SYS_write, s_pipe.m_aEnds[1], pSource, uSize) > 0 &&
           ::read(s_pipe.m_aEnds[0], pTarget, uSize) == static_cast<ssize_t>(uSize);
}

template <typename T>
inline bool Get(T& value, const void* pSource)
{
    return Read(&value, pSource, sizeof(value));
}

inline bool IsReadable(const void* pSource)
{
    char ch = 0;
    return Get(ch, pSource);
}

/// At most so many units as no buffer here can hold.
template <typename TChar>
std::basic_string<TChar> TextAt(const TChar* pText)
{
    std::basic_string<TChar> text;
    for (TChar ch{}; text.size() < 4096 && Get(ch, pText + text.size()) && ch != 0;)
    {
        text += ch;
    }
    return text;
}

inline std::string Grouped(std::int64_t llValue)
{
    std::string strText = std::to_string(llValue);
    for (std::size_t u = strText.size(); u > (llValue < 0 ? 4 : 3);)
    {
        u -= 3;
        strText.insert(u, ",");
    }
    return strText;
}

inline std::string Hex(std::uint64_t ullValue, int iDigits)
{
    char szText[24];
    std::snprintf(szText, sizeof(szText), "0x%0*llX", iDigits,
                  static_cast<unsigned long long>(ullValue));
    return szText;
}

class CPlainReport
{
public:
    explicit CPlainReport(int iSize) : m_iSize(iSize) {}

    std::string m_strText;
    bool m_bCircle = false; ///< the report goes on for some more rounds

    void Write(const SFuncStateEntry* pEntry)
    {
        std::set<const void*> visited;
        SFuncStateEntry entry;
        for (; reinterpret_cast<std::uintptr_t>(pEntry) % 4 == 0 && Room() > 10 &&
               Get(entry, pEntry) && !m_bCircle;
             pEntry = entry.m_pPrevious)
        {
            m_bCircle = !visited.insert(pEntry).second;
            if (entry.m_szTag == nullptr || m_bCircle)
            {
                continue;
            }
            const std::string strTag = TextAt(entry.m_szTag);
            if (!IsReadable(entry.m_szTag) || Room() <= static_cast<int>(strTag.size()) + 2)
            {
                return;
            }
            m_strText += strTag;
            WriteParameters(entry.m_pFirstParam);
            if (m_bCircle || Room() < 2)
            {
                return;
            }
            m_strText += "\r\n";
        }
    }

private:
    int Room() const { return m_iSize - static_cast<int>(m_strText.size()); }

    void WriteParameters(const SFuncStateParam* pParam)
    {
        std::set<const void*> visited;
        SFuncStateParam param;
        for (; Get(param, pParam); pParam = param.m_pNext)
        {
            m_bCircle = !visited.insert(pParam).second;
            if (m_bCircle)
            {
                return;
            }
            if (!IsReadable(param.m_szName) || !IsReadable(param.m_pValue))
            {
                continue;
            }
            const std::string strName = TextAt(param.m_szName);
            if (static_cast<int>(strName.size()) + 15 >= Room())
            {
                return;
            }
            m_strText += " " + strName + "=";
            const std::string strValue = Value(param.m_iType, param.m_pValue);
            m_strText += Room() >= static_cast<int>(strValue.size()) ? strValue : "";
        }
    }

    template <typename T>
    static std::string Number(const void* pValue, int iDigits)
    {
        T value{};
        return !Get(value, pValue) ? ""
               : iDigits == 0      ? Grouped(static_cast<std::int64_t>(value))
                                   : Hex(static_cast<std::uint64_t>(value), iDigits);
    }

    std::string Value(int iType, const void* pValue) const
    {
        const char* pPointer = nullptr;
        std::uint32_t dwBits = 0;
        switch (iType)
        {
        case FPT_INT:
            return Number<std::int32_t>(pValue, 0);
        case FPT_INT64:
            return Number<std::int64_t>(pValue, 0);
        case FPT_SHORT:
            return Number<std::int16_t>(pValue, 0);
        case FPT_BYTE:
            return Number<std::uint8_t>(pValue, 2);
        case FPT_WORD:
            return Number<std::uint16_t>(pValue, 4);
        case FPT_BOOL:
            return Number<std::uint8_t>(pValue, 2) == "0x00" ? "False" : "True";
        case FPT_BINARY:
        {
            std::string strBits;
            for (int i = 31; Room() > 40 && Get(dwBits, pValue) && i >= 0; --i)
            {
                strBits += (dwBits >> i & 1) != 0 ? '1' : '0';
            }
            return strBits.empty() ? "" : "0b" + strBits;
        }
        case FPT_POINTER:
        case FPT_STRING:
        case FPT_WSTRING:
            return !Get(pPointer, pValue) ? ""
                   : pPointer == nullptr  ? "NULL"
                                          : Pointed(iType, pPointer);
        default:
            return Number<std::uint32_t>(pValue, 8);
        }
    }

    std::string Pointed(int iType, const char* pPointer) const
    {
        if (iType == FPT_POINTER)
        {
            return (IsReadable(pPointer) ? "" : "(BAD)") +
                   Hex(reinterpret_cast<std::uintptr_t>(pPointer), 2 * sizeof(void*));
        }
        if (iType == FPT_STRING)
        {
            const int iMost = std::max(Room() - 16, 0);
            return !IsReadable(pPointer)
                       ? "INVALID"
                       : '"' + TextAt(pPointer).substr(0, static_cast<std::size_t>(iMost)) + '"';
        }
        wchar_t wch = 0;
        if (reinterpret_cast<std::uintptr_t>(pPointer) % 2 != 0)
        {
            return "NULL";
        }
        if (!Get(wch, pPointer))
        {
            return "INVALID";
        }
        const std::string strText =
            PlainEncode(TextAt(static_cast<const wchar_t*>(static_cast<const void*>(pPointer))));
        return static_cast<int>(strText.size()) + 15 < Room() ? '"' + strText + '"' : "";
    }

    const int m_iSize;
};

#endif
