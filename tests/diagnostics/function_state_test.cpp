#include "diagnostics/function_state.h"

#include <cstdlib>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/failing_heap.h"
#include "tests/support/function_chain.h"
#include "tests/support/line_logger.h"

namespace
{

template <class T, EFuncParamType eType>
constexpr bool kHasType = FuncParamTypeOf<T>() == eType&& FuncParamTypeOf<const T>() == eType;

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
    return g_pThreadExceptionVars;
}

// How many threads the map lists, or -1 if the calling one is not among them with its storage.
int CountThreads()
{
    const CThreadStatesMapScope scope;
    CThreadStatesMap* const pMap = scope.GetMap();
    if (pMap == nullptr)
    {
        return -1;
    }
    pthread_mutex_lock(&pMap->m_mutex);
    const auto it = pMap->m_mapThreads.find(static_cast<unsigned long>(pthread_self()));
    const bool bListed = it != pMap->m_mapThreads.end() && it->second == Storage();
    const auto iThreads = static_cast<int>(pMap->m_mapThreads.size());
    pthread_mutex_unlock(&pMap->m_mutex);
    return bListed ? iThreads : -1;
}

template <class TBody>
void OnNewThread(TBody body)
{
    std::thread(body).join();
}

TEST(FunctionState, ChainFollowsTheCallsWithParametersInOrder)
{
    OnNewThread(
        []
        {
            EXPECT_EQ(GetCurrentFuncStateEntry(), nullptr);
            EXPECT_EQ(Storage(), nullptr) << "a look allocates nothing";
            {
                const wchar_t* wszText = L"x";
                int iLength = 1;
                CFunctionSwitch fsOuter("T::Out");
                CFunctionParam fpText(fsOuter, "wszText", wszText);
                EXPECT_EQ(FunctionChain(), "T::Out wszText:7;");
                CFunctionParam fpLength(fsOuter, "iLength", iLength);
                CFunctionParam fpMask(fsOuter, "iMask", &iLength, FPT_BINARY);
                const std::string strOuter = "T::Out wszText:7 iLength:2 iMask:4;";
                EXPECT_EQ(fsOuter.GetEntry()->m_pFirstParam->m_pValue, &wszText);
                EXPECT_EQ(pthread_getspecific(g_pkFuncStateEntryThreadKey), Storage());

                try
                {
                    CFunctionSwitch fsThrows("T::Thr");
                    CFunctionSwitch fsInnermost("T::In");
                    EXPECT_EQ(FunctionChain(), "T::In;T::Thr;" + strOuter);
                    throw std::runtime_error("passes both");
                }
                catch (const std::runtime_error&)
                {
                    EXPECT_EQ(FunctionChain(), strOuter);
                }

                CFunctionSwitch fsEarly("T::Ea");
                fsEarly.Leave();
                CFunctionSwitch fsAfter("T::Af");
                fsEarly.Leave(); // nothing more
                EXPECT_EQ(FunctionChain(), "T::Af;" + strOuter);
            }
            EXPECT_EQ(FunctionChain(), "");
            FreeThreadExVarsStorage();
        });
}

TEST(FunctionState, ScopesThatOutliveTheStorageAreHarmless)
{
    OnNewThread(
        []
        {
            {
                CFunctionSwitch fsOuter("T::Out");
                CFunctionSwitch fsInner("T::In");
                FreeThreadExVarsStorage();
                EXPECT_EQ(Storage(), nullptr);
                FreeThreadExVarsStorage();
                {
                    CFunctionSwitch fsNew("T::New"); // may get the same memory again
                    EXPECT_EQ(FunctionChain(), "T::New;");
                }
                EXPECT_EQ(FunctionChain(), "");
            }
            EXPECT_EQ(FunctionChain(), "");
            FreeThreadExVarsStorage();
        });
}

TEST(FunctionState, LeavingTheOutermostEntryTouchesNothing)
{
    SFuncStateEntry entry;
    SetNewFuncStateEntry(&entry, "T::Out", nullptr);
    SFuncStateEntry inner;
    SetNewFuncStateEntry(&inner, "T::In", &entry);
    LeaveFunc(&entry);
    EXPECT_EQ(entry.m_pNext, &inner);
    LeaveFunc(&inner);
    EXPECT_EQ(entry.m_pNext, nullptr);
}

TEST(FunctionState, HexCharTakesTheLowFourBits)
{
    std::string strDigits;
    for (unsigned int u = 0xFFFFFFF9U; u != 18; ++u)
    {
        strDigits += HexChar(u);
    }
    EXPECT_EQ(strDigits, "9ABCDEF0123456789ABCDEF01");
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
            CFunctionParam fpValue(fsTraced, "iValue", iValue);
            EXPECT_EQ(Storage() != nullptr, iAllowed >= 1);
        }
        if (iAllowed >= 1) // its storage; then the map, and its place there
        {
            EXPECT_EQ(CountThreads(), iAllowed >= 3 ? 1 : -1);
        }
        FreeThreadExVarsStorage();
        EXPECT_EQ(CFailingHeap::BlocksInUse(), iBlocks) << "the map goes with its last thread";
    }
}

TEST(ThreadStatesMap, ListsTheThreadsThatHaveStorage)
{
    FreeThreadExVarsStorage();
    EXPECT_EQ(CountThreads(), 1) << "the one that looks";
    OnNewThread(
        []
        {
            CFunctionSwitch fsThread("T::Thr");
            EXPECT_EQ(CountThreads(), 2);
            fsThread.Leave();
            FreeThreadExVarsStorage();
        });
    EXPECT_EQ(CountThreads(), 1);

    // A thread that ended without freeing, and a new one with its id.
    SPosixThreadExceptionVars* const pFirst = std::exchange(g_pThreadExceptionVars, nullptr);
    EXPECT_EQ(CountThreads(), -1) << "the id's first storage stays";
    FreeThreadExVarsStorage();
    EXPECT_EQ(CountThreads(), 1) << "its element is erased whatever it holds";
    FreeThreadExVarsStorage();
    std::free(pFirst);
}

TEST(ThreadStatesMap, ManyThreadsMakeFillEmptyAndFreeIt)
{
    FreeThreadExVarsStorage();
    std::vector<std::thread> vThreads(8);
    for (std::thread& thread : vThreads)
    {
        thread = std::thread(
            []
            {
                for (int iRound = 0; iRound < 200; ++iRound)
                {
                    CFunctionSwitch fsThread("T::Thr");
                    EXPECT_GE(iRound % 2 == 0 ? CountThreads() : 1, 1);
                    FreeThreadExVarsStorage();
                }
            });
    }
    for (std::thread& thread : vThreads)
    {
        thread.join();
    }
    EXPECT_EQ(CountThreads(), 1);
}

int g_iInstallations = 0;

TEST(InitExceptions, MakesTheKeyAndTheMapAndInstallsTheSignals)
{
    SetCrashSignalInstaller([] { ++g_iInstallations; });
    InitExceptions_Once();
    SetCrashSignalInstaller(nullptr);
    EXPECT_EQ(g_iInstallations, 1);
    EXPECT_NE(g_bAllocatedFuncStateEntryThreadKey, 0);
    EXPECT_EQ(CountThreads(), 1);
}

TEST(StickyScope, HoldsAReferenceOfWhatHasOne)
{
    CLineLogger logger; // reaches ISticky through a virtual base
    {
        const CStickyScope scopeOfReference(logger);
        const CStickyScope scopeOfPointer(&logger);
        const CStickyScope scopeOfBase(static_cast<ISticky*>(&logger));
        const CStickyScope scopeOfNothing(static_cast<CLineLogger*>(nullptr));
        EXPECT_EQ(logger.m_iReferences, 3);
    }
    EXPECT_EQ(logger.m_iReferences, 0);
}

} // namespace
