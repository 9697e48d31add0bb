#ifndef ZOR_DIAGNOSTICS_STATE_RECORDS_H
#define ZOR_DIAGNOSTICS_STATE_RECORDS_H

// The records that traced functions keep in memory for reports.

#include <atomic>
#include <csetjmp>
#include <cstddef>
#include <cstdint>

/// How a report reads and prints the variable that a state parameter points at.
enum EFuncParamType : std::int32_t
{
    FPT_POINTER = 1, ///< a pointer
    FPT_INT = 2,     ///< signed, 32 bits
    FPT_DWORD = 3,   ///< unsigned, 32 bits, hexadecimal
    FPT_BINARY = 4,  ///< unsigned, 32 bits, binary
    FPT_STRING = 5,  ///< char*
    FPT_BOOL = 6,
    FPT_WSTRING = 7, ///< wchar_t*
    FPT_INT64 = 8,
    FPT_BYTE = 9,
    FPT_SHORT = 10,
    FPT_WORD = 11,
};

/// A named pointer at an argument or local of an active function. It lives in that function's
/// frame; the value is read only when a report is written.
struct SFuncStateParam
{
    const char* m_szName;
    void* m_pValue;
    std::int32_t m_iType; ///< EFuncParamType
    SFuncStateParam* m_pNext;
};

/// An active function of a thread. It lives in that function's frame; the chain leads outward
/// through m_pPrevious and inward through m_pNext.
struct SFuncStateEntry
{
    const char* m_szTag; ///< a string constant
    SFuncStateParam* m_pFirstParam;
    SFuncStateParam* m_pLastParam;
    SFuncStateEntry* m_pPrevious;
    SFuncStateEntry* m_pNext;
};

/// One thread's storage, on the heap. Only its thread writes it; reports on other threads read the
/// current entry without a lock.
struct SPosixThreadExceptionVars
{
    std::atomic<SFuncStateEntry*> m_pCurrentEntry; ///< the innermost open entry, null when none is
    std::jmp_buf* m_pMemoryTestJump; ///< of the innermost running memory test, null when none runs
};

// The layouts that a crash report's reader on the device relies on.
static_assert(sizeof(void*) != 4 ||
              (sizeof(SFuncStateParam) == 16 && sizeof(SFuncStateEntry) == 20 &&
               sizeof(SPosixThreadExceptionVars) == 8));
static_assert(offsetof(SFuncStateEntry, m_szTag) == 0 &&
              offsetof(SFuncStateEntry, m_pFirstParam) == sizeof(void*) &&
              offsetof(SFuncStateEntry, m_pLastParam) == 2 * sizeof(void*) &&
              offsetof(SFuncStateEntry, m_pPrevious) == 3 * sizeof(void*) &&
              offsetof(SFuncStateEntry, m_pNext) == 4 * sizeof(void*));
static_assert(offsetof(SFuncStateParam, m_szName) == 0 &&
              offsetof(SFuncStateParam, m_pValue) == sizeof(void*) &&
              offsetof(SFuncStateParam, m_iType) == 2 * sizeof(void*) &&
              offsetof(SFuncStateParam, m_pNext) == 3 * sizeof(void*));

#endif
