// Where the parse finds the index of a stream: 'indx' in the stream's own list, else 'idx1' behind 'movi'.
#include "tests/reader/IndexLoadInnerSupport.h"

#include <gtest/gtest.h>

using namespace KrTest;

namespace
{
// Opens a file and keeps what was built beside what was located.
struct SLocated
{
    explicit SLocated(const SKrSimpleAvi& avi) : built(BuildSimpleAvi(avi)), file(built.content) {}

    const SKrStreamState& State() const { return file.State(); }
    const SKrLocatedIndex& Video() const { return State().videoIndex; }
    const SKrLocatedIndex& Audio(size_t slot = 0) const { return State().audio[slot].index; }

    SKrBuiltAvi built;
    CKrParsedInMemory file;
};

void ExpectOpenDmlAt(const SLocated& located, const SKrBuiltChunk& indx)
{
    EXPECT_TRUE(located.State().openDmlIndex);
    EXPECT_FALSE(located.State().oldIndexPresent);
    EXPECT_EQ(located.Video().indexPosition, indx.header);
    EXPECT_EQ(located.Video().firstChunkPosition, kNotLocated);
    EXPECT_EQ(located.Video().oldIndexEntries, 0u);
}

void ExpectOldIndexAt(const SLocated& located, const SKrBuiltChunk& idx1, const SKrBuiltChunk& firstChunk)
{
    EXPECT_FALSE(located.State().openDmlIndex);
    EXPECT_TRUE(located.State().oldIndexPresent);
    EXPECT_EQ(located.Video().indexPosition, idx1.data);
    EXPECT_EQ(located.Video().firstChunkPosition, firstChunk.header);
    EXPECT_EQ(located.Video().oldIndexEntries, idx1.size / 16);
}

void ExpectNothing(const SLocated& located)
{
    EXPECT_EQ(located.file.Status(), 1);
    EXPECT_FALSE(located.State().openDmlIndex);
    EXPECT_FALSE(located.State().oldIndexPresent);
    EXPECT_EQ(located.Video().indexPosition, kNotLocated);
    EXPECT_EQ(located.Video().oldIndexEntries, 0u);
}

KrBuilderHook ChunkOf(const char* id, size_t size)
{
    return [id, size](CKrAviBuilder& file)
    {
        file.Chunk(id, KrBytes(size, 0x11));
    };
}

// A stream whose type is of no interest, to move the numbers of those behind it.
SKrSimpleStream TextStream()
{
    SKrSimpleStream stream = PcmStream({6});
    stream.header.type = "txts";
    stream.suffix = "tx";
    return stream;
}

SKrSimpleAvi VideoAt(size_t number, EKrIndexKind index)
{
    SKrSimpleAvi avi;
    avi.index = index;
    avi.streams.assign(number, TextStream());
    avi.streams.push_back(VideoStream({20, 21}));
    return avi;
}
} // namespace

TEST(IndexLocate, SuperIndexBehindTheFormat_IsOpenDml)
{
    const SLocated located(TwoStreamAvi(EKrIndexKind::OpenDml));
    ExpectOpenDmlAt(located, located.built.Find("indx", 0));
    EXPECT_EQ(located.Video().streamNumber, 0u);
    EXPECT_EQ(located.Audio().indexPosition, located.built.Find("indx", 1).header);
    EXPECT_EQ(located.Audio().streamNumber, 1u);
}

TEST(IndexLocate, BothIndexes_AreOpenDml)
{
    const SLocated located(TwoStreamAvi(EKrIndexKind::Both));
    ExpectOpenDmlAt(located, located.built.Find("indx", 0));
}

TEST(IndexLocate, SuperIndexBehindOtherChunksAndZeros_IsFound)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::OpenDml);
    avi.streams[0].hasSuperIndex = false;
    avi.streams[0].endOfStrl = [](CKrAviBuilder& file)
    {
        file.Chunk("strd", KrBytes(9, 1));
        file.Chunk("strn", KrBytes(7, 'n'));
        file.Zeros(30); // more empty headers than a walk would stand
        file.Chunk("indx", ToBytes(SKrTestSuperIndex{}));
    };
    const SLocated located(avi);
    ExpectOpenDmlAt(located, located.built.Find("indx", 0));
}

TEST(IndexLocate, FormatOfOddSize_IsLeftAtAnEvenPosition)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::OpenDml);
    avi.streams[0].format.push_back(0x77);
    const SLocated located(avi);
    ASSERT_EQ(located.built.Find("strf").size, 41u);
    ExpectOpenDmlAt(located, located.built.Find("indx", 0));
}

TEST(IndexLocate, SuperIndexBeforeTheFormat_IsNotSeen)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::Idx1);
    avi.streams[0].beforeStrf = ChunkOf("indx", 24);
    const SLocated located(avi);
    ExpectOldIndexAt(located, located.built.Find("idx1"), located.built.streamChunks[0][0]);
}

TEST(IndexLocate, SuperIndexBehindTheStreamsList_IsNotTheStreams)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::Idx1);
    avi.streams.pop_back();
    avi.endOfHdrl = ChunkOf("indx", 24);
    const SLocated located(avi);
    ExpectOldIndexAt(located, located.built.Find("idx1"), located.built.streamChunks[0][0]);
}

TEST(IndexLocate, SuperIndexOfTheOtherStream_IsNotTheStreams)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::Both);
    avi.streams[0].hasSuperIndex = false;
    const SLocated located(avi);
    ExpectOldIndexAt(located, located.built.Find("idx1"), located.built.streamChunks[0][0]);
    EXPECT_EQ(located.Audio().indexPosition, located.built.Find("indx").header);
    EXPECT_EQ(located.Audio().oldIndexEntries, 0u);
}

TEST(IndexLocate, SuperIndexOfTheVideoOnly_LeavesTheOldOneToAudio)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::Both);
    avi.streams[1].hasSuperIndex = false;
    const SLocated located(avi);
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
    const SLocated located(avi);
    ExpectOldIndexAt(located, located.built.Find("idx1"), located.built.streamChunks[0][0]);
}

TEST(IndexLocate, OldIndex_IsLocatedForEachStream)
{
    const SLocated located(TwoStreamAvi(EKrIndexKind::Idx1));
    ExpectOldIndexAt(located, located.built.Find("idx1"), located.built.streamChunks[0][0]);
    EXPECT_EQ(located.Audio().indexPosition, located.built.Find("idx1").data);
    EXPECT_EQ(located.Audio().firstChunkPosition, located.built.streamChunks[1][0].header);
    EXPECT_EQ(located.Audio().oldIndexEntries, 8u) << "entries of all streams";
}

TEST(IndexLocate, ListsBeforeMovi_AreSteppedOver)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::Idx1);
    avi.beforeMovi = [](CKrAviBuilder& file)
    {
        file.List("INFO", [&file] { file.Chunk("ISFT", KrBytes(11, 'x')); });
        file.Chunk("JUNK", KrBytes(33, 0x22));
        file.List("mov2", [&file] { file.Chunk("00dc", KrBytes(4, 1)); });
    };
    const SLocated located(avi);
    ExpectOldIndexAt(located, located.built.Find("idx1"), located.built.streamChunks[0][0]);
}

// A list that names itself 'movi' inside another one is not reached: lists are stepped over whole.
TEST(IndexLocate, MoviInsideAnotherList_IsNotMovi)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::Idx1);
    avi.beforeMovi = [](CKrAviBuilder& file)
    {
        file.List("INFO", [&file] { file.List("movi", [&file] { file.Chunk("00dc", KrBytes(4, 1)); }); });
    };
    const SLocated located(avi);
    ExpectOldIndexAt(located, located.built.Find("idx1"), located.built.streamChunks[0][0]);
}

// Kept: a lookup of lists does not take up again behind zero bytes.
TEST(IndexLocate, ZerosBeforeMovi_LoseTheOldIndexButNotTheFile)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::Idx1);
    avi.beforeMovi = [](CKrAviBuilder& file)
    {
        file.Zeros(8);
    };
    const SLocated located(avi);
    ExpectNothing(located);
    EXPECT_NE(located.State().firstVideoChunkId, 0u);
}

TEST(IndexLocate, MoviOfTheNextSegmentOnly_IsOutOfReach)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::None);
    avi.roundsPerSegment = {0, 4};
    SKrBuiltAvi built = BuildSimpleAvi(avi);
    built.content.Put(built.Find("movi", 0).data, KrBytes{'n', 'o', 'n', 'e'});
    CKrParsedInMemory file(built.content);
    EXPECT_EQ(file.State().videoIndex.firstChunkPosition, kNotLocated);
    EXPECT_EQ(LoadVideoOf(file.Reader()).status, 0);
}

TEST(IndexLocate, FirstChunk_IsTheStreamsFirstOfEitherKind)
{
    for (const char* id : {"00dc", "00db"})
    {
        SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::Idx1);
        avi.startOfMovi = [id](CKrAviBuilder& file)
        {
            for (const char* other :
                 {"JUNK", "ix00", "00pc", "00tx", "01dc", "01db", "0Adc", "10dc", " 0dc", "00wb"})
                file.Chunk(other, KrBytes(5, 0x33));
            file.Zeros(9);
            file.Chunk(id, KrBytes(3, 0x44));
        };
        const SLocated located(avi);
        const SKrBuiltChunk first = located.built.Find(id, 0);
        ASSERT_EQ(first.size, 3u);
        ExpectOldIndexAt(located, located.built.Find("idx1"), first);
        EXPECT_EQ(located.Audio().firstChunkPosition, located.built.streamChunks[1][0].header);
    }
}

TEST(IndexLocate, FirstAudioChunk_IsTheStreamsFirstWb)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::Idx1);
    avi.startOfMovi = [](CKrAviBuilder& file)
    {
        for (const char* other : {"00wb", "01wc", "01dc", "02wb", "11wb"})
            file.Chunk(other, KrBytes(5, 0x33));
        file.Chunk("01wb", KrBytes(3, 0x44));
    };
    const SLocated located(avi);
    EXPECT_EQ(located.Audio().firstChunkPosition, located.built.Find("01wb", 0).header);
}

TEST(IndexLocate, NoChunkOfTheStreamInMovi_HasNoOldIndex)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::Idx1);
    avi.streams[0].chunkId = "05dc";
    avi.afterMovi = ChunkOf("00dc", 10); // behind 'movi': the walk ends before it
    const SLocated located(avi);
    ExpectNothing(located);
    EXPECT_EQ(located.Video().firstChunkPosition, kNotLocated);
    EXPECT_EQ(located.Audio().indexPosition, located.built.Find("idx1").data);
}

TEST(IndexLocate, ChunksInRecLists_HaveNoOldIndex)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::Idx1);
    avi.recLists = true;
    const SLocated located(avi);
    ExpectNothing(located);
    EXPECT_EQ(located.Video().firstChunkPosition, kNotLocated);
    EXPECT_EQ(located.Audio().indexPosition, kNotLocated);
}

TEST(IndexLocate, OneChunkOutsideTheRecLists_IsTheFirst)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::Idx1);
    avi.recLists = true;
    avi.endOfMovi = ChunkOf("00dc", 12);
    const SLocated located(avi);
    ExpectOldIndexAt(located, located.built.Find("idx1"), located.built.Find("00dc", 4));
}

TEST(IndexLocate, OldIndexBehindOtherChunksAndZeros_IsFound)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::Idx1);
    avi.afterMovi = [](CKrAviBuilder& file)
    {
        file.Chunk("JUNK", KrBytes(13, 0x22));
        file.List("INFO", [&file] { file.Chunk("ISFT", KrBytes(4, 'x')); });
        file.Zeros(1000);
    };
    const SLocated located(avi);
    ExpectOldIndexAt(located, located.built.Find("idx1"), located.built.streamChunks[0][0]);
}

TEST(IndexLocate, OldIndexBeforeMovi_IsNotSeen)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::None);
    avi.beforeMovi = ChunkOf("idx1", 32);
    const SLocated located(avi);
    ExpectNothing(located);
    EXPECT_EQ(located.Video().firstChunkPosition, located.built.streamChunks[0][0].header)
        << "noted before the index is looked for";
}

TEST(IndexLocate, OldIndexInsideMovi_IsNotSeen)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::None);
    avi.endOfMovi = ChunkOf("idx1", 32);
    ExpectNothing(SLocated(avi));
}

TEST(IndexLocate, OldIndexBehindTheSegment_IsNotSeen)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::None);
    avi.endOfFile = ChunkOf("idx1", 32);
    ExpectNothing(SLocated(avi));
}

TEST(IndexLocate, OldIndexWithAPartOfAnEntry_CountsTheWholeOnes)
{
    for (const auto& [bytes, entries] : std::vector<std::pair<size_t, uint32_t>>{{47, 2}, {48, 3}, {15, 0}})
    {
        SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::None);
        avi.afterMovi = ChunkOf("idx1", bytes);
        const SLocated located(avi);
        EXPECT_TRUE(located.State().oldIndexPresent);
        EXPECT_EQ(located.Video().oldIndexEntries, entries) << bytes;
    }
}

TEST(IndexLocate, StreamsTenToFifteen_AreNumberedInLowerCaseHexadecimal)
{
    for (size_t number = 9; number < 16; ++number)
    {
        const SLocated located(VideoAt(number, EKrIndexKind::Idx1));
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
        ExpectNothing(SLocated(avi));
    }
}

TEST(IndexLocate, StreamSixteenAndAbove_HaveNoIndexOfEitherKind)
{
    for (const size_t number : {16, 17, 26, 255, 256})
    {
        for (const EKrIndexKind index : {EKrIndexKind::Idx1, EKrIndexKind::OpenDml})
        {
            const SLocated located(VideoAt(number, index));
            ExpectNothing(located);
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
        const SLocated located(avi);
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
        const SLocated located(avi);
        ExpectNothing(located);
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
    const SLocated located(avi);
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
    EXPECT_NE(reader.StreamState().largestVideoChunk, 0u);
    ASSERT_EQ(reader.Open(L"poor.avi"), 1);
    const SKrStreamState& state = reader.StreamState();
    EXPECT_FALSE(state.openDmlIndex);
    EXPECT_EQ(state.videoIndex.indexPosition, kNotLocated);
    EXPECT_EQ(state.audio[0].index.indexPosition, kNotLocated);
    EXPECT_EQ(state.largestVideoChunk, 0u);
    EXPECT_EQ(state.totalAudioSamples, 0u);
    EXPECT_FALSE(state.uniformAudioChunks);
    EXPECT_EQ(LoadVideoOf(reader).status, 0);
    EXPECT_EQ(LoadAudioOf(reader).status, 0);
}
