// 'avih' as stored in the file.
#include "format/KrAviHeaders.h"
#include "tests/format/RecordCodec.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace KrTest;

namespace
{
constexpr uint8_t kMainHeaderBytes[] = {
    0x40, 0x9C, 0x00, 0x00, // dwMicroSecPerFrame: 40000
    0x04, 0x03, 0x02, 0x81, // dwMaxBytesPerSec
    0x00, 0x02, 0x00, 0x00, // dwPaddingGranularity: 512
    0x10, 0x09, 0x00, 0x80, // dwFlags
    0x08, 0x07, 0x06, 0x85, // dwTotalFrames
    0x0C, 0x0B, 0x0A, 0x89, // dwInitialFrames
    0x10, 0x0F, 0x0E, 0x8D, // dwStreams
    0x14, 0x13, 0x12, 0x91, // dwSuggestedBufferSize
    0x18, 0x17, 0x16, 0x95, // dwWidth
    0x1C, 0x1B, 0x1A, 0x99, // dwHeight
    0x00, 0x00, 0x00, 0x00, // dwReserved
    0x00, 0x00, 0x00, 0x00, //
    0x00, 0x00, 0x00, 0x00, //
    0x00, 0x00, 0x00, 0x00, //
};

bool DecodeAll(std::span<const uint8_t> bytes, SKrMainHeader& header)
{
    CKrByteReader in(bytes);
    return Decode(in, header);
}

void ExpectTheFields(const SKrMainHeader& header)
{
    EXPECT_EQ(header.microSecPerFrame, 40000u);
    EXPECT_EQ(header.maxBytesPerSec, 0x81020304u);
    EXPECT_EQ(header.paddingGranularity, 512u);
    EXPECT_EQ(header.flags, 0x80000910u);
    EXPECT_EQ(header.totalFrames, 0x85060708u);
    EXPECT_EQ(header.initialFrames, 0x890A0B0Cu);
    EXPECT_EQ(header.streams, 0x8D0E0F10u);
    EXPECT_EQ(header.suggestedBufferSize, 0x91121314u);
    EXPECT_EQ(header.width, 0x95161718u);
    EXPECT_EQ(header.height, 0x991A1B1Cu);
}
} // namespace

TEST(MainHeader, Layout_Is56Bytes)
{
    EXPECT_EQ(sizeof kMainHeaderBytes, SKrMainHeader::kEncodedSize);
    EXPECT_EQ(kAvifHasIndex, 0x10u);
}

TEST(MainHeader, Bytes_DecodeToTheFields)
{
    SKrMainHeader header;
    ASSERT_TRUE(DecodeAll(kMainHeaderBytes, header));
    ExpectTheFields(header);
}

TEST(MainHeader, Fields_EncodeToTheBytes)
{
    const SKrMainHeader header{.microSecPerFrame = 40000,
                               .maxBytesPerSec = 0x81020304,
                               .paddingGranularity = 512,
                               .flags = 0x80000910,
                               .totalFrames = 0x85060708,
                               .initialFrames = 0x890A0B0C,
                               .streams = 0x8D0E0F10,
                               .suggestedBufferSize = 0x91121314,
                               .width = 0x95161718,
                               .height = 0x991A1B1C};
    EXPECT_EQ(Encoded(header), Prefix(kMainHeaderBytes, sizeof kMainHeaderBytes));
}

TEST(MainHeader, Default_IsAllZeros)
{
    EXPECT_EQ(Encoded(SKrMainHeader{}), std::vector<uint8_t>(SKrMainHeader::kEncodedSize));
}

TEST(MainHeader, ReservedWords_AreReadAndPassedOver)
{
    std::vector<uint8_t> bytes = Prefix(kMainHeaderBytes, sizeof kMainHeaderBytes);
    std::fill(bytes.begin() + 40, bytes.end(), uint8_t{0xFF});
    bytes.push_back(0x77);
    CKrByteReader in(bytes);
    SKrMainHeader header;
    ASSERT_TRUE(Decode(in, header));
    ExpectTheFields(header);
    EXPECT_EQ(in.U8(), 0x77u) << "the cursor is after the record";
}

TEST(MainHeader, EveryShorterPrefix_IsRefused)
{
    for (size_t length = 0; length < sizeof kMainHeaderBytes; ++length)
    {
        SKrMainHeader header;
        EXPECT_FALSE(DecodeAll(Prefix(kMainHeaderBytes, length), header)) << length;
    }
}
