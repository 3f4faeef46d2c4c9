// The payloads that the builder's records give, byte for byte.
#include "tests/support/KrAviRecords.h"

#include "tests/support/KrByteWriter.h"

#include <gtest/gtest.h>

#include <stdexcept>

using namespace KrTest;

TEST(AviRecordsTest, ByteWriter_WritesInTheOrderOfItsNames)
{
    CKrTestByteWriter out;
    out.U8(0x01).U16(0x0302).U32(0x07060504).U64(0x0F0E0D0C0B0A0908).U32Be(0x10111213);
    out.FourCc("ix00").Fill(2, 0xAA).Raw(KrBytes{0xBB});
    EXPECT_EQ(out.Bytes(),
              (KrBytes{0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x09, 0x0A, 0x0B, 0x0C, 0x0D,
                       0x0E, 0x0F, 0x10, 0x11, 0x12, 0x13, 'i',  'x',  '0',  '0',  0xAA, 0xAA, 0xBB}));
    EXPECT_EQ(FourCcValue("RIFF"), 0x46464952u);
    EXPECT_THROW((void)FourCcValue("RIF"), std::invalid_argument);
}

TEST(AviRecordsTest, MainHeader_Has56Bytes)
{
    const KrBytes expected{
        0x40, 0x9C, 0x00, 0x00,                         // microseconds per frame: 40000
        0x02, 0x01, 0x00, 0x00,                         // bytes per second
        0x03, 0x00, 0x00, 0x00,                         // padding granularity
        0x10, 0x00, 0x00, 0x00,                         // flags: has an index
        0x04, 0x00, 0x00, 0x00,                         // total frames
        0x05, 0x00, 0x00, 0x00,                         // initial frames
        0x06, 0x00, 0x00, 0x00,                         // streams
        0x07, 0x00, 0x00, 0x00,                         // suggested buffer size
        0xD0, 0x02, 0x00, 0x00,                         // width: 720
        0x40, 0x02, 0x00, 0x00,                         // height: 576
        0,    0,    0,    0,    0, 0, 0, 0, 0, 0, 0, 0, // reserved
        0,    0,    0,    0,
    };
    EXPECT_EQ(ToBytes(SKrTestMainHeader{.maxBytesPerSec = 0x0102,
                                        .paddingGranularity = 3,
                                        .totalFrames = 4,
                                        .initialFrames = 5,
                                        .streams = 6,
                                        .suggestedBufferSize = 7}),
              expected);
}

TEST(AviRecordsTest, StreamHeader_Has56Or64Bytes)
{
    const SKrTestStreamHeader header{.flags = 1,
                                     .priority = 2,
                                     .language = 3,
                                     .initialFrames = 4,
                                     .scale = 5,
                                     .rate = 6,
                                     .start = 7,
                                     .length = 8,
                                     .suggestedBufferSize = 9,
                                     .quality = 10,
                                     .sampleSize = 11,
                                     .left = -2,
                                     .top = 0x10001,
                                     .right = 0x2D0,
                                     .bottom = 0x240};
    KrBytes expected{
        'v', 'i', 'd', 's', // type
        'M', 'J', 'P', 'G', // handler
        1,   0,   0,   0,   // flags
        2,   0,   3,   0,   // priority, language
        4,   0,   0,   0,   // initial frames
        5,   0,   0,   0,   // scale
        6,   0,   0,   0,   // rate
        7,   0,   0,   0,   // start
        8,   0,   0,   0,   // length
        9,   0,   0,   0,   // suggested buffer size
        10,  0,   0,   0,   // quality
        11,  0,   0,   0,   // sample size
    };
    KrBytes wide = expected;
    const KrBytes narrowFrame{0xFE, 0xFF, 0x01, 0x00, 0xD0, 0x02, 0x40, 0x02};
    const KrBytes wideFrame{0xFE, 0xFF, 0xFF, 0xFF, 0x01, 0x00, 0x01, 0x00,
                            0xD0, 0x02, 0x00, 0x00, 0x40, 0x02, 0x00, 0x00};
    expected.insert(expected.end(), narrowFrame.begin(), narrowFrame.end());
    wide.insert(wide.end(), wideFrame.begin(), wideFrame.end());
    EXPECT_EQ(ToBytes(header), expected);
    EXPECT_EQ(ToBytes64(header), wide);
}

TEST(AviRecordsTest, BitmapInfo_Has40BytesAndWhatFollows)
{
    const KrBytes expected{
        0x28, 0x00, 0x00, 0x00, // size of the structure: 40
        0x02, 0x01, 0x00, 0x00, // width
        0xFE, 0xFF, 0xFF, 0xFF, // height: -2
        0x01, 0x00, 0x18, 0x00, // planes, bit count
        'M',  'J',  'P',  'G',  // compression
        0x03, 0x00, 0x00, 0x00, // image size
        0x04, 0x00, 0x00, 0x00, // pixels per metre
        0x05, 0x00, 0x00, 0x00, //
        0x06, 0x00, 0x00, 0x00, // colours used
        0x07, 0x00, 0x00, 0x00, // colours important
        0x99,                   // more
    };
    EXPECT_EQ(ToBytes(SKrTestBitmapInfo{.width = 0x0102,
                                        .height = -2,
                                        .sizeImage = 3,
                                        .xPelsPerMeter = 4,
                                        .yPelsPerMeter = 5,
                                        .colorsUsed = 6,
                                        .colorsImportant = 7,
                                        .extra = {0x99}}),
              expected);
}

TEST(AviRecordsTest, WaveFormat_Has16Or18Or40Bytes)
{
    const SKrTestWaveFormat format{.cbSize = 0x0304, .channelMask = 5};
    KrBytes expected{
        0x01, 0x00, 0x02, 0x00, // tag, channels
        0x80, 0xBB, 0x00, 0x00, // samples per second: 48000
        0x00, 0xEE, 0x02, 0x00, // bytes per second: 192000
        0x04, 0x00, 0x10, 0x00, // block align, bits per sample
    };
    EXPECT_EQ(ToBytes(format), expected);
    expected.insert(expected.end(), {0x04, 0x03});
    EXPECT_EQ(ToBytes(format, 18), expected);

    const KrBytes extensible{
        0xFE, 0xFF, 0x02, 0x00,                         // extensible, channels
        0x80, 0xBB, 0x00, 0x00,                         // samples per second
        0x00, 0xEE, 0x02, 0x00,                         // bytes per second
        0x04, 0x00, 0x10, 0x00,                         // block align, bits per sample
        0x16, 0x00, 0x10, 0x00,                         // bytes that follow, valid bits
        0x05, 0x00, 0x00, 0x00,                         // channel mask
        0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0x00, // GUID of PCM
        0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71, //
    };
    EXPECT_EQ(ToBytes(format, 40), extensible);
    EXPECT_THROW((void)ToBytes(format, 20), std::invalid_argument);
}

TEST(AviRecordsTest, PcmFormat_FillsInWhatFollows)
{
    const SKrTestWaveFormat format = PcmFormat(6, 44100, 24);
    EXPECT_EQ(format.blockAlign, 18);
    EXPECT_EQ(format.avgBytesPerSec, 793800u);
    EXPECT_EQ(PcmFormat(1, 8000, 8).blockAlign, 1);
}

TEST(AviRecordsTest, SuperIndex_HasHeadEntriesAndEmptySlots)
{
    const KrBytes expected{
        4,    0,    0x10, 0,                            // words per entry, sub-type, type
        1,    0,    0,    0,                            // entries in use
        '0',  '1',  'w',  'b',                          // chunk id
        1,    0,    0,    0,    2, 0, 0, 0, 3, 0, 0, 0, // reserved
        0x08, 0x07, 0x06, 0x05, 4, 3, 2, 1,             // position
        0x0A, 0,    0,    0,                            // size
        0x0B, 0,    0,    0,                            // duration
        0,    0,    0,    0,    0, 0, 0, 0,             // an empty slot
        0,    0,    0,    0,    0, 0, 0, 0,             //
    };
    SKrTestSuperIndex index{.subType = 0x10,
                            .chunkId = "01wb",
                            .reserved = {1, 2, 3},
                            .entries = {{0x0102030405060708, 10, 11}},
                            .emptySlots = 1};
    EXPECT_EQ(ToBytes(index), expected);
    index.entriesInUse = 77;
    EXPECT_EQ(ToBytes(index)[4], 77);
}

TEST(AviRecordsTest, StdIndexOfSubType0_HasEntriesOf8Bytes)
{
    const KrBytes expected{
        2,    0,    0,    1,                // words per entry, sub-type, type
        2,    0,    0,    0,                // entries in use
        '0',  '0',  'd',  'c',              // chunk id
        0x08, 0x07, 0x06, 0x05, 4, 3, 2, 1, // base offset
        0x09, 0,    0,    0,                // reserved
        4,    0,    0,    0,                // offset
        0x10, 0,    0,    0,                // size
        0x20, 0,    0,    0,                // offset
        0x11, 0,    0,    0x80,             // size, no key frame
    };
    EXPECT_EQ(ToBytes(SKrTestStdIndex{
                  .baseOffset = 0x0102030405060708, .reserved = 9, .entries = {{4, 16}, {32, 17, false}}}),
              expected);
}

TEST(AviRecordsTest, StdIndexOfSubType16_HasEntriesOf24Bytes)
{
    const KrBytes expected{
        6,    0,    0x10, 1,                            // words per entry, sub-type, type
        1,    0,    0,    0,                            // entries in use
        '0',  '0',  'd',  'c',                          // chunk id
        0,    0,    0,    0,    0,    0,    0,    0,    // base offset
        0,    0,    0,    0,                            // reserved
        0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x01, // position
        0x11, 0x00, 0x00, 0x00,                         // size, not marked
        0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, // rest
        0xEE, 0xEE, 0xEE, 0xEE,
    };
    EXPECT_EQ(ToBytes(SKrTestStdIndex{.subType = 0x10, .entries = {{0x0102030405060708, 17, false}}}),
              expected);
}

TEST(AviRecordsTest, Idx1_HasEntriesOf16Bytes)
{
    const KrBytes expected{
        '0', '0', 'd', 'c', 0x10, 0, 0, 0, 4,    0, 0, 0, 0x20, 0, 0, 0, //
        '0', '1', 'w', 'b', 0x00, 0, 0, 0, 0x2C, 0, 0, 0, 0x08, 0, 0, 0,
    };
    EXPECT_EQ(ToBytes(std::vector<SKrTestIdx1Entry>{
                  {.offset = 4, .size = 32}, {.chunkId = "01wb", .flags = 0, .offset = 44, .size = 8}}),
              expected);
}

TEST(AviRecordsTest, KrlA_HasItsFieldsAndZerosUpToItsSize)
{
    KrBytes expected{
        'k',  'o',  'r',  'i',  'n', '-', 'a', 'v', 'i', // signature
        0,    0,    0,    0,    0,   0,   0,             //
        0x00,                                            // unused
        0x00, 0x00, 0x0F, 0x00,                          // format mark
        0x02,                                            // scan mode
        0x00, 0x00, 0x00, 0x40,                          // pixel aspect: 64
        0x00, 0x00, 0x01, 0x2D,                          // 301
    };
    SKrTestKrlA chunk{.scanMode = 2, .horizontal = 64, .vertical = 301, .size = 30};
    EXPECT_EQ(ToBytes(chunk), expected);
    expected.resize(508);
    chunk.size = 508;
    EXPECT_EQ(ToBytes(chunk), expected);
    expected.resize(21);
    chunk.size = 21;
    EXPECT_EQ(ToBytes(chunk), expected);
}

TEST(AviRecordsTest, PrmA_IsOneAtom)
{
    const KrBytes expected{
        'P',  'A',  'R',  'f',  // type
        0x00, 0x00, 0x00, 0x14, // length
        0x00, 0x01, 0x00, 0x00, // fixed
        0x00, 0x00, 0x02, 0x88, // pixel aspect: 648
        0x00, 0x00, 0x02, 0xD0, // 720
    };
    EXPECT_EQ(ToBytes(SKrTestPrmA{.horizontal = 648, .vertical = 720}), expected);
}

TEST(AviRecordsTest, CtsI_HasItsScanModeAt24)
{
    KrBytes expected{
        0x00, 0x00, 0x02, 0x00,                                                 // version mark
        0,    0,    0,    0,    0,    0,    0,    0,                            //
        0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, //
        0x01,                                                                   // scan mode
    };
    EXPECT_EQ(ToBytes(SKrTestCtsI{.scanMode = 1, .size = 25}), expected);
    expected.resize(196);
    EXPECT_EQ(ToBytes(SKrTestCtsI{.scanMode = 1}), expected);
}
