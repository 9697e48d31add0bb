#include "console/diag_arguments.h"

#include <cstdio>
#include <cstring>
#include <string_view>

#include <getopt.h>

#include "mu/characters.h"
#include "mu/numbers.h"

namespace
{

constexpr char kHelp[] =
    "Usage: zor-diag list|log|parameters [OPTION]...\n"
    "       zor-diag show|watch N|NAME [OPTION]...\n"
    "Asks the recorder application on this device one question and prints the answer.\n"
    "\n"
    "  list            the diagnostics that the device offers, with their numbers\n"
    "  show N|NAME     one of them\n"
    "  watch N|NAME    the same again and again\n"
    "  log             the recorder's log\n"
    "  parameters      the device parameters, an XML document\n"
    "\n"
    "  --timeout S     seconds that an answer may take (5)\n"
    "  --wait S        seconds to wait for a recorder when none is listening (0)\n"
    "  --every S       watch: seconds from one question to the next (1)\n"
    "  --count K       watch: the number of questions (no limit)\n"
    "  --json          one JSON object a line\n"
    "  --raw           the bytes as they came; they may drive a terminal\n"
    "  --help          show this text\n"
    "  --version       show the version\n"
    "\n"
    "Exit codes: 0 answered, 1 no such diagnostic, 2 wrong usage, 3 no recorder or no\n"
    "right to its pipes, 4 no answer in time, 5 an answer that is none, 6 output not\n"
    "written.\n";

enum EOption
{
    OPTION_TIMEOUT = 256,
    OPTION_WAIT,
    OPTION_EVERY,
    OPTION_COUNT,
    OPTION_JSON,
    OPTION_RAW,
    OPTION_HELP,
    OPTION_VERSION,
};

constexpr option kOptions[] = {
    {"timeout", required_argument, nullptr, OPTION_TIMEOUT},
    {"wait", required_argument, nullptr, OPTION_WAIT},
    {"every", required_argument, nullptr, OPTION_EVERY},
    {"count", required_argument, nullptr, OPTION_COUNT},
    {"json", no_argument, nullptr, OPTION_JSON},
    {"raw", no_argument, nullptr, OPTION_RAW},
    {"help", no_argument, nullptr, OPTION_HELP},
    {"version", no_argument, nullptr, OPTION_VERSION},
    {},
};

struct SCommand
{
    const char* m_szName;
    EDiagCommand m_eCommand;
    int m_iArguments; // after the name
};

constexpr SCommand kCommands[] = {
    {"list", EDiagCommand::List, 0},   {"show", EDiagCommand::Show, 1},
    {"log", EDiagCommand::Log, 0},     {"parameters", EDiagCommand::Parameters, 0},
    {"watch", EDiagCommand::Watch, 1},
};

EDiagExit RefuseUsage()
{
    std::fputs("Try 'zor-diag --help'.\n", stderr);
    return DIAG_BAD_USAGE;
}

// Reads decimal digits with or without a fraction, whatever the locale. Fractions of a millisecond
// are rounded up.
bool ParseSeconds(const char* szText, std::chrono::milliseconds& time)
{
    constexpr long long kMostSeconds = 1'000'000;
    long long llMilliseconds = 0;
    long long llUnit = 1000; // of the next digit, in milliseconds; 0 below a millisecond
    bool bDigits = false;
    bool bPoint = false;
    bool bRest = false;
    for (const char* sz = szText; *sz != '\0'; ++sz)
    {
        if (*sz == '.' && !bPoint)
        {
            bPoint = true;
            continue;
        }
        if (!mu::IsDigit(static_cast<wchar_t>(*sz)))
        {
            return false;
        }
        const int iDigit = *sz - '0';
        bDigits = true;
        if (bPoint)
        {
            llUnit /= 10;
            llMilliseconds += llUnit * iDigit;
            bRest = bRest || (llUnit == 0 && iDigit != 0);
        }
        else
        {
            llMilliseconds = llMilliseconds * 10 + llUnit * iDigit;
        }
        if (llMilliseconds > kMostSeconds * 1000)
        {
            return false;
        }
    }
    time = std::chrono::milliseconds(llMilliseconds + (bRest ? 1 : 0));
    return bDigits;
}

bool ParseCount(const char* szText, unsigned int& uCount)
{
    const auto iLength = static_cast<int>(std::strlen(szText));
    uCount = mu::ParseUInt32(szText, iLength);
    return mu::AreDigits(szText, iLength) && uCount > 0;
}

std::optional<EDiagExit> ParseCommand(int argc, char* argv[], SDiagArguments& arguments)
{
    if (optind == argc)
    {
        EndWith(DIAG_BAD_USAGE, "no command");
        return RefuseUsage();
    }
    const std::string_view svName = argv[optind];
    for (const SCommand& command : kCommands)
    {
        if (svName != command.m_szName)
        {
            continue;
        }
        arguments.m_eCommand = command.m_eCommand;
        const int iGiven = argc - optind - 1;
        if (iGiven > command.m_iArguments)
        {
            EndWith(DIAG_BAD_USAGE, "unexpected argument '%s'",
                    argv[optind + 1 + command.m_iArguments]);
            return RefuseUsage();
        }
        if (command.m_iArguments > 0)
        {
            arguments.m_strDiagnostic = iGiven > 0 ? argv[optind + 1] : "";
            if (arguments.m_strDiagnostic.empty())
            {
                EndWith(DIAG_BAD_USAGE, "%s needs a diagnostic's number or name", command.m_szName);
                return RefuseUsage();
            }
        }
        return std::nullopt;
    }
    EndWith(DIAG_BAD_USAGE, "unknown command '%s'", argv[optind]);
    return RefuseUsage();
}

} // namespace

std::optional<EDiagExit> ParseDiagArguments(int argc, char* argv[], SDiagArguments& arguments)
{
    const char* szOfWatch = nullptr; // an option that only watch has
    for (;;)
    {
        bool bGood = true;
        int iIndex = 0;
        const int iOption = getopt_long(argc, argv, "", kOptions, &iIndex);
        switch (iOption)
        {
        case -1:
        {
            const std::optional<EDiagExit> eExit = ParseCommand(argc, argv, arguments);
            if (!eExit && szOfWatch != nullptr && arguments.m_eCommand != EDiagCommand::Watch)
            {
                EndWith(DIAG_BAD_USAGE, "--%s is for watch", szOfWatch);
                return RefuseUsage();
            }
            return eExit;
        }
        case OPTION_TIMEOUT:
            bGood = ParseSeconds(optarg, arguments.m_timeout) && arguments.m_timeout.count() > 0;
            break;
        case OPTION_WAIT:
            bGood = ParseSeconds(optarg, arguments.m_wait);
            break;
        case OPTION_EVERY:
            bGood = ParseSeconds(optarg, arguments.m_every);
            szOfWatch = "every";
            break;
        case OPTION_COUNT:
            bGood = ParseCount(optarg, arguments.m_uCount);
            szOfWatch = "count";
            break;
        case OPTION_JSON:
            arguments.m_bJson = true;
            break;
        case OPTION_RAW:
            arguments.m_bRaw = true;
            break;
        case OPTION_HELP:
            std::fputs(kHelp, stdout);
            return DIAG_ANSWERED;
        case OPTION_VERSION:
            std::fputs("zor-diag " ZOR_VERSION "\n", stdout);
            return DIAG_ANSWERED;
        default: // getopt_long() has told what is wrong
            return RefuseUsage();
        }
        if (!bGood)
        {
            EndWith(DIAG_BAD_USAGE, "--%s cannot be '%s'", kOptions[iIndex].name, optarg);
            return RefuseUsage();
        }
    }
}
