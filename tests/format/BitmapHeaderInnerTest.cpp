// 'strf' of a video stream as stored in the file.
#include "format/KrAviHeaders.h"
#include "tests/format/RecordCodec.h"

#include <gtest/gtest.h>

using namespace KrTest;

namespace
{
constexpr uint8_t kBitmapHeaderBytes[] = {
    0x28, 0x00, 0x00, 0x00, // biSize: 40
    0xD0, 0x02, 0x01, 0x00, // biWidth: 66256
    0xC0, 0xFD, 0xFF, 0xFF, // biHeight: -576
    0x02, 0x81,             // biPlanes
    0x18, 0x84,             // biBitCount
    'M',  'J',  'P',  'G',  // biCompression
    0x08, 0x07, 0x06, 0x85, // biSizeImage
    0xF4, 0xFF, 0xFF, 0xFF, // biXPelsPerMeter: -12
    0x10, 0x0F, 0x0E, 0x0D, // biYPelsPerMeter
    0x14, 0x13, 0x12, 0x91, // biClrUsed
    0x18, 0x17, 0x16, 0x95, // biClrImportant
};

void ExpectSame(const SKrBitmapHeader& header, const SKrBitmapHeader& expected)
{
    EXPECT_EQ(header.size, expected.size);
    EXPECT_EQ(header.width, expected.width);
    EXPECT_EQ(header.height, expected.height);
    EXPECT_EQ(header.planes, expected.planes);
    EXPECT_EQ(header.bitCount, expected.bitCount);
    EXPECT_EQ(header.compression, expected.compression);
    EXPECT_EQ(header.sizeImage, expected.sizeImage);
    EXPECT_EQ(header.xPelsPerMeter, expected.xPelsPerMeter);
    EXPECT_EQ(header.yPelsPerMeter, expected.yPelsPerMeter);
    EXPECT_EQ(header.colorsUsed, expected.colorsUsed);
    EXPECT_EQ(header.colorsImportant, expected.colorsImportant);
}

constexpr SKrBitmapHeader kHeader{.size = 40,
                                  .width = 66256,
                                  .height = -576,
                                  .planes = 0x8102,
                                  .bitCount = 0x8418,
                                  .compression = 0x47504A4D,
                                  .sizeImage = 0x85060708,
                                  .xPelsPerMeter = -12,
                                  .yPelsPerMeter = 0x0D0E0F10,
                                  .colorsUsed = 0x91121314,
                                  .colorsImportant = 0x95161718};
} // namespace

TEST(BitmapHeader, Layout_Is40Bytes)
{
    EXPECT_EQ(sizeof kBitmapHeaderBytes, SKrBitmapHeader::kEncodedSize);
}

TEST(BitmapHeader, Bytes_DecodeToTheFields)
{
    ExpectSame(DecodeBitmapHeader(kBitmapHeaderBytes), kHeader);
}

TEST(BitmapHeader, Fields_EncodeToTheBytes)
{
    EXPECT_EQ(Encoded(kHeader), Prefix(kBitmapHeaderBytes, sizeof kBitmapHeaderBytes));
}

TEST(BitmapHeader, Default_HasItsOwnSizeAndOnePlane)
{
    std::vector<uint8_t> expected(SKrBitmapHeader::kEncodedSize);
    expected[0] = 40; // biSize
    expected[12] = 1; // biPlanes
    EXPECT_EQ(Encoded(SKrBitmapHeader{}), expected);
}

TEST(BitmapHeader, BytesAfterTheStructure_AreSkipped)
{
    std::vector<uint8_t> bytes = Prefix(kBitmapHeaderBytes, sizeof kBitmapHeaderBytes);
    bytes.resize(bytes.size() + 1024, 0xFF);
    ExpectSame(DecodeBitmapHeader(bytes), kHeader);
}

TEST(BitmapHeader, EveryShorterPrefix_ReadsAsIfZerosFollowed)
{
    for (size_t length = 0; length < sizeof kBitmapHeaderBytes; ++length)
    {
        SCOPED_TRACE(length);
        std::vector<uint8_t> padded = Prefix(kBitmapHeaderBytes, length);
        padded.resize(sizeof kBitmapHeaderBytes, 0);
        ExpectSame(DecodeBitmapHeader(Prefix(kBitmapHeaderBytes, length)), DecodeBitmapHeader(padded));
    }
}

TEST(BitmapHeader, NoBytes_AreAllZero)
{
    ExpectSame(DecodeBitmapHeader({}), SKrBitmapHeader{.size = 0, .planes = 0});
}

TEST(BitmapHeader, FieldCutByTheEnd_KeepsItsLowBytes)
{
    EXPECT_EQ(DecodeBitmapHeader(Prefix(kBitmapHeaderBytes, 6)).width, 0x2D0);
    EXPECT_EQ(DecodeBitmapHeader(Prefix(kBitmapHeaderBytes, 15)).bitCount, 0x18);
}
