#ifndef ZOR_DIAGNOSTICS_FUNCTION_STATE_H
#define ZOR_DIAGNOSTICS_FUNCTION_STATE_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <type_traits>

#include <pthread.h>
#include <setjmp.h>

class ISticky;

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

/// One thread's storage, on the heap.
struct SPosixThreadExceptionVars
{
    SFuncStateEntry* m_pCurrentEntry; ///< the innermost open entry, null when none is open
    jmp_buf* m_pMemoryTestJump;       ///< of the innermost running memory test, null when none runs
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

/// The storage of every thread that traces. Its mutex guards insertion, erasure and reports.
class CThreadStatesMap
{
public:
    CThreadStatesMap();
    ~CThreadStatesMap();

    CThreadStatesMap(const CThreadStatesMap&) = delete;
    CThreadStatesMap& operator=(const CThreadStatesMap&) = delete;

    std::map<unsigned long, SPosixThreadExceptionVars*> m_mapThreads; ///< by pthread_t
    pthread_mutex_t m_mutex;
};

extern pthread_key_t g_pkFuncStateEntryThreadKey;
extern int g_bAllocatedFuncStateEntryThreadKey;

/// The calling thread's value of the key, kept beside it because a thread-specific look-up is a
/// call and this is a load.
extern constinit thread_local SPosixThreadExceptionVars* g_pThreadExceptionVars;

/// Makes the calling thread's storage. Null only if the thread key cannot be created.
SPosixThreadExceptionVars* AllocExVarsStorage();

/// The calling thread's storage, made on first use.
inline SPosixThreadExceptionVars* GetAllocExVarsStorage()
{
    SPosixThreadExceptionVars* const pVars = g_pThreadExceptionVars;
    return __builtin_expect(pVars != nullptr, 1) ? pVars : AllocExVarsStorage();
}

/// Frees the calling thread's storage and takes the thread out of the map. Every thread that used
/// the library calls it before it ends. Entries still open then do nothing when they close.
void FreeThreadExVarsStorage();

void InitThreadExceptionVars(SPosixThreadExceptionVars* pVars);
void ReleaseThreadExceptionVars(SPosixThreadExceptionVars* pVars);

/// Installs the crash handler for its signals. The crash handling hands it over before it calls
/// InitExceptions_Once(), so that tracing does not depend on it.
using InstallCrashSignals = void (*)();
void SetCrashSignalInstaller(InstallCrashSignals pInstaller);

/// To be called once, from the main thread, before other threads start.
void InitExceptions_Once();

/// The calling thread's innermost entry, null if it has no storage. Never allocates.
inline SFuncStateEntry* GetCurrentFuncStateEntry()
{
    const SPosixThreadExceptionVars* const pVars = g_pThreadExceptionVars;
    return pVars != nullptr ? pVars->m_pCurrentEntry : nullptr;
}

/// Fills an entry and links it after pPrevious (null for a thread's outermost). The caller makes
/// it the thread's current one.
inline void SetNewFuncStateEntry(void* pEntry, const char* szTag, SFuncStateEntry* pPrevious)
{
    auto* const pNew = static_cast<SFuncStateEntry*>(pEntry);
    *pNew = {szTag, nullptr, nullptr, pPrevious, nullptr};
    if (pPrevious != nullptr)
    {
        pPrevious->m_pNext = pNew;
    }
}

/// Unlinks an entry from its caller's.
inline void LeaveFunc(void* pEntry)
{
    SFuncStateEntry* const pPrevious = static_cast<SFuncStateEntry*>(pEntry)->m_pPrevious;
    if (pPrevious != nullptr)
    {
        pPrevious->m_pNext = nullptr;
    }
}

inline void SetNewFuncParam(SFuncStateParam* pParam, const char* szName, void* pValue, int iType)
{
    *pParam = {szName, pValue, iType, nullptr};
}

/// Appends a parameter; reports print them in this order.
inline void AddFuncStateParam(SFuncStateEntry* pEntry, SFuncStateParam* pParam)
{
    if (pEntry->m_pLastParam != nullptr)
    {
        pEntry->m_pLastParam->m_pNext = pParam;
    }
    else
    {
        pEntry->m_pFirstParam = pParam;
    }
    pEntry->m_pLastParam = pParam;
}

/// The low four bits as a digit, upper case.
inline char HexChar(unsigned int uValue)
{
    return "0123456789ABCDEF"[uValue & 15U];
}

/// The scope through which a function is in its thread's chain.
class CFunctionSwitch
{
public:
    explicit CFunctionSwitch(const char* szTag) : m_pVars(GetAllocExVarsStorage())
    {
        SetNewFuncStateEntry(&m_entry, szTag, m_pVars->m_pCurrentEntry);
        m_pVars->m_pCurrentEntry = &m_entry;
    }
    ~CFunctionSwitch() { Leave(); }

    CFunctionSwitch(const CFunctionSwitch&) = delete;
    CFunctionSwitch& operator=(const CFunctionSwitch&) = delete;

    /// Closes the entry early; a second call does nothing.
    void Leave()
    {
        // Storage that was freed inside this scope is no longer the thread's.
        if (m_pVars != nullptr && m_pVars == g_pThreadExceptionVars)
        {
            m_pVars->m_pCurrentEntry = m_entry.m_pPrevious;
            LeaveFunc(&m_entry);
        }
        m_pVars = nullptr;
    }

    SFuncStateEntry* GetEntry() { return &m_entry; }

private:
    SFuncStateEntry m_entry;
    SPosixThreadExceptionVars* m_pVars; // null once left
};

/// The type code of a variable. 32-bit words that are a number print in decimal when signed and
/// in hexadecimal when not; where another form is wanted, the caller names it.
template <class T>
constexpr EFuncParamType FuncParamTypeOf()
{
    using TValue = std::remove_cv_t<T>;
    if constexpr (std::is_pointer_v<TValue>)
    {
        using TTarget = std::remove_cv_t<std::remove_pointer_t<TValue>>;
        return std::is_same_v<TTarget, char>      ? FPT_STRING
               : std::is_same_v<TTarget, wchar_t> ? FPT_WSTRING
                                                  : FPT_POINTER;
    }
    else if constexpr (std::is_same_v<TValue, bool>)
    {
        return FPT_BOOL;
    }
    else
    {
        static_assert(std::is_integral_v<TValue>, "a state parameter is a number, bool or pointer");
        static_assert(std::is_signed_v<TValue> || sizeof(TValue) != 8,
                      "no report form for an unsigned 64-bit number");
        return sizeof(TValue) == 8   ? FPT_INT64
               : sizeof(TValue) == 1 ? FPT_BYTE
               : sizeof(TValue) == 2 ? (std::is_signed_v<TValue> ? FPT_SHORT : FPT_WORD)
               : std::is_signed_v<TValue> ? FPT_INT
                                          : FPT_DWORD;
    }
}

/// A state parameter for the rest of its scope:
///     CFunctionSwitch fsOpen("FA::Op");
///     CFunctionParam fpFileName(fsOpen, "wszFileName", wszFileName);
/// The variable and the parameter must live as long as the switch is not left.
class CFunctionParam
{
public:
    template <class T>
    CFunctionParam(CFunctionSwitch& fsFunction, const char* szName, T& value)
        : CFunctionParam(fsFunction, szName, &value, FuncParamTypeOf<T>())
    {
    }
    CFunctionParam(CFunctionSwitch& fsFunction, const char* szName, const void* pValue,
                   EFuncParamType eType)
    {
        SetNewFuncParam(&m_param, szName, const_cast<void*>(pValue), eType);
        AddFuncStateParam(fsFunction.GetEntry(), &m_param);
    }

    CFunctionParam(const CFunctionParam&) = delete;
    CFunctionParam& operator=(const CFunctionParam&) = delete;

private:
    SFuncStateParam m_param;
};

/// Holds a reference on an object for a scope. Null is allowed.
class CStickyScope
{
public:
    explicit CStickyScope(ISticky* pSticky);
    ~CStickyScope();

    CStickyScope(const CStickyScope&) = delete;
    CStickyScope& operator=(const CStickyScope&) = delete;

private:
    ISticky* m_pSticky;
};

#endif
