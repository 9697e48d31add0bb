#include "diagnostics/function_state.h"

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/function_chain.h"
#include "tests/support/line_logger.h"

namespace
{

// The same on every machine.
static_assert(FuncParamTypeOf<void*>() == FPT_POINTER);
static_assert(FuncParamTypeOf<const unsigned char* const>() == FPT_POINTER);
static_assert(FuncParamTypeOf<int>() == FPT_INT && FuncParamTypeOf<const long>() == FPT_INT);
static_assert(FuncParamTypeOf<unsigned>() == FPT_DWORD);
static_assert(FuncParamTypeOf<unsigned long>() == FPT_DWORD);
static_assert(FuncParamTypeOf<wchar_t>() == FPT_DWORD);
static_assert(FuncParamTypeOf<char* const>() == FPT_STRING);
static_assert(FuncParamTypeOf<const char*>() == FPT_STRING);
static_assert(FuncParamTypeOf<bool>() == FPT_BOOL);
static_assert(FuncParamTypeOf<const wchar_t*>() == FPT_WSTRING);
static_assert(FuncParamTypeOf<long long>() == FPT_INT64);
static_assert(FuncParamTypeOf<char>() == FPT_BYTE);
static_assert(FuncParamTypeOf<unsigned char>() == FPT_BYTE);
static_assert(FuncParamTypeOf<short>() == FPT_SHORT);
static_assert(FuncParamTypeOf<unsigned short>() == FPT_WORD);

// By value: gcc's null check of a reference to a thread-local goes wrong once it is linked.
const SPosixThreadExceptionVars* Storage()
{
    return g_pThreadExceptionVars;
}

// Whether the map lists the calling thread under its own storage, and how many threads in all.
struct SMapState
{
    bool m_bExists = false;
    bool m_bListed = false;
    std::size_t m_uThreads = 0;
};

SMapState LookAtMap()
{
    const CThreadStatesMapScope scope;
    CThreadStatesMap* const pMap = scope.GetMap();
    if (pMap == nullptr)
    {
        return {};
    }
    pthread_mutex_lock(&pMap->m_mutex);
    const auto it = pMap->m_mapThreads.find(static_cast<unsigned long>(pthread_self()));
    const SMapState state{true, it != pMap->m_mapThreads.end() && it->second == Storage(),
                          pMap->m_mapThreads.size()};
    pthread_mutex_unlock(&pMap->m_mutex);
    return state;
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
    for (unsigned int u = 0xFFFFFFE9U; u != 11; ++u)
    {
        strDigits += HexChar(u);
    }
    EXPECT_EQ(strDigits, "9ABCDEF0123456789ABCDEF0123456789A");
}

TEST(ThreadStatesMap, GoesWithItsLastThreadAndComesAgain)
{
    FreeThreadExVarsStorage();
    for (int iRound = 0; iRound < 2; ++iRound)
    {
        GetAllocExVarsStorage();
        EXPECT_TRUE(LookAtMap().m_bListed);
        OnNewThread(
            []
            {
                CFunctionSwitch fsThread("T::Thr");
                const SMapState state = LookAtMap();
                EXPECT_TRUE(state.m_bListed);
                EXPECT_EQ(state.m_uThreads, 2U);
                fsThread.Leave();
                FreeThreadExVarsStorage();
            });
        EXPECT_EQ(LookAtMap().m_uThreads, 1U);
        FreeThreadExVarsStorage();
        // Looking registers the looker, so only its being alone shows that a new map was made.
        EXPECT_EQ(LookAtMap().m_uThreads, 1U);
        FreeThreadExVarsStorage();
    }
}

TEST(ThreadStatesMap, KeepsTheFirstStorageOfAThreadID)
{
    FreeThreadExVarsStorage();
    SPosixThreadExceptionVars* const pFirst = GetAllocExVarsStorage();
    g_pThreadExceptionVars = nullptr; // as after a thread that ended without freeing
    SPosixThreadExceptionVars* const pSecond = GetAllocExVarsStorage();
    ASSERT_NE(pFirst, pSecond);
    {
        const CThreadStatesMapScope scope;
        EXPECT_EQ(scope.GetMap()->m_mapThreads.begin()->second, pFirst);
    }
    FreeThreadExVarsStorage();
    EXPECT_EQ(LookAtMap().m_uThreads, 1U) << "the id's element is erased whatever it holds";
    FreeThreadExVarsStorage();
    std::free(pFirst);
}

TEST(ThreadStatesMap, ManyThreadsMakeFillEmptyAndFreeIt)
{
    FreeThreadExVarsStorage();
    std::vector<std::thread> vThreads;
    for (int iThread = 0; iThread < 8; ++iThread)
    {
        vThreads.emplace_back(
            []
            {
                for (int iRound = 0; iRound < 200; ++iRound)
                {
                    CFunctionSwitch fsThread("T::Thr");
                    if (iRound % 2 == 0)
                    {
                        ASSERT_TRUE(LookAtMap().m_bListed);
                    }
                    FreeThreadExVarsStorage();
                }
            });
    }
    for (std::thread& thread : vThreads)
    {
        thread.join();
    }
    EXPECT_EQ(LookAtMap().m_uThreads, 1U);
}

int g_iInstallations = 0;

TEST(InitExceptions, MakesTheKeyAndTheMapAndInstallsTheSignals)
{
    SetCrashSignalInstaller([] { ++g_iInstallations; });
    InitExceptions_Once();
    SetCrashSignalInstaller(nullptr);
    EXPECT_EQ(g_iInstallations, 1);
    EXPECT_NE(g_bAllocatedFuncStateEntryThreadKey, 0);
    EXPECT_TRUE(LookAtMap().m_bExists);
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
