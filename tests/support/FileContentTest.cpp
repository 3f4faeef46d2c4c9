#include "tests/support/KrFileContent.h"

#include <gtest/gtest.h>

#include <stdexcept>

using namespace KrTest;

TEST(FileContentTest, HolesReadAsZero)
{
    CKrFileContent content;
    content.Put(3, KrBytes{1, 2});
    content.Put(7, KrBytes{3});
    content.Resize(9);
    EXPECT_EQ(content.ToBytes(), (KrBytes{0, 0, 0, 1, 2, 0, 0, 3, 0}));
}

// Every way in which new bytes can overlap, separate or adjoin old ones, compared with a plain array.
TEST(FileContentTest, Put_OverOldBytesAndHoles_LikeAPlainArray)
{
    for (size_t position = 0; position < 14; ++position)
    {
        for (size_t count = 0; count + position <= 14; ++count)
        {
            CKrFileContent content;
            content.Resize(14);
            content.Put(2, KrBytes{1, 2, 3});
            content.Put(7, KrBytes{4, 5});
            content.Put(9, KrBytes{6});
            KrBytes plain{0, 0, 1, 2, 3, 0, 0, 4, 5, 6, 0, 0, 0, 0};
            ASSERT_EQ(content.ToBytes(), plain);

            KrBytes added(count);
            for (size_t index = 0; index < count; ++index)
                added[index] = plain[position + index] = static_cast<uint8_t>(100 + index);
            content.Put(position, added);
            ASSERT_EQ(content.ToBytes(), plain) << count << " bytes at " << position;
        }
    }
}

TEST(FileContentTest, Resize_CutsAndTheCutBytesDoNotComeBack)
{
    CKrFileContent content(KrBytes{1, 2, 3, 4, 5});
    content.Put(8, KrBytes{9});
    content.Resize(3);
    EXPECT_EQ(content.ToBytes(), (KrBytes{1, 2, 3}));
    content.AppendHole(6);
    EXPECT_EQ(content.ToBytes(), (KrBytes{1, 2, 3, 0, 0, 0, 0, 0, 0}));
}

TEST(FileContentTest, Read_EndsWithTheContentAndStartsAnywhere)
{
    const CKrFileContent content(KrBytes{1, 2, 3, 4, 5});
    KrBytes buffer(4, 0xCD);
    EXPECT_EQ(content.Read(3, buffer.data(), 4), 2u);
    EXPECT_EQ(buffer, (KrBytes{4, 5, 0xCD, 0xCD}));
    EXPECT_EQ(content.Read(5, buffer.data(), 4), 0u);
    EXPECT_EQ(content.Read(UINT64_MAX, buffer.data(), 4), 0u);
    EXPECT_THROW((void)content.Range(3, 3), std::out_of_range);
}

TEST(FileContentTest, ContentOf1TiB_HoldsOnlyStoredBytes)
{
    CKrFileContent content;
    content.Append(KrBytes{1});
    content.AppendHole(uint64_t{1} << 40);
    content.Append(KrBytes{2});
    content.PutU32(uint64_t{1} << 39, 0x04030201);
    EXPECT_EQ(content.Size(), (uint64_t{1} << 40) + 2);
    EXPECT_EQ(content.Range((uint64_t{1} << 39) - 1, 6), (KrBytes{0, 1, 2, 3, 4, 0}));
    EXPECT_EQ(content.Range(uint64_t{1} << 40, 2), (KrBytes{0, 2}));
    size_t held = 0;
    for (const auto& [position, bytes] : content.Extents())
        held += bytes.size();
    EXPECT_EQ(held, 6u);
    EXPECT_THROW((void)content.ToBytes(), std::length_error);
}
