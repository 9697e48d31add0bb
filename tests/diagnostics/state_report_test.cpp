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
    char* const pNone = nullptr;
    char* const pEnd = page.End();
    const char* const szOpen = page.PutAtEnd(std::array{'o', 'p', 'e', 'n'})->data();
    const std::string strLong(150, 'a');
    const std::wstring wsLong(40, L'\u20AC');
    std::vector<std::shared_ptr<void>> vValues;
    const auto at = [&](auto value)
    { return vValues.emplace_back(std::make_shared<decltype(value)>(value)).get(); };
    const auto hex = [](const void* p)
    { return Hex(reinterpret_cast<std::uintptr_t>(p), 2 * sizeof(p)); };

    // A function's tag with its parameters: each one's name, value, type and text.
    using Row = std::tuple<const char*, void*, int, std::string>;
    const std::pair<const char*, std::vector<Row>> aFunctions[] = {
        {"T::Inner",
         {{"bYes", at(true), FPT_BOOL, "True"},
          {"bNo", at(false), FPT_BOOL, "False"},
          {"uByte", at(std::uint8_t{0xA5}), FPT_BYTE, "0xA5"},
          {"iShort", at(std::int16_t{-32768}), FPT_SHORT, "-32,768"},
          {"uWord", at(std::uint16_t{0xBEEF}), FPT_WORD, "0xBEEF"},
          {"uOther", at(0x0A1B2C3DU), 99, "0x0A1B2C3D"},
          {"", at(-999), FPT_INT, "-999"},
          {"i3", at(INT_MAX), FPT_INT, "2,147,483,647"}}},
        {"T::M",
         {{"szLong", at(strLong.c_str()), FPT_STRING, '"' + strLong + '"'},
          {"szOpen", at(szOpen), FPT_STRING, "\"open\""},
          {"wszNone", at(pNone), FPT_WSTRING, "NULL"},
          {"wszOdd", at(pEnd - 9), FPT_WSTRING, "NULL"},
          {"wszShort", at(pEnd - 2), FPT_WSTRING, "INVALID"},
          {"wszLong", at(wsLong.c_str()), FPT_WSTRING, '"' + mu::WideStringToNarrow(wsLong) + '"'},
          {"llValue", at(INT64_MIN), FPT_INT64, "-9,223,372,036,854,775,808"}}},
        {"T::Outermost",
         {{"pNone", at(pNone), FPT_POINTER, "NULL"},
          {"pGood", at(pEnd - 1), FPT_POINTER, hex(pEnd - 1)},
          {"pBad", at(pEnd), FPT_POINTER, "(BAD)" + hex(pEnd)},
          {"i0", at(0), FPT_INT, "0"},
          {"i1", at(-999), FPT_INT, "-999"},
          {"i2", at(1000), FPT_INT, "1,000"},
          {"uDword", at(0x0A1B2C3DU), FPT_DWORD, "0x0A1B2C3D"},
          {"uBits", at(0x0A1B2C3DU), FPT_BINARY, "0b00001010000110110010110000111101"},
          {"szNone", at(pNone), FPT_STRING, "NULL"},
          {"szBad", at(pEnd), FPT_STRING, "INVALID"}}},
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
            SetNewFuncParam(&vParams.emplace_back(), szName, pValue, iType);
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

    // The ids of a thread that does not trace, and of two whose memory is gone: below and above all
    // others.
    constexpr unsigned long kIdle = 1;
    constexpr unsigned long kGone = 0x1000;
    constexpr unsigned long kLast = ULONG_MAX;
    SFuncStateEntry entry = {"T::Gone", nullptr, nullptr, nullptr, nullptr};
    SPosixThreadExceptionVars vars = {{&entry}, nullptr};
    SPosixThreadExceptionVars varsIdle = {{nullptr}, nullptr};
    const std::string strHead =
        "Unknown Application Unknown Version: Application Threads (4)\r\n===============\r\n";
    const std::string strGone = " policy=-1 priority=-1\r\nT::Gone\r\n===============\r\n";
    const std::string strAll =
        strHead + "Thread 0x00001000" + strGone + "Thread " + Hex(pthread_self(), 8) +
        " policy=0 priority=0\r\nTSM::PASR\r\nT::Main\r\n===============\r\n" + "Thread " +
        Hex(kLast, 8) + strGone;
    auto& mapStates = mu::CThreadStatesMapScope().GetMap()->m_mapThreads;
    mapStates.insert({{kGone, &vars}, {kIdle, &varsIdle}, {kLast, &vars}});

    for (std::size_t uSize = 0; uSize <= strAll.size(); ++uSize)
    {
        const std::string strReport = Report(WriteThreadsStateReport, static_cast<int>(uSize));
        ASSERT_EQ(strReport, strAll.substr(0, strReport.size())) << uSize;
        ASSERT_GE(strReport.size(), uSize < strHead.size()   ? 0
                                    : uSize == strAll.size() ? uSize
                                                             : uSize - 60);
    }
    std::erase_if(mapStates, [](auto& it) { return it.second != mu::g_pThreadExceptionVars; });
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
