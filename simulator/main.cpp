#include <csignal>
#include <cstdio>
#include <utility>

#include <sys/signalfd.h>
#include <unistd.h>

#include "console/descriptors.h"
#include "simulator/arguments.h"
#include "simulator/recorder_server.h"

namespace
{

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

    const int iStopDescriptor = OpenStopDescriptor();
    CRecorderPipes pipes;
    strError = pipes.Create();
    if (!strError.empty())
    {
        return Fail(strError, 1);
    }
    std::puts("Recorder ready.");
    std::fflush(stdout);

    CRecorderServer server(pipes, std::move(document), CFaultPlan(std::move(arguments.m_vecFaults)),
                           arguments.m_bVerbose);
    server.ServeUntil(iStopDescriptor);
    return 0;
}
