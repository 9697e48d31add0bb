#ifndef ZOR_DIAGNOSTICS_FUNCTION_STATE_H
#define ZOR_DIAGNOSTICS_FUNCTION_STATE_H

#include <atomic>
#include <cstddef>
#include <type_traits>

#include <pthread.h>

#include "diagnostics/state_records.h"
#include "diagnostics/sticky_scope.h"
#include "diagnostics/thread_states_map.h"

/// The key of the threads' storage. It is made once, without a destructor, and never deleted.
extern pthread_key_t g_pkFuncStateEntryThreadKey;
extern int g_bAllocatedFuncStateEntryThreadKey;

namespace mu
{

/// The calling thread's storage, the same as the key's value. pthread_getspecific() is a call, and
/// reading this is a load; the model keeps it one in a shared library too.
[[gnu::tls_model("initial-exec")]] extern constinit thread_local SPosixThreadExceptionVars*
    g_pThreadExceptionVars;

/// Makes the calling thread's storage; GetAllocExVarsStorage() calls it.
[[gnu::cold, gnu::noinline]] SPosixThreadExceptionVars* AllocExVarsStorage();

} // namespace mu

/// The calling thread's storage, made on first use. Null if there is no key or no memory for it:
/// the function then goes untraced, and the next one tries again.
inline SPosixThreadExceptionVars* GetAllocExVarsStorage()
{
    SPosixThreadExceptionVars* const pVars = mu::g_pThreadExceptionVars;
    return __builtin_expect(pVars != nullptr, 1) ? pVars : mu::AllocExVarsStorage();
}

/// Frees the calling thread's storage and takes the thread out of the map. Every thread that used
/// the library calls it before it ends. An entry that is still open does nothing when it closes
/// later. Does nothing while the thread's chain is set aside, as in a crash or a report.
void FreeThreadExVarsStorage();

namespace mu
{

/// While it lives, this object is the storage of a calling thread that has none, so that a crash or
/// a memory probe has one on any thread. Nothing is allocated, and no report lists the thread.
class CTemporaryThreadStorage
{
public:
    CTemporaryThreadStorage();
    ~CTemporaryThreadStorage();

    CTemporaryThreadStorage(const CTemporaryThreadStorage&) = delete;
    CTemporaryThreadStorage& operator=(const CTemporaryThreadStorage&) = delete;

private:
    SPosixThreadExceptionVars m_vars;
};

} // namespace mu

void InitThreadExceptionVars(SPosixThreadExceptionVars* pVars);
/// Called before a thread's storage is freed. Does nothing.
void ReleaseThreadExceptionVars(SPosixThreadExceptionVars* pVars);

/// Makes the key and the map and installs the crash handler for its five signals
/// (diagnostics/crash_handler.h), with a thread that sleeps until the crash. To be called once,
/// from the main thread, before other threads start; SetPosixExceptionHandler() does.
void InitExceptions_Once();

/// The calling thread's innermost entry, null if it has no storage. Never allocates.
inline SFuncStateEntry* GetCurrentFuncStateEntry()
{
    const SPosixThreadExceptionVars* const pVars = mu::g_pThreadExceptionVars;
    return pVars != nullptr ? pVars->m_pCurrentEntry.load(std::memory_order_relaxed) : nullptr;
}

/// Fills an entry and links it after pPrevious (null for a thread's outermost). The caller makes
/// it the thread's current one.
inline void SetNewFuncStateEntry(void* pEntry, const char* szTag, SFuncStateEntry* pPrevious)
{
    auto* const pNew = static_cast<SFuncStateEntry*>(pEntry);
    *pNew = {szTag, nullptr, nullptr, pPrevious, nullptr};
    if (pPrevious != nullptr) [[likely]]
    {
        pPrevious->m_pNext = pNew;
    }
}

/// Unlinks an entry from its caller's.
inline void LeaveFunc(void* pEntry)
{
    SFuncStateEntry* const pPrevious = static_cast<SFuncStateEntry*>(pEntry)->m_pPrevious;
    if (pPrevious != nullptr) [[likely]]
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
    SFuncStateParam* const pLast = pEntry->m_pLastParam;
    (pLast != nullptr ? pLast->m_pNext : pEntry->m_pFirstParam) = pParam;
    pEntry->m_pLastParam = pParam;
}

/// The low four bits as a digit, upper case.
inline char HexChar(unsigned int uValue)
{
    return "0123456789ABCDEF"[uValue & 15U];
}

namespace mu
{

/// A string constant; anything else does not compile. Reports read tags and names long after they
/// were passed, so these must never be freed.
class CConstantText
{
public:
    template <std::size_t N>
    consteval CConstantText(const char (&szText)[N]) : m_szText(szText)
    {
    }

    const char* m_szText;
};

} // namespace mu

/// The scope through which a function is in its thread's chain.
class CFunctionSwitch
{
public:
    explicit CFunctionSwitch(mu::CConstantText tag)
    {
        SPosixThreadExceptionVars* const pVars = GetAllocExVarsStorage();
        m_pVars = pVars;
        if (pVars == nullptr) [[unlikely]]
        {
            SetNewFuncStateEntry(&m_entry, tag.m_szText, nullptr);
            return;
        }
        SetNewFuncStateEntry(&m_entry, tag.m_szText,
                             pVars->m_pCurrentEntry.load(std::memory_order_relaxed));
        pVars->m_pCurrentEntry.store(&m_entry, std::memory_order_relaxed);
        // Keeps the compiler from moving the function's own work, which may fault, out of the
        // scope. Generates no instruction.
        std::atomic_signal_fence(std::memory_order_seq_cst);
    }
    ~CFunctionSwitch() { Leave(); }

    CFunctionSwitch(const CFunctionSwitch&) = delete;
    CFunctionSwitch& operator=(const CFunctionSwitch&) = delete;

    /// Closes the entry early; a second call does nothing.
    void Leave()
    {
        std::atomic_signal_fence(std::memory_order_seq_cst);
        SPosixThreadExceptionVars* const pVars = m_pVars;
        // Storage that was freed inside this scope is no longer the thread's.
        if (pVars != nullptr && pVars == mu::g_pThreadExceptionVars) [[likely]]
        {
            pVars->m_pCurrentEntry.store(m_entry.m_pPrevious, std::memory_order_relaxed);
            LeaveFunc(&m_entry);
        }
        m_pVars = nullptr;
    }

    SFuncStateEntry* GetEntry() { return &m_entry; }

private:
    SFuncStateEntry m_entry;
    SPosixThreadExceptionVars* m_pVars; // null once left
};
static_assert(sizeof(CFunctionSwitch) == sizeof(SFuncStateEntry) + sizeof(void*));

namespace mu
{

/// The type code of a variable, the same on every machine. Numbers print in decimal when signed and
/// in hexadecimal when not; where another form is wanted, the caller names it.
template <typename T>
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
        // Printed as on the device, where long has 32 bits (a 64-bit host shows the low ones) and a
        // wide character is unsigned.
        if constexpr (std::is_same_v<TValue, unsigned long> || std::is_same_v<TValue, wchar_t>)
        {
            return FPT_DWORD;
        }
        else if constexpr (std::is_same_v<TValue, long>)
        {
            return FPT_INT;
        }
        else
        {
            static_assert(std::is_signed_v<TValue> || sizeof(TValue) != 8,
                          "no report form for an unsigned 64-bit number");
            return sizeof(TValue) == 8        ? FPT_INT64
                   : sizeof(TValue) == 1      ? FPT_BYTE
                   : sizeof(TValue) == 2      ? (std::is_signed_v<TValue> ? FPT_SHORT : FPT_WORD)
                   : std::is_signed_v<TValue> ? FPT_INT
                                              : FPT_DWORD;
        }
    }
}

/// A state parameter for the rest of its scope:
///     CFunctionSwitch fsOpen("FA::Op");
///     mu::CFunctionParam fpFileName(fsOpen, "wszFileName", wszFileName);
/// The variable and the parameter must live until the switch is left.
class CFunctionParam
{
public:
    template <typename T>
    CFunctionParam(CFunctionSwitch& fsFunction, CConstantText name, T& value)
        : CFunctionParam(fsFunction, name, &value, FuncParamTypeOf<T>())
    {
    }
    CFunctionParam(CFunctionSwitch& fsFunction, CConstantText name, const void* pValue,
                   EFuncParamType eType)
    {
        SetNewFuncParam(&m_param, name.m_szText, const_cast<void*>(pValue), eType);
        AddFuncStateParam(fsFunction.GetEntry(), &m_param);
    }

    CFunctionParam(const CFunctionParam&) = delete;
    CFunctionParam& operator=(const CFunctionParam&) = delete;

private:
    SFuncStateParam m_param;
};

} // namespace mu

#endif
