// A file of more than 5 GB on the disk, most of it holes, through the public interface.
#include "tests/reader/StreamIndexSupport.h"

using namespace KrTest;

namespace
{
constexpr uint64_t kGiB = uint64_t{1} << 30;

class BigFileOnDisk : public StreamIndexTest
{
protected:
    // Only the actual bytes are written: the gaps between them are holes.
    void OpenSparse(const CKrFileContent& content)
    {
        ASSERT_EQ(KrCreateRiffReader(m_reader.Put()), 1);
        ASSERT_EQ(m_reader->Open(m_folder.WriteSparse(L"big.avi", content.Size(), content.Extents()).c_str()),
                  1);
        ASSERT_EQ(m_reader->GetFileLength(), content.Size());
    }
};

// Five segments of 1.1 GB; in each a large frame and a small one with their audio.
SKrSimpleAvi FiveSegments()
{
    SKrSimpleAvi avi;
    avi.index = EKrIndexKind::OpenDml;
    avi.roundsPerSegment.assign(5, 2);
    avi.streams = {VideoStream({}), PcmStream(std::vector<uint32_t>(10, 96))};
    for (uint32_t segment = 0; segment < 5; ++segment)
        avi.streams[0].chunkSizes.insert(avi.streams[0].chunkSizes.end(), {1'100'000'000, 2000 + segment});
    return avi;
}
} // namespace

TEST_F(BigFileOnDisk, WalkSearchAndIndexes_ReachBeyond4GiB)
{
    const SKrBuiltAvi built = BuildSimpleAvi(FiveSegments());
    ASSERT_GT(built.content.Size(), 5 * uint64_t{1'000'000'000});
    OpenSparse(built.content);

    const SKrRiffChunkInfo* const last = m_reader->GetLastRiffSegment();
    ASSERT_NE(last, nullptr);
    EXPECT_EQ(last->offset, built.segments[4].data);

    uint32_t ckid, type, size;
    uint64_t offset;
    SKrRiffChunkNode* segment = nullptr;
    ASSERT_EQ(m_reader->FindFirstRiffSegment(), 1);
    for (size_t number = 0; number < 5; ++number)
    {
        EXPECT_EQ(m_reader->FindNextRiffSegment(&type, &size, &offset, &segment), number < 4 ? 1 : 0);
        EXPECT_EQ(offset, built.segments[number].data);
    }
    ASSERT_EQ(m_reader->FindFirstSubChunk(segment), 1);
    EXPECT_EQ(m_reader->FindNextSubChunk(&ckid, &type, &size, &offset, nullptr), 0);
    EXPECT_EQ(offset, built.Find("movi", 4).data);
    EXPECT_GT(offset, 4 * kGiB);

    CDWordArray ids;
    ids.Add(0x30307869); // 'ix00'
    ASSERT_EQ(m_reader->FindFirstChunk(&ids, ~uint64_t{0}), 1);
    for (size_t number = 0; number < 5; ++number)
    {
        EXPECT_EQ(m_reader->FindNextChunk(&ckid, &type, &size, &offset, nullptr), number < 4 ? 1 : 0);
        EXPECT_EQ(offset, built.Find("ix00", number).data);
    }

    ASSERT_EQ(LoadAudio(), 1);
    EXPECT_EQ(ToList(m_entries), ChunksOf(built, 1));
    ASSERT_EQ(LoadVideo(), 1);
    ASSERT_EQ(ToList(m_entries), ChunksOf(built, 0));
    KrBytes bytes(2004);
    const SKrRiffChunkInfo lastFrame{0x63643030, 2004, 0, m_entries[9].position};
    ASSERT_EQ(m_reader->ReadChunkData(&lastFrame, bytes.data(), 2004), 2004u);
    EXPECT_EQ(bytes, PatternBytes(0, 9, 2004));
    EXPECT_EQ(m_reader->ReadAt(built.content.Size() - 3, bytes.data(), 10), 3u);
}

// Kept: such an index is found, and cannot be loaded. Cut to 32 bits its position would lie in the headers.
TEST_F(BigFileOnDisk, OldIndexBeyond4GiB_CannotBeLoaded)
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream({10}), PcmStream({8})};
    avi.index = EKrIndexKind::None;
    avi.endOfFile = [](CKrAviBuilder& file)
    {
        file.ZeroChunk("JUNK", static_cast<uint32_t>(4 * kGiB + 12 - 8 - file.Position() - 8));
        file.Chunk("idx1",
                   ToBytes(std::vector<SKrTestIdx1Entry>{{"00dc", 0x10, 4, 10}, {"01wb", 0x10, 22, 8}}));
    };
    SKrBuiltAvi built = BuildSimpleAvi(avi);
    built.content.PutU32(4, 0xFFFFFFFF); // the segment claims to hold the index
    ASSERT_EQ(built.Find("idx1").data, 4 * kGiB + 12);
    OpenSparse(built.content);
    EXPECT_EQ(LoadVideo(), 0);
    EXPECT_EQ(LoadAudio(), 0);
}
