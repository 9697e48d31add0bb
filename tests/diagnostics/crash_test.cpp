#include <algorithm>
#include <chrono>
#include <ctime>
#include <functional>
#include <future>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/child_process.h"
#include "tests/support/files.h"
#include "tests/support/temporary_folder.h"

namespace
{

constexpr bool kEmulated = *ZOR_EMULATOR != '\0'; // where a forked child cannot start a thread

// A report with what differs from run to run replaced, and lines that repeat once.
std::string Plain(std::string strReport)
{
    constexpr std::size_t kTimeLength = 19; // at the end of the first line
    if (const std::size_t uEnd = strReport.find('\r'); uEnd != std::string::npos)
    {
        strReport.replace(uEnd - std::min(uEnd, kTimeLength), kTimeLength, "time");
    }
    for (std::size_t u = 0; (u = strReport.find("0x", u)) != std::string::npos;)
    {
        const std::size_t uEnd = strReport.find_first_not_of("0123456789ABCDEFabcdef", u + 2);
        strReport.replace(u, uEnd - u, "number");
    }
    std::istringstream lines(strReport);
    std::string strPlain;
    std::string strBefore;
    for (std::string strLine; std::getline(lines, strLine); strBefore = strLine)
    {
        if (strLine.find("[number]") != std::string::npos)
        {
            strLine = "frame\r";
        }
        strPlain += strLine == strBefore ? "" : strLine + (lines.eof() ? "" : "\n");
    }
    return strPlain;
}

const std::string kThread =
    "\r\nStack=number\r\nT::In\r\nT::Out iValue=7\r\nBacktrace:\r\nframe\r\n";
const std::string kNull = "Segmentation Violation" + kThread;

struct SCell
{
    std::string m_strThreads;
    std::string m_strCrash;
    std::string m_strReport;
    std::vector<std::string> m_vOptions = {};
    std::string m_strAfter = "";
};

const SCell kCells[] = {
    {"main", "SIGABRT", "Abort Signal" + kThread},
    {"main", "SIGFPE", "Floating Point Error" + kThread},
    {"main", "SIGILL", "Illegal Instruction" + kThread},
    {"main", "SIGSEGV", kNull},
    {"main", "SIGBUS", "Bus Error" + kThread},
    {"main worker both", "null", kNull},
#if defined(__x86_64__) // elsewhere a division does not fault
    {"main", "divide", "Floating Point Error" + kThread},
#endif
    {"main", "illegal", "Illegal Instruction" + kThread},
    {"main", "file", "Bus Error" + kThread},
#if !defined(__SANITIZE_ADDRESS__) // which has a heap of its own
    {"main worker", "heap", "Abort Signal" + kThread, {"short"}},
    {"untraced", "heap", "Abort Signal\r\nStack=number\r\nBacktrace:\r\nframe\r\n", {"short"}},
#endif
    {"main worker", "overflow", "Segmentation Violation\r\nStack=number\r\nT::Over\r\n"},
    {"main worker", "error", "Wrong" + kThread},
    {"main", "long", std::string(32'767 - 30, 'x')}, // all that is left after the first line
    {"main", "map", "Stuck\r\n"},
    {"main", "state",
     "Odd\r\nCell 1.0: Application Threads (1)\r\n===============\r\nThread number policy=0 "
     "priority=0\r\nTSM::PASR\r\nT::In\r\nT::Out iValue=7\r\n===============\r\n"},
    {"untraced", "state", "Odd\r\nCell 1.0: Application Threads (1)\r\n===============\r\n"},
    // Again inside the report.
    {"main worker", "null", kNull, {"again"}},
    {"main", "SIGABRT", "Abort Signal" + kThread, {"again"}},
    {"main", "error", "Wrong" + kThread, {"again"}},
    // A step that hangs.
    {"main worker", "null", kNull, {"hold-logger", "short"}},
    {kEmulated ? "" : "main", "null", kNull, {"fork", "hold-logger", "short"}},
    {"main", "null", kNull, {"full", "short"}},
    {"main", "null", kNull, {"closed"}},
    {"main", "null", kNull, {"exit-hangs", "short"}},
    // The end.
    {"main", "null", kNull, {"event"}, "event\n"},
    {"main", "null", kNull, {"restart"}},
    {"main worker",
     "error",
     "Wrong" + kThread,
     {"short", "restart-arguments"},
     "0000000000000000\nfd/0\nfd/1\nfd/2\n"},
};

void RunCell(const SCell& cell, const std::string& strThread)
{
    SCOPED_TRACE(cell.m_strCrash + " " + strThread + testing::PrintToString(cell.m_vOptions));
    const CTemporaryFolder folder;
    std::vector<std::string> vArguments = {cell.m_strCrash, strThread, folder.Path()};
    vArguments.insert(vArguments.end(), cell.m_vOptions.begin(), cell.m_vOptions.end());
    const auto has = [&](const char* szOption)
    { return std::count(vArguments.begin(), vArguments.end(), szOption) > 0; };
    CChildProcess child(ZOR_CRASH_CELL, vArguments);
    const std::string strOutput = child.ReadOutput();
    EXPECT_EQ(child.Wait(), 3) << child.ReadErrors();

    const std::string strReport = "Cell 1.0 time\r\n" + cell.m_strReport;
    const bool bOutput = !has("full") && !has("closed");
    EXPECT_EQ(Plain(strOutput), bOutput ? strReport + "\r\n" + cell.m_strAfter : "");
    if (cell.m_strCrash == "heap")
    {
        return; // the logger may find the heap damaged again, which ends all at once
    }
    const std::string strLog = ReadFile(folder.Path("log"));
    EXPECT_EQ(Plain(strLog), has("again") ? "(none)" : strReport);
    std::tm time = {};
    ::strptime(strLog.c_str(), "Cell 1.0 %Y/%m/%d %H:%M:%S", &time);
    char szName[100];
    std::strftime(szName, sizeof szName, "dated/%Y/%m %B/%d/Exception_%H_%M_%S.txt", &time);
    EXPECT_EQ(ReadFile(folder.Path(szName)), strLog);
}

TEST(CrashHandler, EndsTheProcessWithItsReportWhateverHappens)
{
    const auto start = std::chrono::steady_clock::now();
    std::vector<std::future<void>> vRuns;
    for (const SCell& cell : kCells)
    {
        std::istringstream threads(cell.m_strThreads);
        for (std::string strThread; threads >> strThread;)
        {
            vRuns.push_back(std::async(std::launch::async, RunCell, std::cref(cell), strThread));
        }
    }
    vRuns.clear(); // and waits for each
    // None needed the minute after which those end that do not set their time limit short.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(45));
}

TEST(CrashHandler, ReportsWithoutAnySetting)
{
    CChildProcess child(ZOR_CRASH_CELL, {"null"});
    EXPECT_EQ(Plain(child.ReadOutput()),
              "Unknown Application Unknown Version time\r\n" + kNull + "\r\n");
    EXPECT_EQ(child.Wait(), 1);
}

} // namespace
