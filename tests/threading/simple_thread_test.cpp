#include "threading/simple_thread.h"

#include <pthread.h>

#include "diagnostics/function_state.h"
#include "tests/support/failing_heap.h"
#include "tests/support/line_logger.h"
#include "tests/support/testing.h"
#include "tests/threading/threads.h"
#include "threading/event.h"
#include "threading/sleep.h"
#include "threading/wait_time.h"

namespace
{

CPosixEventObject g_begun;

class CWorker final : public CSimpleThread
{
public:
    explicit CWorker(std::function<void()> body) : m_body(std::move(body)) {}

    /// Returns when it has begun.
    unsigned long Start(const char* szName, void* pParam)
    {
        unsigned long dwThreadID = 0;
        EXPECT_TRUE(StartThread(szName, pParam, &dwThreadID));
        EXPECT_TRUE(g_begun.Wait(mu::kInfinite));
        EXPECT_TRUE(g_begun.Reset());
        return dwThreadID;
    }
    std::string Report()
    {
        char szReport[500];
        return {szReport, static_cast<std::size_t>(WriteStateReport(szReport, sizeof(szReport)))};
    }

private:
    int ThreadMain(void* pParam) override
    {
        CFunctionSwitch fsBody("T::Body");
        g_begun.Signal();
        m_body();
        pParam == this ? delete this : void();
        return 0;
    }

    const std::function<void()> m_body;
};

/// The last thing that a thread does is to free its storage.
void WaitUntilGone(unsigned long dwThreadID)
{
    for (bool bGone = false; !bGone; mu::SleepMicroSeconds(100))
    {
        const mu::CThreadStatesMapScope scope;
        bGone = !scope.GetMap()->m_mapThreads.contains(dwThreadID);
    }
}

TEST(SimpleThread, CanBeSeenWhileItRunsAndNotAfter)
{
    CPosixEventObject seen;
    const auto untilSeen = [&] { EXPECT_TRUE(seen.Wait(mu::kInfinite)); };
    CWorker first(untilSeen), second(untilSeen);
    for (const auto& [worker, other] :
         {std::pair<CWorker&, CWorker&>(first, second), {second, first}, {first, second}})
    {
        const unsigned long dwThreadID = worker.Start("worker", nullptr);
        EXPECT_EQ(worker.GetThreadID(), dwThreadID);
        sched_param parameters{1};
        const bool bMay = pthread_setschedparam(dwThreadID, SCHED_FIFO, &parameters) == 0;
        EXPECT_EQ(worker.SetThreadPriority(2), bMay) << "not everybody may";
        int iPolicy = 0;
        pthread_getschedparam(dwThreadID, &iPolicy, &parameters);
        EXPECT_EQ(parameters.sched_priority, bMay ? 2 : 0);
        std::string strReport = worker.Report();
        strReport.erase(strReport.find("0x") + 2, 8);
        EXPECT_EQ(strReport, "T::Body\r\nPosix Thread Main szThreadName=\"worker\" tid=0x"
                             " szStage=\"thread main function execution\"\r\n");
        // Its thread is gone, and this one may have the same id.
        EXPECT_TRUE(other.Report().empty());
        EXPECT_FALSE(other.SetThreadPriority(1));
        seen.Signal();
        WaitUntilGone(dwThreadID);
        EXPECT_TRUE(seen.Reset());
        EXPECT_TRUE(worker.Report().empty());
        EXPECT_FALSE(worker.SetThreadPriority(1));
    }
}

TEST(SimpleThread, EndsAloneOnEveryWayOut)
{
    const std::tuple<const char*, void (*)(), std::vector<std::string>> aWays[] = {
        {"worker", [] {}, {}},
        {nullptr, [] { throw std::runtime_error("no tape"); }, {"3 Exception in thread : no tape"}},
        {"worker", [] { throw 1; }, {"3 Exception in thread worker: unknown"}},
        {"worker", [] { pthread_exit(nullptr); }, {}}};
    CLineLogger logger;
    long lBlocks = 0;
    for (int iTry = 0; iTry < 400; ++iTry)
    {
        const auto& [szName, pBody, vLines] = aWays[iTry & 3];
        CWorker worker(pBody);
        auto* const pDestroysItself = new CWorker([] {});
        WaitUntilGone(pDestroysItself->Start(szName, pDestroysItself));
        WaitUntilGone(worker.Start(szName, nullptr));
        EXPECT_EQ(logger.TakeLines(), vLines);
        lBlocks = iTry == 10 ? CFailingHeap::BlocksOfProcess() : lBlocks;
    }
    EXPECT_LT(CFailingHeap::BlocksOfProcess() - lBlocks, 100) << "what threads leave";
}

TEST(SimpleThread, TellsWhyItDidNotStart)
{
    LetThreadsStart(false);
    CWorker worker([] {});
    unsigned long dwThreadID = 1;
    EXPECT_FALSE(worker.StartThread("T", nullptr, &dwThreadID));
    EXPECT_NE(worker.GetLastError(), 0);
    EXPECT_EQ(dwThreadID, 0);
    EXPECT_EQ(worker.GetThreadID(), 0);
    EXPECT_TRUE(worker.Report().empty());
    EXPECT_FALSE(worker.SetThreadPriority(1));
    LetThreadsStart(true);
}

} // namespace
