// The library's work, done in this process.

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "faults/scenarios.h"
#include "io/file_access.h"
#include "io/safe_stream_buffer.h"
#include "logging/daily_debug_log.h"
#include "logging/log_recorder.h"
#include "mu/file_system.h"
#include "mu/memory_block.h"
#include "simulator/recorder_configuration.h"
#include "tests/support/files.h"
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

struct SReleaser
{
    void operator()(auto* p) const { p->Release(); }
};
template <class T>
using TOwned = std::unique_ptr<AutoDeleteThreadObjectImpl<T>, SReleaser>;

template <class T>
TOwned<T> Make()
{
    TOwned<T> p(new AutoDeleteThreadObjectImpl<T>);
    p->AddRef();
    return p;
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
    Law(g_pFaults->m_plan.m_bEver ||
            std::distance(fs::directory_iterator(folder.Path("d")), {}) == 1,
        "leaves no other file");
}

class CScheduler
{
public:
    ~CScheduler() { m_pScheduler->Stop(); }

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

    const TOwned<mu::CScheduler> m_pScheduler = Make<mu::CScheduler>();

private:
    const bool m_bStarted = m_pScheduler->Start("faults");
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
    TOwned<CDailyDebugLog> pLog;
    WithFaults(
        [&]
        {
            pScheduler = bScheduled ? std::make_unique<CScheduler>() : nullptr;
            pLog = Make<CDailyDebugLog>();
            pLog->SetBufferSize(8192);
            pLog->SetRecConfig(&configuration);
            pLog->SetStorageScheduler(bScheduled ? pScheduler->m_pScheduler.get() : nullptr);
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
            const auto pRecorder = Make<CLogRecorder>();
            CLogRecorder& recorder = *pRecorder;
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
    const char szPart[700] = "part";
    char szRead[4 * sizeof(szPart)] = "";
    int iWritten = 0;
    int iRead = 0;
    bool bCopies = false;
    WithFaults(
        [&]
        {
            const auto pSource = Make<CSafeStreamBuffer>();
            const auto pTarget = Make<CSafeStreamBuffer>();
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
    Law(std::ranges::count(aDone, true) == 9, "all is done", false);
    Law(!aDone[0] || fs::exists(folder.Path("a")), "folders are made");
    Law(!aDone[1] || File("a/f") == strText, "a stored file is whole");
    Law(!aDone[2] || File("a/g") == File("a/f"), "a copy is whole");
    Law(!aDone[3] || std::string(wsText.begin(), wsText.end()) == File("a/g"), "all is loaded");
    Law(File("a/g").starts_with(strRead), "the beginning is read");
    Law(iBytes <= 0 || File("a/g") == std::string(block.GetData(), block.GetSize()) ||
            (g_pFaults->m_plan.m_iFault == -1 && block.GetSize() == static_cast<unsigned>(iBytes)),
        "all is in the block");
    Law(!aDone[5] || vFiles.size() == static_cast<std::size_t>(fs::exists(folder.Path("a/f")) +
                                                               fs::exists(folder.Path("a/g"))),
        "all files are found");
    Law(!aDone[6] || vFolders.size() == (aDone[0] ? 1U : 0U), "all folders are found");
    Law(!aDone[8] || !(fs::exists(folder.Path("a/i")) || fs::exists(folder.Path("a/b"))),
        "what is deleted is gone");
}

} // namespace

std::span<const SScenario> GetLibraryScenarios()
{
    static constexpr SScenario s_aScenarios[] = {{"documents", Documents},
                                                 {"configuration", Configuration},
                                                 {"log", [] { WriteDailyLog(false); }},
                                                 {"scheduled-log", [] { WriteDailyLog(true); }},
                                                 {"recorder", Recorder},
                                                 {"ring", Ring},
                                                 {"threads", Threads},
                                                 {"files", Files}};
    return s_aScenarios;
}
