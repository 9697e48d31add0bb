#ifndef ZOR_TESTS_CONSOLE_RECORDER_H
#define ZOR_TESTS_CONSOLE_RECORDER_H

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "mu/binary.h"
#include "tests/support/pipes.h"
#include "tests/support/testing.h"

inline std::string Word(std::uint32_t dwValue)
{
    std::string strWord(4, '\0');
    mu::IntToFourBytesLE(dwValue, strWord.data());
    return strWord;
}

/// A message as it goes through a pipe.
inline std::string Message(char chType, std::uint32_t dwArgument, const std::string& strPayload)
{
    return Word(static_cast<unsigned char>(chType)) + Word(dwArgument) +
           Word(static_cast<std::uint32_t>(strPayload.size())) + strPayload;
}

/// The parameters with this list of diagnostics.
inline std::string Parameters(const std::string& strTypes)
{
    return Message('H', 7,
                   "<p><zor:CaptureDeviceConfig><zor:DiagnosticTypes>" + strTypes +
                       "</zor:DiagnosticTypes></zor:CaptureDeviceConfig></p>");
}

/// The test in the recorder's place.
class CRecorderTest : public testing::Test
{
protected:
    CRecorderTest() { MakePipes(); }
    ~CRecorderTest() override
    {
        ClosePipes();
        RemovePipes();
    }

    static void MakePipes()
    {
        RemovePipes();
        ::mkfifo(g_aszPipePaths[0], 0600);
        ::mkfifo(g_aszPipePaths[1], 0600);
    }
    void OpenRequests(int iFlags) { m_iRequests = ::open(g_aszPipePaths[0], iFlags | O_CLOEXEC); }
    void OpenMessages(int iFlags) { m_iMessages = ::open(g_aszPipePaths[1], iFlags | O_CLOEXEC); }
    bool Write(const std::string& strBytes) const
    {
        return ::write(m_iMessages, strBytes.data(), strBytes.size()) ==
               static_cast<ssize_t>(strBytes.size());
    }
    void ClosePipes()
    {
        ::close(std::exchange(m_iRequests, -1));
        ::close(std::exchange(m_iMessages, -1));
    }

    int m_iRequests = -1;
    int m_iMessages = -1;
};

#endif
