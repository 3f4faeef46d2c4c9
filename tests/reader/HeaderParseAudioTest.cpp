// Which audio streams are kept, with what format and duration, and which are dropped.
#include "tests/reader/HeaderParseSupport.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace KrTest;

namespace
{
SKrTestWaveFormat Format(uint32_t samplesPerSec)
{
    return PcmFormat(2, samplesPerSec, 16);
}

// One video stream, then these audio streams.
SKrSimpleAvi WithAudio(std::vector<SKrSimpleStream> audio)
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream({10, 10})};
    for (SKrSimpleStream& stream : audio)
        avi.streams.push_back(std::move(stream));
    return avi;
}

SKrSimpleStream WithAudioFormat(KrBytes bytes)
{
    SKrSimpleStream stream = PcmStream({20, 20});
    stream.format = std::move(bytes);
    return stream;
}

KrBytes FormatBytes(size_t count)
{
    KrBytes bytes = ToBytes(SKrTestWaveFormat{}, 18);
    bytes.resize(count, 0x77);
    return bytes;
}

// The sample rate of the first kept stream, which identifies it; 0 when none was kept.
uint32_t FirstKept(const SKrSimpleAvi& avi)
{
    const CKrParsedFile file(avi);
    EXPECT_EQ(file.Status(), 1);
    EXPECT_EQ(file.Audio().status, 1);
    EXPECT_EQ(file.Video().valid, 1);
    return file.Audio().valid == 1 ? file.Audio().format.samplesPerSec : 0;
}

// The first kept stream when this one precedes one of 32 kHz.
uint32_t FirstKeptBeforeAnother(SKrSimpleStream stream)
{
    return FirstKept(WithAudio({std::move(stream), PcmStream({20}, Format(32000))}));
}

double DurationOf(uint32_t length, uint32_t rate, uint32_t scale)
{
    SKrSimpleStream stream = PcmStream({20, 20});
    stream.header.length = length;
    stream.header.rate = rate;
    stream.header.scale = scale;
    const CKrParsedFile file(WithAudio({stream}));
    EXPECT_EQ(file.Audio().valid, 1);
    return file.Audio().duration;
}
} // namespace

TEST(HeaderParseAudio, PcmStream_HasItsFormat)
{
    const CKrParsedFile file(WithAudio({PcmStream({20, 20}, PcmFormat(6, 96000, 24))}));
    ASSERT_EQ(file.Status(), 1);
    const SKrAudioAnswer audio = file.Audio();
    ASSERT_EQ(audio.valid, 1);
    EXPECT_EQ(audio.Id(), "01wb");
    EXPECT_EQ(audio.format.formatTag, 1u);
    EXPECT_EQ(audio.format.channels, 6u);
    EXPECT_EQ(audio.format.samplesPerSec, 96000u);
    EXPECT_EQ(audio.format.avgBytesPerSec, 96000u * 18);
    EXPECT_EQ(audio.format.blockAlign, 18u);
    EXPECT_EQ(audio.format.bitsPerSample, 24u);
}

TEST(HeaderParseAudio, FormatOf16Or18Or40Bytes_IsKept)
{
    for (const size_t size : {16u, 18u, 40u})
    {
        const CKrParsedFile file(WithAudio({PcmStream({20, 20}, Format(44100), size)}));
        const SKrAudioAnswer audio = file.Audio();
        ASSERT_EQ(audio.valid, 1) << size;
        EXPECT_EQ(audio.format.formatTag, size == 40 ? 0xFFFEu : 1u);
        EXPECT_EQ(audio.format.samplesPerSec, 44100u);
        EXPECT_EQ(audio.format.bitsPerSample, 16u);
    }
}

TEST(HeaderParseAudio, FormatOf14Bytes_HasNoBitsPerSampleAndIsSkipped)
{
    EXPECT_EQ(FirstKeptBeforeAnother(WithAudioFormat(FormatBytes(14))), 32000u);
}

TEST(HeaderParseAudio, ShorterFormat_IsSkipped)
{
    for (const size_t size : {0u, 2u, 4u, 8u, 12u})
        EXPECT_EQ(FirstKeptBeforeAnother(WithAudioFormat(FormatBytes(size))), 32000u) << size;
}

TEST(HeaderParseAudio, FormatCutWithinTheBitsPerSample_ReadsAsIfZerosFollowed)
{
    EXPECT_EQ(FirstKept(WithAudio({WithAudioFormat(FormatBytes(15))})), 48000u);
}

TEST(HeaderParseAudio, FormatCutWithinTheExtraSize_IsKept)
{
    KrBytes bytes = ToBytes(SKrTestWaveFormat{.cbSize = 0x1234}, 18);
    bytes.resize(17);
    EXPECT_EQ(FirstKept(WithAudio({WithAudioFormat(bytes)})), 48000u);
}

TEST(HeaderParseAudio, ExtraSizeBeyondTheFormat_IsKept)
{
    for (const uint16_t extra : {1, 22, 0xFFFF})
    {
        const KrBytes bytes = ToBytes(SKrTestWaveFormat{.cbSize = extra}, 18);
        EXPECT_EQ(FirstKept(WithAudio({WithAudioFormat(bytes)})), 48000u) << extra;
    }
}

TEST(HeaderParseAudio, LongerFormat_IsKept)
{
    for (const size_t size : {19u, 41u, 70'000u, 200'000u})
        EXPECT_EQ(FirstKept(WithAudio({WithAudioFormat(FormatBytes(size))})), 48000u) << size;
}

TEST(HeaderParseAudio, BitsPerSampleOfZero_IsSkipped)
{
    EXPECT_EQ(FirstKeptBeforeAnother(PcmStream({20}, {.bitsPerSample = 0})), 32000u);
}

TEST(HeaderParseAudio, SampleRateOfZero_IsSkipped)
{
    EXPECT_EQ(FirstKeptBeforeAnother(PcmStream({20}, {.samplesPerSec = 0})), 32000u);
}

TEST(HeaderParseAudio, NoChannels_IsSkipped)
{
    EXPECT_EQ(FirstKeptBeforeAnother(PcmStream({20}, {.channels = 0})), 32000u);
}

TEST(HeaderParseAudio, OtherFormatTag_IsKept)
{
    EXPECT_EQ(FirstKeptBeforeAnother(PcmStream({20}, {.formatTag = 0x55})), 48000u);
}

TEST(HeaderParseAudio, NoFormatChunk_EndsTheList)
{
    SKrBuiltAvi built = BuildSimpleAvi(WithAudio({PcmStream({20}), PcmStream({20})}));
    built.content.PutU32(built.Find("strf", 1).header, FourCcValue("JUNK"));
    const CKrParsedFile file(built.content);
    ASSERT_EQ(file.Status(), 1);
    EXPECT_EQ(file.Video().valid, 1);
    EXPECT_EQ(file.Audio().valid, 0) << "nor is the second one kept";
}

TEST(HeaderParseAudio, FormatBeyondTheEndOfTheFile_EndsTheList)
{
    SKrBuiltAvi built = BuildSimpleAvi(WithAudio({PcmStream({20}), PcmStream({20})}));
    const SKrBuiltChunk strf = built.Find("strf", 1);
    const auto toEnd = static_cast<uint32_t>(built.content.Size() - strf.data);
    for (const uint32_t size : {toEnd + 1, 0x7FFFFFFFu, 0xFFFFFFFFu})
    {
        built.content.PutU32(strf.header + 4, size);
        const CKrParsedFile file(built.content);
        ASSERT_EQ(file.Status(), 1);
        EXPECT_EQ(file.Audio().valid, 0) << size;
    }
    built.content.PutU32(strf.header + 4, toEnd);
    EXPECT_EQ(CKrParsedFile(built.content).Audio().valid, 1);
}

TEST(HeaderParseAudio, FormatChunkAfterOtherChunks_IsFound)
{
    SKrSimpleStream stream = PcmStream({20, 20});
    stream.beforeStrf = [](CKrAviBuilder& file)
    {
        file.Chunk("strd", KrBytes(33, 1));
    };
    EXPECT_EQ(FirstKept(WithAudio({stream})), 48000u);
}

// After a skipped stream the search resumes where its format ended, without returning to an even position:
// the header that it reads there is skipped by a size made of shifted bytes.
TEST(HeaderParseAudio, SkippedStreamWithAnOddFormat_LosesTheNextStream)
{
    EXPECT_EQ(FirstKeptBeforeAnother(WithAudioFormat(FormatBytes(13))), 0u);
    EXPECT_EQ(FirstKeptBeforeAnother(WithAudioFormat(FormatBytes(12))), 32000u);
}

TEST(HeaderParseAudio, SkippedStreamWithMoreChunks_KeepsTheNextStream)
{
    SKrSimpleStream skipped = PcmStream({20}, {.channels = 0});
    skipped.endOfStrl = [](CKrAviBuilder& file)
    {
        file.Chunk("strn", KrBytes(5, 'n'));
    };
    EXPECT_EQ(FirstKeptBeforeAnother(skipped), 32000u);
}

TEST(HeaderParseAudio, KeptStreamWithAnOddFormat_KeepsTheNextStream)
{
    SKrSimpleAvi avi;
    avi.streams = {WithAudioFormat(FormatBytes(19)), VideoStream({10})};
    EXPECT_EQ(CKrParsedFile(avi).Video().valid, 1);
}

TEST(HeaderParseAudio, Duration_IsLengthByRateTimesScale)
{
    EXPECT_EQ(DurationOf(480000, 192000, 4), 10.0);
    EXPECT_EQ(DurationOf(120, 48000, 1024), 2.56);
    EXPECT_EQ(DurationOf(0, 192000, 4), 0.0);
    EXPECT_EQ(DurationOf(7, 192000, 0), 0.0);
    EXPECT_EQ(DurationOf(0xFFFFFFFF, 1, 0xFFFFFFFF), 4294967295.0 * 4294967295.0);
}

// The other orders result in 1, 0.3 and 0.84.
TEST(HeaderParseAudio, Duration_IsDividedFirst)
{
    EXPECT_EQ(DurationOf(1, 49, 49), 0.9999999999999999);
    EXPECT_EQ(DurationOf(1, 10, 3), 0.30000000000000004);
    EXPECT_EQ(DurationOf(7, 25, 3), 0.8400000000000001);
}

TEST(HeaderParseAudio, RateOfZero_GivesAnEndlessDuration)
{
    EXPECT_TRUE(std::isinf(DurationOf(100, 0, 1)));
    EXPECT_TRUE(std::isnan(DurationOf(0, 0, 1)));
    EXPECT_TRUE(std::isnan(DurationOf(100, 0, 0)));
}

TEST(HeaderParseAudio, DurationOfTheFirstKeptStream_IsReported)
{
    SKrSimpleStream skipped = PcmStream({20}, {.channels = 0});
    skipped.header.length = 1000;
    SKrSimpleStream kept = PcmStream({20});
    kept.header.length = 96000;
    SKrSimpleStream second = PcmStream({20});
    second.header.length = 5000;
    EXPECT_EQ(CKrParsedFile(WithAudio({skipped, kept, second})).Audio().duration, 2.0);
}
