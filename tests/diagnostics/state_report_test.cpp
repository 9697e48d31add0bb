#include "diagnostics/state_report.h"

#include <pthread.h>
#include <sys/mman.h>

#include "diagnostics/readable_memory.h"
#include "fuzz/support/plain_report.h"
#include "mu/unicode.h"
#include "tests/support/guarded_page.h"
#include "tests/support/line_logger.h"
#include "tests/support/testing.h"
#include "tests/threading/threads.h"

namespace
{

// In a block of exactly that size, for the sanitizer.
template <typename TWrite, class... TChain>
std::string Report(TWrite write, int iSize, TChain... chain)
{
    const auto pBuffer = std::make_unique<char[]>(static_cast<std::size_t>(std::max(iSize, 0)));
    const int iLength = write(chain..., pBuffer.get(), iSize);
    EXPECT_LE(iLength, std::max(iSize, 0));
    return {pBuffer.get(), static_cast<std::size_t>(iLength)};
}

TEST(StateReport, SaysEachTypeOfValueAndCutsByTheRulesAtEverySize)
{
    const CGuardedPage page;
    void* const pNone = nullptr;
    const void* const pGood = page.End() - 1;
    const void* const pBad = page.End();
    const void* const pOdd = page.End() - 9;
    const void* const pShort = page.End() - 2;
    const int iValues[] = {0, -999, 1000, INT_MAX};
    const unsigned uDword = 0x0A1B2C3D;
    const std::string strLong(150, 'a');
    const char* const szLong = strLong.c_str();
    const char* const szOpen = page.PutAtEnd(std::array{'o', 'p', 'e', 'n'})->data();
    const std::wstring wsLong(40, L'\u20AC');
    const wchar_t* const wszLong = wsLong.c_str();
    const bool vBools[] = {false, true};
    const std::int64_t llValue = INT64_MIN;
    const std::uint8_t uByte = 0xA5;
    const std::int16_t iShort = -32768;
    const std::uint16_t uWord = 0xBEEF;
    const auto hex = [](const void* p)
    { return Hex(reinterpret_cast<std::uintptr_t>(p), 2 * sizeof(p)); };

    // A function's tag with its parameters: each one's name, value, type and text.
    using Row = std::tuple<const char*, const void*, int, std::string>;
    const std::pair<const char*, std::vector<Row>> aFunctions[] = {
        {"T::Inner",
         {{"bYes", &vBools[1], FPT_BOOL, "True"},
          {"bNo", &vBools[0], FPT_BOOL, "False"},
          {"uByte", &uByte, FPT_BYTE, "0xA5"},
          {"iShort", &iShort, FPT_SHORT, "-32,768"},
          {"uWord", &uWord, FPT_WORD, "0xBEEF"},
          {"uOther", &uDword, 99, "0x0A1B2C3D"},
          {"", &iValues[1], FPT_INT, "-999"},
          {"i3", &iValues[3], FPT_INT, "2,147,483,647"}}},
        {"T::M",
         {{"szLong", &szLong, FPT_STRING, '"' + strLong + '"'},
          {"szOpen", &szOpen, FPT_STRING, "\"open\""},
          {"wszNone", &pNone, FPT_WSTRING, "NULL"},
          {"wszOdd", &pOdd, FPT_WSTRING, "NULL"},
          {"wszShort", &pShort, FPT_WSTRING, "INVALID"},
          {"wszLong", &wszLong, FPT_WSTRING, '"' + mu::WideStringToNarrow(wsLong) + '"'},
          {"llValue", &llValue, FPT_INT64, "-9,223,372,036,854,775,808"}}},
        {"T::Outermost",
         {{"pNone", &pNone, FPT_POINTER, "NULL"},
          {"pGood", &pGood, FPT_POINTER, hex(pGood)},
          {"pBad", &pBad, FPT_POINTER, "(BAD)" + hex(pBad)},
          {"i0", &iValues[0], FPT_INT, "0"},
          {"i1", &iValues[1], FPT_INT, "-999"},
          {"i2", &iValues[2], FPT_INT, "1,000"},
          {"uDword", &uDword, FPT_DWORD, "0x0A1B2C3D"},
          {"uBits", &uDword, FPT_BINARY, "0b00001010000110110010110000111101"},
          {"szNone", &pNone, FPT_STRING, "NULL"},
          {"szBad", &pBad, FPT_STRING, "INVALID"}}},
    };
    SFuncStateEntry vEntries[3] = {};
    std::deque<SFuncStateParam> vParams;
    std::string strWhole;
    for (std::size_t u = 0; u < 3; ++u)
    {
        const auto& [szTag, vRows] = aFunctions[u];
        SetNewFuncStateEntry(&vEntries[u], szTag, u < 2 ? &vEntries[u + 1] : nullptr);
        strWhole += szTag;
        for (const auto& [szName, pValue, iType, strText] : vRows)
        {
            SetNewFuncParam(&vParams.emplace_back(), szName, const_cast<void*>(pValue), iType);
            AddFuncStateParam(&vEntries[u], &vParams.back());
            strWhole.append(" ").append(szName).append("=").append(strText);
        }
        strWhole += "\r\n";
    }
    EXPECT_EQ(Report(WriteStateReport, 1000, vEntries), strWhole);
    for (int iSize = -1; iSize < static_cast<int>(strWhole.size()) + 20; ++iSize)
    {
        CPlainReport plain(iSize);
        plain.Write(vEntries);
        ASSERT_EQ(Report(WriteStateReport, iSize, vEntries), plain.m_strText) << iSize;
    }
}

TEST(StateReport, EndsWhereTheChainIsDamaged)
{
    using Entry = SFuncStateEntry;
    using Param = SFuncStateParam;
    const CGuardedPage page;
    char* const pEnd = page.End();
    int iValue = 7;
    Param value = {"i", &iValue, FPT_INT, nullptr};
    Entry outer = {"T::O", &value, &value, nullptr, nullptr};
    const auto entryAt = [](char* p) { return reinterpret_cast<Entry*>(p); };
    char* const pUnaligned = reinterpret_cast<char*>(&outer) + 2;

    const std::pair<std::function<void(Entry&, Param&)>, const char*> kCases[] = {
        {[](Entry&, Param&) {}, "T::I j=7 i=7\r\nT::O i=7\r\n"},
        {[](Entry& e, Param&) { e.m_szTag = nullptr; }, "T::O i=7\r\n"},
        {[&](Entry& e, Param&) { e.m_szTag = pEnd; }, ""},
        {[&](Entry&, Param& p) { p.m_szName = pEnd; }, "T::I i=7\r\nT::O i=7\r\n"},
        {[](Entry&, Param& p) { p.m_pValue = nullptr; }, "T::I i=7\r\nT::O i=7\r\n"},
        {[&](Entry&, Param& p) { p.m_pValue = pEnd - 1; }, "T::I j= i=7\r\nT::O i=7\r\n"},
        {[&](Entry& e, Param&) { e.m_pPrevious = entryAt(pEnd - 4); }, "T::I j=7 i=7\r\n"},
        {[&](Entry& e, Param&) { e.m_pPrevious = entryAt(pUnaligned); }, "T::I j=7 i=7\r\n"},
        {[&](Entry&, Param& p) { p.m_pNext = reinterpret_cast<Param*>(pEnd - 4); },
         "T::I j=7\r\nT::O i=7\r\n"},
        // Circles that write nothing.
        {[](Entry& e, Param&) { e.m_szTag = nullptr, e.m_pPrevious = &e; }, ""},
        {[](Entry&, Param& p) { p.m_szName = nullptr, p.m_pNext = &p; }, "T::I\r\nT::O i=7\r\n"},
    };
    for (const auto& [damage, szReport] : kCases)
    {
        Param first = {"j", &iValue, FPT_INT, &value};
        Entry inner = {"T::I", &first, &first, &outer, nullptr};
        damage(inner, first);
        EXPECT_EQ(Report(WriteStateReport, 100, &inner), szReport);
    }

    Entry vChain[3] = {};
    vChain[0] = {nullptr, nullptr, nullptr, nullptr, &vChain[1]};
    vChain[1] = {nullptr, nullptr, nullptr, &vChain[0], &vChain[2]};
    vChain[2] = {nullptr, nullptr, nullptr, &vChain[1], entryAt(pEnd)};
    EXPECT_EQ(GetFirstStateEntry(&vChain[1]), &vChain[0]);
    EXPECT_EQ(GetLastStateEntry(&vChain[1]), &vChain[2]);
    EXPECT_EQ(GetFirstStateEntry(entryAt(pEnd)), nullptr);
    vChain[0].m_pPrevious = &vChain[2];
    EXPECT_NE(GetFirstStateEntry(&vChain[1]), nullptr) << "a circle ends";
}

TEST(StateReport, ListsThreadsThatTraceWithThoseThatEndedUnnoticed)
{
    FreeThreadExVarsStorage();
    CFunctionSwitch fsTest("T::Main");

    // The ids of a thread that does not trace, and of one whose memory is gone: below all others.
    constexpr unsigned long kIdle = 1;
    constexpr unsigned long kGone = 0x1000;
    SFuncStateEntry entry = {"T::Gone", nullptr, nullptr, nullptr, nullptr};
    SPosixThreadExceptionVars vars = {{&entry}, nullptr};
    SPosixThreadExceptionVars varsIdle = {{nullptr}, nullptr};
    char szThread[100];
    std::snprintf(szThread, sizeof szThread, "Thread 0x%08lX ",
                  static_cast<unsigned long>(pthread_self()));
    const std::string strHead =
        "Unknown Application Unknown Version: Application Threads (3)\r\n===============\r\n";
    const std::string strAll = strHead +
                               "Thread 0x00001000 policy=-1 priority=-1\r\n"
                               "T::Gone\r\n===============\r\n" +
                               szThread +
                               "policy=0 priority=0\r\n"
                               "TSM::PASR\r\nT::Main\r\n===============\r\n";
    auto& mapStates = mu::CThreadStatesMapScope().GetMap()->m_mapThreads;
    mapStates.insert({{kGone, &vars}, {kIdle, &varsIdle}});

    for (std::size_t uSize = 0; uSize <= strAll.size(); ++uSize)
    {
        const std::string strReport = Report(WriteThreadsStateReport, static_cast<int>(uSize));
        ASSERT_EQ(strReport, strAll.substr(0, strReport.size())) << uSize;
        ASSERT_GE(strReport.size(), uSize < strHead.size()   ? 0
                                    : uSize == strAll.size() ? uSize
                                                             : uSize - 60);
    }
    CLineLogger logger(IBaseLogger::Warning);
    WarnProgramState("Odd state");
    EXPECT_EQ(logger.TakeLines(), std::vector{"2 Odd state:\r\n" + strAll});
    mapStates.erase(kGone);
    mapStates.erase(kIdle);
}

TEST(StateReport, ReportsAndWarnsInAThreadWhoseChainIsDamaged)
{
    FreeThreadExVarsStorage();
    std::atomic<SFuncStateEntry*>& pCurrent = GetAllocExVarsStorage()->m_pCurrentEntry;
    const CGuardedPage page;
    const SFuncStateEntry constant = {"T::C", nullptr, nullptr, nullptr, nullptr};
    SFuncStateEntry* const pReadOnly = page.PutAtEnd(constant);
    ::mprotect(page.End() - 4096, 4096, PROT_READ);
    const std::pair<void*, std::string> kCases[] = {
        {page.End(), ""}, {reinterpret_cast<void*>(16), ""}, {pReadOnly, "T::C\r\n"}};
    for (const auto& [pEntry, strChain] : kCases)
    {
        CLineLogger logger(IBaseLogger::Warning);
        logger.m_onMessage = [] { CFunctionSwitch fsLog("T::Log"); };
        pCurrent = static_cast<SFuncStateEntry*>(pEntry);
        const std::string strOwn = Report(WriteStateReport, 100, pCurrent.load());
        const std::string strAll = Report(WriteThreadsStateReport, 1000);
        WarnProgramState("Odd state");
        EXPECT_TRUE(IsReadableMemory(&pCurrent, sizeof pCurrent));
        EXPECT_EQ(pCurrent.exchange(nullptr), pEntry);
        EXPECT_EQ(strOwn, strChain);
        EXPECT_NE(strAll.find("TSM::PASR\r\n" + strChain + "==="), std::string::npos) << strAll;
        EXPECT_EQ(logger.TakeLines(), std::vector{"2 Odd state:\r\n" + strAll});
    }
}

// Functions that come and go, with texts in their frames.
void TraceDeeply(int iDepth)
{
    std::string strText(static_cast<std::size_t>(iDepth * 37 % 100), 'x');
    const char* szText = strText.c_str();
    CFunctionSwitch fsDeep("T::Deep");
    mu::CFunctionParam fpText(fsDeep, "szText", szText);
    if (iDepth > 0)
        TraceDeeply(iDepth - 1);
}

TEST(StateReport, ReadsThreadsAtWorkThatMakeFillEmptyAndFreeTheirMap)
{
    FreeThreadExVarsStorage();
    const auto work = []
    {
        for (int iRound = 0; iRound < 200; ++iRound)
        {
            TraceDeeply(20);
            // Ends in a traced function, and its stack with it.
            StartTraced([] { TraceDeeply(1); }).join();
            EXPECT_TRUE(iRound % 2 == 0 || Report(WriteThreadsStateReport, 8192) != "");
            FreeThreadExVarsStorage();
        }
    };
    std::vector<std::thread> vThreads(4);
    std::generate(vThreads.begin(), vThreads.end(), [&] { return std::thread(work); });
    std::for_each(vThreads.begin(), vThreads.end(), [](std::thread& t) { t.join(); });
    EXPECT_EQ(mu::CThreadStatesMapScope().GetMap()->m_mapThreads.size(), 1U);
}

} // namespace
