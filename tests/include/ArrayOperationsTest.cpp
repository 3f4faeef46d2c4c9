// Inserting, removing, copying and freeing memory.
#include "KrRiffUtils/KrFramework.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <vector>

namespace
{
// Bytes of a size that is not a power of two, compared as a whole.
struct STriple
{
    uint8_t a, b, c;

    bool operator==(const STriple&) const = default;
};

using CIntArray = CArray<int>;

std::vector<int> Elements(const CIntArray& array)
{
    return std::vector<int>(array.GetData(), array.GetData() + array.GetSize());
}

class ArrayOperations : public testing::Test
{
protected:
    void Fill(std::initializer_list<int> values)
    {
        for (const int value : values)
            m_array.Add(value);
    }

    CIntArray m_array;
};
} // namespace

TEST_F(ArrayOperations, InsertAtTheFrontInTheMiddleAndAtTheEnd_MovesTheRest)
{
    Fill({1, 2, 3});
    m_array.InsertAt(0, 9);
    EXPECT_EQ(Elements(m_array), (std::vector{9, 1, 2, 3}));
    m_array.InsertAt(2, 8);
    EXPECT_EQ(Elements(m_array), (std::vector{9, 1, 8, 2, 3}));
    m_array.InsertAt(5, 7);
    EXPECT_EQ(Elements(m_array), (std::vector{9, 1, 8, 2, 3, 7}));
}

TEST_F(ArrayOperations, InsertAtSeveralTimes_RepeatsTheElement)
{
    Fill({1, 2, 3});
    m_array.InsertAt(1, 5, 4);
    EXPECT_EQ(Elements(m_array), (std::vector{1, 5, 5, 5, 5, 2, 3}));
    m_array.InsertAt(1, 6, 0);
    EXPECT_EQ(Elements(m_array), (std::vector{1, 5, 5, 5, 5, 2, 3}));
}

TEST_F(ArrayOperations, InsertAtBeyondTheEnd_FillsTheGapWithZeros)
{
    Fill({1});
    m_array.InsertAt(4, 5, 2);
    EXPECT_EQ(Elements(m_array), (std::vector{1, 0, 0, 0, 5, 5}));
}

TEST_F(ArrayOperations, InsertAtIntoAnEmptyArray_MakesIt)
{
    m_array.InsertAt(2, 5);
    EXPECT_EQ(Elements(m_array), (std::vector{0, 0, 5}));
}

TEST_F(ArrayOperations, InsertAtOfAnElementOfTheArrayItself_InsertsItsValue)
{
    Fill({1, 2, 3});
    m_array.FreeExtra();
    m_array.InsertAt(0, m_array[2], 2);
    EXPECT_EQ(Elements(m_array), (std::vector{3, 3, 1, 2, 3}));
}

TEST_F(ArrayOperations, InsertAtANegativePlaceOrCount_ThrowsAndChangesNothing)
{
    Fill({1, 2});
    EXPECT_THROW(m_array.InsertAt(-1, 5), CInvalidArgException);
    EXPECT_THROW(m_array.InsertAt(0, 5, -1), CInvalidArgException);
    EXPECT_EQ(Elements(m_array), (std::vector{1, 2}));
}

TEST_F(ArrayOperations, InsertAtWithAHugeCount_ThrowsAndChangesNothing)
{
    Fill({1, 2});
    EXPECT_THROW(m_array.InsertAt(1, 5, INTPTR_MAX / 8), CMemoryException);
    EXPECT_THROW(m_array.InsertAt(INTPTR_MAX / 4, 5), CMemoryException);
    EXPECT_EQ(Elements(m_array), (std::vector{1, 2}));
}

TEST_F(ArrayOperations, InsertAtWhereTheSizeWouldWrap_ThrowsAndChangesNothing)
{
    Fill({1, 2});
    EXPECT_ANY_THROW(m_array.InsertAt(1, 5, INTPTR_MAX));
    EXPECT_ANY_THROW(m_array.InsertAt(INTPTR_MAX, 5));
    EXPECT_ANY_THROW(m_array.InsertAt(INTPTR_MAX, 5, INTPTR_MAX));
    EXPECT_EQ(Elements(m_array), (std::vector{1, 2}));
}

TEST_F(ArrayOperations, RemoveAt_ClosesTheGap)
{
    Fill({1, 2, 3, 4, 5, 6});
    m_array.RemoveAt(0);
    EXPECT_EQ(Elements(m_array), (std::vector{2, 3, 4, 5, 6}));
    m_array.RemoveAt(1, 2);
    EXPECT_EQ(Elements(m_array), (std::vector{2, 5, 6}));
    m_array.RemoveAt(2);
    EXPECT_EQ(Elements(m_array), (std::vector{2, 5}));
    m_array.RemoveAt(0, 2);
    EXPECT_TRUE(m_array.IsEmpty());
}

TEST_F(ArrayOperations, RemoveAtNothing_ChangesNothing)
{
    Fill({1, 2});
    m_array.RemoveAt(0, 0);
    m_array.RemoveAt(2, 0);
    EXPECT_EQ(Elements(m_array), (std::vector{1, 2}));
}

TEST_F(ArrayOperations, RemoveAtOutOfRange_ThrowsAndChangesNothing)
{
    Fill({1, 2});
    EXPECT_THROW(m_array.RemoveAt(-1), CInvalidArgException);
    EXPECT_THROW(m_array.RemoveAt(2), CInvalidArgException);
    EXPECT_THROW(m_array.RemoveAt(3, 0), CInvalidArgException);
    EXPECT_THROW(m_array.RemoveAt(1, 2), CInvalidArgException);
    EXPECT_THROW(m_array.RemoveAt(0, -1), CInvalidArgException);
    EXPECT_THROW(m_array.RemoveAt(1, INTPTR_MAX), CInvalidArgException);
    EXPECT_EQ(Elements(m_array), (std::vector{1, 2}));
}

TEST_F(ArrayOperations, RemoveAll_EmptiesAndFreesTheMemory)
{
    Fill({1, 2, 3});
    m_array.RemoveAll();
    EXPECT_TRUE(m_array.IsEmpty());
    EXPECT_EQ(m_array.GetData(), nullptr);
    m_array.RemoveAll();
    EXPECT_EQ(m_array.Add(4), 0);
    EXPECT_EQ(Elements(m_array), (std::vector{4}));
}

TEST_F(ArrayOperations, ElementsAfterRemoveAll_AreZeroAgain)
{
    Fill({1, 2, 3});
    m_array.RemoveAll();
    m_array.SetSize(3);
    EXPECT_EQ(Elements(m_array), (std::vector{0, 0, 0}));
}

TEST_F(ArrayOperations, Copy_ReplacesTheContent)
{
    Fill({1, 2, 3});
    CIntArray longer;
    for (int index = 0; index < 10; ++index)
        longer.Add(index);
    longer.Copy(m_array);
    EXPECT_EQ(Elements(longer), (std::vector{1, 2, 3}));
    longer[0] = 9; // two arrays, two blocks of memory
    EXPECT_EQ(Elements(m_array), (std::vector{1, 2, 3}));

    CIntArray fresh;
    fresh.Copy(m_array);
    EXPECT_EQ(Elements(fresh), (std::vector{1, 2, 3}));
    fresh.Copy(CIntArray());
    EXPECT_TRUE(fresh.IsEmpty());
}

TEST_F(ArrayOperations, CopyOfItself_ChangesNothing)
{
    Fill({1, 2, 3});
    m_array.Copy(m_array);
    EXPECT_EQ(Elements(m_array), (std::vector{1, 2, 3}));
}

TEST_F(ArrayOperations, Append_AnswersWhereTheNewElementsBegin)
{
    Fill({1, 2});
    CIntArray other;
    EXPECT_EQ(m_array.Append(other), 2);
    other.Add(3);
    other.Add(4);
    EXPECT_EQ(m_array.Append(other), 2);
    EXPECT_EQ(Elements(m_array), (std::vector{1, 2, 3, 4}));
    EXPECT_EQ(Elements(other), (std::vector{3, 4}));
    CIntArray empty;
    EXPECT_EQ(empty.Append(other), 0);
    EXPECT_EQ(Elements(empty), (std::vector{3, 4}));
}

TEST_F(ArrayOperations, AppendOfItself_DoublesIt)
{
    Fill({1, 2, 3});
    m_array.FreeExtra();
    EXPECT_EQ(m_array.Append(m_array), 3);
    EXPECT_EQ(Elements(m_array), (std::vector{1, 2, 3, 1, 2, 3}));
}

TEST_F(ArrayOperations, AppendOfItself_TouchesNothingAfterItsNewEnd)
{
    m_array.SetSize(20);
    for (intptr_t index = 0; index < 20; ++index)
        m_array[index] = index < 3 ? 1 : -1;
    m_array.SetSize(3); // the spare capacity stays
    m_array.Append(m_array);
    ASSERT_EQ(m_array.GetSize(), 6);
    for (intptr_t index = 6; index < 20; ++index)
        EXPECT_EQ(m_array.GetData()[index], -1) << index;
}

TEST_F(ArrayOperations, FreeExtra_KeepsTheElements)
{
    Fill({1, 2, 3});
    m_array.SetSize(100'000);
    m_array.SetSize(3);
    m_array.FreeExtra();
    EXPECT_EQ(Elements(m_array), (std::vector{1, 2, 3}));
    m_array.FreeExtra();
    EXPECT_EQ(Elements(m_array), (std::vector{1, 2, 3}));
    m_array.Add(4);
    EXPECT_EQ(Elements(m_array), (std::vector{1, 2, 3, 4}));
}

TEST_F(ArrayOperations, FreeExtraOfAnEmptyArray_FreesAllMemory)
{
    m_array.FreeExtra();
    EXPECT_EQ(m_array.GetData(), nullptr);
    Fill({1, 2, 3});
    m_array.SetSize(0);
    EXPECT_NE(m_array.GetData(), nullptr);
    m_array.FreeExtra();
    EXPECT_EQ(m_array.GetData(), nullptr);
    EXPECT_TRUE(m_array.IsEmpty());
}

TEST(ArrayOfTriples, EveryOperation_KeepsTheElementsWhole)
{
    CArray<STriple> array;
    for (uint8_t index = 0; index < 50; ++index)
        array.Add({index, static_cast<uint8_t>(index + 100), static_cast<uint8_t>(index * 5)});
    array.InsertAt(10, {1, 2, 3}, 3);
    array.RemoveAt(0, 10);
    array.FreeExtra();
    ASSERT_EQ(array.GetSize(), 43);
    EXPECT_EQ(array[0], (STriple{1, 2, 3}));
    EXPECT_EQ(array[2], (STriple{1, 2, 3}));
    EXPECT_EQ(array[3], (STriple{10, 110, 50}));
    EXPECT_EQ(array[42], (STriple{49, 149, 245}));
    array.SetSize(44);
    EXPECT_EQ(array[43], (STriple{0, 0, 0}));
}
