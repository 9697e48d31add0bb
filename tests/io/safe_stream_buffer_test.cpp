#include "io/safe_stream_buffer.h"

#include "fuzz/support/stream_buffer_model.h"
#include "tests/support/failing_heap.h"
#include "tests/support/testing.h"
#include "tests/threading/threads.h"
#include "threading/sleep.h"

namespace
{

using CBuffer = AutoDeleteThreadObjectImpl<CSafeStreamBuffer>;

// ZOR_SOAK asks for more steps than a test run has time for.
TEST(SafeStreamBuffer, KeepsItsLawsInAnyOrderOfOperations)
{
    const char* const szSoak = std::getenv("ZOR_SOAK");
    const long iSteps = szSoak != nullptr ? std::atol(szSoak) : 100'000;
    std::minstd_rand random(1);
    CStreamBufferModel model;
    for (long i = 0; i < iSteps; ++i)
    {
        const auto uOperation = static_cast<unsigned int>(random());
        const int n = static_cast<int>(random() % 62) - 1;
        ASSERT_NO_THROW(model.Step(uOperation, n)) << "step " << i;
    }
}

TEST(SafeStreamBuffer, KeepsItsMemoryWhileItIsInUse)
{
    auto* const pBuffer = new CBuffer;
    const CStickyScope ssBuffer(*pBuffer);
    EXPECT_EQ(pBuffer->AllocateBlock(1), nullptr); // there is none yet
    auto* const p = static_cast<char*>(pBuffer->AllocateBlockResizeIfNeeded(8));
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(pBuffer->AllocateBlockResizeIfNeeded(9), nullptr);
    EXPECT_FALSE(pBuffer->SetBufferSize(9));
    const CFailingHeap heap(0);
    EXPECT_TRUE(pBuffer->CommitWrittenBlock(p, 8));
    EXPECT_FALSE(pBuffer->FreeInternalBuffer());
    int iSize = 0;
    EXPECT_EQ(pBuffer->GetBlockToRead(iSize), p);
    EXPECT_TRUE(pBuffer->CommitReadBlockByEndPtr(p, p + iSize));
    pBuffer->FullStop();
    EXPECT_EQ(pBuffer->GetBlockToRead(iSize), nullptr);
    EXPECT_TRUE(pBuffer->CommitWrittenBlock(pBuffer->AllocateBlockResizeIfNeeded(8), 8));
    EXPECT_TRUE(pBuffer->CommitReadBlock(p, 8)) << "asking ends the stop, also for nothing";
    EXPECT_FALSE(CFailingHeap::HasFailed()); // blocks come and go without the heap
    // Fails, and keeps what there was.
    EXPECT_NE(pBuffer->SetBufferSize(9), CFailingHeap::kAvailable);
    EXPECT_TRUE(pBuffer->IsStreaming());
    EXPECT_TRUE(pBuffer->FreeInternalBuffer());
    EXPECT_FALSE(pBuffer->WriteTo(nullptr));
    EXPECT_FALSE(pBuffer->WriteTo(pBuffer));
    EXPECT_EQ(pBuffer->Copy(nullptr, -1), -1);
    EXPECT_FALSE(pBuffer->IsStreaming());
    char szState[24] = "#";
    EXPECT_EQ(pBuffer->PrintState(nullptr, 9, "") + pBuffer->PrintState(szState, 0, ""), 0);
    EXPECT_EQ(pBuffer->PrintState(szState, 1, "name"), 0);
    EXPECT_STREQ(szState, "");
    EXPECT_EQ(pBuffer->PrintState(szState, sizeof(szState), nullptr), 23);
    EXPECT_STREQ(szState, ": Disabled Size=0 Used=");
}

TEST(SafeStreamBuffer, TakesNoMemoryWithoutItsLockAndEvents)
{
    const auto makeOne = []
    {
        auto* const pBuffer = new CBuffer;
        const CStickyScope ssBuffer(*pBuffer);
        const bool bTaken = pBuffer->SetBufferSize(4);
        EXPECT_EQ(bTaken, !CFailingHeap::HasFailed());
    };
    GetAllocExVarsStorage(); // the thread's, which stays
    EXPECT_EQ(CFailingHeap::FirstLeakOf(makeOne), -1);
}

TEST(SafeStreamBuffer, WakesAReaderThatSleeps)
{
    // Data, an end, a freeze, a thaw, a stop; '|' is the reader, the number what he reads.
    using C = std::pair<std::string, int>;
    for (const auto& [strActs, iExpected] :
         {C("|d", 1), {"|e", 0}, {"df|u", 1}, {"df|s", 0}, {"dfe|u", 1}, {"dfe|s", 0}})
    {
        SCOPED_TRACE(strActs);
        auto* const pBuffer = new CBuffer;
        const CStickyScope ssBuffer(*pBuffer);
        ASSERT_TRUE(pBuffer->SetBufferSize(4));
        char cRead = 0;
        int iRead = -1;
        std::jthread reader;
        for (const char c : strActs)
        {
            c == 'd'   ? void(pBuffer->Write("x", 1))
            : c == 'e' ? pBuffer->SetEndOfStream()
            : c == 'f' ? pBuffer->Freeze()
            : c == 'u' ? pBuffer->UnFreeze()
            : c == 's' ? pBuffer->FullStop()
                       : void(reader = StartTraced([&] { iRead = pBuffer->Read(&cRead, 1, 1); }));
            mu::SleepMS(c == '|' ? 10 : 0);
        }
        reader.join();
        EXPECT_EQ(iRead, iExpected);
    }
}

/// Takes a stream in halves, now and then nothing, and refuses it after so many bytes. It freezes
/// the input at the worst moment: when it has taken bytes that are not committed yet.
class COutput final : public CSafeStreamBuffer
{
public:
    COutput(CSafeStreamBuffer& input, int iLimit) : m_input(input), m_iLimit(iLimit) {}

    int AddRef() override { return ++m_iReferences; }
    int Release() override { return --m_iReferences; }
    int Write(const void* pData, int iSize) override
    {
        ++m_iCalls % 16 == 0 ? m_input.Freeze() : void();
        const int iTaken = m_iBytes >= m_iLimit ? -1 : m_iCalls % 9 == 0 ? 0 : (iSize + 1) / 2;
        m_strTaken.append(static_cast<const char*>(pData),
                          static_cast<std::size_t>(std::max(iTaken, 0)));
        m_iBytes = static_cast<int>(m_strTaken.size());
        return iTaken;
    }
    void SetEndOfStream() override { m_iReferencesAtEnd = m_iReferences; }

    CSafeStreamBuffer& m_input;
    const int m_iLimit;
    std::atomic<int> m_iReferences{0}, m_iBytes{0};
    int m_iReferencesAtEnd = 0, m_iCalls = 0;
    std::string m_strTaken;
};

// A writer, the copy thread, and this thread, which freezes and thaws the stream. Whoever is not
// woken never ends.
TEST(SafeStreamBuffer, LosesNoByteAndNoWakeUpBetweenThreads)
{
    constexpr int kBytes = 20'000;
    std::string strAll(kBytes, '\0');
    std::iota(strAll.begin(), strAll.end(), '\0');
    for (int iRound = 0; iRound < 6; ++iRound)
    {
        const bool bStop = iRound % 3 == 1, bRefuse = iRound % 3 == 2;
        auto* const pBuffer = new CBuffer;
        const CStickyScope ssBuffer(*pBuffer);
        COutput output(*pBuffer, bRefuse ? kBytes / 2 : kBytes);
        ASSERT_TRUE(pBuffer->SetBufferSize(97) && pBuffer->StartCopyThread(&output));
        std::atomic<bool> bEnd{false};
        std::jthread writer = StartTraced(
            [&]
            {
                for (int i = 0; i < kBytes && !bEnd;)
                {
                    const int iSize = std::min(1 + i % 31, kBytes - i);
                    i += std::max(pBuffer->Write(strAll.data() + i, iSize), 0);
                    mu::ThreadContextSwitch("full");
                }
                pBuffer->SetEndOfStream();
            });
        while (output.m_iReferences > 0)
        {
            pBuffer->Freeze();
            mu::ThreadContextSwitch("frozen");
            pBuffer->UnFreeze();
            mu::SleepMS(1);
            bEnd = bEnd || (bStop && output.m_iBytes > 99);
            bEnd ? pBuffer->FullStop() : void();
        }
        bEnd = true;
        writer.join();
        EXPECT_TRUE(strAll.starts_with(output.m_strTaken));
        EXPECT_EQ(output.m_iBytes == kBytes, !bStop && !bRefuse);
        EXPECT_EQ(output.m_iReferencesAtEnd, bRefuse ? 0 : 2); // the thread's and WriteTo()'s
    }
}

} // namespace
