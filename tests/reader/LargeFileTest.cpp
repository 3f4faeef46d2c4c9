// Files beyond 4 GiB, really on the disk but for their holes.
#include "tests/reader/StreamIndexSupport.h"

using namespace KrTest;

namespace
{
constexpr uint64_t kGiB = uint64_t{1} << 30;

class LargeFile : public StreamIndexTest
{
};

// Nine frames of 600 MB in a segment each, then one small frame beyond 5 GB.
SKrSimpleAvi LargeOpenDml()
{
    SKrSimpleAvi avi;
    std::vector<uint32_t> sizes(9, 600'000'000);
    sizes.push_back(5000);
    avi.streams = {VideoStream(sizes)};
    avi.roundsPerSegment = std::vector<size_t>(10, 1);
    avi.index = EKrIndexKind::OpenDml;
    return avi;
}

// One segment with a hole before 'movi', so that 'idx1' has its payload at a wanted position.
SKrBuiltAvi WithOldIndexAt(uint64_t position)
{
    SKrSimpleAvi avi;
    avi.beforeMovi = [](CKrAviBuilder& file)
    {
        file.ZeroChunk("JUNK", 100);
    };
    const uint64_t there = BuildSimpleAvi(avi).Find("idx1").data;
    const auto hole = static_cast<uint32_t>(position - there + 100);
    avi.beforeMovi = [hole](CKrAviBuilder& file)
    {
        file.ZeroChunk("JUNK", hole);
    };
    return BuildSimpleAvi(avi);
}
} // namespace

TEST_F(LargeFile, OpenDmlBeyondFourGigabytes_IsWalkedSearchedIndexedAndRead)
{
    const SKrBuiltAvi built = BuildAndOpen(LargeOpenDml());
    ASSERT_GT(built.content.Size(), 5 * uint64_t{1'000'000'000});
    EXPECT_EQ(m_reader->GetFileLength(), built.content.Size());

    const SKrRiffChunkInfo* const last = m_reader->GetLastRiffSegment();
    ASSERT_NE(last, nullptr);
    EXPECT_GT(last->offset, 4 * kGiB);
    EXPECT_EQ(last->offset, built.segments.back().data);

    ASSERT_EQ(LoadVideo(), 1);
    ASSERT_EQ(ToList(m_entries), ChunksOf(built, 0));
    KrBytes bytes(5000);
    ASSERT_EQ(m_reader->ReadAt(m_entries[9].position, bytes.data(), 5000), 5000u);
    EXPECT_EQ(bytes, PatternBytes(0, 9, 5000));

    CDWordArray ids;
    ids.Add(0x63643030); // '00dc'
    uint32_t ckid, type, size;
    uint64_t offset = 0;
    ASSERT_EQ(m_reader->FindFirstChunk(&ids, built.segments.back().header), 1);
    EXPECT_EQ(m_reader->FindNextChunk(&ckid, &type, &size, &offset, nullptr), 0);
    EXPECT_EQ(offset, built.streamChunks[0][9].data);

    ASSERT_EQ(m_reader->FindFirstChunk(&ids, ~uint64_t{0}), 1);
    int matches = 1;
    while (m_reader->FindNextChunk(&ckid, &type, &size, &offset, nullptr) != 0)
        ++matches;
    EXPECT_EQ(matches, 10);
    EXPECT_EQ(offset, built.streamChunks[0][9].data);
}

TEST_F(LargeFile, OldIndexJustBelowTwoGigabytes_Loads)
{
    const SKrBuiltAvi built = WithOldIndexAt(2 * kGiB - 2);
    ASSERT_EQ(built.Find("idx1").data, 2 * kGiB - 2);
    OpenFile(built.content);
    ASSERT_EQ(LoadVideo(), 1);
    EXPECT_EQ(ToList(m_entries), ChunksOf(built, 0));
}

TEST_F(LargeFile, OldIndexAtTwoGigabytes_CannotBeLoaded)
{
    const SKrBuiltAvi built = WithOldIndexAt(2 * kGiB);
    ASSERT_EQ(built.Find("idx1").data, 2 * kGiB);
    OpenFile(built.content);
    EXPECT_EQ(LoadVideo(), 0);
}
