#include "diagnostics/state_report.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <deque>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <pthread.h>

#include <gtest/gtest.h>

#include "tests/support/guarded_page.h"
#include "tests/support/line_logger.h"
#include "tests/threading/threads.h"

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
    using Entry = SFuncStateEntry;
    using Param = SFuncStateParam;
    const CGuardedPage page;
    char* const pEnd = page.End();
    int iValue = 7;
    Param value = {"i", &iValue, FPT_INT, nullptr};
    Entry outer = {"T::O", &value, &value, nullptr, nullptr};
    const auto entryAt = [](char* p) { return reinterpret_cast<Entry*>(p); };
    char* const pUnaligned = reinterpret_cast<char*>(&outer) + 2;

    const struct
    {
        std::function<void(Entry&, Param&)> m_damage;
        const char* m_szReport;
    } kCases[] = {
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
    for (const auto& row : kCases)
    {
        Param first = {"j", &iValue, FPT_INT, &value};
        Entry inner = {"T::I", &first, &first, &outer, nullptr};
        row.m_damage(inner, first);
        EXPECT_EQ(Report(&inner, 100), row.m_szReport) << &row - kCases;
    }

    Entry vChain[3] = {};
    for (Entry* const pBeyond : {static_cast<Entry*>(nullptr), entryAt(pEnd)})
    {
        vChain[0] = {nullptr, nullptr, nullptr, pBeyond, &vChain[1]};
        vChain[1] = {nullptr, nullptr, nullptr, &vChain[0], &vChain[2]};
        vChain[2] = {nullptr, nullptr, nullptr, &vChain[1], pBeyond};
        EXPECT_EQ(GetFirstStateEntry(&vChain[1]), &vChain[0]);
        EXPECT_EQ(GetLastStateEntry(&vChain[1]), &vChain[2]);
        EXPECT_EQ(GetFirstStateEntry(pBeyond), nullptr);
    }
    vChain[0].m_pPrevious = &vChain[2];
    EXPECT_NE(GetFirstStateEntry(&vChain[1]), nullptr) << "a circle ends";
}

TEST(StateReport, ListsThreadsThatTraceWithThoseThatEndedUnnoticed)
{
    FreeThreadExVarsStorage();
    CFunctionSwitch fsTest("T::Main");

    // Where the id of a thread that was unmapped would lead; 1 is below all others.
    const CGuardedPage page;
    const auto dwGone = static_cast<unsigned long>(reinterpret_cast<std::uintptr_t>(page.End()));
    SFuncStateEntry entry = {"T::Gone", nullptr, nullptr, nullptr, nullptr};
    SPosixThreadExceptionVars vars = {{&entry}, nullptr};
    SPosixThreadExceptionVars varsIdle = {{nullptr}, nullptr};
    std::map<std::string, std::string> mapThreads; // by the line that begins with the id
    const auto add = [&](unsigned long dwThread, const char* szRest)
    {
        char szHead[100];
        std::snprintf(szHead, sizeof szHead, "Thread 0x%08lX ", dwThread);
        mapThreads[szHead] = szRest;
    };
    add(static_cast<unsigned long>(pthread_self()),
        "policy=0 priority=0\r\nTSM::PASR\r\nT::Main\r\n===============\r\n");
    add(dwGone, "policy=-1 priority=-1\r\nT::Gone\r\n===============\r\n");
    std::string strAll =
        "Unknown Application Unknown Version: Application Threads (3)\r\n===============\r\n";
    const std::size_t uHead = strAll.size();
    for (const auto& [strHead, strRest] : mapThreads)
    {
        strAll.append(strHead).append(strRest);
    }
    auto& mapStates = CThreadStatesMapScope().GetMap()->m_mapThreads;
    mapStates.insert({{dwGone, &vars}, {1, &varsIdle}});

    for (std::size_t uSize = 0; uSize <= strAll.size(); ++uSize)
    {
        const auto pBuffer = std::make_unique<char[]>(uSize);
        const int iLength = WriteThreadsStateReport(pBuffer.get(), static_cast<int>(uSize));
        const std::string strReport(pBuffer.get(), static_cast<std::size_t>(iLength));
        ASSERT_EQ(strReport, strAll.substr(0, strReport.size())) << uSize;
        ASSERT_GE(strReport.size(), uSize < uHead            ? 0
                                    : uSize == strAll.size() ? uSize
                                                             : uSize - 60);
    }
    for (const auto eLevel : {IBaseLogger::Warning, IBaseLogger::Error})
    {
        CLineLogger logger(eLevel);
        WarnProgramState("Odd state");
        EXPECT_EQ(logger.TakeLines(), eLevel == IBaseLogger::Error
                                          ? std::vector<std::string>()
                                          : std::vector{"2 Odd state:\r\n" + strAll});
    }
    mapStates.erase(dwGone);
    mapStates.erase(1);
}

// Functions that come and go, with texts in their frames.
void TraceDeeply(int iDepth)
{
    std::string strText(static_cast<std::size_t>(iDepth * 37 % 100), 'x');
    const char* szText = strText.c_str();
    const wchar_t* wszText = L"\u20AC uro";
    CFunctionSwitch fsDeep("T::Deep");
    CFunctionParam fpText(fsDeep, "szText", szText);
    CFunctionParam fpWide(fsDeep, "wszText", wszText);
    if (iDepth > 0)
    {
        TraceDeeply(iDepth - 1);
    }
}

TEST(StateReport, ReadsThreadsAtWorkThatComeAndGo)
{
    std::atomic<bool> bStop{false};
    const auto work = [&bStop]
    {
        while (!bStop)
        {
            TraceDeeply(20);
            // Ends in a traced function, and its stack with it.
            StartTraced([] { CFunctionSwitch("T::Gone"), FreeThreadExVarsStorage(); }).join();
        }
    };
    const auto read = []
    {
        std::vector<char> vBuffer(8192);
        for (int i = 0; i < 300; ++i)
        {
            EXPECT_GT(WriteThreadsStateReport(vBuffer.data(), 8192), 0);
        }
    };
    std::thread vWorkers[] = {StartTraced(work), StartTraced(work)};
    std::thread reader = StartTraced(read);
    read();
    reader.join();
    bStop = true;
    std::for_each(std::begin(vWorkers), std::end(vWorkers), [](std::thread& t) { t.join(); });
}

} // namespace
