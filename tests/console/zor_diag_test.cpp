// zor-diag as a process; the test is its recorder.

#include <gmock/gmock.h>
#include <linux/capability.h>
#include <pwd.h>

#include "tests/console/recorder.h"
#include "tests/support/child_process.h"
#include "tests/support/testing.h"

namespace
{

using namespace std::chrono_literals;
using namespace std::string_literals;
using testing::HasSubstr;
using Words = std::vector<std::string>;

const std::string kGood = Message('e', 0, "good\r\n");

const std::string kNames = Parameters(
    "<zor:DiagnosticType>Power</zor:DiagnosticType><zor:DiagnosticType>Disk</zor:DiagnosticType>"
    "<zor:DiagnosticType>\n  DISK\n</zor:DiagnosticType><zor:DiagnosticType>Net\x1B &amp; "
    "\u00E9</zor:DiagnosticType>");
const std::string kLong(4000, 's');
const std::string kText = "\"\\\0a\tb\x1B[2J\r\nc\rd\x7F\xC2\x9B|\xC2\xA0\xFF\xC3\xA9\xED\xA0\x80"
                          "\xE0\x80\x80\xF4\x90\x80\x80\xF0\x9F\x94\x8B\xE2\x80\xA8\xE2\x82"s;

// The requests are letters with a digit for an argument; each gets its reply, which is written in
// pieces of that many bytes (0: whole). The pipes are closed after the last.
struct SCase
{
    const char* szArguments;
    const char* szRequests;
    Words vecReplies;
    int iExit;
    std::string strOutput;
    const char* szError = ""; // a part of it
    std::size_t uPiece = 0;
};

Words Split(const std::string& strWords)
{
    std::istringstream stream(strWords);
    return {std::istream_iterator<std::string>(stream), {}};
}

class ZorDiag : public CRecorderTest
{
protected:
    // Also for writing, so that it has no end while no client is there.
    void Listen() { OpenRequests(O_RDWR); }
    void Play(const char* szRequests, const Words& vecReplies, std::size_t uPiece = 0)
    {
        if (m_iMessages < 0)
            OpenMessages(O_WRONLY);
        for (const std::string& strReply : vecReplies)
        {
            const char chType = *szRequests++;
            const int iArgument = std::isdigit(*szRequests) != 0 ? *szRequests++ - '0' : 0;
            ASSERT_EQ(ReadFrom(m_iRequests, 12),
                      Message(chType, static_cast<std::uint32_t>(iArgument), ""));
            const std::size_t uStep = uPiece == 0 ? strReply.size() + 1 : uPiece;
            for (std::size_t uAt = 0; uAt < strReply.size(); uAt += uStep)
            {
                if (!Write(strReply.substr(uAt, uStep)))
                    return;
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
    // Nothing is printed but the reason.
    static void Expect(const char* szArguments, int iExit, const std::string& strError,
                       const std::function<void()>& beforeExec = {})
    {
        CChildProcess diag(ZOR_DIAG, Split(szArguments), beforeExec);
        ExpectEnd(diag, iExit, "", strError);
    }
};

TEST_F(ZorDiag, AsksAndTellsByItsExitCode)
{
    ::signal(SIGPIPE, SIG_IGN);
    const std::string strHead = Word('D') + Word(0);
    const std::string strMixed = Message('H', 0, "<p") + Message('D', 9, "log") +
                                 Message('z', 1, std::string(70000, 'z')) + Message('d', 0, "");
    const std::string strText = Message('D', 0, kText);
    const char* const szShown = "\"\\ a\tb\\x1B[2J\nc\\x0Dd\\x7F\\xC2\\x9B|\u00A0\\xFF\u00E9\\xED"
                                "\\xA0\\x80\\xE0\\x80\\x80\\xF4\\x90\\x80\\x80\U0001F50B\u2028"
                                "\\xE2\\x82";
    const char* const szJson = "{\"text\":\"\\\"\\\\ a\\u0009b\\u001b[2J\\nc\\u000dd\\u007f\\u009b"
                               "|\u00A0\uFFFD\u00E9\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD"
                               "\uFFFD\uFFFD\uFFFD\U0001F50B\\u2028\uFFFD\uFFFD\"}\n";
    const char* const szNames =
        "{\"number\":1,\"name\":\"Power\"}\n{\"number\":2,\"name\":\"Disk\"}\n{\"number\":3,"
        "\"name\":\"DISK\"}\n{\"number\":4,\"name\":\"Net\\u001b & \u00E9\"}\n";
    std::string strFlood;
    while (strFlood.size() < 5'000'000)
        strFlood += Message('Z', 0, std::string(1000, 'z'));
    const SCase aCases[] = {
        {"show 1", "Gd0", {kNames, kGood}, 0, "good\n", "", 1},
        {"show 02", "Gd1", {Message('e', 0, "late") + kNames, strMixed + kGood}, 0, "good\n"},
        {"show 1", "Gd0", {Message('D', 0, "") + kNames, Message('e', 0, "")}, 0, ""},
        {"show Disk", "Gd1", {kNames, kGood}, 0, "good\n"},  // as it stands
        {"show power", "Gd0", {kNames, kGood}, 0, "good\n"}, // but for the case
        {"show disk", "G", {kNames}, 1, "", "several diagnostics; ask for one of 2, 3\n"},
        {"show Net", "G", {kNames}, 1, "", "no diagnostic 'Net'"},
        {"show 5", "G", {kNames}, 1, "", "no diagnostic 5; the recorder has 4\n"},
        {"show 4294967297", "G", {kNames}, 1, "", "no diagnostic 4294967297;"},
        {"show 0", "G", {kNames}, 1, "", "no diagnostic 0;"},
        {"list", "G", {kNames}, 0, "01: Power\n02: Disk\n03: DISK\n04: Net\\x1B & \u00E9\n"},
        {"list --json", "G", {kNames}, 0, szNames},
        {"list", "G", {Parameters("")}, 0, "", "list is empty."},
        {"parameters", "G", {Message('H', 0, "<p>\r\n\x07</p>\n")}, 0, "<p>\n\\x07</p>\n"},
        {"parameters", "G", {Message('H', 0, "\n<p>")}, 5, "", "line 2, column 1: this "},
        {"list", "G", {Message('H', 0, "")}, 5, "", "malformed"},
        {"log", "C", {strText}, 0, szShown},
        {"log --raw", "C", {strText}, 0, kText},
        {"log --json", "C", {strText}, 0, szJson},
        {"--raw log", "C", {Message('D', 3, "def\0bc"s)}, 0, "\0bcdef"s}, // turned round
        {"log", "C", {Message('D', 3, "")}, 5, "", "without a payload"},
        {"log", "C", {strHead + Word(0xFFFFFFFF)}, 5, "", "4294967295 bytes"},
        {"log", "C", {Word(0) + Word(0) + Word(0x04000001)}, 5, "", "67108865 bytes"},
        {"log", "C", {"D"}, 5, "", "in the middle"},
        {"log", "C", {strHead + Word(9) + "cut"}, 5, "", "in the middle"},
        {"log", "C", {""}, 4, "", "closed its pipes without an answer"},
        {"log --timeout 0.5", "C", {strHead + Word(5000) + kLong}, 4, "", "of 5012", 1},
        {"log --timeout .1", "C", {strFlood}, 4, "", "in time"},
    };
    for (const SCase& row : aCases)
    {
        SCOPED_TRACE(row.szArguments + " "s + row.szError);
        Listen();
        const auto tpStart = std::chrono::steady_clock::now();
        CChildProcess diag(ZOR_DIAG, Split(row.szArguments));
        Play(row.szRequests, row.vecReplies, row.uPiece);
        ClosePipes();
        std::string strOutput = diag.ReadOutput();
        if (strOutput.starts_with("{\"time\":\""))
        {
            std::tm utc{};
            ::strptime(strOutput.c_str() + 9, "%Y-%m-%dT%H:%M:%S", &utc);
            EXPECT_LT(std::abs(::timegm(&utc) - ::time(nullptr)), 60);
            strOutput.erase(1, 34); // "2026-11-22T02:21:58.286Z"
        }
        EXPECT_EQ(strOutput, row.strOutput);
        EXPECT_THAT(diag.ReadErrors(), HasSubstr(row.szError));
        EXPECT_EQ(diag.Wait(), row.iExit);
        EXPECT_LT(std::chrono::steady_clock::now() - tpStart, 4s);
    }
}

TEST_F(ZorDiag, GivesUpInTime)
{
    Listen();
    Expect("log --timeout 0.05", 4, "no answer in time\n");
    ReadFrom(m_iRequests, 12);
    CChildProcess diag(ZOR_DIAG, Split("log --timeout 0.2"));
    Play("C", {"D\0\0\0\0"s});
    ExpectEnd(diag, 4, "", "no answer in time, only 5 bytes of a header\n");

    CChildProcess patient(ZOR_DIAG, Split("log"));
    Play("C", {""});
    ::close(m_iRequests);
    std::this_thread::sleep_for(1200ms); // some recorders open the pipe anew for each request
    EXPECT_TRUE(Write(Message('D', 0, "late")));
    ExpectEnd(patient, 0, "late");

    Listen();
    ::fcntl(m_iRequests, F_SETPIPE_SZ, 4096);
    const int iFull = ::open(g_aszPipePaths[0], O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    while (::write(iFull, "x", 1) == 1)
    {
    }
    ::close(iFull);
    Expect("log --timeout 0.05", 4, "takes no request\n");
}

TEST_F(ZorDiag, TellsWhyThereIsNoRecorder)
{
    Expect("list", 3, "zor-diag: no recorder is listening: nobody reads /tmp/zor_app_in.pipe\n");
    ::chmod(g_aszPipePaths[0], 0);
    Expect("list --wait 9", 3,
           "Permission denied; it belongs to user "s + ::getpwuid(::geteuid())->pw_name + " (" +
               std::to_string(::geteuid()) + "), mode 0000\n",
           [] { ::prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE, 0, 0, 0); });
    ::rename(g_aszPipePaths[0], "/tmp/zor_diag_test.pipe");
    Expect("list --wait 0.05", 3, "listening: /tmp/zor_app_in.pipe: No such file");
    EXPECT_EQ(::symlink("/tmp/zor_diag_test.pipe", g_aszPipePaths[0]), 0);
    Expect("list --wait 9", 3, "/tmp/zor_app_in.pipe is a symbolic link, no pipe\n");
    ::rename("/tmp/zor_diag_test.pipe", g_aszPipePaths[0]);
    ::chmod(g_aszPipePaths[0], 0600);

    Listen();
    ::unlink(g_aszPipePaths[1]);
    Expect("list", 3, "listening: /tmp/zor_app_out.pipe: No such file");
    ::mkdir(g_aszPipePaths[1], 0700);
    Expect("list --wait 9", 3, "/tmp/zor_app_out.pipe is no pipe\n");
    ::rmdir(g_aszPipePaths[1]);
}

TEST_F(ZorDiag, RefusesBadUsage)
{
    const std::pair<const char*, const char*> aCases[] = {
        {"", "no command"},
        {"List", "unknown command 'List'"},
        {"list 2", "unexpected argument '2'"},
        {"show Main board", "unexpected argument 'board'"},
        {"watch", "watch needs a diagnostic's number or name"},
        {"show 1 --count 1", "--count is for watch"},
        {"watch 1 --count 0", "--count cannot be '0'"},
        {"watch 1 --count 1.5", "--count cannot be '1.5'"},
        {"log --loud", "--loud"},
        {"log --timeout 0", "--timeout cannot be '0'"},
        {"log --timeout .", "--timeout cannot be '.'"},
        {"log --timeout 1,5", "--timeout cannot be '1,5'"},
        {"log --wait -1", "--wait cannot be '-1'"},
        {"log --wait 1000000.001", "--wait cannot be"},
        {"log --wait 99999999999999999999", "--wait cannot be"},
    };
    for (const auto& [szArguments, szComplaint] : aCases)
        Expect(szArguments, 2, szComplaint);
    EXPECT_EQ(CChildProcess(ZOR_DIAG, {"show", ""}).Wait(), 2);
    EXPECT_EQ(CChildProcess(ZOR_DIAG, {"log", "--wait", ""}).Wait(), 2);
    CChildProcess largest(ZOR_DIAG, Split("log --wait 1000000 --timeout 0.00001 --help"));
    ExpectEnd(largest, 0, CChildProcess(ZOR_DIAG, {"--help"}).ReadOutput());
}

TEST_F(ZorDiag, WaitsForARecorderAndForItsTurn)
{
    RemovePipes();
    const Words vecWaiting = Split("log --wait 20 --timeout 20");
    CChildProcess first(ZOR_DIAG, vecWaiting);
    std::this_thread::sleep_for(100ms);
    MakePipes();
    Listen();
    OpenMessages(O_RDWR); // it is not closed in between
    ASSERT_EQ(ReadFrom(m_iRequests, 12), Message('C', 0, ""));

    Expect("log --timeout .1", 4, "another zor-diag is being answered\n");
    CChildProcess second(ZOR_DIAG, vecWaiting);
    std::this_thread::sleep_for(100ms);
    pollfd polled{m_iRequests, POLLIN, 0};
    EXPECT_EQ(::poll(&polled, 1, 0), 0) << "nothing is asked meanwhile";
    second.Kill(SIGSTOP);
    first.Kill(SIGINT);
    EXPECT_EQ(first.Wait(), 128 + SIGINT);
    ASSERT_TRUE(Write(Message('D', 0, "for the first").substr(5))); // it had read the beginning
    second.Kill(SIGCONT);
    Play("C", {Message('D', 0, "for the second")});
    ExpectEnd(second, 0, "for the second");
}

TEST_F(ZorDiag, WatchesUntilItIsStopped)
{
    Listen();
    const std::string strText = Message('e', 0, "x");
    CChildProcess watch(ZOR_DIAG, Split("watch Disk --every 0 --count 2"));
    Play("Gd1Gd1", {kNames, strText, kNames, strText});
    ExpectEnd(watch, 0, "x\nx\n");

    CChildProcess endless(ZOR_DIAG, Split("watch Disk --every 900"));
    Play("Gd1", {kNames, strText});
    EXPECT_EQ(endless.ReadOutput(2), "x\n");
    pollfd polled{m_iRequests, POLLIN, 0};
    EXPECT_EQ(::poll(&polled, 1, 100), 0) << "it waits";
    endless.Kill(SIGINT);
    EXPECT_EQ(endless.Wait(), 128 + SIGINT);
}

TEST_F(ZorDiag, TellsThatItsOutputWasNotWritten)
{
    Expect("--help", 6, "standard output", [] { ::close(1); });
    Expect("--help", 6, "standard output", [] { ::dup2(::open("/dev/full", O_WRONLY), 1); });
    Listen();
    CChildProcess watch(ZOR_DIAG, {"watch", "1"},
                        []
                        {
                            int aiEnds[2];
                            EXPECT_EQ(::pipe(aiEnds), 0);
                            ::dup2(aiEnds[1], 1);
                            ::close(aiEnds[0]);
                        });
    Play("Gd0", {kNames, kGood});
    ExpectEnd(watch, 6, "", "standard output: Broken pipe\n");
}

} // namespace
