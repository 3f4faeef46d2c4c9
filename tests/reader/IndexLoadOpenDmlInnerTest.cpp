// Loads of OpenDML indexes: limits, damage, and what the reader keeps of a load.
#include "tests/reader/IndexLoadInnerSupport.h"
#include "tests/support/KrByteWriter.h"

#include <gtest/gtest.h>

using namespace KrTest;

namespace
{
constexpr uint64_t kEntries = 24; // of either index, from the chunk's payload

// Two streams of six chunks each in two standard indexes of three.
SKrSimpleAvi SixChunks(uint8_t stdSubType = 0)
{
    SKrSimpleAvi avi;
    avi.index = EKrIndexKind::OpenDml;
    avi.streams = {VideoStream({101, 102, 103, 104, 105, 106}), PcmStream({64, 68, 72, 76, 80, 84})};
    avi.entriesPerStdIndex = 3;
    avi.stdSubType = stdSubType;
    return avi;
}

PlacesAndSizes LoadStream(CKrRiffReader& reader, size_t stream)
{
    const SKrLoadAnswer answer = stream == 0 ? LoadVideoOf(reader) : LoadAudioOf(reader);
    EXPECT_EQ(answer.status, 1);
    return answer.entries;
}

int StatusOf(CKrRiffReader& reader, size_t stream)
{
    return (stream == 0 ? LoadVideoOf(reader) : LoadAudioOf(reader)).status;
}

// The n-th standard index of a stream.
SKrBuiltChunk StdIndex(const SKrBuiltAvi& built, size_t stream, size_t number)
{
    return built.Find(stream == 0 ? "ix00" : "ix01", number);
}

PlacesAndSizes Without(PlacesAndSizes list, size_t first, size_t end)
{
    list.erase(list.begin() + static_cast<ptrdiff_t>(first), list.begin() + static_cast<ptrdiff_t>(end));
    return list;
}
} // namespace

TEST(IndexLoadOpenDml, LoadOfVideo_KeepsCountAndLargestChunk)
{
    SKrSimpleAvi avi = SixChunks();
    avi.mainHeader.totalFrames = 77;
    avi.streams[0].keyFrameEvery = 2;
    CKrParsedInMemory file(avi);
    EXPECT_EQ(file.State().totalFrames, 77u);
    ASSERT_EQ(LoadStream(file.Reader(), 0).size(), 6u);
    EXPECT_EQ(file.State().totalFrames, 6u);
    EXPECT_EQ(file.State().statistics.largestVideoChunk, 106u) << "the key-frame bit is no part of a size";
}

TEST(IndexLoadOpenDml, FrameCount_IsOfTheEntriesLoadedNotOfThoseAnnounced)
{
    SKrBuiltAvi built = BuildSimpleAvi(SixChunks());
    built.content.PutU32(StdIndex(built, 0, 1).data + 4, 0xFFFFFFFF);
    CKrParsedInMemory manyClaimed(built.content);
    ASSERT_EQ(LoadStream(manyClaimed.Reader(), 0).size(), 6u);
    EXPECT_EQ(manyClaimed.State().totalFrames, 6u);
    built.content.Put(StdIndex(built, 0, 0).data + 2, KrBytes{9}); // an unknown sub type
    CKrParsedInMemory oneSkipped(built.content);
    ASSERT_EQ(LoadStream(oneSkipped.Reader(), 0).size(), 3u);
    EXPECT_EQ(oneSkipped.State().totalFrames, 3u);
}

TEST(IndexLoadOpenDml, WideEntries_CountForTheLargestChunkAsStored)
{
    SKrBuiltAvi built = BuildSimpleAvi(SixChunks(0x10));
    built.content.PutU32(StdIndex(built, 0, 0).data + kEntries + 24 + 8, 0x80000005);
    CKrParsedInMemory file(built.content);
    EXPECT_EQ(LoadStream(file.Reader(), 0)[1].second, 0x80000005u);
    EXPECT_EQ(file.State().statistics.largestVideoChunk, 0x80000005u);
}

TEST(IndexLoadOpenDml, LargestChunk_OnlyGrowsUntilAnotherFileIsOpened)
{
    CKrMemoryFileSystem files;
    SKrBuiltAvi built = BuildSimpleAvi(SixChunks());
    files.Set(L"a.avi", built.content);
    CKrRiffReader reader(files);
    ASSERT_EQ(reader.Open(L"a.avi"), 1);
    ASSERT_EQ(LoadStream(reader, 0).size(), 6u);
    ASSERT_EQ(LoadStream(reader, 1).size(), 6u);
    ASSERT_EQ(LoadStream(reader, 0).size(), 6u);
    EXPECT_EQ(reader.StreamState().statistics.largestVideoChunk, 106u);
    built.content.PutU32(StdIndex(built, 0, 1).data + kEntries + 16 + 4, 1);
    files.Set(L"b.avi", built.content);
    ASSERT_EQ(reader.Open(L"b.avi"), 1);
    EXPECT_EQ(reader.StreamState().statistics.largestVideoChunk, 0u);
    ASSERT_EQ(LoadStream(reader, 0).size(), 6u);
    EXPECT_EQ(reader.StreamState().statistics.largestVideoChunk, 105u);
}

// All reading rules apply to both streams.
class IndexLoadOpenDmlStream : public testing::TestWithParam<size_t>
{
};

INSTANTIATE_TEST_SUITE_P(Streams, IndexLoadOpenDmlStream, testing::Values(0, 1),
                         [](const auto& value) { return std::string(value.param == 0 ? "Video" : "Audio"); });

TEST_P(IndexLoadOpenDmlStream, EverySubType_GivesAllChunks)
{
    for (const uint8_t superSubType : {0, 0x10})
    {
        for (const uint8_t stdSubType : {0, 0x10})
        {
            SKrSimpleAvi avi = SixChunks(stdSubType);
            avi.superSubType = superSubType;
            const SKrBuiltAvi built = BuildSimpleAvi(avi);
            CKrParsedInMemory file(built.content);
            EXPECT_EQ(LoadStream(file.Reader(), GetParam()), ChunksOf(built, GetParam()));
        }
    }
}

TEST_P(IndexLoadOpenDmlStream, BaseOffset_ShiftsEveryEntryOfItsChunkUnlessTheSuperIndexHas64Bits)
{
    for (const uint8_t stdSubType : {0, 0x10})
    {
        SKrBuiltAvi built = BuildSimpleAvi(SixChunks(stdSubType));
        const uint64_t base = built.Find("movi").data;
        PutU64(built.content, StdIndex(built, GetParam(), 1).data + 12, base - 10);
        CKrParsedInMemory file(built.content);
        PlacesAndSizes expected = ChunksOf(built, GetParam());
        for (size_t number = 3; number < 6; ++number)
            expected[number].first -= 10;
        EXPECT_EQ(LoadStream(file.Reader(), GetParam()), expected);

        // The same bytes read as positions from the file start: offsets become positions.
        built.content.Put(built.Find("indx", GetParam()).data + 2, KrBytes{0x10});
        CKrParsedInMemory absolute(built.content);
        for (size_t number = 0; number < 6; ++number)
            expected[number].first = ChunksOf(built, GetParam())[number].first - base;
        EXPECT_EQ(LoadStream(absolute.Reader(), GetParam()), expected);
    }
}

TEST_P(IndexLoadOpenDmlStream, KeyFrameBit_IsMaskedInNarrowEntriesOnly)
{
    for (const uint8_t stdSubType : {0, 0x10})
    {
        SKrBuiltAvi built = BuildSimpleAvi(SixChunks(stdSubType));
        const uint64_t sizeAt = StdIndex(built, GetParam(), 0).data + kEntries + (stdSubType == 0 ? 4 : 8);
        built.content.PutU32(sizeAt, 0x80000000 | 33);
        CKrParsedInMemory file(built.content);
        EXPECT_EQ(LoadStream(file.Reader(), GetParam())[0].second, stdSubType == 0 ? 33u : 0x80000021u);
    }
}

TEST_P(IndexLoadOpenDmlStream, EntryAtTheEndOfTheFile_EndsItsChunkAndOneBeforeDoesNot)
{
    for (const uint8_t stdSubType : {0, 0x10})
    {
        SKrBuiltAvi built = BuildSimpleAvi(SixChunks(stdSubType));
        const uint64_t offsetAt = StdIndex(built, GetParam(), 0).data + kEntries + (stdSubType == 0 ? 8 : 24);
        const auto offset = static_cast<uint32_t>(built.content.Size() - built.Find("movi").data);
        built.content.PutU32(offsetAt, offset);
        CKrParsedInMemory atTheEnd(built.content);
        EXPECT_EQ(LoadStream(atTheEnd.Reader(), GetParam()), Without(ChunksOf(built, GetParam()), 1, 3))
            << "what follows in the chunk is dropped with it, the next chunk is not";
        built.content.PutU32(offsetAt, offset - 1);
        CKrParsedInMemory before(built.content);
        EXPECT_EQ(LoadStream(before.Reader(), GetParam()).size(), 6u);
    }
}

TEST_P(IndexLoadOpenDmlStream, UnknownSubType_IsSkipped)
{
    for (const uint8_t subType : {1, 2, 0x0F, 0x11, 0x80, 0xFF})
    {
        SKrBuiltAvi built = BuildSimpleAvi(SixChunks());
        built.content.Put(StdIndex(built, GetParam(), 0).data + 2, KrBytes{subType});
        CKrParsedInMemory file(built.content);
        EXPECT_EQ(LoadStream(file.Reader(), GetParam()), ChunksOf(built, GetParam(), 3)) << int{subType};
    }
}

// The announced entries are counted, but none of them exists.
TEST_P(IndexLoadOpenDmlStream, UnknownSubTypesOnly_LoadNothing)
{
    SKrBuiltAvi built = BuildSimpleAvi(SixChunks());
    for (size_t number = 0; number < 2; ++number)
        built.content.Put(StdIndex(built, GetParam(), number).data + 2, KrBytes{9});
    CKrParsedInMemory file(built.content);
    EXPECT_TRUE(LoadStream(file.Reader(), GetParam()).empty());
}

TEST_P(IndexLoadOpenDmlStream, NoEntriesInAnyChunk_FailTheLoad)
{
    SKrBuiltAvi built = BuildSimpleAvi(SixChunks());
    built.content.PutU32(StdIndex(built, GetParam(), 0).data + 4, 0);
    CKrParsedInMemory one(built.content);
    EXPECT_EQ(LoadStream(one.Reader(), GetParam()), ChunksOf(built, GetParam(), 3))
        << "one empty chunk has no entries";
    built.content.PutU32(StdIndex(built, GetParam(), 1).data + 4, 0);
    CKrParsedInMemory both(built.content);
    EXPECT_EQ(StatusOf(both.Reader(), GetParam()), 0);
}

TEST_P(IndexLoadOpenDmlStream, FewerEntriesInUse_LeaveTheRest)
{
    SKrBuiltAvi built = BuildSimpleAvi(SixChunks());
    built.content.PutU32(StdIndex(built, GetParam(), 0).data + 4, 2);
    CKrParsedInMemory inTheChunk(built.content);
    EXPECT_EQ(LoadStream(inTheChunk.Reader(), GetParam()), Without(ChunksOf(built, GetParam()), 2, 3));
    built.content.PutU32(built.Find("indx", GetParam()).data + 4, 1);
    CKrParsedInMemory inTheSuperIndex(built.content);
    EXPECT_EQ(LoadStream(inTheSuperIndex.Reader(), GetParam()), ChunksOf(built, GetParam(), 0, 2));
}

TEST_P(IndexLoadOpenDmlStream, ChunkSizeFieldsOfBothIndexes_AreNotChecked)
{
    SKrBuiltAvi built = BuildSimpleAvi(SixChunks());
    built.content.PutU32(built.Find("indx", GetParam()).header + 4, 3);
    built.content.PutU32(StdIndex(built, GetParam(), 1).header + 4, 0);
    CKrParsedInMemory file(built.content);
    EXPECT_EQ(LoadStream(file.Reader(), GetParam()), ChunksOf(built, GetParam()));
}

TEST_P(IndexLoadOpenDmlStream, ChunkNamedTwice_GivesItsEntriesTwice)
{
    SKrBuiltAvi built = BuildSimpleAvi(SixChunks());
    PutU64(built.content, built.Find("indx", GetParam()).data + kEntries + 16,
           StdIndex(built, GetParam(), 0).header);
    CKrParsedInMemory file(built.content);
    PlacesAndSizes expected = ChunksOf(built, GetParam(), 0, 3);
    expected.insert(expected.end(), expected.begin(), expected.begin() + 3);
    EXPECT_EQ(LoadStream(file.Reader(), GetParam()), expected);
}

// The file may hold one chunk for each eight bytes. Further claimed entries do not exist, and do no harm.
TEST_P(IndexLoadOpenDmlStream, ClaimsAboveAnEighthOfTheFile_GiveTheExistingChunks)
{
    SKrBuiltAvi built = BuildSimpleAvi(SixChunks());
    const uint64_t countAt = StdIndex(built, GetParam(), 1).data + 4;
    const auto limit = static_cast<uint32_t>(built.content.Size() / 8);
    for (const uint32_t claimed : {limit - 3, limit - 2, limit, 0x7FFFFFFFu, 0xFFFFFFFFu})
    {
        built.content.PutU32(countAt, claimed);
        CKrParsedInMemory file(built.content);
        EXPECT_EQ(LoadStream(file.Reader(), GetParam()), ChunksOf(built, GetParam())) << claimed;
    }
}

// Two claims whose sum is small only if it wraps at 32 bits.
TEST_P(IndexLoadOpenDmlStream, ClaimsThatWrapTogether_GiveTheExistingChunks)
{
    SKrBuiltAvi built = BuildSimpleAvi(SixChunks());
    built.content.PutU32(StdIndex(built, GetParam(), 0).data + 4, 0xFFFFFFFF);
    built.content.PutU32(StdIndex(built, GetParam(), 1).data + 4, 4);
    CKrParsedInMemory file(built.content);
    EXPECT_EQ(LoadStream(file.Reader(), GetParam()), ChunksOf(built, GetParam()));
}

TEST_P(IndexLoadOpenDmlStream, RepeatedLoads_GiveTheSame)
{
    const SKrBuiltAvi built = BuildSimpleAvi(SixChunks());
    CKrParsedInMemory file(built.content);
    for (int round = 0; round < 3; ++round)
        EXPECT_EQ(LoadStream(file.Reader(), GetParam()), ChunksOf(built, GetParam()));
}

TEST(IndexLoadOpenDmlCut, SuperIndexHeadCutByTheEndOfTheFile_FailsTheLoad)
{
    const SKrBuiltAvi built = WithSuperIndexAtTheEnd(3);
    const uint64_t indx = built.Find("indx").header;
    for (uint64_t bytes = 8; bytes <= 32; ++bytes) // fewer, and it is not found
    {
        CKrFileContent cut = built.content;
        cut.Resize(indx + bytes);
        CKrParsedInMemory file(cut);
        ASSERT_EQ(file.State().videoIndex.indexPosition, indx) << bytes;
        EXPECT_EQ(LoadVideoOf(file.Reader()).status, 0) << bytes; // 32: a head without entries
    }
}

TEST(IndexLoadOpenDmlCut, SuperIndexEntriesCutByTheEndOfTheFile_CountAsFarAsTheyAreWhole)
{
    const SKrBuiltAvi built = WithSuperIndexAtTheEnd(3);
    const uint64_t entries = built.Find("indx").data + kEntries;
    for (uint64_t bytes = 16; bytes <= 48; ++bytes)
    {
        CKrFileContent cut = built.content;
        cut.Resize(entries + bytes);
        CKrParsedInMemory file(cut);
        EXPECT_EQ(LoadStream(file.Reader(), 0).size(), bytes / 16) << bytes;
    }
}

// Only the head of the second standard index is in the file, then not even that.
TEST(IndexLoadOpenDmlCut, StdIndexHead_CountsWithAll32Bytes)
{
    SKrBuiltAvi built = BuildSimpleAvi(SixChunks());
    const uint64_t second = built.Find("indx").data + kEntries + 16;
    for (const uint64_t bytes : {31, 32})
    {
        const uint64_t position = built.content.Size() - bytes;
        PutU64(built.content, second, position);
        if (bytes == 32) // a head of zeros: a chunk without entries
            built.content.Put(position, KrBytes(32));
        CKrParsedInMemory file(built.content);
        const SKrLoadAnswer load = LoadVideoOf(file.Reader());
        EXPECT_EQ(load.status, bytes == 32 ? 1 : 0);
    }
}

// With 'indx' in the video list only, the audio load reads its 'idx1' payload as a super index. Only the
// first word makes it fail: a payload that begins like a super index is read as one.
TEST(IndexLoadOpenDmlFlag, OldIndexPayloadLikeASuperIndex_IsReadAsOne)
{
    SKrSimpleAvi avi = SixChunks();
    avi.streams[1].hasSuperIndex = false;
    SKrBuiltAvi built;
    for (const char* id : {"indx", "01wb"})
    {
        avi.afterMovi = [id](CKrAviBuilder& file)
        {
            CKrTestByteWriter payload;
            payload.FourCc(id).U32(0);
            SKrTestSuperIndex index;
            index.entries = {{file.Find("ix00", 1).header, 0, 0}};
            payload.Raw(ToBytes(index));
            file.Chunk("idx1", payload.Bytes());
        };
        built = BuildSimpleAvi(avi);
        CKrParsedInMemory file(built.content);
        ASSERT_TRUE(file.State().openDmlIndex);
        const SKrLoadAnswer load = LoadAudioOf(file.Reader());
        EXPECT_EQ(load.status, std::string(id) == "indx" ? 1 : 0);
        EXPECT_EQ(load.entries, load.status == 1 ? ChunksOf(built, 0, 3) : PlacesAndSizes());
    }
}
