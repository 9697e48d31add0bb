#include "diagnostics/readable_memory.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/guarded_page.h"
#include "tests/support/testing.h"

namespace
{

std::atomic<int> g_iHandled{0};

void ProbeEverything()
{
    static const CGuardedPage s_page;
    // Beyond the end of its file: a bus error.
    static const void* const s_pNoFile =
        ::mmap(nullptr, 1, PROT_READ, MAP_SHARED, ::fileno(std::tmpfile()), 0);
    char* const pEnd = s_page.End();
    static const void* const s_pText = std::memcpy(pEnd - 5, "12345", 5);
    static char* const s_pHole = static_cast<char*>(
        ::mmap(nullptr, 3 * 4096, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    ::mprotect(s_pHole + 4096, 4096, PROT_NONE);
    const std::tuple<const void*, unsigned int, bool> kCases[] = {
        {pEnd - 1, 1, true}, {pEnd - 1, 2, false},      {pEnd - 4096, 4097, false},
        {pEnd, 1, false},    {pEnd - 4096, 4096, true}, {pEnd - 20, 0xFFFFFFFF, false},
        {pEnd, 0, true},     {s_pNoFile, 1, false},     {reinterpret_cast<void*>(-1), 1, false},
        {nullptr, 1, false}, {nullptr, 0, true},        {s_pHole + 100, 3 * 4096 - 200, false},
    };
    for (const auto& [pMemory, uSize, bReadable] : kCases)
        EXPECT_EQ(IsReadableMemory(pMemory, uSize), bReadable) << pMemory << " " << uSize;
    char szCopy[9] = "--------";
    EXPECT_EQ(mu::CMemoryProbe().CopySome(szCopy, s_pText, 8), 5U);
    EXPECT_STREQ(szCopy, "12345---");
}

void ProbeInHandler(int)
{
    ++g_iHandled;
    ProbeEverything();
    ProbeEverything();
}

TEST(ReadableMemory, AnswersInHandlersOfTheSameSignalAndOnOtherStacks)
{
    CFunctionSwitch fsTest("T::Test"); // gives the thread an alternate stack
    ProbeEverything();
    for (const int iSignal : {SIGSEGV, SIGBUS, SIGUSR1})
        for (const int iFlags : {0, SA_ONSTACK, SA_NODEFER | SA_ONSTACK})
        {
            struct sigaction action = {};
            action.sa_handler = ProbeInHandler;
            action.sa_flags = iFlags;
            sigfillset(&action.sa_mask);
            ::sigaction(iSignal, &action, nullptr);
            g_iHandled = 0;
            std::raise(iSignal);
            {
                // Sent while a probe is there, but not by its read.
                const mu::CMemoryProbe probe;
                std::raise(iSignal);
            }
            EXPECT_EQ(g_iHandled, 2);
            EXPECT_TRUE(std::signal(iSignal, SIG_DFL) == ProbeInHandler) << "as before the probes";
        }
}

TEST(ReadableMemory, ThreadsProbeAtOnceAndOnesRealFaultGoesToTheHandlerBefore)
{
    const auto probeOften = [](int iRounds)
    {
        while (iRounds-- > 0)
            ProbeEverything();
    };
    std::thread other(probeOften, 300);
    probeOften(300);
    other.join();

    const auto crash = [&](auto handler)
    {
        g_iHandled = 0;
        std::signal(SIGSEGV, handler);
        std::thread(probeOften, 1'000'000).detach();
        std::thread(probeOften, 1'000'000).detach();
        ::usleep(10'000);
        const CGuardedPage page;
        *static_cast<volatile char*>(page.End()) = 1;
    };
    EXPECT_EXIT(crash([](int) { ::_exit(++g_iHandled == 1 ? 42 : 43); }),
                testing::ExitedWithCode(42), "");
    EXPECT_EXIT(crash(SIG_DFL), testing::KilledBySignal(SIGSEGV), "");
}

TEST(ReadableMemory, AnswersInAChildThatWasForkedWhileOtherThreadsProbed)
{
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "it allocates where a handler jumps, and a fork may keep its lock taken";
#endif
    std::atomic<bool> bEnd{false};
    const auto probe = [&]
    {
        while (!bEnd)
            IsReadableMemory(&bEnd, 1);
    };
    const std::jthread first(probe), second(probe);
    for (int i = 0; i < 30; ++i)
    {
        int iStatus = 0;
        if (::fork() == 0)
            ::_exit(IsReadableMemory(&bEnd, 1) +
                    2 * IsReadableMemory(reinterpret_cast<void*>(16), 1));
        ::wait(&iStatus);
        EXPECT_EQ(iStatus, 1 << 8);
    }
    bEnd = true;
}

} // namespace
