#include "diagnostics/readable_memory.h"

#include <atomic>
#include <csignal>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/guarded_page.h"

namespace
{

// A page beyond the end of its file: a bus error.
class CPageWithoutFile
{
public:
    CPageWithoutFile()
        : m_pFile(std::tmpfile()),
          m_pPage(::mmap(nullptr, 1, PROT_READ, MAP_SHARED, ::fileno(m_pFile), 0))
    {
    }
    ~CPageWithoutFile()
    {
        ::munmap(m_pPage, 1);
        std::fclose(m_pFile);
    }

    CPageWithoutFile(const CPageWithoutFile&) = delete;
    CPageWithoutFile& operator=(const CPageWithoutFile&) = delete;

    void* Get() const { return m_pPage; }

private:
    std::FILE* const m_pFile;
    void* const m_pPage;
};

void ExpectRightAnswers(const CGuardedPage& page, const void* pNoFile)
{
    char* const pEnd = page.End();
    const struct
    {
        const void* m_pMemory;
        unsigned int m_uSize;
        bool m_bReadable;
    } kCases[] = {
        {pEnd - 1, 1, true},    {pEnd - 1, 2, false},  {pEnd, 1, false},
        {pEnd, 0, true},        {pEnd - 20, 20, true}, {pEnd - 20, 0xFFFFFFFF, false},
        {nullptr, 1, false},    {nullptr, 0, true},    {reinterpret_cast<void*>(-1), 1, false},
        {pEnd - 4096, 1, true}, {pNoFile, 1, false},   {pEnd - 4096, 4097, false},
    };
    sigset_t maskBefore;
    pthread_sigmask(SIG_BLOCK, nullptr, &maskBefore);
    for (const auto& row : kCases)
    {
        EXPECT_EQ(IsReadableMemory(row.m_pMemory, row.m_uSize), row.m_bReadable) << &row - kCases;
    }
    CMemoryProbe probe;
    char szCopy[9] = "--------";
    EXPECT_EQ(probe.CopySome(szCopy, std::memcpy(pEnd - 5, "12345", 5), 8), 5U);
    EXPECT_STREQ(szCopy, "12345---");
    sigset_t mask;
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    EXPECT_EQ(sigismember(&mask, SIGBUS), 0);
}

const CGuardedPage* g_pPage = nullptr;
const void* g_pNoFile = nullptr;
std::atomic<int> g_iHandled{0};

void ProbeInHandler(int)
{
    ++g_iHandled;
    ExpectRightAnswers(*g_pPage, g_pNoFile);
    ExpectRightAnswers(*g_pPage, g_pNoFile);
}

void EndProcess(int)
{
    ::_exit(++g_iHandled == 1 ? 42 : 43);
}

TEST(ReadableMemory, AnswersInHandlersOfTheSameSignalAndOnOtherStacks)
{
    const CGuardedPage page;
    const CPageWithoutFile noFile;
    g_pPage = &page;
    g_pNoFile = noFile.Get();

    std::vector<char> vStack(1 << 16);
    stack_t stack = {};
    stack.ss_sp = vStack.data();
    stack.ss_size = vStack.size();
    stack_t stackBefore = {};
    ::sigaltstack(&stack, &stackBefore);
    for (const int iSignal : {SIGSEGV, SIGBUS, SIGUSR1})
    {
        for (const int iFlags : {0, SA_ONSTACK, SA_NODEFER | SA_ONSTACK})
        {
            SCOPED_TRACE(iSignal);
            struct sigaction action = {};
            struct sigaction before = {};
            action.sa_handler = ProbeInHandler;
            action.sa_flags = iFlags;
            sigfillset(&action.sa_mask);
            ::sigaction(iSignal, &action, &before);
            g_iHandled = 0;
            std::raise(iSignal);
            {
                // Sent while a probe is there, but not by its read.
                const CMemoryProbe probe;
                std::raise(iSignal);
            }
            EXPECT_EQ(g_iHandled, 2);
            ::sigaction(iSignal, &before, &action);
            EXPECT_TRUE(action.sa_handler == ProbeInHandler) << "the handler that stood before";
        }
    }
    ExpectRightAnswers(page, noFile.Get());
    ::sigaltstack(&stackBefore, nullptr);
}

TEST(ReadableMemory, ThreadsProbeAtOnceAndOnesRealFaultGoesToTheHandlerBefore)
{
    const CGuardedPage page;
    const CPageWithoutFile noFile;
    const auto probeFor = [&](int iRounds)
    {
        for (int i = 0; i < iRounds; ++i)
        {
            ExpectRightAnswers(page, noFile.Get());
        }
        FreeThreadExVarsStorage();
    };
    std::thread other(probeFor, 300);
    probeFor(300);
    other.join();

    const auto crash = [&](auto handler)
    {
        g_iHandled = 0;
        std::signal(SIGSEGV, handler);
        for (int i = 0; i < 2; ++i)
        {
            std::thread(probeFor, 1'000'000).detach();
        }
        ::usleep(10'000);
        *static_cast<volatile char*>(page.End()) = 1;
    };
    EXPECT_EXIT(crash(EndProcess), testing::ExitedWithCode(42), "");
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    EXPECT_EXIT(crash(SIG_DFL), testing::KilledBySignal(SIGSEGV), "");
#endif
}

} // namespace
