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
        ASSERT_EQ(LoadAudio(), 1) << bytes;
        EXPECT_EQ(ToList(m_entries), ChunksOf(built, 1, 0, bytes / 32)) << bytes;
    }
}

TEST_F(OldIndexLoad, NoIndex_FailsTheLoad)
{
    SKrSimpleAvi avi = TwoStreams();
    avi.index = EKrIndexKind::None;
    BuildAndOpen(avi);
    EXPECT_EQ(LoadVideo(), 0);
    EXPECT_EQ(LoadAudio(), 0);
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
