// Which video stream is used, and the effect of an unusable one on the rest of the list.
#include "tests/reader/HeaderParseSupport.h"

#include <gtest/gtest.h>

using namespace KrTest;

namespace
{
SKrSimpleAvi WithBitmapInfo(const SKrTestBitmapInfo& format = {})
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream({10, 10}, format), PcmStream({20, 20})};
    return avi;
}

// The same with these bytes as the video stream's 'strf'.
SKrSimpleAvi WithVideoFormat(KrBytes bytes)
{
    SKrSimpleAvi avi = WithBitmapInfo();
    avi.streams[0].format = std::move(bytes);
    return avi;
}

KrBytes FirstFormatBytes(size_t count)
{
    KrBytes bytes = ToBytes(SKrTestBitmapInfo{});
    bytes.resize(count);
    return bytes;
}

void ExpectVideo(const SKrVideoAnswer& video)
{
    EXPECT_EQ(video.valid, 1);
    EXPECT_EQ(video.format.width, 720);
    EXPECT_EQ(video.frames, 2u);
}

// The file opens for its data chunks, but the list ended at the video stream.
void ExpectListEnded(const CKrParsedFile& file)
{
    ASSERT_EQ(file.Status(), 1);
    EXPECT_EQ(file.Video().valid, 0);
    EXPECT_EQ(file.Video().frames, 0u);
    EXPECT_EQ(file.Video().Id(), "00dc");
    EXPECT_EQ(file.Audio().Id(), "01wb");
    EXPECT_EQ(file.Audio().valid, 0) << "the audio stream comes later";
}
} // namespace

TEST(HeaderParseVideo, NegativeHeight_HasNoFormatButOpens)
{
    ExpectListEnded(CKrParsedFile(WithBitmapInfo({.height = -576})));
    ExpectListEnded(CKrParsedFile(WithBitmapInfo({.height = INT32_MIN})));
}

TEST(HeaderParseVideo, HeightOfZero_EndsTheList)
{
    ExpectListEnded(CKrParsedFile(WithBitmapInfo({.height = 0})));
}

TEST(HeaderParseVideo, WidthBelow1_EndsTheList)
{
    ExpectListEnded(CKrParsedFile(WithBitmapInfo({.width = 0})));
    ExpectListEnded(CKrParsedFile(WithBitmapInfo({.width = -720})));
}

TEST(HeaderParseVideo, BitCountOfZero_EndsTheList)
{
    ExpectListEnded(CKrParsedFile(WithBitmapInfo({.bitCount = 0})));
}

TEST(HeaderParseVideo, SmallestValues_AreTaken)
{
    const CKrParsedFile file(WithBitmapInfo({.width = 1, .height = 1, .bitCount = 1}));
    EXPECT_EQ(file.Video().valid, 1);
    EXPECT_EQ(file.Video().bitCount, 1u);
    EXPECT_EQ(file.Audio().valid, 1);
}

TEST(HeaderParseVideo, BitCountWithTheSignBit_IsTaken)
{
    EXPECT_EQ(CKrParsedFile(WithBitmapInfo({.bitCount = 0xFFFF})).Video().bitCount, 0xFFFFu);
}

TEST(HeaderParseVideo, ListEndedAtVideo_KeepsTheAudioStreamsBefore)
{
    SKrSimpleAvi avi;
    avi.streams = {PcmStream({20, 20}), VideoStream({10, 10}, {.height = -576}), PcmStream({30})};
    const CKrParsedFile file(avi);
    ASSERT_EQ(file.Status(), 1);
    EXPECT_EQ(file.Video().valid, 0);
    EXPECT_EQ(file.Audio().valid, 1);
    EXPECT_EQ(file.Audio().Id(), "00wb");
}

TEST(HeaderParseVideo, NoFormatChunk_EndsTheList)
{
    SKrBuiltAvi built = BuildSimpleAvi(WithBitmapInfo());
    built.content.PutU32(built.Find("strf").header, FourCcValue("JUNK"));
    ExpectListEnded(CKrParsedFile(built.content));
}

TEST(HeaderParseVideo, FormatChunkAfterTheStreamList_IsNotFound)
{
    SKrBuiltAvi built = BuildSimpleAvi(WithBitmapInfo());
    const SKrBuiltChunk strl = built.Find("strl");
    const auto toFormat = static_cast<uint32_t>(built.Find("strf").header - strl.data);
    built.content.PutU32(strl.header + 4, toFormat);
    ExpectListEnded(CKrParsedFile(built.content));
    built.content.PutU32(strl.header + 4, toFormat + 1);
    ExpectVideo(CKrParsedFile(built.content).Video());
}

TEST(HeaderParseVideo, FormatChunkAfterOtherChunks_IsFound)
{
    SKrSimpleAvi avi = WithBitmapInfo();
    avi.streams[0].beforeStrf = [](CKrAviBuilder& file)
    {
        file.Chunk("strd", KrBytes(7, 1));
        file.Zeros(100);
        file.List("INFO", [&] { file.Chunk("strf", KrBytes(40, 0xFF)); });
    };
    ExpectVideo(CKrParsedFile(avi).Video());
}

TEST(HeaderParseVideo, ShortFormat_ReadsAsIfZerosFollowed)
{
    const CKrParsedFile upToBitCount(WithVideoFormat(FirstFormatBytes(16)));
    ExpectVideo(upToBitCount.Video());
    EXPECT_EQ(upToBitCount.Video().bitCount, 24u);
    EXPECT_EQ(upToBitCount.Video().compression, 0u);
    EXPECT_EQ(upToBitCount.Audio().valid, 1);
    const CKrParsedFile upToCompression(WithVideoFormat(FirstFormatBytes(20)));
    EXPECT_EQ(IdText(upToCompression.Video().compression), "MJPG");
}

TEST(HeaderParseVideo, FormatCutWithinAField_KeepsTheBytesBefore)
{
    const CKrParsedFile withinBitCount(WithVideoFormat(FirstFormatBytes(15)));
    ExpectVideo(withinBitCount.Video());
    EXPECT_EQ(withinBitCount.Video().bitCount, 24u);
    const CKrParsedFile withinCompression(WithVideoFormat(FirstFormatBytes(18)));
    EXPECT_EQ(withinCompression.Video().compression, FourCcValue("MJPG") & 0xFFFF);
}

TEST(HeaderParseVideo, FormatWithoutAFieldThatCounts_EndsTheList)
{
    for (const size_t size : {0u, 1u, 4u, 8u, 12u, 14u})
        ExpectListEnded(CKrParsedFile(WithVideoFormat(FirstFormatBytes(size))));
}

TEST(HeaderParseVideo, LongerFormat_IsTaken)
{
    for (const size_t extra : {1u, 2u, 1024u, 100'000u})
    {
        const CKrParsedFile file(WithBitmapInfo({.extra = KrBytes(extra, 0x55)}));
        ExpectVideo(file.Video());
        EXPECT_EQ(file.Audio().valid, 1) << extra;
    }
}

TEST(HeaderParseVideo, FormatBeyondTheEndOfTheFile_EndsTheList)
{
    SKrBuiltAvi built = BuildSimpleAvi(WithBitmapInfo());
    const SKrBuiltChunk strf = built.Find("strf");
    const auto toEnd = static_cast<uint32_t>(built.content.Size() - strf.data);
    for (const uint32_t size : {toEnd + 1, 0x7FFFFFFFu, 0xFFFFFFFFu})
    {
        built.content.PutU32(strf.header + 4, size);
        ExpectListEnded(CKrParsedFile(built.content));
    }
    built.content.PutU32(strf.header + 4, toEnd);
    ExpectVideo(CKrParsedFile(built.content).Video());
}

TEST(HeaderParseVideo, SecondVideoStream_IsSkipped)
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream({10, 10}), VideoStream({10, 10}, {.width = 1920, .height = 1080}),
                   PcmStream({20, 20})};
    const CKrParsedFile file(avi);
    ASSERT_EQ(file.Status(), 1);
    ExpectVideo(file.Video());
    EXPECT_EQ(file.Video().Id(), "00dc");
    EXPECT_EQ(file.Audio().valid, 1) << "the list continues";
}

TEST(HeaderParseVideo, SecondVideoStreamThatCannotBeUsed_EndsTheList)
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream({10, 10}), VideoStream({10, 10}, {.height = -1}), PcmStream({20, 20})};
    const CKrParsedFile file(avi);
    ExpectVideo(file.Video());
    EXPECT_EQ(file.Audio().Id(), "02wb");
    EXPECT_EQ(file.Audio().valid, 0);
}

// After a skipped stream the search resumes where its format ended, without returning to an even position.
TEST(HeaderParseVideo, SkippedVideoStreamWithAnOddFormat_LosesTheNextStream)
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream({10, 10}), VideoStream({10, 10}, {.extra = KrBytes(3, 0)}),
                   PcmStream({20, 20})};
    const CKrParsedFile file(avi);
    ExpectVideo(file.Video());
    EXPECT_EQ(file.Audio().Id(), "02wb");
    EXPECT_EQ(file.Audio().valid, 0);
}

TEST(HeaderParseVideo, SkippedVideoStreamWithALongerFormat_KeepsTheNextStream)
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream({10, 10}), VideoStream({10, 10}, {.extra = KrBytes(1024, 0x55)}),
                   PcmStream({20, 20})};
    const CKrParsedFile file(avi);
    ExpectVideo(file.Video());
    EXPECT_EQ(file.Audio().valid, 1);
}

TEST(HeaderParseVideo, TakenVideoStreamWithAnOddFormat_KeepsTheNextStream)
{
    const CKrParsedFile file(WithBitmapInfo({.extra = KrBytes(3, 0)}));
    ExpectVideo(file.Video());
    EXPECT_EQ(file.Audio().valid, 1);
}

// The search after a skipped stream starts inside its list, so that a list in there is found.
TEST(HeaderParseVideo, StreamListInsideASkippedStream_IsFound)
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream({10, 10}), VideoStream({10, 10})};
    avi.mainHeader.streams = 3;
    avi.streams[1].endOfStrl = [](CKrAviBuilder& file)
    {
        file.List("strl",
                  [&]
                  {
                      file.Chunk("strh", ToBytes(SKrTestStreamHeader{.type = "auds", .length = 7}));
                      file.Chunk("strf", ToBytes(SKrTestWaveFormat{}));
                  });
    };
    avi.startOfMovi = [](CKrAviBuilder& file)
    {
        file.Chunk("02wb", KrBytes(4, 1));
    };
    const CKrParsedFile file(avi);
    ExpectVideo(file.Video());
    EXPECT_EQ(file.Audio().valid, 1);
}

TEST(HeaderParseVideo, FrameCount_IsThatOfTheMainHeader)
{
    for (const uint32_t frames : {0u, 1u, 12345u, 0xFFFFFFFFu})
    {
        SKrSimpleAvi avi = WithBitmapInfo();
        avi.mainHeader.totalFrames = frames;
        EXPECT_EQ(CKrParsedFile(avi).Video().frames, frames);
    }
}

TEST(HeaderParseVideo, VideoStreamThatCannotBeUsed_LeavesNoFrameCount)
{
    SKrSimpleAvi avi = WithBitmapInfo({.height = -576});
    avi.mainHeader.totalFrames = 12345;
    EXPECT_EQ(CKrParsedFile(avi).Video().frames, 0u);
}

TEST(HeaderParseVideo, VideoAfterAudio_IsTaken)
{
    SKrSimpleAvi avi;
    avi.streams = {PcmStream({20, 20}), VideoStream({10, 10})};
    const CKrParsedFile file(avi);
    ExpectVideo(file.Video());
    EXPECT_EQ(file.Video().Id(), "01dc");
    EXPECT_EQ(file.Audio().valid, 1);
}
