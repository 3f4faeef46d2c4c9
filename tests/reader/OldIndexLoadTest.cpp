// Loads of 'idx1', the index of AVI 1.0.
#include "tests/reader/StreamIndexSupport.h"

using namespace KrTest;

namespace
{
class OldIndexLoad : public StreamIndexTest
{
};

SKrSimpleAvi TwoStreams()
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream({1000, 1001, 1002, 1003}), PcmStream({7680, 7676, 7684, 7680})};
    return avi;
}

// A file whose 'idx1' holds these bytes instead of the true entries.
SKrSimpleAvi WithOldIndex(const KrBytes& payload, SKrChunkOptions options = {})
{
    SKrSimpleAvi avi = TwoStreams();
    avi.index = EKrIndexKind::None;
    avi.afterMovi = [payload, options](CKrAviBuilder& file)
    {
        file.Chunk("idx1", payload, options);
    };
    return avi;
}
} // namespace

TEST_F(OldIndexLoad, OffsetsFromMoviOrFromTheFileStart_GiveTheSamePositions)
{
    for (const EKrIdx1Base base : {EKrIdx1Base::Movi, EKrIdx1Base::FileStart})
    {
        SKrSimpleAvi avi = TwoStreams();
        avi.idx1Base = base;
        const SKrBuiltAvi built = BuildAndOpen(avi);
        ASSERT_EQ(LoadVideo(), 1);
        EXPECT_EQ(ToList(m_entries), ChunksOf(built, 0));
        ASSERT_EQ(LoadAudio(), 1);
        EXPECT_EQ(ToList(m_entries), ChunksOf(built, 1));
    }
}

TEST_F(OldIndexLoad, UncompressedVideo_IsFoundByDb)
{
    SKrSimpleAvi avi = TwoStreams();
    avi.streams[0].suffix = "db";
    const SKrBuiltAvi built = BuildAndOpen(avi);
    ASSERT_EQ(LoadVideo(), 1);
    EXPECT_EQ(ToList(m_entries), ChunksOf(built, 0));
}

TEST_F(OldIndexLoad, EntriesOfOtherChunks_AreSkipped)
{
    const KrBytes payload = ToBytes(std::vector<SKrTestIdx1Entry>{{"7Fxx", 0, 2048, 0},
                                                                  {"00dc", 0x10, 4, 1000},
                                                                  {"JUNK", 0, 50, 8},
                                                                  {"ix00", 0, 60, 8},
                                                                  {"00pc", 0, 70, 8},
                                                                  {"01dc", 0, 80, 8},
                                                                  {"01wb", 0x10, 1012, 7680},
                                                                  {"00db", 0, 9000, 77}});
    const SKrBuiltAvi built = BuildAndOpen(WithOldIndex(payload));
    const uint64_t first = built.streamChunks[0][0].data;
    ASSERT_EQ(LoadVideo(), 1);
    EXPECT_EQ(ToList(m_entries), (PlacesAndSizes{{first, 1000}, {first + 8996, 77}}));
    ASSERT_EQ(LoadAudio(), 1);
    EXPECT_EQ(ToList(m_entries), (PlacesAndSizes{{built.streamChunks[1][0].data, 7680}}));
}

TEST_F(OldIndexLoad, OffsetsThatWrap_AreTakenIn32Bits)
{
    // The first offset is that of the first chunk; the second lies 16 bytes later, across the wrap.
    const KrBytes payload =
        ToBytes(std::vector<SKrTestIdx1Entry>{{"00dc", 0x10, 0xFFFFFFF8, 1000}, {"00dc", 0x10, 8, 5}});
    const SKrBuiltAvi built = BuildAndOpen(WithOldIndex(payload));
    const uint64_t first = built.streamChunks[0][0].data;
    ASSERT_EQ(LoadVideo(), 1);
    EXPECT_EQ(ToList(m_entries), (PlacesAndSizes{{first, 1000}, {first + 16, 5}}));
}

TEST_F(OldIndexLoad, FirstPositionBeyondTheFile_EndsTheIndex)
{
    const KrBytes payload = ToBytes(std::vector<SKrTestIdx1Entry>{
        {"00dc", 0x10, 4, 1000}, {"00dc", 0x10, 0x00FFFFFF, 5}, {"00dc", 0x10, 4, 1000}});
    const SKrBuiltAvi built = BuildAndOpen(WithOldIndex(payload));
    ASSERT_EQ(LoadVideo(), 1);
    EXPECT_EQ(ToList(m_entries), (PlacesAndSizes{{built.streamChunks[0][0].data, 1000}}));
}

TEST_F(OldIndexLoad, EntryExactlyAtTheEndOfTheFile_IsDroppedAndOneBeforeIsKept)
{
    SKrSimpleAvi avi = WithOldIndex(ToBytes(std::vector<SKrTestIdx1Entry>(2)));
    SKrBuiltAvi built = BuildSimpleAvi(avi);
    const uint64_t first = built.streamChunks[0][0].data;
    const SKrBuiltChunk idx1 = built.Find("idx1");
    const auto lastOffset = static_cast<uint32_t>(built.content.Size() - first);
    built.content.PutU32(idx1.data + 24, lastOffset); // the second entry's position is the file size
    OpenFile(built.content);
    ASSERT_EQ(LoadVideo(), 1);
    EXPECT_EQ(m_entries.GetSize(), 1);
    built.content.PutU32(idx1.data + 24, lastOffset - 1);
    OpenFile(built.content);
    ASSERT_EQ(LoadVideo(), 1);
    EXPECT_EQ(m_entries.GetSize(), 2);
}

TEST_F(OldIndexLoad, IndexCutByTheEndOfTheFile_GivesTheExistingEntries)
{
    SKrBuiltAvi built = BuildSimpleAvi(TwoStreams());
    const SKrBuiltChunk idx1 = built.Find("idx1");
    for (uint32_t bytes = 0; bytes < idx1.size; bytes += 5)
    {
        CKrFileContent cut = built.content;
        cut.Resize(idx1.data + bytes);
        OpenFile(cut);
        ASSERT_EQ(LoadVideo(), 1) << bytes;
        // entries alternate between the streams, video first
        EXPECT_EQ(ToList(m_entries), ChunksOf(built, 0, 0, (bytes / 16 + 1) / 2)) << bytes;
        EXPECT_EQ(TotalFrames(), (bytes / 16 + 1) / 2);
    }
}

TEST_F(OldIndexLoad, SizeThatTheFileCannotBack_SizesNothingBeyondTheFile)
{
    const KrBytes payload = ToBytes(std::vector<SKrTestIdx1Entry>{{"00dc", 0x10, 4, 1000}});
    const SKrBuiltAvi built = BuildAndOpen(WithOldIndex(payload, {.size = 0xFFFFFFF0}));
    ASSERT_EQ(LoadVideo(), 1);
    EXPECT_EQ(ToList(m_entries), ChunksOf(built, 0, 0, 1));
}

TEST_F(OldIndexLoad, EmptyIndex_FailsTheLoad)
{
    BuildAndOpen(WithOldIndex({}));
    EXPECT_EQ(LoadVideo(), 0);
    EXPECT_EQ(LoadAudio(), 0);
}

TEST_F(OldIndexLoad, NoIndex_FailsTheLoad)
{
    SKrSimpleAvi avi = TwoStreams();
    avi.index = EKrIndexKind::None;
    BuildAndOpen(avi);
    EXPECT_EQ(LoadVideo(), 0);
    EXPECT_EQ(LoadAudio(), 0);
}

TEST_F(OldIndexLoad, ChunksInRecLists_HaveNoIndex)
{
    SKrSimpleAvi avi = TwoStreams();
    avi.recLists = true;
    BuildAndOpen(avi);
    EXPECT_EQ(LoadVideo(), 0);
    EXPECT_EQ(LoadAudio(), 0);
}

TEST_F(OldIndexLoad, RepeatedLoad_GivesTheSameAndCountsItsEntries)
{
    SKrSimpleAvi avi = TwoStreams();
    avi.mainHeader.totalFrames = 99;
    const SKrBuiltAvi built = BuildAndOpen(avi);
    EXPECT_EQ(TotalFrames(), 99u);
    for (int round = 0; round < 3; ++round)
    {
        ASSERT_EQ(LoadVideo(), 1);
        EXPECT_EQ(ToList(m_entries), ChunksOf(built, 0));
        EXPECT_EQ(TotalFrames(), 4u);
        ASSERT_EQ(LoadAudio(), 1);
        EXPECT_EQ(ToList(m_entries), ChunksOf(built, 1));
    }
}

TEST_F(OldIndexLoad, StreamsTenToFifteen_AreFoundByTheirHexadecimalNumber)
{
    SKrSimpleAvi avi;
    avi.streams.clear();
    SKrSimpleStream other = PcmStream({10});
    other.header.type = "txts";
    for (int stream = 0; stream < 15; ++stream)
        avi.streams.push_back(other);
    avi.streams[10] = VideoStream({500, 501});
    avi.streams.push_back(PcmStream({96, 100}));
    const SKrBuiltAvi built = BuildAndOpen(avi);
    ASSERT_EQ(built.streamChunks[10][0].id, "0adc");
    ASSERT_EQ(built.streamChunks[15][0].id, "0fwb");
    ASSERT_EQ(LoadVideo(), 1);
    EXPECT_EQ(ToList(m_entries), ChunksOf(built, 10));
    ASSERT_EQ(LoadAudio(), 1);
    EXPECT_EQ(ToList(m_entries), ChunksOf(built, 15));
}

TEST_F(OldIndexLoad, StreamSixteen_HasNoIndex)
{
    SKrSimpleAvi avi;
    SKrSimpleStream other = PcmStream({10});
    other.header.type = "txts";
    for (int stream = 1; stream < 16; ++stream)
        avi.streams.push_back(other);
    avi.streams.push_back(PcmStream({96, 100}));
    for (const EKrIndexKind kind : {EKrIndexKind::Idx1, EKrIndexKind::OpenDml})
    {
        avi.index = kind;
        BuildAndOpen(avi);
        EXPECT_EQ(LoadVideo(), 1);
        EXPECT_EQ(LoadAudio(), 0);
    }
}

TEST_F(OldIndexLoad, ListBeforeMovi_DoesNoHarm)
{
    SKrSimpleAvi avi = TwoStreams();
    avi.beforeMovi = [](CKrAviBuilder& file)
    {
        file.List("INFO", [&file] { file.Chunk("ISFT", KrBytes(11, 'x')); });
    };
    const SKrBuiltAvi built = BuildAndOpen(avi);
    ASSERT_EQ(LoadVideo(), 1);
    EXPECT_EQ(ToList(m_entries), ChunksOf(built, 0));
}

TEST_F(OldIndexLoad, NullPatternOrClosedReader_IsRefused)
{
    BuildAndOpen(TwoStreams());
    EXPECT_EQ(m_reader->LoadAudioIndex(m_entries, nullptr), 0);
    m_reader->Close();
    EXPECT_EQ(LoadVideo(), 0);
    EXPECT_EQ(LoadAudio(), 0);
}

TEST_F(OldIndexLoad, PositionOfEachEntry_ReadsTheFrame)
{
    const SKrBuiltAvi built = BuildAndOpen(TwoStreams());
    ASSERT_EQ(LoadVideo(), 1);
    for (intptr_t frame = 0; frame < m_entries.GetSize(); ++frame)
    {
        KrBytes bytes(m_entries[frame].size);
        ASSERT_EQ(m_reader->ReadAt(m_entries[frame].position, bytes.data(), m_entries[frame].size),
                  bytes.size());
        EXPECT_EQ(bytes, PatternBytes(0, static_cast<size_t>(frame), bytes.size()));
    }
}
