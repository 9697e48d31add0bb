#include "mu/memory_block.h"

#include "tests/support/failing_heap.h"
#include "tests/support/testing.h"

namespace
{

using namespace std::string_literals;

/// Everything that can be seen of a block: its bytes and its position.
std::string State(CMemBlockPtr& block)
{
    return std::string(block.GetData(), block.GetData() + block.GetSize()) + '@' +
           std::to_string(block.GetPosition());
}

constexpr CMemBlockPtr::StaticBlock kStatic;

TEST(MemoryBlock, GrowsTwofoldOrAsFarAsNeeded)
{
    CMemBlockPtr block(0U);
    std::string strAll;
    for (const auto& [iCount, uSize] :
         {std::pair(5, 32U), {27, 32U}, {1, 64U}, {96, 129U}, {129, 258U}, {0, 258U}})
    {
        const std::string strMore(static_cast<std::size_t>(iCount), static_cast<char>(iCount));
        EXPECT_EQ(block.Write(strMore.data(), iCount), iCount);
        strAll += strMore;
        EXPECT_EQ(block.GetSize(), uSize);
    }
    CMemBlockPtr created(0U);
    EXPECT_TRUE(block.Flush());
    EXPECT_TRUE(created.Create(5));
    EXPECT_EQ(created.GetSize(), 5);
    EXPECT_EQ(State(block), strAll + "@258");
}

TEST(MemoryBlock, ReadsAndWritesBlocksInsideOnlyAndWithoutMoving)
{
    CMemBlockPtr block("0123456789", 10);
    char szOut[11] = {};
    EXPECT_TRUE(block.SetPosition(7));
    EXPECT_EQ(block.Read(szOut, 9), 3);
    EXPECT_EQ(szOut, "789"s);
    EXPECT_EQ(block.Read(nullptr, -4), -4);
    EXPECT_TRUE(block.SetPosition(10));
    EXPECT_FALSE(block.SetPosition(11));
    EXPECT_FALSE(block.SetPosition(0x100000000));
    using C = std::tuple<unsigned long long, unsigned int, bool>;
    for (const auto& [llPosition, uSize, bFits] :
         {C{4, 6, true}, C{10, 0, true}, C{7, 4, false}, C{11, 0, false}, C{2, 0xFFFFFFFE, false},
          C{ULLONG_MAX, 1, false}, C{0x100000000, 1, false}})
        EXPECT_EQ(block.WriteBlock(llPosition, uSize, "xxxxxxxxxx"), bFits) << llPosition;
    ASSERT_NE(block.Resize(6), nullptr);
    EXPECT_EQ(State(block), "0123xx@10");
    EXPECT_EQ(block.Read(szOut, 1), -4);
}

TEST(MemoryBlock, AStaticBlockTakesWhatFits)
{
    char szBuffer[] = "0123456789";
    CMemBlockPtr block(kStatic, szBuffer, 10);
    EXPECT_TRUE(block.SetPosition(8));
    EXPECT_EQ(block.Write("abcde", -1), 0);
    EXPECT_EQ(block.Write("abcde", 5), 2);
    EXPECT_EQ(block.Write("abcde", 5), 0);
    EXPECT_EQ(State(block), "01234567ab@10");
    EXPECT_EQ(block.ResizeIfNeeded(10), szBuffer);
    EXPECT_NE(block.ResizeIfNeeded(11), szBuffer);
    EXPECT_STREQ(szBuffer, "01234567ab");
}

TEST(MemoryBlock, CopiesKeepThePositionAndAssignmentDoesNot)
{
    char szBuffer[] = "0123456789";
    CMemBlockPtr wrapping(kStatic, szBuffer, 10);
    CMemBlockPtr owning("abcdef", 6);
    ASSERT_TRUE(wrapping.SetPosition(9) && owning.SetPosition(5));
    CMemBlockPtr wrappingCopy(wrapping), owningCopy(owning);
    EXPECT_EQ(wrappingCopy.GetData(), szBuffer);
    EXPECT_NE(owningCopy.GetData(), owning.GetData());
    EXPECT_EQ(State(wrappingCopy), "0123456789@9");
    EXPECT_EQ(State(owningCopy), "abcdef@5");

    CMemBlockPtr target("xyz", 3);
    ASSERT_TRUE(target.SetPosition(2));
    target = owning;
    EXPECT_EQ(State(target), "abcdef@2");
    target = wrapping;
    EXPECT_EQ(target.GetData(), szBuffer);
    EXPECT_EQ(State(target), "0123456789@0");
    target = owning; // out of the static buffer, not into it
    target = *&target;
    EXPECT_EQ(State(target), "abcdef@0");
    EXPECT_STREQ(szBuffer, "0123456789");
}

TEST(MemoryBlock, TakesItsOwnBytes)
{
    CMemBlockPtr block("0123456789", 10);
    EXPECT_TRUE(block.AssignData(block.GetData() + 3, 4));
    EXPECT_EQ(State(block), "3456@0");
    ASSERT_TRUE(block.SetPosition(2)); // the target overlaps the source
    EXPECT_EQ(block.Write(block.GetData(), 2), 2);
    EXPECT_EQ(State(block), "3434@4");

    // Doubling a large block moves it: the bytes must be read from the new place.
    const std::string strLarge(1 << 20, 'x');
    CMemBlockPtr large(strLarge.data(), 1 << 20);
    ASSERT_TRUE(large.SetPosition(strLarge.size()));
    EXPECT_EQ(large.Write(large.GetData(), 1 << 20), 1 << 20);
    EXPECT_EQ(State(large), strLarge + strLarge + "@2097152");
}

TEST(MemoryBlock, WithoutMemoryNothingIsLost)
{
    if (!CFailingHeap::kAvailable)
        GTEST_SKIP();
    CMemBlockPtr block("0123456789", 10);
    ASSERT_TRUE(block.SetPosition(8));
    {
        const CFailingHeap noMemory(0);
        EXPECT_EQ(block.Resize(20), nullptr);
        EXPECT_EQ(block.ResizeIfNeeded(20), nullptr);
        EXPECT_FALSE(block.AssignData("abcdefghijklmnopqrst", 20));
        EXPECT_EQ(block.Write("abc", 3), 2);
        CMemBlockPtr copy(block);
        EXPECT_EQ(State(copy), "@0");
        EXPECT_FALSE(copy.Create(5));
    }
    EXPECT_EQ(State(block), "01234567ab@10");
}

TEST(MemoryBlock, SumsThatWrapAreAFailedGrowth)
{
    // Only positions near the end of 32 bits wrap, and only a size made up gets there.
    char szBuffer[16];
    CMemBlockPtr block(kStatic, szBuffer, UINT_MAX);
    ASSERT_TRUE(block.SetPosition(UINT_MAX));
    EXPECT_EQ(block.Resize(0), nullptr);
    EXPECT_EQ(block.Write("abc", 3), INT_MIN); // it lies that far behind the end, or farther
    EXPECT_EQ(State(block), "@4294967295");
}

} // namespace
