#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fuzzer/FuzzedDataProvider.h>

#include "console/diag_arguments.h"
#include "console/diag_program.h"
#include "console/diagnostic_names.h"
#include "console/pipe_protocol.h"
#include "fuzz/support/law.h"
#include "fuzz/support/memory_file.h"
#include "fuzz/support/plain_utf8.h"
#include "xml/easy_xml.h"

// zor-diag with a recorder that the input plays: its answers arrive in any pieces, and what is
// printed is one JSON object a line that says what the answer says, or text that drives no
// terminal.

namespace
{

SDiagArguments g_arguments;
std::vector<std::string> g_vReplies;
std::size_t g_uAsked = 0;
std::size_t g_uLongestRead = 0;
int g_aRequests[2] = {-1, -1};
int g_aMessages[2] = {-1, -1};

bool Is(const char* szPath, int iPipe)
{
    return std::string_view(szPath) == g_aszPipePaths[iPipe];
}

bool IsSameFile(int iFirst, int iSecond)
{
    struct stat first = {};
    struct stat second = {};
    return ::fstat(iFirst, &first) == 0 && ::fstat(iSecond, &second) == 0 &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

} // namespace

// The command line and the complaints of zor-diag, and its system calls, in whose place the linker
// puts these.

std::optional<EDiagExit> ParseDiagArguments(int, char**, SDiagArguments& arguments)
{
    arguments = g_arguments;
    return std::nullopt;
}

EDiagExit EndWith(EDiagExit eExit, const char*, ...)
{
    return eExit;
}

int RealOpen(const char* szPath, int iFlags, ...) __asm__("__real_open64");
int RealStatus(const char* szPath, struct stat* pStatus) __asm__("__real_lstat64");
int RealClose(FILE* pFile) __asm__("__real_fclose");
ssize_t RealRead(int iDescriptor, void* pBuffer, std::size_t uSize) __asm__("__real_read");
ssize_t RealWrite(int iDescriptor, const void* pData, std::size_t uSize) __asm__("__real_write");
int Open(const char* szPath, int iFlags, unsigned int uMode) __asm__("__wrap_open64");
int Status(const char* szPath, struct stat* pStatus) __asm__("__wrap_lstat64");
int Close(FILE* pFile) __asm__("__wrap_fclose");
ssize_t Read(int iDescriptor, void* pBuffer, std::size_t uSize) __asm__("__wrap_read");
ssize_t Write(int iDescriptor, const void* pData, std::size_t uSize) __asm__("__wrap_write");

int Open(const char* szPath, int iFlags, unsigned int uMode)
{
    return Is(szPath, 0)   ? ::dup(g_aRequests[1])
           : Is(szPath, 1) ? ::dup(g_aMessages[0])
                           : RealOpen(szPath, iFlags, uMode);
}

int Status(const char* szPath, struct stat* pStatus)
{
    return Is(szPath, 0) ? ::fstat(g_aRequests[1], pStatus) : RealStatus(szPath, pStatus);
}

int Close(FILE* pFile)
{
    return pFile == stdout ? std::fflush(pFile) : RealClose(pFile);
}

ssize_t Read(int iDescriptor, void* pBuffer, std::size_t uSize)
{
    const bool bMessages = IsSameFile(iDescriptor, g_aMessages[0]);
    return RealRead(iDescriptor, pBuffer, bMessages ? std::min(uSize, g_uLongestRead) : uSize);
}

// A request is answered before it is sent.
ssize_t Write(int iDescriptor, const void* pData, std::size_t uSize)
{
    if (g_uAsked < g_vReplies.size() && IsSameFile(iDescriptor, g_aRequests[1]))
    {
        const std::string& strReply = g_vReplies[g_uAsked];
        ++g_uAsked;
        Law(RealWrite(g_aMessages[1], strReply.data(), strReply.size()) ==
                static_cast<ssize_t>(strReply.size()),
            "the pipe takes what it is given");
    }
    return IsSameFile(iDescriptor, g_aRequests[1]) ? static_cast<ssize_t>(uSize)
                                                   : RealWrite(iDescriptor, pData, uSize);
}

namespace
{

/// The well-formed character (RFC 3629) at the beginning, empty without one.
std::string_view TakeCharacter(std::string_view svText)
{
    for (std::size_t u = 1; u <= std::min<std::size_t>(svText.size(), 4); ++u)
    {
        const std::string_view svPiece = svText.substr(0, u);
        const std::wstring wsPiece = PlainDecode(svPiece).m_wsText;
        const bool bSurrogate = wsPiece.size() == 1 && wsPiece[0] >= 0xD800 && wsPiece[0] < 0xE000;
        if (svPiece == "\xF4\x8F\xBF\xBF" || // which the library's conversion drops
            (wsPiece.size() == 1 && !bSurrogate && PlainEncode(wsPiece) == svPiece))
        {
            return svPiece;
        }
    }
    return {};
}

std::string PlainText(std::string strText)
{
    std::replace(strText.begin(), strText.end(), '\0', ' ');
    for (std::size_t u = 0; (u = strText.find("\r\n", u)) != std::string::npos;)
    {
        strText.erase(u, 1);
    }
    return strText;
}

/// Each byte that is no UTF-8 as U+FFFD.
std::string Characters(std::string_view svText)
{
    std::string strOut;
    while (!svText.empty())
    {
        const std::string_view svCharacter = TakeCharacter(svText);
        strOut += svCharacter.empty() ? "\xEF\xBF\xBD" : svCharacter;
        svText.remove_prefix(std::max<std::size_t>(svCharacter.size(), 1));
    }
    return strOut;
}

void CheckShown(std::string_view svOutput)
{
    while (!svOutput.empty())
    {
        const std::string_view svCharacter = TakeCharacter(svOutput);
        Law(!svCharacter.empty(), "what is printed is UTF-8");
        const auto u = static_cast<std::uint32_t>(PlainDecode(svCharacter).m_wsText[0]);
        Law(u == '\n' || u == '\t' || (u >= ' ' && (u < 0x7F || u >= 0xA0)),
            "and drives no terminal");
        svOutput.remove_prefix(svCharacter.size());
    }
}

void Expect(std::string_view& svText, std::string_view svToken)
{
    Law(svText.starts_with(svToken), "JSON as it should be");
    svText.remove_prefix(svToken.size());
}

std::string TakeString(std::string_view& svText)
{
    std::string strOut;
    Expect(svText, "\"");
    while (!svText.starts_with('"'))
    {
        const bool bEscape = svText.starts_with('\\');
        svText.remove_prefix(bEscape ? 1 : 0);
        const std::string_view svCharacter = TakeCharacter(svText);
        Law(!svCharacter.empty() && static_cast<unsigned char>(svCharacter[0]) >= ' ',
            "JSON holds characters and no controls");
        svText.remove_prefix(svCharacter.size());
        if (bEscape && svCharacter == "u")
        {
            const std::string strDigits(svText.substr(0, 4));
            strOut += PlainEncode(std::u32string(
                1, static_cast<char32_t>(std::strtoul(strDigits.c_str(), nullptr, 16))));
            svText.remove_prefix(4);
        }
        else
        {
            Law(!bEscape || svCharacter == "n" || svCharacter == "\"" || svCharacter == "\\",
                "an escape");
            strOut += bEscape && svCharacter == "n" ? "\n" : svCharacter;
        }
    }
    Expect(svText, "\"");
    return strOut;
}

/// The recorder's answers, read by the plainest rules.
class CPlainClient
{
public:
    std::string m_strText;
    std::vector<std::string> m_vNames;

    int Run()
    {
        if (g_arguments.m_eCommand == EDiagCommand::Log)
        {
            return Ask(PM_CIRCULAR_TEXT);
        }
        const int iExit = Ask(PM_PARAMETERS);
        CEasyXML exml;
        if (iExit == DIAG_ANSWERED &&
            !exml.LoadFromText(m_strText.data(), static_cast<int>(m_strText.size())).IsValid())
        {
            return DIAG_BAD_ANSWER;
        }
        ReadDiagnosticNames(exml, m_vNames);
        if (iExit != DIAG_ANSWERED || g_arguments.m_eCommand != EDiagCommand::Show)
        {
            return iExit;
        }
        const auto uNumber = static_cast<std::size_t>(std::stoi(g_arguments.m_strDiagnostic));
        return uNumber < 1 || uNumber > m_vNames.size() ? DIAG_NO_SUCH_DIAGNOSTIC : Ask(PM_TEXT);
    }

private:
    int Ask(std::uint32_t dwWanted)
    {
        m_strStream += m_uReply < g_vReplies.size() ? g_vReplies[m_uReply++] : "";
        for (;;)
        {
            SPipeMessageHeader header{};
            if (m_strStream.size() < sizeof(header))
            {
                return DIAG_NO_ANSWER;
            }
            std::memcpy(&header, m_strStream.data(), sizeof(header));
            if (header.m_dwLength > 64 << 20)
            {
                return DIAG_BAD_ANSWER;
            }
            if (m_strStream.size() < sizeof(header) + header.m_dwLength)
            {
                return DIAG_NO_ANSWER;
            }
            m_strText = m_strStream.substr(sizeof(header), header.m_dwLength);
            m_strStream.erase(0, sizeof(header) + header.m_dwLength);
            if (header.m_dwType != dwWanted)
            {
                continue;
            }
            if (dwWanted == PM_CIRCULAR_TEXT)
            {
                const auto uSize = static_cast<std::uint32_t>(m_strText.size());
                const bool bRotated = uSize > 0 && header.m_dwArgument < uSize - 1;
                std::rotate(m_strText.begin(),
                            m_strText.begin() + (bRotated ? header.m_dwArgument : 0),
                            m_strText.end());
                return uSize > 0 ? DIAG_ANSWERED : DIAG_BAD_ANSWER;
            }
            return DIAG_ANSWERED;
        }
    }

    std::string m_strStream;
    std::size_t m_uReply = 0;
};

void CheckJson(std::string_view svOutput, const CPlainClient& plain)
{
    std::size_t uNames = 0;
    for (int i = 0; g_arguments.m_eCommand == EDiagCommand::List && !svOutput.empty(); ++i)
    {
        ++uNames;
        Expect(svOutput, "{\"number\":" + std::to_string(uNames) + ",\"name\":");
        TakeString(svOutput);
        Expect(svOutput, "}\n");
    }
    if (g_arguments.m_eCommand == EDiagCommand::List)
    {
        Law(uNames == plain.m_vNames.size(), "each diagnostic is listed");
        return;
    }
    Expect(svOutput, "{\"time\":");
    Law(TakeString(svOutput).size() == 24, "a time");
    Expect(svOutput, ",");
    if (g_arguments.m_eCommand == EDiagCommand::Show)
    {
        Expect(svOutput, "\"number\":" + g_arguments.m_strDiagnostic + ",\"name\":");
        TakeString(svOutput);
        Expect(svOutput, ",");
    }
    Expect(svOutput, "\"text\":");
    Law(TakeString(svOutput) == Characters(PlainText(plain.m_strText)), "the text of the answer");
    Law(svOutput == "}\n", "one object a line");
}

std::string TakeReply(FuzzedDataProvider& input)
{
    std::string strReply;
    for (int i = input.ConsumeIntegralInRange(0, 3); i > 0; --i)
    {
        const bool bCut = input.ConsumeIntegralInRange(0, 9) == 0;
        const std::string strPayload = input.ConsumeRandomLengthString(8000);
        const SPipeMessageHeader header{
            static_cast<std::uint32_t>(input.PickValueInArray<char>({'H', 'e', 'D', 'x'})),
            input.ConsumeIntegral<std::uint16_t>(),
            bCut ? input.ConsumeIntegral<std::uint32_t>()
                 : static_cast<std::uint32_t>(strPayload.size())};
        strReply.append(reinterpret_cast<const char*>(&header), sizeof(header)) += strPayload;
    }
    return strReply;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t uSize)
{
    static const CMemoryFile& s_output = *new CMemoryFile;
    if (g_aRequests[1] < 0)
    {
        Law(::dup2(s_output.Descriptor(), STDOUT_FILENO) >= 0 &&
                ::pipe2(g_aRequests, O_CLOEXEC | O_NONBLOCK) == 0 &&
                ::pipe2(g_aMessages, O_CLOEXEC | O_NONBLOCK) == 0,
            "there are descriptors");
    }
    FuzzedDataProvider input(pData, uSize);
    g_arguments = {};
    g_arguments.m_eCommand = input.PickValueInArray(
        {EDiagCommand::List, EDiagCommand::Show, EDiagCommand::Log, EDiagCommand::Parameters});
    if (g_arguments.m_eCommand == EDiagCommand::Show)
    {
        g_arguments.m_strDiagnostic = std::to_string(input.ConsumeIntegralInRange(0, 3));
    }
    g_arguments.m_bJson = input.ConsumeBool();
    g_uLongestRead = input.ConsumeIntegralInRange<std::size_t>(1, 4096);
    g_vReplies = {TakeReply(input), TakeReply(input)};
    g_uAsked = 0;

    CPlainClient plain;
    const int iExpected = plain.Run();
    // What does not come need not be waited for long; what comes may meet a busy machine.
    g_arguments.m_timeout = std::chrono::milliseconds(iExpected == DIAG_NO_ANSWER ? 5 : 8000);
    const int iExit = RunDiag(0, nullptr);
    const std::string strOutput = s_output.Take();
    Law(iExit == iExpected, "ends as it should");
    if (iExit != DIAG_ANSWERED)
    {
        Law(strOutput.empty(), "prints no answer where there is none");
    }
    else if (g_arguments.m_bJson)
    {
        CheckJson(strOutput, plain);
    }
    else
    {
        CheckShown(strOutput);
    }
    char szLeft[4096];
    while (RealRead(g_aMessages[0], szLeft, sizeof(szLeft)) > 0)
    {
    }
    return 0;
}
