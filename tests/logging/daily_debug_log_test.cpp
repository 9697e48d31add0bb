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

constexpr char kMark[] = "\xEF\xBB\xBF";
constexpr long long kMidnight = 1709251200; // 2024-03-01, UTC
constexpr char kFebruary29[] = "/2024/02 February/29/DebugLog_2024_02_29.txt";
constexpr char kMarch1[] = "/2024/03 March/01/DebugLog_2024_03_01.txt";

// A log in a folder of its own. Its scope ends it, if its references do not.
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
        if (m_pDeleted != nullptr)
        {
            m_pDeleted->Signal();
        }
    }
    int AddRef() override { return ++m_iReferences; }
    int Release() override
    {
        const int iReferences = --m_iReferences;
        if (iReferences == 0)
        {
            delete this;
        }
        return iReferences;
    }
    using CDailyDebugLog::ReleaseResources;
    std::string File(const std::string& strName) const
    {
        return ReadFile(m_folder.Path("root") + strName);
    }

    std::atomic<int> m_iReferences{1};
    CPosixEventObject* m_pDeleted = nullptr;
    const CTemporaryFolder m_folder;
    CMediaRecorderConfiguration m_config;
};

struct SRunningScheduler
{
    SRunningScheduler()
    {
        m_scheduler.AddRef();
        EXPECT_TRUE(m_scheduler.Start("log test"));
    }
    ~SRunningScheduler() { m_scheduler.Release(); }
    AutoDeleteThreadObjectImpl<CScheduler>& m_scheduler =
        *new AutoDeleteThreadObjectImpl<CScheduler>;
};

TEST(DailyDebugLog, AddsLinesWholeOrNotAtAll)
{
    const CFakeTime time(kMidnight - 1);
    CTestLog log(nullptr, 64 << 10);
    std::string strExpected(kMark);
    for (const std::size_t uLength : {0U, 1U, 1022U, 1023U, 5000U})
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
    EXPECT_EQ(log.File(kFebruary29),
              strExpected + "Daily debug Log: configuration change, NULL storage scheduler!\r\n");
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
        int m_iDelays[4]; // of the day ends, one after the other
        const char* m_szFile;
        const char* m_szLines;
    } aCases[] = {
        {"UTC0", kMidnight - 1, {2, 86400, 86400}, kFebruary29, "0 term 2 \r\n"},
        {"UTC0", kMidnight, {86401, 86400, 86400}, kMarch1, "0 term 86401 \r\n"},
        // 2024-03-31 has 23 hours: it ends an hour late. 2024-10-27 has 25 and ends twice.
        {kZone,
         1711839601,
         {86400, 82800, 86400},
         "/2024/03 March/31/DebugLog_2024_03_31.txt",
         "0 term 86400 \r\n"},
        {kZone,
         1729980001,
         {86400, 3600, 86400},
         "/2024/10 October/27/DebugLog_2024_10_27.txt",
         "0 term 86400 \r\ninit 1 term 3600 \r\n"},
    };
    for (const auto& row : aCases)
    {
        SCOPED_TRACE(row.m_llTime);
        CFakeTime time(row.m_llTime, row.m_szZone);
        CHandScheduler scheduler;
        CTestLog log(&scheduler);
        static int iDelay;
        log.SetTermLogCallback(
            [](ITextLogger* ptlLogger, void*)
            {
                EXPECT_EQ(FunctionChain(), "DDL::SL;");
                // An Error inside a flush asks for no other.
                ptlLogger->LogMessageF(IBaseLogger::Error, "term %d ", iDelay);
            },
            nullptr);
        log.SetInitLogCallback(
            [](ITextLogger* ptlLogger, void* pLog)
            {
                static_cast<CTestLog*>(pLog)->AddText("init ", 5, false);
                EXPECT_EQ(ptlLogger, static_cast<CTestLog*>(pLog));
            },
            &log);
        long long llNow = row.m_llTime;
        for (int i = 0; i < 3; ++i)
        {
            iDelay = row.m_iDelays[i];
            EXPECT_EQ(scheduler.Tasks(), "flush daily log 1 in " + std::to_string(iDelay) + ";");
            log.AddText(i == 0 ? "0 " : "1 ", 2, false);
            time.Set(llNow += iDelay);
            scheduler.Finish(0, true);
        }
        EXPECT_EQ(log.File(row.m_szFile), std::string(kMark) + row.m_szLines);
    }
}

TEST(DailyDebugLog, FollowsAClockThatIsSet)
{
    CFakeTime time(86400); // 1970: nobody has set the clock
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
        time.Set(kMidnight + iSeconds);
        mu::SetCurrentLocalTimeComponents({});
        EXPECT_EQ(scheduler.Tasks(), szTasks);
        log.LogMessageF(IBaseLogger::Error, "%d", iSeconds);
        scheduler.Finish(1, true);
    }
    EXPECT_EQ(log.File(kFebruary29), std::string(kMark) + "early\r\n-10\r\n10\r\n-20\r\n");
    // A day end that fails schedules the next one, and its lines come into the next file.
    log.AddTextF("late");
    log.HandleConfigurationChange();
    std::filesystem::rename(log.m_folder.Path("root"), log.m_folder.Path("away"));
    WriteFile(log.m_folder.Path("root"), "");
    time.Set(kMidnight + 1);
    scheduler.Finish(1, true);
    scheduler.Finish(0, true);
    EXPECT_EQ(scheduler.Tasks(), "flush daily log 1 in 86400;");
    std::filesystem::remove(log.m_folder.Path("root"));
    scheduler.Finish(0, true);
    EXPECT_EQ(log.File(kMarch1), std::string(kMark) + "late\r\n");

    log.HandleConfigurationChange();
    log.ReleaseResources();
    log.SetStorageScheduler(&scheduler);
    mu::SetCurrentLocalTimeComponents({}); // the registration is gone
    log.SetStorageScheduler(nullptr);
    EXPECT_EQ(scheduler.Tasks(), "");
    EXPECT_EQ(log.m_iReferences, 1);
    EXPECT_EQ(scheduler.m_iReferences, 0);
}

TEST(DailyDebugLog, AsksForOneFlushAtATimeAndAgainIfItNeverRan)
{
    const CFakeTime time(kMidnight);
    const std::string strDayEnd = "flush daily log 1 in 86401;";
    const std::string strNow = "flush daily log 0 in 0;";
    CHandScheduler scheduler;
    CTestLog log(&scheduler, 2048);
    const auto tasksAfterErrors = [&]
    {
        log.LogMessage(IBaseLogger::Error, "e");
        log.LogMessage(IBaseLogger::Error, "e");
        return scheduler.Tasks();
    };
    EXPECT_EQ(tasksAfterErrors(), strDayEnd + strNow);
    log.ScheduleNextLogFlush(false);
    EXPECT_EQ(scheduler.Tasks(), strDayEnd);
    scheduler.m_bRefuse = true;
    EXPECT_EQ(tasksAfterErrors(), strDayEnd);
    scheduler.m_bRefuse = false;
    EXPECT_EQ(tasksAfterErrors(), strDayEnd + strNow);
    scheduler.Finish(1, false);
    EXPECT_EQ(tasksAfterErrors(), strDayEnd + strNow);
    EXPECT_EQ(log.m_iReferences, 3);
    scheduler.Finish(1, true);

    // So does half of the buffer, and a line that finds no room in a smaller part of it.
    const std::string strHalf(1022, 'x');
    EXPECT_TRUE(log.AddText(strHalf.data(), 1022, true));
    EXPECT_EQ(scheduler.Tasks(), strDayEnd);
    EXPECT_TRUE(log.AddText("1", 1, false));
    EXPECT_EQ(scheduler.Tasks(), strDayEnd + strNow);
    scheduler.Finish(1, true);
    EXPECT_TRUE(log.SetBufferSize(1100));
    EXPECT_TRUE(log.AddText(strHalf.data(), 300, true));
    EXPECT_EQ(scheduler.Tasks(), strDayEnd);
    EXPECT_FALSE(log.AddTextF("no room"));
    EXPECT_EQ(scheduler.Tasks(), strDayEnd + strNow);
    scheduler.Finish(1, true);
    EXPECT_TRUE(log.AddTextF("room"));
}

TEST(DailyDebugLog, LosesNothingToADiskThatFails)
{
    namespace fs = std::filesystem;
    rlimit limit{};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    const auto limitFiles = [&](int iBytes)
    {
        const rlimit changed{iBytes > 0 ? static_cast<rlim_t>(iBytes) : limit.rlim_max,
                             limit.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &changed);
    };
    std::signal(SIGXFSZ, SIG_IGN);
    const CFakeTime time(kMidnight);
    // A limit for files; or a file in the root's place, a full device, a full file system.
    for (const int iFault : {2, 3, 7, 10, -1, -2, -3})
    {
        SCOPED_TRACE(iFault);
        CHandScheduler scheduler;
        CTestLog log(&scheduler, 1 << 20);
        mu::g_ptlTextLogger = &log; // files that fail inside a flush log here
        const std::string strRoot = log.m_folder.Path("root");
        bool bBroken = true;
        if (iFault == -1)
        {
            WriteFile(strRoot, "x");
        }
        else if (iFault == -2)
        {
            fs::create_directories(fs::path(strRoot + kMarch1).parent_path());
            fs::create_symlink("/dev/full", strRoot + kMarch1);
        }
        else if (iFault == -3)
        {
            fs::create_directory(strRoot);
            bBroken = ::mount("tmpfs", strRoot.c_str(), "tmpfs", 0, "size=64k") == 0;
        }
        std::string strExpected(kMark);
        for (int i = 0; i < 9000; ++i)
        {
            EXPECT_TRUE(log.AddTextF("line %d", i));
            strExpected += "line " + std::to_string(i) + "\r\n";
        }
        limitFiles(iFault);
        log.LogMessage(IBaseLogger::Error, "error");
        scheduler.Finish(1, true);
        limitFiles(0);
        log.LogMessage(IBaseLogger::Error, "error");
        EXPECT_EQ(scheduler.GetQueuedTaskCount(), bBroken ? 1 : 2) << "disarmed";
        iFault == -3 ? ::mount("tmpfs", strRoot.c_str(), "tmpfs", MS_REMOUNT, "size=10m")
                     : fs::remove(iFault == -2   ? strRoot + kMarch1
                                  : iFault == -1 ? strRoot
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
    const SRunningScheduler running;
    CTestLog log(&running.m_scheduler, 64 << 10);
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
    running.m_scheduler.Stop();
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
    const SRunningScheduler running;
    for (const bool bInside : {false, true})
    {
        SEvents events;
        auto* const pLog = new CTestLog(nullptr);
        pLog->SetTermLogCallback(runSlowly, &events);
        pLog->AddRef();
        running.m_scheduler.ScheduleTask(0, "day end", 0, CDailyDebugLog::TimeToSaveLog,
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
