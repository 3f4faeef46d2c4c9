// Where the parse finds 'idx1' and the chunk that its offsets are matched with.
#include "tests/reader/IndexLocateSupport.h"

using namespace KrTest;

TEST(IndexLocateOld, OldIndex_IsLocatedForEachStream)
{
    const SKrLocated located(TwoStreamAvi(EKrIndexKind::Idx1));
    ExpectOldIndexAt(located, located.built.Find("idx1"), located.built.streamChunks[0][0]);
    EXPECT_EQ(located.Audio().indexPosition, located.built.Find("idx1").data);
    EXPECT_EQ(located.Audio().firstChunkPosition, located.built.streamChunks[1][0].header);
    EXPECT_EQ(located.Audio().oldIndexEntries, 8u) << "entries of all streams";
}

TEST(IndexLocateOld, ListsBeforeMovi_AreSteppedOver)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::Idx1);
    avi.beforeMovi = [](CKrAviBuilder& file)
    {
        file.List("INFO", [&file] { file.Chunk("ISFT", KrBytes(11, 'x')); });
        file.Chunk("JUNK", KrBytes(33, 0x22));
        file.List("mov2", [&file] { file.Chunk("00dc", KrBytes(4, 1)); });
    };
    const SKrLocated located(avi);
    ExpectOldIndexAt(located, located.built.Find("idx1"), located.built.streamChunks[0][0]);
}

// A list of type 'movi' inside another one is not found: lists are skipped whole.
TEST(IndexLocateOld, MoviInsideAnotherList_IsNotMovi)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::Idx1);
    avi.beforeMovi = [](CKrAviBuilder& file)
    {
        file.List("INFO", [&file] { file.List("movi", [&file] { file.Chunk("00dc", KrBytes(4, 1)); }); });
    };
    const SKrLocated located(avi);
    ExpectOldIndexAt(located, located.built.Find("idx1"), located.built.streamChunks[0][0]);
}

// Kept: a lookup of lists does not resynchronise after zero bytes.
TEST(IndexLocateOld, ZerosBeforeMovi_LoseTheOldIndexButNotTheFile)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::Idx1);
    avi.beforeMovi = [](CKrAviBuilder& file)
    {
        file.Zeros(8);
    };
    const SKrLocated located(avi);
    ExpectNothingLocated(located);
    EXPECT_NE(located.State().firstVideoChunkId, 0u);
}

TEST(IndexLocateOld, MoviOfTheNextSegmentOnly_IsOutOfReach)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::None);
    avi.roundsPerSegment = {0, 4};
    SKrBuiltAvi built = BuildSimpleAvi(avi);
    built.content.Put(built.Find("movi", 0).data, KrBytes{'n', 'o', 'n', 'e'});
    CKrParsedInMemory file(built.content);
    EXPECT_EQ(file.State().videoIndex.firstChunkPosition, kNotLocated);
    EXPECT_EQ(LoadVideoOf(file.Reader()).status, 0);
}

TEST(IndexLocateOld, FirstChunk_IsTheStreamsFirstOfEitherKind)
{
    for (const char* id : {"00dc", "00db"})
    {
        SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::Idx1);
        avi.startOfMovi = [id](CKrAviBuilder& file)
        {
            for (const char* other :
                 {"JUNK", "ix00", "00pc", "00tx", "01dc", "01db", "0Adc", "10dc", " 0dc", "00wb"})
                file.Chunk(other, KrBytes(5, 0x33));
            file.Zeros(10);
            file.Chunk(id, KrBytes(3, 0x44));
        };
        const SKrLocated located(avi);
        const SKrBuiltChunk first = located.built.Find(id, 0);
        ASSERT_EQ(first.size, 3u);
        ExpectOldIndexAt(located, located.built.Find("idx1"), first);
        EXPECT_EQ(located.Audio().firstChunkPosition, located.built.streamChunks[1][0].header);
    }
}

TEST(IndexLocateOld, FirstAudioChunk_IsTheStreamsFirstWb)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::Idx1);
    avi.startOfMovi = [](CKrAviBuilder& file)
    {
        for (const char* other : {"00wb", "01wc", "01dc", "02wb", "11wb"})
            file.Chunk(other, KrBytes(5, 0x33));
        file.Chunk("01wb", KrBytes(3, 0x44));
    };
    const SKrLocated located(avi);
    EXPECT_EQ(located.Audio().firstChunkPosition, located.built.Find("01wb", 0).header);
}

TEST(IndexLocateOld, NoChunkOfTheStreamInMovi_HasNoOldIndex)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::Idx1);
    avi.streams[0].chunkId = "05dc";
    avi.afterMovi = ChunkOf("00dc", 10); // after 'movi': the walk ends before it
    const SKrLocated located(avi);
    ExpectNothingLocated(located);
    EXPECT_EQ(located.Video().firstChunkPosition, kNotLocated);
    EXPECT_EQ(located.Audio().indexPosition, located.built.Find("idx1").data);
}

TEST(IndexLocateOld, ChunksInRecLists_HaveNoOldIndex)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::Idx1);
    avi.recLists = true;
    const SKrLocated located(avi);
    ExpectNothingLocated(located);
    EXPECT_EQ(located.Video().firstChunkPosition, kNotLocated);
    EXPECT_EQ(located.Audio().indexPosition, kNotLocated);
}

TEST(IndexLocateOld, OneChunkOutsideTheRecLists_IsTheFirst)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::Idx1);
    avi.recLists = true;
    avi.endOfMovi = ChunkOf("00dc", 12);
    const SKrLocated located(avi);
    ExpectOldIndexAt(located, located.built.Find("idx1"), located.built.Find("00dc", 4));
}

TEST(IndexLocateOld, OldIndexAfterOtherChunksAndZeros_IsFound)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::Idx1);
    avi.afterMovi = [](CKrAviBuilder& file)
    {
        file.Chunk("JUNK", KrBytes(13, 0x22));
        file.List("INFO", [&file] { file.Chunk("ISFT", KrBytes(4, 'x')); });
        file.Zeros(1000);
    };
    const SKrLocated located(avi);
    ExpectOldIndexAt(located, located.built.Find("idx1"), located.built.streamChunks[0][0]);
}

TEST(IndexLocateOld, OldIndexBeforeMovi_IsNotFound)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::None);
    avi.beforeMovi = ChunkOf("idx1", 32);
    const SKrLocated located(avi);
    ExpectNothingLocated(located);
    EXPECT_EQ(located.Video().firstChunkPosition, located.built.streamChunks[0][0].header)
        << "noted before the index is looked for";
}

TEST(IndexLocateOld, OldIndexInsideMovi_IsNotFound)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::None);
    avi.endOfMovi = ChunkOf("idx1", 32);
    ExpectNothingLocated(SKrLocated(avi));
}

TEST(IndexLocateOld, OldIndexAfterTheSegment_IsNotFound)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::None);
    avi.endOfFile = ChunkOf("idx1", 32);
    ExpectNothingLocated(SKrLocated(avi));
}

TEST(IndexLocateOld, OldIndexWithAPartOfAnEntry_CountsTheWholeOnes)
{
    for (const auto& [bytes, entries] : std::vector<std::pair<size_t, uint32_t>>{{47, 2}, {48, 3}, {15, 0}})
    {
        SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::None);
        avi.afterMovi = ChunkOf("idx1", bytes);
        const SKrLocated located(avi);
        EXPECT_TRUE(located.State().statistics.oldIndexPresent);
        EXPECT_EQ(located.Video().oldIndexEntries, entries) << bytes;
    }
}
