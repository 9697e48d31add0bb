#ifndef ZOR_TESTS_SUPPORT_CHILD_PROCESS_H
#define ZOR_TESTS_SUPPORT_CHILD_PROCESS_H

#include <chrono>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

/// How long tests wait for what must come; emulated machines are slow.
constexpr std::chrono::seconds kTestLimit{30};

/// One of the project's programs, run the way its machine needs, its standard streams on pipes.
class CChildProcess
{
public:
    /// beforeExec runs in the child.
    explicit CChildProcess(const std::string& strProgram,
                           const std::vector<std::string>& vecArguments = {},
                           const std::function<void()>& beforeExec = {});
    ~CChildProcess(); ///< kills it

    CChildProcess(const CChildProcess&) = delete;
    CChildProcess& operator=(const CChildProcess&) = delete;

    void Type(std::string_view svInput);
    void EndInput();

    /// The next so many bytes of its standard output, fewer if it ends or takes too long.
    std::string ReadOutput(std::size_t uLength);
    /// What else it prints until it closes a stream.
    std::string ReadRestOfOutput() { return ReadOutput(std::string::npos); }
    std::string ReadRestOfErrors();

    void Kill(int iSignal);
    /// The exit code, or 128 and the signal's number.
    int Wait();
    /// Of a child that was waited for.
    std::chrono::milliseconds GetProcessorTime() const { return m_processorTime; }

private:
    pid_t m_iPid = -1;
    int m_iInput = -1;
    int m_iOutput = -1;
    int m_iErrors = -1;
    std::chrono::milliseconds m_processorTime{};
};

/// Reads until uLength bytes are there, the end, or kTestLimit.
std::string ReadFrom(int iDescriptor, std::size_t uLength);

#endif
