// The cost of opening and loading in calls and bytes.
#include "KrRiffUtils/KrRiffUtils.h"
#include "base/KrRef.h"
#include "platform/KrPlatform.h"
#include "tests/support/KrCountingFileSystem.h"
#include "tests/support/KrMemoryFileSystem.h"
#include "tests/support/KrSimpleAvi.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace KrTest;

namespace
{
// One read: the head of the file, which holds all headers and the first chunks.
constexpr uint64_t kHeadBytes = 8 * 1024;

// After the head: 'idx1' for the video stream, the first audio chunk, 'idx1' again for the audio stream, the
// same two chunks for the detection of data chunks, and the last top-level chunk for the private chunks.
constexpr uint64_t kJumpBytes = 512;

class ReadCount : public testing::Test
{
protected:
    SKrBuiltAvi BuildAndOpen(const SKrSimpleAvi& description)
    {
        SKrBuiltAvi built = BuildSimpleAvi(description);
        m_memory.Set(L"a.avi", built.content);
        EXPECT_EQ(KrCreateRiffReader(m_reader.Put()), 1);
        m_files.Reset();
        EXPECT_EQ(m_reader->Open(L"a.avi"), 1);
        return built;
    }

    CKrMemoryFileSystem m_memory;
    CKrCountingFileSystem m_files{m_memory};
    KrPlatform::CFileSystemScope m_scope{m_files};
    CKrRef<IKrRiffReader> m_reader;
    CArray<SKrChunkIndexEntry> m_entries;
};

SKrSimpleAvi TwoStreams(size_t rounds, EKrIndexKind index, uint32_t frameSize = 50'000)
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream(std::vector<uint32_t>(rounds, frameSize)),
                   PcmStream(std::vector<uint32_t>(rounds, 7680))};
    avi.index = index;
    avi.superIndexSlots = 64;
    return avi;
}

uint64_t BytesOf(const std::vector<SKrReadCall>& reads)
{
    uint64_t bytes = 0;
    for (const SKrReadCall& read : reads)
        bytes += read.bytes;
    return bytes;
}
} // namespace

TEST_F(ReadCount, OpenOfTwoStreamsWithOldIndex_TakesTheseReads)
{
    const SKrBuiltAvi built = BuildAndOpen(TwoStreams(40, EKrIndexKind::Idx1));
    const SKrFileCalls calls = m_files.Calls();
    EXPECT_EQ(calls.opens, 1u);
    EXPECT_EQ(calls.sizes, 1u);
    EXPECT_EQ(calls.seeks, 1u); // to the start, before the segment walk
    const std::vector<SKrReadCall> reads = m_files.Reads();
    EXPECT_EQ(reads.size(), 6u);
    ASSERT_FALSE(reads.empty());
    EXPECT_EQ(reads[0], (SKrReadCall{0, kHeadBytes, kHeadBytes}));
    EXPECT_TRUE(std::all_of(reads.begin() + 1, reads.end(),
                            [](const SKrReadCall& read) { return read.count <= kJumpBytes; }));
    EXPECT_LE(calls.bytes, kHeadBytes + 5 * kJumpBytes);
}

TEST_F(ReadCount, OpenOfTwoStreamsWithOpenDml_TakesTheseReads)
{
    BuildAndOpen(TwoStreams(40, EKrIndexKind::OpenDml));
    const SKrFileCalls calls = m_files.Calls();
    EXPECT_EQ(calls.reads, 2u); // the head, and the first audio chunk after the first frame
    EXPECT_LE(calls.bytes, kHeadBytes + kJumpBytes);
}

TEST_F(ReadCount, OpenDoesNotGrowWithTheLengthOfTheFile)
{
    BuildAndOpen(TwoStreams(40, EKrIndexKind::Idx1));
    const SKrFileCalls shortFile = m_files.Calls();
    BuildAndOpen(TwoStreams(2000, EKrIndexKind::Idx1));
    EXPECT_EQ(m_files.Calls().reads, shortFile.reads);
}

TEST_F(ReadCount, OpenReadsZerosBetweenChunksOnce)
{
    constexpr uint64_t kZeros = 2'000'000;
    SKrSimpleAvi avi = TwoStreams(2, EKrIndexKind::None);
    avi.startOfMovi = [](CKrAviBuilder& file)
    {
        file.Chunk("00dc", KrBytes(100, 1));
        file.Zeros(kZeros);
        file.Chunk("01wb", KrBytes(100, 1));
    };
    BuildAndOpen(avi);
    EXPECT_GE(m_files.Calls().bytes, kZeros);
    EXPECT_LE(m_files.Calls().bytes, kZeros + kZeros / 4);
}

TEST_F(ReadCount, OpenReadsZerosOnce_WithAGapOfAFewElsewhere)
{
    constexpr uint64_t kZeros = 2'000'000;
    SKrSimpleAvi avi = TwoStreams(2, EKrIndexKind::Idx1);
    avi.streams.resize(4, avi.streams.back()); // each one is searched for after the zeros
    avi.startOfMovi = [](CKrAviBuilder& file)
    {
        file.Chunk("00dc", KrBytes(100, 1));
        file.Zeros(kZeros);
    };
    avi.afterMovi = [](CKrAviBuilder& file)
    {
        file.Zeros(6);
    };
    BuildAndOpen(avi);
    EXPECT_GE(m_files.Calls().bytes, kZeros);
    EXPECT_LE(m_files.Calls().bytes, kZeros + kZeros / 4);
}

TEST_F(ReadCount, OpenOfThePathThatIsOpen_TouchesNothing)
{
    BuildAndOpen(TwoStreams(4, EKrIndexKind::Idx1));
    m_files.Reset();
    EXPECT_EQ(m_reader->Open(KrPlatform::IsSamePath(L"a.avi", L"A.AVI") ? L"A.AVI" : L"a.avi"), 1);
    const SKrFileCalls calls = m_files.Calls();
    EXPECT_EQ(calls.opens + calls.reads + calls.sizes + calls.seeks, 0u);
}

TEST_F(ReadCount, OldIndexOfAnyLength_IsOneRead)
{
    for (const size_t rounds : {5, 10'000})
    {
        const SKrBuiltAvi built = BuildAndOpen(TwoStreams(rounds, EKrIndexKind::Idx1, 100));
        m_files.Reset();
        ASSERT_EQ(m_reader->LoadVideoIndex(m_entries), 1);
        EXPECT_EQ(m_entries.GetSize(), static_cast<intptr_t>(rounds));
        const SKrBuiltChunk idx1 = built.Find("idx1");
        EXPECT_EQ(m_files.Reads(), (std::vector<SKrReadCall>{{idx1.data, idx1.size, idx1.size}}));
    }
}

TEST_F(ReadCount, EntriesOfEachStandardIndex_AreOneRead)
{
    for (const size_t rounds : {10, 10'000})
    {
        SKrSimpleAvi avi = TwoStreams(rounds, EKrIndexKind::OpenDml, 100);
        avi.entriesPerStdIndex = rounds / 2;
        const SKrBuiltAvi built = BuildAndOpen(avi);
        m_files.Reset();
        ASSERT_EQ(m_reader->LoadVideoIndex(m_entries), 1);
        EXPECT_EQ(m_entries.GetSize(), static_cast<intptr_t>(rounds));
        // Super index head and entries; both heads to count; then head and entries of each.
        EXPECT_EQ(m_files.Calls().reads, 2u + 2u + 4u);
        const std::vector<SKrReadCall> reads = m_files.Reads();
        EXPECT_EQ(reads.back().count, rounds / 2 * 8);
        EXPECT_EQ(BytesOf(reads), 32 + 2 * 16 + 2 * 32 + 2 * (32 + rounds / 2 * 8));
    }
}

TEST_F(ReadCount, SecondWalkOverTheTree_ReadsNothing)
{
    BuildAndOpen(TwoStreams(40, EKrIndexKind::Idx1));
    const auto walk = [this]
    {
        uint32_t id, type, size;
        uint64_t offset;
        SKrRiffChunkNode* node = nullptr;
        EXPECT_EQ(m_reader->FindFirstRiffSegment(), 1);
        EXPECT_EQ(m_reader->FindNextRiffSegment(&type, &size, &offset, &node), 0);
        EXPECT_EQ(m_reader->FindFirstSubChunk(node), 1);
        while (m_reader->FindNextSubChunk(&id, &type, &size, &offset, nullptr) != 0)
        {
        }
    };
    walk();
    m_files.Reset();
    walk();
    EXPECT_EQ(m_files.Calls().reads, 0u);
}
