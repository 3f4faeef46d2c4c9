// Files beyond 2 and 4 GiB, in memory: positions of 64 bits, and the fields that keep 32 of them.
#include "tests/reader/IndexLoadInnerSupport.h"
#include "tests/support/KrCountingFileSystem.h"

#include <gtest/gtest.h>

using namespace KrTest;

namespace
{
constexpr uint64_t kGiB = uint64_t{1} << 30;
constexpr uint64_t kLargestRiff = 0xFFFFFFFF;

// Six segments with a frame of 1.2 GB, a small one and two audio blocks each: more than 7 GB.
SKrSimpleAvi SixSegments()
{
    SKrSimpleAvi avi;
    avi.index = EKrIndexKind::OpenDml;
    avi.roundsPerSegment.assign(6, 2);
    avi.streams = {VideoStream({}), PcmStream(std::vector<uint32_t>(12, 96))};
    for (uint32_t segment = 0; segment < 6; ++segment)
        avi.streams[0].chunkSizes.insert(avi.streams[0].chunkSizes.end(), {1'200'000'001, 1000 + segment});
    return avi;
}

// A file whose 'idx1' has its payload at a position past its one segment, whose size claims that it is
// inside.
SKrBuiltAvi WithOldIndexAt(uint64_t position)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::None, 3);
    std::vector<SKrTestIdx1Entry> entries;
    for (uint32_t frame = 0; frame < 3; ++frame)
    {
        entries.push_back({"00dc", 0x10, 4 + frame * 212, 100});
        entries.push_back({"01wb", 0x10, 112 + frame * 212, 96});
    }
    avi.endOfFile = [&entries, position](CKrAviBuilder& file)
    {
        file.ZeroChunk("JUNK", static_cast<uint32_t>(position - 8 - file.Position() - 8));
        file.Chunk("idx1", ToBytes(entries));
    };
    SKrBuiltAvi built = BuildSimpleAvi(avi);
    built.content.PutU32(4, kLargestRiff);
    return built;
}

// Loads, and returns whether anything was read for it.
struct SCountedLoads
{
    explicit SCountedLoads(const SKrBuiltAvi& built)
    {
        CKrMemoryFileSystem memory;
        memory.Set(L"a.avi", built.content);
        CKrCountingFileSystem files(memory);
        CKrRiffReader reader(files);
        EXPECT_EQ(reader.Open(L"a.avi"), 1);
        located = reader.StreamState().videoIndex;
        files.Reset();
        video = LoadVideoOf(reader);
        audio = LoadAudioOf(reader);
        reads = files.Calls().reads;
    }

    SKrLocatedIndex located;
    SKrLoadAnswer video;
    SKrLoadAnswer audio;
    uint64_t reads = 0;
};
} // namespace

TEST(BigFile, OpenDmlIndexOfEverySubType_GivesPositionsBeyond4GiB)
{
    for (const uint8_t superSubType : {0, 0x10})
    {
        for (const uint8_t stdSubType : {0, 0x10})
        {
            // Offsets of 32 bits reach beyond 4 GiB only through a base.
            if (superSubType == 0x10 && stdSubType == 0)
                continue;
            SKrSimpleAvi avi = SixSegments();
            avi.superSubType = superSubType;
            avi.stdSubType = stdSubType;
            const SKrBuiltAvi built = BuildSimpleAvi(avi);
            ASSERT_GT(built.content.Size(), 7 * uint64_t{1'000'000'000});
            CKrParsedInMemory file(built.content);
            EXPECT_EQ(LoadVideoOf(file.Reader()).entries, ChunksOf(built, 0));
            const PlacesAndSizes audio = LoadAudioOf(file.Reader()).entries;
            EXPECT_EQ(audio, ChunksOf(built, 1));
            EXPECT_GT(audio.back().first, 6 * kGiB);
        }
    }
}

TEST(BigFile, OffsetOf32Bits_CountsFromABaseBeyond4GiBWithoutWrapping)
{
    SKrBuiltAvi built = BuildSimpleAvi(SixSegments());
    const uint64_t stdIndex = built.Find("ix01", 4).data;
    PutU64(built.content, stdIndex + 12, 5 * kGiB);
    built.content.PutU32(stdIndex + 24, 0x60000000); // 6.5 GiB, inside the file
    built.content.PutU32(stdIndex + 24 + 8,
                         0xFFFFFFFF); // 9 GiB less a byte, beyond it, though low in 32 bits
    CKrParsedInMemory file(built.content);
    PlacesAndSizes expected = ChunksOf(built, 1);
    expected[8].first = 5 * kGiB + 0x60000000;
    expected.erase(expected.begin() + 9);
    EXPECT_EQ(LoadAudioOf(file.Reader()).entries, expected);
}

TEST(BigFile, Walk_ReportsSegmentsAndChunksBeyond4GiB)
{
    const SKrBuiltAvi built = BuildSimpleAvi(SixSegments());
    CKrParsedInMemory file(built.content);
    uint32_t ckid, type, size;
    uint64_t offset;
    ASSERT_EQ(file.Reader().FindFirstRiffSegment(), 1);
    for (size_t segment = 0; segment < 6; ++segment)
    {
        SKrRiffChunkNode* node = nullptr;
        EXPECT_EQ(file.Reader().FindNextRiffSegment(&type, &size, &offset, &node), segment < 5 ? 1 : 0);
        EXPECT_EQ(offset, built.segments[segment].data);
        EXPECT_EQ(size, built.segments[segment].size);
        if (segment == 0)
            continue;
        SKrRiffChunkNode* movi = nullptr;
        ASSERT_EQ(file.Reader().FindFirstSubChunk(node), 1);
        EXPECT_EQ(file.Reader().FindNextSubChunk(&ckid, &type, &size, &offset, &movi), 0);
        EXPECT_EQ(offset, built.Find("movi", segment).data);
        ASSERT_EQ(file.Reader().FindFirstSubChunk(movi), 1);
        const SKrBuiltChunk expected[] = {built.streamChunks[0][2 * segment],
                                          built.streamChunks[1][2 * segment],
                                          built.streamChunks[0][2 * segment + 1],
                                          built.streamChunks[1][2 * segment + 1],
                                          built.Find("ix00", segment),
                                          built.Find("ix01", segment)};
        for (const SKrBuiltChunk& chunk : expected)
        {
            const int more = file.Reader().FindNextSubChunk(&ckid, &type, &size, &offset, nullptr);
            EXPECT_EQ(more, chunk.id == "ix01" ? 0 : 1);
            EXPECT_EQ(offset, chunk.data);
            EXPECT_EQ(size, chunk.size);
        }
    }
}

TEST(BigFile, Search_FindsChunksBeyond4GiBFromTheFrontAndFromThere)
{
    const SKrBuiltAvi built = BuildSimpleAvi(SixSegments());
    CKrParsedInMemory file(built.content);
    CDWordArray ids;
    ids.Add(0x62773130); // '01wb'
    uint32_t ckid, type, size;
    uint64_t offset = 0;
    ASSERT_EQ(file.Reader().FindFirstChunk(&ids, ~uint64_t{0}), 1);
    for (size_t number = 0; number < 12; ++number)
    {
        EXPECT_EQ(file.Reader().FindNextChunk(&ckid, &type, &size, &offset, nullptr), number < 11 ? 1 : 0);
        EXPECT_EQ(offset, built.streamChunks[1][number].data);
    }
    ASSERT_GT(built.segments[4].header, 4 * kGiB);
    ASSERT_EQ(file.Reader().FindFirstChunk(&ids, built.segments[4].header), 1);
    EXPECT_EQ(file.Reader().FindNextChunk(&ckid, &type, &size, &offset, nullptr), 1);
    EXPECT_EQ(offset, built.streamChunks[1][8].data);
}

TEST(BigFile, PayloadsBeyond4GiB_AreReadAtTheIndexedPositions)
{
    const SKrBuiltAvi built = BuildSimpleAvi(SixSegments());
    CKrParsedInMemory file(built.content);
    const PlacesAndSizes entries = LoadVideoOf(file.Reader()).entries;
    ASSERT_EQ(entries.size(), 12u);
    for (size_t number = 1; number < 12; number += 2)
    {
        KrBytes bytes(entries[number].second);
        const SKrRiffChunkInfo chunk{0x63643030, entries[number].second, 0, entries[number].first};
        ASSERT_EQ(file.Reader().ReadChunkData(&chunk, bytes.data(), chunk.cksize), chunk.cksize);
        EXPECT_EQ(bytes, PatternBytes(0, number, bytes.size()));
    }
}

// The largest possible size is odd: the next chunk starts a byte later.
TEST(BigFile, ChunkOfTheLargestSize_IsSteppedOver)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::None);
    avi.endOfFile = [](CKrAviBuilder& file)
    {
        file.ZeroChunk("JUNK", 0xFFFFFFFF);
        file.Chunk("tail", KrBytes(6, 1));
    };
    const SKrBuiltAvi built = BuildSimpleAvi(avi);
    CKrParsedInMemory file(built.content);
    CDWordArray ids;
    ids.Add(0x6C696174); // 'tail'
    uint32_t ckid, type, size;
    uint64_t offset = 0;
    ASSERT_EQ(file.Reader().FindFirstChunk(&ids, ~uint64_t{0}), 1);
    EXPECT_EQ(file.Reader().FindNextChunk(&ckid, &type, &size, &offset, nullptr), 0);
    EXPECT_EQ(offset, built.Find("tail").data);
    EXPECT_GT(offset, 4 * kGiB);
}

TEST(BigFile, OldIndexBelow2GiB_Loads)
{
    for (const uint64_t position : {2 * kGiB - 2, 2 * kGiB - 1000})
    {
        const SKrBuiltAvi built = WithOldIndexAt(position);
        ASSERT_EQ(built.Find("idx1").data, position);
        const SCountedLoads loads(built);
        EXPECT_EQ(loads.located.indexPosition, position);
        EXPECT_EQ(loads.video.entries, ChunksOf(built, 0));
        EXPECT_EQ(loads.audio.entries, ChunksOf(built, 1));
    }
}

// Kept: positions of indexes are signed 32-bit numbers. Those beyond 4 GiB must not turn into low ones.
TEST(BigFile, OldIndexFrom2GiBOn_IsLocatedAndCannotBeLoaded)
{
    for (const uint64_t position : {2 * kGiB, 3 * kGiB, 4 * kGiB - 2, 4 * kGiB, 4 * kGiB + 12})
    {
        const SKrBuiltAvi built = WithOldIndexAt(position);
        ASSERT_EQ(built.Find("idx1").data, position);
        const SCountedLoads loads(built);
        EXPECT_EQ(loads.located.oldIndexEntries, 6u) << "it was found";
        EXPECT_EQ(loads.video.status, 0) << position;
        EXPECT_EQ(loads.audio.status, 0) << position;
        EXPECT_EQ(loads.reads, 0u);
    }
}

TEST(BigFile, SuperIndexFrom2GiBOn_CannotBeLoaded)
{
    const uint64_t headers = BuildSimpleAvi({}).Find("strf").end - BuildSimpleAvi({}).Find("strl").header;
    for (const uint64_t position :
         {2 * kGiB - 2, 2 * kGiB, 3 * kGiB, 4 * kGiB, 4 * kGiB + 100, 6 * kGiB, 8 * kGiB + 322})
    {
        const SKrBuiltAvi built = WithSuperIndexAtTheEnd(
            2,
            [&](CKrAviBuilder& file)
            {
                while (position - headers - 8 - file.Position() > 3 * kGiB)
                    file.ZeroChunk("JUNK", static_cast<uint32_t>(2 * kGiB));
                file.ZeroChunk("JUNK", static_cast<uint32_t>(position - headers - 8 - file.Position()));
            });
        ASSERT_EQ(built.Find("indx").header, position);
        const SCountedLoads loads(built);
        if (position < 2 * kGiB)
        {
            EXPECT_EQ(loads.video.entries.size(), 2u);
            continue;
        }
        EXPECT_EQ(loads.video.status, 0) << position;
        EXPECT_EQ(loads.reads, 0u);
    }
}

// The position of a stream's first chunk keeps only its low half, without harm: no index after it could be
// loaded.
TEST(BigFile, FirstChunkBeyond4GiB_KeepsTheLowHalfOfItsPosition)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::None);
    avi.endOfFile = [](CKrAviBuilder& file)
    {
        file.ZeroChunk("JUNK", static_cast<uint32_t>(4 * kGiB - file.Position() - 8));
        file.Chunk("01wb", KrBytes(8, 1)); // at 4 GiB
    };
    avi.streams[1].chunkSizes = {};
    SKrBuiltAvi built = BuildSimpleAvi(avi);
    built.content.PutU32(4, kLargestRiff);
    built.content.PutU32(built.Find("movi").header + 4, kLargestRiff);
    CKrParsedInMemory file(built.content);
    ASSERT_EQ(built.Find("01wb").header, 4 * kGiB);
    EXPECT_EQ(file.State().audio[0].index.firstChunkPosition, 0u);
    EXPECT_EQ(file.State().videoIndex.firstChunkPosition, built.streamChunks[0][0].header);
    EXPECT_EQ(LoadAudioOf(file.Reader()).status, 0);
}
