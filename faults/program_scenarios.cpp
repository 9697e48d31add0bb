// The project's programs, each in a process that has the plan.

#include <algorithm>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "faults/scenarios.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"
#include "tests/support/pipes.h"
#include "tests/support/temporary_folder.h"

namespace
{

// For what a fault may have prevented, in milliseconds; without one it comes, however slowly.
int WaitAtMost(int iMilliseconds)
{
    return IsFaulty() ? iMilliseconds : 20 * iMilliseconds;
}

// Starts one of the project's programs with the plan, and checks how it ends.
class CProgram : public CChildProcess
{
public:
    explicit CProgram(const std::string& strProgram,
                      const std::vector<std::string>& vecArguments = {})
        : CChildProcess(strProgram, vecArguments, [] { ::setenv("LD_PRELOAD", ZOR_PRELOAD, 1); })
    {
    }

    int End(int iMostExitCode)
    {
        const int iCode = Wait();
        Law(iCode <= iMostExitCode, ("exit code " + std::to_string(iCode)).c_str());
        const SFaultResult result = std::exchange(g_pFaults->m_result, {});
        if (!g_ofProgram)
        {
            g_ofProgram = result;
            s_bEndedWell = iCode == 0;
        }
        else if (s_bEndedWell)
        {
            Law(g_ofProgram->m_lDescriptors <= result.m_lDescriptors, "a descriptor was lost");
            Law(g_ofProgram->m_lBlocks <= result.m_lBlocks, "memory was lost");
        }
        return iCode;
    }

private:
    static inline bool s_bEndedWell = false;
};

bool IsPrintFault()
{
    return IsFaulty() && !LacksMemory();
}

void Console()
{
    CProgram console(ZOR_CONSOLE);
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
    CProgram diag(ZOR_DIAG, {"show", "1", "--timeout", IsFaulty() ? "2" : "20"});
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
    CProgram simulator(ZOR_SIMULATOR, {"--http", "0", "--config", folder.Path("c.xml"), "--root",
                                       folder.Path("root")});
    const std::string strOutput = simulator.ReadOutputUntil("Recorder ready.\n", WaitAtMost(3000));
    const bool bReady = strOutput.find("Recorder ready.\n") != std::string::npos;
    const char* const szSeconds = !IsFaulty() ? "10" : g_pFaults->m_plan.m_bEver ? "0.5" : "1";
    int iAnswered = 0;
    std::string strPage;
    if (bReady)
    {
        for (int i = 0; i < 3 && !strPage.ends_with("</html>\n"); ++i)
        {
            strPage = GetPage(strOutput);
        }
        for (int i = 0; i < 4 || (i == 4 && iAnswered == 0 && !g_pFaults->m_plan.m_bEver); ++i)
        {
            const char* const szCommand = i % 2 == 0 ? "list" : "log";
            CChildProcess diag(ZOR_DIAG, {szCommand, "--timeout", szSeconds, "--wait", szSeconds});
            iAnswered = diag.Wait() == 0 ? iAnswered + 1 : 0;
        }
        Law(iAnswered > 0, "answers after the fault", !g_pFaults->m_plan.m_bEver);
        Law(strPage.ends_with("</html>\n"), "shows a page after the fault",
            !g_pFaults->m_plan.m_bEver);
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

} // namespace

std::span<const SScenario> GetProgramScenarios()
{
    static constexpr SScenario s_aScenarios[] = {{"console", Console, true, true},
                                                 {"zor-diag", Diag, true, true},
                                                 {"simulator", Simulator, true}};
    return s_aScenarios;
}
