// The simulator as a process; the test is its console.

#include <linux/capability.h>

#include "tests/console/recorder.h"
#include "tests/support/child_process.h"

namespace
{

using namespace std::chrono_literals;
using namespace std::string_literals;
using testing::HasSubstr;

const std::string kParametersRequest = Message('G', 0, "");
const std::string kLogRequest = Message('C', 0, "");
const std::string kDiagnosticRequest = Message('d', 7, "");
const std::string kNoDiagnostic = "There is no diagnostic 8; this recorder has 7.\r\n";

// The console's ends of the pipes, opened as it opens them: the recorder is there then.
struct SConsoleEnds
{
    int m_iRequests = ::open(g_aszPipePaths[0], O_WRONLY | O_CLOEXEC);
    int m_iMessages = ::open(g_aszPipePaths[1], O_RDONLY | O_CLOEXEC);

    explicit SConsoleEnds(const std::string& strRequests = "")
    {
        EXPECT_EQ(::write(m_iRequests, strRequests.data(), strRequests.size()),
                  static_cast<ssize_t>(strRequests.size()));
    }
    ~SConsoleEnds()
    {
        ::close(m_iRequests);
        ::close(m_iMessages);
    }
    // The payload, with a circular text's oldest part first.
    std::string ReadReply(EPipeMessage eType) const
    {
        SPipeMessageHeader header{};
        const std::string strHeader = ReadFrom(m_iMessages, sizeof(header));
        std::memcpy(&header, strHeader.data(), strHeader.size());
        EXPECT_EQ(header.m_dwType, eType);
        std::string strPayload = ReadFrom(m_iMessages, header.m_dwLength);
        const std::size_t uSplit = std::min<std::size_t>(header.m_dwArgument, strPayload.size());
        return strPayload.substr(uSplit) + strPayload.substr(0, uSplit);
    }
};

class Simulator : public testing::Test
{
protected:
    Simulator() { RemovePipes(); }
    ~Simulator() override
    {
        m_pSimulator != nullptr ? Stop(SIGTERM) : 0;
        RemovePipes();
    }
    int Stop(int iSignal) { return m_pSimulator->Kill(iSignal), m_pSimulator->Wait(); }

    void Start(const std::vector<std::string>& vecArguments = {},
               const std::function<void()>& beforeExec = {})
    {
        m_pSimulator = std::make_unique<CChildProcess>(ZOR_SIMULATOR, vecArguments, beforeExec);
        ASSERT_EQ(m_pSimulator->ReadOutput(16), "Recorder ready.\n");
    }
    // Of one that is to end by itself: what it complains about.
    static std::string Refusal(const std::vector<std::string>& vecArguments, int iExitCode,
                               const std::function<void()>& beforeExec = {})
    {
        CChildProcess simulator(ZOR_SIMULATOR, vecArguments, beforeExec);
        EXPECT_EQ(simulator.ReadOutput(), "");
        std::string strErrors = simulator.ReadErrors();
        EXPECT_EQ(simulator.Wait(), iExitCode);
        return strErrors;
    }

    std::unique_ptr<CChildProcess> m_pSimulator;
};

TEST_F(Simulator, RefusesBadArguments)
{
    const CTemporaryFolder folder;
    WriteFile(folder.Path("broken.xml"), "<p>");
    const std::pair<std::vector<std::string>, const char*> aCases[] = {
        {{"--params"}, "requires an argument"},
        {{"--params", ""}, "--params needs a file"},
        {{"--params", "/nowhere/p.xml"}, "/nowhere/p.xml: cannot be read: No such file"},
        {{"--params", folder.Path("broken.xml")}, "not well-formed"},
        {{"--config", folder.Path("broken.xml")}, "broken.xml: not well-formed"},
        {{"--config", "/nowhere/c.xml"}, "/nowhere/c.xml: cannot be written: No such file"},
        {{"--reload", "0"}, "--reload needs milliseconds, not '0'"},
        {{"--crash", "softly"}, "unknown crash 'softly'"},
        {{"--faults", "nuls,,silence"}, "unknown fault ''"},
        {{"--http", "localhost:80"}, "--http needs PORT or ADDRESS:PORT"},
    };
    for (const auto& [vecArguments, szComplaint] : aCases)
        EXPECT_THAT(Refusal(vecArguments, 2), HasSubstr(szComplaint));
    EXPECT_THAT(CChildProcess(ZOR_SIMULATOR, {"--help"}).ReadOutput(), HasSubstr("\n  --reload "));
    EXPECT_FALSE(std::filesystem::exists(g_aszPipePaths[0]));
}

TEST_F(Simulator, TakesTheLargestDocumentThatAPipeHolds)
{
    const CTemporaryFolder folder;
    const std::string strPath = folder.Path("large.xml");
    const auto asUser = [] { ::prctl(PR_CAPBSET_DROP, CAP_SYS_RESOURCE, 0, 0, 0); };
    std::size_t uLimit = 0;
    std::ifstream("/proc/sys/fs/pipe-max-size") >> uLimit;
    uLimit -= sizeof(SPipeMessageHeader);

    const std::string strDocument = "<p>" + std::string(uLimit - 7, 'x') + "</p>";
    WriteFile(strPath, "\xEF\xBB\xBF" + strDocument);
    Start({"--params", strPath}, asUser);
    // The second reply waits until the first has left the pipe.
    const SConsoleEnds console(kParametersRequest + kParametersRequest);
    std::this_thread::sleep_for(50ms);
    EXPECT_TRUE(console.ReadReply(PM_PARAMETERS) == strDocument);
    EXPECT_TRUE(console.ReadReply(PM_PARAMETERS) == strDocument);

    WriteFile(strPath, strDocument + "\n");
    EXPECT_THAT(Refusal({"--params", strPath}, 2, asUser),
                HasSubstr("in one piece is " + std::to_string(uLimit)));
}

TEST_F(Simulator, RefusesPathsThatAreTakenButNotThoseOfADeadRecorder)
{
    Start();
    EXPECT_THAT(Refusal({}, 1), HasSubstr("already running"));
    const SConsoleEnds console(kParametersRequest);
    console.ReadReply(PM_PARAMETERS);
    EXPECT_THAT(Refusal({}, 1), HasSubstr("already running"));
    m_pSimulator.reset();
    Start();
    m_pSimulator.reset();

    for (const std::string strPath : g_aszPipePaths)
    {
        RemovePipes();
        WriteFile(strPath, "mine");
        EXPECT_THAT(Refusal({}, 1), HasSubstr(strPath + " is in the way"));
        EXPECT_EQ(ReadFile(strPath), "mine");
    }

    RemovePipes();
    const CTemporaryFolder folder;
    WriteFile(folder.Path("file"), "mine");
    EXPECT_THAT(Refusal({"--root", folder.Path("file")}, 1),
                testing::MatchesRegex("zor-recorder-sim: no log can be written to " +
                                      folder.Path("file") + "/[^:]*: Not a directory\n"));
}

TEST_F(Simulator, RemovesItsPipesWhenItIsStopped)
{
    for (const int iSignal : {SIGINT, SIGTERM, SIGHUP})
    {
        SCOPED_TRACE(iSignal);
        Start({}, [] { ::umask(0777); });
        for (const char* szPath : g_aszPipePaths)
            EXPECT_EQ(std::filesystem::status(szPath).permissions(), std::filesystem::perms(0600));
        const SConsoleEnds console(kLogRequest);
        ReadFrom(console.m_iMessages, 1); // and the rest stays there
        EXPECT_EQ(Stop(iSignal), 0);
        EXPECT_FALSE(std::filesystem::exists(g_aszPipePaths[0]));
        EXPECT_FALSE(std::filesystem::exists(g_aszPipePaths[1]));
    }
}

TEST_F(Simulator, ServesEachConsoleWhateverBecameOfTheLast)
{
    const std::string strStrange = Message('?', 0, "abc") + kDiagnosticRequest + "x";
    const std::string strAll = kParametersRequest + kDiagnosticRequest + kLogRequest;
    Start();
    WriteFile(g_aszPipePaths[0], kLogRequest); // and nobody waits for the answer
    std::this_thread::sleep_for(200ms);
    for (int i = 0; i < 10; ++i)
    {
        // Leaves between its two opens; before it asks; before the reply; inside the reply; having
        // asked what nobody knows, with a payload, and in pieces.
        ::close(::open(g_aszPipePaths[0], O_WRONLY | O_CLOEXEC));
        SConsoleEnds("");
        SConsoleEnds(kLogRequest + kDiagnosticRequest);
        ReadFrom(SConsoleEnds(kParametersRequest + kLogRequest).m_iMessages, 12);
        EXPECT_EQ(SConsoleEnds(strStrange).ReadReply(PM_TEXT), kNoDiagnostic);

        SConsoleEnds console(strAll);
        EXPECT_THAT(console.ReadReply(PM_PARAMETERS), testing::EndsWith("eters>\n"));
        EXPECT_EQ(console.ReadReply(PM_TEXT), kNoDiagnostic);
        EXPECT_THAT(console.ReadReply(PM_CIRCULAR_TEXT),
                    testing::EndsWith(" Console: log requested\r\n"));
        ::close(std::exchange(console.m_iRequests, -1));
        EXPECT_EQ(ReadFrom(console.m_iMessages), "") << "it hangs up";
    }
}

TEST_F(Simulator, KeepsItsConfigurationAndADailyLogBelowItsRoot)
{
    const CTemporaryFolder folder;
    const std::string strFile = folder.Path("c.xml");
    const std::string strRoot = folder.Path("recordings \u00C4");
    WriteFile(strFile, "<zor:RecorderConfiguration xmlns:zor='http://zor.example/documents'>"
                       "<zor:MediaRecorderConfig><zor:BufferSize>1 MB</zor:BufferSize>"
                       "<zor:Encryption zor:Enable='yes' zor:Key='secret'/>"
                       "</zor:MediaRecorderConfig></zor:RecorderConfiguration>");
    std::vector<std::string> vecArguments{"--config", strFile, "--root", strRoot};
    const std::string strRequested = "Console: log requested\r\n";
    for (int i = 0; i < 2; ++i)
    {
        Start(vecArguments);
        const SConsoleEnds console(kLogRequest + kParametersRequest);
        EXPECT_THAT(console.ReadReply(PM_CIRCULAR_TEXT),
                    testing::MatchesRegex("Date .dd/mm/yyyy.: [^\r]*\r\n[0-9:]* Boot: .*"));
        EXPECT_THAT(console.ReadReply(PM_PARAMETERS),
                    testing::AllOf(HasSubstr("<zor:RootDirectory>" + strRoot + "<"),
                                   HasSubstr("<zor:Name>Camera 1<"),
                                   HasSubstr("<zor:LogSeverity>Status<"),
                                   HasSubstr(">1</zor:BufferSize>"), HasSubstr("zor:Key=\"\"")));
        m_pSimulator->Kill(SIGTERM);
        EXPECT_EQ(m_pSimulator->ReadErrors(), "zor-recorder-sim: " + strFile +
                                                  ": zor:MediaRecorderConfig/zor:BufferSize: "
                                                  "'1 MB' is not understood, '1' is used\n");
        EXPECT_EQ(m_pSimulator->Wait(), 0);
        EXPECT_THAT(ReadFile(strFile),
                    testing::AllOf(HasSubstr("zor:Key=\"secret\""), HasSubstr(">1 MB<")));
        std::string strLog;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(strRoot))
            strLog += entry.path().filename().string() + ":" +
                      (entry.is_regular_file() ? ReadFile(entry.path()) : "");
        EXPECT_THAT(strLog,
                    testing::ContainsRegex(":DebugLog_[0-9_]*.txt:\xEF\xBB\xBF[0-9:]* Boot"));
        EXPECT_THAT(strLog, testing::ContainsRegex(i == 0 ? strRequested
                                                          : strRequested + ".*" + strRequested))
            << "it is continued";
        vecArguments.resize(2); // the root is in the configuration now
    }
}

TEST_F(Simulator, TellsOfItsThreadsAndMemoryAndSendsParametersAnew)
{
    Start({"--reload", "30"});
    const SConsoleEnds console(Message('d', 5, "") + Message('d', 6, ""));
    EXPECT_THAT(
        console.ReadReply(PM_TEXT),
        testing::AllOf(HasSubstr("RSim::MakeDiagnostic szName=\"Threads\"\r\n"),
                       HasSubstr("Posix Thread Main szThreadName=\"Replies\" tid="),
                       HasSubstr("RSim::Answer eRequest=0x00000064 dwArgument=0x00000005")));
    EXPECT_THAT(console.ReadReply(PM_TEXT), HasSubstr("  Most resident: "));
    EXPECT_NE(console.ReadReply(PM_PARAMETERS), "");
    EXPECT_NE(console.ReadReply(PM_PARAMETERS), "");
}

TEST_F(Simulator, CrashesOnRequestWithAReport)
{
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "its allocator ends a crashing process in its own way";
#endif
    Start({"--crash", "stack"});
    EXPECT_EQ(ReadFrom(SConsoleEnds(kDiagnosticRequest).m_iMessages), "");
    EXPECT_THAT(
        m_pSimulator->ReadOutput(),
        testing::MatchesRegex("zor-recorder-sim .*Segmentation Violation\r\nStack=.*RSim::.*"));
    EXPECT_EQ(m_pSimulator->Wait(), 3);
}

TEST_F(Simulator, SpoilsTheRepliesToEachConsole)
{
    const std::string strGood = Message('e', 0, kNoDiagnostic);
    std::string strNuls = strGood;
    std::replace(strNuls.begin(), strNuls.end(), ' ', '\0');
    const std::string strSpoiled = strGood.substr(0, 36) + "Z" + strGood.substr(1) +
                                   strGood.substr(0, 8) + Word(0xFFFFFFFF) + kNoDiagnostic +
                                   strNuls;
    Start({"--verbose", "--faults",
           "short-header,malformed-document,truncated-payload,unknown-type,huge-length,nuls,"
           "silence,close"});
    std::string strRequests = kLogRequest + kParametersRequest;
    for (int i = 0; i < 6; ++i)
        strRequests += kDiagnosticRequest;
    for (int i = 0; i < 2; ++i)
    {
        const SConsoleEnds console(strRequests);
        EXPECT_EQ(ReadFrom(console.m_iMessages, 5).substr(0, 4), Word('D'));
        EXPECT_THAT(console.ReadReply(PM_PARAMETERS), testing::Not(HasSubstr("Diagnostic")));
        EXPECT_EQ(ReadFrom(console.m_iMessages), strSpoiled); // to the end
    }
    m_pSimulator->Kill(SIGTERM);
    EXPECT_THAT(
        m_pSimulator->ReadErrors(),
        testing::AllOf(
            HasSubstr("in: diagnostic request, index 7\n"
                      " 64 00 00 00 07 00 00 00 00 00 00 00              d...........\n"),
            HasSubstr("fault: truncated-payload\nout: text, 48 bytes, of which 24 are there\n"
                      " 65 00 00 00 00 00 00 00 30 00 00 00              e.......0...\n"
                      " 54 68 65 72 65 20 69 73 20 6E 6F 20 64 69 61 67  There is no diag\n")));
}

} // namespace
