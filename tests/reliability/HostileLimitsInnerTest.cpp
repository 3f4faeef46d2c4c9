// The maximum cost of hostile files in memory and reads, in multiples of their size.
#include "tests/base/KrAllocationMeter.h"
#include "tests/reader/HostileFileSupport.h"
#include "tests/support/KrByteWriter.h"
#include "tests/support/KrFaultyFileSystem.h"

using namespace KrTest;

namespace
{
constexpr size_t kSlack = 256 * 1024; // whatever the file's size
constexpr size_t kMemoryToLoad =
    4; // multiples of the file's size: blocks of an index, entries of 16 bytes for each 8 of the file
constexpr size_t kMemoryToWalk = 24; // a node for each header of 8 bytes
constexpr size_t kMemoryToSearch = 16;

// Writes only the smallest possible chunks: the most nodes and matches for their size.
KrBuilderHook CrowdOf(size_t size)
{
    return [size](CKrAviBuilder& file)
    {
        KrBytes crowd(size / 8 * 8);
        for (size_t at = 0; at < crowd.size(); at += 8)
            std::copy_n("JUNK\0\0\0", 8, crowd.begin() + static_cast<ptrdiff_t>(at));
        file.Raw(crowd);
    };
}

KrBytes Crowd(size_t size)
{
    SKrSimpleAvi avi = RichAvi(EKrIndexKind::Idx1);
    avi.endOfMovi = CrowdOf(size);
    return BuildSimpleAvi(avi).Bytes();
}

// A file that is one index with as many entries as fit.
KrBytes Index(size_t size)
{
    SKrSimpleAvi avi = RichAvi(EKrIndexKind::None);
    avi.afterMovi = [size](CKrAviBuilder& file)
    {
        CKrTestByteWriter entries;
        for (size_t at = 0; at + 16 <= size; at += 16)
            entries.FourCc("00dc").U32(0x10).U32(4).U32(1);
        file.Chunk("idx1", entries.Bytes());
    };
    return BuildSimpleAvi(avi).Bytes();
}

// A file and its reader. Counting itself takes memory.
struct SOpened
{
    explicit SOpened(const KrBytes& bytes, bool isCounted = false)
        : reader(isCounted ? static_cast<IKrFileSystem&>(counts) : faults), size(bytes.size())
    {
        files.Set(L"a.avi", bytes);
    }

    CKrMemoryFileSystem files;
    CKrCountingFileSystem counts{files};
    CKrFaultyFileSystem faults{files};
    CKrRiffReader reader;
    size_t size;
};

uint64_t WalkChildren(IKrRiffReader& reader, SKrRiffChunkNode* parent)
{
    uint64_t nodes = 0;
    for (int more = reader.FindFirstSubChunk(parent); more != 0; ++nodes)
    {
        uint32_t id = 0;
        uint32_t type = 0;
        uint32_t size = 0;
        uint64_t offset = 0;
        more = reader.FindNextSubChunk(&id, &type, &size, &offset, nullptr);
    }
    return nodes;
}

uint64_t SearchJunk(IKrRiffReader& reader)
{
    CDWordArray ids;
    ids.Add(0x4B4E554A);
    uint64_t matches = 0;
    for (int more = reader.FindFirstChunk(&ids, 0); more != 0; ++matches)
    {
        uint32_t id = 0;
        uint32_t type = 0;
        uint32_t size = 0;
        uint64_t offset = 0;
        more = reader.FindNextChunk(&id, &type, &size, &offset, nullptr);
    }
    return matches;
}

SKrRiffChunkNode* FindMovi(IKrRiffReader& reader)
{
    uint32_t id = 0;
    uint32_t type = 0;
    uint32_t size = 0;
    uint64_t offset = 0;
    SKrRiffChunkNode* node = nullptr;
    reader.FindFirstRiffSegment();
    reader.FindNextRiffSegment(&type, &size, &offset, &node);
    for (int more = reader.FindFirstSubChunk(node); more != 0;)
    {
        SKrRiffChunkNode* child = nullptr;
        more = reader.FindNextSubChunk(&id, &type, &size, &offset, &child);
        if (type == 0x69766F6D)
            return child;
    }
    return nullptr;
}
} // namespace

TEST(HostileLimits, Memory_IsBoundByTheFilesSize)
{
    for (const size_t size : {size_t{1} << 20, size_t{4} << 20})
    {
        SCOPED_TRACE(size);
        const KrBytes bytes = Crowd(size);
        SOpened crowd(bytes);
        const CKrAllocationMeter open;
        ASSERT_EQ(crowd.reader.Open(L"a.avi"), 1);
        EXPECT_LE(open.Most(), kSlack);

        const CKrAllocationMeter walk;
        EXPECT_GT(WalkChildren(crowd.reader, FindMovi(crowd.reader)), size / 8);
        EXPECT_LE(walk.Most(), kMemoryToWalk * crowd.size + kSlack);

        const CKrAllocationMeter search;
        EXPECT_GT(SearchJunk(crowd.reader), size / 8 - 1);
        EXPECT_LE(search.Most(), kMemoryToSearch * crowd.size + kSlack);
        crowd.reader.EndChunkSearch();
        crowd.reader.Close();
        EXPECT_LE(open.Now(), crowd.size / 4 + kSlack) << "what stays is room for the next search";
    }
}

// Tiny chunks around 'movi', all of them children of the segment that is searched for private chunks. The
// only private chunk follows all of them: if the open finds it, it has passed them.
TEST(HostileLimits, MemoryOfAnOpen_DoesNotGrowWithTheNumberOfChunks)
{
    constexpr size_t kSize = size_t{40} << 20;
    for (KrBuilderHook SKrSimpleAvi::*const place : {&SKrSimpleAvi::beforeMovi, &SKrSimpleAvi::afterMovi})
    {
        SKrSimpleAvi avi;
        avi.streams = {VideoStream({10})};
        avi.*place = CrowdOf(kSize);
        avi.endOfRiff = [](CKrAviBuilder& file)
        {
            file.Chunk("KrlA", ToBytes(SKrTestKrlA{.scanMode = 2, .horizontal = 64, .vertical = 45}));
        };
        SOpened crowd(BuildSimpleAvi(avi).Bytes());
        const CKrAllocationMeter open;
        ASSERT_EQ(crowd.reader.Open(L"a.avi"), 1);
        EXPECT_LE(open.Most(), kSlack);
        EXPECT_EQ(crowd.reader.StreamState().videoFormat.displayWidth, 1024);
    }
}

// The entries are in the array, whose memory does not come from operator new: it is added here. The array has
// its largest size while the index is read.
TEST(HostileLimits, MemoryOfALoad_IsBoundByTheFilesSize)
{
    for (const size_t size : {size_t{1} << 20, size_t{4} << 20})
    {
        SCOPED_TRACE(size);
        SOpened index(Index(size));
        ASSERT_EQ(index.reader.Open(L"a.avi"), 1);
        const CKrAllocationMeter load;
        CArray<SKrChunkIndexEntry> entries;
        intptr_t mostEntries = 0;
        index.faults.SetBeforeRead([&](const SKrReadRequest&)
                                   { mostEntries = std::max(mostEntries, entries.GetSize()); });
        ASSERT_EQ(index.reader.LoadVideoIndex(entries), 1);
        EXPECT_GT(entries.GetSize(), static_cast<intptr_t>(size / 16 - 2));
        EXPECT_GE(mostEntries, entries.GetSize());
        EXPECT_LE(load.Most() + static_cast<size_t>(mostEntries) * sizeof(SKrChunkIndexEntry),
                  kMemoryToLoad * index.size + kSlack);
    }
}

TEST(HostileLimits, MemoryOfAStreamsLoad_IsBoundByTheFilesSize)
{
    for (const size_t size : {size_t{1} << 20, size_t{4} << 20})
    {
        SCOPED_TRACE(size);
        SOpened index(Index(size));
        ASSERT_EQ(index.reader.Open(L"a.avi"), 1);
        const CKrAllocationMeter load;
        CArray<SKrStreamIndexEntry> entries;
        ASSERT_EQ(index.reader.LoadStreamIndex(0, 0, entries), 1);
        EXPECT_GT(entries.GetSize(), static_cast<intptr_t>(size / 16 - 2));
        EXPECT_LE(load.Most() + static_cast<size_t>(entries.GetSize()) * sizeof(SKrStreamIndexEntry),
                  kMemoryToLoad * index.size + kSlack);
    }
}

TEST(HostileLimits, Reads_AreLinearInTheFilesSize)
{
    std::vector<std::vector<uint64_t>> costs; // of each size: reads and bytes of each operation
    for (const size_t size : {size_t{1} << 20, size_t{2} << 20, size_t{4} << 20})
    {
        SOpened crowd(Crowd(size), true);
        std::vector<uint64_t> cost;
        const auto add = [&]
        {
            cost.push_back(crowd.counts.Calls().reads);
            cost.push_back(crowd.counts.Calls().bytes);
            crowd.counts.Reset();
        };
        ASSERT_EQ(crowd.reader.Open(L"a.avi"), 1);
        add();
        EXPECT_GT(WalkChildren(crowd.reader, FindMovi(crowd.reader)), size / 8);
        add();
        EXPECT_GE(SearchJunk(crowd.reader), size / 8);
        add();
        costs.push_back(cost);
    }
    for (size_t step = 1; step < costs.size(); ++step)
    {
        for (size_t what = 0; what < costs[0].size(); ++what)
            EXPECT_LE(costs[step][what], costs[step - 1][what] * 22 / 10 + 20)
                << "size " << step << ", cost " << what;
    }
}
