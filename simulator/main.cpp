#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <sys/signalfd.h>
#include <unistd.h>

#include "console/descriptors.h"
#include "diagnostics/build_id.h"
#include "diagnostics/crash_handler.h"
#include "simulator/arguments.h"
#include "simulator/http_server.h"
#include "simulator/recorder_configuration.h"
#include "simulator/recorder_log.h"
#include "simulator/recorder_server.h"
#include "simulator/web_pages.h"

namespace
{

constexpr int kExitCannotRun = 1;
constexpr int kExitCrashed = 3;

// The signals that end the program arrive on the descriptor instead.
int OpenStopDescriptor()
{
    sigset_t setStop;
    sigemptyset(&setStop);
    sigaddset(&setStop, SIGINT);
    sigaddset(&setStop, SIGTERM);
    sigaddset(&setStop, SIGHUP);
    sigprocmask(SIG_BLOCK, &setStop, nullptr);
    return ::signalfd(-1, &setStop, SFD_CLOEXEC);
}

void Complain(const std::string& strText)
{
    std::fprintf(stderr, "zor-recorder-sim: %s\n", strText.c_str());
}

int Fail(const std::string& strError, int iExitCode)
{
    Complain(strError);
    return iExitCode;
}

/// Returns what stands in the way, empty on success.
std::string LoadSettings(const SArguments& arguments, CRecorderConfiguration& configuration,
                         SParametersDocument& document)
{
    const bool bConfigured = !arguments.m_strConfigPath.empty();
    const bool bRooted = !arguments.m_strRoot.empty();
    std::vector<std::string> vNotUnderstood;
    std::string strError =
        bConfigured ? configuration.Load(arguments.m_strConfigPath, vNotUnderstood) : "";
    for (const std::string& strLine : vNotUnderstood)
    {
        Complain(arguments.m_strConfigPath + ": " + strLine);
    }
    if (strError.empty() && bRooted)
    {
        strError = configuration.SetRootDirectory(arguments.m_strRoot);
    }
    return !strError.empty()
               ? strError
               : LoadParametersDocument(arguments.m_strParamsPath, document,
                                        bConfigured || bRooted ? &configuration : nullptr);
}

int Serve(CRecorderPipes& pipes, CRecorderLog& log, SParametersDocument document,
          SArguments arguments, int iStopDescriptor)
{
    const std::optional<SHttpAddress> httpAddress = arguments.m_http;
    CRecorderServer server(pipes, log, std::move(document), std::move(arguments));
    if (!server.Start())
    {
        return Fail("no thread can be started", kExitCannotRun);
    }
    std::optional<CWebPages> pages; // must outlive the server, whose thread asks them
    CHttpServer http;
    if (httpAddress)
    {
        pages.emplace(log.GetRecorder(), server.GetDocument(), [&] { return server.GetUptime(); });
        const std::string strError = http.Start(*httpAddress, [&](IWebServerExtContext* pContext)
                                                { return pages->Reply(pContext); });
        if (!strError.empty())
        {
            return Fail(strError, kExitCannotRun);
        }
        std::printf("Live page at %s\n", http.GetAddress().GetURL().c_str());
    }
    std::puts("Recorder ready.");
    std::fflush(stdout);

    server.ServeUntil(iStopDescriptor);
    return 0;
}

int Run(int argc, char* argv[])
{
    SArguments arguments;
    if (const std::optional<int> iExitCode = ParseArguments(argc, argv, arguments))
    {
        return *iExitCode;
    }
    const int iStopDescriptor = OpenStopDescriptor();
    if (iStopDescriptor < 0)
    {
        return Fail(std::string("no signal can be received: ") + std::strerror(errno),
                    kExitCannotRun);
    }
    CRecorderConfiguration configuration;
    SParametersDocument document;
    std::string strError = LoadSettings(arguments, configuration, document);
    if (!strError.empty())
    {
        return Fail(strError, kExitBadArguments);
    }
    SetRootExceptionFilesFolder(configuration.m_recorder.m_wsRootDirectory.c_str());

    CRecorderPipes pipes;
    strError = pipes.Create();
    if (!strError.empty())
    {
        return Fail(strError, kExitCannotRun);
    }
    CRecorderLog log(configuration.m_recorder, configuration.m_logging);
    const CRecorderLog::EPlace ePlace = log.TryPlace(strError);
    if (ePlace == CRecorderLog::EPlace::Never)
    {
        return Fail(strError, kExitCannotRun);
    }
    if (ePlace == CRecorderLog::EPlace::NotNow)
    {
        Complain(strError);
    }
    strError = configuration.Save();
    if (!strError.empty())
    {
        return Fail(strError, kExitBadArguments);
    }
    return log.Start()
               ? Serve(pipes, log, std::move(document), std::move(arguments), iStopDescriptor)
               : Fail("no thread can be started", kExitCannotRun);
}

} // namespace

int main(int argc, char* argv[])
{
    OpenStandardDescriptors();
    SetPosixExceptionProcessExitCode(kExitCrashed);
    SetPosixExceptionHandler("zor-recorder-sim", mu::GetVersionWithBuildID(ZOR_VERSION), nullptr, 0,
                             nullptr);
    std::signal(SIGPIPE, SIG_IGN); // a console that leaves is an error of write()
    std::signal(SIGXFSZ, SIG_IGN); // and so is a file that must not grow
    try
    {
        return Run(argc, argv);
    }
    catch (const std::bad_alloc&)
    {
        return Fail("no memory", kExitCannotRun);
    }
}
