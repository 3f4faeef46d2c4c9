// Parse results in the reader that a host cannot query.
#include "tests/reader/HeaderParseInnerSupport.h"

#include "format/KrFourCC.h"
#include "tests/support/KrByteWriter.h"
#include "tests/support/KrFaultyFileSystem.h"

#include <gtest/gtest.h>

using namespace KrTest;

namespace
{
SKrSimpleAvi AudioStreams(size_t count)
{
    SKrSimpleAvi avi;
    avi.streams.clear();
    for (size_t stream = 0; stream < count; ++stream)
    {
        avi.streams.push_back(PcmStream({20}, PcmFormat(2, static_cast<uint32_t>(1000 * (stream + 1)), 16)));
        avi.streams.back().header.length = static_cast<uint32_t>(stream + 1);
    }
    return avi;
}

std::vector<uint32_t> KeptNumbers(const SKrStreamState& state)
{
    std::vector<uint32_t> numbers;
    for (uint32_t slot = 0; slot < state.audioStreamCount; ++slot)
        numbers.push_back(state.audio[slot].streamNumber);
    return numbers;
}

using KrNumbers = std::vector<uint32_t>;

CKrFileContent Cut(const CKrFileContent& content, uint64_t size)
{
    CKrFileContent cut = content;
    cut.Resize(size);
    return cut;
}

// Opens with every read limited to this many bytes; returns the position after the header list that was
// found.
uint32_t EndOfHeaderListWithReadsOf(size_t bytes)
{
    CKrMemoryFileSystem memory;
    memory.Set(L"x.avi", BuildSimpleAvi({}).content);
    CKrFaultyFileSystem faulty(memory);
    faulty.ShortenRead(1, bytes, EKrFaultSpan::FromThenOn);
    CKrRiffReader reader(faulty);
    static_cast<void>(reader.Open(L"x.avi"));
    return reader.StreamState().firstChunkPosition;
}
} // namespace

TEST(HeaderParse, NineAudioStreams_KeepTheFirstEight)
{
    const CKrParsedInMemory file(AudioStreams(9));
    ASSERT_EQ(file.Status(), 1);
    EXPECT_EQ(KeptNumbers(file.State()), (KrNumbers{0, 1, 2, 3, 4, 5, 6, 7}));
    EXPECT_EQ(file.State().streamCount, 9u);
    for (uint32_t slot = 0; slot < 8; ++slot)
    {
        EXPECT_EQ(file.State().audio[slot].format.samplesPerSec, 1000 * (slot + 1));
        EXPECT_EQ(file.State().statistics.audioLengths[slot], slot + 1);
    }
}

TEST(HeaderParse, NineAudioStreamsOneOfThemUnusable_KeepTheOtherEight)
{
    SKrSimpleAvi avi = AudioStreams(9);
    avi.streams[2].format = ToBytes(SKrTestWaveFormat{.channels = 0});
    const CKrParsedInMemory file(avi);
    EXPECT_EQ(KeptNumbers(file.State()), (KrNumbers{0, 1, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(file.State().audio[2].format.samplesPerSec, 4000u);
    EXPECT_EQ(file.State().audio[7].format.samplesPerSec, 9000u);
}

TEST(HeaderParse, VideoAfterNineAudioStreams_IsTaken)
{
    SKrSimpleAvi avi = AudioStreams(9);
    avi.streams.push_back(VideoStream({10}));
    const CKrParsedInMemory file(avi);
    EXPECT_EQ(file.State().audioStreamCount, 8);
    EXPECT_EQ(file.State().videoStreamNumber, 9u);
}

TEST(HeaderParse, NinthAudioStreamWithoutFormat_EndsTheList)
{
    SKrSimpleAvi avi = AudioStreams(9);
    avi.streams.push_back(VideoStream({10}));
    SKrBuiltAvi built = BuildSimpleAvi(avi);
    built.content.PutU32(built.Find("strf", 8).header, kFccJunk);
    const CKrParsedInMemory file(built.content);
    EXPECT_EQ(file.Status(), 1);
    EXPECT_EQ(file.State().audioStreamCount, 8);
    EXPECT_EQ(file.State().videoStreamNumber, kNotLocated);
}

TEST(HeaderParse, StreamNumbers_CountEveryStreamList)
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream({}), PcmStream({20}, {.channels = 0}), VideoStream({10}), VideoStream({10}),
                   PcmStream({20})};
    avi.streams[0].header.type = "txts";
    const CKrParsedInMemory file(avi);
    EXPECT_EQ(file.State().videoStreamNumber, 2u);
    EXPECT_EQ(KeptNumbers(file.State()), (KrNumbers{4}));
}

TEST(HeaderParse, NoStream_LeavesTheStartValues)
{
    SKrSimpleAvi avi;
    avi.mainHeader.flags = 0;
    const CKrParsedInMemory file(avi);
    const SKrStreamState& state = file.State();
    ASSERT_EQ(file.Status(), 1);
    EXPECT_EQ(state.streamCount, 1u);
    EXPECT_EQ(state.videoStreamNumber, 0xFFFFFFFFu);
    EXPECT_EQ(state.videoCompression, 0u);
    EXPECT_EQ(state.videoBitCount, 0u);
    EXPECT_EQ(state.videoFormat.width, 0);
    EXPECT_EQ(state.totalFrames, 0u);
    EXPECT_EQ(state.audioStreamCount, 0u);
    EXPECT_EQ(state.statistics.audioSampleSizeSum, 0u);
    for (const SKrAudioStream& audio : state.audio)
    {
        EXPECT_EQ(audio.streamNumber, 0xFFFFFFFFu);
        EXPECT_EQ(audio.sampleSize, 0u);
        EXPECT_EQ(audio.duration, 0.0);
    }
}

TEST(HeaderParse, Close_KeepsTheStreamsButNotTheirFrames)
{
    SKrSimpleAvi avi;
    avi.mainHeader.totalFrames = 7;
    CKrParsedInMemory file(avi);
    ASSERT_EQ(file.State().totalFrames, 7u);
    file.Reader().Close();
    EXPECT_EQ(file.State().totalFrames, 0u);
    EXPECT_EQ(file.State().videoStreamNumber, 0u);
}

TEST(HeaderParse, AudioSampleSizes_AreLowHalvesAndAreSummedIn16Bits)
{
    SKrSimpleAvi avi = AudioStreams(3);
    const uint32_t sizes[] = {0x12348001, 0xFFFF8002, 4};
    for (size_t stream = 0; stream < 3; ++stream)
        avi.streams[stream].header.sampleSize = sizes[stream];
    const CKrParsedInMemory file(avi);
    EXPECT_EQ(file.State().audio[0].sampleSize, 0x8001);
    EXPECT_EQ(file.State().audio[1].sampleSize, 0x8002);
    EXPECT_EQ(file.State().audio[2].sampleSize, 4);
    EXPECT_EQ(file.State().statistics.audioSampleSizeSum, 7);
}

TEST(HeaderParse, SkippedAudioStream_LeavesItsSlotToTheNext)
{
    SKrSimpleAvi avi = AudioStreams(1);
    avi.streams[0].format = ToBytes(SKrTestWaveFormat{.formatTag = 77, .channels = 0});
    avi.streams[0].header.sampleSize = 5;
    const CKrParsedInMemory file(avi);
    EXPECT_EQ(file.State().audioStreamCount, 0);
    EXPECT_EQ(file.State().audio[0].format.formatTag, 0u) << "a conversion that fails writes nothing";
    EXPECT_EQ(file.State().audio[0].duration, 0.0);
    EXPECT_EQ(file.State().statistics.audioSampleSizeSum, 0);
}

TEST(HeaderParse, ListThatFails_StillSetsTheFirstChunkPosition)
{
    SKrSimpleAvi avi;
    avi.mainHeader.flags = 0;
    const SKrBuiltAvi built = BuildSimpleAvi(avi);
    const CKrParsedInMemory file(built.content);
    EXPECT_EQ(file.State().firstChunkPosition, built.Find("hdrl").end);
}

TEST(HeaderParse, NoHeaderList_LeavesTheFirstChunkPositionAtZero)
{
    SKrSimpleAvi avi;
    avi.beforeHdrl = [](CKrAviBuilder& file)
    {
        file.List("INFO", [&] { file.Chunk("JUNK", KrBytes(8, 0)); });
    };
    EXPECT_EQ(CKrParsedInMemory(avi).State().firstChunkPosition, 0u);
    CKrAviBuilder raw;
    raw.Raw(KrBytes(208, 0xC3));
    EXPECT_EQ(CKrParsedInMemory(raw.Content()).State().firstChunkPosition, 0u);
}

// The header list ends before the main header does, so that the bytes after it are searched for chunks.
TEST(HeaderParse, MainHeaderCutByTheEndOfTheFile_IsNotTaken)
{
    CKrAviBuilder file;
    file.Riff("AVI ",
              [&]
              {
                  file.Chunk("JUNK", KrBytes(200, 0));
                  file.List("hdrl", [&] { file.Raw(CKrTestByteWriter().FourCc("avih").U32(56).Bytes()); });
                  file.Raw(ToBytes(SKrTestMainHeader{.streams = 7}));
              });
    const uint64_t size = file.Position();
    for (const uint64_t missing : {0u, 1u, 4u, 16u, 31u})
    {
        const CKrParsedInMemory cut(Cut(file.Content(), size - missing));
        EXPECT_EQ(cut.Status(), 1) << missing;
        EXPECT_EQ(cut.State().streamCount, missing == 0 ? 7u : 0u) << missing;
        EXPECT_NE(cut.State().firstChunkPosition, 0u);
    }
}

TEST(HeaderParse, StreamHeaderCutByTheEndOfTheFile_EndsTheList)
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream({10}), VideoStream({})};
    const SKrBuiltAvi built = BuildSimpleAvi(avi);
    CKrAviBuilder moved; // 'movi' first, so that the file opens wherever the second stream list is cut
    const SKrBuiltChunk second = built.Find("strl", 1);
    const KrBytes list = built.content.Range(second.header, second.size + 8);
    moved.Riff("AVI ",
               [&]
               {
                   moved.List("hdrl",
                              [&]
                              {
                                  moved.Chunk("avih", ToBytes(SKrTestMainHeader{.streams = 1}));
                                  moved.Chunk("JUNK", KrBytes(64, 0));
                              });
                   moved.List("movi", [&] { moved.Chunk("00dc", KrBytes(32, 1)); });
                   moved.Raw(list);
               });
    const uint64_t strhEnd = moved.Position() - list.size() + 12 + 8 + 56;
    for (uint64_t size = moved.Position() - list.size(); size < strhEnd + 48; ++size)
    {
        const CKrParsedInMemory file(Cut(moved.Content(), size));
        ASSERT_EQ(file.Status(), 1) << size;
        EXPECT_EQ(file.State().videoStreamNumber, kNotLocated) << size;
    }
    EXPECT_EQ(CKrParsedInMemory(moved.Content()).State().videoStreamNumber, 0u);
}

TEST(HeaderParse, AudioFormatPastTheEndOfTheFile_EndsTheList)
{
    SKrSimpleAvi avi;
    avi.streams = {PcmStream({20}), VideoStream({10})};
    SKrBuiltAvi built = BuildSimpleAvi(avi);
    const SKrBuiltChunk strf = built.Find("strf");
    built.content.PutU32(strf.header + 4, 0x7FFFFFFF);
    built.content.PutU32(strf.data, kFccJunk); // a walk through the data would come to the next list
    built.content.PutU32(strf.data + 4, strf.size - 8);
    const CKrParsedInMemory file(built.content);
    ASSERT_EQ(file.Status(), 1);
    EXPECT_EQ(file.State().audioStreamCount, 0u);
    EXPECT_EQ(file.State().videoStreamNumber, kNotLocated);
}

TEST(HeaderParse, ThirteenBytesOfTheFileHeader_AreEnough)
{
    EXPECT_EQ(EndOfHeaderListWithReadsOf(12), 0u);
    EXPECT_NE(EndOfHeaderListWithReadsOf(13), 0u);
}
