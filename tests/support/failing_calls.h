#ifndef ZOR_TESTS_SUPPORT_FAILING_CALLS_H
#define ZOR_TESTS_SUPPORT_FAILING_CALLS_H

#include <functional>

/// System calls on files, made to fail in tests that link failing_calls.cpp.
enum class ECall
{
    Open,
    Seek,
    Stat,
    Write
};

/// Asked before each such call of the process, if there is one: 0 lets it happen, an errno fails
/// it, and the negative of a number cuts a write to so many bytes.
extern std::function<int(ECall)> g_onCall;

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

    CFailingCall(const CFailingCall&) = delete;
    CFailingCall& operator=(const CFailingCall&) = delete;
};

#endif
