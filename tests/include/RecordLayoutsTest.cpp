// The records that cross the library's interface, byte by byte: hosts of other compilers rely on each offset.
#include "KrRiffUtils/IKrRiffReader.h"
#include "KrRiffUtils/KrRiffTypes.h"

#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <type_traits>
#include <vector>

namespace
{
// The bytes of a record. Bytes between its fields are zero: the record was created in zeroed memory, field by
// field.
template <class Record, class Fill>
std::vector<uint8_t> ImageOf(Fill&& fill)
{
    static_assert(std::is_trivially_copyable_v<Record> && std::is_standard_layout_v<Record>);
    alignas(Record) unsigned char memory[sizeof(Record)] = {};
    Record& record = *new (memory) Record;
    std::memset(static_cast<void*>(&record), 0, sizeof record);
    fill(record);
    return std::vector<uint8_t>(memory, memory + sizeof memory);
}

using KrImage = std::vector<uint8_t>;
} // namespace

TEST(RecordLayouts, RiffChunkInfo_Has24Bytes)
{
    const auto fill = [](SKrRiffChunkInfo& chunk)
    {
        chunk.ckid = 0x04030201;
        chunk.cksize = 0x14131211;
        chunk.fccType = 0x24232221;
        chunk.offset = 0x3837363534333231;
    };
    const KrImage expected = {
        0x01, 0x02, 0x03, 0x04,                         // ckid
        0x11, 0x12, 0x13, 0x14,                         // cksize
        0x21, 0x22, 0x23, 0x24,                         // fccType
        0,    0,    0,    0,                            // nothing
        0x31, 0x32, 0x33, 0x34, 0x35, 0x36, 0x37, 0x38, // offset
    };
    EXPECT_EQ(ImageOf<SKrRiffChunkInfo>(fill), expected);
    EXPECT_EQ(ImageOf<SKrRiffChunkNode>([&](SKrRiffChunkNode& node) { fill(node.chunk); }), expected);
}

TEST(RecordLayouts, ChunkIndexEntry_Has16Bytes)
{
    const KrImage expected = {
        0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, // position
        0x11, 0x12, 0x13, 0x14,                         // size
        0x21, 0x22, 0x23, 0x24,                         // reserved
    };
    EXPECT_EQ(ImageOf<SKrChunkIndexEntry>(
                  [](SKrChunkIndexEntry& entry)
                  {
                      entry.position = 0x0807060504030201;
                      entry.size = 0x14131211;
                      entry.reserved = 0x24232221;
                  }),
              expected);
}

TEST(RecordLayouts, StreamProperties_Have64Bytes)
{
    const KrImage expected = {
        0x01, 0x02, 0x03, 0x04, // size
        0x11, 0x12, 0x13, 0x14, // type
        0x21, 0x22, 0x23, 0x24, // handler
        0x31, 0x32, 0x33, 0x34, // chunkId
        0x41, 0x42, 0x43, 0x44, // rate
        0x51, 0x52, 0x53, 0x54, // scale
        0x61, 0x62, 0x63, 0x64, // start
        0x71, 0x72, 0x73, 0x74, // length
        0x81, 0x82, 0x83, 0x84, // sampleSize
        0x91, 0x92, 0x93, 0x94, // suggestedBufferSize
        0xA1, 0xA2, 0xA3, 0xA4, // formatSize
        0xB1, 0xB2, 0xB3, 0xB4, // flags
        0xC1, 0xC2, 0xC3, 0xC4, // droppedEntries
        0xD1, 0xD2, 0xD3, 0xD4, // reserved
        0xE1, 0xE2, 0xE3, 0xE4, 0xF1, 0xF2, 0xF3, 0xF4,
    };
    EXPECT_EQ(ImageOf<SKrStreamProperties>(
                  [](SKrStreamProperties& stream)
                  {
                      stream.size = 0x04030201;
                      stream.type = 0x14131211;
                      stream.handler = 0x24232221;
                      stream.chunkId = 0x34333231;
                      stream.rate = 0x44434241;
                      stream.scale = 0x54535251;
                      stream.start = 0x64636261;
                      stream.length = 0x74737271;
                      stream.sampleSize = 0x84838281;
                      stream.suggestedBufferSize = 0x94939291;
                      stream.formatSize = 0xA4A3A2A1;
                      stream.flags = 0xB4B3B2B1;
                      stream.droppedEntries = 0xC4C3C2C1;
                      stream.reserved[0] = 0xD4D3D2D1;
                      stream.reserved[1] = 0xE4E3E2E1;
                      stream.reserved[2] = 0xF4F3F2F1;
                  }),
              expected);
}

TEST(RecordLayouts, StreamIndexEntry_Has16Bytes)
{
    const KrImage expected = {
        0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, // position
        0x11, 0x12, 0x13, 0x14,                         // size
        0x21, 0x22, 0x23, 0x24,                         // flags
    };
    EXPECT_EQ(ImageOf<SKrStreamIndexEntry>(
                  [](SKrStreamIndexEntry& entry)
                  {
                      entry.position = 0x0807060504030201;
                      entry.size = 0x14131211;
                      entry.flags = 0x24232221;
                  }),
              expected);
}

TEST(RecordLayouts, AudioChunkPattern_Has16Bytes)
{
    const KrImage expected = {
        0x01, 0x02, 0x03, 0x04, // kind
        0x11, 0x12, 0x13, 0x14, // bytesPerPeriod
        0x21, 0x22, 0x23, 0x24, // chunksPerPeriod
        0x31, 0x32, 0x33, 0x34, // lastChunkBytes
    };
    EXPECT_EQ(ImageOf<SKrAudioChunkPattern>(
                  [](SKrAudioChunkPattern& pattern)
                  {
                      pattern.kind = 0x04030201;
                      pattern.bytesPerPeriod = 0x14131211;
                      pattern.chunksPerPeriod = 0x24232221;
                      pattern.lastChunkBytes = 0x34333231;
                  }),
              expected);
}

TEST(RecordLayouts, AviVideoParams_HasNineWords)
{
    const KrImage expected = {
        0x01, 0x02, 0x11, 0x12, // display width, display height
        0x21, 0,    0,    0,    // bit count
        0x31, 0x32, 0x33, 0x34, // reserved A
        0x41, 0x42, 0x43, 0x44, // aspect mode
        0x51, 0x52, 0x53, 0x54, // frame rate
        0xFF, 0xFF, 0xFF, 0xFF, // scan mode
        0x61, 0x62, 0x63, 0x64, // reserved B
        0xFE, 0xFF, 0xFF, 0xFF, // width
        0xFD, 0xFF, 0xFF, 0xFF, // height
    };
    EXPECT_EQ(ImageOf<SKrAviVideoParams>(
                  [](SKrAviVideoParams& params)
                  {
                      params.displayWidth = 0x0201;
                      params.displayHeight = 0x1211;
                      params.bitCount = 0x21;
                      params.reservedA = 0x34333231;
                      params.aspectMode = 0x44434241;
                      params.frameRate = 0x54535251;
                      params.scanMode = -1;
                      params.reservedB = 0x64636261;
                      params.width = -2;
                      params.height = -3;
                  }),
              expected);
}

TEST(RecordLayouts, WaveFormatInfo_HasFiveWords)
{
    const KrImage expected = {
        0x01, 0x02, 0x03, 0x04, // format tag
        0x11, 0x12, 0x13, 0x14, // channels
        0x21, 0x22, 0x23, 0x24, // samples per second
        0x31, 0x32, 0x33, 0x34, // bytes per second
        0x41, 0x42,             // block align
        0x51, 0x52,             // bits per sample
    };
    EXPECT_EQ(ImageOf<SKrWaveFormatInfo>(
                  [](SKrWaveFormatInfo& format)
                  {
                      format.formatTag = 0x04030201;
                      format.channels = 0x14131211;
                      format.samplesPerSec = 0x24232221;
                      format.avgBytesPerSec = 0x34333231;
                      format.blockAlign = 0x4241;
                      format.bitsPerSample = 0x5251;
                  }),
              expected);
}

TEST(RecordLayouts, MediaInfo_Has40Bytes)
{
    const KrImage expected = {
        0x01, 0x02, 0x11, 0x12, // video streams, audio streams
        0x21, 0x22, 0x23, 0x24, // width
        0x31, 0x32, 0x33, 0x34, // height
        0x41, 0x42, 0x43, 0x44, // reserved A
        0x51, 0x52, 0x53, 0x54, // aspect mode
        0x61, 0x62, 0x63, 0x64, // frame rate
        0xFF, 0xFF, 0xFF, 0xFF, // scan mode
        0x71, 0x72, 0x73, 0x74, // reserved B
        0x81, 0x82, 0x91, 0x92, // channels, bits per sample
        0xA1, 0xA2, 0xA3, 0xA4, // samples per second
    };
    EXPECT_EQ(ImageOf<SKrMediaInfo>(
                  [](SKrMediaInfo& info)
                  {
                      info.videoStreamCount = 0x0201;
                      info.audioStreamCount = 0x1211;
                      info.width = 0x24232221;
                      info.height = 0x34333231;
                      info.reservedA = 0x44434241;
                      info.aspectMode = 0x54535251;
                      info.frameRate = 0x64636261;
                      info.scanMode = -1;
                      info.reservedB = 0x74737271;
                      info.channels = 0x8281;
                      info.bitsPerSample = 0x9291;
                      info.samplesPerSec = 0xA4A3A2A1;
                  }),
              expected);
}

TEST(RecordLayouts, Arrays_Have40BytesAfterTheirTag)
{
    CArray<SKrChunkIndexEntry> array;
    array.SetSize(3, 5);
    uint64_t words[5];
    static_assert(sizeof array == sizeof words);
    std::memcpy(words, static_cast<const void*>(&array), sizeof words);
    EXPECT_EQ(words[0], 0x9E4B725F41727279u); // the tag
    EXPECT_EQ(words[1], reinterpret_cast<uintptr_t>(array.GetData()));
    EXPECT_EQ(words[2], 3u); // size
    EXPECT_GE(words[3], 3u); // room
    EXPECT_EQ(words[4], 5u); // growth
}

TEST(RecordLayouts, FrameRateCodes_AreTheTablesIndex)
{
    static_assert(std::is_same_v<std::underlying_type_t<EKrFrameRate>, uint32_t>);
    EXPECT_EQ(static_cast<uint32_t>(EKrFrameRate::Rate23_976), 0u);
    EXPECT_EQ(static_cast<uint32_t>(EKrFrameRate::Rate24), 1u);
    EXPECT_EQ(static_cast<uint32_t>(EKrFrameRate::Rate25), 2u);
    EXPECT_EQ(static_cast<uint32_t>(EKrFrameRate::Rate29_97), 3u);
    EXPECT_EQ(static_cast<uint32_t>(EKrFrameRate::Rate30), 4u);
    EXPECT_EQ(static_cast<uint32_t>(EKrFrameRate::Rate50), 5u);
    EXPECT_EQ(static_cast<uint32_t>(EKrFrameRate::Rate59_94), 6u);
    EXPECT_EQ(static_cast<uint32_t>(EKrFrameRate::Rate60), 7u);
}

TEST(RecordLayouts, ScanModes_AreSignedWithUnknownAsMinus1)
{
    static_assert(std::is_same_v<std::underlying_type_t<EKrScanMode>, int32_t>);
    EXPECT_EQ(static_cast<int32_t>(EKrScanMode::Unknown), -1);
    EXPECT_EQ(static_cast<int32_t>(EKrScanMode::UpperFieldFirst), 0);
    EXPECT_EQ(static_cast<int32_t>(EKrScanMode::LowerFieldFirst), 1);
    EXPECT_EQ(static_cast<int32_t>(EKrScanMode::Progressive), 2);
}

TEST(RecordLayouts, RecordingOptions_Has48Bytes)
{
    const KrImage expected = {
        0x01, 0x02, 0x03, 0x04,                         // size
        0x11, 0x12, 0x13, 0x14,                         // chunkSpacingMs
        0x21, 0x22, 0x23, 0x24,                         // submissionDelayMs
        0x31, 0x32, 0x33, 0x34,                         // queueWaitMs
        0x41, 0x42, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48, // queueLimit
        0x51, 0x52, 0x53, 0x54,                         // audioWaitMs
        0x61, 0x62, 0x63, 0x64,                         // flags
        0x71, 0x72, 0x73, 0x74, 0x75, 0x76, 0x77, 0x78, // preallocation
        0x81, 0x82, 0x83, 0x84,                         // reserved
        0x91, 0x92, 0x93, 0x94,
    };
    EXPECT_EQ(ImageOf<SKrRecordingOptions>(
                  [](SKrRecordingOptions& options)
                  {
                      options.size = 0x04030201;
                      options.chunkSpacingMs = 0x14131211;
                      options.submissionDelayMs = 0x24232221;
                      options.queueWaitMs = 0x34333231;
                      options.queueLimit = 0x4847464544434241;
                      options.audioWaitMs = 0x54535251;
                      options.flags = 0x64636261;
                      options.preallocation = 0x7877767574737271;
                      options.reserved[0] = 0x84838281;
                      options.reserved[1] = 0x94939291;
                  }),
              expected);
}

// Each field is a number of its own: 1, 2, 3 and so on, in the order of the record.
TEST(RecordLayouts, RecordingStatus_Has128Bytes)
{
    KrImage expected;
    for (uint8_t field = 1; field <= 4; ++field)
        expected.insert(expected.end(), {field, 0, 0, 0});
    for (uint8_t field = 5; field <= 16; ++field)
        expected.insert(expected.end(), {field, 0, 0, 0, 0, 0, 0, 0});
    for (uint8_t field = 17; field <= 20; ++field)
        expected.insert(expected.end(), {field, 0, 0, 0});
    EXPECT_EQ(expected.size(), 128u);
    EXPECT_EQ(ImageOf<SKrRecordingStatus>(
                  [](SKrRecordingStatus& status)
                  {
                      status.size = 1;
                      status.state = 2;
                      status.systemError = 3;
                      status.segments = 4;
                      status.framesWritten = 5;
                      status.audioChunksWritten = 6;
                      status.bytesWritten = 7;
                      status.queuedFrames = 8;
                      status.queuedAudioChunks = 9;
                      status.queuedBytes = 10;
                      status.mostQueuedBytes = 11;
                      status.samplesRefused = 12;
                      status.samplesPassedOver = 13;
                      status.longestWriteUs = 14;
                      status.longestFlushUs = 15;
                      status.framesInIndex = 16;
                      status.reserved[0] = 17;
                      status.reserved[1] = 18;
                      status.reserved[2] = 19;
                      status.reserved[3] = 20;
                  }),
              expected);
}
