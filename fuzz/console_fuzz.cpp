#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include <fuzzer/FuzzedDataProvider.h>

#include "console/pipe_messages.h"
#include "console/session.h"
#include "fuzz/support/law.h"
#include "fuzz/support/memory_file.h"

// The operator's lines and the recorder's messages, both in any pieces, beside the plainest
// console: what is printed and what is sent.

namespace
{

constexpr std::uint32_t kLongestPayload = 1 << 20; // memory for longer ones is the machine's affair

std::string Words(std::uint32_t dwFirst, std::uint32_t dwSecond, std::uint32_t dwThird)
{
    const std::uint32_t aWords[] = {dwFirst, dwSecond, dwThird};
    std::string strBytes(sizeof(aWords), '\0');
    std::memcpy(strBytes.data(), aWords, sizeof(aWords));
    return strBytes;
}

class CPlainConsole
{
public:
    std::string m_strPrinted;
    std::string m_strSent;
    std::string m_strPipe; ///< what the recorder wrote and nobody has read
    bool m_bLeft = false;

    void Type(char ch)
    {
        const auto uChar = static_cast<unsigned char>(ch);
        if (uChar >= 32)
        {
            m_strLine += m_strLine.size() < 199 ? std::string(1, ch) : "";
        }
        else if (ch == '\b' && !m_strLine.empty())
        {
            m_strLine.pop_back();
        }
        else if (ch == '\n')
        {
            Interpret(std::exchange(m_strLine, ""));
        }
    }

    /// Reads one message from what is there now. False, with nothing read, where the console would
    /// wait for more or want too much memory.
    bool Receive()
    {
        std::uint32_t aHeader[3] = {};
        std::memcpy(aHeader, m_strPipe.data(), std::min(m_strPipe.size(), sizeof(aHeader)));
        const auto [dwType, dwArgument, dwLength] = aHeader;
        const bool bHeader = m_strPipe.size() >= sizeof(aHeader);
        const std::string strRest = bHeader ? m_strPipe.substr(sizeof(aHeader)) : "";
        if (bHeader && dwLength > kLongestPayload && (dwLength <= INT_MAX || strRest.empty()))
        {
            return false;
        }
        const std::string strPayload = strRest.substr(0, dwLength);
        m_strPipe = strRest.substr(strPayload.size());
        if (bHeader && strPayload.size() == dwLength)
        {
            Handle(dwType, dwArgument, strPayload);
        }
        return true;
    }

private:
    void Print(std::string_view svLine) { m_strPrinted.append(svLine).append("\r\n"); }

    void Interpret(const std::string& strLine)
    {
        if (strLine == "help")
        {
            Print("diag list\r\ndiag <n>\r\nlog\r\nexit\r\nquit");
        }
        else if (strLine == "log")
        {
            m_strSent += Words('C', 0, 0);
        }
        else if (strLine == "diag list")
        {
            List();
        }
        else if (strLine.starts_with("diag "))
        {
            const long l = std::strtol(strLine.c_str() + 5, nullptr, 10);
            if (l >= 1)
            {
                m_strSent +=
                    Words('d', static_cast<std::uint32_t>(std::min<long>(l, INT_MAX) - 1), 0);
            }
        }
        else if (strLine == "exit" || strLine == "quit")
        {
            m_bLeft = true;
        }
        else
        {
            m_strPrinted += "Invalid input: " + strLine + " ( ";
            for (const char ch : strLine)
            {
                char szByte[8];
                std::snprintf(szByte, sizeof(szByte), "0x%02X ", static_cast<unsigned char>(ch));
                m_strPrinted += szByte;
            }
            Print(")");
        }
    }

    void List()
    {
        const CEasyXMLNode root = m_exmlParams.GetRoot();
        const CEasyXMLNode config = root.GetChildByName(L"zor:CaptureDeviceConfig");
        const CEasyXMLNode types = config.GetChildByName(L"zor:DiagnosticTypes");
        if (!types.IsValid())
        {
            Print(!root.IsValid()     ? "No device parameters."
                  : !config.IsValid() ? "No device config parameters."
                                      : "No diagnostic information found.");
            return;
        }
        int iNumber = 0;
        for (CEasyXMLNode node = types.GetFirstChild(); node.IsValid();
             node = node.GetNextSibling())
        {
            std::wstring wsName;
            std::string strText;
            node.GetName(wsName);
            node.GetTextValue(strText);
            if (wsName == L"zor:DiagnosticType")
            {
                ++iNumber;
                strText.resize(std::min(strText.find('\0'), strText.size()));
                Print((iNumber < 10 ? "0" : "") + std::to_string(iNumber) + ": " + strText);
            }
        }
        if (iNumber == 0)
        {
            Print("Diagnostic information list is empty.");
        }
    }

    void Handle(std::uint32_t dwType, std::uint32_t dwArgument, std::string strPayload)
    {
        if (dwType == 'H')
        {
            const auto iLength = static_cast<int>(strPayload.size());
            const bool bLoaded = m_exmlParams.LoadFromText(strPayload.data(), iLength).IsValid();
            Print(bLoaded ? "Parameters Loaded." : "Invalid parameters.");
        }
        if ((dwType == 'e' || dwType == 'D') && !strPayload.empty())
        {
            std::replace(strPayload.begin(), strPayload.end(), '\0', ' ');
            const bool bRotated = dwType == 'D' && dwArgument < strPayload.size() - 1;
            const std::size_t uStart = bRotated ? dwArgument : 0;
            m_strPrinted += strPayload.substr(uStart) + strPayload.substr(0, uStart);
        }
    }

    std::string m_strLine;
    CEasyXML m_exmlParams;
};

/// The console's descriptors, for all runs.
struct SEnds
{
    CMemoryFile m_input;
    CMemoryFile m_output;
    CMemoryFile m_requests;
    int m_aPipe[2];
};

SEnds& Ends()
{
    static SEnds& s_ends = *new SEnds;
    return s_ends;
}

void Feed(CPlainConsole& plain, std::string_view svBytes)
{
    plain.m_strPipe += svBytes;
    Law(::write(Ends().m_aPipe[1], svBytes.data(), svBytes.size()) ==
            static_cast<ssize_t>(svBytes.size()),
        "the pipe takes what it is given");
}

std::string TakeMessage(FuzzedDataProvider& input)
{
    const auto dwType =
        static_cast<unsigned char>(input.PickValueInArray<char>({'H', 'e', 'D', 'e', 'D', 'x'}));
    const auto dwArgument =
        input.ConsumeIntegral<std::uint32_t>() >> input.ConsumeIntegralInRange(0, 31);
    const std::string strPayload = input.ConsumeRandomLengthString(4000);
    return Words(dwType, dwArgument, static_cast<std::uint32_t>(strPayload.size())) + strPayload;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    SEnds& ends = Ends();
    Law(::dup2(ends.m_input.Descriptor(), STDIN_FILENO) >= 0 &&
            ::dup2(ends.m_output.Descriptor(), STDOUT_FILENO) >= 0 &&
            ::pipe2(ends.m_aPipe, O_CLOEXEC | O_NONBLOCK) == 0,
        "there are descriptors");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t uSize)
{
    SEnds& ends = Ends();
    g_exmlParams = CEasyXML();
    g_iInputLineIndex = 0;
    g_bRunning = 1;
    FuzzedDataProvider input(pData, uSize);
    CPlainConsole plain;
    bool bGoesOn = true;
    while (bGoesOn && input.remaining_bytes() > 0)
    {
        const int iKind = input.ConsumeIntegralInRange(0, 3);
        if (iKind == 0)
        {
            const std::string strTyped = input.ConsumeRandomLengthString(400);
            ends.m_input.Take();
            ends.m_input.Append(strTyped);
            ::lseek(STDIN_FILENO, 0, SEEK_SET);
            for (const char ch : strTyped)
            {
                ReadUserInput(ends.m_requests.Descriptor());
                plain.Type(ch);
            }
            continue;
        }
        Feed(plain, iKind == 1 ? input.ConsumeRandomLengthString(4000) : TakeMessage(input));
        while (bGoesOn && !plain.m_strPipe.empty())
        {
            bGoesOn = plain.Receive();
            if (bGoesOn)
            {
                ReadZORInput(ends.m_aPipe[0]);
            }
        }
    }
    std::fflush(stdout);
    Law(ends.m_output.Take() == plain.m_strPrinted, "prints what it should");
    Law(ends.m_requests.Take() == plain.m_strSent, "sends what it should");
    Law((g_bRunning == 0) == plain.m_bLeft, "leaves when it is told to");

    char szLeft[4096];
    std::size_t uLeft = 0;
    for (ssize_t iRead = 0; (iRead = ::read(ends.m_aPipe[0], szLeft, sizeof(szLeft))) > 0;)
    {
        uLeft += static_cast<std::size_t>(iRead);
    }
    Law(uLeft == plain.m_strPipe.size(), "leaves the rest in the pipe");
    return 0;
}
