#include "diagnostics/function_state.h"

#include "tests/support/failing_heap.h"
#include "tests/support/function_chain.h"
#include "tests/support/testing.h"

namespace
{

template <typename T, EFuncParamType eType>
constexpr bool
    kHasType = mu::FuncParamTypeOf<T>() == eType&& mu::FuncParamTypeOf<const T>() == eType;

// The same on every machine.
static_assert(kHasType<void*, FPT_POINTER> && kHasType<const unsigned char*, FPT_POINTER>);
static_assert(kHasType<char*, FPT_STRING> && kHasType<const char*, FPT_STRING>);
static_assert(kHasType<const wchar_t*, FPT_WSTRING> && kHasType<bool, FPT_BOOL>);
static_assert(kHasType<int, FPT_INT> && kHasType<long, FPT_INT> && kHasType<long long, FPT_INT64>);
static_assert(kHasType<unsigned, FPT_DWORD> && kHasType<unsigned long, FPT_DWORD>);
static_assert(kHasType<wchar_t, FPT_DWORD> && kHasType<char, FPT_BYTE>);
static_assert(kHasType<short, FPT_SHORT> && kHasType<unsigned short, FPT_WORD>);

// By value: gcc's null check of a reference to a thread-local goes wrong once it is linked.
const SPosixThreadExceptionVars* Storage()
{
    return mu::g_pThreadExceptionVars;
}

// How many threads the map lists, or -1 if the calling one is not among them with its storage.
int CountThreads()
{
    const mu::CThreadStatesMapScope scope;
    const CThreadStatesMap* const pMap = scope.GetMap();
    const auto threads = pMap != nullptr ? pMap->m_mapThreads : decltype(pMap->m_mapThreads)();
    const auto it = threads.find(static_cast<unsigned long>(pthread_self()));
    return it != threads.end() && it->second == Storage() ? static_cast<int>(threads.size()) : -1;
}

void* AlternateStack()
{
    stack_t stack = {};
    ::sigaltstack(nullptr, &stack);
    return stack.ss_sp;
}

TEST(FunctionState, ChainFollowsTheCallsWithParametersInOrder)
{
    FreeThreadExVarsStorage();
    void* const pStackBefore = AlternateStack();
    EXPECT_EQ(GetCurrentFuncStateEntry(), nullptr);
    EXPECT_EQ(Storage(), nullptr) << "a look allocates nothing";
    {
        const wchar_t* wszText = L"x";
        int iLength = 1;
        CFunctionSwitch fsOuter("T::Out");
        mu::CFunctionParam fpText(fsOuter, "wszText", wszText);
        mu::CFunctionParam fpMask(fsOuter, "iMask", &iLength, FPT_BINARY);
        const std::string strOuter = "T::Out wszText:7 iMask:4;";
        EXPECT_EQ(fsOuter.GetEntry()->m_pFirstParam->m_pValue, &wszText);
        EXPECT_EQ(pthread_getspecific(g_pkFuncStateEntryThreadKey), Storage());
        EXPECT_NE(AlternateStack(), pStackBefore);

        {
            CFunctionSwitch fsMiddle("T::Mi");
            CFunctionSwitch fsInnermost("T::In");
            EXPECT_EQ(FunctionChain(), "T::In;T::Mi;" + strOuter);
        }
        EXPECT_EQ(FunctionChain(), strOuter);

        CFunctionSwitch fsEarly("T::Ea");
        fsEarly.Leave();
        CFunctionSwitch fsAfter("T::Af");
        fsEarly.Leave(); // nothing more
        EXPECT_EQ(FunctionChain(), "T::Af;" + strOuter);
    }
    EXPECT_EQ(FunctionChain(), "");
    FreeThreadExVarsStorage();
    EXPECT_EQ(AlternateStack(), pStackBefore);
}

TEST(FunctionState, ScopesThatOutliveTheStorageAreHarmless)
{
    {
        CFunctionSwitch fsOuter("T::Out");
        CFunctionSwitch fsInner("T::In");
        FreeThreadExVarsStorage();
        FreeThreadExVarsStorage(); // nothing more
        EXPECT_EQ(Storage(), nullptr);
        {
            CFunctionSwitch fsNew("T::New"); // may get the same memory again
            EXPECT_EQ(FunctionChain(), "T::New;");
        }
    }
    EXPECT_EQ(FunctionChain(), "");
}

TEST(FunctionState, GoesWithoutWhatMemoryIsMissing)
{
    FreeThreadExVarsStorage();
    for (int iAllowed = 0; CFailingHeap::kAvailable && iAllowed < 4; ++iAllowed)
    {
        const long iBlocks = CFailingHeap::BlocksInUse();
        {
            const CFailingHeap heap(iAllowed);
            int iValue = 0;
            CFunctionSwitch fsTraced("T::Tr");
            mu::CFunctionParam fpValue(fsTraced, "iValue", iValue);
            EXPECT_EQ(Storage() != nullptr, iAllowed >= 1);
        }
        // Allowed: its storage, the map, and its place there.
        EXPECT_TRUE(iAllowed == 0 || CountThreads() == (iAllowed >= 3 ? 1 : -1)) << iAllowed;
        FreeThreadExVarsStorage();
        EXPECT_EQ(CFailingHeap::BlocksInUse(), iBlocks) << "the map goes with its last thread";
    }
}

TEST(ThreadStatesMap, ForgetsAThreadThatEndedWithoutFreeingWhenItsIdEndsAgain)
{
    FreeThreadExVarsStorage();
    EXPECT_EQ(CountThreads(), 1) << "the one that looks";
    SPosixThreadExceptionVars* const pFirst = std::exchange(mu::g_pThreadExceptionVars, nullptr);
    EXPECT_EQ(CountThreads(), -1) << "the id's first storage stays";
    FreeThreadExVarsStorage();
    EXPECT_EQ(CountThreads(), 1) << "its element is erased whatever it holds";
    std::free(pFirst);
}

} // namespace
