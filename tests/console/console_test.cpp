// The console as a process; the test is its operator and its recorder.

#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/times.h>

#include "console/pipe_sending.h"
#include "tests/console/recorder.h"
#include "tests/support/child_process.h"

namespace
{

using namespace std::chrono_literals;
using namespace std::string_literals;

const std::string kOpeningOutput = "Opening output pipe.\r\n";
const std::string kOpeningInput = "Opening input pipe.\r\n";
const std::string kRequesting = "Sending request for parameters.\r\n";
const std::string kStarted = kOpeningOutput + kOpeningInput + kRequesting;
const std::string kReading = "Reading ZOR input.\r\n";
const std::string kReadingGood = kReading + "good";
const std::string kLoaded = "Parameters Loaded.\r\n";
const std::string kInvalid = "Invalid parameters.\r\n";
const std::string kLogRequest = "C\0\0\0\0\0\0\0\0\0\0\0"s;
const std::string kGood = "e\0\0\0\0\0\0\0\4\0\0\0good"s;

struct SStep
{
    const char* szRule;
    std::string strReceived; // in one piece; empty: nothing
    std::string strTyped;
    std::string strPrinted;
    std::string strSent = "";
};

class Console : public CRecorderTest
{
protected:
    void Start(const std::function<void()>& beforeExec = {})
    {
        m_pConsole =
            std::make_unique<CChildProcess>(ZOR_CONSOLE, std::vector<std::string>{}, beforeExec);
    }
    void StartSession(const std::function<void()>& beforeExec = {})
    {
        Start(beforeExec);
        OpenRequests(O_RDONLY | O_NONBLOCK);
        OpenMessages(O_WRONLY);
        ASSERT_EQ(ReadFrom(m_iRequests, 12), "G\0\0\0\0\0\0\0\0\0\0\0"s);
    }
    void ExpectOutput(const std::string& strExpected)
    {
        ASSERT_EQ(m_pConsole->ReadOutput(strExpected.size()), strExpected);
    }

    // Waits until the console has taken it.
    void Send(const std::string& strMessage)
    {
        ::fcntl(m_iMessages, F_SETPIPE_SZ, static_cast<int>(strMessage.size()));
        ASSERT_TRUE(Write(strMessage));
        int iLeft = 1;
        for (int i = 0; i < 30000 && iLeft != 0; ++i)
        {
            std::this_thread::sleep_for(1ms);
            ::ioctl(m_iMessages, FIONREAD, &iLeft);
        }
        ASSERT_EQ(iLeft, 0);
    }

    void Play(const std::vector<SStep>& vecSteps)
    {
        StartSession();
        ExpectOutput(kStarted);
        for (const SStep& step : vecSteps)
        {
            SCOPED_TRACE(step.szRule);
            if (!step.strReceived.empty())
            {
                Send(step.strReceived);
                ExpectOutput(kReading);
            }
            m_pConsole->Type(step.strTyped);
            ExpectOutput(step.strPrinted);
            ASSERT_EQ(ReadFrom(m_iRequests, step.strSent.size()), step.strSent);
            Send(kGood); // is understood after whatever came before
            ExpectOutput(kReadingGood);
        }
        ExpectEnd("quit\n");
    }
    void ExpectEnd(const std::string& strTyped)
    {
        m_pConsole->Type(strTyped);
        EXPECT_EQ(m_pConsole->ReadOutput(), "");
        EXPECT_EQ(m_pConsole->Wait(), 0);
        EXPECT_EQ(ReadFrom(m_iRequests), "");
    }

    std::unique_ptr<CChildProcess> m_pConsole;
};

TEST_F(Console, ObeysCommands)
{
    const std::string str199(199, 'x');
    std::string strEcho = "Invalid input: " + str199 + " ( ";
    for (int i = 0; i < 199; ++i)
        strEcho += "0x78 ";
    strEcho += ")\r\n";
    const std::string strHelp = "diag list\r\ndiag <n>\r\nlog\r\nexit\r\nquit\r\n";
    const std::string strHighest = "d\0\0\0\xFE\xFF\xFF\x7F\0\0\0\0"s;
    Play({
        {"help", "", "help\n", strHelp},
        {"log", "", "log\n", "", kLogRequest},
        {"numbers start at 1", "", "diag 1\n", "", "d\0\0\0\0\0\0\0\0\0\0\0"s},
        {"a number may have more around it", "", "diag  +12abc\n", "", Message('d', 11, "")},
        {"beyond 32 bits", "", "diag 4294967297\n", "", strHighest},
        {"beyond 64 bits", "", "diag 99999999999999999999\n", "", strHighest},
        {"less than 1", "", "diag 0\ndiag -4294967295\ndiag x\ndiag \ndiag list \n", ""},
        {"no parameters", "", "diag list\n", "No device parameters.\r\n"},
        {"empty line", "", "\n", "Invalid input:  ( )\r\n"},
        {"bytes from 127 up", "", "\x7F\xFF\n", "Invalid input: \x7F\xFF ( 0x7F 0xFF )\r\n"},
        {"a format is text", "", "%n\n", "Invalid input: %n ( 0x25 0x6E )\r\n"},
        {"no blank", "", "diag\n", "Invalid input: diag ( 0x64 0x69 0x61 0x67 )\r\n"},
        {"blanks", "", " log \n", "Invalid input:  log  ( 0x20 0x6C 0x6F 0x67 0x20 )\r\n"},
        {"control bytes are ignored", "", "\x01l\to\x1Fg\0\r\n"s, "", kLogRequest},
        {"backspace", "", "\b\blx\b\bllog\b\b\bog\n", "", kLogRequest},
        {"the 200th is dropped", "", str199 + "yz\n", strEcho},
        {"backspace makes room", "", str199 + "y\bx\n", strEcho},
    });
}

TEST_F(Console, ListsDiagnostics)
{
    const std::string strList = "diag list\n";
    const std::string strNoConfig = "No device config parameters.\r\n";
    const std::string strNames =
        "01: Temp\u00E9rature\r\n02: \r\n03: \u96FB\u6E90 <\U0001F50B> %s\r\n";
    Play({
        {"broken", Message('H', 0, "<p>"), strList, kInvalid + "No device parameters.\r\n"},
        {"no configuration", Message('H', 0, "<p/>"), strList, kLoaded + strNoConfig},
        {"the prefix counts", Message('H', 0, "<p><cfg:CaptureDeviceConfig/></p>"), strList,
         kLoaded + strNoConfig},
        {"only the first counts",
         Message('H', 0,
                 "<p><zor:CaptureDeviceConfig/><zor:CaptureDeviceConfig><zor:DiagnosticTypes/>"
                 "</zor:CaptureDeviceConfig></p>"),
         strList, kLoaded + "No diagnostic information found.\r\n"},
        {"nothing in the list", Parameters("<zor:Other>x</zor:Other>"), strList,
         kLoaded + "Diagnostic information list is empty.\r\n"},
        {"names of any script, and none",
         Parameters("<zor:DiagnosticType>Temp\u00E9rature</zor:DiagnosticType><x>no</x>"
                    "<zor:DiagnosticType/><zor:DiagnosticType>&#x96FB;\u6E90 &lt;\U0001F50B&gt; %s"
                    "</zor:DiagnosticType>"),
         strList, kLoaded + strNames},
        {"a broken one leaves the last", Message('H', 0, "<q>\xFF"), strList, kInvalid + strNames},
    });
}

TEST_F(Console, HandlesMessagesAndDropsWhatIsNone)
{
    std::vector<SStep> vecSteps{
        {"as it is, whatever the argument", Message('e', 2, "a\r\n%n\xFF"), "", "a\r\n%n\xFF"},
        {"NULs are blanks", Message('e', 0, "\0a\0\0b\0"s), "", " a  b "},
        {"rotated", Message('D', 3, "defabc"), "", "abcdef"},
        {"rotated with NULs", Message('D', 2, "\0d\0c"s), "", " c d"},
        {"64 KiB", Message('e', 0, std::string(65536, 'y')), "", std::string(65536, 'y')},
    };
    for (const std::uint32_t dwSplit : {0U, 5U, 6U, 0x7FFFFFFFU, 0xFFFFFFFFU}) // not inside
    {
        vecSteps.push_back({"not split", Message('D', dwSplit, "abcdef"), "", "abcdef"});
        vecSteps.push_back({"empty circular text", Message('D', dwSplit, ""), "", ""});
    }
    const std::string strHeader = Word('e') + Word(0);
    for (const std::string& strDropped :
         {Message('e', 1, ""), Message('E', 0, "unknown"), Word(0x165) + Word(0) + Word(1) + "x",
          strHeader + "\0\0\0"s, strHeader + Word(6) + "short",
          strHeader + Word(0x40000000) + "abc", strHeader + Word(0x7FFFFFFF) + "abc",
          strHeader + Word(0x80000000) + "abc",
          strHeader + Word(0xFFFFFFFF) + std::string(20000, 'x')})
        vecSteps.push_back({"dropped", strDropped, "", ""});
    Play(vecSteps);
}

TEST_F(Console, SendsAllOfAMessageOrTellsThatItDidNot)
{
    OpenRequests(O_RDWR | O_NONBLOCK);
    ::fcntl(m_iRequests, F_SETPIPE_SZ, 4096);
    EXPECT_EQ(SendStructuredData(m_iRequests, 'C', 0, 0, nullptr), 1);
    EXPECT_EQ(SendStructuredData(m_iRequests, 'e', 4, 0, "good"), 1);
    EXPECT_EQ(ReadFrom(m_iRequests, 28), kLogRequest + kGood);
    EXPECT_EQ(SendStructuredData(m_iRequests, 'e', 5000, 0, std::string(5000, 'x').data()), 0);
    EXPECT_EQ(SendStructuredData(-1, 'C', 0, 0, nullptr), 0);
}

TEST_F(Console, ShowsEachStepAtOnceWhileSomebodyReadsAndTellsWhichPipeIsMissing)
{
    Start();
    ExpectOutput(kOpeningOutput);
    OpenRequests(O_RDONLY | O_NONBLOCK);
    ExpectOutput(kOpeningInput);
    OpenMessages(O_WRONLY);
    ExpectOutput(kRequesting);
    Send(kGood.substr(0, 12)); // the payload does not come
    ExpectOutput(kReading);
    m_pConsole->CloseOutput();
    Send("good");
    EXPECT_EQ(m_pConsole->Wait(), 0) << "prints to nobody";
    ClosePipes();
    Start();
    ExpectOutput(kOpeningOutput);
    m_pConsole->CloseOutput();
    EXPECT_EQ(m_pConsole->Wait(), 0) << "waits for the recorder for nobody";
    OpenRequests(O_RDONLY | O_NONBLOCK);

    const std::string strMissing = ": 2 (No such file or directory)\r\n";
    ::unlink(g_aszPipePaths[1]);
    Start();
    EXPECT_EQ(m_pConsole->ReadOutput(),
              kOpeningOutput + kOpeningInput + "Failed to open /tmp/zor_app_out.pipe" + strMissing);
    EXPECT_EQ(m_pConsole->Wait(), 2);
    ::unlink(g_aszPipePaths[0]);
    Start();
    EXPECT_EQ(m_pConsole->ReadOutput(),
              kOpeningOutput + "Failed to open /tmp/zor_app_in.pipe" + strMissing);
    EXPECT_EQ(m_pConsole->Wait(), 2);
}

TEST_F(Console, GoesOnAfterTheEndOfItsInputAndAStopUntilNobodyReads)
{
    tms before{};
    tms after{};
    ::times(&before);
    StartSession();
    m_pConsole->EndInput();
    std::this_thread::sleep_for(1s);
    m_pConsole->Kill(SIGSTOP);
    std::this_thread::sleep_for(50ms);
    m_pConsole->Kill(SIGCONT);
    Send(kGood);
    ExpectOutput(kStarted + kReadingGood);
    m_pConsole->CloseOutput();
    EXPECT_EQ(m_pConsole->Wait(), 0) << "neither input nor anybody to print to";
    ::times(&after);
    EXPECT_LT(after.tms_cutime + after.tms_cstime - before.tms_cutime - before.tms_cstime, 40);
}

TEST_F(Console, GoesOnAfterTheRecorderLeft)
{
    StartSession();
    ClosePipes();
    std::this_thread::sleep_for(1s);
    m_pConsole->Type("diag 1\nlog\nhelp\nexit\n"); // requests to nobody
    const std::string strOutput = m_pConsole->ReadOutput();
    EXPECT_EQ(m_pConsole->Wait(), 0);
    EXPECT_NE(strOutput.find("diag <n>\r\n"), std::string::npos);
    // A pass for each character typed, and some 20 in the second before.
    EXPECT_GT(strOutput.size(), 3 * kReading.size());
    EXPECT_LT(strOutput.size(), 80 * kReading.size());
}

TEST_F(Console, BearsClosedStandardDescriptorsAndAFullDisk)
{
    for (unsigned int uClosed = 1; uClosed <= 8; ++uClosed)
    {
        SCOPED_TRACE(uClosed);
        StartSession(
            [uClosed]
            {
                for (int i = 0; i < 3; ++i)
                    ::close((uClosed >> i & 1) != 0 ? i : -1);
                ::dup2(uClosed == 8 ? ::open("/dev/full", O_WRONLY) : -1, STDOUT_FILENO);
            });
        Send(kGood);
        if ((uClosed & 1) == 0)
        {
            m_pConsole->Type("ab\nlog\nexit\n");
            EXPECT_EQ(ReadFrom(m_iRequests, 12), kLogRequest);
            EXPECT_EQ(m_pConsole->Wait(), 0);
        }
        if ((uClosed & 10) == 0)
            ExpectOutput(kStarted + kReadingGood);
        m_pConsole.reset();
        EXPECT_EQ(ReadFrom(m_iRequests), ""); // no output strayed into the pipe
        ClosePipes();
    }
}

TEST_F(Console, BearsInheritedDescriptorsBeyondTheRangeOfSelect)
{
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = 2048;
    if (limit.rlim_max < limit.rlim_cur)
        GTEST_SKIP() << "this machine does not allow that many descriptors";
    for (const int iInherited : {FD_SETSIZE - 1, FD_SETSIZE, 1500})
    {
        SCOPED_TRACE(iInherited);
        StartSession(
            [limit, iInherited]
            {
                ::setrlimit(RLIMIT_NOFILE, &limit);
                for (int i = 3; i < 64; ++i) // would leave gaps
                    ::close(i);
                while (::dup(2) < iInherited - 1)
                {
                }
            });
        Send(kGood);
        ExpectOutput(kStarted + kReadingGood);
        ExpectEnd("exit\n");
        ClosePipes();
    }
}

} // namespace
