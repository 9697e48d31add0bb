// The simulator as a process, with the test for its console, and with the console itself.

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <linux/capability.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "console/pipe_protocol.h"
#include "simulator/circular_log.h"
#include "simulator/diagnostics.h"
#include "tests/support/child_process.h"
#include "tests/support/temporary_folder.h"

namespace
{

using namespace std::chrono_literals;
using namespace std::string_literals;

constexpr char kReady[] = "Recorder ready.\n";

TEST(CircularLog, OverwritesItsOldestLine)
{
    CCircularLog log;
    for (std::size_t i = 0; i < CCircularLog::kLines; ++i)
    {
        EXPECT_EQ(log.GetSplit(), 0U);
        log.Append("line " + std::to_string(i));
    }
    log.Append(std::string(61, 'x') + "\xC3\xA9"); // the last character does not fit
    EXPECT_EQ(log.GetSplit(), 64U);
    EXPECT_EQ(log.GetBuffer().substr(0, 71), std::string(61, 'x') + " \r\nline 1 ");
    for (std::size_t i = 1; i < CCircularLog::kLines; ++i)
    {
        log.Append("");
    }
    EXPECT_EQ(log.GetSplit(), 0U);
    EXPECT_EQ(log.GetBuffer().size(), CCircularLog::kLines * CCircularLog::kLineLength);
}

TEST(Diagnostics, MoveOverTimeAndTellWhatIsNotThere)
{
    const std::vector<std::string> vecNames{"Power supply", "Mine"};
    EXPECT_EQ(DiagnosticText(vecNames, 0, 3500ms),
              "Power supply, up 00:00:03.500\r\n"
              "  Input voltage: 12.4 V\r\n  Current: 2.2 A\r\n");
    EXPECT_EQ(DiagnosticText(vecNames, 1, 3600000ms + 2500ms),
              "Mine, up 01:00:02.500\r\n  Value: 50.0 %\r\n");
    EXPECT_EQ(DiagnosticText(vecNames, 2, 0ms),
              "There is no diagnostic 3; this recorder has 2.\r\n");
    EXPECT_EQ(DiagnosticText(vecNames, 0xFFFFFFFF, 0ms),
              "There is no diagnostic 4294967296; this recorder has 2.\r\n");
}

std::string Request(EPipeMessage eType, std::uint32_t dwArgument = 0)
{
    const SPipeMessageHeader header{eType, dwArgument, 0};
    return std::string(reinterpret_cast<const char*>(&header), sizeof(header));
}

// The console's ends of the pipes, opened as it opens them: the recorder is there then.
struct SConsoleEnds
{
    int m_iRequests = ::open(g_aszPipePaths[0], O_WRONLY | O_CLOEXEC);
    int m_iMessages = ::open(g_aszPipePaths[1], O_RDONLY | O_CLOEXEC);

    ~SConsoleEnds()
    {
        ::close(m_iRequests);
        ::close(m_iMessages);
    }
    void Ask(const std::string& strRequest) const
    {
        ASSERT_EQ(::write(m_iRequests, strRequest.data(), strRequest.size()),
                  static_cast<ssize_t>(strRequest.size()));
    }
    SPipeMessageHeader ReadHeader() const
    {
        SPipeMessageHeader header{};
        const std::string strHeader = ReadFrom(m_iMessages, sizeof(header));
        std::memcpy(&header, strHeader.data(), strHeader.size());
        return header;
    }
    std::string ReadReply(EPipeMessage eType) const
    {
        const SPipeMessageHeader header = ReadHeader();
        EXPECT_EQ(header.m_dwType, eType);
        return ReadFrom(m_iMessages, header.m_dwLength);
    }
};

class Simulator : public testing::Test
{
protected:
    Simulator() { RemovePipes(); }
    ~Simulator() override { RemovePipes(); }

    static void RemovePipes()
    {
        ::unlink(g_aszPipePaths[0]);
        ::unlink(g_aszPipePaths[1]);
    }

    void Start(const std::vector<std::string>& vecArguments = {},
               const std::function<void()>& beforeExec = {})
    {
        m_pSimulator = std::make_unique<CChildProcess>(ZOR_SIMULATOR, vecArguments, beforeExec);
        ASSERT_EQ(m_pSimulator->ReadOutput(sizeof(kReady) - 1), kReady);
    }

    // Runs one that is to end by itself; returns what it complains about.
    static std::string Refusal(const std::vector<std::string>& vecArguments, int iExitCode,
                               const std::function<void()>& beforeExec = {})
    {
        CChildProcess simulator(ZOR_SIMULATOR, vecArguments, beforeExec);
        EXPECT_EQ(simulator.ReadRestOfOutput(), "");
        std::string strErrors = simulator.ReadRestOfErrors();
        EXPECT_EQ(simulator.Wait(), iExitCode);
        return strErrors;
    }

    std::unique_ptr<CChildProcess> m_pSimulator;
};

struct SRefusalCase
{
    std::vector<std::string> vecArguments;
    const char* szComplaint;
};

TEST_F(Simulator, RefusesBadArguments)
{
    CTemporaryFolder folder;
    const std::string strBroken = folder.Path("broken.xml");
    std::ofstream(strBroken) << "<p>";
    const SRefusalCase aCases[] = {
        {{"--params"}, "requires an argument"},
        {{"--params", ""}, "--params needs a file"},
        {{"--params", "/nowhere/p.xml"}, "/nowhere/p.xml: cannot be read: No such file"},
        {{"--params", strBroken}, "not well-formed"},
        {{"--faults", "nuls,,silence"}, "unknown fault ''"},
        {{"--faults", "nuls,noise"}, "unknown fault 'noise'"},
        {{"--loud"}, "--loud"},
        {{"now"}, "unexpected argument 'now'"},
    };
    for (const SRefusalCase& row : aCases)
    {
        EXPECT_THAT(Refusal(row.vecArguments, 2), testing::HasSubstr(row.szComplaint));
    }
    EXPECT_FALSE(std::filesystem::exists(g_aszPipePaths[0]));
}

TEST_F(Simulator, RefusesADocumentThatNoPipeHolds)
{
    CTemporaryFolder folder;
    std::string strLimit;
    std::getline(std::ifstream("/proc/sys/fs/pipe-max-size"), strLimit);
    const std::size_t uLimit = std::stoul(strLimit) - sizeof(SPipeMessageHeader);
    for (const std::size_t uSize : {uLimit, uLimit + 1})
    {
        const std::string strPath = folder.Path("large.xml");
        std::ofstream(strPath) << "\xEF\xBB\xBF<p>" << std::string(uSize - 7, 'x') << "</p>";
        const auto dropPrivilege = [] { ::prctl(PR_CAPBSET_DROP, CAP_SYS_RESOURCE, 0, 0, 0); };
        if (uSize > uLimit)
        {
            EXPECT_THAT(Refusal({"--params", strPath}, 2, dropPrivilege),
                        testing::HasSubstr("in one piece is " + std::to_string(uLimit)));
            continue;
        }
        Start({"--params", strPath}, dropPrivilege);
        const SConsoleEnds console;
        // The second reply waits until the first has left the pipe.
        console.Ask(Request(PM_REQUEST_PARAMETERS) + Request(PM_REQUEST_PARAMETERS));
        std::this_thread::sleep_for(50ms);
        EXPECT_EQ(console.ReadReply(PM_PARAMETERS).size(), uSize);
        EXPECT_EQ(console.ReadReply(PM_PARAMETERS).size(), uSize);
        m_pSimulator.reset();
    }
}

TEST_F(Simulator, RefusesPathsThatAreTaken)
{
    Start();
    EXPECT_THAT(Refusal({}, 1), testing::HasSubstr("already running"));
    SConsoleEnds().Ask(Request(PM_REQUEST_PARAMETERS));
    EXPECT_THAT(Refusal({}, 1), testing::HasSubstr("already running"));
    m_pSimulator.reset();

    for (const char* szPath : g_aszPipePaths)
    {
        RemovePipes();
        std::ofstream(szPath) << "mine";
        EXPECT_THAT(Refusal({}, 1),
                    testing::StartsWith("zor-recorder-sim: "s.append(szPath) + " is in the way"));
        EXPECT_EQ(std::filesystem::file_size(szPath), 4U);
    }
}

TEST_F(Simulator, RemovesItsPipesWhenItIsStopped)
{
    for (const int iSignal : {SIGINT, SIGTERM, SIGHUP})
    {
        SCOPED_TRACE(iSignal);
        Start({}, [] { ::umask(0777); });
        for (const char* szPath : g_aszPipePaths)
        {
            struct stat status
            {
            };
            EXPECT_EQ(::stat(szPath, &status), 0);
            EXPECT_EQ(status.st_mode, static_cast<mode_t>(S_IFIFO | 0600));
        }
        if (iSignal != SIGINT) // with a console that does not read
        {
            const SConsoleEnds console;
            console.Ask(Request(PM_REQUEST_LOG));
            ReadFrom(console.m_iMessages, 1);
            m_pSimulator->Kill(iSignal);
            EXPECT_EQ(m_pSimulator->Wait(), 0);
        }
        else
        {
            m_pSimulator->Kill(iSignal);
            EXPECT_EQ(m_pSimulator->Wait(), 0);
        }
        EXPECT_FALSE(std::filesystem::exists(g_aszPipePaths[0]));
        EXPECT_FALSE(std::filesystem::exists(g_aszPipePaths[1]));
    }
}

TEST_F(Simulator, ServesEachConsoleWhateverBecameOfTheLast)
{
    Start();
    for (int i = 0; i < 60; ++i)
    {
        SCOPED_TRACE(i);
        switch (i % 6)
        {
        case 0: // leaves between its two opens
            ::close(::open(g_aszPipePaths[0], O_WRONLY | O_CLOEXEC));
            break;
        case 1: // leaves before it asks
            SConsoleEnds();
            break;
        case 2: // leaves before the reply
            SConsoleEnds().Ask(Request(PM_REQUEST_LOG) + Request(PM_REQUEST_DIAGNOSTIC));
            break;
        case 3: // leaves inside the reply
        {
            const SConsoleEnds console;
            console.Ask(Request(PM_REQUEST_PARAMETERS) + Request(PM_REQUEST_LOG));
            console.ReadHeader();
            break;
        }
        case 4: // asks what no recorder knows, with a payload, and in pieces
        {
            const SConsoleEnds console;
            SPipeMessageHeader header{'?', 0, 3};
            console.Ask(std::string(reinterpret_cast<const char*>(&header), 12) + "abc" +
                        Request(PM_REQUEST_DIAGNOSTIC, 4));
            EXPECT_THAT(console.ReadReply(PM_TEXT), testing::StartsWith("Network, up "));
            console.Ask("x");
            break;
        }
        default:
        {
            const SConsoleEnds console;
            console.Ask(Request(PM_REQUEST_PARAMETERS));
            EXPECT_THAT(console.ReadReply(PM_PARAMETERS), testing::EndsWith("eters>\n"));
            console.Ask(Request(PM_REQUEST_DIAGNOSTIC, 5));
            EXPECT_EQ(console.ReadReply(PM_TEXT),
                      "There is no diagnostic 6; this recorder has 5.\r\n");
            console.Ask(Request(PM_REQUEST_LOG));
            const SPipeMessageHeader header = console.ReadHeader();
            EXPECT_EQ(header.m_dwType, static_cast<std::uint32_t>(PM_CIRCULAR_TEXT));
            std::string strLog = ReadFrom(console.m_iMessages, header.m_dwLength);
            strLog = strLog.substr(header.m_dwArgument) + strLog.substr(0, header.m_dwArgument);
            EXPECT_THAT(strLog.substr(CCircularLog::kLineLength * (CCircularLog::kLines - 1)),
                        testing::HasSubstr("  Console: log requested  "));
            break;
        }
        }
    }
}

TEST_F(Simulator, ForgetsRequestsWithNobodyToAnswer)
{
    Start();
    const int iRequests = ::open(g_aszPipePaths[0], O_WRONLY | O_CLOEXEC);
    EXPECT_EQ(::write(iRequests, Request(PM_REQUEST_LOG).data(), 12), 12);
    ::close(iRequests);
    std::this_thread::sleep_for(200ms);
    const SConsoleEnds console;
    console.Ask(Request(PM_REQUEST_PARAMETERS));
    EXPECT_NE(console.ReadReply(PM_PARAMETERS), "");
}

TEST_F(Simulator, TakesOverThePipesOfADeadRecorderWithAConsoleThatWaits)
{
    ::mkfifo(g_aszPipePaths[0], 0644);
    ::mkfifo(g_aszPipePaths[1], 0644);
    CChildProcess console(ZOR_CONSOLE);
    console.ReadOutput(22); // it is about to open the first
    std::this_thread::sleep_for(50ms);
    Start();
    console.Type("exit\n");
    EXPECT_THAT(console.ReadRestOfOutput(), testing::HasSubstr("Sending request"));
    EXPECT_EQ(console.Wait(), 0);
}

struct SFaultCase
{
    const char* szFaults;
    const char* szDocumentPrinted;
    const char* szPrinted; // for the first diagnostic, without the text that changes
};

TEST_F(Simulator, ShowsHowTheConsoleBearsFaults)
{
    constexpr char kLoaded[] = "Parameters Loaded.\r\n";
    const SFaultCase aCases[] = {
        {"short-header", kLoaded, ""},
        {"truncated-payload", kLoaded, ""},
        {"unknown-type", kLoaded, ""},
        {"huge-length", kLoaded, ""},
        {"nuls", kLoaded, "There is no diagnostic 9; this recorder has 5.\r\n"},
        {"malformed-document,unknown-type", "Invalid parameters.\r\n", ""},
    };
    for (const SFaultCase& row : aCases)
    {
        SCOPED_TRACE(row.szFaults);
        Start({"--verbose", "--faults", row.szFaults});
        CChildProcess console(ZOR_CONSOLE);
        const std::string strReading = "Reading ZOR input.\r\n";
        const auto expectOutput = [&console](const std::string& strExpected)
        { EXPECT_EQ(console.ReadOutput(strExpected.size()), strExpected); };
        expectOutput("Opening output pipe.\r\nOpening input pipe.\r\n"
                     "Sending request for parameters.\r\n" +
                     strReading + row.szDocumentPrinted);
        console.Type("diag 9\n");
        expectOutput(strReading + row.szPrinted);
        console.Type("diag 9\n");
        expectOutput(strReading + "There is no diagnostic 9; this recorder has 5.\r\n");
        console.Type("exit\n");
        EXPECT_EQ(console.ReadRestOfOutput(), "");

        m_pSimulator->Kill(SIGTERM);
        const std::string strTrace = m_pSimulator->ReadRestOfErrors();
        EXPECT_THAT(
            strTrace,
            testing::HasSubstr("in: diagnostic request, index 8\n"
                               " 64 00 00 00 08 00 00 00 00 00 00 00              d...........\n"));
        EXPECT_THAT(strTrace,
                    testing::HasSubstr(
                        "out: text, 48 bytes\n"
                        " 65 00 00 00 00 00 00 00 30 00 00 00              e.......0...\n"
                        " 54 68 65 72 65 20 69 73 20 6E 6F 20 64 69 61 67  There is no diag\n"));
    }
}

TEST_F(Simulator, ClosesOrKeepsSilentAndServesTheNextConsole)
{
    Start({"--faults", "silence,close"});
    for (int i = 0; i < 2; ++i)
    {
        const SConsoleEnds console;
        console.Ask(Request(PM_REQUEST_LOG) + Request(PM_REQUEST_PARAMETERS));
        EXPECT_NE(console.ReadReply(PM_PARAMETERS), ""); // nothing came before it
        console.Ask(Request(PM_REQUEST_LOG));
        EXPECT_EQ(ReadFrom(console.m_iMessages, 1), ""); // the end
    }
}

} // namespace
