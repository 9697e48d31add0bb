#include "diagnostics/state_report.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <climits>
#include <cstdint>
#include <cstdio>
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

struct SPiece
{
    enum
    {
        Tag,
        Name,
        Value,
        Binary,
        Narrow,
        Wide,
        End
    } m_eKind;
    std::string m_strText;
};

// The rules for room, piece by piece.
std::string ExpectedReport(const std::vector<SPiece>& vPieces, int iSize)
{
    std::string strReport;
    bool bParameters = true;
    for (const auto& [eKind, strText] : vPieces)
    {
        const int iRoom = iSize - static_cast<int>(strReport.size());
        const int iLength = static_cast<int>(strText.size());
        switch (eKind)
        {
        case SPiece::Tag:
            if (iRoom <= 10 || iRoom <= iLength + 2)
            {
                return strReport;
            }
            strReport += strText;
            bParameters = true;
            continue;
        case SPiece::End:
            if (iRoom < 2)
            {
                return strReport;
            }
            strReport += "\r\n";
            continue;
        case SPiece::Name:
            bParameters = bParameters && iLength + 15 < iRoom;
            if (bParameters)
            {
                strReport.append(" ").append(strText).append("=");
            }
            continue;
        case SPiece::Value:
            strReport += bParameters && iLength <= iRoom ? strText : "";
            continue;
        case SPiece::Binary:
            strReport += bParameters && iRoom > 40 ? strText : "";
            continue;
        case SPiece::Narrow: // 15 bytes remain before the second quote
            if (bParameters)
            {
                const auto uMost = static_cast<std::size_t>(std::max(iRoom - 1 - 15, 0));
                strReport.append("\"").append(strText, 0, uMost).append("\"");
            }
            continue;
        case SPiece::Wide:
            if (bParameters && iRoom > iLength + 15)
            {
                strReport.append("\"").append(strText).append("\"");
            }
            continue;
        }
    }
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
    const char* const szNone = nullptr;
    const char* const szBad = page.End();
    const std::string strLong(150, 'a');
    const char* const szLong = strLong.c_str();
    const char* const szOpen = page.PutAtEnd(std::array{'o', 'p', 'e', 'n'})->data();
    const wchar_t* const wszNone = nullptr;
    const wchar_t* const wszOdd = reinterpret_cast<const wchar_t*>(page.End() - 9);
    const wchar_t* const wszBad = reinterpret_cast<const wchar_t*>(page.End() - 2);
    const std::wstring wsLong(40, L'\u20AC');
    const wchar_t* const wszLong = wsLong.c_str();
    const bool bYes = true;
    const bool bNo = false;
    const std::int64_t llValue = INT64_MIN;
    const std::uint8_t uByte = 0xA5;
    const std::int16_t iShort = -32768;
    const std::uint16_t uWord = 0xBEEF;

    CFunctionSwitch fsOuter("T::Outermost");
    CFunctionParam p1(fsOuter, "pNone", &pNone, FPT_POINTER);
    CFunctionParam p2(fsOuter, "pGood", &pGood, FPT_POINTER);
    CFunctionParam p3(fsOuter, "pBad", &pBad, FPT_POINTER);
    CFunctionParam p4(fsOuter, "i0", &iValues[0], FPT_INT);
    CFunctionParam p5(fsOuter, "i1", &iValues[1], FPT_INT);
    CFunctionParam p6(fsOuter, "i2", &iValues[2], FPT_INT);
    CFunctionParam p7(fsOuter, "i3", &iValues[3], FPT_INT);
    CFunctionParam p8(fsOuter, "uDword", &uDword, FPT_DWORD);
    CFunctionParam p9(fsOuter, "uBits", &uDword, FPT_BINARY);
    CFunctionParam p10(fsOuter, "szNone", &szNone, FPT_STRING);
    CFunctionParam p11(fsOuter, "szBad", &szBad, FPT_STRING);
    CFunctionSwitch fsMiddle("T::M");
    CFunctionParam p12(fsMiddle, "szLong", &szLong, FPT_STRING);
    CFunctionParam p13(fsMiddle, "szOpen", &szOpen, FPT_STRING);
    CFunctionParam p14(fsMiddle, "wszNone", &wszNone, FPT_WSTRING);
    CFunctionParam p15(fsMiddle, "wszOdd", &wszOdd, FPT_WSTRING);
    CFunctionParam p16(fsMiddle, "wszBad", &wszBad, FPT_WSTRING);
    CFunctionParam p17(fsMiddle, "wszLong", &wszLong, FPT_WSTRING);
    CFunctionParam p18(fsMiddle, "llValue", &llValue, FPT_INT64);
    CFunctionSwitch fsInner("T::Inner");
    CFunctionParam p19(fsInner, "bYes", &bYes, FPT_BOOL);
    CFunctionParam p20(fsInner, "bNo", &bNo, FPT_BOOL);
    CFunctionParam p21(fsInner, "uByte", &uByte, FPT_BYTE);
    CFunctionParam p22(fsInner, "iShort", &iShort, FPT_SHORT);
    CFunctionParam p23(fsInner, "uWord", &uWord, FPT_WORD);
    CFunctionParam p24(fsInner, "uOther", &uDword, static_cast<EFuncParamType>(99));
    CFunctionParam p25(fsInner, "i4", &iValues[4], FPT_INT);

    std::string strEuros;
    for (int i = 0; i < 40; ++i)
    {
        strEuros += "\xE2\x82\xAC";
    }
    const std::vector<SPiece> vPieces = {
        {SPiece::Tag, "T::Inner"},
        {SPiece::Name, "bYes"},
        {SPiece::Value, "True"},
        {SPiece::Name, "bNo"},
        {SPiece::Value, "False"},
        {SPiece::Name, "uByte"},
        {SPiece::Value, "0xA5"},
        {SPiece::Name, "iShort"},
        {SPiece::Value, "-32,768"},
        {SPiece::Name, "uWord"},
        {SPiece::Value, "0xBEEF"},
        {SPiece::Name, "uOther"},
        {SPiece::Value, "0x0A1B2C3D"},
        {SPiece::Name, "i4"},
        {SPiece::Value, "2,147,483,647"},
        {SPiece::End, ""},
        {SPiece::Tag, "T::M"},
        {SPiece::Name, "szLong"},
        {SPiece::Narrow, strLong},
        {SPiece::Name, "szOpen"},
        {SPiece::Narrow, "open"},
        {SPiece::Name, "wszNone"},
        {SPiece::Value, "NULL"},
        {SPiece::Name, "wszOdd"},
        {SPiece::Value, "NULL"},
        {SPiece::Name, "wszBad"},
        {SPiece::Value, "INVALID"},
        {SPiece::Name, "wszLong"},
        {SPiece::Wide, strEuros},
        {SPiece::Name, "llValue"},
        {SPiece::Value, "-9,223,372,036,854,775,808"},
        {SPiece::End, ""},
        {SPiece::Tag, "T::Outermost"},
        {SPiece::Name, "pNone"},
        {SPiece::Value, "NULL"},
        {SPiece::Name, "pGood"},
        {SPiece::Value, Hex(pGood)},
        {SPiece::Name, "pBad"},
        {SPiece::Value, "(BAD)" + Hex(pBad)},
        {SPiece::Name, "i0"},
        {SPiece::Value, "0"},
        {SPiece::Name, "i1"},
        {SPiece::Value, "-999"},
        {SPiece::Name, "i2"},
        {SPiece::Value, "1,000"},
        {SPiece::Name, "i3"},
        {SPiece::Value, "-2,147,483,648"},
        {SPiece::Name, "uDword"},
        {SPiece::Value, "0x0A1B2C3D"},
        {SPiece::Name, "uBits"},
        {SPiece::Binary, "0b00001010000110110010110000111101"},
        {SPiece::Name, "szNone"},
        {SPiece::Value, "NULL"},
        {SPiece::Name, "szBad"},
        {SPiece::Value, "INVALID"},
        {SPiece::End, ""},
    };
    // Whoever called this test is no part of the rules.
    fsOuter.GetEntry()->m_pPrevious = nullptr;
    for (int iSize = -1; iSize < 1000; ++iSize)
    {
        ASSERT_EQ(Report(fsInner.GetEntry(), iSize), ExpectedReport(vPieces, iSize)) << iSize;
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
