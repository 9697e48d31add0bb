#ifndef ZOR_TESTS_SUPPORT_FAILING_CALLS_H
#define ZOR_TESTS_SUPPORT_FAILING_CALLS_H

#include <functional>

/// System calls that are made to fail: open, lseek, fstat, readdir and write in tests that link
/// failing_calls.cpp, the others where faults/more_calls.cpp is linked too.
enum class ECall
{
    Open, ///< and all that makes a descriptor
    Close,
    Seek,
    Stat,
    Read,
    Write,
    Print,  ///< a write to a standard descriptor
    Move,   ///< a read that does not wait
    Sync,   ///< fsync
    Change, ///< of names, modes and lengths
    Query,  ///< of all that is asked of the system otherwise
    Wait,
    Make, ///< of threads, locks, mappings and connections
};

/// Asked before each such call of the process, if there is one: 0 lets it happen, an errno fails
/// it, and the negative of a number cuts a read or write to so many bytes.
extern std::function<int(ECall)> g_onCall;
/// The answer; errno is set to it where it is one.
int AskForFault(ECall eCall);

/// Gives the process's calls of one kind this fault, to the end of the scope: iTimes of them, from
/// the iFirst-th on.
class CFailingCall
{
public:
    CFailingCall(ECall eCall, int iFault, int iFirst = 0, int iTimes = 1)
    {
        g_onCall = [=, i = 0](ECall eMade) mutable
        { return eMade == eCall && ++i > iFirst && i <= iFirst + iTimes ? iFault : 0; };
    }
    ~CFailingCall() { g_onCall = nullptr; }

    CFailingCall(CFailingCall&&) = delete; // nor copied
};

#endif
