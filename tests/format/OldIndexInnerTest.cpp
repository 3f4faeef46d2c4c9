// An entry of 'idx1' as stored in the file.
#include "format/KrAviIndexes.h"
#include "format/KrFourCC.h"
#include "tests/format/RecordCodec.h"

#include <gtest/gtest.h>

using namespace KrTest;

namespace
{
constexpr uint8_t kOldIndexBytes[] = {
    '0',  '1',  'w',  'b',  // ckid
    0x10, 0x01, 0x00, 0x80, // dwFlags
    0x04, 0x03, 0x02, 0x81, // dwChunkOffset
    0x08, 0x07, 0x06, 0x85, // dwChunkLength
};
} // namespace

TEST(OldIndexEntry, Layout_Is16Bytes)
{
    EXPECT_EQ(sizeof kOldIndexBytes, SKrOldIndexEntry::kEncodedSize);
}

TEST(OldIndexEntry, Bytes_DecodeToTheFields)
{
    const SKrOldIndexEntry entry = DecodeOldIndexEntry(kOldIndexBytes);
    EXPECT_EQ(entry.chunkId, KrFourCC("01wb"));
    EXPECT_EQ(entry.flags, 0x80000110u);
    EXPECT_EQ(entry.offset, 0x81020304u);
    EXPECT_EQ(entry.size, 0x85060708u);
}

TEST(OldIndexEntry, Default_IsAllZeros)
{
    EXPECT_EQ(Encoded(SKrOldIndexEntry{}), std::vector<uint8_t>(SKrOldIndexEntry::kEncodedSize));
}

TEST(OldIndexEntry, Fields_EncodeToTheBytes)
{
    const SKrOldIndexEntry entry{
        .chunkId = KrFourCC("01wb"), .flags = 0x80000110, .offset = 0x81020304, .size = 0x85060708};
    EXPECT_EQ(Encoded(entry), Prefix(kOldIndexBytes, sizeof kOldIndexBytes));
}
