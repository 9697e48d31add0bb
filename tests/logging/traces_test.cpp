// What a report calls the library's functions and their parameters.

#include <dlfcn.h>
#include <pthread.h>

#include "config/media_recorder_configuration.h"
#include "diagnostics/state_report.h"
#include "io/file_access.h"
#include "io/safe_stream_buffer.h"
#include "logging/daily_debug_log.h"
#include "mu/file_system.h"
#include "mu/strings_map.h"
#include "mu/url.h"
#include "tests/support/failing_calls.h"
#include "tests/support/failing_heap.h"
#include "tests/support/line_logger.h"
#include "tests/support/testing.h"
#include "threading/event.h"
#include "threading/scheduler.h"
#include "threading/simple_thread.h"
#include "xml/easy_xml.h"

namespace
{

// Functions with their parameters' names and types, and stages.
constexpr char kTraces[] =
    "MU::CDP szStep:5;create directory path 1;create directory path 2;create directory path 3;"
    "/proc/ide/hda/identify;/proc/ide/hdz/identify;FA::Op wszFileName:7;FA::Op szFileName:5;"
    "FA::Wrt iMessageLength:2;FA::SetPos;FA::GetPos;FA::GetSz;FA::Cp;"
    "FA::Cp wszSource:7 wszTarget:7;FA::DTFE2 wszPath:7;FA::DTFE1;FA::TOS wszPath:7;"
    "FA::GSFC szFileName:5;FA::SSFC szFileName:5 szValue:5;PD::GFSBP wszFilePath:7;"
    "PD::FF wszDirectory:7;PD::FSD wszDirectory:7 iNumEntries:2;PD::GMSSN;"
    "PD::GDSA pwszDirectory:7;PD::RFP wszOriginalName:7 wszNewName:7;PD::DFP pwszFileName:7;"
    "PD::DD pwszDir:7;BSM::FCH;URLPM::FB;EXML::STF;VT::TXML;EXML::GNSPFX;EXMLN::MW;"
    "EXML::LFT szText:5 iTextLength:2;VT::FXML wszXML:5;EXML::LFTW wszText:7;VT::FXML wszXML:7;"
    "MRC::GRFT;SSB::AlcBlk iSize:2;SSB::CWB iCommittedSize:2 iAllocatedSize:2;SSB::ABRIN iSize:2;"
    "SSB::ABGS;SSB::Wt;SSB::PBTR;SSB::GBTR m_bDataIsAvailable:6;SSB::Rd iReadPtr:2 iWritePtr:2;"
    "CST::thMain m_psrReader:1;SSB::WTo pswOutput:1 pBlock:1 iSize:2;DDL::ATV szState:5;"
    "check size;DDL::AT szState:5;DDL::LM;DDL::SL;DDL::HCC;DDL::SNLF bNow:6;"
    "WinEv::Wait dwMilliseconds:2;Sch::thMain szTask:5;"
    "Posix Thread Main szThreadName:5 tid:3 szStage:5;initial;thread main function execution;"
    "release parameters;detach thread;final;ST::STP;ST::WSR;TSM::PASR;alloc;";

// The functions under way, with their parameters' names and types, and their stages, at any
// allocation, file's call or lock of any thread.
std::set<std::string> g_setSeen;
std::atomic<bool> g_bLook = false;
std::mutex g_mutexOfSeen;
thread_local bool g_bLooking = false;

void Look()
{
    if (!g_bLook || g_bLooking)
        return;
    const int iError = errno;
    g_bLooking = true;
    const std::scoped_lock lock(g_mutexOfSeen);
    for (const SFuncStateEntry* p = GetCurrentFuncStateEntry(); p != nullptr; p = p->m_pPrevious)
    {
        std::string strFunction = p->m_szTag;
        for (const SFuncStateParam* q = p->m_pFirstParam; q != nullptr; q = q->m_pNext)
        {
            const std::string_view svName = q->m_szName;
            strFunction.append(" ").append(svName).append(":") += std::to_string(q->m_iType);
            if (svName == "szStage" || svName == "szStep" || svName == "szState" ||
                svName == "szFileName")
                g_setSeen.insert(*static_cast<const char* const*>(q->m_pValue));
        }
        g_setSeen.insert(strFunction);
    }
    g_bLooking = false;
    errno = iError;
}

} // namespace

// In place of the C library's.
#define ZOR_LOOK_IN_CALL(name, TArgument)                                                          \
    extern "C" int name(TArgument argument) noexcept                                               \
    {                                                                                              \
        static const auto s_pReal =                                                                \
            reinterpret_cast<decltype(&::name)>(::dlsym(RTLD_NEXT, #name));                        \
        Look();                                                                                    \
        return s_pReal(argument);                                                                  \
    }
ZOR_LOOK_IN_CALL(pthread_mutex_lock, pthread_mutex_t*)
ZOR_LOOK_IN_CALL(pthread_detach, pthread_t)

namespace
{

void WaitUntilSeen(const char* szTrace)
{
    for (int i = 0; i < 10'000; ++i, ::usleep(1000))
    {
        const std::scoped_lock lock(g_mutexOfSeen);
        if (g_setSeen.contains(szTrace))
            return;
    }
}

class CThread final : public CSimpleThread
{
    int ThreadMain(void*) override
    {
        Look();
        return 0;
    }
};

TEST(Traces, NameFunctionsAndParameters)
{
    const CTemporaryFolder folder;
    const std::wstring wsFile = folder.WidePath(L"file");
    const std::wstring wsOther = folder.WidePath(L"other");
    const wchar_t* const wszFile = wsFile.c_str();
    const std::string strFile = folder.Path("file");
    std::vector<std::wstring> vNames;
    std::wstring wsText, wsFolder;
    std::string strText;
    unsigned long long ull = 0;
    CFileAccess file, source;
    CEasyXML document;
    CEasyXMLNode root = document.AddRoot(L"z:root", L"urn:z");
    root.AppendChild(L"a", L"").SetAttributeValue(L"b", L"", L"c");
    CNamespacesPrefixesMap prefixes;
    CMediaRecorderConfiguration configuration;
    configuration.m_wsRootDirectory = folder.WidePath(L"root");
    CPosixEventObject done;
    CThread thread;
    char szBuffer[1000];
    auto* const pRing = new AutoDeleteThreadObjectImpl<CSafeStreamBuffer>;
    auto* const pTarget = new AutoDeleteThreadObjectImpl<CSafeStreamBuffer>;
    auto& log = *new AutoDeleteThreadObjectImpl<CDailyDebugLog>;
    pRing->AddRef(), pTarget->AddRef(), log.AddRef();
    pRing->SetBufferSize(100), pTarget->SetBufferSize(100);
    mu::CScheduler& scheduler = *new AutoDeleteThreadObjectImpl<mu::CScheduler>;
    scheduler.AddRef();
    const auto Task = [](IScheduler*, void* pDone, int, bool&)
    {
        Look();
        static_cast<CPosixEventObject*>(pDone)->Signal();
    };
    int iBlock = 0;
    CFileAccess::ETextFileEncoding eEncoding{};

    g_pIsAllocationRefused = []
    {
        Look();
        return false;
    };
    g_onCall = [](ECall)
    {
        Look();
        return 0;
    };
    g_bLook = true;
    {
        const CLineLogger logger; // notes what fails in the second step, and in the third
        mu::CreateDirectoriesPath(L"/dev/null/d");
        mu::CreateDirectoriesPath(folder.WidePath(L"d/e"));
        mu::CreateDirectoriesPath(L"/proc/d");
    }
    file.Open(wszFile, CFileAccess::FM_CREATE, false);
    source.Open(strFile.c_str(), CFileAccess::FM_READ, true);
    file.Write("text", 4);
    file.SetPosition(1);
    file.GetPosition();
    file.GetSize();
    file.Copy(&source);
    CFileAccess::Copy(wszFile, wsOther.c_str());
    CFileAccess::DetectTextFileEncoding(wszFile, eEncoding, iBlock);
    CFileAccess::ToString(wszFile, wsText);
    CFileAccess::GetStrFileContent(strFile.c_str(), strText);
    CFileAccess::SetStrFileContent(strFile.c_str(), "<a/>");
    mu::GetFileSizeByPath(wszFile);
    mu::FindFiles(folder.WidePath().c_str(), L"*", vNames);
    mu::FindSubDirectories(folder.WidePath().c_str(), vNames);
    mu::GetMainStorageSerialNumber(strText);
    mu::GetDiskSpaceAvailable(wszFile, ull, ull);
    mu::RenameFilePath(wszFile, L"/no/a");
    mu::DeleteFilePath(wsOther.c_str());
    mu::DeleteDirectory(wsOther.c_str());
    CBasicStringsMap().FromCookieHeader("a=b", 3);
    CURLParamsMap().FromBuffer("a=b", 3);
    document.SaveToFile(wszFile);
    document.GetXML(wsText);
    document.GetNamespacePrefixes(prefixes);
    root.MergeWith(document.Clone().GetRoot());
    document.LoadFromText("<a/>", 4);
    document.LoadFromText(L"<a b='c'/>");
    configuration.GetDirectoryForTime(EFileTransferCategory::Recording, {}, 0, wsText, wsFolder);
    pRing->CommitWrittenBlock(pRing->AllocateBlock(10), 10);
    pRing->CommitWrittenBlock(pRing->AllocateBlockResizeIfNeeded(10), 0);
    pRing->GetLargestAvailableBlockSizeToWrite();
    pRing->Write("0123456789", 10);
    pRing->CommitReadBlock(pRing->PollBlockToRead(iBlock), 1);
    pRing->CommitReadBlock(pRing->GetBlockToRead(iBlock), 1);
    pRing->Read(szBuffer, 4, 4);
    pRing->StartCopyThread(pTarget);
    pTarget->Read(szBuffer, 14, 14);
    pRing->SetEndOfStream();
    pRing->WriteTo(pTarget);
    log.AddTextF("x");
    log.AddText("x", 1, true);
    log.LogMessage(IBaseLogger::Error, document);
    log.SaveLog(false);
    log.HandleConfigurationChange();
    log.SetStorageScheduler(&scheduler);
    log.ScheduleNextLogFlush(true);
    log.SetStorageScheduler(nullptr);
    log.SetBufferSize(4096);
    log.AddText("x", 1, true);
    CWinEvent().Wait(1);
    scheduler.Start("scheduler");
    scheduler.ScheduleTask(0, "task", 0, Task, nullptr, &done, 0);
    done.Wait(mu::kInfinite);
    thread.StartThread("thread", nullptr, nullptr);
    WaitUntilSeen("final");
    thread.SetThreadPriority(0);
    thread.WriteStateReport(szBuffer, sizeof(szBuffer));
    WriteThreadsStateReport(szBuffer, sizeof(szBuffer));
    g_bLook = false;
    g_pIsAllocationRefused = nullptr;
    g_onCall = nullptr;
    std::istringstream traces(kTraces);
    for (std::string strTrace; std::getline(traces, strTrace, ';');)
        EXPECT_THAT(g_setSeen, testing::Contains(strTrace));
    scheduler.Stop();
    scheduler.Release();
    pRing->Release(), pTarget->Release(), log.Release();
}

} // namespace
