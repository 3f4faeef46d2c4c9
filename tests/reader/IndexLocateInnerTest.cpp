// Which index the parse finds for a stream, and for which streams: 'indx' in the stream's own list, else
// 'idx1'.
#include "tests/reader/IndexLocateSupport.h"

using namespace KrTest;

TEST(IndexLocate, SuperIndexAfterTheFormat_IsOpenDml)
{
    const SKrLocated located(TwoStreamAvi(EKrIndexKind::OpenDml));
    ExpectOpenDmlAt(located, located.built.Find("indx", 0));
    EXPECT_EQ(located.Video().streamNumber, 0u);
    EXPECT_EQ(located.Audio().indexPosition, located.built.Find("indx", 1).header);
    EXPECT_EQ(located.Audio().streamNumber, 1u);
}

TEST(IndexLocate, SuperIndexAfterOtherChunksAndZeros_IsFound)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::OpenDml);
    avi.streams[0].hasSuperIndex = false;
    avi.streams[0].endOfStrl = [](CKrAviBuilder& file)
    {
        file.Chunk("strd", KrBytes(9, 1));
        file.Chunk("strn", KrBytes(7, 'n'));
        file.Zeros(30); // more empty headers than a walk tolerates
        file.Chunk("indx", ToBytes(SKrTestSuperIndex{}));
    };
    const SKrLocated located(avi);
    ExpectOpenDmlAt(located, located.built.Find("indx", 0));
}

TEST(IndexLocate, FormatOfOddSize_IsLeftAtAnEvenPosition)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::OpenDml);
    avi.streams[0].format.push_back(0x77);
    const SKrLocated located(avi);
    ASSERT_EQ(located.built.Find("strf").size, 41u);
    ExpectOpenDmlAt(located, located.built.Find("indx", 0));
}

TEST(IndexLocate, SuperIndexBeforeTheFormat_IsNotFound)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::Idx1);
    avi.streams[0].beforeStrf = ChunkOf("indx", 24);
    const SKrLocated located(avi);
    ExpectOldIndexAt(located, located.built.Find("idx1"), located.built.streamChunks[0][0]);
}

TEST(IndexLocate, SuperIndexAfterTheStreamsList_IsNotTheStreams)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::Idx1);
    avi.streams.pop_back();
    avi.endOfHdrl = ChunkOf("indx", 24);
    const SKrLocated located(avi);
    ExpectOldIndexAt(located, located.built.Find("idx1"), located.built.streamChunks[0][0]);
}

TEST(IndexLocate, SuperIndexOfTheOtherStream_IsNotTheStreams)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::Both);
    avi.streams[0].hasSuperIndex = false;
    const SKrLocated located(avi);
    ExpectOldIndexAt(located, located.built.Find("idx1"), located.built.streamChunks[0][0]);
    EXPECT_EQ(located.Audio().indexPosition, located.built.Find("indx").header);
    EXPECT_EQ(located.Audio().oldIndexEntries, 0u);
}

TEST(IndexLocate, SuperIndexOfTheVideoOnly_LeavesTheOldOneToAudio)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::Both);
    avi.streams[1].hasSuperIndex = false;
    const SKrLocated located(avi);
    ExpectOpenDmlAt(located, located.built.Find("indx"));
    EXPECT_EQ(located.Audio().indexPosition, located.built.Find("idx1").data);
    EXPECT_EQ(located.Audio().firstChunkPosition, located.built.streamChunks[1][0].header);
    EXPECT_EQ(located.Audio().oldIndexEntries, 8u);
}

TEST(IndexLocate, ListOfTypeIndx_IsNoSuperIndex)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::Idx1);
    avi.streams[0].endOfStrl = [](CKrAviBuilder& file)
    {
        file.List("indx", [&file] { file.Chunk("ISFT", KrBytes(8, 'x')); });
    };
    const SKrLocated located(avi);
    ExpectOldIndexAt(located, located.built.Find("idx1"), located.built.streamChunks[0][0]);
}

TEST(IndexLocate, StreamsTenToFifteen_AreNumberedInLowerCaseHexadecimal)
{
    for (size_t number = 9; number < 16; ++number)
    {
        const SKrLocated located(VideoAt(number, EKrIndexKind::Idx1));
        ASSERT_EQ(located.built.streamChunks[number][0].id,
                  (std::string("0") + "0123456789abcdef"[number] + "dc"));
        ExpectOldIndexAt(located, located.built.Find("idx1"), located.built.streamChunks[number][0]);
        EXPECT_EQ(located.Video().streamNumber, number);
    }
}

TEST(IndexLocate, UpperCaseOrDecimalNumber_IsNotTheStreams)
{
    for (const char* id : {"0Adc", "10dc"})
    {
        SKrSimpleAvi avi = VideoAt(10, EKrIndexKind::Idx1);
        avi.streams[10].chunkId = id;
        ExpectNothingLocated(SKrLocated(avi));
    }
}

TEST(IndexLocate, StreamSixteenAndAbove_HaveNoIndexOfEitherKind)
{
    for (const size_t number : {16, 17, 26, 255, 256})
    {
        for (const EKrIndexKind index : {EKrIndexKind::Idx1, EKrIndexKind::OpenDml})
        {
            const SKrLocated located(VideoAt(number, index));
            ExpectNothingLocated(located);
            EXPECT_EQ(located.Video().firstChunkPosition, kNotLocated);
            EXPECT_EQ(located.State().videoStreamNumber, number) << "the stream itself is kept";
        }
    }
}

TEST(IndexLocate, EightAudioStreams_HaveASlotEach)
{
    for (const EKrIndexKind index : {EKrIndexKind::Idx1, EKrIndexKind::OpenDml})
    {
        SKrSimpleAvi avi;
        avi.index = index;
        for (size_t stream = 1; stream <= 9; ++stream)
            avi.streams.push_back(PcmStream({8}));
        const SKrLocated located(avi);
        for (size_t slot = 0; slot < kMaxAudioStreams; ++slot)
        {
            const SKrLocatedIndex& audio = located.Audio(slot);
            EXPECT_EQ(audio.streamNumber, slot + 1);
            if (index == EKrIndexKind::OpenDml)
            {
                EXPECT_EQ(audio.indexPosition, located.built.Find("indx", slot + 1).header);
                continue;
            }
            EXPECT_EQ(audio.indexPosition, located.built.Find("idx1").data);
            EXPECT_EQ(audio.firstChunkPosition, located.built.streamChunks[slot + 1][0].header);
        }
    }
}

TEST(IndexLocate, AudioAlone_SetsNoFlagOfTheVideo)
{
    for (const EKrIndexKind index : {EKrIndexKind::Idx1, EKrIndexKind::OpenDml})
    {
        SKrSimpleAvi avi;
        avi.index = index;
        avi.streams = {PcmStream({8, 8})};
        const SKrLocated located(avi);
        ExpectNothingLocated(located);
        EXPECT_NE(located.Audio().indexPosition, kNotLocated);
        EXPECT_EQ(located.Video().streamNumber, kNotLocated);
    }
}

TEST(IndexLocate, SecondVideoStream_ChangesNothing)
{
    SKrSimpleAvi avi;
    avi.index = EKrIndexKind::Both;
    avi.streams = {VideoStream({20, 21}), VideoStream({30, 31})};
    avi.streams[0].hasSuperIndex = false;
    const SKrLocated located(avi);
    ExpectOldIndexAt(located, located.built.Find("idx1"), located.built.streamChunks[0][0]);
    EXPECT_EQ(located.Video().streamNumber, 0u);
}

TEST(IndexLocate, NextFile_StartsWithNothing)
{
    CKrMemoryFileSystem files;
    SKrSimpleAvi rich = TwoStreamAvi(EKrIndexKind::OpenDml);
    files.Set(L"rich.avi", BuildSimpleAvi(rich).content);
    files.Set(L"poor.avi", BuildSimpleAvi(TwoStreamAvi(EKrIndexKind::None)).content);
    CKrRiffReader reader(files);
    ASSERT_EQ(reader.Open(L"rich.avi"), 1);
    ASSERT_EQ(LoadVideoOf(reader).status, 1);
    ASSERT_EQ(LoadAudioOf(reader).status, 1);
    EXPECT_NE(reader.StreamState().statistics.largestVideoChunk, 0u);
    ASSERT_EQ(reader.Open(L"poor.avi"), 1);
    const SKrStreamState& state = reader.StreamState();
    EXPECT_FALSE(state.openDmlIndex);
    EXPECT_EQ(state.videoIndex.indexPosition, kNotLocated);
    EXPECT_EQ(state.audio[0].index.indexPosition, kNotLocated);
    EXPECT_EQ(state.statistics.largestVideoChunk, 0u);
    EXPECT_EQ(state.statistics.totalAudioSamples, 0u);
    EXPECT_FALSE(state.statistics.uniformAudioChunks);
    EXPECT_EQ(LoadVideoOf(reader).status, 0);
    EXPECT_EQ(LoadAudioOf(reader).status, 0);
}
