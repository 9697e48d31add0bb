#include "console/diag_program.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "console/descriptors.h"
#include "console/diag_arguments.h"
#include "console/diagnostic_names.h"
#include "console/recorder_connection.h"
#include "console/shown_text.h"
#include "mu/characters.h"
#include "mu/numbers.h"
#include "mu/text.h"
#include "xml/easy_xml.h"

namespace
{

struct SAnswer
{
    std::string m_strText; // the payload
    std::vector<std::string> m_vNames;
    EDiagnosticNames m_eNames = EDiagnosticNames::NoParameters;
    std::size_t m_uIndex = 0; // of the diagnostic, in the names
};

EDiagExit AskForParameters(CRecorderConnection& connection, const CDeadline& deadline,
                           SAnswer& answer)
{
    const EDiagExit eExit =
        connection.Ask(PM_REQUEST_PARAMETERS, 0, PM_PARAMETERS, answer.m_strText, deadline);
    if (eExit != DIAG_ANSWERED)
    {
        return eExit;
    }
    CEasyXML exmlParams;
    if (!exmlParams.LoadFromText(answer.m_strText.data(), static_cast<int>(answer.m_strText.size()))
             .IsValid())
    {
        return EndWith(DIAG_BAD_ANSWER, "the recorder sent malformed device parameters: %s",
                       mu::DescribeXMLError(exmlParams.GetLoadError(), answer.m_strText).c_str());
    }
    answer.m_eNames = ReadDiagnosticNames(exmlParams, answer.m_vNames);
    for (std::string& strName : answer.m_vNames)
    {
        strName.resize(std::strlen(strName.c_str())); // it ends at a NUL, as in the console's list
        mu::TrimSideWhiteSpaces(strName);
    }
    return DIAG_ANSWERED;
}

// Puts the numbers, from 1, of the names that match into a text: "3, 5". Returns how many do.
template <typename TMatches>
int FindNames(SAnswer& answer, std::string& strNumbers, TMatches Matches)
{
    int iFound = 0;
    for (std::size_t i = 0; i < answer.m_vNames.size(); ++i)
    {
        if (Matches(answer.m_vNames[i].c_str()))
        {
            answer.m_uIndex = i;
            strNumbers += (iFound > 0 ? ", " : "") + std::to_string(i + 1);
            ++iFound;
        }
    }
    return iFound;
}

// Digits are a number, whatever the names are. A name is looked for as it is, and if there is none,
// in any case.
EDiagExit FindDiagnostic(const std::string& strWanted, SAnswer& answer)
{
    const char* const szWanted = strWanted.c_str();
    const auto iLength = static_cast<int>(strWanted.size());
    if (mu::AreDigits(szWanted, iLength))
    {
        const std::size_t uNumber = mu::ParseUInt32(szWanted, iLength);
        answer.m_uIndex = uNumber - 1;
        return uNumber >= 1 && uNumber <= answer.m_vNames.size()
                   ? DIAG_ANSWERED
                   : EndWith(DIAG_NO_SUCH_DIAGNOSTIC, "no diagnostic %s; the recorder has %zu",
                             szWanted, answer.m_vNames.size());
    }

    std::string strNumbers;
    int iFound =
        FindNames(answer, strNumbers, [&](const char* szName) { return strWanted == szName; });
    if (iFound == 0)
    {
        iFound = FindNames(answer, strNumbers,
                           [&](const char* szName)
                           { return mu::CompareIgnoreCase(szWanted, szName) == 0; });
    }
    if (iFound == 0)
    {
        return EndWith(DIAG_NO_SUCH_DIAGNOSTIC, "no diagnostic '%s'; the recorder has %zu others",
                       szWanted, answer.m_vNames.size());
    }
    return iFound == 1 ? DIAG_ANSWERED
                       : EndWith(DIAG_NO_SUCH_DIAGNOSTIC,
                                 "'%s' is the name of several diagnostics; ask for one of %s",
                                 szWanted, strNumbers.c_str());
}

// The connection does not outlast the dialogue: others need not wait until the output is written.
EDiagExit Ask(const SDiagArguments& arguments, SAnswer& answer)
{
    CDeadline deadline(arguments.m_timeout);
    CRecorderConnection connection;
    EDiagExit eExit = connection.Open(deadline, arguments.m_wait);
    if (eExit != DIAG_ANSWERED)
    {
        return eExit;
    }
    if (arguments.m_eCommand == EDiagCommand::Log)
    {
        return connection.Ask(PM_REQUEST_LOG, 0, PM_CIRCULAR_TEXT, answer.m_strText, deadline);
    }
    eExit = AskForParameters(connection, deadline, answer);
    if (eExit != DIAG_ANSWERED || arguments.m_strDiagnostic.empty())
    {
        return eExit;
    }
    eExit = FindDiagnostic(arguments.m_strDiagnostic, answer);
    return eExit != DIAG_ANSWERED
               ? eExit
               : connection.Ask(PM_REQUEST_DIAGNOSTIC, static_cast<std::uint32_t>(answer.m_uIndex),
                                PM_TEXT, answer.m_strText, deadline);
}

void PrintName(std::size_t uIndex, const SAnswer& answer)
{
    std::printf("\"number\":%zu,\"name\":", uIndex + 1);
    PrintJsonString(answer.m_vNames[uIndex]);
}

void PrintList(const SDiagArguments& arguments, const SAnswer& answer)
{
    if (answer.m_eNames != EDiagnosticNames::Read)
    {
        EndWith(DIAG_ANSWERED, "%s", ReasonForNoNames(answer.m_eNames));
    }
    for (std::size_t i = 0; i < answer.m_vNames.size(); ++i)
    {
        if (arguments.m_bJson)
        {
            std::fputs("{", stdout);
            PrintName(i, answer);
            std::fputs("}\n", stdout);
            continue;
        }
        std::printf("%02zu: ", i + 1);
        if (arguments.m_bRaw)
        {
            std::fputs(answer.m_vNames[i].c_str(), stdout);
        }
        else
        {
            PrintShownText(answer.m_vNames[i], true);
        }
        std::fputs("\n", stdout);
    }
}

void PrintJson(const SAnswer& answer, bool bNamed)
{
    timespec now{};
    tm utc{};
    char szTime[40];
    ::clock_gettime(CLOCK_REALTIME, &now);
    ::gmtime_r(&now.tv_sec, &utc);
    std::strftime(szTime, sizeof(szTime), "%Y-%m-%dT%H:%M:%S", &utc);
    std::printf("{\"time\":\"%s.%03ldZ\",", szTime, now.tv_nsec / 1000000);
    if (bNamed)
    {
        PrintName(answer.m_uIndex, answer);
        std::fputs(",", stdout);
    }
    std::fputs("\"text\":", stdout);
    PrintJsonString(answer.m_strText);
    std::fputs("}\n", stdout);
}

void PrintText(const SDiagArguments& arguments, SAnswer& answer)
{
    if (!arguments.m_bRaw)
    {
        MakePlainText(answer.m_strText);
    }
    if (arguments.m_bJson)
    {
        PrintJson(answer, !arguments.m_strDiagnostic.empty());
    }
    else if (arguments.m_bRaw)
    {
        std::fwrite(answer.m_strText.data(), 1, answer.m_strText.size(), stdout);
    }
    else
    {
        PrintShownText(answer.m_strText, false);
        // The next answer begins a line, also after one that does not end its last.
        if (arguments.m_eCommand == EDiagCommand::Watch && !answer.m_strText.ends_with('\n'))
        {
            std::fputs("\n", stdout);
        }
    }
}

// iResult is that of fflush() or fclose(): some file systems report a lack of room only then.
EDiagExit CheckOutput(int iResult, EDiagExit eExit)
{
    return iResult == 0 || eExit != DIAG_ANSWERED
               ? eExit
               : EndWith(DIAG_NOT_WRITTEN, "standard output: %s", std::strerror(errno));
}

EDiagExit AskOnce(const SDiagArguments& arguments)
{
    SAnswer answer;
    const EDiagExit eExit = Ask(arguments, answer);
    if (eExit != DIAG_ANSWERED)
    {
        return eExit;
    }
    if (arguments.m_eCommand == EDiagCommand::List)
    {
        PrintList(arguments, answer);
    }
    else
    {
        PrintText(arguments, answer);
    }
    const int iFlushed = std::fflush(stdout);
    return CheckOutput(std::ferror(stdout) != 0 ? -1 : iFlushed, DIAG_ANSWERED);
}

EDiagExit Watch(const SDiagArguments& arguments)
{
    auto tpNext = std::chrono::steady_clock::now();
    for (unsigned int uAsked = 1;; ++uAsked)
    {
        const EDiagExit eExit = AskOnce(arguments);
        if (eExit != DIAG_ANSWERED || uAsked == arguments.m_uCount)
        {
            return eExit;
        }
        tpNext = std::max(tpNext + arguments.m_every, std::chrono::steady_clock::now());
        std::this_thread::sleep_until(tpNext);
    }
}

} // namespace

int RunDiag(int argc, char* argv[])
{
    const bool bOutput = ::fcntl(STDOUT_FILENO, F_GETFD) >= 0;
    OpenStandardDescriptors();
    if (!bOutput)
    {
        return EndWith(DIAG_NOT_WRITTEN, "standard output is closed");
    }
    std::signal(SIGPIPE, SIG_IGN); // a reader of the output that left is an error of the write

    try
    {
        SDiagArguments arguments;
        const std::optional<EDiagExit> eEnd = ParseDiagArguments(argc, argv, arguments);
        const EDiagExit eExit = eEnd                                          ? *eEnd
                                : arguments.m_eCommand == EDiagCommand::Watch ? Watch(arguments)
                                                                              : AskOnce(arguments);
        return CheckOutput(std::fclose(stdout), eExit);
    }
    catch (const std::bad_alloc&)
    {
        return EndWith(DIAG_BAD_ANSWER, "not enough memory for the answer");
    }
}
