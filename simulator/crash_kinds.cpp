#include "simulator/crash_kinds.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include <sys/mman.h>

#include "diagnostics/crash_handler.h"
#include "diagnostics/function_state.h"

namespace
{

struct SCrashKind
{
    const char* m_szName;
    ECrashKind m_eKind;
};

constexpr SCrashKind kKinds[] = {
    {"abort", ECrashKind::Abort}, {"fpe", ECrashKind::Fpe},     {"ill", ECrashKind::Ill},
    {"segv", ECrashKind::Segv},   {"bus", ECrashKind::Bus},     {"stack", ECrashKind::Stack},
    {"heap", ECrashKind::Heap},   {"error", ECrashKind::Error}, {"state", ECrashKind::State},
};

void WriteThroughABadPointer()
{
    CFunctionSwitch fsWrite("RSim::WriteFrame");
    char* volatile szFrame = reinterpret_cast<char*>(0x30);
    char* szWritten = szFrame;
    mu::CFunctionParam fpFrame(fsWrite, "szFrame", szWritten);
    *szFrame = 'e';
}

// A page that the file behind it no longer reaches.
void ReadBehindAFile()
{
    CFunctionSwitch fsRead("RSim::ReadMapped");
    std::FILE* const pFile = std::tmpfile();
    if (pFile != nullptr)
    {
        void* const pMapped = ::mmap(nullptr, 1, PROT_READ, MAP_SHARED, ::fileno(pFile), 0);
        if (pMapped != MAP_FAILED)
        {
            static_cast<void>(*static_cast<volatile char*>(pMapped));
        }
    }
}

int Recurse(int iDepth)
{
    CFunctionSwitch fsRecurse("RSim::Recurse");
    mu::CFunctionParam fpDepth(fsRecurse, "iDepth", iDepth);
    volatile char szFrame[4096];
    szFrame[0] = static_cast<char>(iDepth);
    return iDepth < 0 ? 0 : Recurse(iDepth + 1) + szFrame[0];
}

void FreeTwice()
{
    CFunctionSwitch fsFree("RSim::FreeFrame");
    void* volatile pFrame = std::malloc(64);
    std::free(pFrame);
    std::free(pFrame); // NOLINT(clang-analyzer-unix.Malloc): that is the crash
}

} // namespace

std::optional<ECrashKind> CrashKindByName(std::string_view svName)
{
    for (const SCrashKind& kind : kKinds)
    {
        if (svName == kind.m_szName)
        {
            return kind.m_eKind;
        }
    }
    return std::nullopt;
}

void Crash(ECrashKind eKind)
{
    CFunctionSwitch fsCrash("RSim::Crash");
    switch (eKind)
    {
    case ECrashKind::Abort:
        break;
    case ECrashKind::Fpe: // dividing by zero does not trap on the device
    case ECrashKind::Ill:
        std::raise(eKind == ECrashKind::Fpe ? SIGFPE : SIGILL);
        break;
    case ECrashKind::Segv:
        WriteThroughABadPointer();
        break;
    case ECrashKind::Bus:
        ReadBehindAFile();
        break;
    case ECrashKind::Stack:
        Recurse(0);
        break;
    case ECrashKind::Heap:
        FreeTwice();
        break;
    case ECrashKind::Error:
        FatalProgramError("The simulator was asked to crash");
        break;
    case ECrashKind::State:
        FatalProgramState("The simulator was asked to crash");
        break;
    }
    std::abort();
}
