// Every single read of an open, a walk and a load: its position, its size and its purpose.
#include "tests/reader/IndexLoadInnerSupport.h"
#include "tests/support/KrCountingFileSystem.h"

#include <gtest/gtest.h>

using namespace KrTest;

namespace
{
using KrReads = std::vector<SKrReadCall>;

constexpr uint64_t kHeadWindow = 8192; // read once at the start of the file: all headers in most files
constexpr uint64_t kJumpWindow = 512;  // read at a position far from the previous one

constexpr uint64_t kKrlASize = 508;

// Frames of 50,000 bytes: nothing after the first one lies in the head window.
SKrSimpleAvi LongFile(EKrIndexKind index)
{
    SKrSimpleAvi avi = TwoStreamAvi(index, 40, 7680);
    avi.streams[0].chunkSizes.assign(40, 50'000);
    if (index == EKrIndexKind::OpenDml)
        avi.roundsPerSegment = {20, 20};
    return avi;
}

// A reader that has opened the file, with every call counted.
class CCounted
{
public:
    explicit CCounted(const SKrSimpleAvi& avi) : built(BuildSimpleAvi(avi))
    {
        m_memory.Set(L"a.avi", built.content);
        EXPECT_EQ(reader.Open(L"a.avi"), 1);
    }

private:
    CKrMemoryFileSystem m_memory;

public:
    const SKrBuiltAvi built;
    CKrCountingFileSystem files{m_memory};
    CKrRiffReader reader{files};
};

SKrReadCall Head()
{
    return {0, kHeadWindow, kHeadWindow};
}

SKrReadCall JumpTo(uint64_t position)
{
    return {position, kJumpWindow, kJumpWindow};
}

uint64_t BytesOf(const KrReads& reads)
{
    uint64_t bytes = 0;
    for (const SKrReadCall& read : reads)
        bytes += read.bytes;
    return bytes;
}

// Opens and compares all reads, and with them all bytes.
void ExpectOpenReads(const CCounted& counted, const KrReads& expected)
{
    EXPECT_EQ(counted.files.Reads(), expected);
    const SKrFileCalls calls = counted.files.Calls();
    EXPECT_EQ(calls.opens, 1u);
    EXPECT_EQ(calls.openFiles, 1u);
    EXPECT_EQ(calls.sizes, 1u);
    EXPECT_EQ(calls.seeks, 1u); // to the start, before the segment walk
    EXPECT_EQ(calls.reads, expected.size());
    EXPECT_EQ(calls.bytes, BytesOf(expected));
}

// Walks all nodes of the file; returns their number.
size_t WalkAll(CKrRiffReader& reader)
{
    uint32_t ckid, type, size;
    uint64_t offset;
    std::vector<SKrRiffChunkNode*> open;
    SKrRiffChunkNode* node = nullptr;
    for (int more = reader.FindFirstRiffSegment(); more != 0; open.push_back(node))
        more = reader.FindNextRiffSegment(&type, &size, &offset, &node);
    size_t nodes = 0;
    for (; nodes < open.size(); ++nodes)
    {
        for (int more = reader.FindFirstSubChunk(open[nodes]); more != 0; open.push_back(node))
            more = reader.FindNextSubChunk(&ckid, &type, &size, &offset, &node);
    }
    return nodes;
}
} // namespace

TEST(ReadCount, OpenOfTwoStreamsWithOldIndex_TakesSixReads)
{
    const CCounted counted(LongFile(EKrIndexKind::Idx1));
    const uint64_t idx1 = counted.built.Find("idx1").header;
    const uint64_t firstAudio = counted.built.streamChunks[1][0].header;
    ExpectOpenReads(counted, {
                                 Head(),             // everything up to the first frame's header
                                 JumpTo(idx1),       // 'idx1' after 'movi', for the video stream
                                 JumpTo(firstAudio), // the audio stream's first chunk
                                 JumpTo(idx1),       // 'idx1' once more, for the audio stream
                                 JumpTo(firstAudio), // one chunk of each stream seen
                                 JumpTo(idx1),       // the segment's last chunk: not a private chunk
                             });
    EXPECT_EQ(counted.files.Calls().bytes, 8192u + 5 * 512u);
}

TEST(ReadCount, OpenOfTwoStreamsWithOpenDml_TakesThreeReads)
{
    const CCounted counted(LongFile(EKrIndexKind::OpenDml));
    ExpectOpenReads(counted,
                    {
                        Head(),                                          // headers and the first frame's
                        JumpTo(counted.built.streamChunks[1][0].header), // one chunk of each stream seen
                        JumpTo(counted.built.segments[1].header),        // the segments, for private chunks
                    });
    EXPECT_EQ(counted.files.Calls().bytes, 8192u + 2 * 512u);
}

TEST(ReadCount, OpenWithPrivateChunk_ReadsItForEachOfItsTwoValues)
{
    SKrSimpleAvi avi = LongFile(EKrIndexKind::OpenDml);
    avi.krlA = SKrTestKrlA{.scanMode = 2, .horizontal = 64, .vertical = 45};
    const CCounted counted(avi);
    const uint64_t krlA = counted.built.Find("KrlA").data;
    ExpectOpenReads(counted, {
                                 Head(),                                          // as above
                                 JumpTo(counted.built.streamChunks[1][0].header), // as above
                                 JumpTo(counted.built.segments[1].header),        // as above
                                 Exactly(krlA, kKrlASize),                        // scan mode
                                 Exactly(krlA, kKrlASize),                        // pixel aspect ratio
                             });
}

TEST(ReadCount, FileWithinTheHeadWindow_OpensWithOneRead)
{
    for (const EKrIndexKind index : {EKrIndexKind::Idx1, EKrIndexKind::OpenDml, EKrIndexKind::Both})
    {
        CCounted counted(TwoStreamAvi(index));
        const auto size = static_cast<size_t>(counted.built.content.Size());
        ASSERT_LT(size, kHeadWindow);
        ExpectOpenReads(counted, {Exactly(0, size)});
        counted.files.Reset();
        EXPECT_GT(WalkAll(counted.reader), 10u);
        EXPECT_EQ(counted.files.Calls().reads, 0u);
    }
}

TEST(ReadCount, LengthOfTheFile_ChangesNothing)
{
    for (const EKrIndexKind index : {EKrIndexKind::Idx1, EKrIndexKind::OpenDml})
    {
        SKrSimpleAvi longer = LongFile(index);
        longer.roundsPerSegment = {};
        SKrSimpleAvi shorter = longer;
        longer.streams[0].chunkSizes.assign(400, 50'000);
        longer.streams[1].chunkSizes.assign(400, 7680);
        const CCounted first(shorter);
        const CCounted second(longer);
        EXPECT_EQ(first.files.Calls().reads, second.files.Calls().reads);
        EXPECT_EQ(first.files.Calls().bytes, second.files.Calls().bytes);
    }
}

// Accepted: to find that a declared stream has no chunk at all, every chunk header is read, but no payload.
TEST(ReadCount, DeclaredStreamWithoutChunks_CostsOneReadForEachChunk)
{
    SKrSimpleAvi avi = LongFile(EKrIndexKind::OpenDml);
    avi.roundsPerSegment = {};
    const CCounted complete(avi);
    avi.mainHeader.streams = 3;
    const CCounted counted(avi);
    const uint64_t more = counted.files.Calls().reads - complete.files.Calls().reads;
    EXPECT_GE(more, 78u); // the chunks after the first of each stream
    EXPECT_LE(more, 80u); // and the two standard indexes
    for (const SKrReadCall& read : counted.files.Reads())
        EXPECT_TRUE(read.count <= kJumpWindow || read == Head() || read.count < 2048) << read.count;
    EXPECT_LE(counted.files.Calls().bytes, kHeadWindow + 82 * 2048u);
}

// With one gap, and with several streams that are each searched for after it.
TEST(ReadCount, OpenReadsZerosOnce)
{
    constexpr uint64_t kZeros = 2'000'000;
    SKrSimpleAvi between = TwoStreamAvi(EKrIndexKind::None, 2);
    between.startOfMovi = [](CKrAviBuilder& file)
    {
        file.Chunk("00dc", KrBytes(100, 1));
        file.Zeros(kZeros);
        file.Chunk("01wb", KrBytes(100, 1));
    };
    SKrSimpleAvi streams = LongFile(EKrIndexKind::Idx1);
    streams.streams.resize(4, streams.streams.back());
    streams.startOfMovi = [](CKrAviBuilder& file)
    {
        file.Chunk("00dc", KrBytes(100, 1));
        file.Zeros(kZeros);
    };
    streams.afterMovi = [](CKrAviBuilder& file)
    {
        file.Zeros(6);
    };
    for (const SKrSimpleAvi& avi : {between, streams})
    {
        const CCounted counted(avi);
        EXPECT_GE(counted.files.Calls().bytes, kZeros);
        EXPECT_LE(counted.files.Calls().bytes, kZeros + kZeros / 4);
    }
}

TEST(ReadCount, OpenOfThePathThatIsOpen_CallsNothing)
{
    CCounted counted(LongFile(EKrIndexKind::Idx1));
    EXPECT_GT(WalkAll(counted.reader), 80u);
    counted.files.Reset();
    EXPECT_EQ(counted.reader.Open(KrPlatform::IsSamePath(L"a.avi", L"A.AVI") ? L"A.AVI" : L"a.avi"), 1);
    EXPECT_GT(WalkAll(counted.reader), 80u) << "the tree is kept";
    const SKrFileCalls calls = counted.files.Calls();
    EXPECT_EQ(calls.opens + calls.sizes + calls.seeks + calls.reads, 0u);
}

TEST(ReadCount, SecondWalkOverAllLevels_CallsNothing)
{
    for (const EKrIndexKind index : {EKrIndexKind::Idx1, EKrIndexKind::OpenDml})
    {
        CCounted counted(LongFile(index));
        counted.files.Reset();
        const size_t nodes = WalkAll(counted.reader);
        EXPECT_GT(nodes, 90u);
        EXPECT_GT(counted.files.Calls().reads, 75u);
        EXPECT_LE(counted.files.Calls().reads, nodes);
        // After the last node of a list the list ends, after the last segment the file: no header is read
        // there.
        counted.files.Reset();
        EXPECT_EQ(WalkAll(counted.reader), nodes);
        EXPECT_NE(counted.reader.GetLastRiffSegment(), nullptr);
        const SKrFileCalls calls = counted.files.Calls();
        EXPECT_EQ(calls.opens + calls.sizes + calls.seeks + calls.reads, 0u);
    }
}

TEST(ReadCount, LoadOfOldIndex_IsOneRead)
{
    for (const size_t chunks : {10, 10'000})
    {
        CCounted counted(TwoStreamAvi(EKrIndexKind::Idx1, chunks));
        const SKrBuiltChunk idx1 = counted.built.Find("idx1");
        ASSERT_EQ(idx1.size, 2 * chunks * 16);
        counted.files.Reset();
        EXPECT_EQ(LoadVideoOf(counted.reader).entries.size(), chunks);
        EXPECT_EQ(counted.files.Reads(), (KrReads{Exactly(idx1.data, idx1.size)}));
        counted.files.Reset();
        EXPECT_EQ(LoadAudioOf(counted.reader).entries.size(), chunks);
        EXPECT_EQ(counted.files.Reads(), (KrReads{Exactly(idx1.data, idx1.size)}));
        EXPECT_EQ(counted.files.Calls().seeks, 0u);
    }
}

TEST(ReadCount, LoadOfOpenDmlIndex_ReadsTheEntriesOfEachChunkAtOnce)
{
    for (const uint8_t stdSubType : {0, 0x10})
    {
        for (const size_t chunks : {10, 10'000})
        {
            SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::OpenDml, chunks);
            avi.entriesPerStdIndex = chunks / 2;
            avi.stdSubType = stdSubType;
            CCounted counted(avi);
            for (const size_t stream : {0, 1})
            {
                const uint64_t super = counted.built.Find("indx", stream).header;
                const char* const id = stream == 0 ? "ix00" : "ix01";
                const uint64_t first = counted.built.Find(id, 0).header;
                const uint64_t second = counted.built.Find(id, 1).header;
                const size_t entries = chunks / 2 * (stdSubType == 0 ? 8 : 24);
                counted.files.Reset();
                const SKrLoadAnswer load =
                    stream == 0 ? LoadVideoOf(counted.reader) : LoadAudioOf(counted.reader);
                EXPECT_EQ(load.entries.size(), chunks);
                EXPECT_EQ(counted.files.Reads(), (KrReads{
                                                     Exactly(super, 32),          // head of the super index
                                                     Exactly(super + 32, 2 * 16), // its entries in use
                                                     Exactly(first, 32),          // counts, to size the array
                                                     Exactly(second, 32),         //
                                                     Exactly(first, 32),          // then each chunk's head
                                                     Exactly(first + 32, entries), // and entries
                                                     Exactly(second, 32),          //
                                                     Exactly(second + 32, entries),
                                                 }));
                EXPECT_EQ(counted.files.Calls().seeks, 0u);
            }
        }
    }
}
