// The array that carries stream indexes across the library's interface.
#include "KrRiffUtils/KrFramework.h"
#include "KrRiffUtils/KrRiffTypes.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <initializer_list>
#include <vector>

namespace
{
using CIntArray = CArray<int>;
using CEntryArray = CArray<SKrChunkIndexEntry>;

std::vector<int> Content(const CIntArray& array)
{
    return std::vector<int>(array.GetData(), array.GetData() + array.GetSize());
}

void Fill(CIntArray& array, std::initializer_list<int> values)
{
    array.RemoveAll();
    for (const int value : values)
        array.Add(value);
}

// How often the elements moved to another place or the capacity had to change while `count` were added.
int CountMoves(CIntArray& array, int count)
{
    int moves = 0;
    for (int index = 0; index < count; ++index)
    {
        const int* const before = array.GetData();
        array.Add(index);
        moves += array.GetData() != before ? 1 : 0;
    }
    return moves;
}
} // namespace

TEST(Array, NewArray_IsEmptyAndHoldsNoMemory)
{
    const CIntArray array;
    EXPECT_TRUE(array.IsStandIn());
    EXPECT_TRUE(array.IsEmpty());
    EXPECT_EQ(array.GetSize(), 0);
    EXPECT_EQ(array.GetCount(), 0);
    EXPECT_EQ(array.GetUpperBound(), -1);
    EXPECT_EQ(array.GetData(), nullptr);
}

TEST(Array, MemoryThatIsNotAStandIn_IsDetected)
{
    alignas(CIntArray) unsigned char foreign[sizeof(CIntArray)];
    for (const int filler : {0x00, 0x5A, 0xFF})
    {
        std::memset(foreign, filler, sizeof foreign);
        EXPECT_FALSE(reinterpret_cast<const CIntArray*>(foreign)->IsStandIn());
    }
}

TEST(ArraySetSize, Growing_KeepsTheElementsAndAddsZeros)
{
    CIntArray array;
    Fill(array, {1, 2, 3});
    array.SetSize(6);
    EXPECT_EQ(Content(array), (std::vector{1, 2, 3, 0, 0, 0}));
    EXPECT_EQ(array.GetCount(), 6);
    EXPECT_EQ(array.GetUpperBound(), 5);
    EXPECT_FALSE(array.IsEmpty());
}

TEST(ArraySetSize, Shrinking_KeepsTheFirstElements)
{
    CIntArray array;
    Fill(array, {1, 2, 3, 4});
    array.SetSize(2);
    EXPECT_EQ(Content(array), (std::vector{1, 2}));
}

TEST(ArraySetSize, GrowingAgainAfterShrinking_BringsZerosNotTheOldElements)
{
    CIntArray array;
    Fill(array, {1, 2, 3, 4});
    array.SetSize(1);
    array.SetSize(4);
    EXPECT_EQ(Content(array), (std::vector{1, 0, 0, 0}));
    array.SetSize(0);
    EXPECT_TRUE(array.IsEmpty());
    array.SetSize(2);
    EXPECT_EQ(Content(array), (std::vector{0, 0}));
}

TEST(ArraySetSize, AfterElementsWereAddedAfterALargeFreshBlock_NewElementsAreZero)
{
    CIntArray array;
    array.SetSize(100);
    for (intptr_t index = 0; index < 100; ++index)
        array[index] = -1;
    array.SetSize(1);
    array.FreeExtra();
    array.SetSize(300);
    for (intptr_t index = 1; index < 300; ++index)
        ASSERT_EQ(array[index], 0) << index;
    EXPECT_EQ(array[0], -1);
}

TEST(ArraySetSize, OfAFreshArray_IsZeroFilledUpToManyMegabytes)
{
    CEntryArray array;
    array.SetSize(500'000);
    ASSERT_EQ(array.GetSize(), 500'000);
    for (intptr_t index = 0; index < array.GetSize(); ++index)
    {
        ASSERT_EQ(array[index].position, 0u);
        ASSERT_EQ(array[index].size, 0u);
        ASSERT_EQ(array[index].reserved, 0u);
    }
}

TEST(ArraySetSize, NegativeSize_ThrowsAndChangesNothing)
{
    CIntArray array;
    Fill(array, {1, 2});
    EXPECT_THROW(array.SetSize(-1), CInvalidArgException);
    EXPECT_THROW(array.SetSize(INTPTR_MIN), CInvalidArgException);
    EXPECT_EQ(Content(array), (std::vector{1, 2}));
}

TEST(ArraySetSize, HugeSize_ThrowsAndChangesNothing)
{
    CEntryArray array;
    array.Add({1, 2, 3});
    const SKrChunkIndexEntry* const data = array.GetData();
    for (const intptr_t size : {INTPTR_MAX, INTPTR_MAX / 2, INTPTR_MAX / 16 + 1, INTPTR_MAX / 16,
                                (intptr_t{1} << 60) + 1}) // 16 bytes modulo 2^64
    {
        EXPECT_THROW(array.SetSize(size), CMemoryException) << size;
        ASSERT_EQ(array.GetSize(), 1);
        EXPECT_EQ(array.GetData(), data);
        EXPECT_EQ(array[0].position, 1u);
    }
    array.Add({4, 5, 6});
    EXPECT_EQ(array[1].position, 4u);
}

TEST(ArraySetSize, HugeSizeOfAFreshArray_ThrowsAndLeavesItEmpty)
{
    CEntryArray array;
    EXPECT_THROW(array.SetSize(INTPTR_MAX / 16), CMemoryException);
    EXPECT_TRUE(array.IsEmpty());
    EXPECT_EQ(array.GetData(), nullptr);
    array.SetSize(3);
    EXPECT_EQ(array.GetSize(), 3);
}

TEST(ArraySetSize, GrowBy_LeavesRoomInSuchSteps)
{
    CIntArray array;
    array.SetSize(1, 1000);
    array.Add(7);
    const int* const data = array.GetData();
    for (int index = 2; index < 1001; ++index)
        array.Add(index);
    EXPECT_EQ(array.GetData(), data);
    EXPECT_EQ(array.GetSize(), 1001);
    EXPECT_EQ(array[1], 7);
    EXPECT_EQ(array[1000], 1000);
}

TEST(ArrayTrySetSize, NegativeAndHugeSizes_AreRefusedAndChangeNothing)
{
    CIntArray array;
    Fill(array, {1, 2});
    for (const intptr_t size : {intptr_t{-1}, INTPTR_MIN, INTPTR_MAX, INTPTR_MAX / 4 + 1, INTPTR_MAX / 4,
                                (intptr_t{1} << 62) + 3}) // 12 bytes modulo 2^64
    {
        EXPECT_FALSE(array.TrySetSize(size)) << size;
        EXPECT_EQ(Content(array), (std::vector{1, 2})) << size;
    }
}

TEST(ArrayTrySetSize, PossibleSizes_AreSet)
{
    CIntArray array;
    EXPECT_TRUE(array.TrySetSize(0));
    EXPECT_TRUE(array.IsEmpty());
    EXPECT_TRUE(array.TrySetSize(3));
    EXPECT_EQ(Content(array), (std::vector{0, 0, 0}));
    array[0] = 5;
    EXPECT_TRUE(array.TrySetSize(1));
    EXPECT_EQ(Content(array), (std::vector{5}));
}

TEST(ArrayAccess, EveryWay_ReachesTheSameElement)
{
    CIntArray array;
    Fill(array, {10, 20, 30});
    array.SetAt(0, 11);
    array[1] = 21;
    array.ElementAt(2) = 31;
    EXPECT_EQ(Content(array), (std::vector{11, 21, 31}));
    array.GetAt(0) = 12;
    array.GetData()[1] = 22;
    const CIntArray& same = array;
    EXPECT_EQ(same[0], 12);
    EXPECT_EQ(same.GetAt(1), 22);
    EXPECT_EQ(same.ElementAt(2), 31);
    EXPECT_EQ(&same[1], same.GetData() + 1);
    EXPECT_EQ(&array.ElementAt(1), &array.GetAt(1));
}

TEST(ArrayAccess, IndexOutOfRange_Throws)
{
    CIntArray array;
    Fill(array, {1, 2, 3});
    array.SetSize(2); // the third element's memory is still allocated
    const CIntArray& same = array;
    for (const intptr_t index : {intptr_t{2}, intptr_t{3}, intptr_t{-1}, INTPTR_MAX, INTPTR_MIN})
    {
        EXPECT_THROW((void)array[index], CInvalidArgException) << index;
        EXPECT_THROW((void)array.GetAt(index), CInvalidArgException) << index;
        EXPECT_THROW((void)array.ElementAt(index), CInvalidArgException) << index;
        EXPECT_THROW((void)same[index], CInvalidArgException) << index;
        EXPECT_THROW((void)same.GetAt(index), CInvalidArgException) << index;
        EXPECT_THROW((void)same.ElementAt(index), CInvalidArgException) << index;
        EXPECT_THROW(array.SetAt(index, 9), CInvalidArgException) << index;
    }
    EXPECT_EQ(Content(array), (std::vector{1, 2}));
}

TEST(ArrayAccess, EmptyArray_HasNoElement)
{
    CIntArray array;
    EXPECT_THROW((void)array[0], CInvalidArgException);
    EXPECT_THROW((void)array.GetAt(0), CInvalidArgException);
    EXPECT_THROW(array.SetAt(0, 1), CInvalidArgException);
}

TEST(ArrayAdd, Elements_ComeInOrderWithTheirIndex)
{
    CIntArray array;
    for (int index = 0; index < 1000; ++index)
        ASSERT_EQ(array.Add(index * 3), index);
    ASSERT_EQ(array.GetSize(), 1000);
    for (intptr_t index = 0; index < 1000; ++index)
        ASSERT_EQ(array[index], index * 3);
}

TEST(ArrayAdd, ALongRun_MovesTheElementsRarely)
{
    CIntArray array;
    EXPECT_LT(CountMoves(array, 1'000'000), 60);
    EXPECT_EQ(array[999'999], 999'999);
}

TEST(ArrayAdd, AnElementOfTheArrayItself_IsCopiedBeforeItMoves)
{
    CEntryArray array;
    array.Add({0x1122334455667788, 0xAABBCCDD, 0});
    for (int count = 1; count < 200; ++count)
    {
        array.FreeExtra(); // the next element makes it move
        array.Add(array[count - 1]);
        ASSERT_EQ(array[count].position, 0x1122334455667788u);
        ASSERT_EQ(array[count].size, 0xAABBCCDDu);
    }
}
