#include <csignal>
#include <cstdio>
#include <utility>

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

int Fail(const std::string& strError, int iExitCode)
{
    std::fprintf(stderr, "zor-recorder-sim: %s\n", strError.c_str());
    return iExitCode;
}

} // namespace

int main(int argc, char* argv[])
{
    OpenStandardDescriptors();
    SetPosixExceptionProcessExitCode(kExitCrashed);
    SetPosixExceptionHandler("zor-recorder-sim", mu::GetVersionWithBuildID(ZOR_VERSION), nullptr, 0,
                             nullptr);
    std::signal(SIGPIPE, SIG_IGN); // a console that leaves is an error of write()

    SArguments arguments;
    if (const std::optional<int> iExitCode = ParseArguments(argc, argv, arguments))
    {
        return *iExitCode;
    }
    SParametersDocument document;
    std::string strError = LoadParametersDocument(arguments.m_strParamsPath, document);
    if (!strError.empty())
    {
        return Fail(strError, kExitBadArguments);
    }

    SRecorderConfiguration configuration;
    strError = PrepareConfiguration(arguments.m_strConfigPath, arguments.m_strRoot, configuration);
    if (!strError.empty())
    {
        return Fail(strError, kExitBadArguments);
    }
    SetRootExceptionFilesFolder(configuration.m_recorder.m_wsRootDirectory.c_str());

    const int iStopDescriptor = OpenStopDescriptor();
    CRecorderPipes pipes;
    strError = pipes.Create();
    if (!strError.empty())
    {
        return Fail(strError, 1);
    }
    CRecorderLog log(configuration.m_recorder, configuration.m_logging);
    const bool bLogs = log.Start();
    const std::optional<SHttpAddress> httpAddress = arguments.m_http;
    CRecorderServer server(pipes, log, std::move(document), std::move(arguments));
    if (!bLogs || !server.Start())
    {
        return Fail("no thread can be started", 1);
    }
    CWebPages pages(log.GetRecorder(), server.GetDocument(), [&] { return server.GetUptime(); });
    CHttpServer http;
    if (httpAddress)
    {
        strError = http.Start(*httpAddress, [&](IWebServerExtContext* pContext)
                              { return pages.Reply(pContext); });
        if (!strError.empty())
        {
            return Fail(strError, 1);
        }
        std::printf("Live page at %s\n", http.GetAddress().GetURL().c_str());
    }
    std::puts("Recorder ready.");
    std::fflush(stdout);

    server.ServeUntil(iStopDescriptor);
    return 0;
}
