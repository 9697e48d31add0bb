#ifndef ZOR_TESTS_SUPPORT_CHILD_PROCESS_H
#define ZOR_TESTS_SUPPORT_CHILD_PROCESS_H

#include <chrono>
#include <csignal>
#include <cstdio>
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

/// A process of its own; its standard streams are pipes.
class CChildProcess
{
public:
    using Words = std::vector<std::string>;

    /// One of the project's programs, run the way its machine needs. prepare runs in the child.
    explicit CChildProcess(const std::string& strProgram, const Words& vecArguments = {},
                           const std::function<void()>& prepare = {})
        : CChildProcess(
              [&]
              {
                  std::istringstream streamEmulator(ZOR_EMULATOR);
                  Words vecWords{std::istream_iterator<std::string>(streamEmulator), {}};
                  vecWords.push_back(strProgram);
                  prepare ? prepare() : void();
                  const std::vector<char*> vecPointers = Pointers(vecWords, vecArguments);
                  ::execvp(vecPointers[0], vecPointers.data());
                  ::_exit(127);
              })
    {
    }
    /// A program's main function, run as after an exec, but in a copy of this process, whose other
    /// threads it does not have.
    CChildProcess(int (&main)(int, char*[]), const char* szName, const Words& vecArguments,
                  const std::function<void()>& prepare = {})
        : CChildProcess(
              [&]
              {
                  for (int iDescriptor = 3; iDescriptor < 256; ++iDescriptor)
                  {
                      ::fcntl(iDescriptor, F_GETFD) == FD_CLOEXEC ? ::close(iDescriptor) : 0;
                  }
                  Words vecWords{szName};
                  prepare ? prepare() : void();
                  std::vector<char*> vecPointers = Pointers(vecWords, vecArguments);
                  std::exit(main(static_cast<int>(vecWords.size()), vecPointers.data()));
              })
    {
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
    explicit CChildProcess(const std::function<void()>& body)
    {
        int aaiPipes[3][2];
        for (auto& aiEnds : aaiPipes)
        {
            ::pipe2(aiEnds, O_CLOEXEC) == 0 ? void() : std::abort();
        }
        m_iInput = aaiPipes[0][1];
        m_iOutput = aaiPipes[1][0];
        m_iErrors = aaiPipes[2][0];
        const int aiChild[] = {aaiPipes[0][0], aaiPipes[1][1], aaiPipes[2][1]};
        std::fflush(stdout); // or the child would print it, too
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
            body();
        }
        std::for_each(std::begin(aiChild), std::end(aiChild), ::close);
    }
    static std::vector<char*> Pointers(Words& vecWords, const Words& vecMore)
    {
        vecWords.insert(vecWords.end(), vecMore.begin(), vecMore.end());
        std::vector<char*> vecPointers(vecWords.size() + 1);
        std::transform(vecWords.begin(), vecWords.end(), vecPointers.begin(),
                       [](std::string& strWord) { return strWord.data(); });
        return vecPointers;
    }

    pid_t m_iPid = -1;
    int m_iInput = -1;
    int m_iOutput = -1;
    int m_iErrors = -1;
};

#endif
