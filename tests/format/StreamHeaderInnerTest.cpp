// 'strh' as stored in the file, in both of its sizes.
#include "format/KrAviHeaders.h"
#include "tests/format/RecordCodec.h"

#include <gtest/gtest.h>

using namespace KrTest;

namespace
{
constexpr size_t kSameInBoth = 48;

constexpr uint8_t kStreamHeaderBytes[] = {
    'v',  'i',  'd',  's',  // fccType
    'M',  'J',  'P',  'G',  // fccHandler
    0x04, 0x03, 0x02, 0x81, // dwFlags
    0x06, 0x85,             // wPriority
    0x08, 0x87,             // wLanguage
    0x0C, 0x0B, 0x0A, 0x89, // dwInitialFrames
    0xE9, 0x03, 0x00, 0x00, // dwScale: 1001
    0x30, 0x75, 0x00, 0x00, // dwRate: 30000
    0x10, 0x0F, 0x0E, 0x8D, // dwStart
    0x14, 0x13, 0x12, 0x91, // dwLength
    0x18, 0x17, 0x16, 0x95, // dwSuggestedBufferSize
    0xFF, 0xFF, 0xFF, 0xFF, // dwQuality
    0x1C, 0x1B, 0x1A, 0x99, // dwSampleSize
    0x01, 0x00,             // rcFrame: left 1
    0xFE, 0xFF,             // top -2
    0xD0, 0x02,             // right 720
    0x00, 0x80,             // bottom -32768
};

constexpr uint8_t kWideFrame[] = {
    0x01, 0x00, 0x34, 0x12, // left: 0x12340001
    0xFE, 0xFF, 0xFF, 0xFF, // top: -2
    0xD0, 0x02, 0x00, 0x80, // right: 0x800002D0
    0x00, 0x80, 0xFF, 0x7F, // bottom: 0x7FFF8000
};

// The variant whose frame rectangle has 32-bit values.
std::vector<uint8_t> WideBytes()
{
    std::vector<uint8_t> bytes = Prefix(kStreamHeaderBytes, kSameInBoth);
    bytes.insert(bytes.end(), std::begin(kWideFrame), std::end(kWideFrame));
    return bytes;
}

void ExpectTheFields(const SKrStreamHeader& header)
{
    EXPECT_EQ(header.type, 0x73646976u);
    EXPECT_EQ(header.handler, 0x47504A4Du);
    EXPECT_EQ(header.flags, 0x81020304u);
    EXPECT_EQ(header.priority, 0x8506u);
    EXPECT_EQ(header.language, 0x8708u);
    EXPECT_EQ(header.initialFrames, 0x890A0B0Cu);
    EXPECT_EQ(header.scale, 1001u);
    EXPECT_EQ(header.rate, 30000u);
    EXPECT_EQ(header.start, 0x8D0E0F10u);
    EXPECT_EQ(header.length, 0x91121314u);
    EXPECT_EQ(header.suggestedBufferSize, 0x95161718u);
    EXPECT_EQ(header.quality, 0xFFFFFFFFu);
    EXPECT_EQ(header.sampleSize, 0x991A1B1Cu);
    EXPECT_EQ(header.frame[0], 1);
    EXPECT_EQ(header.frame[1], -2);
    EXPECT_EQ(header.frame[2], 720);
    EXPECT_EQ(header.frame[3], -32768);
}
} // namespace

TEST(StreamHeader, Layout_Is56BytesOr64)
{
    EXPECT_EQ(sizeof kStreamHeaderBytes, SKrStreamHeader::kEncodedSize);
    EXPECT_EQ(WideBytes().size(), SKrStreamHeader::kWideEncodedSize);
}

TEST(StreamHeader, Bytes_DecodeToTheFields)
{
    SKrStreamHeader header;
    ASSERT_TRUE(DecodeStreamHeader(kStreamHeaderBytes, header));
    ExpectTheFields(header);
}

TEST(StreamHeader, Wide_KeepsTheLowHalvesOfTheFrame)
{
    SKrStreamHeader header;
    ASSERT_TRUE(DecodeStreamHeader(WideBytes(), header));
    ExpectTheFields(header);
}

TEST(StreamHeader, Fields_EncodeToTheNarrowBytes)
{
    const SKrStreamHeader header{.type = 0x73646976,
                                 .handler = 0x47504A4D,
                                 .flags = 0x81020304,
                                 .priority = 0x8506,
                                 .language = 0x8708,
                                 .initialFrames = 0x890A0B0C,
                                 .scale = 1001,
                                 .rate = 30000,
                                 .start = 0x8D0E0F10,
                                 .length = 0x91121314,
                                 .suggestedBufferSize = 0x95161718,
                                 .quality = 0xFFFFFFFF,
                                 .sampleSize = 0x991A1B1C,
                                 .frame = {1, -2, 720, -32768}};
    EXPECT_EQ(Encoded(header), Prefix(kStreamHeaderBytes, sizeof kStreamHeaderBytes));
}

TEST(StreamHeader, Default_IsAllZeros)
{
    EXPECT_EQ(Encoded(SKrStreamHeader{}), std::vector<uint8_t>(SKrStreamHeader::kEncodedSize));
}

TEST(StreamHeader, EveryPrefixShorterThan56Bytes_IsRefused)
{
    for (size_t length = 0; length < sizeof kStreamHeaderBytes; ++length)
    {
        SKrStreamHeader header;
        EXPECT_FALSE(DecodeStreamHeader(Prefix(kStreamHeaderBytes, length), header)) << length;
    }
}

TEST(StreamHeader, EveryPrefixOfTheWideFormFrom56Bytes_ReadsAsNarrow)
{
    const std::vector<uint8_t> wide = WideBytes();
    for (size_t length = SKrStreamHeader::kEncodedSize; length < wide.size(); ++length)
    {
        SKrStreamHeader header;
        ASSERT_TRUE(DecodeStreamHeader(Prefix(wide, length), header)) << length;
        EXPECT_EQ(header.sampleSize, 0x991A1B1Cu) << length;
        EXPECT_EQ(header.frame[0], 1) << length;
        EXPECT_EQ(header.frame[1], 0x1234) << length << ": the high half of the wide left edge";
        EXPECT_EQ(header.frame[2], -2) << length;
        EXPECT_EQ(header.frame[3], -1) << length;
    }
}
