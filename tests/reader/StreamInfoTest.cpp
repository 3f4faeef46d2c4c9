// When the two stream queries report a valid format, and what they write otherwise.
#include "tests/reader/HeaderParseSupport.h"

#include <gtest/gtest.h>

using namespace KrTest;

namespace
{
constexpr uint32_t kUntouchedOutput = 0x5A5A5A5A;

SKrSimpleAvi DefaultVideoAndAudio()
{
    SKrSimpleAvi avi;
    avi.streams.push_back(PcmStream());
    avi.mainHeader.totalFrames = 77;
    return avi;
}

SKrSimpleAvi VideoOfSize(int32_t width, int32_t height)
{
    SKrTestBitmapInfo format;
    format.width = width;
    format.height = height;
    SKrSimpleAvi avi;
    avi.streams = {VideoStream({100, 100, 100}, format)};
    avi.mainHeader.totalFrames = 77;
    return avi;
}

bool IsUntouched(const SKrVideoAnswer& answer)
{
    SKrVideoAnswer fresh;
    return std::memcmp(&answer.format, &fresh.format, sizeof fresh.format) == 0 &&
           answer.compression == fresh.compression && answer.bitCount == fresh.bitCount;
}

bool IsUntouched(const SKrWaveFormatInfo& format)
{
    const SKrAudioAnswer fresh;
    return std::memcmp(&format, &fresh.format, sizeof format) == 0;
}

// The format is not valid; the chunk id and the frame count are still reported.
void ExpectInvalidVideo(const SKrSimpleAvi& avi)
{
    CKrParsedFile file(avi);
    ASSERT_EQ(file.Status(), 1);
    const SKrVideoAnswer answer = file.Video();
    EXPECT_EQ(answer.valid, 0);
    EXPECT_TRUE(IsUntouched(answer));
    EXPECT_EQ(answer.Id(), "00dc") << "always reported";
    EXPECT_EQ(answer.frames, 77u) << "always the result";
}
} // namespace

// Video

TEST(StreamInfoVideo, ValidFormat_IsReportedWhole)
{
    CKrParsedFile file(DefaultVideoAndAudio());
    const SKrVideoAnswer answer = file.Video();
    EXPECT_EQ(answer.valid, 1);
    EXPECT_EQ(answer.frames, 77u);
    EXPECT_EQ(answer.Id(), "00dc");
    EXPECT_EQ(answer.compression, FourCcValue("MJPG"));
    EXPECT_EQ(answer.bitCount, 24);
    EXPECT_EQ(answer.format.displayWidth, 720);
    EXPECT_EQ(answer.format.displayHeight, 576);
    EXPECT_EQ(answer.format.bitCount, 8);
    EXPECT_EQ(answer.format.aspectMode, 0u);
    EXPECT_EQ(answer.format.frameRate, 2u);
    EXPECT_EQ(answer.format.scanMode, 0);
    EXPECT_EQ(answer.format.reservedB, 3u);
    EXPECT_EQ(answer.format.width, 720);
    EXPECT_EQ(answer.format.height, 576);
}

// The display size keeps the low 16 bits of the stored one.
TEST(StreamInfoVideo, DisplayWidthOfZero_IsNotValid)
{
    ExpectInvalidVideo(VideoOfSize(0x10000, 576));
}

TEST(StreamInfoVideo, DisplayHeightOfZero_IsNotValid)
{
    ExpectInvalidVideo(VideoOfSize(720, 0x10000));
}

TEST(StreamInfoVideo, DisplaySizeOfOne_IsValid)
{
    EXPECT_EQ(CKrParsedFile(VideoOfSize(0x10001, 0x10001)).Video().valid, 1);
}

TEST(StreamInfoVideo, NoFrameRate_IsNotValid)
{
    SKrSimpleAvi avi = VideoOfSize(720, 576);
    avi.streams[0].header.scale = 0;
    ExpectInvalidVideo(avi);
    avi = VideoOfSize(720, 576);
    avi.streams[0].header.rate = 0;
    ExpectInvalidVideo(avi);
}

TEST(StreamInfoVideo, FrameRateCodeOfZero_IsValid)
{
    SKrSimpleAvi avi = VideoOfSize(720, 576);
    avi.streams[0].header.scale = 1001;
    avi.streams[0].header.rate = 24000;
    const SKrVideoAnswer answer = CKrParsedFile(avi).Video();
    EXPECT_EQ(answer.valid, 1);
    EXPECT_EQ(answer.format.frameRate, 0u);
}

TEST(StreamInfoVideo, FileWithoutVideo_ReportsNeitherFormatNorId)
{
    SKrSimpleAvi avi;
    avi.streams = {PcmStream()};
    avi.mainHeader.totalFrames = 77;
    const SKrVideoAnswer answer = CKrParsedFile(avi).Video();
    EXPECT_EQ(answer.valid, 0);
    EXPECT_TRUE(IsUntouched(answer));
    EXPECT_EQ(answer.chunkId, 0u);
    EXPECT_EQ(answer.frames, 0u) << "frames are those of a video stream";
}

TEST(StreamInfoVideo, ValidFormatWithoutVideoChunks_ReportsAnIdOfZero)
{
    SKrSimpleAvi avi = DefaultVideoAndAudio();
    avi.streams[0].chunkSizes.clear();
    avi.index = EKrIndexKind::None;
    const SKrVideoAnswer answer = CKrParsedFile(avi).Video();
    EXPECT_EQ(answer.valid, 1);
    EXPECT_EQ(answer.chunkId, 0u);
}

TEST(StreamInfoVideo, LoadedIndex_ReplacesTheFrameCount)
{
    CKrParsedFile file(DefaultVideoAndAudio());
    CArray<SKrChunkIndexEntry> entries;
    ASSERT_EQ(file.Reader().LoadVideoIndex(entries), 1);
    EXPECT_EQ(file.Video().frames, 3u);
    EXPECT_EQ(file.Video().frames, static_cast<uint32_t>(entries.GetSize()));
}

TEST(StreamInfoVideo, NullOutput_GivesZeroAndWritesNothing)
{
    CKrParsedFile file(DefaultVideoAndAudio());
    for (int missing = 0; missing < 5; ++missing)
    {
        SKrVideoAnswer answer;
        EXPECT_EQ(file.Reader().GetVideoStreamInfo(
                      missing == 0 ? nullptr : &answer.format, missing == 1 ? nullptr : &answer.compression,
                      missing == 2 ? nullptr : &answer.bitCount, missing == 3 ? nullptr : &answer.valid,
                      missing == 4 ? nullptr : &answer.chunkId),
                  0u);
        EXPECT_TRUE(IsUntouched(answer));
    }
}

// Audio

TEST(StreamInfoAudio, ValidFormat_IsReportedWithItsDuration)
{
    CKrParsedFile file(DefaultVideoAndAudio());
    const SKrAudioAnswer answer = file.Audio();
    EXPECT_EQ(answer.status, 1);
    EXPECT_EQ(answer.valid, 1);
    EXPECT_EQ(answer.Id(), "01wb");
    EXPECT_EQ(answer.format.formatTag, 1u);
    EXPECT_EQ(answer.format.channels, 2u);
    EXPECT_EQ(answer.format.samplesPerSec, 48000u);
    EXPECT_EQ(answer.format.avgBytesPerSec, 192000u);
    EXPECT_EQ(answer.format.blockAlign, 4);
    EXPECT_EQ(answer.format.bitsPerSample, 16);
    EXPECT_EQ(answer.duration, 5760.0 / 192000 * 4) << "length / rate * scale, bit for bit";
}

TEST(StreamInfoAudio, SecondStream_IsNotTheOneReported)
{
    SKrSimpleAvi avi = DefaultVideoAndAudio();
    avi.streams.push_back(PcmStream({100, 100, 100}, PcmFormat(1, 8000, 8)));
    const SKrAudioAnswer answer = CKrParsedFile(avi).Audio();
    EXPECT_EQ(answer.Id(), "01wb");
    EXPECT_EQ(answer.format.samplesPerSec, 48000u);
}

TEST(StreamInfoAudio, NoAudioChunk_IsRefusedWithNothingWritten)
{
    SKrSimpleAvi avi = DefaultVideoAndAudio();
    avi.streams[1].chunkSizes.clear();
    CKrParsedFile file(avi);
    ASSERT_EQ(file.Status(), 1);
    const SKrAudioAnswer answer = file.Audio();
    EXPECT_EQ(answer.status, 0) << "although the format is known";
    EXPECT_EQ(answer.valid, static_cast<int>(kUntouchedOutput));
    EXPECT_EQ(answer.chunkId, kUntouchedOutput);
    EXPECT_EQ(answer.duration, -1.0);
    EXPECT_TRUE(IsUntouched(answer.format));
}

TEST(StreamInfoAudio, ChunksOfAnUnusableStream_HaveAnIdButNoValidFormat)
{
    SKrSimpleAvi avi = DefaultVideoAndAudio();
    SKrTestWaveFormat format;
    format.bitsPerSample = 0;
    avi.streams[1] = PcmStream({100, 100}, format);
    const SKrAudioAnswer answer = CKrParsedFile(avi).Audio();
    EXPECT_EQ(answer.status, 1);
    EXPECT_EQ(answer.Id(), "01wb");
    EXPECT_EQ(answer.valid, 0);
    EXPECT_EQ(answer.duration, -1.0) << "left alone";
    EXPECT_TRUE(IsUntouched(answer.format));
}

TEST(StreamInfoAudio, Duration_IsOptionalAndTheRestIsNot)
{
    CKrParsedFile file(DefaultVideoAndAudio());
    SKrAudioAnswer answer;
    EXPECT_EQ(file.Reader().GetAudioStreamInfo(nullptr, &answer.valid, &answer.chunkId, nullptr), 0);
    EXPECT_EQ(file.Reader().GetAudioStreamInfo(&answer.format, nullptr, &answer.chunkId, nullptr), 0);
    EXPECT_EQ(file.Reader().GetAudioStreamInfo(&answer.format, &answer.valid, nullptr, nullptr), 0);
    EXPECT_TRUE(IsUntouched(answer.format));
    EXPECT_EQ(file.Reader().GetAudioStreamInfo(&answer.format, &answer.valid, &answer.chunkId, nullptr), 1);
    EXPECT_EQ(answer.valid, 1);
    EXPECT_EQ(answer.format.samplesPerSec, 48000u);
}

// Before and after a file

TEST(StreamInfo, NewReader_KnowsNothing)
{
    CKrRef<IKrRiffReader> reader;
    ASSERT_EQ(KrCreateRiffReader(reader.Put()), 1);
    const SKrVideoAnswer video = AskVideo(*reader);
    EXPECT_EQ(video.valid, 0);
    EXPECT_EQ(video.chunkId, 0u);
    EXPECT_EQ(video.frames, 0u);
    EXPECT_TRUE(IsUntouched(video));
    EXPECT_EQ(AskAudio(*reader).status, 0);
}

TEST(StreamInfo, ClosedReader_StillKnowsTheFormatsButNoFrames)
{
    CKrParsedFile file(DefaultVideoAndAudio());
    file.Reader().Close();
    const SKrVideoAnswer video = file.Video();
    EXPECT_EQ(video.frames, 0u);
    EXPECT_EQ(video.valid, 1);
    EXPECT_EQ(video.format.width, 720);
    EXPECT_EQ(video.Id(), "00dc");
    EXPECT_EQ(file.Audio().valid, 1);
}

TEST(StreamInfo, NextFile_ReplacesEverything)
{
    const CKrTempFolder folder;
    CKrRef<IKrRiffReader> reader;
    ASSERT_EQ(KrCreateRiffReader(reader.Put()), 1);
    ASSERT_EQ(reader->Open(folder.Write(L"a.avi", BuildSimpleAvi(DefaultVideoAndAudio()).content).c_str()),
              1);
    SKrSimpleAvi avi;
    avi.streams = {PcmStream()};
    ASSERT_EQ(reader->Open(folder.Write(L"b.avi", BuildSimpleAvi(avi).content).c_str()), 1);
    EXPECT_EQ(AskVideo(*reader).valid, 0);
    EXPECT_EQ(AskVideo(*reader).chunkId, 0u);
    EXPECT_EQ(AskAudio(*reader).Id(), "00wb");
    avi.streams = {VideoStream()};
    ASSERT_EQ(reader->Open(folder.Write(L"c.avi", BuildSimpleAvi(avi).content).c_str()), 1);
    EXPECT_EQ(AskVideo(*reader).valid, 1);
    EXPECT_EQ(AskAudio(*reader).status, 0);
}

TEST(StreamInfo, FileThatFailsInTheParse_LeavesNothingOfTheOneBefore)
{
    const CKrTempFolder folder;
    CKrRef<IKrRiffReader> reader;
    ASSERT_EQ(KrCreateRiffReader(reader.Put()), 1);
    ASSERT_EQ(reader->Open(folder.Write(L"a.avi", BuildSimpleAvi(DefaultVideoAndAudio()).content).c_str()),
              1);
    ASSERT_EQ(reader->Open(folder.Write(L"zeros.avi", KrBytes(1000)).c_str()), 0);
    EXPECT_EQ(AskVideo(*reader).valid, 0);
    EXPECT_EQ(AskVideo(*reader).chunkId, 0u);
    EXPECT_EQ(AskVideo(*reader).frames, 0u);
    EXPECT_EQ(AskAudio(*reader).status, 0);
}
