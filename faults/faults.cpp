// For each N, the N-th allocation or system call of a piece of work fails, once or with all later
// ones. The work is done in a process of its own, and after the fault again without it. See
// docs/hacking.md; scripts/faults runs this.

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "diagnostics/function_state.h"
#include "faults/fault_plan.h"
#include "io/file_access.h"
#include "io/safe_stream_buffer.h"
#include "logging/daily_debug_log.h"
#include "logging/log_recorder.h"
#include "mu/file_system.h"
#include "mu/memory_block.h"
#include "simulator/recorder_configuration.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"
#include "tests/support/pipes.h"
#include "tests/support/temporary_folder.h"
#include "threading/event.h"
#include "threading/precise_timer.h"
#include "threading/scheduler.h"
#include "threading/simple_thread.h"
#include "threading/timers_set.h"
#include "threading/wait_time.h"
#include "xml/easy_xml.h"

namespace
{

namespace fs = std::filesystem;

constexpr char kMark[] = "\xEF\xBB\xBF";
constexpr std::pair<const char*, int> kFaults[] = {{"memory", ENOMEM}, {"EINTR", EINTR},
                                                   {"EIO", EIO},       {"ENOSPC", ENOSPC},
                                                   {"EMFILE", EMFILE}, {"short", -1}};

SFaultPlan g_plan;                       // of the work under way
std::optional<SFaultResult> g_ofProgram; // of the program that was started for it
int g_iReport = -1;

bool IsFaulty()
{
    return g_plan.m_lFirst != LONG_MAX;
}

// Locks and threads are made of memory, too.
bool LacksMemory()
{
    return g_plan.m_iFault == ENOMEM || g_plan.m_iFault == EMFILE;
}

// What has to hold. bAlways is false where it need not while there is a fault.
void Law(bool bHolds, const char* szLaw, bool bAlways = true)
{
    if (!bHolds && (bAlways || !IsFaulty()))
    {
        ::dprintf(g_iReport, "%s%s; ", szLaw, IsFaulty() ? "" : " (afterwards, without a fault)");
    }
}

// Faults come in this call. Where there is no memory, functions may say so.
void WithFaults(const std::function<void()>& work)
{
    EnableFaults(g_plan.m_iFault != 0);
    try
    {
        work();
    }
    catch (const std::bad_alloc&)
    {
        Law(LacksMemory(), "throws");
    }
    EnableFaults(false);
}

void Documents()
{
    const CTemporaryFolder folder;
    const std::string strOld = "<?xml ?><a b='1'><zor:d xmlns:zor='urn:z'>e&amp;f</zor:d></a>";
    WriteFile(folder.Path("file"), strOld);
    const std::wstring wsPath = folder.WidePath(L"file");
    std::string strNew;
    bool bLoaded = false;
    bool bSaved = false;
    WithFaults(
        [&]
        {
            CEasyXML document;
            bLoaded = document.LoadFromFile(wsPath.c_str()).IsValid();
            CEasyXMLNode root = bLoaded ? document.GetRoot() : document.AddRoot(L"a", L"");
            root.AppendChild(root);
            root.AppendChild(L"zor:new", L"urn:z").SetTextValue(std::string(300, 'x'));
            root.SetAttributeValue(L"b", L"", 0.5);
            root.MergeWith(document.Clone().GetRoot());
            CEasyXML other;
            other.LoadFromText(strOld.data(), static_cast<int>(strOld.size()));
            root.AppendChild(other.GetRoot());
            document.GetXML(strNew);
            strNew.insert(0, kMark);
            bSaved = document.SaveToFile(wsPath.c_str());
        });
    const std::string strFile = ReadFile(folder.Path("file"));
    Law(bLoaded && bSaved, "is loaded and saved", false);
    Law(!bSaved || strFile == strNew, "what is saved is whole");
    Law(strFile == strOld || strNew.starts_with(strFile), "old, or new as far as it came");
}

void Configuration()
{
    const CTemporaryFolder folder;
    const std::string strOld =
        "<zor:RecorderConfiguration xmlns:zor=\"http://zor.example/documents\">"
        "<zor:MediaRecorderConfig/><mine/></zor:RecorderConfiguration>";
    const auto Change = [&](const std::string& strPath)
    {
        CRecorderConfiguration configuration;
        std::vector<std::string> vNotUnderstood;
        std::string strError = configuration.Load(strPath, vNotUnderstood);
        strError += strError.empty() ? configuration.SetRootDirectory("/root") : "";
        return strError.empty() ? configuration.Save() : strError;
    };
    WriteFile(folder.Path("expected"), strOld);
    Change(folder.Path("expected"));
    fs::create_directory(folder.Path("d"));
    WriteFile(folder.Path("d/file"), strOld);
    std::string strError = "no memory";
    WithFaults([&] { strError = Change(folder.Path("d/file")); });

    const std::string strFile = ReadFile(folder.Path("d/file"));
    const bool bNew = strFile == ReadFile(folder.Path("expected")) && strFile != strOld;
    Law(bNew || strFile == strOld, "old or new");
    Law(bNew || !strError.empty(), "tells a failure");
    Law(strError.empty(), "is saved", false);
    Law(g_plan.m_bEver || std::distance(fs::directory_iterator(folder.Path("d")), {}) == 1,
        "leaves no other file");
}

class COwnLog final : public CDailyDebugLog
{
public:
    ~COwnLog() { ReleaseResources(); }
    int AddRef() override { return 1; }
    int Release() override { return 1; }
};

class COwnRecorder final : public CLogRecorder
{
public:
    int AddRef() override { return 1; }
    int Release() override { return 1; }
};

class CScheduler
{
public:
    CScheduler() : m_pScheduler(new AutoDeleteThreadObjectImpl<mu::CScheduler>)
    {
        m_pScheduler->AddRef();
        m_bStarted = m_pScheduler->Start("faults");
    }
    ~CScheduler()
    {
        m_pScheduler->Stop();
        m_pScheduler->Release();
    }
    CScheduler(const CScheduler&) = delete;
    CScheduler& operator=(const CScheduler&) = delete;

    /// Runs what is due. The event is signalled by a task.
    bool RunTasks(CPosixEventObject& done)
    {
        const auto Signal = [](IScheduler*, void* pDone, int, bool&)
        { static_cast<CPosixEventObject*>(pDone)->Signal(); };
        const auto Ignore = [](IScheduler*, void*, int) {};
        done.Reset();
        return m_bStarted &&
               m_pScheduler->ScheduleTask(0, "task", 0, Signal, Ignore, &done, 0) != 0 &&
               done.Wait(mu::kInfinite);
    }

    AutoDeleteThreadObjectImpl<mu::CScheduler>* const m_pScheduler;
    bool m_bStarted = false;
};

void WriteDailyLog(bool bScheduled)
{
    const CTemporaryFolder folder;
    CMediaRecorderConfiguration configuration;
    configuration.m_wsRootDirectory = folder.WidePath(L"root");
    CPosixEventObject done;
    std::string strAccepted = kMark;
    std::string strLine;
    strAccepted.reserve(4096);
    strLine.reserve(64);
    std::unique_ptr<CScheduler> pScheduler;
    std::unique_ptr<COwnLog> pLog;
    WithFaults(
        [&]
        {
            pScheduler = bScheduled ? std::make_unique<CScheduler>() : nullptr;
            pLog = std::make_unique<COwnLog>();
            pLog->SetBufferSize(8192);
            pLog->SetRecConfig(&configuration);
            pLog->SetStorageScheduler(bScheduled ? pScheduler->m_pScheduler : nullptr);
            pLog->ScheduleNextLogFlush(false);
            for (int i = 0; i < 20; ++i)
            {
                if (pLog->AddTextF("line %d", i))
                {
                    strLine = "line ";
                    strAccepted.append(strLine.append(std::to_string(i)).append("\r\n"));
                }
                pLog->CheckSeverity(i % 5 == 4 ? IBaseLogger::Error : IBaseLogger::Status);
                bScheduled&& i % 5 == 4 && pScheduler->RunTasks(done);
            }
        });
    if (pLog == nullptr)
    {
        return;
    }
    Law(strAccepted.ends_with("line 19\r\n"), "accepts lines", !LacksMemory());
    pScheduler.reset();
    pLog->SetStorageScheduler(nullptr);
    pLog->SaveLog(false);
    std::wstring wsRelative;
    std::wstring wsFolder;
    configuration.GetDirectoryForTime(EFileTransferCategory::Recording, {}, 0, wsRelative,
                                      wsFolder);
    std::string strFile;
    for (const auto& entry : fs::recursive_directory_iterator(folder.Path()))
    {
        strFile += entry.is_regular_file() ? ReadFile(entry.path()) : "";
    }
    Law(strFile == strAccepted || strAccepted == kMark, "what the log accepted is in its file");
}

void Recorder()
{
    const CTemporaryFolder folder;
    constexpr int kMessages = 5;
    int iKept = 0;
    bool bSavedXml = false;
    bool bSavedText = false;
    WithFaults(
        [&]
        {
            COwnRecorder recorder;
            recorder.SetLowestLogSeverity(IBaseLogger::Status);
            for (int i = 0; i < kMessages; ++i)
            {
                CEasyXML message;
                CLogRecorder::GetXMLLogMessage("a < b", message);
                i % 2 == 0 ? recorder.LogMessage(IBaseLogger::Status, message)
                           : recorder.LogMessageF(IBaseLogger::Error, "%d", i);
            }
            iKept = recorder.GetNumberOfMessages();
            bSavedXml = recorder.SaveInXMLFile(folder.WidePath(L"x").c_str());
            bSavedText = recorder.SaveInTextFile(folder.WidePath(L"t").c_str(), L"\n");
            unsigned long long ullTime = 0;
            CEasyXML message;
            recorder.GetLogMessage(0, iKept, ullTime, message);
            std::string strTable;
            recorder.AppendHTMLTable(strTable, 1 << 20);
            CMemBlockPtr block;
            recorder.WriteText(block, L"\n");
        });
    const auto Count = [&](const char* szFile, const char* szText)
    {
        const std::string strFile = ReadFile(folder.Path(szFile));
        int iFound = 0;
        for (std::size_t u = 0; (u = strFile.find(szText, u)) != std::string::npos; ++u)
        {
            ++iFound;
        }
        return iFound;
    };
    Law(iKept == kMessages && bSavedXml && bSavedText, "keeps and saves", false);
    Law(!bSavedXml || Count("x", "<zor:Message ") == iKept, "XML of all that is kept");
    Law(!bSavedText || Count("t", "\n") == iKept + (iKept > 0 ? 1 : 0), "text of all that is kept");
}

void Ring()
{
    using CRing = AutoDeleteThreadObjectImpl<CSafeStreamBuffer>;
    const char szPart[700] = "part";
    char szRead[4 * sizeof(szPart)] = "";
    int iWritten = 0;
    int iRead = 0;
    bool bCopies = false;
    WithFaults(
        [&]
        {
            const std::unique_ptr<CRing, void (*)(CRing*)> pSource(new CRing, [](CRing* pRing)
                                                                   { pRing->Release(); });
            pSource->AddRef();
            const std::unique_ptr<CRing, void (*)(CRing*)> pTarget(new CRing, [](CRing* pRing)
                                                                   { pRing->Release(); });
            pTarget->AddRef();
            bCopies = pSource->SetBufferSize(1000) && pTarget->SetBufferSize(300) &&
                      pSource->StartCopyThread(pTarget.get());
            for (int i = 0; bCopies && i < 4; ++i)
            {
                iWritten += std::max(0, pSource->Write(szPart, sizeof(szPart)));
                for (int iPart = 1; iRead < iWritten && iPart > 0; iRead += std::max(0, iPart))
                {
                    iPart = pTarget->Read(szRead + iRead, 300, 1);
                }
            }
            pSource->SetEndOfStream();
            WaitForThreads(1);
        });
    Law(bCopies && iWritten >= 700, "copies", false);
    Law(iRead == iWritten, "what one ring took, the other gives");
}

void Threads()
{
    struct SWorker final : CSimpleThread
    {
        int ThreadMain(void* pDone) override
        {
            CPreciseTimer timer;
            timer.StartTimer();
            static_cast<CPosixEventObject*>(pDone)->Signal();
            return 0;
        }
    };
    CPosixEventObject done;
    int iRuns = 0;
    WithFaults(
        [&]
        {
            mu::InitTimersSet();
            const std::unique_ptr<void, void (*)(void*)> scope(&done, [](void*)
                                                               { mu::DeleteTimersSet(); });
            {
                SWorker worker;
                iRuns += worker.StartThread("faults", &done, nullptr) && done.Wait(mu::kInfinite);
                WaitForThreads(1);
            }
            CScheduler scheduler;
            for (int i = 0; i < 3; ++i)
            {
                iRuns += scheduler.RunTasks(done);
            }
        });
    Law(iRuns == 4, "all run", false);
}

void Files()
{
    const CTemporaryFolder folder;
    const auto Wide = [&](const char* szName)
    { return folder.WidePath(std::wstring(szName, szName + std::strlen(szName))); };
    const std::string strText(1300, 't');
    std::array<bool, 9> aDone{};
    std::wstring wsText;
    std::string strRead;
    std::vector<std::wstring> vFiles;
    std::vector<std::wstring> vFolders;
    CMemBlockPtr block;
    int iBytes = 0;
    WithFaults(
        [&]
        {
            aDone[0] = mu::CreateDirectoriesPath(Wide("a/b"));
            aDone[1] = CFileAccess::SetStrFileContent(folder.Path("a/f").c_str(), strText.c_str());
            aDone[2] = mu::CopyFileByPath(Wide("a/f").c_str(), Wide("a/g").c_str());
            aDone[3] = CFileAccess::ToString(Wide("a/g").c_str(), wsText);
            aDone[4] = CFileAccess::GetStrFileContent(folder.Path("a/g").c_str(), strRead);
            iBytes = CFileAccess::ToBuffer(Wide("a/g").c_str(), block);
            aDone[5] = mu::FindFiles(Wide("a").c_str(), L"?", vFiles);
            aDone[6] = mu::FindSubDirectories(Wide("a").c_str(), vFolders);
            mu::SortFileNamesByFileTime(vFiles, Wide("a"));
            CFileAccess file;
            aDone[7] = file.Open(Wide("a/h").c_str(), CFileAccess::FM_CREATE, false) &&
                       file.WriteBlock(10, 5, "block") && file.Truncate(12) && file.Flush() &&
                       file.GetSize() == 12;
            aDone[8] = mu::RenameFilePath(Wide("a/h").c_str(), Wide("a/i").c_str()) &&
                       mu::DeleteFilePath(Wide("a/i").c_str()) &&
                       mu::DeleteDirectory(Wide("a/b").c_str());
        });
    const auto File = [&](const char* szName) { return ReadFile(folder.Path(szName)); };
    Law(aDone == std::array<bool, 9>{true, true, true, true, true, true, true, true, true},
        "all is done", false);
    Law(!aDone[0] || fs::exists(folder.Path("a")), "folders are made");
    Law(!aDone[1] || File("a/f") == strText, "a stored file is whole");
    Law(!aDone[2] || File("a/g") == File("a/f"), "a copy is whole");
    Law(!aDone[3] || std::string(wsText.begin(), wsText.end()) == File("a/g"), "all is loaded");
    Law(File("a/g").starts_with(strRead), "the beginning is read");
    Law(iBytes <= 0 || File("a/g") == std::string(block.GetData(), block.GetSize()) ||
            (g_plan.m_iFault == -1 && block.GetSize() == static_cast<unsigned>(iBytes)),
        "all is in the block");
    Law(!aDone[5] || vFiles.size() == static_cast<std::size_t>(fs::exists(folder.Path("a/f")) +
                                                               fs::exists(folder.Path("a/g"))),
        "all files are found");
    Law(!aDone[6] || vFolders.size() == (aDone[0] ? 1U : 0U), "all folders are found");
    Law(!aDone[8] || !(fs::exists(folder.Path("a/i")) || fs::exists(folder.Path("a/b"))),
        "what is deleted is gone");
}

// For what a fault may have prevented, in milliseconds; without one it comes, however slowly.
int WaitAtMost(int iMilliseconds)
{
    return IsFaulty() ? iMilliseconds : 20 * iMilliseconds;
}

// Starts one of the project's programs with the plan, and checks how it ends.
class CProgram : public CChildProcess
{
public:
    CProgram(const CTemporaryFolder& folder, const std::string& strProgram,
             const std::vector<std::string>& vecArguments = {})
        : CChildProcess(strProgram, vecArguments,
                        [&]
                        {
                            const std::string strPlan =
                                std::to_string(g_plan.m_iFault) + " " +
                                std::to_string(g_plan.m_lFirst) + " " +
                                std::to_string(static_cast<int>(g_plan.m_bEver)) + " " +
                                folder.Path("result");
                            ::setenv("ZOR_FAULT", strPlan.c_str(), 1);
                            ::setenv("LD_PRELOAD", ZOR_PRELOAD, 1);
                        }),
          m_strResult(folder.Path("result"))
    {
    }

    int End(int iMostExitCode)
    {
        const int iCode = Wait();
        Law(iCode <= iMostExitCode, ("exit code " + std::to_string(iCode)).c_str());
        SFaultResult result;
        result.m_iHappened = 1; // unless it tells otherwise
        std::sscanf(ReadFile(m_strResult).c_str(), "%ld %d %ld %ld", &result.m_lCalls,
                    &result.m_iHappened, &result.m_lBlocks, &result.m_lDescriptors);
        if (!g_ofProgram)
        {
            g_ofProgram = result;
            s_bEndedWell = iCode == 0;
        }
        else if (s_bEndedWell)
        {
            Law(g_ofProgram->m_lDescriptors == result.m_lDescriptors, "a descriptor was lost");
            Law(g_ofProgram->m_lBlocks <= result.m_lBlocks, "memory was lost");
        }
        return iCode;
    }

private:
    static inline bool s_bEndedWell = false;
    const std::string m_strResult;
};

bool IsPrintFault()
{
    return IsFaulty() && !LacksMemory();
}

void Console()
{
    const CTemporaryFolder folder;
    CProgram console(folder, ZOR_CONSOLE);
    std::string strOutput = console.ReadOutputUntil("Parameters Loaded.\r\n", WaitAtMost(500));
    console.Type("diag list\ndiag 1\nlog\nmistake\nhelp\n");
    strOutput += console.ReadOutputUntil("log requested\r\n", WaitAtMost(300));
    for (int i = 0; i < 3; ++i)
    {
        console.Type("exit\n");
        strOutput += console.ReadOutputUntil("\n\n", 100);
    }
    console.EndInput();
    console.CloseOutput();
    const int iCode = console.End(127);
    strOutput += console.ReadErrors();
    Law(iCode == 0 || strOutput.find("Failed to open") != std::string::npos ||
            strOutput.starts_with("No memory") || IsPrintFault(),
        "says why it ends");
    for (const char* const szText :
         {"01: Power", "Input voltage", "log requested", "Invalid input: mistake", "quit"})
    {
        Law(strOutput.find(szText) != std::string::npos, szText, false);
    }
}

void Diag()
{
    const CTemporaryFolder folder;
    CProgram diag(folder, ZOR_DIAG, {"show", "1", "--timeout", IsFaulty() ? "2" : "20"});
    const std::string strOutput = diag.ReadOutput();
    const std::string strErrors = diag.ReadErrors();
    const int iCode = diag.End(6);
    Law(iCode == 0 ? strOutput.find("Input voltage") != std::string::npos
                   : iCode == 6 || strOutput.empty(),
        "an answer, or none");
    Law(iCode == 0 || !strErrors.empty() || IsPrintFault(), "says why it ends");
    Law(iCode == 0, "answers", false);
}

// What a browser gets from the address that the simulator printed.
std::string GetPage(const std::string& strOutput)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const std::size_t uPort = strOutput.find("127.0.0.1:") + 10;
    address.sin_port = htons(static_cast<std::uint16_t>(std::atoi(strOutput.c_str() + uPort)));
    const int iSocket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::string strReply;
    if (::connect(iSocket, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0)
    {
        constexpr char kRequest[] = "GET / HTTP/1.0\r\n\r\n";
        strReply = ::write(iSocket, kRequest, sizeof(kRequest) - 1) > 0
                       ? ReadFrom(iSocket, std::string::npos, {}, WaitAtMost(1000))
                       : "";
    }
    ::close(iSocket);
    return strReply;
}

void Simulator()
{
    const CTemporaryFolder folder;
    const std::string strOld = "<zor:RecorderConfiguration/>";
    WriteFile(folder.Path("c.xml"), strOld);
    CProgram simulator(
        folder, ZOR_SIMULATOR,
        {"--http", "0", "--config", folder.Path("c.xml"), "--root", folder.Path("root")});
    const std::string strOutput = simulator.ReadOutputUntil("Recorder ready.\n", WaitAtMost(3000));
    const bool bReady = strOutput.find("Recorder ready.\n") != std::string::npos;
    const char* const szSeconds = !IsFaulty() ? "10" : g_plan.m_bEver ? "0.5" : "1";
    int iAnswered = 0;
    std::string strPage;
    if (bReady)
    {
        for (int i = 0; i < 3 && !strPage.ends_with("</html>\n"); ++i)
        {
            strPage = GetPage(strOutput);
        }
        for (int i = 0; i < 4 || (i == 4 && iAnswered == 0 && !g_plan.m_bEver); ++i)
        {
            const char* const szCommand = i % 2 == 0 ? "list" : "log";
            CChildProcess diag(ZOR_DIAG, {szCommand, "--timeout", szSeconds, "--wait", szSeconds});
            iAnswered = diag.Wait() == 0 ? iAnswered + 1 : 0;
        }
        Law(iAnswered > 0, "answers after the fault", !g_plan.m_bEver);
        Law(strPage.ends_with("</html>\n"), "shows a page after the fault", !g_plan.m_bEver);
    }
    simulator.Kill(SIGTERM);
    const std::string strErrors = simulator.ReadErrors();
    const int iCode = simulator.End(2);
    Law(iCode == 0 || !strErrors.empty() || IsPrintFault(), "says why it ends");
    Law(iCode == 0 && iAnswered == 4, "serves", false);
    const std::string strFile = ReadFile(folder.Path("c.xml"));
    Law(strFile == strOld || strFile.ends_with("</zor:RecorderConfiguration>"),
        "the configuration is old or new");
    RemovePipes();
}

struct SScenario
{
    const char* m_szName;
    void (*m_run)();
    bool m_bProgram = false;
    bool m_bNeedsRecorder = false;
};
constexpr SScenario kScenarios[] = {
    {"documents", Documents},
    {"configuration", Configuration},
    {"log", [] { WriteDailyLog(false); }},
    {"scheduled-log", [] { WriteDailyLog(true); }},
    {"recorder", Recorder},
    {"ring", Ring},
    {"threads", Threads},
    {"files", Files},
    {"console", Console, true, true},
    {"zor-diag", Diag, true, true},
    {"simulator", Simulator, true},
};

struct SOutcome
{
    SFaultResult m_result;
    std::string m_strFindings;
};

// How a process ended that told no result.
std::string DescribeEnd(pid_t iChild)
{
    int iStatus = 0;
    for (int i = 0; i < 1000 && ::waitpid(iChild, &iStatus, WNOHANG) == 0; ++i)
    {
        ::usleep(1000);
        iStatus = -1;
    }
    if (iStatus != -1)
    {
        return WIFSIGNALED(iStatus) ? ::strsignal(WTERMSIG(iStatus)) : "ends early";
    }
    ::kill(iChild, SIGKILL);
    ::waitpid(iChild, &iStatus, 0);
    return "hangs";
}

// Does the work with the fault and then without, in a process of its own.
SOutcome Run(void (*run)(), const SFaultPlan& plan)
{
    int aiReport[2];
    if (::pipe2(aiReport, O_CLOEXEC) != 0)
    {
        std::abort();
    }
    std::fflush(stdout);
    const pid_t iChild = ::fork();
    if (iChild == 0)
    {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::dup2(::open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
        g_iReport = aiReport[1];
        SetFaultPlan(plan);
        for (const SFaultPlan& ofPass : {plan, SFaultPlan{0}})
        {
            g_plan = ofPass;
            run();
            WaitForThreads(1);
        }
        const SFaultResult end = GetFaultResult();
        const SFaultResult made = g_ofProgram.value_or(end);
        ::dprintf(g_iReport, "\n%ld %d %ld %ld", made.m_lCalls, made.m_iHappened, end.m_lBlocks,
                  end.m_lDescriptors);
        ::_exit(0);
    }
    ::close(aiReport[1]);
    SOutcome outcome{{}, ReadFrom(aiReport[0])};
    ::close(aiReport[0]);
    SFaultResult& result = outcome.m_result;
    const std::size_t uEnd = outcome.m_strFindings.find('\n');
    if (uEnd == std::string::npos)
    {
        outcome.m_strFindings += DescribeEnd(iChild);
        result.m_iHappened = 1;
        return outcome;
    }
    ::waitpid(iChild, nullptr, 0);
    std::sscanf(outcome.m_strFindings.c_str() + uEnd, "%ld %d %ld %ld", &result.m_lCalls,
                &result.m_iHappened, &result.m_lBlocks, &result.m_lDescriptors);
    outcome.m_strFindings.resize(uEnd);
    return outcome;
}

// Prints what was found with one N, with the command that repeats it.
bool Judge(const SScenario& scenario, const char* szFault, const SFaultPlan& plan,
           const SOutcome& clean, SOutcome outcome)
{
    if (outcome.m_strFindings.empty() && !scenario.m_bProgram)
    {
        const long lBlocks = outcome.m_result.m_lBlocks - clean.m_result.m_lBlocks;
        const long lDescriptors = outcome.m_result.m_lDescriptors - clean.m_result.m_lDescriptors;
        outcome.m_strFindings = lBlocks > 0 ? "leaks " + std::to_string(lBlocks) + " blocks" : "";
        outcome.m_strFindings += lDescriptors != 0 ? "loses a descriptor" : "";
    }
    if (!outcome.m_strFindings.empty())
    {
        std::printf("scripts/faults %s %s %s %ld: %s\n", scenario.m_szName, szFault,
                    plan.m_bEver ? "ever" : "once", plan.m_lFirst, outcome.m_strFindings.c_str());
    }
    return outcome.m_strFindings.empty();
}

// Returns the number of findings.
int RunAll(const SScenario& scenario, const std::pair<const char*, int>& fault, long lRuns)
{
    constexpr int kMostFindings = 3;
    const SOutcome clean = Run(scenario.m_run, {fault.second});
    int iFindings = Judge(scenario, fault.first, {fault.second}, clean, clean) ? 0 : 1;
    std::string strRuns;
    for (const bool bEver : {false, true})
    {
        const long lStep = lRuns > 0 ? clean.m_result.m_lCalls / lRuns + 1 : 1;
        long lDone = 0;
        for (SFaultPlan plan{fault.second, 0, bEver}; iFindings < kMostFindings;
             plan.m_lFirst += lStep)
        {
            const SOutcome outcome = Run(scenario.m_run, plan);
            if (outcome.m_result.m_iHappened == 0)
            {
                break;
            }
            ++lDone;
            iFindings += Judge(scenario, fault.first, plan, clean, outcome) ? 0 : 1;
        }
        strRuns += (bEver ? ", ever " : "once ") + std::to_string(lDone);
    }
    std::printf("%-14s %-7s %5ld calls: %s: %s\n", scenario.m_szName, fault.first,
                clean.m_result.m_lCalls, strRuns.c_str(), iFindings == 0 ? "good" : "see above");
    return iFindings;
}

} // namespace

// faults RUNS [SCENARIO...]: of each fault and scenario so many N, evenly, a fifth of it of those
// that start programs; 0 for all. faults SCENARIO FAULT once|ever N: this one.
int main(int argc, char* argv[])
{
    std::signal(SIGPIPE, SIG_IGN);
    const std::vector<std::string> vArguments(argv + 1, argv + argc);
    const bool bOne =
        vArguments.size() == 4 && (vArguments[2] == "once" || vArguments[2] == "ever");
    const auto IsMeant = [&](const char* szName)
    {
        return bOne ? vArguments[0] == szName
                    : vArguments.size() < 2 || std::ranges::count(vArguments, szName) > 0;
    };
    int iFindings = 0;
    int iRows = 0;
    for (const SScenario& scenario : kScenarios)
    {
        if (!IsMeant(scenario.m_szName))
        {
            continue;
        }
        std::unique_ptr<CChildProcess> pRecorder;
        if (scenario.m_bNeedsRecorder)
        {
            RemovePipes();
            pRecorder = std::make_unique<CChildProcess>(ZOR_SIMULATOR);
            pRecorder->ReadOutputUntil("Recorder ready.\n", 30000);
        }
        const auto tpStart = std::chrono::steady_clock::now();
        for (const auto& fault : kFaults)
        {
            if (!bOne)
            {
                iFindings +=
                    RunAll(scenario, fault, std::atol(argv[1]) / (scenario.m_bProgram ? 5 : 1));
                ++iRows;
            }
            else if (vArguments[1] == fault.first)
            {
                const SFaultPlan plan{fault.second, std::atol(argv[4]), vArguments[2] == "ever"};
                iFindings += Judge(scenario, fault.first, plan, Run(scenario.m_run, {fault.second}),
                                   Run(scenario.m_run, plan))
                                 ? 0
                                 : 1;
                ++iRows;
            }
        }
        std::printf("%-14s %lld s\n", scenario.m_szName,
                    static_cast<long long>(std::chrono::duration_cast<std::chrono::seconds>(
                                               std::chrono::steady_clock::now() - tpStart)
                                               .count()));
    }
    return iFindings == 0 && iRows > 0 ? 0 : 1;
}
