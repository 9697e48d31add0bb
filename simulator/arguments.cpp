#include "simulator/arguments.h"

#include <charconv>
#include <cstdio>
#include <string_view>

#include <getopt.h>

namespace
{

constexpr char kProgram[] = "zor-recorder-sim";

enum EOption
{
    OPTION_PARAMS = 256,
    OPTION_CONFIG,
    OPTION_ROOT,
    OPTION_FAULTS,
    OPTION_HTTP,
    OPTION_RELOAD,
    OPTION_CRASH,
    OPTION_VERBOSE,
    OPTION_HELP,
    OPTION_VERSION,
};

constexpr option kOptions[] = {
    {"params", required_argument, nullptr, OPTION_PARAMS},
    {"config", required_argument, nullptr, OPTION_CONFIG},
    {"root", required_argument, nullptr, OPTION_ROOT},
    {"faults", required_argument, nullptr, OPTION_FAULTS},
    {"http", required_argument, nullptr, OPTION_HTTP},
    {"reload", required_argument, nullptr, OPTION_RELOAD},
    {"crash", required_argument, nullptr, OPTION_CRASH}, // for maintainers; the help is silent
    {"verbose", no_argument, nullptr, OPTION_VERBOSE},
    {"help", no_argument, nullptr, OPTION_HELP},
    {"version", no_argument, nullptr, OPTION_VERSION},
    {},
};

void PrintHelp()
{
    std::printf("Usage: %s [OPTION]...\n"
                "Plays the recorder application for zor-console until it gets SIGINT or SIGTERM.\n"
                "\n"
                "  --params FILE   the device parameters to send, as they are (XML in UTF-8)\n"
                "  --config FILE   keep the configuration in this file (XML in UTF-8)\n"
                "  --root DIR      keep recordings, and the daily log among them, below DIR;\n"
                "                  the configuration remembers it\n"
                "  --faults LIST   spoil one reply after the other, separated by commas:\n",
                kProgram);
    for (const SFaultName& fault : g_aFaultNames)
    {
        std::printf("                    %-20s%s\n", fault.m_szName, fault.m_szEffect);
    }
    std::printf(
        "                  malformed-document spoils the reply to a parameters request, the\n"
        "                  others those to log and diagnostic requests. Each console gets\n"
        "                  the whole list once; further replies are good.\n"
        "  --http [ADDRESS:]PORT\n"
        "                  serve the live page; ADDRESS is numeric, without it only this\n"
        "                  machine can see the page. Port 0: one that is free.\n"
        "  --reload MS     send the parameters anew every MS milliseconds\n"
        "  --verbose       show each frame, in hexadecimal and its meaning, on stderr\n"
        "  --help          show this text\n"
        "  --version       show the version\n");
}

bool ParseFaults(std::string_view svList, std::vector<EFault>& vFaults)
{
    for (;;)
    {
        const std::size_t uEnd = svList.find(',');
        const std::string_view svName = svList.substr(0, uEnd);
        const std::optional<EFault> eFault = FaultByName(svName);
        if (!eFault)
        {
            std::fprintf(stderr, "%s: unknown fault '%.*s'\n", kProgram,
                         static_cast<int>(svName.size()), svName.data());
            return false;
        }
        vFaults.push_back(*eFault);
        if (uEnd == std::string_view::npos)
        {
            return true;
        }
        svList.remove_prefix(uEnd + 1);
    }
}

bool ParsePeriod(std::string_view svText, std::chrono::milliseconds& period)
{
    int iPeriod = 0;
    const auto [pEnd, eError] =
        std::from_chars(svText.data(), svText.data() + svText.size(), iPeriod);
    if (eError != std::errc() || pEnd != svText.data() + svText.size() || iPeriod < 1)
    {
        std::fprintf(stderr, "%s: --reload needs milliseconds, not '%.*s'\n", kProgram,
                     static_cast<int>(svText.size()), svText.data());
        return false;
    }
    period = std::chrono::milliseconds(iPeriod);
    return true;
}

int Complain()
{
    std::fprintf(stderr, "Try '%s --help'.\n", kProgram);
    return kExitBadArguments;
}

} // namespace

std::optional<int> ParseArguments(int argc, char* argv[], SArguments& arguments)
{
    for (;;)
    {
        switch (getopt_long(argc, argv, "", kOptions, nullptr))
        {
        case -1:
            if (optind < argc)
            {
                std::fprintf(stderr, "%s: unexpected argument '%s'\n", kProgram, argv[optind]);
                return Complain();
            }
            return std::nullopt;
        case OPTION_PARAMS:
            arguments.m_strParamsPath = optarg;
            if (arguments.m_strParamsPath.empty())
            {
                std::fprintf(stderr, "%s: --params needs a file\n", kProgram);
                return Complain();
            }
            break;
        case OPTION_CONFIG:
            arguments.m_strConfigPath = optarg;
            break;
        case OPTION_ROOT:
            arguments.m_strRoot = optarg;
            break;
        case OPTION_FAULTS:
            if (!ParseFaults(optarg, arguments.m_vFaults))
            {
                return Complain();
            }
            break;
        case OPTION_HTTP:
            if (!ParseHttpAddress(optarg, arguments.m_http.emplace()))
            {
                std::fprintf(stderr, "%s: --http needs PORT or ADDRESS:PORT, not '%s'\n", kProgram,
                             optarg);
                return Complain();
            }
            break;
        case OPTION_RELOAD:
            if (!ParsePeriod(optarg, arguments.m_reload))
            {
                return Complain();
            }
            break;
        case OPTION_CRASH:
            arguments.m_eCrash = CrashKindByName(optarg);
            if (!arguments.m_eCrash)
            {
                std::fprintf(stderr, "%s: unknown crash '%s'\n", kProgram, optarg);
                return Complain();
            }
            break;
        case OPTION_VERBOSE:
            arguments.m_bVerbose = true;
            break;
        case OPTION_HELP:
            PrintHelp();
            return 0;
        case OPTION_VERSION:
            std::printf("%s %s\n", kProgram, ZOR_VERSION);
            return 0;
        default: // getopt_long() has told what is wrong
            return Complain();
        }
    }
}
