#include "console/session.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <thread>

#include <fcntl.h>
#include <sys/select.h>
#include <unistd.h>

#include "console/descriptors.h"
#include "console/diagnostic_list.h"
#include "console/pipe_messages.h"
#include "console/pipe_protocol.h"
#include "mu/numbers.h"

std::uint8_t g_bRunning = 1;
char g_szInputLine[200];
int g_iInputLineIndex = 0;

namespace
{

// A descriptor at its end stays readable, so select() no longer waits. This does, for passes in
// which there was nothing else.
constexpr std::chrono::milliseconds kEndOfFilePause{50};

bool g_bByteTyped = false; // whether the last ReadUserInput() got one

// Whatever may block comes after a flush, so that what was printed is visible also when standard
// output is a pipe or a file.
int OpenPipe(const char* szPath, int iFlags)
{
    std::fflush(stdout);
    return ::open(szPath, iFlags | O_CLOEXEC, 0600);
}

int ReportFailedOpen(const char* szPath, int iError)
{
    std::printf("Failed to open %s: %d (%s)\r\n", szPath, iError, std::strerror(iError));
    return iError;
}

void RunLoop(int iInPipe, int iOutPipe)
{
    while (g_bRunning != 0)
    {
        fd_set setRead;
        FD_ZERO(&setRead);
        FD_SET(STDIN_FILENO, &setRead);
        FD_SET(iInPipe, &setRead);
        fd_set setExcept = setRead;

        std::fflush(stdout);
        const int iResult = ::select(iInPipe + 1, &setRead, nullptr, &setExcept, nullptr);
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
            bOnlyEnds = !g_bByteTyped;
        }
        if (FD_ISSET(iInPipe, &setRead))
        {
            std::puts("Reading ZOR input.\r");
            std::fflush(stdout);
            if (ReadZORInput(iInPipe) > 0)
            {
                bOnlyEnds = false;
            }
        }
        if (bOnlyEnds)
        {
            std::fflush(stdout);
            std::this_thread::sleep_for(kEndOfFilePause);
        }
    }
}

} // namespace

void ReadUserInput(int iOutPipe)
{
    unsigned char c = 0;
    g_bByteTyped = ::read(STDIN_FILENO, &c, 1) > 0;
    if (!g_bByteTyped)
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
    std::signal(SIGPIPE, SIG_IGN); // a send to an application that left fails, no more

    std::puts("Opening output pipe.\r");
    const int iOutPipe = OpenPipe(g_aszPipePaths[0], O_WRONLY);
    if (iOutPipe < 0)
    {
        return ReportFailedOpen(g_aszPipePaths[0], errno);
    }

    std::puts("Opening input pipe.\r");
    const int iOpened = OpenPipe(g_aszPipePaths[1], O_RDONLY);
    if (iOpened < 0)
    {
        const int iError = errno;
        ::close(iOutPipe);
        return ReportFailedOpen(g_aszPipePaths[1], iError);
    }
    const int iInPipe = MoveIntoSelectRange(iOpened, iOutPipe);

    std::puts("Sending request for parameters.\r");
    SendStructuredData(iOutPipe, PM_REQUEST_PARAMETERS, 0, 0, nullptr);

    RunLoop(iInPipe, iOutPipe);

    ::close(iInPipe);
    ::close(iOutPipe);
    return 0;
}
