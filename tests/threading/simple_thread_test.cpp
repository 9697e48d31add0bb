#include "threading/simple_thread.h"

#include <cerrno>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <pthread.h>

#include "diagnostics/function_state.h"
#include "tests/support/failing_heap.h"
#include "tests/support/line_logger.h"
#include "threading/event.h"
#include "threading/sleep.h"
#include "threading/wait_time.h"

namespace
{

class CWorker final : public CSimpleThread
{
public:
    CWorker(CPosixEventObject& begun, std::function<void()> body) : m_begun(begun), m_body(body) {}

    std::string Report()
    {
        char szReport[500];
        return {szReport, static_cast<std::size_t>(WriteStateReport(szReport, sizeof(szReport)))};
    }

private:
    int ThreadMain(void* pParam) override
    {
        CFunctionSwitch fsBody("T::Body");
        m_begun.Signal();
        m_body();
        if (pParam == this)
        {
            delete this;
        }
        return 0;
    }

    CPosixEventObject& m_begun;
    const std::function<void()> m_body;
};

/// The last thing that a thread does is to free its storage.
void WaitUntilGone(CPosixEventObject& begun, unsigned long dwThreadID)
{
    EXPECT_TRUE(begun.Wait(mu::kInfinite) && begun.Reset());
    bool bGone = false;
    while (!bGone)
    {
        mu::SleepMicroSeconds(100);
        const CThreadStatesMapScope scope;
        bGone = scope.GetMap() == nullptr || !scope.GetMap()->m_mapThreads.contains(dwThreadID);
    }
}

TEST(SimpleThread, CanBeSeenWhileItRunsAndNotAfter)
{
    CPosixEventObject begun;
    CPosixEventObject seen;
    CWorker worker(begun, [&] { EXPECT_TRUE(seen.Wait(mu::kInfinite)); });
    for (int iRun = 0; iRun < 2; ++iRun)
    {
        unsigned long dwThreadID = 0;
        ASSERT_TRUE(worker.StartThread("worker", nullptr, &dwThreadID));
        EXPECT_EQ(worker.GetThreadID(), dwThreadID);
        EXPECT_TRUE(begun.Wait(mu::kInfinite));
        const std::string strReport = worker.Report();
        const std::string strStart = "T::Body\r\nPosix Thread Main szThreadName=\"worker\" tid=0x";
        EXPECT_EQ(strReport.substr(0, strStart.size()), strStart);
        EXPECT_EQ(strReport.substr(strStart.size() + 8),
                  " szStage=\"thread main function execution\"\r\n");
        const bool bRealTime = worker.SetThreadPriority(1); // as far as the machine lets
        int iPolicy = -1;
        sched_param parameters{};
        pthread_getschedparam(dwThreadID, &iPolicy, &parameters);
        EXPECT_EQ(iPolicy == SCHED_FIFO, bRealTime);
        seen.Signal();
        WaitUntilGone(begun, dwThreadID);
        EXPECT_TRUE(seen.Reset() && worker.Report().empty() && !worker.SetThreadPriority(1));
    }
}

TEST(SimpleThread, EndsAloneOnEveryWayOut)
{
    const std::pair<void (*)(), std::vector<std::string>> aWays[] = {
        {[] {}, {}},
        {[] { throw std::runtime_error("no tape"); }, {"3 Exception in thread T: no tape"}},
        {[] { throw 1; }, {"3 Exception in thread T: unknown"}},
        {[] { pthread_exit(nullptr); }, {}},
    };
    CPosixEventObject begun;
    CLineLogger logger;
    for (int iRound = 0; iRound < 100; ++iRound)
    {
        for (const auto& [pBody, vLines] : aWays)
        {
            CWorker worker(begun, pBody);
            CWorker* const pDestroysItself = new CWorker(begun, [] {});
            for (CWorker* const pWorker : {&worker, pDestroysItself})
            {
                unsigned long dwThreadID = 0;
                ASSERT_TRUE(pWorker->StartThread("T", pDestroysItself, &dwThreadID));
                WaitUntilGone(begun, dwThreadID);
            }
            EXPECT_EQ(logger.TakeLines(), vLines);
        }
    }
}

TEST(SimpleThread, TellsWhyItDidNotStart)
{
    pthread_attr_t attributesBefore;
    pthread_attr_t attributes;
    pthread_getattr_default_np(&attributesBefore);
    pthread_getattr_default_np(&attributes);
    pthread_attr_setstacksize(&attributes, ~std::size_t{0} / 16 * 15);
    ASSERT_EQ(pthread_setattr_default_np(&attributes), 0);
    CPosixEventObject begun;
    CWorker worker(begun, [] {});
    unsigned long dwThreadID = 1;
    const long iBlocks = CFailingHeap::BlocksInUse();
    EXPECT_FALSE(worker.StartThread("T", nullptr, &dwThreadID));
    EXPECT_EQ(CFailingHeap::BlocksInUse(), iBlocks);
    EXPECT_TRUE(worker.GetLastError() != 0 && dwThreadID == 0 && worker.GetThreadID() == 0);
    pthread_setattr_default_np(&attributesBefore);
    if (CFailingHeap::kAvailable)
    {
        const CFailingHeap heap(0);
        EXPECT_FALSE(worker.StartThread("T", nullptr, nullptr));
        EXPECT_EQ(worker.GetLastError(), ENOMEM);
    }
    EXPECT_TRUE(worker.Report().empty() && !worker.SetThreadPriority(1));
}

} // namespace
