#include "mu/memory_block.h"

#include <climits>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "tests/mu/failing_memory.h"

namespace
{

/// Everything that can be seen of a block.
struct SState
{
    std::string strData;
    unsigned long long llPosition;

    bool operator==(const SState&) const = default;
};

SState State(CMemBlockPtr& block)
{
    return {block.GetSize() > 0 ? std::string(block.GetData(), block.GetSize()) : "",
            block.GetPosition()};
}

std::ostream& operator<<(std::ostream& out, const SState& state)
{
    return out << testing::PrintToString(state.strData) << " at " << state.llPosition;
}

constexpr CMemBlockPtr::StaticBlock kStatic;

TEST(MemoryBlock, GrowsTwofoldOrAsFarAsNeeded)
{
    struct SStep
    {
        int iCount;
        unsigned int uSize;
    };
    constexpr SStep kSteps[] = {{5, 32}, {27, 32}, {1, 64}, {96, 129}, {129, 258}, {0, 258}};
    CMemBlockPtr block;
    std::string strAll;
    for (const SStep& step : kSteps)
    {
        const std::string strMore(static_cast<std::size_t>(step.iCount),
                                  static_cast<char>('a' + step.iCount % 26));
        EXPECT_EQ(block.Write(strMore.data(), step.iCount), step.iCount);
        strAll += strMore;
        EXPECT_EQ(block.GetSize(), step.uSize);
        EXPECT_EQ(block.GetPosition(), strAll.size());
    }
    EXPECT_EQ(std::string(block.GetData(), strAll.size()), strAll);
}

TEST(MemoryBlock, ReadsWithoutMoving)
{
    CMemBlockPtr block("0123456789", 10);
    char szOut[11] = {};
    ASSERT_TRUE(block.SetPosition(7));
    EXPECT_EQ(block.Read(szOut, 2), 2);
    EXPECT_EQ(block.Read(szOut, 9), 3);
    EXPECT_STREQ(szOut, "789");
    EXPECT_EQ(block.Read(nullptr, 0), 0);
    EXPECT_EQ(block.Read(nullptr, -4), -4);
    EXPECT_EQ(block.GetPosition(), 7U);

    ASSERT_TRUE(block.SetPosition(10));
    EXPECT_EQ(block.Read(szOut, 1), 0);
    EXPECT_FALSE(block.SetPosition(11));
    EXPECT_FALSE(block.SetPosition(0x100000000));
    EXPECT_EQ(block.GetPosition(), 10U);
    ASSERT_NE(block.Resize(6), nullptr);
    EXPECT_EQ(State(block), (SState{"012345", 10}));
    EXPECT_EQ(block.Read(szOut, 1), -4);
}

TEST(MemoryBlock, WritesBlocksInsideOnly)
{
    struct SCase
    {
        unsigned long long llPosition;
        unsigned int uSize;
        bool bFits;
    };
    constexpr SCase kCases[] = {
        {6, 4, true},           {7, 4, false},           {0, 10, true},
        {10, 0, true},          {11, 0, false},          {0, 11, false},
        {2, 0xFFFFFFFE, false}, {0x100000000, 1, false}, {ULLONG_MAX, 1, false},
    };
    for (const SCase& row : kCases)
    {
        CMemBlockPtr block("0123456789", 10);
        std::string strExpected = "0123456789";
        if (row.bFits)
        {
            strExpected.replace(static_cast<std::size_t>(row.llPosition), row.uSize, row.uSize,
                                'x');
        }
        EXPECT_EQ(block.WriteBlock(row.llPosition, row.uSize, "xxxxxxxxxx"), row.bFits);
        EXPECT_EQ(State(block), (SState{strExpected, 0}));
    }
}

TEST(MemoryBlock, AStaticBlockTakesWhatFits)
{
    char szBuffer[] = "0123456789";
    CMemBlockPtr block(kStatic, szBuffer, 10);
    ASSERT_TRUE(block.SetPosition(8));
    EXPECT_EQ(block.Write("abcde", -1), 0);
    EXPECT_EQ(block.Write("abcde", 5), 2);
    EXPECT_EQ(block.Write("abcde", 5), 0);
    EXPECT_EQ(State(block), (SState{"01234567ab", 10}));
    EXPECT_EQ(block.GetData(), szBuffer);

    EXPECT_EQ(block.ResizeIfNeeded(10), szBuffer);
    char* const pOwned = block.ResizeIfNeeded(11);
    EXPECT_NE(pOwned, szBuffer);
    std::memset(pOwned, '-', 11);
    EXPECT_EQ(State(block), (SState{"-----------", 10}));
    EXPECT_STREQ(szBuffer, "01234567ab");
}

TEST(MemoryBlock, CopiesKeepThePositionAndAssignmentDoesNot)
{
    char szBuffer[] = "0123456789";
    CMemBlockPtr wrapping(kStatic, szBuffer, 10);
    CMemBlockPtr owning("abcdef", 6);
    ASSERT_TRUE(wrapping.SetPosition(9));
    ASSERT_TRUE(owning.SetPosition(5));

    CMemBlockPtr wrappingCopy(wrapping);
    EXPECT_EQ(wrappingCopy.GetData(), szBuffer);
    EXPECT_EQ(State(wrappingCopy), (SState{"0123456789", 9}));
    CMemBlockPtr owningCopy(owning);
    EXPECT_NE(owningCopy.GetData(), owning.GetData());
    EXPECT_EQ(State(owningCopy), (SState{"abcdef", 5}));

    CMemBlockPtr target("xyz", 3);
    ASSERT_TRUE(target.SetPosition(2));
    EXPECT_EQ(&(target = owning), &target);
    EXPECT_EQ(State(target), (SState{"abcdef", 2}));
    target = wrapping;
    EXPECT_EQ(target.GetData(), szBuffer);
    EXPECT_EQ(State(target), (SState{"0123456789", 0}));
    ASSERT_TRUE(target.SetPosition(4));
    target = owning; // out of the static buffer, not into it
    EXPECT_EQ(State(target), (SState{"abcdef", 4}));
    EXPECT_STREQ(szBuffer, "0123456789");
    target = *&target;
    EXPECT_EQ(State(target), (SState{"abcdef", 4}));
    target = CMemBlockPtr();
    EXPECT_EQ(State(target), (SState{"", 4}));
}

TEST(MemoryBlock, EmptyBlocksAreOwned)
{
    char szBuffer[] = "0123456789";
    for (const bool bStatic : {false, true})
    {
        CMemBlockPtr block = bStatic ? CMemBlockPtr(kStatic, szBuffer, 10) : CMemBlockPtr("0", 1);
        ASSERT_TRUE(block.SetPosition(1));
        EXPECT_EQ(block.Resize(0), nullptr);
        EXPECT_EQ(block.GetData(), nullptr);
        EXPECT_EQ(State(block), (SState{"", 1}));
        EXPECT_EQ(block.Read(szBuffer, 1), -1);
        EXPECT_TRUE(block.SetPosition(0));
        EXPECT_EQ(block.Write("ab", 2), 2);
        EXPECT_EQ(block.GetSize(), 32U);
        EXPECT_TRUE(block.AssignData(nullptr, 0));
        EXPECT_EQ(State(block), (SState{"", 2}));
        block.Clear();
        EXPECT_EQ(State(block), (SState{"", 0}));
        EXPECT_TRUE(block.Create(0));
    }
    EXPECT_STREQ(szBuffer, "0123456789");
}

TEST(MemoryBlock, TakesItsOwnBytes)
{
    CMemBlockPtr block("0123456789", 10);
    ASSERT_TRUE(block.AssignData(block.GetData() + 3, 4));
    EXPECT_EQ(State(block), (SState{"3456", 0}));

    ASSERT_TRUE(block.SetPosition(2)); // the target overlaps the source
    EXPECT_EQ(block.Write(block.GetData(), 2), 2);
    EXPECT_EQ(State(block), (SState{"3434", 4}));

    // Doubling a large block moves it: the bytes must be read from the new place.
    const std::string strLarge(1 << 20, 'x');
    CMemBlockPtr large(strLarge.data(), static_cast<unsigned int>(strLarge.size()));
    ASSERT_TRUE(large.SetPosition(strLarge.size()));
    EXPECT_EQ(large.Write(large.GetData(), 1 << 20), 1 << 20);
    EXPECT_EQ(State(large), (SState{strLarge + strLarge, 2 << 20}));
}

TEST(MemoryBlock, WithoutMemoryNothingIsLost)
{
    CMemBlockPtr block("0123456789", 10);
    ASSERT_TRUE(block.SetPosition(8));
    CMemBlockPtr fresh;
    {
        const CFailingMemory noMemory;
        EXPECT_EQ(block.Resize(20), nullptr);
        EXPECT_EQ(block.ResizeIfNeeded(20), nullptr);
        EXPECT_FALSE(block.AssignData("abcdefghijklmnopqrst", 20));
        EXPECT_EQ(block.Write("abc", 3), 2);
        EXPECT_EQ(block.Write("abc", 3), 0);
        EXPECT_FALSE(fresh.Create(5));
        EXPECT_EQ(CMemBlockPtr("abc", 3).GetSize(), 0U);
        CMemBlockPtr copy(block);
        EXPECT_EQ(copy.GetSize(), 0U);
        EXPECT_EQ(copy.GetPosition(), 0U);
    }
    EXPECT_EQ(State(block), (SState{"01234567ab", 10}));
    EXPECT_EQ(State(fresh), (SState{"", 0}));
}

TEST(MemoryBlock, SumsThatWrapAreAFailedGrowth)
{
    // Only positions near the end of 32 bits wrap, and only a size made up gets there.
    char szBuffer[16];
    CMemBlockPtr block(kStatic, szBuffer, UINT_MAX);
    ASSERT_TRUE(block.SetPosition(UINT_MAX));
    EXPECT_EQ(block.Resize(0), nullptr);
    EXPECT_EQ(block.Write("abc", 3), INT_MIN); // it lies that far behind the end, or farther
    EXPECT_EQ(block.GetPosition(), UINT_MAX);
    EXPECT_EQ(block.GetSize(), 0U);
}

// Code built elsewhere calls through these tables; a member pointer of the Itanium C++ ABI tells
// the slot.
template <typename TMember>
std::size_t Slot(TMember member)
{
    std::uintptr_t words[2];
    static_assert(sizeof member == sizeof words);
    std::memcpy(words, &member, sizeof words);
#ifdef __arm__
    return words[0] / sizeof(void*);
#else
    return (words[0] - 1) / sizeof(void*);
#endif
}

TEST(MemoryBlock, VirtualSlotsAreInOrder)
{
    EXPECT_EQ(Slot(&CMemBlockPtr::WriteBlock), 0U);
    // 1 and 2: the two entries of the destructor
    EXPECT_EQ(Slot(&CMemBlockPtr::Read), 3U);
    EXPECT_EQ(Slot(&CMemBlockPtr::SetPosition), 4U);
    EXPECT_EQ(Slot(&CMemBlockPtr::GetPosition), 5U);
    EXPECT_EQ(Slot(&CMemBlockPtr::Write), 6U);
    EXPECT_EQ(Slot(&CMemBlockPtr::Flush), 7U);
    EXPECT_EQ(Slot(&IFileReader::GetPosition), 2U);
    EXPECT_EQ(Slot(&IFileWriter::Flush), 1U);
}

} // namespace
