#include "logging/daily_debug_log.h"

#include <algorithm>
#include <climits>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <sstream>
#include <thread>
#include <utility>

#include <sys/mount.h>
#include <sys/resource.h>

#include <gtest/gtest.h>

#include "config/media_recorder_configuration.h"
#include "logging/log_recorder.h"
#include "tests/logging/hand_scheduler.h"
#include "tests/support/failing_heap.h"
#include "tests/support/fake_time.h"
#include "tests/support/files.h"
#include "tests/support/function_chain.h"
#include "tests/support/temporary_folder.h"
#include "tests/threading/threads.h"
#include "threading/event.h"
#include "threading/scheduler.h"
#include "threading/sleep.h"
#include "threading/system_clock.h"
#include "threading/wait_time.h"

namespace
{

namespace fs = std::filesystem;

constexpr char kMark[] = "\xEF\xBB\xBF";
constexpr long long kMidnight = 1709251200; // 2024-03-01, UTC
constexpr char kFebruary29[] = "/2024/02 February/29/DebugLog_2024_02_29.txt";
constexpr char kMarch1[] = "/2024/03 March/01/DebugLog_2024_03_01.txt";

// A log in a folder of its own. It tells its end.
class CTestLog final : public CDailyDebugLog
{
public:
    explicit CTestLog(IScheduler* pScheduler, int iBufferSize = 8192)
    {
        m_config.m_wsRootDirectory = m_folder.WidePath(L"root");
        EXPECT_TRUE(SetBufferSize(iBufferSize));
        SetRecConfig(&m_config);
        SetStorageScheduler(pScheduler);
        ScheduleNextLogFlush(false);
    }
    ~CTestLog()
    {
        ReleaseResources();
        m_pDeleted != nullptr ? m_pDeleted->Signal() : false;
    }
    int AddRef() override { return ++m_iReferences; }
    int Release() override
    {
        const int iReferences = --m_iReferences;
        iReferences == 0 ? delete this : void();
        return iReferences;
    }
    using CDailyDebugLog::ReleaseResources;
    std::string Path(const std::string& strName) const { return m_folder.Path("root") + strName; }
    std::string File(const std::string& strName) const { return ReadFile(Path(strName)); }

    std::atomic<int> m_iReferences{1};
    CPosixEventObject* m_pDeleted = nullptr;
    const CTemporaryFolder m_folder;
    CMediaRecorderConfiguration m_config;
};

TEST(DailyDebugLog, AddsLinesWholeOrNotAtAll)
{
    const CFakeTime time(kMidnight - 1);
    CTestLog log(nullptr, 64 << 10);
    std::string strExpected(kMark);
    for (const unsigned uLength : {0U, 1U, 1022U, 1023U, 5000U})
    {
        const std::string strLine(uLength, 'x');
        const bool bFits = uLength >= 1 && uLength <= 1022;
        EXPECT_EQ(log.AddTextF("%s", strLine.c_str()), bFits) << uLength;
        strExpected += bFits ? strLine + "\r\n" : "";
    }
    EXPECT_TRUE(log.AddText("no end,", 7, false) && log.AddText("", 0, true));
    EXPECT_FALSE(log.AddText("", 0, false) || log.AddText("x", -1, true) ||
                 log.AddText("x", INT_MAX, true));
    CEasyXML exmlMessage;
    CLogRecorder::GetXMLLogMessage("\xC3\xA9", exmlMessage);
    for (const auto eSeverity : {IBaseLogger::Undefined, IBaseLogger::Status})
    {
        log.LogMessageF(eSeverity, "%d", eSeverity);
        static_cast<IXMLLogger&>(log).LogMessage(eSeverity, exmlMessage);
    }
    EXPECT_EQ(log.File(kFebruary29), "(none)");
    log.LogMessage(IBaseLogger::Error, "error"); // on the disk before the call returns
    strExpected += "no end,\r\n1\r\n23:59:59 \xC3\xA9\r\nerror\r\n";
    EXPECT_EQ(log.File(kFebruary29), strExpected);
    log.HandleConfigurationChange(); // goes on in the file, without a second mark
    strExpected += "Daily debug Log: configuration change, NULL storage scheduler!\r\n";
    EXPECT_EQ(log.File(kFebruary29), strExpected);
    log.ReleaseResources();
    EXPECT_FALSE(log.AddTextF("x"));
}

TEST(DailyDebugLog, EndsEachDayAtItsMidnight)
{
    constexpr char kZone[] = "CET-1CEST,M3.5.0,M10.5.0/3";
    const struct
    {
        const char* m_szZone;
        long long m_llTime;
        int m_iDelays[3]; // of the day ends, one after the other
        const char* m_szFile;
        const char* m_szLines;
    } aCases[] = {
        {"UTC0", kMidnight - 1, {2, 86400, 86400}, kFebruary29, "0 term\r\n"},
        {"UTC0", kMidnight, {86401, 86400, 86400}, kMarch1, "0 term\r\n"},
        // 2024-03-31 has 23 hours: it ends an hour late. 2024-10-27 has 25 and ends twice.
        {kZone,
         1711839601,
         {86400, 82800, 86400},
         "/2024/03 March/31/DebugLog_2024_03_31.txt",
         "0 term\r\n"},
        {kZone,
         1729980001,
         {86400, 3600, 86400},
         "/2024/10 October/27/DebugLog_2024_10_27.txt",
         "0 term\r\ninit\r\n1 term\r\n"},
    };
    const auto logInside = [](ITextLogger* ptlLogger, void* szText)
    {
        EXPECT_EQ(FunctionChain(), "DDL::SL;");
        ptlLogger->LogMessage(IBaseLogger::Error, static_cast<char*>(szText)); // only buffered
    };
    char szTerm[] = "term";
    char szInit[] = "init";
    for (const auto& row : aCases)
    {
        SCOPED_TRACE(row.m_llTime);
        CFakeTime time(row.m_llTime, row.m_szZone);
        CHandScheduler scheduler;
        CTestLog log(&scheduler);
        log.SetTermLogCallback(logInside, szTerm);
        log.SetInitLogCallback(logInside, szInit);
        for (long long i = 0, llNow = row.m_llTime; i < 3; ++i)
        {
            EXPECT_EQ(scheduler.Tasks(),
                      "flush daily log 1 in " + std::to_string(row.m_iDelays[i]) + ";");
            log.AddText(i == 0 ? "0 " : "1 ", 2, false);
            time.Set(llNow += row.m_iDelays[i]);
            scheduler.Finish(0, true);
        }
        EXPECT_EQ(log.File(row.m_szFile), std::string(kMark) + row.m_szLines);
    }
}

TEST(DailyDebugLog, FollowsAClockThatIsSet)
{
    CFakeTime time(86400); // 1970: nobody has set the clock
    const auto setClock = [](long long llTime)
    {
        mu::STimeComponents components;
        mu::GetLocalTimeComponents(llTime, components);
        mu::SetCurrentLocalTimeComponents(components);
    };
    CHandScheduler scheduler;
    CTestLog log(&scheduler);
    SetDailyDebugLogForTimeChange(&log);
    log.LogMessage(IBaseLogger::Error, "early");
    EXPECT_EQ(scheduler.Tasks(), "flush daily log 0 in 0;");
    scheduler.Finish(0, true);
    EXPECT_EQ(log.File(""), "(none)");
    // The file stays open when the clock goes over midnight, either way, until a day ends.
    for (const auto& [iSeconds, szTasks] : {std::pair(-10, "flush daily log 1 in 11;"),
                                            {10, "flush daily log 1 in 86391;"},
                                            {-20, "flush daily log 1 in 21;"}})
    {
        setClock(kMidnight + iSeconds);
        EXPECT_EQ(scheduler.Tasks(), szTasks);
        log.LogMessageF(IBaseLogger::Error, "%d", iSeconds);
        scheduler.Finish(1, true);
    }
    EXPECT_EQ(log.File(kFebruary29), std::string(kMark) + "early\r\n-10\r\n10\r\n-20\r\n");
    // A day end that fails schedules the next one, and its lines come into the next file.
    log.AddTextF("late");
    log.HandleConfigurationChange();
    fs::rename(log.Path(""), log.Path("2"));
    WriteFile(log.Path(""), "");
    time.Set(kMidnight + 1);
    scheduler.Finish(1, true);
    scheduler.Finish(0, true);
    EXPECT_EQ(scheduler.Tasks(), "flush daily log 1 in 86400;");
    fs::remove(log.Path(""));
    scheduler.Finish(0, true);
    EXPECT_EQ(log.File(kMarch1), std::string(kMark) + "late\r\n");

    log.HandleConfigurationChange();
    log.ReleaseResources();
    EXPECT_EQ(scheduler.m_iReferences, 0);
    log.SetStorageScheduler(&scheduler);
    setClock(kMidnight); // the registration is gone
    EXPECT_EQ(scheduler.Tasks(), "");
    EXPECT_EQ(log.m_iReferences, 1);
}

TEST(DailyDebugLog, AsksForOneFlushAtATimeAndAgainIfItNeverRan)
{
    const CFakeTime time(kMidnight);
    CHandScheduler scheduler;
    CTestLog log(&scheduler, 2048);
    // The tasks that are queued after two Errors, or after text of that size.
    const auto tasksAfter = [&](int iBytes)
    {
        for (int i = 0; i < 2 && iBytes == 0; ++i)
        {
            log.LogMessage(IBaseLogger::Error, "e");
        }
        log.AddText(std::string(1024, 'x').c_str(), iBytes, false);
        return scheduler.GetQueuedTaskCount();
    };
    EXPECT_EQ(tasksAfter(0), 2);
    log.ScheduleNextLogFlush(false);
    EXPECT_EQ(scheduler.Tasks(), "flush daily log 1 in 86401;");
    scheduler.m_bRefuse = true;
    EXPECT_EQ(tasksAfter(0), 1);
    scheduler.m_bRefuse = false;
    EXPECT_EQ(tasksAfter(0), 2);
    scheduler.Finish(1, false);
    EXPECT_EQ(tasksAfter(0), 2);
    EXPECT_EQ(log.m_iReferences, 3);
    scheduler.Finish(1, true);

    // So does half of the buffer, and a line that finds no room in a smaller part of it.
    EXPECT_EQ(tasksAfter(1024), 1);
    EXPECT_EQ(tasksAfter(1), 2);
    scheduler.Finish(1, true);
    EXPECT_TRUE(log.SetBufferSize(1100));
    EXPECT_EQ(tasksAfter(300), 1);
    EXPECT_FALSE(log.AddTextF("no room"));
    EXPECT_EQ(scheduler.GetQueuedTaskCount(), 2);
    scheduler.Finish(1, true);
    EXPECT_TRUE(log.AddTextF("room"));
}

TEST(DailyDebugLog, LosesNothingToADiskThatFails)
{
    rlimit unlimited{};
    ::getrlimit(RLIMIT_FSIZE, &unlimited);
    std::signal(SIGXFSZ, SIG_IGN);
    const CFakeTime time(kMidnight);
    // A limit for files; or a file in the root's place, a full device, a full file system.
    for (const int iFault : {2, 3, 7, 10, -1, -2, -3})
    {
        SCOPED_TRACE(iFault);
        CHandScheduler scheduler;
        CTestLog log(&scheduler, 1 << 20);
        mu::g_ptlTextLogger = &log; // files that fail inside a flush log here
        const std::string strRoot = log.Path("");
        fs::create_directories(fs::path(log.Path(kMarch1)).parent_path());
        bool bBroken = true;
        if (iFault == -1)
        {
            fs::rename(strRoot, strRoot + "2");
            WriteFile(strRoot, "");
        }
        else if (iFault == -2)
        {
            fs::create_symlink("/dev/full", log.Path(kMarch1));
        }
        else if (iFault == -3)
        {
            bBroken = ::mount("tmpfs", strRoot.c_str(), "tmpfs", 0, "size=64k") == 0;
        }
        std::string strExpected(kMark);
        for (int i = 0; i < 9000; ++i)
        {
            EXPECT_TRUE(log.AddTextF("line %d", i));
            strExpected += "line " + std::to_string(i) + "\r\n";
        }
        const rlimit limit{iFault > 0 ? static_cast<rlim_t>(iFault) : unlimited.rlim_max,
                           unlimited.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        log.LogMessage(IBaseLogger::Error, "error");
        scheduler.Finish(1, true);
        ::setrlimit(RLIMIT_FSIZE, &unlimited);
        log.LogMessage(IBaseLogger::Error, "error");
        EXPECT_EQ(scheduler.GetQueuedTaskCount(), bBroken ? 1 : 2) << "disarmed";
        iFault == -3 ? ::mount("tmpfs", strRoot.c_str(), "tmpfs", MS_REMOUNT, "size=10m")
                     : fs::remove(iFault == -1   ? strRoot
                                  : iFault == -2 ? log.Path(kMarch1)
                                                 : "");
        log.HandleConfigurationChange();
        scheduler.Finish(bBroken ? 1 : 2, true);
        const std::string strFile = log.File(kMarch1);
        EXPECT_EQ(strFile.substr(0, strExpected.size() + 7), strExpected + "error\r\n");
        EXPECT_EQ(strFile.substr(strFile.size() - 7), "error\r\n");
        EXPECT_LT(strFile.size(), strExpected.size() + 300) << "each failure is told once";
        mu::g_ptlTextLogger = nullptr;
        ::umount2(strRoot.c_str(), MNT_DETACH);
    }
}

TEST(DailyDebugLog, KeepsEveryAcceptedLineOfManyThreads)
{
    const char* const szLines = std::getenv("ZOR_TEST_LOG_LINES");
    const std::size_t uLines = szLines != nullptr ? std::strtoul(szLines, nullptr, 10) / 8 : 5000;
    const CFakeTime time(kMidnight);
    auto& scheduler = *new AutoDeleteThreadObjectImpl<CScheduler>;
    const CStickyScope scope(scheduler);
    scheduler.Start("log test");
    CTestLog log(&scheduler, 64 << 10);
    std::vector<bool> avecAccepted[8];
    std::thread aThreads[8];
    for (std::size_t uThread = 0; uThread < 8; ++uThread)
    {
        avecAccepted[uThread].resize(uLines);
        aThreads[uThread] = StartTraced(
            [&, uThread]
            {
                GetAllocExVarsStorage();
                const CFailingHeap heap(0);
                for (std::size_t i = 0; i < uLines; ++i)
                {
                    avecAccepted[uThread][i] = log.AddTextF("%zu:%zu and so on", uThread, i);
                    mu::SleepMicroSeconds(avecAccepted[uThread][i] ? 0 : 1);
                }
                EXPECT_FALSE(CFailingHeap::HasFailed());
            });
    }
    std::size_t uAccepted = 0;
    for (std::size_t i = 0; i < 8; ++i)
    {
        aThreads[i].join();
        uAccepted += static_cast<std::size_t>(
            std::count(avecAccepted[i].begin(), avecAccepted[i].end(), true));
    }
    scheduler.Stop();
    log.SaveLog(false);

    // Each line is whole, was accepted and comes once, in its thread's order.
    std::istringstream stream(log.File(kMarch1).substr(3));
    std::size_t auNext[8] = {};
    std::size_t uWritten = 0;
    for (std::string strLine; std::getline(stream, strLine); ++uWritten)
    {
        std::size_t uThread = 0;
        std::size_t uNumber = 0;
        int iEnd = 0;
        std::sscanf(strLine.c_str(), "%1zu:%zu and so on\r%n", &uThread, &uNumber, &iEnd);
        ASSERT_EQ(iEnd, static_cast<int>(strLine.size())) << strLine;
        ASSERT_TRUE(uNumber >= auNext[uThread] && avecAccepted[uThread].at(uNumber)) << strLine;
        auNext[uThread] = uNumber + 1;
    }
    EXPECT_EQ(uWritten, uAccepted);
    RecordProperty("lines", static_cast<int>(uWritten));
}

TEST(DailyDebugLog, WaitsForItsTaskButNotInsideIt)
{
    struct SEvents
    {
        CPosixEventObject m_started;
        CPosixEventObject m_deleted;
        std::atomic<bool> m_bEnded{false};
    };
    const auto runSlowly = [](ITextLogger*, void* pContext)
    {
        static_cast<SEvents*>(pContext)->m_started.Signal();
        mu::SleepMS(20);
        static_cast<SEvents*>(pContext)->m_bEnded = true;
    };
    auto& scheduler = *new AutoDeleteThreadObjectImpl<CScheduler>;
    const CStickyScope scope(scheduler);
    scheduler.Start("log test");
    for (const bool bInside : {false, true})
    {
        SEvents events;
        auto* const pLog = new CTestLog(nullptr);
        pLog->SetTermLogCallback(runSlowly, &events);
        pLog->AddRef();
        scheduler.ScheduleTask(0, "day end", 0, CDailyDebugLog::TimeToSaveLog,
                               CDailyDebugLog::TaskCancelled, pLog, 1);
        events.m_started.Wait(mu::kInfinite);
        if (!bInside)
        {
            pLog->ReleaseResources();
            EXPECT_TRUE(events.m_bEnded);
            EXPECT_EQ(pLog->m_iReferences, 1);
        }
        pLog->m_pDeleted = &events.m_deleted;
        pLog->Release();
        EXPECT_TRUE(events.m_deleted.Wait(mu::kInfinite));
    }
}

} // namespace
