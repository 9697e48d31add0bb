#include "diagnostics/state_report.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <deque>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <pthread.h>
#include <sys/mman.h>

#include <gtest/gtest.h>

#include "tests/support/guarded_page.h"
#include "tests/support/line_logger.h"

namespace
{

std::string Hex(const void* p)
{
    char szText[20];
    std::snprintf(szText, sizeof szText, "0x%0*llX", static_cast<int>(2 * sizeof p),
                  static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(p)));
    return szText;
}

// In a block of exactly that size, for the sanitizer.
std::string Report(SFuncStateEntry* pEntry, int iSize)
{
    const auto pBuffer = std::make_unique<char[]>(static_cast<std::size_t>(std::max(iSize, 0)));
    const int iLength = WriteStateReport(pEntry, pBuffer.get(), iSize);
    EXPECT_LE(iLength, std::max(iSize, 0));
    return {pBuffer.get(), static_cast<std::size_t>(iLength)};
}

// A function with a value for each parameter, and how the report says it: as it is when there is
// room (Plain), when there are more than 40 bytes (Binary), cut (Narrow), or with 15 to spare
// (Wide).
enum EKind
{
    Plain,
    Binary,
    Narrow,
    Wide
};
struct SRow
{
    const char* m_szName;
    const void* m_pValue;
    int m_iType;
    std::string m_strText;
    EKind m_eKind = Plain;
};
struct SFunction
{
    const char* m_szTag;
    std::vector<SRow> m_vRows;
};

// The rules for room, piece by piece.
std::string ExpectedReport(const std::vector<SFunction>& vFunctions, int iSize)
{
    std::string strReport;
    const auto room = [&] { return iSize - static_cast<int>(strReport.size()); };
    for (const auto& [szTag, vRows] : vFunctions)
    {
        if (room() <= 10 || room() <= static_cast<int>(std::strlen(szTag)) + 2)
        {
            break;
        }
        strReport += szTag;
        for (const SRow& row : vRows)
        {
            if (static_cast<int>(std::strlen(row.m_szName)) + 15 >= room())
            {
                break;
            }
            strReport.append(" ").append(row.m_szName).append("=");
            const int iRoom = room();
            const int iLength = static_cast<int>(row.m_strText.size());
            const char* const szQuote = row.m_eKind >= Narrow ? "\"" : "";
            const auto uMost = static_cast<std::size_t>(
                row.m_eKind == Narrow ? std::max(iRoom - 1 - 15, 0) : iLength);
            if ((row.m_eKind == Plain && iLength <= iRoom) ||
                (row.m_eKind == Binary && iRoom > 40) || row.m_eKind == Narrow ||
                (row.m_eKind == Wide && iRoom > iLength + 15))
            {
                strReport.append(szQuote).append(row.m_strText, 0, uMost).append(szQuote);
            }
        }
        if (room() < 2)
        {
            break;
        }
        strReport += "\r\n";
    }
    return strReport;
}

TEST(StateReport, SaysEachTypeOfValueAndCutsByTheRulesAtEverySize)
{
    const CGuardedPage page;
    void* const pNone = nullptr;
    const void* const pGood = page.End() - 1;
    const void* const pBad = page.End();
    const void* const pOdd = page.End() - 9;
    const void* const pShort = page.End() - 2;
    const int iValues[] = {0, -999, 1000, INT_MIN, INT_MAX};
    const unsigned uDword = 0x0A1B2C3D;
    const std::string strLong(150, 'a');
    const char* const szLong = strLong.c_str();
    const char* const szOpen = page.PutAtEnd(std::array{'o', 'p', 'e', 'n'})->data();
    const std::wstring wsLong(40, L'\u20AC');
    const wchar_t* const wszLong = wsLong.c_str();
    std::string strLongAsBytes;
    for (int i = 0; i < 40; ++i)
    {
        strLongAsBytes += "\xE2\x82\xAC";
    }
    const bool bYes = true;
    const bool bNo = false;
    const std::int64_t llValue = INT64_MIN;
    const std::uint8_t uByte = 0xA5;
    const std::int16_t iShort = -32768;
    const std::uint16_t uWord = 0xBEEF;

    const std::vector<SFunction> vFunctions = {
        {"T::Inner",
         {{"bYes", &bYes, FPT_BOOL, "True"},
          {"bNo", &bNo, FPT_BOOL, "False"},
          {"uByte", &uByte, FPT_BYTE, "0xA5"},
          {"iShort", &iShort, FPT_SHORT, "-32,768"},
          {"uWord", &uWord, FPT_WORD, "0xBEEF"},
          {"uOther", &uDword, 99, "0x0A1B2C3D"},
          {"i4", &iValues[4], FPT_INT, "2,147,483,647"}}},
        {"T::M",
         {{"szLong", &szLong, FPT_STRING, strLong, Narrow},
          {"szOpen", &szOpen, FPT_STRING, "open", Narrow},
          {"wszNone", &pNone, FPT_WSTRING, "NULL"},
          {"wszOdd", &pOdd, FPT_WSTRING, "NULL"},
          {"wszShort", &pShort, FPT_WSTRING, "INVALID"},
          {"wszLong", &wszLong, FPT_WSTRING, strLongAsBytes, Wide},
          {"llValue", &llValue, FPT_INT64, "-9,223,372,036,854,775,808"}}},
        {"T::Outermost",
         {{"pNone", &pNone, FPT_POINTER, "NULL"},
          {"pGood", &pGood, FPT_POINTER, Hex(pGood)},
          {"pBad", &pBad, FPT_POINTER, "(BAD)" + Hex(pBad)},
          {"i0", &iValues[0], FPT_INT, "0"},
          {"i1", &iValues[1], FPT_INT, "-999"},
          {"i2", &iValues[2], FPT_INT, "1,000"},
          {"i3", &iValues[3], FPT_INT, "-2,147,483,648"},
          {"uDword", &uDword, FPT_DWORD, "0x0A1B2C3D"},
          {"uBits", &uDword, FPT_BINARY, "0b00001010000110110010110000111101", Binary},
          {"szNone", &pNone, FPT_STRING, "NULL"},
          {"szBad", &pBad, FPT_STRING, "INVALID"}}},
    };
    SFuncStateEntry vEntries[3] = {};
    std::deque<SFuncStateParam> vParams;
    for (std::size_t u = 0; u < 3; ++u)
    {
        SetNewFuncStateEntry(&vEntries[u], vFunctions[u].m_szTag,
                             u < 2 ? &vEntries[u + 1] : nullptr);
        for (const SRow& row : vFunctions[u].m_vRows)
        {
            SetNewFuncParam(&vParams.emplace_back(), row.m_szName, const_cast<void*>(row.m_pValue),
                            row.m_iType);
            AddFuncStateParam(&vEntries[u], &vParams.back());
        }
    }
    for (int iSize = -1; iSize < 1000; ++iSize)
    {
        ASSERT_EQ(Report(vEntries, iSize), ExpectedReport(vFunctions, iSize)) << iSize;
    }
}

TEST(StateReport, EndsWhereTheChainIsDamaged)
{
    const CGuardedPage page;
    int iValue = 7;
    SFuncStateParam value = {"i", &iValue, FPT_INT, nullptr};
    SFuncStateEntry outer = {"T::O", &value, &value, nullptr, nullptr};
    const auto with = [&](auto change)
    {
        SFuncStateParam first = {"j", &iValue, FPT_INT, &value};
        SFuncStateEntry inner = {"T::I", &first, &first, &outer, nullptr};
        change(inner, first);
        return Report(&inner, 100);
    };
    using Entry = SFuncStateEntry;
    using Param = SFuncStateParam;
    char* const pEnd = page.End();
    const std::string strOuter = "T::O i=7\r\n";

    EXPECT_EQ(with([](Entry&, Param&) {}), "T::I j=7 i=7\r\n" + strOuter);
    EXPECT_EQ(with([](Entry& e, Param&) { e.m_szTag = nullptr; }), strOuter);
    EXPECT_EQ(with([&](Entry& e, Param&) { e.m_szTag = pEnd; }), "");
    EXPECT_EQ(with([&](Entry&, Param& p) { p.m_szName = pEnd; }), "T::I i=7\r\n" + strOuter);
    EXPECT_EQ(with([&](Entry&, Param& p) { p.m_pValue = nullptr; }), "T::I i=7\r\n" + strOuter);
    EXPECT_EQ(with([&](Entry&, Param& p) { p.m_pValue = pEnd - 1; }), "T::I j= i=7\r\n" + strOuter);
    for (char* const pBad : {pEnd, pEnd - 4, reinterpret_cast<char*>(8)})
    {
        EXPECT_EQ(with([&](Entry& e, Param&) { e.m_pPrevious = reinterpret_cast<Entry*>(pBad); }),
                  "T::I j=7 i=7\r\n");
        EXPECT_EQ(with([&](Entry&, Param& p) { p.m_pNext = reinterpret_cast<Param*>(pBad); }),
                  "T::I j=7\r\n" + strOuter);
    }
    EXPECT_EQ(
        with([&](Entry& e, Param&)
             { e.m_pPrevious = reinterpret_cast<Entry*>(reinterpret_cast<char*>(&outer) + 2); }),
        "T::I j=7 i=7\r\n");
    // Circles that write nothing.
    EXPECT_EQ(with([](Entry& e, Param&) { e.m_szTag = nullptr, e.m_pPrevious = &e; }), "");
    EXPECT_EQ(with([](Entry&, Param& p) { p.m_szName = nullptr, p.m_pNext = &p; }),
              "T::I\r\n" + strOuter);

    Entry vChain[5] = {};
    for (int i = 0; i < 4; ++i)
    {
        vChain[i].m_pNext = &vChain[i + 1];
        vChain[i + 1].m_pPrevious = &vChain[i];
    }
    EXPECT_EQ(GetFirstStateEntry(&vChain[2]), vChain);
    EXPECT_EQ(GetLastStateEntry(&vChain[2]), &vChain[4]);
    vChain[0].m_pPrevious = vChain[4].m_pNext = reinterpret_cast<Entry*>(pEnd);
    EXPECT_EQ(GetFirstStateEntry(&vChain[2]), vChain);
    EXPECT_EQ(GetLastStateEntry(&vChain[2]), &vChain[4]);
    vChain[0].m_pPrevious = &vChain[4];
    EXPECT_NE(GetFirstStateEntry(&vChain[2]), nullptr) << "a circle ends";
    EXPECT_EQ(GetFirstStateEntry(nullptr), nullptr);
    EXPECT_EQ(GetLastStateEntry(reinterpret_cast<Entry*>(pEnd)), nullptr);
}

std::string ThreadHead(pthread_t thread, const char* szRest)
{
    char szText[100];
    std::snprintf(szText, sizeof szText, "Thread 0x%08lX %s\r\n",
                  static_cast<unsigned long>(thread), szRest);
    return szText;
}

TEST(StateReport, ListsThreadsThatTraceWithThoseThatEndedUnnoticed)
{
    FreeThreadExVarsStorage();
    CFunctionSwitch fsTest("T::Main");
    fsTest.GetEntry()->m_pPrevious = nullptr;

    // Memory where a thread's id would lead if its thread had been unmapped.
    void* const pGone = ::mmap(nullptr, 1, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    const auto dwGone = static_cast<unsigned long>(reinterpret_cast<std::uintptr_t>(pGone));
    SFuncStateEntry entry = {"T::Gone", nullptr, nullptr, nullptr, nullptr};
    SPosixThreadExceptionVars vars = {{&entry}, nullptr};
    SPosixThreadExceptionVars varsIdle = {{nullptr}, nullptr};
    {
        const CThreadStatesMapScope scope;
        scope.GetMap()->m_mapThreads.emplace(dwGone, &vars);
        scope.GetMap()->m_mapThreads.emplace(1, &varsIdle);
    }
    const std::string strSeparator = "===============\r\n";
    const std::string strHead =
        "Unknown Application Unknown Version: Application Threads (3)\r\n" + strSeparator;
    const std::string strMain = ThreadHead(pthread_self(), "policy=0 priority=0") +
                                "TSM::PASR\r\nT::Main\r\n" + strSeparator;
    const std::string strGone =
        ThreadHead(static_cast<pthread_t>(dwGone), "policy=-1 priority=-1") + "T::Gone\r\n" +
        strSeparator;
    const bool bMainFirst = static_cast<unsigned long>(pthread_self()) < dwGone;
    const std::string strAll = strHead + (bMainFirst ? strMain + strGone : strGone + strMain);

    for (int iSize = 0; iSize <= static_cast<int>(strAll.size()); ++iSize)
    {
        const auto pBuffer = std::make_unique<char[]>(static_cast<std::size_t>(iSize));
        const int iLength = WriteThreadsStateReport(pBuffer.get(), iSize);
        const std::string strReport(pBuffer.get(), static_cast<std::size_t>(iLength));
        ASSERT_EQ(strReport, strAll.substr(0, strReport.size())) << iSize;
        ASSERT_GE(iLength, iSize < static_cast<int>(strHead.size()) ? 0 : iSize - 60);
    }
    EXPECT_EQ(WriteThreadsStateReport(std::string(strAll).data(), static_cast<int>(strAll.size())),
              static_cast<int>(strAll.size()));

    for (const auto eLevel : {IBaseLogger::Undefined, IBaseLogger::Warning, IBaseLogger::Error})
    {
        CLineLogger logger(eLevel);
        WarnProgramState("Odd state");
        const auto vLines = logger.TakeLines();
        ASSERT_EQ(vLines.size(), eLevel <= IBaseLogger::Warning ? 1U : 0U);
        EXPECT_TRUE(vLines.empty() || vLines[0] == "2 Odd state:\r\n" + strAll);
    }
    {
        const CThreadStatesMapScope scope;
        scope.GetMap()->m_mapThreads.erase(dwGone);
        scope.GetMap()->m_mapThreads.erase(1);
    }
    ::munmap(pGone, 1);
}

// Functions that come and go as fast as they can, with texts in their frames.
void TraceDeeply(int iDepth, unsigned uSeed)
{
    std::string strText(uSeed % 100, 'x');
    const char* szText = strText.c_str();
    const wchar_t* wszText = L"\u20AC uro";
    CFunctionSwitch fsDeep("T::Deep");
    CFunctionParam fpText(fsDeep, "szText", szText);
    CFunctionParam fpWide(fsDeep, "wszText", wszText);
    CFunctionParam fpDepth(fsDeep, "iDepth", iDepth);
    if (iDepth > 0)
    {
        TraceDeeply(iDepth - 1, uSeed * 31 + 7);
    }
}

TEST(StateReport, ReadsThreadsAtWorkThatComeAndGo)
{
    std::atomic<bool> bStop{false};
    const auto work = [&bStop]
    {
        for (unsigned u = 0; !bStop; ++u)
        {
            TraceDeeply(static_cast<int>(u % 20), u);
        }
        FreeThreadExVarsStorage();
    };
    // Threads that end while they are in a traced function, and their stacks with them.
    const auto vanish = [&bStop]
    {
        while (!bStop)
        {
            std::thread(
                []
                {
                    CFunctionSwitch fsGone("T::Gone");
                    FreeThreadExVarsStorage();
                })
                .join();
        }
    };
    std::vector<std::thread> vThreads;
    vThreads.emplace_back(work);
    vThreads.emplace_back(work);
    vThreads.emplace_back(vanish);
    const auto read = [](int iReports)
    {
        std::vector<char> vBuffer(8192);
        const int iSize = static_cast<int>(vBuffer.size());
        for (int i = 0; i < iReports; ++i)
        {
            EXPECT_GT(WriteThreadsStateReport(vBuffer.data(), iSize), 0);
        }
        FreeThreadExVarsStorage();
    };
    vThreads.emplace_back(read, 500);
    read(500);
    vThreads.back().join();
    bStop = true;
    std::for_each(vThreads.begin(), vThreads.end() - 1, [](std::thread& thread) { thread.join(); });
}

} // namespace
