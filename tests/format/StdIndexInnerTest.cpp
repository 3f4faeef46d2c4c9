// 'ix##', the index of chunks, as stored in the file.
#include "format/KrAviIndexes.h"
#include "format/KrFourCC.h"
#include "tests/format/RecordCodec.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace KrTest;

namespace
{
constexpr uint8_t kStdIndexHead[] = {
    'i',  'x',  '0',  '1',                          // chunk id
    0xF8, 0x7D, 0x00, 0x80,                         // chunk size
    0x02, 0x81,                                     // wLongsPerEntry
    0x10,                                           // bIndexSubType
    0x81,                                           // bIndexType
    0x0C, 0x0B, 0x0A, 0x89,                         // nEntriesInUse
    '0',  '1',  'w',  'b',                          // dwChunkId
    0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x81, // qwBaseOffset
    0x00, 0x00, 0x00, 0x00,                         // dwReserved
};

constexpr uint8_t kStdIndexEntry[] = {
    0x04, 0x03, 0x02, 0x81, // dwOffset
    0x08, 0x07, 0x06, 0x85, // dwSize, its highest bit set: not a key frame
};

constexpr uint8_t kWideEntry[] = {
    0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x81, // offset, 64 bits
    0x0C, 0x0B, 0x0A, 0x89,                         // size
    0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, // ignored
    0xEE, 0xEE, 0xEE, 0xEE,                         //
};

constexpr SKrStdIndexHead kStdIndexFields{.chunkId = KrFourCC("ix01"),
                                          .chunkSize = 0x80007DF8,
                                          .longsPerEntry = 0x8102,
                                          .indexSubType = kIndexSubType64Bit,
                                          .indexType = 0x81,
                                          .entriesInUse = 0x890A0B0C,
                                          .streamChunkId = KrFourCC("01wb"),
                                          .baseOffset = 0x8102030405060708};

void ExpectTheFields(const SKrStdIndexHead& head)
{
    EXPECT_EQ(head.chunkId, kStdIndexFields.chunkId);
    EXPECT_EQ(head.chunkSize, kStdIndexFields.chunkSize);
    EXPECT_EQ(head.longsPerEntry, kStdIndexFields.longsPerEntry);
    EXPECT_EQ(head.indexSubType, kStdIndexFields.indexSubType);
    EXPECT_EQ(head.indexType, kStdIndexFields.indexType);
    EXPECT_EQ(head.entriesInUse, kStdIndexFields.entriesInUse);
    EXPECT_EQ(head.streamChunkId, kStdIndexFields.streamChunkId);
    EXPECT_EQ(head.baseOffset, kStdIndexFields.baseOffset);
}
} // namespace

TEST(StdIndexHead, Layout_Is32BytesWithTheChunkHeader)
{
    EXPECT_EQ(sizeof kStdIndexHead, SKrStdIndexHead::kEncodedSize);
}

TEST(StdIndexHead, Bytes_DecodeToTheFields)
{
    CKrByteReader in(kStdIndexHead);
    SKrStdIndexHead head;
    ASSERT_TRUE(Decode(in, head));
    ExpectTheFields(head);
}

TEST(StdIndexHead, ReservedWord_IsReadAndPassedOver)
{
    std::vector<uint8_t> bytes = Prefix(kStdIndexHead, sizeof kStdIndexHead);
    std::fill_n(bytes.end() - 4, 4, uint8_t{0xFF});
    bytes.push_back(0x77);
    CKrByteReader in(bytes);
    SKrStdIndexHead head;
    ASSERT_TRUE(Decode(in, head));
    ExpectTheFields(head);
    EXPECT_EQ(in.U8(), 0x77u) << "the cursor is at the first entry";
}

TEST(StdIndexHead, Fields_EncodeToTheBytes)
{
    EXPECT_EQ(Encoded(kStdIndexFields), Prefix(kStdIndexHead, sizeof kStdIndexHead));
}

TEST(StdIndexHead, Default_IsAnIndexOfChunksWithTwoWordsToAnEntry)
{
    const std::vector<uint8_t> bytes = Encoded(SKrStdIndexHead{});
    EXPECT_EQ(bytes[8], 2u);  // wLongsPerEntry
    EXPECT_EQ(bytes[10], 0u); // bIndexSubType
    EXPECT_EQ(bytes[11], 1u); // bIndexType
    EXPECT_TRUE(std::all_of(bytes.begin() + 12, bytes.end(), [](uint8_t byte) { return byte == 0; }));
}

TEST(StdIndexHead, EveryShorterPrefix_IsRefused)
{
    for (size_t length = 0; length < sizeof kStdIndexHead; ++length)
    {
        const std::vector<uint8_t> bytes = Prefix(kStdIndexHead, length);
        CKrByteReader in(bytes);
        SKrStdIndexHead head;
        EXPECT_FALSE(Decode(in, head)) << length;
    }
}

TEST(StdIndexEntry, Bytes_DecodeToTheFields)
{
    const SKrStdIndexEntry entry = DecodeStdIndexEntry(kStdIndexEntry);
    EXPECT_EQ(sizeof kStdIndexEntry, SKrStdIndexEntry::kEncodedSize);
    EXPECT_EQ(entry.offset, 0x81020304u);
    EXPECT_EQ(entry.size, 0x85060708u);
    EXPECT_EQ(entry.size & SKrStdIndexEntry::kNotKeyFrame, 0x80000000u);
}

TEST(StdIndexEntry, Default_IsAllZeros)
{
    EXPECT_EQ(Encoded(SKrStdIndexEntry{}), std::vector<uint8_t>(SKrStdIndexEntry::kEncodedSize));
}

TEST(StdIndexEntry, Fields_EncodeToTheBytes)
{
    EXPECT_EQ(Encoded(SKrStdIndexEntry{.offset = 0x81020304, .size = 0x85060708}),
              Prefix(kStdIndexEntry, sizeof kStdIndexEntry));
}

TEST(WideIndexEntry, Bytes_DecodeToTheFields)
{
    const SKrWideIndexEntry entry = DecodeWideIndexEntry(kWideEntry);
    EXPECT_EQ(sizeof kWideEntry, SKrWideIndexEntry::kEncodedSize);
    EXPECT_EQ(entry.offset, 0x8102030405060708u);
    EXPECT_EQ(entry.size, 0x890A0B0Cu);
}
