// zor-diag as a process; the test, or the simulator, is its recorder.

#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <sys/stat.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "console/pipe_protocol.h"
#include "tests/console/messages.h"
#include "tests/support/child_process.h"
#include "tests/support/pipes.h"

namespace
{

using namespace std::chrono_literals;
using namespace std::string_literals;
using testing::HasSubstr;
using Words = std::vector<std::string>;

const std::string kAskParameters = Message('G', 0, "");
const std::string kAskLog = Message('C', 0, "");
const std::string kGood = Message('e', 0, "good\r\n");

std::string Parameters(const std::string& strTypes)
{
    return Message('H', 0,
                   "<p><zor:CaptureDeviceConfig><zor:DiagnosticTypes>" + strTypes +
                       "</zor:DiagnosticTypes></zor:CaptureDeviceConfig></p>");
}

const std::string kNames = Parameters(
    "<zor:DiagnosticType>Power</zor:DiagnosticType><zor:DiagnosticType>Disk</zor:DiagnosticType>"
    "<zor:DiagnosticType>\n  DISK\n</zor:DiagnosticType><zor:DiagnosticType>Net\x1B &amp; "
    "\u00E9</zor:DiagnosticType>");
const std::string kText = "\"\\\0a\tb\x1B[2J\r\nc\rd\x7F\xC2\x9B|\xC2\xA0\xFF\xC3\xA9\xED\xA0\x80"
                          "\xE0\x80\x80\xF4\x90\x80\x80\xF0\x9F\x94\x8B\xE2\x80\xA8\xE2\x82"s;

// What the recorder does after a request: it writes the pieces one after the other.
struct SExchange
{
    std::string strRequest;
    Words vecPieces;
};

struct SCase
{
    const char* szRule;
    Words vecArguments;
    std::vector<SExchange> vecExchanges; // the pipes are closed after the last
    int iExit;
    std::string strOutput;
    std::string strError = ""; // a part of it
};

class ZorDiag : public testing::Test
{
protected:
    ZorDiag() { MakePipes(); }
    ~ZorDiag() override
    {
        Close();
        RemovePipes();
    }

    static void MakePipes()
    {
        RemovePipes();
        ::mkfifo(g_aszPipePaths[0], 0600);
        ::mkfifo(g_aszPipePaths[1], 0600);
    }
    // Also for writing, so that it has no end while no client is there.
    void Listen() { m_iRequests = ::open(g_aszPipePaths[0], O_RDWR | O_CLOEXEC); }
    void Close()
    {
        ::close(std::exchange(m_iRequests, -1));
        ::close(std::exchange(m_iMessages, -1));
    }
    bool Write(const std::string& strBytes) const
    {
        return ::write(m_iMessages, strBytes.data(), strBytes.size()) ==
               static_cast<ssize_t>(strBytes.size());
    }
    void Play(const std::vector<SExchange>& vecExchanges)
    {
        if (m_iMessages < 0)
        {
            m_iMessages = ::open(g_aszPipePaths[1], O_WRONLY | O_CLOEXEC);
        }
        for (const SExchange& exchange : vecExchanges)
        {
            ASSERT_EQ(ReadFrom(m_iRequests, 12), exchange.strRequest);
            for (const std::string& strPiece : exchange.vecPieces)
            {
                if (!Write(strPiece))
                {
                    return;
                }
                std::this_thread::sleep_for(2ms);
            }
        }
    }
    static void ExpectEnd(CChildProcess& diag, int iExit, const std::string& strOutput,
                          const std::string& strError = "")
    {
        EXPECT_EQ(diag.ReadOutput(), strOutput);
        EXPECT_THAT(diag.ReadErrors(), HasSubstr(strError));
        EXPECT_EQ(diag.Wait(), iExit);
    }
    static void Expect(const Words& vecArguments, int iExit, const std::string& strOutput,
                       const std::string& strError = "",
                       const std::function<void()>& beforeExec = {})
    {
        CChildProcess diag(ZOR_DIAG, vecArguments, beforeExec);
        ExpectEnd(diag, iExit, strOutput, strError);
    }

    int m_iRequests = -1;
    int m_iMessages = -1;
};

Words Bytes(const std::string& strText)
{
    Words vecBytes;
    for (const char ch : strText)
    {
        vecBytes.emplace_back(1, ch);
    }
    return vecBytes;
}

TEST_F(ZorDiag, AsksAndTellsByItsExitCode)
{
    ::signal(SIGPIPE, SIG_IGN);
    const std::string strAskFirst = Message('d', 0, "");
    const std::string strAskDisk = Message('d', 1, "");
    const std::string strAskOther = Message('d', 3, "");
    const std::string strHeader = Word('D') + Word(0);
    const SExchange names{kAskParameters, {kNames}};
    const std::string strShown = "\"\\ a\tb\\x1B[2J\nc\\x0Dd\\x7F\\xC2\\x9B|\u00A0\\xFF\u00E9\\xED"
                                 "\\xA0\\x80\\xE0\\x80\\x80\\xF4\\x90\\x80\\x80\U0001F50B\u2028"
                                 "\\xE2\\x82";
    const std::string strJson = "{\"text\":\"\\\"\\\\ a\\u0009b\\u001b[2J\\nc\\u000dd\\u007f\\u009b"
                                "|\u00A0\uFFFD\u00E9\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD"
                                "\uFFFD\uFFFD\uFFFD\U0001F50B\\u2028\uFFFD\uFFFD\"}\n";
    Words vecFlood(5000, Message('Z', 0, std::string(1000, 'z')));
    const SCase aCases[] = {
        {"byte by byte",
         {"show", "1"},
         {{kAskParameters, Bytes(kNames)}, {strAskFirst, Bytes(kGood)}},
         0,
         "good\n"},
        {"other messages come in between",
         {"show", "01"},
         {{kAskParameters, {Message('e', 0, "late"), Message('D', 0, ""), kNames}},
          {strAskFirst,
           {Message('H', 0, "<p"), Message('D', 9, "log"), Message('z', 1, std::string(70000, 'z')),
            Message('d', 0, ""), kGood}}},
         0,
         "good\n"},
        {"an empty text", {"show", "1"}, {names, {strAskFirst, {Message('e', 0, "")}}}, 0, ""},
        {"exact name", {"show", "Disk"}, {names, {strAskDisk, {kGood}}}, 0, "good\n"},
        {"name in any case", {"show", "power"}, {names, {strAskFirst, {kGood}}}, 0, "good\n"},
        {"several", {"show", "disk"}, {names}, 1, "", "several diagnostics; ask for one of 2, 3\n"},
        {"no such name", {"show", "Net"}, {names}, 1, "", "no diagnostic 'Net'"},
        {"beyond the list", {"show", "5"}, {names}, 1, "", "no diagnostic 5; the recorder has 4\n"},
        {"beyond 32 bits", {"show", "4294967297"}, {names}, 1, "", "no diagnostic 4294967297;"},
        {"nor before it", {"show", "0"}, {names}, 1, "", "no diagnostic 0;"},
        {"list", {"list"}, {names}, 0, "01: Power\n02: Disk\n03: DISK\n04: Net\\x1B & \u00E9\n"},
        {"list for programs",
         {"list", "--json"},
         {names},
         0,
         "{\"number\":1,\"name\":\"Power\"}\n{\"number\":2,\"name\":\"Disk\"}\n{\"number\":3,"
         "\"name\":\"DISK\"}\n{\"number\":4,\"name\":\"Net\\u001b & \u00E9\"}\n"},
        {"no list", {"list"}, {{kAskParameters, {Parameters("")}}}, 0, "", "list is empty."},
        {"parameters",
         {"parameters"},
         {{kAskParameters, {Message('H', 0, "<p>\r\n\x07</p>\n")}}},
         0,
         "<p>\n\\x07</p>\n"},
        {"no document",
         {"parameters"},
         {{kAskParameters, {Message('H', 0, "<p>")}}},
         5,
         "",
         "malformed"},
        {"nothing of a document",
         {"list"},
         {{kAskParameters, {Message('H', 0, "")}}},
         5,
         "",
         "malformed"},
        {"controls", {"log"}, {{kAskLog, {Message('D', 0, kText)}}}, 0, strShown},
        {"as it came", {"log", "--raw"}, {{kAskLog, {Message('D', 0, kText)}}}, 0, kText},
        {"for programs", {"log", "--json"}, {{kAskLog, {Message('D', 0, kText)}}}, 0, strJson},
        {"rotated", {"--raw", "log"}, {{kAskLog, {Message('D', 3, "def\0bc"s)}}}, 0, "\0bcdef"s},
        {"one more than circular text can be",
         {"log"},
         {{kAskLog, {Message('D', 3, "")}}},
         5,
         "",
         "without a payload"},
        {"no such length",
         {"log"},
         {{kAskLog, {strHeader + Word(0xFFFFFFFF)}}},
         5,
         "",
         "4294967295 bytes"},
        {"of an unknown message",
         {"log"},
         {{kAskLog, {Word(0) + Word(0) + Word(0x04000001)}}},
         5,
         "",
         "67108865 bytes"},
        {"the end inside a header", {"log"}, {{kAskLog, {strHeader}}}, 5, "", "in the middle"},
        {"the end inside a payload",
         {"log"},
         {{kAskLog, {strHeader + Word(9) + "cut"}}},
         5,
         "",
         "in the middle"},
        {"the end before", {"log"}, {{kAskLog, {}}}, 4, "", "closed its pipes without an answer"},
        {"too slow",
         {"log", "--timeout", "0.5"},
         {{kAskLog, Bytes(strHeader + Word(5000) + std::string(4000, 's'))}},
         4,
         "",
         "of 5012"},
        {"too much", {"log", "--timeout", ".1"}, {{kAskLog, vecFlood}}, 4, "", "in time"},
    };
    for (const SCase& row : aCases)
    {
        SCOPED_TRACE(row.szRule);
        Listen();
        const auto tpStart = std::chrono::steady_clock::now();
        CChildProcess diag(ZOR_DIAG, row.vecArguments);
        Play(row.vecExchanges);
        Close();
        std::string strOutput = diag.ReadOutput();
        if (strOutput.starts_with("{\"time\":\""))
        {
            strOutput.erase(1, 34); // "2026-11-22T02:21:58.286Z"
        }
        EXPECT_EQ(strOutput, row.strOutput);
        EXPECT_THAT(diag.ReadErrors(), HasSubstr(row.strError));
        EXPECT_EQ(diag.Wait(), row.iExit);
        EXPECT_LT(std::chrono::steady_clock::now() - tpStart, 4s);
    }
}

TEST_F(ZorDiag, GivesUpInTime)
{
    Listen();
    Expect({"log", "--timeout", "0.05"}, 4, "", "no answer in time\n");
    ReadFrom(m_iRequests, 12);

    ::fcntl(m_iRequests, F_SETPIPE_SZ, 4096);
    const int iFull = ::open(g_aszPipePaths[0], O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    while (::write(iFull, "x", 1) == 1)
    {
    }
    ::close(iFull);
    Expect({"log", "--timeout", "0.05"}, 4, "", "takes no request\n");
}

TEST_F(ZorDiag, TellsWhyThereIsNoRecorder)
{
    Expect({"list"}, 3, "", "no recorder is listening: nobody reads /tmp/zor_app_in.pipe\n");
    ::chmod(g_aszPipePaths[0], 0);
    Expect({"list", "--wait", "9"}, 3, "", "Permission denied; it belongs to user ",
           [] { EXPECT_TRUE(::geteuid() != 0 || ::setuid(65534) == 0); });
    ::rename(g_aszPipePaths[0], "/tmp/zor_diag_test.pipe");
    Expect({"list", "--wait", "0.05"}, 3, "", "listening: /tmp/zor_app_in.pipe: No such file");
    EXPECT_EQ(::symlink("/tmp/zor_diag_test.pipe", g_aszPipePaths[0]), 0);
    Expect({"list", "--wait", "9"}, 3, "", "/tmp/zor_app_in.pipe is a symbolic link, no pipe\n");
    ::rename("/tmp/zor_diag_test.pipe", g_aszPipePaths[0]);
    ::chmod(g_aszPipePaths[0], 0600);

    Listen();
    ::unlink(g_aszPipePaths[1]);
    Expect({"list"}, 3, "", "listening: /tmp/zor_app_out.pipe: No such file");
    ::mkdir(g_aszPipePaths[1], 0700);
    Expect({"list", "--wait", "9"}, 3, "", "/tmp/zor_app_out.pipe is no pipe\n");
    ::rmdir(g_aszPipePaths[1]);
}

TEST_F(ZorDiag, RefusesBadUsage)
{
    const std::pair<Words, const char*> aCases[] = {
        {{}, "no command"},
        {{"List"}, "unknown command 'List'"},
        {{"list", "2"}, "unexpected argument '2'"},
        {{"show", "Main", "board"}, "unexpected argument 'board'"},
        {{"watch"}, "watch needs a diagnostic's number or name"},
        {{"show", ""}, "show needs"},
        {{"show", "1", "--count", "1"}, "--count is for watch"},
        {{"watch", "1", "--count", "0"}, "--count cannot be '0'"},
        {{"watch", "1", "--count", "1.5"}, "--count cannot be '1.5'"},
        {{"log", "--loud"}, "--loud"},
        {{"log", "--timeout", "0"}, "--timeout cannot be '0'"},
        {{"log", "--timeout", "."}, "--timeout cannot be '.'"},
        {{"log", "--timeout", "1,5"}, "--timeout cannot be '1,5'"},
        {{"log", "--timeout", "1.5.0"}, "--timeout cannot be '1.5.0'"},
        {{"log", "--wait", "-1"}, "--wait cannot be '-1'"},
        {{"log", "--wait", ""}, "--wait cannot be ''"},
        {{"log", "--wait", "1000000.001"}, "--wait cannot be"},
        {{"log", "--wait", "99999999999999999999"}, "--wait cannot be"},
    };
    for (const auto& [vecArguments, szComplaint] : aCases)
    {
        Expect(vecArguments, 2, "", szComplaint);
    }
    Expect({"log", "--wait", "1000000", "--timeout", "0.00001", "--help"}, 0,
           CChildProcess(ZOR_DIAG, {"--help"}).ReadOutput());
}

TEST_F(ZorDiag, WaitsForARecorderAndForItsTurn)
{
    RemovePipes();
    const Words vecWaiting{"log", "--wait", "20", "--timeout", "20"};
    CChildProcess first(ZOR_DIAG, vecWaiting);
    std::this_thread::sleep_for(100ms);
    MakePipes();
    Listen();
    m_iMessages = ::open(g_aszPipePaths[1], O_RDWR | O_CLOEXEC); // it is not closed in between
    ASSERT_EQ(ReadFrom(m_iRequests, 12), kAskLog);

    Expect({"log", "--timeout", ".1"}, 4, "", "another zor-diag is being answered\n");
    CChildProcess second(ZOR_DIAG, vecWaiting);
    std::this_thread::sleep_for(100ms);
    pollfd polled{m_iRequests, POLLIN, 0};
    EXPECT_EQ(::poll(&polled, 1, 0), 0) << "nothing is asked meanwhile";
    second.Kill(SIGSTOP);
    first.Kill(SIGINT);
    EXPECT_EQ(first.Wait(), 128 + SIGINT);
    ASSERT_TRUE(Write(Message('D', 0, "for the first").substr(5))); // it had read the beginning
    second.Kill(SIGCONT);
    Play({{kAskLog, {Message('D', 0, "for the second")}}});
    ExpectEnd(second, 0, "for the second");
}

TEST_F(ZorDiag, WatchesUntilItIsStopped)
{
    Listen();
    const SExchange names{kAskParameters, {kNames}};
    const SExchange text{Message('d', 1, ""), {Message('e', 0, "x")}};
    CChildProcess watch(ZOR_DIAG, {"watch", "Disk", "--every", "0", "--count", "2"});
    Play({names, text, names, text});
    ExpectEnd(watch, 0, "x\nx\n");

    CChildProcess endless(ZOR_DIAG, {"watch", "Disk", "--every", "900"});
    Play({names, text});
    EXPECT_EQ(endless.ReadOutput(2), "x\n");
    endless.Kill(SIGINT);
    EXPECT_EQ(endless.Wait(), 128 + SIGINT);
}

TEST_F(ZorDiag, TellsThatItsOutputWasNotWritten)
{
    const std::function<void()> aOutputs[] = {
        [] { ::close(1); },
        [] { ::dup2(::open("/dev/full", O_WRONLY), 1); },
        []
        {
            int aiEnds[2];
            EXPECT_EQ(::pipe(aiEnds), 0);
            ::dup2(aiEnds[1], 1);
            ::close(aiEnds[0]);
        },
    };
    for (const auto& output : aOutputs)
    {
        Expect({"--help"}, 6, "", "standard output", output);
    }
    Listen();
    CChildProcess watch(ZOR_DIAG, {"watch", "1"}, aOutputs[2]);
    Play({{kAskParameters, {kNames}}, {Message('d', 0, ""), {kGood}}});
    ExpectEnd(watch, 6, "", "standard output: Broken pipe\n");
}

TEST_F(ZorDiag, BearsEachFaultOfTheSimulator)
{
    struct SFault
    {
        const char* szFaults;
        int iShow;
        int iLog;
        int iParameters;
    };
    constexpr SFault kFaults[] = {
        {"short-header", 4, 4, 0}, {"truncated-payload", 4, 4, 0},
        {"unknown-type", 4, 4, 0}, {"huge-length", 5, 5, 0},
        {"nuls", 0, 0, 0},         {"malformed-document", 5, 0, 5},
        {"silence", 4, 4, 0},      {"close", 4, 4, 0},
    };
    for (const SFault& fault : kFaults)
    {
        SCOPED_TRACE(fault.szFaults);
        RemovePipes();
        CChildProcess simulator(ZOR_SIMULATOR, {"--faults", fault.szFaults});
        ASSERT_EQ(simulator.ReadOutput(16), "Recorder ready.\n");
        const auto tpStart = std::chrono::steady_clock::now();
        const auto Ask = [](int iExit, Words vecArguments)
        {
            vecArguments.insert(vecArguments.end(), {"--timeout", iExit == 4 ? "0.2" : "20"});
            EXPECT_EQ(CChildProcess(ZOR_DIAG, vecArguments).Wait(), iExit);
        };
        Ask(fault.iShow, {"show", "2"});
        Ask(fault.iLog, {"log"});
        Ask(fault.iParameters, {"parameters"});
        EXPECT_LT(std::chrono::steady_clock::now() - tpStart, 5s);
    }
}

} // namespace
