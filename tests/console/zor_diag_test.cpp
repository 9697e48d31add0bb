// zor-diag; the test is its recorder.

#include <linux/capability.h>
#include <pwd.h>
#include <sys/syscall.h>

#include "console/diag_program.h"
#include "tests/console/recorder.h"
#include "tests/support/child_process.h"

namespace
{

using namespace std::chrono_literals;
using namespace std::string_literals;
using testing::HasSubstr;
using testing::MatchesRegex;
using Words = std::vector<std::string>;

const std::string kGood = Message('e', 0, "good\r\n");

const std::string kNames = Parameters(
    "<zor:DiagnosticType>Power</zor:DiagnosticType><zor:DiagnosticType>Disk</zor:DiagnosticType>"
    "<zor:DiagnosticType>\n  DISK\n</zor:DiagnosticType><zor:DiagnosticType>Net\x1B &amp; "
    "\u00E9</zor:DiagnosticType>");
// The last and the first of each kind: controls, characters of each length, what is no UTF-8.
const std::string kText =
    "\"\\\0a\tb\x1B[2J\r\nc\rd\x1F\x7F\xC2\x80\xC2\x9F|"
    "\xC2\xA0\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEF\xBF\xBF"
    "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF\xE2\x80\xA7\xE2\x80\xA8\xE2\x80\xA9|\xC1\xBF|\xE0\x9F\xBF|"
    "\xED\xA0\x80"
    "|\xF0\x8F\xBF\xBF|\xF4\x90\x80\x80|\xF5\x80\x80\x80|\xE1\x80\xC0|\xE2\x82"s;

// The requests are letters with a digit for an argument; each gets its reply, which is written in
// pieces of that many bytes (0: whole). The pipes are closed after the last.
struct SCase
{
    const char* szArguments;
    const char* szRequests;
    Words vecReplies;
    int iExit;
    std::string strSaid; // the output, or why there is none
    std::size_t uPiece = 0;
};

Words Split(const std::string& strWords)
{
    std::istringstream stream(strWords);
    return {std::istream_iterator<std::string>(stream), {}};
}

class CDiag : public CChildProcess
{
public:
    explicit CDiag(const Words& vecArguments, const std::function<void()>& prepare = {})
        : CChildProcess(RunDiag, "zor-diag", vecArguments, prepare)
    {
    }
};

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
    // The output is without the time that JSON begins with, the error (a pattern) without the
    // program's name.
    static void ExpectEnd(CChildProcess& diag, int iExit, const std::string& strOutput,
                          const std::string& strError = "")
    {
        std::string strPrinted = diag.ReadOutput();
        if (strPrinted.starts_with("{\"time\":\""))
        {
            std::tm utc{};
            ::strptime(strPrinted.c_str() + 9, "%Y-%m-%dT%H:%M:%S", &utc);
            EXPECT_LT(std::abs(::timegm(&utc) - ::time(nullptr)), 60);
            strPrinted.erase(1, 34); // "2026-11-22T02:21:58.286Z"
        }
        EXPECT_EQ(strPrinted, strOutput);
        EXPECT_THAT(diag.ReadErrors(),
                    MatchesRegex(strError.empty() ? "" : "(.*/)?zor-diag: " + strError + "\n"));
        EXPECT_EQ(diag.Wait(), iExit);
    }
    // Nothing is printed but the reason.
    static void Expect(const char* szArguments, int iExit, const std::string& strError,
                       const std::function<void()>& prepare = {})
    {
        CDiag diag(Split(szArguments), prepare);
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
    const char* const szShown =
        "\"\\ a\tb\\x1B[2J\nc\\x0Dd\\x1F\\x7F\\xC2\\x80\\xC2\\x9F|\u00A0\u07FF\u0800\uD7FF\uFFFF"
        "\U00010000\U0010FFFF\u2027\u2028\u2029|\\xC1\\xBF|\\xE0\\x9F\\xBF|\\xED\\xA0\\x80|\\xF0"
        "\\x8F\\xBF\\xBF|\\xF4\\x90\\x80\\x80|\\xF5\\x80\\x80\\x80|\\xE1\\x80\\xC0|\\xE2\\x82";
    const std::string strJson =
        "{\"text\":\"\\\"\\\\ "
        "a\\u0009b\\u001b[2J\\nc\\u000dd\\u001f\\u007f\\u0080\\u009f|\u00A0\u07FF"
        "\u0800\uD7FF\uFFFF\U00010000\U0010FFFF\u2027\\u2028\\u2029|\uFFFD\uFFFD|\uFFFD\uFFFD\uFFFD"
        "|\uFFFD\uFFFD\uFFFD|\uFFFD\uFFFD\uFFFD\uFFFD|\uFFFD\uFFFD\uFFFD\uFFFD|"
        "\uFFFD\uFFFD\uFFFD\uFFFD"
        "|\uFFFD\uFFFD\uFFFD|\uFFFD\uFFFD\"}\n";
    const char* const szNames =
        "{\"number\":1,\"name\":\"Power\"}\n{\"number\":2,\"name\":\"Disk\"}\n{\"number\":3,"
        "\"name\":\"DISK\"}\n{\"number\":4,\"name\":\"Net\\u001b & \u00E9\"}\n";
    const char* const szAnswer = "{\"number\":3,\"name\":\"DISK\",\"text\":\"good\\n\"}\n";
    const std::string strSent = "the recorder sent ";
    const std::string strMalformed = strSent + "malformed device parameters: ";
    const std::string strSeveral = " is the name of several diagnostics; ask for one of ";
    const std::string strLate = "no answer in time, only [0-9]+ of 5012 bytes";
    const std::string strHuge = "the recorder announces a message of ";
    const std::string strCut = "the recorder closed its pipe in the middle of a message";
    std::string strFlood;
    while (strFlood.size() < 5'000'000)
        strFlood += Message('Z', 0, std::string(1000, 'z'));
    const SCase aCases[] = {
        {"show 1", "Gd0", {kNames, kGood}, 0, "good\n", 1},
        {"show 02", "Gd1", {Message('e', 0, "late") + kNames, strMixed + kGood}, 0, "good\n"},
        {"show 1", "Gd0", {Message('D', 0, "") + kNames, Message('e', 0, "")}, 0, ""},
        {"show DISK --json", "Gd2", {kNames, kGood}, 0, szAnswer}, // as it stands
        {"show power", "Gd0", {kNames, kGood}, 0, "good\n"},       // but for the case
        {"show disk", "G", {kNames}, 1, "'disk'" + strSeveral + "2, 3"},
        {"show Net", "G", {kNames}, 1, "no diagnostic 'Net'; the recorder has 4 others"},
        {"show 5", "G", {kNames}, 1, "no diagnostic 5; the recorder has 4"},
        {"show 4294967297", "G", {kNames}, 1, "no diagnostic 4294967297; the recorder has 4"},
        {"show 0", "G", {kNames}, 1, "no diagnostic 0; the recorder has 4"},
        {"list", "G", {kNames}, 0, "01: Power\n02: Disk\n03: DISK\n04: Net\\x1B & \u00E9\n"},
        {"list --json", "G", {kNames}, 0, szNames},
        {"list --raw", "G", {kNames}, 0, "01: Power\n02: Disk\n03: DISK\n04: Net\x1B & \u00E9\n"},
        {"parameters", "G", {Message('H', 0, "<p>\r\n\x07</p>\n")}, 0, "<p>\n\\x07</p>\n"},
        {"list", "G", {Message('H', 0, "\n<p>")}, 5, strMalformed + "line 2, column 1: this .*"},
        {"parameters", "G", {Message('H', 0, "")}, 5, strMalformed + ".*"},
        {"log", "C", {strText}, 0, szShown},
        {"log --raw", "C", {strText}, 0, kText},
        {"log --json", "C", {strText}, 0, strJson},
        {"--raw log", "C", {Message('D', 3, "def\0bc"s)}, 0, "\0bcdef"s}, // turned round
        {"log", "C", {Message('D', 3, "")}, 5, strSent + "a circular text without a payload"},
        {"log", "C", {Word(0) + Word(0) + Word(0x04000001)}, 5, strHuge + "67108865 bytes"},
        {"log", "C", {strHead + Word(0xFFFFFFFF)}, 5, strHuge + "4294967295 bytes"},
        {"log", "C", {"D"}, 5, strCut},
        {"log", "C", {strHead + Word(9) + "cut"}, 5, strCut},
        {"log", "C", {""}, 4, "the recorder has closed its pipes without an answer"},
        {"log --timeout 0.5", "C", {strHead + Word(5000) + strFlood}, 4, strLate, 1},
        {"log --timeout .1", "C", {strFlood}, 4, "no answer in time.*"},
    };
    for (const SCase& row : aCases)
    {
        SCOPED_TRACE(row.szArguments + " "s + row.strSaid);
        Listen();
        const auto tpStart = std::chrono::steady_clock::now();
        CDiag diag(Split(row.szArguments));
        Play(row.szRequests, row.vecReplies, row.uPiece);
        ClosePipes();
        const bool bAnswered = row.iExit == 0;
        ExpectEnd(diag, row.iExit, bAnswered ? row.strSaid : "", bAnswered ? "" : row.strSaid);
        EXPECT_LT(std::chrono::steady_clock::now() - tpStart, 4s);
    }
}

TEST_F(ZorDiag, GivesUpInTime)
{
    Listen();
    Expect("log --timeout 0.05", 4, "no answer in time");
    ReadFrom(m_iRequests, 12);
    CDiag diag(Split("log --timeout 0.2"));
    Play("C", {"D\0\0\0\0"s});
    ExpectEnd(diag, 4, "", "no answer in time, only 5 bytes of a header");

    const int iReader = ::open(g_aszPipePaths[1], O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    EXPECT_TRUE(Write("left for an earlier client"));
    ::close(m_iMessages);
    CDiag patient(Split("log"));
    EXPECT_EQ(ReadFrom(m_iRequests, 12), Message('C', 0, ""));
    OpenMessages(O_WRONLY);
    ::close(iReader);
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
    Expect("log --timeout 0.05", 4, "the recorder takes no request");
}

TEST_F(ZorDiag, TellsWhyThereIsNoRecorder)
{
    const std::string strMissing = "no recorder is listening: /tmp/zor_app_";
    const std::string strDenied = "/tmp/zor_app_in.pipe: Permission denied; it belongs to user ";
    Expect("list", 3, "no recorder is listening: nobody reads /tmp/zor_app_in.pipe");
    ::chmod(g_aszPipePaths[0], 0);
    const auto asUser = []
    {
        __user_cap_header_struct head{_LINUX_CAPABILITY_VERSION_3, 0};
        __user_cap_data_struct none[2]{};
        ::syscall(SYS_capset, &head, none);
    };
    const std::string strUser = std::to_string(::geteuid());
    Expect("list --wait 9", 3,
           strDenied + ::getpwuid(::geteuid())->pw_name + " ." + strUser + "., mode 0000", asUser);
    if (::chown(g_aszPipePaths[0], 54321, 54321) == 0) // as root only
        Expect("list", 3, strDenied + "54321, mode 0000", asUser);
    ::rename(g_aszPipePaths[0], "/tmp/zor_diag_test.pipe");
    Expect("list --wait 0.05", 3, strMissing + "in.pipe: No such file or directory");
    EXPECT_EQ(::symlink("/tmp/zor_diag_test.pipe", g_aszPipePaths[0]), 0);
    Expect("list --wait 9", 3, "/tmp/zor_app_in.pipe is a symbolic link, no pipe");
    ::rename("/tmp/zor_diag_test.pipe", g_aszPipePaths[0]);
    ::chmod(g_aszPipePaths[0], 0600);

    Listen();
    ::unlink(g_aszPipePaths[1]);
    Expect("list", 3, strMissing + "out.pipe: No such file or directory");
    ::mkdir(g_aszPipePaths[1], 0700);
    Expect("list --wait 9", 3, "/tmp/zor_app_out.pipe is no pipe");
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
        {"list --every 1", "--every is for watch"},
        {"log --loud", "unrecognized option '--loud'"},
        {"log --timeout 1.2.3", "--timeout cannot be '1.2.3'"},
        {"log --timeout 0", "--timeout cannot be '0'"},
        {"log --timeout .", "--timeout cannot be '.'"},
        {"log --timeout 1,5", "--timeout cannot be '1,5'"},
        {"log --wait -1", "--wait cannot be '-1'"},
        {"log --wait 1000000.001", "--wait cannot be '1000000.001'"},
        {"log --wait 99999999999999999999", "--wait cannot be '99999999999999999999'"},
    };
    for (const auto& [szArguments, szComplaint] : aCases)
        Expect(szArguments, 2, std::string(szComplaint) + "\nTry 'zor-diag --help'.");
    EXPECT_EQ(CDiag({"show", ""}).Wait(), 2);
    EXPECT_EQ(CDiag({"log", "--wait", ""}).Wait(), 2);
    const std::string strHelp = CChildProcess(ZOR_DIAG, {"--help"}).ReadOutput();
    EXPECT_THAT(ReadFile(ZOR_DIAG_PAGE), HasSubstr("```\n" + strHelp + "```\n"));
    CDiag largest(Split("log --wait 1000000 --timeout 0.00001 --help"));
    ExpectEnd(largest, 0, strHelp);
    EXPECT_THAT(CChildProcess(ZOR_DIAG, {"--version"}).ReadOutput(),
                MatchesRegex("zor-diag [0-9.]+\n"));
}

TEST_F(ZorDiag, WaitsForARecorderAndForItsTurn)
{
    RemovePipes();
    const Words vecWaiting = Split("log --wait 20 --timeout 20");
    CDiag first(vecWaiting);
    std::this_thread::sleep_for(100ms);
    MakePipes();
    Listen();
    OpenMessages(O_RDWR); // it is not closed in between
    ASSERT_EQ(ReadFrom(m_iRequests, 12), Message('C', 0, ""));

    Expect("log --timeout .1", 4, "another zor-diag is being answered");
    CDiag second(vecWaiting);
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
    CDiag watch(Split("watch Disk --every 0 --count 2"));
    Play("Gd1Gd1", {kNames, strText, kNames, strText});
    ExpectEnd(watch, 0, "x\nx\n");

    CDiag nothing({"list"});
    Play("G", {Parameters("")});
    ExpectEnd(nothing, 0, "", "Diagnostic information list is empty.");

    CDiag endless(Split("watch Disk --every 900"));
    Play("Gd1", {kNames, strText});
    EXPECT_EQ(endless.ReadOutput(2), "x\n");
    pollfd polled{m_iRequests, POLLIN, 0};
    EXPECT_EQ(::poll(&polled, 1, 100), 0) << "it waits";
    endless.Kill(SIGINT);
    EXPECT_EQ(endless.Wait(), 128 + SIGINT);
}

TEST_F(ZorDiag, TellsThatItsOutputWasNotWritten)
{
    Expect("--help", 6, "standard output is closed", [] { ::close(1); });
    Expect("--help", 6, "standard output: No space left on device",
           [] { ::dup2(::open("/dev/full", O_WRONLY), 1); });
    Listen();
    CDiag watch({"watch", "1"});
    watch.CloseOutput();
    Play("Gd0", {kNames, kGood});
    EXPECT_EQ(watch.ReadErrors(), "zor-diag: standard output: Broken pipe\n");
    EXPECT_EQ(watch.Wait(), 6);
}

} // namespace
