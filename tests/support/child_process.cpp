#include "tests/support/child_process.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <sstream>

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

std::string ReadFrom(int iDescriptor, std::size_t uLength)
{
    const auto tpEnd = std::chrono::steady_clock::now() + kTestLimit;
    std::string strRead;
    while (strRead.size() < uLength)
    {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            tpEnd - std::chrono::steady_clock::now());
        pollfd polled{iDescriptor, POLLIN, 0};
        char szBytes[4096];
        if (left.count() <= 0 || ::poll(&polled, 1, static_cast<int>(left.count())) <= 0)
        {
            break;
        }
        const ssize_t iRead =
            ::read(iDescriptor, szBytes, std::min(sizeof(szBytes), uLength - strRead.size()));
        if (iRead <= 0)
        {
            break;
        }
        strRead.append(szBytes, static_cast<std::size_t>(iRead));
    }
    return strRead;
}

CChildProcess::CChildProcess(const std::string& strProgram,
                             const std::vector<std::string>& vecArguments,
                             const std::function<void()>& beforeExec)
{
    std::vector<std::string> vecWords;
    std::istringstream streamEmulator(ZOR_EMULATOR);
    for (std::string strWord; streamEmulator >> strWord;)
    {
        vecWords.push_back(strWord);
    }
    vecWords.push_back(strProgram);
    vecWords.insert(vecWords.end(), vecArguments.begin(), vecArguments.end());
    std::vector<char*> vecPointers(vecWords.size() + 1);
    std::transform(vecWords.begin(), vecWords.end(), vecPointers.begin(),
                   [](std::string& strWord) { return strWord.data(); });

    int aiPipes[3][2];
    for (auto& aiPipe : aiPipes)
    {
        if (::pipe2(aiPipe, O_CLOEXEC) != 0)
        {
            std::abort();
        }
    }
    m_iPid = ::fork();
    if (m_iPid == 0)
    {
        ::dup2(aiPipes[0][0], 0);
        ::dup2(aiPipes[1][1], 1);
        ::dup2(aiPipes[2][1], 2);
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::setenv("LC_ALL", "C", 1);
        if (beforeExec)
        {
            beforeExec();
        }
        ::execvp(vecPointers[0], vecPointers.data());
        ::_exit(127);
    }
    ::close(aiPipes[0][0]);
    ::close(aiPipes[1][1]);
    ::close(aiPipes[2][1]);
    m_iInput = aiPipes[0][1];
    m_iOutput = aiPipes[1][0];
    m_iErrors = aiPipes[2][0];
}

CChildProcess::~CChildProcess()
{
    if (m_iPid > 0)
    {
        Kill(SIGKILL);
        Wait();
    }
    EndInput();
    ::close(m_iOutput);
    ::close(m_iErrors);
}

void CChildProcess::Type(std::string_view svInput)
{
    if (::write(m_iInput, svInput.data(), svInput.size()) != static_cast<ssize_t>(svInput.size()))
    {
        std::abort();
    }
}

void CChildProcess::EndInput()
{
    if (m_iInput >= 0)
    {
        ::close(m_iInput);
        m_iInput = -1;
    }
}

std::string CChildProcess::ReadOutput(std::size_t uLength)
{
    return ReadFrom(m_iOutput, uLength);
}

std::string CChildProcess::ReadRestOfErrors()
{
    return ReadFrom(m_iErrors, std::string::npos);
}

void CChildProcess::Kill(int iSignal)
{
    ::kill(m_iPid, iSignal);
}

int CChildProcess::Wait()
{
    int iStatus = 0;
    rusage usage{};
    ::wait4(m_iPid, &iStatus, 0, &usage);
    m_iPid = -1;
    using namespace std::chrono;
    m_processorTime =
        duration_cast<milliseconds>(seconds(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
                                    microseconds(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec));
    return WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : 128 + WTERMSIG(iStatus);
}
