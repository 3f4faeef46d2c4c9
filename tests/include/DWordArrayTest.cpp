// The array of 32-bit values: the same operations as CArray, on values instead of records.
#include "KrRiffUtils/KrFramework.h"

#include <gtest/gtest.h>

#include <type_traits>

static_assert(std::is_base_of_v<CArray<uint32_t, uint32_t>, CDWordArray>);

TEST(DWordArray, NewArray_IsAnEmptyStandIn)
{
    const CDWordArray array;
    EXPECT_TRUE(array.IsStandIn());
    EXPECT_TRUE(array.IsEmpty());
    EXPECT_EQ(array.GetSize(), 0);
    EXPECT_EQ(array.GetCount(), 0);
    EXPECT_EQ(array.GetUpperBound(), -1);
    EXPECT_EQ(array.GetData(), nullptr);
    EXPECT_EQ(sizeof array, 40u);
}

TEST(DWordArray, AddedValues_KeepAll32Bits)
{
    CDWordArray array;
    EXPECT_EQ(array.Add(0x63643030u), 0);
    EXPECT_EQ(array.Add(0xFFFFFFFFu), 1);
    EXPECT_EQ(array.Add(0u), 2);
    ASSERT_EQ(array.GetSize(), 3);
    EXPECT_EQ(array[0], 0x63643030u);
    EXPECT_EQ(array.GetAt(1), 0xFFFFFFFFu);
    EXPECT_EQ(array.GetData()[2], 0u);
    EXPECT_EQ(array.GetUpperBound(), 2);
}

TEST(DWordArray, EveryOperation_WorksOnPlainValues)
{
    CDWordArray array;
    array.SetSize(2);
    array.SetAt(0, 10);
    array.ElementAt(1) = 20;
    array.InsertAt(1, 15, 2);
    array[3] += 1;
    CDWordArray other;
    other.Copy(array);
    EXPECT_EQ(other.Append(array), 4);
    other.RemoveAt(0, 3);
    other.FreeExtra();
    ASSERT_EQ(other.GetSize(), 5);
    const uint32_t expected[] = {21, 10, 15, 15, 21};
    for (intptr_t index = 0; index < 5; ++index)
        EXPECT_EQ(other[index], expected[index]) << index;
    other.RemoveAll();
    EXPECT_TRUE(other.IsEmpty());
}

TEST(DWordArray, IndexOutOfRange_Throws)
{
    CDWordArray array;
    EXPECT_THROW((void)array[0], CInvalidArgException);
    array.Add(1);
    EXPECT_THROW((void)array.GetAt(1), CInvalidArgException);
    EXPECT_THROW(array.SetAt(-1, 5), CInvalidArgException);
    EXPECT_EQ(array[0], 1u);
}
