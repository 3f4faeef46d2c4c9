// The header of a chunk, and where the next one starts.
#include "format/KrChunkHeader.h"
#include "tests/format/RecordCodec.h"

#include <gtest/gtest.h>

using namespace KrTest;

namespace
{
constexpr uint8_t kListHeader[] = {
    'L',  'I',  'S',  'T',  // id
    0x04, 0x03, 0x02, 0x81, // size
    'm',  'o',  'v',  'i',  // list type
};

constexpr uint64_t kFourGiB = uint64_t{1} << 32;
} // namespace

TEST(ChunkHeader, TwelveBytes_GiveIdSizeAndType)
{
    const SKrChunkHeader header = DecodeChunkHeader(kListHeader);
    EXPECT_EQ(header.id, kFccList);
    EXPECT_EQ(header.size, 0x81020304u);
    EXPECT_EQ(header.firstData, kFccMovi);
    EXPECT_EQ(sizeof kListHeader, kListHeaderSize);
    EXPECT_EQ(kChunkHeaderSize, 8u);
}

TEST(ChunkHeader, FewerThanTwelveBytes_HaveNoType)
{
    for (size_t length = kChunkHeaderSize; length < kListHeaderSize; ++length)
    {
        const SKrChunkHeader header = DecodeChunkHeader(Prefix(kListHeader, length));
        EXPECT_EQ(header.id, kFccList) << length;
        EXPECT_EQ(header.size, 0x81020304u) << length;
        EXPECT_EQ(header.firstData, 0u) << length;
    }
}

TEST(ChunkHeader, OnlyRiffAndList_AreContainers)
{
    EXPECT_TRUE(IsContainer(kFccRiff));
    EXPECT_TRUE(IsContainer(kFccList));
    EXPECT_FALSE(IsContainer(kFccMovi));
    EXPECT_FALSE(IsContainer(kFccJunk));
    EXPECT_FALSE(IsContainer(KrFourCC("RIFX")));
    EXPECT_FALSE(IsContainer(KrFourCC("list")));
    EXPECT_FALSE(IsContainer(0));
}

TEST(ChunkHeader, OddEnd_IsRoundedUpToEven)
{
    EXPECT_EQ(RoundUpToEven(0), 0u);
    EXPECT_EQ(RoundUpToEven(1), 2u);
    EXPECT_EQ(RoundUpToEven(2), 2u);
    EXPECT_EQ(RoundUpToEven(kFourGiB - 1), kFourGiB);
    EXPECT_EQ(RoundUpToEven(kFourGiB + 1), kFourGiB + 2);
}

TEST(ChunkHeader, NextChunk_StartsAfterTheDataAtAnEvenPosition)
{
    const auto after = [](uint64_t offset, uint32_t size)
    {
        return PositionAfter(SKrRiffChunkInfo{kFccJunk, size, 0, offset});
    };
    EXPECT_EQ(after(8, 0), 8u);
    EXPECT_EQ(after(8, 1), 10u);
    EXPECT_EQ(after(8, 2), 10u);
    EXPECT_EQ(after(9, 1), 10u) << "the end counts, not the size";
    EXPECT_EQ(after(9, 2), 12u);
}

TEST(ChunkHeader, NextChunkBeyondFourGiB_HasItsWholePosition)
{
    const SKrRiffChunkInfo chunk{kFccJunk, 0xFFFFFFFF, 0, kFourGiB + 8};
    EXPECT_EQ(PositionAfter(chunk), 2 * kFourGiB + 8);
}

TEST(ChunkHeader, LowHalf_DropsTheHighOne)
{
    EXPECT_EQ(Low32(0x123456789ABCDEF0), 0x9ABCDEF0u);
    EXPECT_EQ(Low32(kFourGiB), 0u);
}
