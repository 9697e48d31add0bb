// The console as a process, with the test for its recorder and its operator.

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <thread>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "console/pipe_protocol.h"
#include "tests/support/child_process.h"

namespace
{

using namespace std::string_literals;
using namespace std::string_view_literals;

constexpr char kOpeningOutput[] = "Opening output pipe.\r\n";
constexpr char kOpeningInput[] = "Opening input pipe.\r\n";
constexpr char kRequesting[] = "Sending request for parameters.\r\n";
constexpr char kReading[] = "Reading ZOR input.\r\n";
constexpr char kLoaded[] = "Parameters Loaded.\r\n";
constexpr char kInvalid[] = "Invalid parameters.\r\n";
constexpr std::string_view kParametersRequest = "G\0\0\0\0\0\0\0\0\0\0\0"sv;
constexpr std::string_view kLogRequest = "C\0\0\0\0\0\0\0\0\0\0\0"sv;
constexpr std::string_view kGoodMessage = "e\0\0\0\0\0\0\0\4\0\0\0good"sv;

// Little-endian, as it stands in the pipe.
std::string Word(std::uint32_t dwValue)
{
    std::string strWord;
    for (int i = 0; i < 4; ++i)
    {
        strWord += static_cast<char>(dwValue >> (8 * i) & 0xFF);
    }
    return strWord;
}

std::string Message(char chType, std::uint32_t dwArgument, std::string_view svPayload)
{
    return Word(static_cast<unsigned char>(chType)) + Word(dwArgument) +
           Word(static_cast<std::uint32_t>(svPayload.size())) + std::string(svPayload);
}

class Console : public testing::Test
{
protected:
    Console()
    {
        RemovePipes();
        ::mkfifo(g_aszPipePaths[0], 0600);
        ::mkfifo(g_aszPipePaths[1], 0600);
    }
    ~Console() override
    {
        CloseRecorder();
        RemovePipes();
    }

    void Start(const std::function<void()>& beforeExec = {})
    {
        m_pConsole =
            std::make_unique<CChildProcess>(ZOR_CONSOLE, std::vector<std::string>{}, beforeExec);
    }

    void ConnectRecorder()
    {
        m_iRequests = ::open(g_aszPipePaths[0], O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        m_iMessages = ::open(g_aszPipePaths[1], O_WRONLY | O_CLOEXEC);
        ASSERT_EQ(ReadFrom(m_iRequests, 12), kParametersRequest);
    }

    // Started, connected, and silent about it.
    void StartSession()
    {
        Start();
        ConnectRecorder();
        ExpectOutput(kOpeningOutput + ""s + kOpeningInput + kRequesting);
    }

    void CloseRecorder()
    {
        ::close(std::exchange(m_iRequests, -1));
        ::close(std::exchange(m_iMessages, -1));
    }

    void RemovePipes()
    {
        ::unlink(g_aszPipePaths[0]);
        ::unlink(g_aszPipePaths[1]);
    }

    void ExpectOutput(std::string_view svExpected)
    {
        ASSERT_EQ(m_pConsole->ReadOutput(svExpected.size()), svExpected);
    }

    // Nothing but what is expected has been printed and sent until then.
    void ExpectCleanEnd()
    {
        m_pConsole->Type("exit\n");
        EXPECT_EQ(m_pConsole->ReadRestOfOutput(), "");
        EXPECT_EQ(m_pConsole->Wait(), 0);
        EXPECT_EQ(ReadFrom(m_iRequests, 12), "");
    }

    // Sends bytes in one piece and waits until the console has taken them.
    void Send(std::string_view svBytes)
    {
        ::fcntl(m_iMessages, F_SETPIPE_SZ, static_cast<int>(svBytes.size()));
        ASSERT_EQ(::write(m_iMessages, svBytes.data(), svBytes.size()),
                  static_cast<ssize_t>(svBytes.size()));
        const auto tpEnd = std::chrono::steady_clock::now() + kTestLimit;
        for (int iLeft = 1; iLeft != 0 && std::chrono::steady_clock::now() < tpEnd;)
        {
            ::ioctl(m_iMessages, FIONREAD, &iLeft);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    std::unique_ptr<CChildProcess> m_pConsole;
    int m_iRequests = -1;
    int m_iMessages = -1;
};

struct SCommandCase
{
    const char* szRule;
    std::string strTyped;
    std::string strPrinted;
    std::string strSent;
};

TEST_F(Console, ObeysCommands)
{
    const auto diagnostic = [](std::uint32_t dwIndex) { return Message('d', dwIndex, ""); };
    const std::string str199(199, 'x');
    std::string str199Echo;
    for (int i = 0; i < 199; ++i)
    {
        str199Echo += "0x78 ";
    }
    const std::string strHelp = "diag list\r\ndiag <n>\r\nlog\r\nexit\r\nquit\r\n";
    const SCommandCase aCases[] = {
        {"help", "help\n", strHelp, ""},
        {"log", "log\n", "", std::string(kLogRequest)},
        {"numbers start at 1", "diag 1\n", "", "d\0\0\0\0\0\0\0\0\0\0\0"s},
        {"a number ends at the first other character", "diag 12abc\n", "", diagnostic(11)},
        {"a number may have blanks and a sign", "diag  +3\n", "", diagnostic(2)},
        {"highest number", "diag 2147483647\n", "", diagnostic(2147483646)},
        {"beyond 32 bits", "diag 4294967297\n", "", diagnostic(2147483646)},
        {"beyond 64 bits", "diag 99999999999999999999\n", "", diagnostic(2147483646)},
        {"below 32 bits", "diag -4294967295\n", "", ""},
        {"less than 1", "diag 0\ndiag -4\ndiag x\ndiag \ndiag list \n", "", ""},
        {"no parameters yet", "diag list\n", "No device parameters.\r\n", ""},
        {"empty line", "\n", "Invalid input:  ( )\r\n", ""},
        {"echo", "ab\n", "Invalid input: ab ( 0x61 0x62 )\r\n", ""},
        {"bytes from 127 up are characters", "\x7F\xFF\n",
         "Invalid input: \x7F\xFF ( 0x7F 0xFF )\r\n", ""},
        {"a format is text", "%n%s\n", "Invalid input: %n%s ( 0x25 0x6E 0x25 0x73 )\r\n", ""},
        {"no blank", "diag\n", "Invalid input: diag ( 0x64 0x69 0x61 0x67 )\r\n", ""},
        {"case counts", "Log\n", "Invalid input: Log ( 0x4C 0x6F 0x67 )\r\n", ""},
        {"blank before", " log\n", "Invalid input:  log ( 0x20 0x6C 0x6F 0x67 )\r\n", ""},
        {"blank after", "log \n", "Invalid input: log  ( 0x6C 0x6F 0x67 0x20 )\r\n", ""},
        {"carriage return is ignored", "help\r\n", strHelp, ""},
        {"other control bytes are ignored", "\x01l\to\x1Fg\0\n"s, "", std::string(kLogRequest)},
        {"backspace", "\b\blx\b\bllog\b\b\bog\n", "", std::string(kLogRequest)},
        {"199 characters", str199 + "\n", "Invalid input: " + str199 + " ( " + str199Echo + ")\r\n",
         ""},
        {"the 200th is dropped", str199 + "yz\n",
         "Invalid input: " + str199 + " ( " + str199Echo + ")\r\n", ""},
        {"backspace makes room", str199 + "y\bz\n",
         "Invalid input: " + str199.substr(1) + "z ( " + str199Echo.substr(5) + "0x7A )\r\n", ""},
    };
    StartSession();
    for (const SCommandCase& row : aCases)
    {
        SCOPED_TRACE(row.szRule);
        m_pConsole->Type(row.strTyped);
        ExpectOutput(row.strPrinted);
        ASSERT_EQ(ReadFrom(m_iRequests, row.strSent.size()), row.strSent);
    }
    ExpectCleanEnd();
}

TEST_F(Console, QuitEndsIt)
{
    StartSession();
    m_pConsole->Type("quit\nhelp\n");
    EXPECT_EQ(m_pConsole->ReadRestOfOutput(), "");
    EXPECT_EQ(m_pConsole->Wait(), 0);
}

struct SListingCase
{
    const char* szRule;
    std::string strDocument;
    std::string strPrinted; // by the arrival
    std::string strListed;
};

TEST_F(Console, ListsDiagnostics)
{
    const auto document = [](const std::string& strTypes)
    {
        return "<p><zor:CaptureDeviceConfig><zor:DiagnosticTypes>" + strTypes +
               "</zor:DiagnosticTypes></zor:CaptureDeviceConfig></p>";
    };
    std::string strHundred;
    std::string strHundredListed;
    for (int i = 1; i <= 100; ++i)
    {
        strHundred += "<zor:DiagnosticType>n</zor:DiagnosticType>";
        strHundredListed.append(i < 10 ? "0" : "").append(std::to_string(i)).append(": n\r\n");
    }
    const std::string strNoConfig = "No device config parameters.\r\n";
    const std::string strNoTypes = "No diagnostic information found.\r\n";
    const std::string strEmpty = "Diagnostic information list is empty.\r\n";
    const SListingCase aCases[] = {
        {"first document is broken", "<p><q></p>", kInvalid, "No device parameters.\r\n"},
        {"no document", "", kInvalid, "No device parameters.\r\n"},
        {"no configuration", "<p/>", kLoaded, strNoConfig},
        {"the prefix counts", "<p><cfg:CaptureDeviceConfig/></p>", kLoaded, strNoConfig},
        {"no types", "<p><zor:CaptureDeviceConfig/></p>", kLoaded, strNoTypes},
        {"only the first configuration counts",
         "<p><zor:CaptureDeviceConfig/><zor:CaptureDeviceConfig><zor:DiagnosticTypes/>"
         "</zor:CaptureDeviceConfig></p>",
         kLoaded, strNoTypes},
        {"empty list", document("<zor:Other>x</zor:Other>"), kLoaded, strEmpty},
        {"names of every script, also none",
         document("<zor:DiagnosticType>Temp\xC3\xA9rature</zor:DiagnosticType><x>no</x>"
                  "<zor:DiagnosticType/>"
                  "<zor:DiagnosticType>&#x96FB;\xE6\xBA\x90 &lt;\xF0\x9F\x94\x8B&gt; %s"
                  "</zor:DiagnosticType>"),
         kLoaded,
         "01: Temp\xC3\xA9rature\r\n02: \r\n03: \xE9\x9B\xBB\xE6\xBA\x90 <\xF0\x9F\x94\x8B> "
         "%s\r\n"},
        {"a broken document leaves the old one", "<p>", kInvalid,
         "01: Temp\xC3\xA9rature\r\n02: \r\n03: \xE9\x9B\xBB\xE6\xBA\x90 <\xF0\x9F\x94\x8B> "
         "%s\r\n"},
        {"three digits", document(strHundred), kLoaded, strHundredListed},
    };
    StartSession();
    for (const SListingCase& row : aCases)
    {
        SCOPED_TRACE(row.szRule);
        Send(Message('H', 7, row.strDocument));
        ExpectOutput(kReading + row.strPrinted);
        m_pConsole->Type("diag list\n");
        ExpectOutput(row.strListed);
    }
    ExpectCleanEnd();
}

TEST_F(Console, BearsDocumentsThatAreDeepAndMalformed)
{
    std::string strDeep; // as deep as fits into the largest pipe that a user may have
    std::string strEnd;
    for (int i = 0; i < 149000; ++i)
    {
        strDeep += "<a>";
        strEnd += "</a>";
    }
    strDeep += strEnd;
    StartSession();
    Send(Message('H', 0, strDeep));
    ExpectOutput(kReading + ""s + kLoaded);
    strDeep.pop_back();
    Send(Message('H', 0, strDeep));
    ExpectOutput(kReading + ""s + kInvalid);
    Send(Message('H', 0, "<p>\xFF\xC3\x28\x80</p>"));
    ExpectOutput(kReading + ""s + kInvalid);
    ExpectCleanEnd();
}

struct SMessageCase
{
    const char* szRule;
    std::string strBytes;
    std::string strPrinted;
};

TEST_F(Console, HandlesMessagesAndDropsWhatIsNone)
{
    const std::string strHuge = "e\0\0\0\0\0\0\0"s;
    const SMessageCase aCases[] = {
        {"text as it is, whatever the argument", Message('e', 2, "a\r\nb"), "a\r\nb"},
        {"NULs are blanks", Message('e', 0, "\0a\0\0b\0"s), " a  b "},
        {"a format is text", Message('e', 0, "%s%n"), "%s%n"},
        {"bytes that are no UTF-8", Message('e', 0, "\xFF\x80"), "\xFF\x80"},
        {"empty text", Message('e', 1, ""), ""},
        {"rotated", Message('D', 3, "defabc"), "abcdef"},
        {"rotated with NULs", Message('D', 2, "\0d\0c"s), " c d"},
        {"split at 0", Message('D', 0, "abcdef"), "abcdef"},
        {"split at 1", Message('D', 1, "fabcde"), "abcdef"},
        {"last split", Message('D', 4, "cdefab"), "abcdef"},
        {"split at the last byte", Message('D', 5, "abcdef"), "abcdef"},
        {"split at the end", Message('D', 6, "abcdef"), "abcdef"},
        {"highest split", Message('D', 0x7FFFFFFF, "abcdef"), "abcdef"},
        {"negative split", Message('D', 0x80000000, "ab"), "ab"},
        {"minus one", Message('D', 0xFFFFFFFF, "ab"), "ab"},
        {"one byte", Message('D', 1, "a"), "a"},
        {"two bytes", Message('D', 1, "ab"), "ab"},
        {"empty rotated", Message('D', 0, ""), ""},
        {"empty rotated, split at 1", Message('D', 1, ""), ""},
        {"empty rotated, highest split", Message('D', 0x7FFFFFFF, ""), ""},
        {"empty rotated, negative split", Message('D', 0xFFFFFFFF, ""), ""},
        {"unknown type is read whole", Message('E', 0, "unknown"), ""},
        {"type beyond a byte", Word(0x165) + Word(0) + Word(1) + "x", ""},
        {"short header", "e\0\0\0\0\0\0\0\0\0\0"s, ""},
        {"one byte of header", "e", ""},
        {"short payload", strHuge + Word(6) + "short", ""},
        {"longer than a buffer", strHuge + Word(0x00200000) + "abc", ""},
        {"1 GiB", strHuge + Word(0x40000000) + "abc", ""},
        {"the last positive length", strHuge + Word(0x7FFFFFFF) + "abc", ""},
        {"beyond int", strHuge + Word(0x80000000) + "abc", ""},
        {"the highest length", strHuge + Word(0xFFFFFFFF) + std::string(20000, 'x'), ""},
        {"huge document", "H\0\0\0\0\0\0\0"s + Word(0xFFFFFFFF) + "<p/>", ""},
        {"huge circular text", "D\0\0\0\5\0\0\0"s + Word(0xFFFFFFFE) + "abcdefgh", ""},
        {"64 KiB", Message('e', 0, std::string(65536, 'y')), std::string(65536, 'y')},
    };
    StartSession();
    for (const SMessageCase& row : aCases)
    {
        SCOPED_TRACE(row.szRule);
        Send(row.strBytes);
        ExpectOutput(kReading + row.strPrinted);
        Send(kGoodMessage);
        ExpectOutput(kReading + "good"s);
    }
    ExpectCleanEnd();
}

TEST_F(Console, ShowsEachStepOfTheStartAtOnce)
{
    Start();
    ExpectOutput(kOpeningOutput);
    m_iRequests = ::open(g_aszPipePaths[0], O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ExpectOutput(kOpeningInput);
    m_iMessages = ::open(g_aszPipePaths[1], O_WRONLY | O_CLOEXEC);
    ExpectOutput(kRequesting);
    Send("e\0\0\0\0\0\0\0\4\0\0\0"sv); // a payload that does not come
    ExpectOutput(kReading);
}

TEST_F(Console, TellsWhichPipeIsMissing)
{
    ::unlink(g_aszPipePaths[1]);
    m_iRequests = ::open(g_aszPipePaths[0], O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    Start();
    EXPECT_EQ(m_pConsole->ReadRestOfOutput(),
              kOpeningOutput + ""s + kOpeningInput +
                  "Failed to open /tmp/zor_app_out.pipe: 2 (No such file or directory)\r\n");
    EXPECT_EQ(m_pConsole->Wait(), ENOENT);

    ::unlink(g_aszPipePaths[0]);
    Start();
    EXPECT_EQ(m_pConsole->ReadRestOfOutput(),
              kOpeningOutput +
                  "Failed to open /tmp/zor_app_in.pipe: 2 (No such file or directory)\r\n"s);
    EXPECT_EQ(m_pConsole->Wait(), ENOENT);
}

TEST_F(Console, GoesOnAfterTheEndOfItsInput)
{
    StartSession();
    m_pConsole->EndInput();
    std::this_thread::sleep_for(std::chrono::seconds(1));
    Send(kGoodMessage);
    ExpectOutput(kReading + "good"s);
    m_pConsole->Kill(SIGKILL);
    EXPECT_EQ(m_pConsole->ReadRestOfOutput(), "");
    EXPECT_EQ(m_pConsole->Wait(), 128 + SIGKILL);
    EXPECT_LT(m_pConsole->GetProcessorTime(), std::chrono::milliseconds(600));
}

TEST_F(Console, GoesOnAfterTheRecorderLeft)
{
    StartSession();
    CloseRecorder();
    std::this_thread::sleep_for(std::chrono::seconds(1));
    m_pConsole->Type("diag 1\nlog\nhelp\nexit\n"); // requests to nobody
    std::string strOutput = m_pConsole->ReadRestOfOutput();
    EXPECT_EQ(m_pConsole->Wait(), 0);
    EXPECT_LT(m_pConsole->GetProcessorTime(), std::chrono::milliseconds(600));

    EXPECT_NE(strOutput.find("diag <n>\r\n"), std::string::npos);
    int iPasses = 0;
    for (std::size_t u = 0; (u = strOutput.find(kReading, u)) != std::string::npos; ++u)
    {
        ++iPasses;
    }
    // A pass for each character typed, and some 20 in the second before.
    EXPECT_GT(iPasses, 3);
    EXPECT_LT(iPasses, 80);
}

TEST_F(Console, GoesOnAfterBeingStopped)
{
    StartSession();
    m_pConsole->Kill(SIGSTOP);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    m_pConsole->Kill(SIGCONT);
    m_pConsole->Type("ab\n");
    ExpectOutput("Invalid input: ab ( 0x61 0x62 )\r\n");
    ExpectCleanEnd();
}

TEST_F(Console, BearsClosedStandardDescriptors)
{
    for (unsigned int uClosed = 1; uClosed < 8; ++uClosed)
    {
        SCOPED_TRACE(uClosed);
        Start(
            [uClosed]
            {
                for (int i = 0; i < 3; ++i)
                {
                    if ((uClosed >> i & 1) != 0)
                    {
                        ::close(i);
                    }
                }
            });
        ConnectRecorder();
        Send(kGoodMessage);
        if ((uClosed & 1) == 0)
        {
            m_pConsole->Type("ab\nlog\nexit\n");
            EXPECT_EQ(ReadFrom(m_iRequests, 12), kLogRequest);
            EXPECT_EQ(m_pConsole->Wait(), 0);
        }
        if ((uClosed & 2) == 0)
        {
            ExpectOutput(kOpeningOutput + ""s + kOpeningInput + kRequesting + kReading + "good");
        }
        m_pConsole.reset();
        EXPECT_EQ(ReadFrom(m_iRequests, 12), ""); // no output strayed into the pipe
        CloseRecorder();
    }
}

TEST_F(Console, BearsInheritedDescriptorsBeyondTheRangeOfSelect)
{
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = 2048;
    if (limit.rlim_max < limit.rlim_cur)
    {
        GTEST_SKIP() << "this machine does not allow that many descriptors";
    }
    for (const int iInherited : {FD_SETSIZE - 1, FD_SETSIZE, 1500})
    {
        SCOPED_TRACE(iInherited);
        Start(
            [limit, iInherited]
            {
                ::setrlimit(RLIMIT_NOFILE, &limit);
                for (int i = 3; i < 64; ++i)
                {
                    ::close(i); // these would leave gaps
                }
                while (::dup(2) < iInherited - 1)
                {
                }
            });
        ConnectRecorder();
        ExpectOutput(kOpeningOutput + ""s + kOpeningInput + kRequesting);
        Send(kGoodMessage);
        ExpectOutput(kReading + "good"s);
        ExpectCleanEnd();
        CloseRecorder();
    }
}

} // namespace
