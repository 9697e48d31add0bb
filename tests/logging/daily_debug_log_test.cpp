#include "logging/daily_debug_log.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "config/media_recorder_configuration.h"
#include "diagnostics/crash_handler.h"
#include "diagnostics/function_state.h"
#include "logging/log_recorder.h"
#include "tests/support/failing_calls.h"
#include "tests/support/failing_heap.h"
#include "tests/support/fake_time.h"
#include "tests/support/function_chain.h"
#include "tests/support/line_logger.h"
#include "tests/support/testing.h"
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

// A scheduler whose tasks the test runs, on its own thread.
class CHandScheduler final : public IScheduler
{
public:
    int AddRef() override { return m_onAddRef(), ++m_iReferences; }
    int Release() override { return --m_iReferences; }
    unsigned long long ScheduleTask(unsigned long long ullDelay, const char* szName, int,
                                    TaskCallback pTask, CancelCallback pCancel, void* pContext,
                                    int i) override
    {
        const auto finish = [=, this](bool bRun, bool bReserved = false)
        { bRun ? pTask(this, pContext, i, bReserved) : pCancel(this, pContext, i); };
        const std::string strText = std::string(szName) + " " + std::to_string(i) + " in " +
                                    std::to_string(ullDelay / 1'000'000) + ";";
        m_bRefuse ? void() : m_vecTasks.push_back({strText, pTask, finish});
        return m_bRefuse ? 0 : 1;
    }
    int GetQueuedTaskCount() override { return static_cast<int>(m_vecTasks.size()); }
    void RemoveTasks(unsigned long long ullTask, TaskCallback pTask, void*, int) override
    {
        EXPECT_EQ(ullTask, 0U) << "whichever it is";
        for (std::size_t i = m_vecTasks.size(); i-- > 0;)
            m_vecTasks[i].m_pTask == pTask ? Finish(i, false) : void();
    }
    /// Runs or cancels the i-th task.
    void Finish(std::size_t i, bool bRun)
    {
        const STask task = m_vecTasks.at(i);
        m_vecTasks.erase(m_vecTasks.begin() + static_cast<std::ptrdiff_t>(i));
        task.m_finish(bRun);
    }
    /// As "flush daily log 0 in 0;": the name, the parameter and the seconds.
    std::string Tasks() const
    {
        std::string strTasks;
        for (const STask& task : m_vecTasks)
            strTasks += task.m_strText;
        return strTasks;
    }

    struct STask
    {
        std::string m_strText;
        TaskCallback m_pTask;
        std::function<void(bool)> m_finish;
    };
    std::vector<STask> m_vecTasks;
    std::function<void()> m_onAddRef = [] {};
    bool m_bRefuse = false;
    int m_iReferences = 0;
};

// A log in a folder of its own.
class CTestLog final : public CDailyDebugLog
{
public:
    explicit CTestLog(IScheduler* pScheduler, int iBufferSize = 8192)
    {
        m_config.m_wsRootDirectory = m_folder.WidePath(L"root");
        SetBufferSize(iBufferSize);
        SetRecConfig(&m_config);
        SetStorageScheduler(pScheduler);
        ScheduleNextLogFlush(false);
        ++s_iLogs;
    }
    ~CTestLog()
    {
        ReleaseResources();
        --s_iLogs;
    }
    int AddRef() override { return ++m_iReferences; }
    int Release() override
    {
        const int iReferences = --m_iReferences;
        iReferences == 0 ? delete this : void();
        return iReferences;
    }
    /// The file of a day of 2024, which is given as in "02 February/29".
    fs::path Path(const std::string& strDay) const
    {
        return m_folder.Path("root/2024/") + strDay + "/DebugLog_2024_" + strDay.substr(0, 2) +
               "_" + strDay.substr(strDay.size() - 2) + ".txt";
    }
    std::string File(const std::string& strDay) const { return ReadFile(Path(strDay)); }

    inline static std::atomic<int> s_iLogs{0}; // that there are
    std::atomic<int> m_iReferences{1};
    const CTemporaryFolder m_folder;
    CMediaRecorderConfiguration m_config;
};

TEST(DailyDebugLog, AddsLinesWholeOrNotAtAll)
{
    const CFakeTime time(kMidnight - 1);
    CTestLog log(nullptr, 64 << 10);
    CLineLogger logger;
    log.SaveLog(false);
    EXPECT_EQ(log.GetLowestLoggerServerity(), IBaseLogger::Status);
    EXPECT_EQ(logger.TakeLines().size(), 0U) << "nothing to write, no file to flush";
    std::string strExpected(kMark);
    for (const unsigned uLength : {0U, 1U, 1022U, 1023U})
    {
        const std::string strLine(uLength, 'x');
        const bool bFits = uLength >= 1 && uLength <= 1022;
        EXPECT_EQ(log.AddTextF("%s", strLine.c_str()), bFits) << uLength;
        strExpected += bFits ? strLine + "\r\n" : "";
    }
    EXPECT_TRUE(log.AddText("no end,", 7, false));
    EXPECT_TRUE(log.AddText("", 0, true));
    EXPECT_FALSE(log.AddText("", 0, false));
    EXPECT_FALSE(log.AddText("x", -1, true));
    EXPECT_FALSE(log.AddText("x", INT_MAX, true));
    CEasyXML exmlMessage;
    CLogRecorder::GetXMLLogMessage("\xC3\xA9", exmlMessage);
    for (const auto eSeverity : {IBaseLogger::Undefined, IBaseLogger::Status})
    {
        log.LogMessageF(eSeverity, "%d", eSeverity);
        static_cast<IXMLLogger&>(log).LogMessage(eSeverity, exmlMessage);
    }
    EXPECT_EQ(log.File("02 February/29"), "(none)");
    log.LogMessage(IBaseLogger::Error, "error"); // on the disk before the call returns
    strExpected += "no end,\r\n1\r\n23:59:59 \xC3\xA9\r\nerror\r\n";
    EXPECT_EQ(log.File("02 February/29"), strExpected);
    log.SetRecConfig(nullptr);
    log.LogMessage(IBaseLogger::Error, "kept");
    EXPECT_EQ(log.File("02 February/29"), strExpected);
    log.SetRecConfig(&log.m_config);
    log.HandleConfigurationChange(); // goes on in the file, without a second mark
    strExpected += "kept\r\nDaily debug Log: configuration change, NULL storage scheduler!\r\n";
    EXPECT_EQ(log.File("02 February/29"), strExpected);
    log.LogMessage(IBaseLogger::Warning, nullptr);
    log.SaveLog(false);
    EXPECT_TRUE(log.AddText("1", 1, false));
    log.SaveLog(false);
    EXPECT_EQ(log.File("02 February/29"), strExpected + "\r\n1");
    log.ReleaseResources();
    log.SaveLog(false);
    EXPECT_FALSE(log.AddTextF("x"));
}

TEST(DailyDebugLog, EndsEachDayAtItsMidnight)
{
    constexpr char kZone[] = "CET-1CEST,M3.5.0,M10.5.0/3";
    // Only buffered; the next file's opening line asks for a flush of its own.
    const auto logInside = [](ITextLogger* ptlLogger, void* szText)
    {
        EXPECT_EQ(FunctionChain(), "DDL::SL;");
        ptlLogger->LogMessage(IBaseLogger::Error, static_cast<char*>(szText));
    };
    char szTerm[] = "term";
    char szInit[] = "init";
    // The zone and time of the start, the seconds to the first two day ends, the day and its lines.
    // A day of 23 hours ends an hour late, one of 25 ends twice.
    using C = std::tuple<const char*, long long, int, int, const char*, const char*>;
    for (const auto& [szZone, llTime, iFirst, iSecond, szDay, szLines] :
         {C("UTC0", kMidnight - 1, 2, 86400, "02 February/29", "0 term\r\n"),
          C("UTC0", kMidnight, 86401, 86400, "03 March/01", "0 term\r\n"),
          C(kZone, 1711839601, 86400, 82800, "03 March/31", "0 term\r\n"),
          C(kZone, 1729980001, 86400, 3600, "10 October/27", "0 term\r\ninit\r\n1 term\r\n")})
    {
        SCOPED_TRACE(llTime);
        CFakeTime time(llTime, szZone);
        CHandScheduler scheduler;
        CTestLog log(&scheduler);
        log.SetTermLogCallback(logInside, szTerm);
        log.SetInitLogCallback(logInside, szInit);
        long long llNow = llTime;
        for (const int iDelay : {iFirst, iSecond, 86400})
        {
            const bool bFirst = llNow == llTime;
            EXPECT_EQ(scheduler.Tasks(), "flush daily log 1 in " + std::to_string(iDelay) +
                                             (bFirst ? ";" : ";flush daily log 0 in 0;"));
            log.AddText(bFirst ? "0 " : "1 ", 2, false);
            time.Set(llNow += iDelay);
            scheduler.Finish(0, true);
        }
        EXPECT_EQ(log.File(szDay), std::string(kMark) + szLines);
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
    EXPECT_FALSE(fs::exists(log.m_folder.Path("root")));
    // The file stays open when the clock goes over midnight, either way, until a day ends.
    for (const auto& [iSeconds, szDelay] : {std::pair(-10, "11"), {10, "86391"}, {-20, "21"}})
    {
        mu::SetCurrentLocalTimeComponents({2024, 3, 1, 0, 0, iSeconds});
        EXPECT_EQ(scheduler.Tasks(), std::string("flush daily log 1 in ") + szDelay + ";");
        log.LogMessageF(IBaseLogger::Error, "%d", iSeconds);
        scheduler.Finish(1, true);
    }
    EXPECT_EQ(log.File("02 February/29"), std::string(kMark) + "early\r\n-10\r\n10\r\n-20\r\n");
    // A day end that fails schedules the next one, and its lines come into the next file.
    std::wstring wsRoot = L"/dev/null";
    log.AddTextF("late");
    log.HandleConfigurationChange();
    EXPECT_THAT(scheduler.Tasks(), testing::EndsWith(";config changed 0 in 0;"));
    log.m_config.m_wsRootDirectory.swap(wsRoot);
    time.Set(kMidnight + 1);
    scheduler.Finish(1, true);
    scheduler.Finish(0, true);
    EXPECT_EQ(scheduler.Tasks(), "flush daily log 1 in 86400;");
    log.m_config.m_wsRootDirectory.swap(wsRoot);
    scheduler.Finish(0, true);
    EXPECT_EQ(log.File("03 March/01"), std::string(kMark) + "late\r\n");

    log.HandleConfigurationChange();
    log.ReleaseResources();
    EXPECT_EQ(scheduler.m_iReferences, 0);
    log.SetStorageScheduler(&scheduler);
    mu::SetCurrentLocalTimeComponents({2024, 3, 1, 0, 0, 0}); // the registration is gone
    EXPECT_EQ(scheduler.Tasks(), "");
    EXPECT_EQ(log.m_iReferences, 1);
}

TEST(DailyDebugLog, AsksForOneFlushAtATimeAndAgainIfItNeverRan)
{
    const CFakeTime time(kMidnight);
    CHandScheduler scheduler;
    CTestLog log(&scheduler, 2048);
    const std::string strText(1024, 'x');
    // e: an Error; t, b: half of the buffer, a byte; n: the next day end; r: the scheduler refuses
    // tasks or no longer; f, c: the flush runs, is cancelled.
    using C = std::pair<std::string, int>;
    for (const auto& [strActs, iTasks] : {C("ee", 2), C("n", 1), C("ree", 1), C("ree", 2),
                                          C("cee", 2), C("ft", 1), C("b", 2), C("f", 1)})
    {
        for (const char c : strActs)
        {
            c == 'e'               ? log.LogMessage(IBaseLogger::Error, "e")
            : c == 't' || c == 'b' ? void(log.AddText(strText.c_str(), c == 't' ? 1024 : 1, false))
            : c == 'n'             ? log.ScheduleNextLogFlush(false)
            : c == 'r'             ? void(scheduler.m_bRefuse = !scheduler.m_bRefuse)
                                   : scheduler.Finish(1, c == 'f');
        }
        EXPECT_EQ(scheduler.GetQueuedTaskCount(), iTasks) << strActs;
    }
    // So does a line that finds no room in less than half of the buffer.
    EXPECT_TRUE(log.SetBufferSize(1100));
    EXPECT_TRUE(log.AddText(strText.c_str(), 300, false));
    EXPECT_FALSE(log.AddTextF("no room"));
    scheduler.Finish(1, true);
    EXPECT_TRUE(log.AddTextF("room"));
}

TEST(DailyDebugLog, GoesOnAfterADiskThatFailed)
{
    const CFakeTime time(kMidnight);
    constexpr char kAsked[] = "flush daily log 0 in 0;";
    constexpr char kRetried[] = "flush daily log 0 in 1;";
    constexpr char kDisarmed[] = "";
    // The fault (an errno, or the negative of what a write takes), how often it comes, and what is
    // queued after it and an Error.
    for (const auto& [eCall, iFault, iTimes, szTasks] : {std::tuple(ECall::Write, EINTR, 9, kAsked),
                                                         {ECall::Write, EIO, 1, kAsked},
                                                         {ECall::Write, EIO, 2, kRetried},
                                                         {ECall::Write, ENOSPC, 99, kRetried},
                                                         {ECall::Write, -1, 1, kAsked},
                                                         {ECall::Write, -1, 99, kRetried},
                                                         {ECall::Write, -300, 99, kAsked},
                                                         {ECall::Open, EINTR, 1, kAsked},
                                                         {ECall::Open, EINTR, 999, kDisarmed},
                                                         {ECall::Open, EACCES, 1, kDisarmed},
                                                         {ECall::Seek, EIO, 1, kDisarmed}})
    {
        SCOPED_TRACE(testing::Message() << iFault << " " << iTimes);
        CHandScheduler scheduler;
        CTestLog log(&scheduler);
        mu::g_ptlTextLogger = &log; // files that fail inside a flush log here
        std::string strExpected = kMark;
        for (int i = 0; i < 100; ++i)
        {
            EXPECT_TRUE(log.AddTextF("line %d", i));
            strExpected += "line " + std::to_string(i) + "\r\n";
        }
        log.LogMessage(IBaseLogger::Error, "error");
        {
            const CFailingCall call(eCall, iFault, 0, iTimes);
            scheduler.Finish(1, true);
            iFault == ENOSPC ? scheduler.Finish(1, true) : void();
        }
        log.ScheduleNextLogFlush(false); // another day end does not end the retries
        for (const bool bRun : {false, true})
        {
            log.LogMessage(IBaseLogger::Error, "again");
            EXPECT_EQ(scheduler.Tasks(), std::string("flush daily log 1 in 86401;") + szTasks);
            szTasks == kDisarmed ? log.HandleConfigurationChange() : void();
            szTasks == kDisarmed || bRun ? scheduler.Finish(1, bRun) : void();
        }
        const std::string strFile = log.File("03 March/01");
        strExpected += "error\r\n";
        EXPECT_EQ(strFile.substr(0, strExpected.size()), strExpected);
        EXPECT_NE(strFile.find("again\r\nagain\r\n"), std::string::npos);
        EXPECT_LT(strFile.size(), strExpected.size() + 500) << "each failure is told once";
        log.LogMessage(IBaseLogger::Error, "last");
        EXPECT_TRUE(scheduler.Tasks().ends_with(kAsked));
        mu::g_ptlTextLogger = nullptr;
    }
}

TEST(DailyDebugLog, TriesWithEachErrorIfThereIsNoScheduler)
{
    const CFakeTime time(kMidnight);
    CTestLog log(nullptr, 2048);
    int iWrites = 0;
    g_onCall = [&](ECall eCall) { return eCall == ECall::Write && ++iWrites > 0 ? ENOSPC : 0; };
    std::string strExpected(kMark);
    for (int i = 0; i < 400; ++i)
        strExpected += log.AddText("line", 4, true) ? "line\r\n" : "";
    EXPECT_EQ(iWrites, 2) << "again at once, then each second";
    log.LogMessage(IBaseLogger::Error, "no room");
    EXPECT_GT(iWrites, 2);
    g_onCall = nullptr;
    log.LogMessageF(IBaseLogger::Error, "room");
    EXPECT_EQ(log.File("03 March/01"), strExpected + "room\r\n");
}

TEST(DailyDebugLog, KeepsEveryAcceptedLineOfManyThreads)
{
    const char* const szLines = std::getenv("ZOR_TEST_LOG_LINES");
    const std::size_t uLines = szLines != nullptr ? std::strtoul(szLines, nullptr, 10) / 8 : 5000;
    const CFakeTime time(kMidnight);
    auto& scheduler = *new AutoDeleteThreadObjectImpl<mu::CScheduler>;
    const CStickyScope scope(scheduler);
    scheduler.Start("log test");
    CTestLog log(&scheduler, 64 << 10);
    std::string astrAccepted[8], astrWritten[8];
    std::vector<std::jthread> vecThreads;
    for (std::size_t uThread = 0; uThread < 8; ++uThread)
    {
        astrAccepted[uThread].reserve(uLines * 32);
        vecThreads.push_back(StartTraced(
            [&, uThread]
            {
                GetAllocExVarsStorage();
                const CFailingHeap heap(0);
                for (std::size_t i = 0; i < uLines; ++i)
                {
                    char szLine[64];
                    std::snprintf(szLine, sizeof(szLine), "%zu:%zu and so on\r\n", uThread, i);
                    const bool bAccepted = log.AddTextF("%zu:%zu and so on", uThread, i);
                    astrAccepted[uThread] += bAccepted ? szLine : "";
                    mu::SleepMicroSeconds(bAccepted ? 0 : 1);
                }
                EXPECT_FALSE(CFailingHeap::HasFailed());
            }));
    }
    vecThreads.clear();
    scheduler.Stop();
    log.SaveLog(false);

    // Each line is whole, was accepted and comes once, in its thread's order.
    std::istringstream stream(log.File("03 March/01").substr(3));
    for (std::string strLine; std::getline(stream, strLine);)
        astrWritten[strLine.at(0) & 7] += strLine + "\n";
    const auto [pFirst, p] = std::mismatch(astrWritten, std::end(astrWritten), astrAccepted);
    EXPECT_EQ(pFirst - astrWritten, 8) << "lines of this thread";
}

TEST(DailyDebugLog, WaitsForItsTaskButNotInsideIt)
{
    const auto runSlowly = [](ITextLogger*, void* pRuns)
    {
        static_cast<CPosixEventObject*>(pRuns)->Signal();
        mu::SleepMS(20);
        static_cast<CPosixEventObject*>(pRuns)->Reset();
    };
    for (const bool bInside : {false, true})
    {
        auto& scheduler = *new AutoDeleteThreadObjectImpl<mu::CScheduler>;
        const CStickyScope scope(scheduler);
        scheduler.Start("log test");
        CPosixEventObject runs;
        auto* const pLog = new CTestLog(nullptr);
        pLog->SetTermLogCallback(runSlowly, &runs);
        pLog->AddRef();
        scheduler.ScheduleTask(0, "day end", 0, CDailyDebugLog::TimeToSaveLog,
                               CDailyDebugLog::TaskCancelled, pLog, 1);
        runs.Wait(mu::kInfinite);
        if (!bInside)
        {
            pLog->ReleaseResources();
            EXPECT_FALSE(runs.Wait(0));
            EXPECT_EQ(pLog->m_iReferences, 1);
        }
        pLog->Release();
        scheduler.Stop();
        EXPECT_EQ(CTestLog::s_iLogs, 0);
    }
}

[[noreturn]] void Crash()
{
#ifndef __SANITIZE_THREAD__ // its signal handlers come late
    std::raise(SIGSEGV);
#endif
    FatalProgramError("Fatal");
}

std::string Line(char c)
{
    return std::string(std::isupper(c) ? 698 : 1, c) + "\r\n";
}

// Adds a line, A and B one of 700 bytes, e an Error. m and w crash in its flush, after a part of
// the mark or of the text was written, l under the log's lock, i where the first open is
// interrupted, f in a forked child. s gives the log a scheduler, and no day end yet. o adds to
// another log on the same file.
void Act(char cAct, CTestLog& log, CTestLog& other)
{
    CHandScheduler scheduler;
    CLineLogger logger; // back to the log with the act
    mu::g_ptlTextLogger = &log;
    scheduler.m_onAddRef = Crash;
    logger.m_onMessage = [&]
    {
        mu::g_ptlTextLogger = &log;
        Crash();
    };
    const CFailingCall cut(ECall::Write, cAct == 'm' || cAct == 'w' ? -2 : 0, cAct == 'w' ? 1 : 0);
    switch (cAct)
    {
    case 'm':
    case 'w':
        mu::g_ptlTextLogger = &logger; // which is warned of the short write
        [[fallthrough]];
    case 'e':
        return log.LogMessage(IBaseLogger::Error, std::string(1, cAct).c_str());
    case 'l':
        return log.SetStorageScheduler(&scheduler);
    case 's':
        static CHandScheduler s_scheduler;
        log.SetStorageScheduler(&s_scheduler);
        return log.SetRecConfig(&log.m_config);
    case 'i':
        g_onCall = [i = 0](ECall eCall) mutable
        { return eCall == ECall::Open && i++ == 0 ? EINTR : 0; };
        Crash();
    case 'f':
        ::fork() == 0 ? Crash() : void(::wait(nullptr));
        log.LogMessage(IBaseLogger::Error, "f");
        ::_exit(3);
    default:
        const std::string strLine = Line(cAct);
        const int iLength = static_cast<int>(strLine.size()) - 2;
        (cAct == 'o' ? other : log).AddText(strLine.data(), iLength, true);
    }
}

TEST(DailyDebugLog, HasItsLinesInTheFileAfterACrash)
{
    const CFakeTime time(kMidnight);
    SetPosixExceptionHandler(nullptr, nullptr, nullptr, 0, nullptr);
    SetPosixExceptionProcessExitCode(3);
    std::fflush(stdout);
    // The acts, and what the file holds before and after the report. AB and AB: the ring wraps, and
    // has no room for the report.
    using C = std::tuple<std::string, std::string, std::string>;
    for (const auto& [strActs, strBefore, strAfter] :
         {C("1", "1", ""), C("ABeAB", "ABeAB", ""), C("1m", "1m", ""), C("1w", "1w", ""),
          C("1l", "1", ""), C("1s", "1", ""), C("1i", "1", ""), C("1o", "1", "o"),
          C("e1f", "e", "1f")})
    {
        SCOPED_TRACE(strActs);
        delete new CTestLog(nullptr);
        CTestLog other(nullptr, 2048);
        CTestLog log(nullptr, 2048);
        const auto crash = [&, &strAll = strActs]
        {
            ::dup2(::open("/dev/null", O_WRONLY), STDOUT_FILENO);
            other.m_config = log.m_config;
            other.SetRecConfig(&other.m_config); // this process's from now on
            log.SetRecConfig(&log.m_config);
            mu::g_ptlTextLogger = &log;
            for (const char cAct : strAll)
                Act(cAct, log, other);
            Crash();
        };
        EXPECT_EXIT(crash(), testing::ExitedWithCode(3), "");
        std::string strBegin(kMark), strEnd("\r\n");
        std::for_each(strBefore.begin(), strBefore.end(), [&](char c) { strBegin += Line(c); });
        std::for_each(strAfter.begin(), strAfter.end(), [&](char c) { strEnd += Line(c); });
        const std::string strFile = log.File("03 March/01");
        const std::string strHead = "Unknown Application Unknown Version 2024/";
        EXPECT_EQ(strFile.substr(0, strBegin.size()), strBegin);
        EXPECT_EQ(strFile.find(strHead), strBegin.size());
        EXPECT_EQ(strFile.rfind(strHead), strBegin.size()) << "once";
        EXPECT_TRUE(strFile.ends_with(strEnd));
    }
}

} // namespace
