#include "diagnostics/state_report.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <climits>
#include <cstdint>
#include <cstdio>
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

enum EPiece
{
    Tag,
    Value,
    Binary,
    Narrow,
    Wide
};

struct SPiece
{
    EPiece m_eKind;
    const char* m_szName; // of the function or the parameter
    EFuncParamType m_eType;
    const void* m_pValue;
    std::string m_strText;
};

// The rules for room, piece by piece.
std::string ExpectedReport(const std::vector<SPiece>& vPieces, int iSize)
{
    std::string strReport;
    bool bParameters = true;
    const auto room = [&] { return iSize - static_cast<int>(strReport.size()); };
    const auto endLine = [&]
    {
        const bool bEnds = strReport.empty() || room() >= 2;
        strReport += strReport.empty() || !bEnds ? "" : "\r\n";
        return bEnds;
    };
    for (const SPiece& piece : vPieces)
    {
        const std::string strName = piece.m_szName;
        const int iName = static_cast<int>(strName.size());
        if (piece.m_eKind == Tag)
        {
            if (!endLine() || room() <= 10 || room() <= iName + 2)
            {
                return strReport;
            }
            strReport += strName;
            bParameters = true;
            continue;
        }
        bParameters = bParameters && iName + 15 < room();
        if (!bParameters)
        {
            continue;
        }
        strReport += " " + strName + "=";
        const int iLength = static_cast<int>(piece.m_strText.size());
        if (piece.m_eKind == Narrow) // 15 bytes remain before the second quote
        {
            const auto uMost = static_cast<std::size_t>(std::max(room() - 1 - 15, 0));
            strReport += '"' + piece.m_strText.substr(0, uMost) + '"';
        }
        else if (piece.m_eKind == Wide)
        {
            strReport += room() > iLength + 15 ? '"' + piece.m_strText + '"' : "";
        }
        else
        {
            strReport += room() >= (piece.m_eKind == Binary ? 41 : iLength) ? piece.m_strText : "";
        }
    }
    endLine();
    return strReport;
}

TEST(StateReport, SaysEachTypeOfValueAndCutsByTheRulesAtEverySize)
{
    const CGuardedPage page;
    void* const pNone = nullptr;
    const void* const pGood = page.End() - 1;
    const void* const pBad = page.End();
    const int iValues[] = {0, -999, 1000, INT_MIN, INT_MAX};
    const unsigned uDword = 0x0A1B2C3D;
    const std::string strLong(150, 'a');
    const char* const szLong = strLong.c_str();
    const char* const szOpen = page.PutAtEnd(std::array{'o', 'p', 'e', 'n'})->data();
    const void* const pOdd = page.End() - 9;
    const void* const pCut = page.End() - 2;
    const std::wstring wsLong(40, L'\u20AC');
    const wchar_t* const wszLong = wsLong.c_str();
    const bool bYes = true;
    const bool bNo = false;
    const std::int64_t llValue = INT64_MIN;
    const std::uint8_t uByte = 0xA5;
    const std::int16_t iShort = -32768;
    const std::uint16_t uWord = 0xBEEF;
    std::string strEuros;
    for (int i = 0; i < 40; ++i)
    {
        strEuros += "\xE2\x82\xAC";
    }

    const std::vector<SPiece> vPieces = {
        {Tag, "T::Inner", {}, nullptr, ""},
        {Value, "bYes", FPT_BOOL, &bYes, "True"},
        {Value, "bNo", FPT_BOOL, &bNo, "False"},
        {Value, "uByte", FPT_BYTE, &uByte, "0xA5"},
        {Value, "iShort", FPT_SHORT, &iShort, "-32,768"},
        {Value, "uWord", FPT_WORD, &uWord, "0xBEEF"},
        {Value, "uOther", EFuncParamType(99), &uDword, "0x0A1B2C3D"},
        {Value, "i4", FPT_INT, &iValues[4], "2,147,483,647"},
        {Tag, "T::M", {}, nullptr, ""},
        {Narrow, "szLong", FPT_STRING, &szLong, strLong},
        {Narrow, "szOpen", FPT_STRING, &szOpen, "open"},
        {Value, "wszNone", FPT_WSTRING, &pNone, "NULL"},
        {Value, "wszOdd", FPT_WSTRING, &pOdd, "NULL"},
        {Value, "wszBad", FPT_WSTRING, &pCut, "INVALID"},
        {Wide, "wszLong", FPT_WSTRING, &wszLong, strEuros},
        {Value, "llValue", FPT_INT64, &llValue, "-9,223,372,036,854,775,808"},
        {Tag, "T::Outermost", {}, nullptr, ""},
        {Value, "pNone", FPT_POINTER, &pNone, "NULL"},
        {Value, "pGood", FPT_POINTER, &pGood, Hex(pGood)},
        {Value, "pBad", FPT_POINTER, &pBad, "(BAD)" + Hex(pBad)},
        {Value, "i0", FPT_INT, &iValues[0], "0"},
        {Value, "i1", FPT_INT, &iValues[1], "-999"},
        {Value, "i2", FPT_INT, &iValues[2], "1,000"},
        {Value, "i3", FPT_INT, &iValues[3], "-2,147,483,648"},
        {Value, "uDword", FPT_DWORD, &uDword, "0x0A1B2C3D"},
        {Binary, "uBits", FPT_BINARY, &uDword, "0b00001010000110110010110000111101"},
        {Value, "szNone", FPT_STRING, &pNone, "NULL"},
        {Value, "szBad", FPT_STRING, &pBad, "INVALID"},
    };
    std::deque<SFuncStateEntry> vEntries;
    std::deque<SFuncStateParam> vParams;
    for (const SPiece& piece : vPieces)
    {
        if (piece.m_eKind == Tag)
        {
            SFuncStateEntry& entry = vEntries.emplace_back();
            SetNewFuncStateEntry(&entry, piece.m_szName, nullptr);
            if (vEntries.size() > 1)
            {
                vEntries[vEntries.size() - 2].m_pPrevious = &entry;
            }
            continue;
        }
        SetNewFuncParam(&vParams.emplace_back(), piece.m_szName, const_cast<void*>(piece.m_pValue),
                        piece.m_eType);
        AddFuncStateParam(&vEntries.back(), &vParams.back());
    }
    for (int iSize = -1; iSize < 1000; ++iSize)
    {
        ASSERT_EQ(Report(&vEntries.front(), iSize), ExpectedReport(vPieces, iSize)) << iSize;
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
