#include "console/session.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <thread>

#include <fcntl.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <unistd.h>

#include "console/descriptors.h"
#include "console/diagnostic_list.h"
#include "console/pipe_messages.h"
#include "console/pipe_protocol.h"
#include "console/pipe_sending.h"
#include "mu/numbers.h"

std::uint8_t g_bRunning = 1;
char g_szInputLine[200];
int g_iInputLineIndex = 0;

namespace
{

// The pause between two passes of the loop when select() returns at once without news, because a
// descriptor at its end stays readable; and between two attempts to open the request pipe.
constexpr std::chrono::milliseconds kPause{50};

bool g_bInputEnded = false; // whether the last ReadUserInput() got nothing

// Makes visible what was printed, also when standard output is a pipe or a file; comes before
// whatever may block. False when the reader of the output is gone. A print that fails otherwise,
// on a full disk, is no reason to leave: commands still work, and there may be room again.
bool FlushOutput()
{
    std::fflush(stdout);
    return std::ferror(stdout) == 0 || !HasLostItsReader(STDOUT_FILENO);
}

// Waits until the application has the pipe open for reading. A blocking open() would wait too, but
// not notice that the operator is gone: then this fails with EPIPE.
int OpenRequestPipe(const char* szPath)
{
    struct stat status = {};
    int iPipe = -1;
    while ((iPipe = ::open(szPath, O_WRONLY | O_NONBLOCK | O_CLOEXEC)) < 0 && errno == ENXIO &&
           ::stat(szPath, &status) == 0 && S_ISFIFO(status.st_mode))
    {
        if (HasLostItsReader(STDOUT_FILENO))
        {
            errno = EPIPE;
            return -1;
        }
        std::this_thread::sleep_for(kPause);
    }
    if (iPipe >= 0)
    {
        ::fcntl(iPipe, F_SETFL, O_WRONLY); // writes block
    }
    return iPipe;
}

int ReportFailedOpen(const char* szPath, int iError)
{
    std::printf("Failed to open %s: %d (%s)\r\n", szPath, iError, std::strerror(iError));
    return iError;
}

// Serves the operator until he leaves. If he leaves without a command, the reader of the output is
// gone. The next print shows that; but once the input has ended no print may come, so then each
// pass looks for the reader itself.
void RunLoop(int iInPipe, int iOutPipe)
{
    while (g_bRunning != 0 && FlushOutput() && !(g_bInputEnded && HasLostItsReader(STDOUT_FILENO)))
    {
        fd_set setRead;
        FD_ZERO(&setRead);
        FD_SET(STDIN_FILENO, &setRead);
        FD_SET(iInPipe, &setRead);
        fd_set setExcept = setRead;

        timeval tvNextLook = {0, 500'000}; // input from a terminal goes on after an end
        const int iResult = ::select(iInPipe + 1, &setRead, nullptr, &setExcept,
                                     g_bInputEnded ? &tvNextLook : nullptr);
        if (iResult < 0)
        {
            std::printf("Select failed with result %d: %d (%s)\r\n", iResult, errno,
                        std::strerror(errno));
            return;
        }

        bool bOnlyEnds = true;
        if (FD_ISSET(STDIN_FILENO, &setRead))
        {
            ReadUserInput(iOutPipe);
            bOnlyEnds = g_bInputEnded;
        }
        if (FD_ISSET(iInPipe, &setRead))
        {
            std::puts("Reading ZOR input.\r");
            if (!FlushOutput())
            {
                return; // the message is for the next console
            }
            if (ReadZORInput(iInPipe) > 0)
            {
                bOnlyEnds = false;
            }
        }
        if (bOnlyEnds)
        {
            std::this_thread::sleep_for(kPause);
        }
    }
}

} // namespace

void ReadUserInput(int iOutPipe)
{
    unsigned char c = 0;
    g_bInputEnded = ::read(STDIN_FILENO, &c, 1) <= 0;
    if (g_bInputEnded)
    {
        return;
    }

    if (c > 31)
    {
        if (g_iInputLineIndex < static_cast<int>(sizeof(g_szInputLine)) - 1)
        {
            g_szInputLine[g_iInputLineIndex] = static_cast<char>(c);
            ++g_iInputLineIndex;
        }
    }
    else if (c == '\n')
    {
        g_szInputLine[g_iInputLineIndex] = '\0';
        ParseInputLine(g_szInputLine, g_iInputLineIndex, iOutPipe);
        g_iInputLineIndex = 0;
    }
    else if (c == '\b' && g_iInputLineIndex > 0)
    {
        --g_iInputLineIndex;
    }
}

void ParseInputLine(const char* szLine, int iLength, int iOutPipe)
{
    constexpr char szDiag[] = "diag ";
    constexpr int iDiagLength = sizeof(szDiag) - 1;

    if (std::strcmp(szLine, "help") == 0)
    {
        std::puts("diag list\r\ndiag <n>\r\nlog\r\nexit\r\nquit\r");
    }
    else if (std::strcmp(szLine, "exit") == 0 || std::strcmp(szLine, "quit") == 0)
    {
        g_bRunning = 0;
    }
    else if (std::strcmp(szLine, "log") == 0)
    {
        SendStructuredData(iOutPipe, PM_REQUEST_LOG, 0, 0, nullptr);
    }
    else if (std::strcmp(szLine, "diag list") == 0)
    {
        ListDiagnosticInformation();
    }
    else if (std::strncmp(szLine, szDiag, iDiagLength) == 0)
    {
        const int iNumber = mu::ParseInt32(szLine + iDiagLength, iLength - iDiagLength);
        if (iNumber >= 1)
        {
            SendStructuredData(iOutPipe, PM_REQUEST_DIAGNOSTIC, 0,
                               static_cast<unsigned long>(iNumber - 1), nullptr);
        }
    }
    else
    {
        std::printf("Invalid input: %s ( ", szLine);
        for (int i = 0; i < iLength; ++i)
        {
            std::printf("0x%02X ", static_cast<unsigned char>(szLine[i]));
        }
        std::puts(")\r");
    }
}

int RunSession()
{
    OpenStandardDescriptors();
    std::signal(SIGPIPE,
                SIG_IGN); // a send to an application that left fails, and the console goes on

    std::puts("Opening output pipe.\r");
    if (!FlushOutput())
    {
        return 0;
    }
    const int iOutPipe = OpenRequestPipe(g_aszPipePaths[0]);
    if (iOutPipe < 0)
    {
        return errno == EPIPE ? 0 : ReportFailedOpen(g_aszPipePaths[0], errno);
    }

    std::puts("Opening input pipe.\r");
    const bool bVisible = FlushOutput();
    int iInPipe = bVisible ? ::open(g_aszPipePaths[1], O_RDONLY | O_CLOEXEC) : -1;
    if (iInPipe >= 0)
    {
        iInPipe = MoveIntoSelectRange(iInPipe, iOutPipe);
    }
    if (iInPipe < 0)
    {
        const int iError = errno;
        ::close(iOutPipe);
        return bVisible ? ReportFailedOpen(g_aszPipePaths[1], iError) : 0;
    }

    std::puts("Sending request for parameters.\r");
    if (FlushOutput())
    {
        SendStructuredData(iOutPipe, PM_REQUEST_PARAMETERS, 0, 0, nullptr);
        RunLoop(iInPipe, iOutPipe);
    }

    ::close(iInPipe);
    ::close(iOutPipe);
    return 0;
}
