// 'indx', the index of indexes, as stored in the file.
#include "format/KrAviIndexes.h"
#include "format/KrFourCC.h"
#include "tests/format/RecordCodec.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace KrTest;

namespace
{
constexpr uint8_t kSuperIndexHead[] = {
    'i',  'n',  'd',  'x',  // chunk id
    0xF8, 0x7D, 0x00, 0x80, // chunk size
    0x04, 0x81,             // wLongsPerEntry
    0x10,                   // bIndexSubType
    0x82,                   // bIndexType
    0x0C, 0x0B, 0x0A, 0x89, // nEntriesInUse
    '0',  '0',  'd',  'b',  // dwChunkId
    0x10, 0x0F, 0x0E, 0x8D, // dwReserved
    0x14, 0x13, 0x12, 0x91, //
    0x18, 0x17, 0x16, 0x95, //
};

constexpr uint8_t kSuperIndexEntry[] = {
    0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x81, // qwOffset
    0x0C, 0x0B, 0x0A, 0x89,                         // dwSize
    0x10, 0x0F, 0x0E, 0x8D,                         // dwDuration
};

constexpr SKrSuperIndexHead kSuperIndexFields{.chunkId = kFccIndx,
                                              .chunkSize = 0x80007DF8,
                                              .longsPerEntry = 0x8104,
                                              .indexSubType = kIndexSubType64Bit,
                                              .indexType = 0x82,
                                              .entriesInUse = 0x890A0B0C,
                                              .streamChunkId = KrFourCC("00db"),
                                              .reserved = {0x8D0E0F10, 0x91121314, 0x95161718}};
} // namespace

TEST(SuperIndexHead, Layout_Is32BytesWithTheChunkHeader)
{
    EXPECT_EQ(sizeof kSuperIndexHead, SKrSuperIndexHead::kEncodedSize);
    EXPECT_EQ(kIndexSubTypeDefault, 0u);
    EXPECT_EQ(kIndexSubType64Bit, 0x10u);
    EXPECT_EQ(kIndexOfIndexes, 0u);
    EXPECT_EQ(kIndexOfChunks, 1u);
}

TEST(SuperIndexHead, Bytes_DecodeToTheFields)
{
    CKrByteReader in(kSuperIndexHead);
    SKrSuperIndexHead head;
    ASSERT_TRUE(Decode(in, head));
    EXPECT_EQ(head.chunkId, kSuperIndexFields.chunkId);
    EXPECT_EQ(head.chunkSize, kSuperIndexFields.chunkSize);
    EXPECT_EQ(head.longsPerEntry, kSuperIndexFields.longsPerEntry);
    EXPECT_EQ(head.indexSubType, kSuperIndexFields.indexSubType);
    EXPECT_EQ(head.indexType, kSuperIndexFields.indexType);
    EXPECT_EQ(head.entriesInUse, kSuperIndexFields.entriesInUse);
    EXPECT_EQ(head.streamChunkId, kSuperIndexFields.streamChunkId);
    EXPECT_EQ(head.reserved[0], kSuperIndexFields.reserved[0]);
    EXPECT_EQ(head.reserved[1], kSuperIndexFields.reserved[1]);
    EXPECT_EQ(head.reserved[2], kSuperIndexFields.reserved[2]);
}

TEST(SuperIndexHead, Fields_EncodeToTheBytes)
{
    EXPECT_EQ(Encoded(kSuperIndexFields), Prefix(kSuperIndexHead, sizeof kSuperIndexHead));
}

TEST(SuperIndexHead, Default_IsAnIndexOfIndexesWithFourWordsToAnEntry)
{
    const std::vector<uint8_t> bytes = Encoded(SKrSuperIndexHead{});
    EXPECT_EQ(bytes[8], 4u);  // wLongsPerEntry
    EXPECT_EQ(bytes[10], 0u); // bIndexSubType
    EXPECT_EQ(bytes[11], 0u); // bIndexType
    EXPECT_EQ(GetLe32(&bytes[12]), 0u) << "nEntriesInUse";
    EXPECT_TRUE(std::all_of(bytes.begin() + 16, bytes.end(), [](uint8_t byte) { return byte == 0; }));
}

TEST(SuperIndexHead, EveryShorterPrefix_IsRefused)
{
    for (size_t length = 0; length < sizeof kSuperIndexHead; ++length)
    {
        const std::vector<uint8_t> bytes = Prefix(kSuperIndexHead, length);
        CKrByteReader in(bytes);
        SKrSuperIndexHead head;
        EXPECT_FALSE(Decode(in, head)) << length;
    }
}

TEST(SuperIndexEntry, Bytes_DecodeToTheFields)
{
    const SKrSuperIndexEntry entry = DecodeSuperIndexEntry(kSuperIndexEntry);
    EXPECT_EQ(sizeof kSuperIndexEntry, SKrSuperIndexEntry::kEncodedSize);
    EXPECT_EQ(entry.position, 0x8102030405060708u);
    EXPECT_EQ(entry.size, 0x890A0B0Cu);
    EXPECT_EQ(entry.duration, 0x8D0E0F10u);
}

TEST(SuperIndexEntry, Default_IsAllZeros)
{
    EXPECT_EQ(Encoded(SKrSuperIndexEntry{}), std::vector<uint8_t>(SKrSuperIndexEntry::kEncodedSize));
}

TEST(SuperIndexEntry, Fields_EncodeToTheBytes)
{
    const SKrSuperIndexEntry entry{
        .position = 0x8102030405060708, .size = 0x890A0B0C, .duration = 0x8D0E0F10};
    EXPECT_EQ(Encoded(entry), Prefix(kSuperIndexEntry, sizeof kSuperIndexEntry));
}
