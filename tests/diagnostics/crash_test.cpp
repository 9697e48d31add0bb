#include <iostream>
#include <regex>

#include <dlfcn.h>

#include "tests/support/child_process.h"
#include "tests/support/failing_heap.h"
#include "tests/support/files.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/testing.h"

namespace
{

// Its heap is its own, and its search for leaks at the end needs descriptors and signals.
constexpr bool kSanitized = !CFailingHeap::kAvailable;
constexpr bool kEmulated = *ZOR_EMULATOR != '\0'; // where a forked child cannot start a thread

// A report with what differs from run to run replaced, and lines that repeat once.
std::string Plain(std::string strReport)
{
    strReport = std::regex_replace(strReport, std::regex("\\d{4}/../.. ..:..:.."), "time");
    strReport = std::regex_replace(strReport, std::regex("0x[0-9A-Fa-f]+"), "number");
    std::istringstream lines(strReport);
    std::string strPlain, strBefore;
    for (std::string strLine; std::getline(lines, strLine); strBefore = strLine)
    {
        if (strLine.size() > 1000)
            strLine = strLine.back() == '\r' ? "long\r" : "long";
        else if (strLine.find("[number]") != std::string::npos)
            strLine = "frame\r";
        strPlain += strLine == strBefore ? "" : strLine + (lines.eof() ? "" : "\n");
    }
    return strPlain;
}

const std::string kThread =
    "\r\nStack=number\r\nT::In\r\nT::Out iValue=7\r\nBacktrace:\r\nframe\r\n";
const std::string kNull = "Segmentation Violation" + kThread;
const std::string kNoChain = "Segmentation Violation\r\nStack=number\r\nBacktrace:\r\nframe\r\n";

// Its descriptors, its blocked and its ignored signals.
constexpr char kRestarted[] = "0 1 2 0000000000000000\n0000000000000000\n";

struct SCell
{
    const char* m_szThreads;
    const char* m_szCrash;
    std::string m_strReport;
    const char* m_szOptions = "";
    std::string m_strAfter = "";
    bool m_bOnOutput = true;
    bool m_bInFiles = true;
};

const std::string kOdd = "Odd\r\nCell 1.0: Application Threads (1)\r\n===============\r\n";
const std::string kOddThread = kOdd + "Thread number policy=0 priority=0\r\nTSM::PASR\r\n";

const SCell kCells[] = {
    {"main worker", "SIGFPE", "Floating Point Error" + kThread},
    {"main worker", "abort", "Abort Signal" + kThread},
    {"main worker both", "null", kNull},
    {"main worker", "illegal", "Illegal Instruction" + kThread},
    {"main worker", "SIGBUS", "Bus Error" + kThread},
    {"main worker", "heap", "Abort Signal" + kThread, "short"},
    {"main worker", "overflow", "Segmentation Violation\r\nStack=number\r\nT::Over\r\n"},
    {"main worker", "error", "Wrong" + kThread},
    {"main", "long", "long", "narrow"},
    {"main", "map", "Stuck\r\n"},
    {"main worker", "null", kNull, "watched"},
    {"main", "state", kOddThread + "T::In\r\nT::Out iValue=7\r\n===============\r\n"},
    {"untraced", "heap", "Abort Signal\r\nStack=number\r\nBacktrace:\r\nframe\r\n", "short"},
    {"untraced", "state", kOdd},
    // With a damaged chain.
    {"main worker", "null", kNoChain, "overrun", "exit\n"},
    {"main", "null", kNoChain, "storage", "exit\n"},
    {"main", "null", kNull, "no-storage", "exit\n"},
    {"main", "null", kNull, "text-as-storage", "exit\n"},
    {"main", "error", "Wrong\r\nStack=number\r\nT::In\r\nBacktrace:\r\nframe\r\n", "circle",
     "exit\n"},
    {"main", "state", kOddThread + "===============\r\n", "storage", "exit\n"},
    // Again inside the report.
    {"main worker", "null", kNull, "null", "", true, false},
    {"main", "error", "Wrong" + kThread, "traces null", "", true, false},
    {"main", "null", kNull, "writer-crashes"},
    // A step that hangs.
    {"main worker", "null", kNull, "hold-logger short restart vector", kRestarted},
    {"main", "null", kNull, "fork hold-logger short"},
    {"main", "null", kNull, "fork-child", "child 42\n"},
    {"main worker", "null", kNull, "full short", "", false},
    {"main", "null", kNull, "closed", "", false},
    {"main", "null", kNull, "full-file", "", false},
    {"main", "null", kNull, "no-descriptors"},
    {"main", "null", kNull, "exit-hangs short"},
    {"main", "null", kNull, "writer-hangs-deaf short"},
    // The end.
    {"main", "null", kNull, "event", "event\n"},
    {"main", "null", kNull, "restart"},
    {"main", "null", kNull, "old-system restart vector", kRestarted},
    {"main worker", "error", "Wrong" + kThread, "short restart traces vector", kRestarted},
};

// That of a report, after the program's name; of none otherwise.
std::tm TimeOf(const std::string& strReport, const std::string& strProgram)
{
    std::tm time{};
    ::strptime(strReport.c_str(), (strProgram + "%Y/%m/%d %T").c_str(), &time);
    return time;
}

class CRun
{
public:
    CRun(const SCell& cell, const std::string& strThread) : m_cell(cell), m_strThread(strThread)
    {
        std::vector<std::string> vArguments = {cell.m_szCrash, strThread, m_folder.Path()};
        std::istringstream options(cell.m_szOptions);
        vArguments.insert(vArguments.end(), std::istream_iterator<std::string>(options), {});
        m_pChild = std::make_unique<CChildProcess>(ZOR_CRASH_CELL, vArguments);
    }

    void Check() const
    {
        SCOPED_TRACE(m_cell.m_szCrash + (" " + m_strThread + " ") + m_cell.m_szOptions);
        const std::string strOutput = m_pChild->ReadOutput();
        EXPECT_EQ(m_pChild->Wait(), m_cell.m_strAfter == kRestarted ? 7 : 3)
            << m_pChild->ReadErrors();

        const std::string strReport = "Cell 1.0 time\r\n" + m_cell.m_strReport;
        EXPECT_EQ(Plain(strOutput),
                  m_cell.m_bOnOutput ? strReport + "\r\n" + m_cell.m_strAfter : "");
        EXPECT_EQ(ReadFile(m_folder.Path("lines")), "lines") << "written last, and once";
        if (std::string_view(m_cell.m_szCrash) == "heap")
            return; // the logger may find the heap damaged again, which ends all at once
        const std::string strLog = ReadFile(m_folder.Path("log"));
        EXPECT_EQ(Plain(strLog), m_cell.m_bInFiles ? strReport : "(none)");
        EXPECT_TRUE(strOutput.starts_with(strLog) || !m_cell.m_bOnOutput || !m_cell.m_bInFiles);
        char szDated[80];
        const std::tm time = TimeOf(strLog, "Cell 1.0 ");
        std::strftime(szDated, sizeof szDated, "dated/%Y/%m %B/%d/Exception_%H_%M_%S.txt", &time);
        EXPECT_EQ(ReadFile(m_folder.Path(szDated)), strLog);
    }

private:
    const SCell& m_cell;
    const std::string m_strThread;
    const CTemporaryFolder m_folder;
    std::unique_ptr<CChildProcess> m_pChild;
};

TEST(CrashHandler, EndsTheProcessWithItsReportWhateverHappens)
{
    int iRuns = 0;
    std::deque<CRun> vRuns; // some at a time: most of them wait for something
    const auto start = std::chrono::steady_clock::now();
    for (const SCell& cell : kCells)
    {
        const std::string_view svCrash = cell.m_szCrash;
        const std::string_view svOptions = cell.m_szOptions;
        if ((kSanitized &&
             (svCrash == "heap" || svOptions == "no-descriptors" || svOptions == "traces null")) ||
            (kEmulated && svOptions.starts_with("fork")))
            continue;
        std::istringstream threads(cell.m_szThreads);
        for (std::string strThread; threads >> strThread; ++iRuns)
        {
            vRuns.emplace_back(cell, strThread);
            if (vRuns.size() == 16)
            {
                vRuns.front().Check();
                vRuns.pop_front();
            }
        }
    }
    std::for_each(vRuns.begin(), vRuns.end(), [](const CRun& run) { run.Check(); });
    // None needed the minute after which those end that do not set their time limit short.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(45));
    std::cout << iRuns << " processes crashed\n";
}

TEST(CrashHandler, BacktraceGoesFromWhereTheThreadStoodToTheProgramsStart)
{
    // The first frame, and the functions of the cell that have names.
    const std::tuple<const char*, const char*, std::string> kCases[] = {
        {"jump", "[0x1000]", "JumpAway main _start "},
        {"null-call", "[(nil)]", "CallNothing main _start "},
        {"lost", "[0x1000]", "CallAndGetLost CallTheLost main _start "},
        {"error", "GiveUpEv+", "GiveUp main _start "},
    };
    const std::regex names(R"(\((?:_ZN6SNamed\d+(\w+)Ev|(main|_start))\+)");
    // Both programs have names if they are linked so (ENABLE_EXPORTS).
    const bool bNames = ::dlsym(RTLD_DEFAULT, "main") != nullptr;
    for (const auto& [szCrash, szFirst, strNames] : kCases)
    {
        const std::string strOutput = CChildProcess(ZOR_CRASH_CELL, {szCrash}).ReadOutput();
        const std::string strFrames = strOutput.substr(strOutput.find("Backtrace:") + 12);
        EXPECT_TRUE(strFrames.substr(0, strFrames.find("\r\n")).find(szFirst) !=
                        std::string::npos ||
                    (!bNames && std::strstr(szFirst, "+") != nullptr))
            << strOutput;
        std::string strSeen;
        for (std::sregex_iterator it(strFrames.begin(), strFrames.end(), names), end; it != end;)
        {
            strSeen += (*it)[1].str() + (*it)[2].str() + " ";
            ++it;
        }
        // The device may not tell a caller, a sanitizer's stack one twice: there the first will do.
        const auto told = [](const std::string& str)
        { return kEmulated || kSanitized ? str.substr(0, str.find(' ')) : str; };
        EXPECT_EQ(told(strSeen), bNames ? told(strNames) : "") << strOutput;
    }
}

TEST(CrashHandler, ReportsWithoutAnySetting)
{
    const CTemporaryFolder folder;
    const auto prepare = [&]
    {
        ASSERT_EQ(::chdir(folder.Path().c_str()), 0);
        ::setenv("TZ", "<+24>-24", 1);
    };
    CChildProcess child(ZOR_CRASH_CELL, {"null"}, prepare);
    const std::string strReport = child.ReadOutput();
    const std::string strHead = "Unknown Application Unknown Version ";
    EXPECT_EQ(Plain(strReport), strHead + "time\r\n" + kNull + "\r\n");
    std::tm time = TimeOf(strReport, strHead); // which timegm() may change
    EXPECT_NEAR(std::difftime(::timegm(&time), std::time(nullptr)), 86'400, 60) << "local time";
    EXPECT_EQ(child.Wait(), 1);
    EXPECT_TRUE(std::filesystem::is_empty(folder.Path()));
}

TEST(CrashHandler, DeliversAReportThatIsOfNoCrashToPathsThatAreNotTooLong)
{
    char szDay[40];
    const std::time_t tNow = std::time(nullptr);
    std::strftime(szDay, sizeof szDay, "/dated/%Y/%m %B/%d", std::localtime(&tNow));
    const std::size_t uDay = std::strlen(szDay);
    // The folder's length in characters, and what is in it then.
    for (const auto& [uLength, szLog, bDated] : {std::tuple(255 - uDay, "log", true),
                                                 {256 - uDay, "log", false},
                                                 {252, "log", false},
                                                 {253, "lo", false}})
    {
        const CTemporaryFolder folder;
        std::string strPath = folder.Path("");
        for (std::size_t u = strPath.size(); u < uLength; ++u)
            strPath += u % 60 == 0 ? "/" : "\U0001F600";
        std::filesystem::create_directories(strPath);
        EXPECT_EQ(CChildProcess(ZOR_CRASH_CELL, {"report", "main", strPath}).ReadOutput(),
                  "Own\r\n");
        EXPECT_EQ(ReadFile(strPath + "/" + szLog) + ReadFile(strPath + "/lines"), "Own");
        EXPECT_EQ(std::filesystem::exists(strPath + szDay), bDated) << uLength;
    }
}

} // namespace
