#ifndef ZOR_TESTS_SUPPORT_CHILD_PROCESS_H
#define ZOR_TESTS_SUPPORT_CHILD_PROCESS_H

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <iterator>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/files.h"

/// One of the project's programs, run the way its machine needs; its standard streams are pipes.
class CChildProcess
{
public:
    /// beforeExec runs in the child.
    explicit CChildProcess(const std::string& strProgram,
                           const std::vector<std::string>& vecArguments = {},
                           const std::function<void()>& beforeExec = {})
    {
        std::istringstream streamEmulator(ZOR_EMULATOR);
        std::vector<std::string> vecWords{std::istream_iterator<std::string>(streamEmulator), {}};
        vecWords.push_back(strProgram);
        vecWords.insert(vecWords.end(), vecArguments.begin(), vecArguments.end());
        std::vector<char*> vecPointers(vecWords.size() + 1);
        std::transform(vecWords.begin(), vecWords.end(), vecPointers.begin(),
                       [](std::string& strWord) { return strWord.data(); });

        int aaiPipes[3][2];
        for (auto& aiEnds : aaiPipes)
        {
            ::pipe2(aiEnds, O_CLOEXEC) == 0 ? void() : std::abort();
        }
        m_iInput = aaiPipes[0][1];
        m_iOutput = aaiPipes[1][0];
        m_iErrors = aaiPipes[2][0];
        const int aiChild[] = {aaiPipes[0][0], aaiPipes[1][1], aaiPipes[2][1]};
        m_iPid = ::fork();
        if (m_iPid == 0)
        {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            ::setenv("LC_ALL", "C", 1);
            std::signal(SIGINT, SIG_DFL); // a shell ignores it for what runs in the background
            for (int i = 0; i < 3; ++i)
            {
                ::dup2(aiChild[i], i);
            }
            beforeExec ? beforeExec() : void();
            ::execvp(vecPointers[0], vecPointers.data());
            ::_exit(127);
        }
        std::for_each(std::begin(aiChild), std::end(aiChild), ::close);
    }
    ~CChildProcess()
    {
        Kill(SIGKILL);
        m_iPid > 0 ? Wait() : 0;
        EndInput();
        CloseOutput();
        ::close(m_iErrors);
    }

    CChildProcess(CChildProcess&&) = delete; // nor copied

    bool Type(std::string_view svInput) const
    {
        return ::write(m_iInput, svInput.data(), svInput.size()) ==
               static_cast<ssize_t>(svInput.size());
    }
    void EndInput() { ::close(std::exchange(m_iInput, -1)); }
    void CloseOutput() { ::close(std::exchange(m_iOutput, -1)); }
    std::string ReadOutput(std::size_t uLength = std::string::npos) const
    {
        return ReadFrom(m_iOutput, uLength);
    }
    std::string ReadOutputUntil(std::string_view svMark, int iMilliseconds) const
    {
        return ReadFrom(m_iOutput, std::string::npos, svMark, iMilliseconds);
    }
    std::string ReadErrors() const { return ReadFrom(m_iErrors); }

    void Kill(int iSignal) const { m_iPid > 0 ? ::kill(m_iPid, iSignal) : 0; }
    /// The exit code, or 128 and the signal's number.
    int Wait()
    {
        int iStatus = 0;
        ::waitpid(std::exchange(m_iPid, -1), &iStatus, 0);
        return WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : 128 + WTERMSIG(iStatus);
    }

private:
    pid_t m_iPid = -1;
    int m_iInput = -1;
    int m_iOutput = -1;
    int m_iErrors = -1;
};

#endif
