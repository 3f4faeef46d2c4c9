// The results of audio loads in the reader: summary, uniformity, counts and total, from either kind of index.
#include "tests/reader/AudioStatisticsSupport.h"
#include "tests/reader/IndexLoadInnerSupport.h"

#include <gtest/gtest.h>

#include <random>

using namespace KrTest;

namespace
{
constexpr uint16_t kBlockAlign = 4;

// One video chunk, and audio chunks whose size is only in the index: their payloads are left out.
CKrParsedInMemory WithOldIndexOf(const KrSizes& sizes, uint32_t videoEntries = 1)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::None, 1);
    std::vector<SKrTestIdx1Entry> entries(videoEntries, {"00dc", 0x10, 4, 100});
    for (const uint32_t size : sizes)
        entries.push_back({"01wb", 0x10, 112, size});
    avi.afterMovi = [entries](CKrAviBuilder& file)
    {
        file.Chunk("idx1", ToBytes(entries));
    };
    return CKrParsedInMemory(avi);
}

// The same with a standard index; `announced` is stored in its head.
CKrParsedInMemory WithStdIndexOf(const KrSizes& sizes, uint32_t announced)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::OpenDml, 1);
    SKrTestStdIndex index{.subType = 0x10, .entriesInUse = announced, .chunkId = "01wb"};
    for (const uint32_t size : sizes)
        index.entries.push_back({.offset = 300, .size = size});
    uint64_t position = 0;
    avi.endOfMovi = [&](CKrAviBuilder& file)
    {
        position = file.Chunk("ix01", ToBytes(index)).header;
        file.ZeroChunk("JUNK", 24 * (announced + 1)); // so that the file is long enough for the claim
    };
    SKrBuiltAvi built = BuildSimpleAvi(avi);
    PutU64(built.content, built.Find("indx", 1).data + 24, position);
    return CKrParsedInMemory(built.content);
}

uint64_t SampleFrames(const KrSizes& sizes)
{
    uint64_t frames = 0;
    for (const uint32_t size : sizes)
        frames += size / kBlockAlign;
    return frames;
}

// `bound`: how many entries the index announces, as far as uniformity is concerned.
void ExpectLoad(CKrParsedInMemory& file, const KrSizes& sizes, uint64_t bound)
{
    const SKrLoadAnswer load = LoadAudioOf(file.Reader());
    ASSERT_EQ(load.status, 1);
    ASSERT_EQ(load.entries.size(), sizes.size());
    const SKrSizeSummary expected = ReferenceSummary(sizes, bound);
    const SKrSizeSummary actual{ToWords(load.pattern), file.State().statistics.uniformAudioChunks};
    EXPECT_EQ(actual, expected) << testing::PrintToString(sizes);
    EXPECT_EQ(file.State().statistics.totalAudioSamples, SampleFrames(sizes));
    EXPECT_EQ(file.State().statistics.audioEntries, sizes.size());
}

KrSizes RandomSizes(std::mt19937& random)
{
    KrSizes period;
    for (size_t length = 1 + random() % 6; period.size() < length;)
        period.push_back(6400 + random() % 9);
    KrSizes sizes;
    for (size_t count = 1 + random() % 80; sizes.size() < count;)
        sizes.push_back(period[sizes.size() % period.size()]);
    sizes[random() % sizes.size()] = 6400 + random() % 9;
    return sizes;
}
} // namespace

TEST(AudioStatisticsLoad, EitherIndex_MatchesTheReferenceWithItsOwnBound)
{
    std::mt19937 random(7);
    for (int round = 0; round < 150; ++round)
    {
        const KrSizes sizes = RandomSizes(random);
        const auto count = static_cast<uint32_t>(sizes.size());
        CKrParsedInMemory old = WithOldIndexOf(sizes);
        ASSERT_NO_FATAL_FAILURE(ExpectLoad(old, sizes, count + 1));
        CKrParsedInMemory oldAudioOnly = WithOldIndexOf(sizes, 0);
        ASSERT_NO_FATAL_FAILURE(ExpectLoad(oldAudioOnly, sizes, count));
        CKrParsedInMemory openDml = WithStdIndexOf(sizes, count);
        ASSERT_NO_FATAL_FAILURE(ExpectLoad(openDml, sizes, count));
    }
}

TEST(AudioStatisticsLoad, LastChunkDiffers_IsUniformFromAnOpenDmlIndexOnly)
{
    const KrSizes sizes{400, 400, 400, 100};
    CKrParsedInMemory openDml = WithStdIndexOf(sizes, 4);
    ASSERT_EQ(LoadAudioOf(openDml.Reader()).status, 1);
    EXPECT_TRUE(openDml.State().statistics.uniformAudioChunks);
    CKrParsedInMemory old = WithOldIndexOf(sizes);
    ASSERT_EQ(LoadAudioOf(old.Reader()).status, 1);
    EXPECT_FALSE(old.State().statistics.uniformAudioChunks);
    // Without entries of other streams 'idx1' announces just these as well.
    CKrParsedInMemory alone = WithOldIndexOf(sizes, 0);
    ASSERT_EQ(LoadAudioOf(alone.Reader()).status, 1);
    EXPECT_TRUE(alone.State().statistics.uniformAudioChunks);
}

// Announced entries that do not exist count towards the bound: the last one that exists is compared.
TEST(AudioStatisticsLoad, StdIndexThatAnnouncesMore_ComparesTheLastChunk)
{
    CKrParsedInMemory file = WithStdIndexOf({400, 400, 400, 100}, 4);
    ASSERT_EQ(LoadAudioOf(file.Reader()).status, 1);
    EXPECT_TRUE(file.State().statistics.uniformAudioChunks);
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::OpenDml, 4, 400);
    SKrBuiltAvi built = BuildSimpleAvi(avi);
    built.content.PutU32(built.Find("ix01").data + 24 + 3 * 8, 0x7FFFFFFF); // the fourth lies beyond the file
    built.content.PutU32(built.Find("ix01").data + 24 + 2 * 8 + 4, 100);    // the third is smaller
    CKrParsedInMemory cut(built.content);
    const SKrLoadAnswer load = LoadAudioOf(cut.Reader());
    ASSERT_EQ(load.status, 1);
    EXPECT_EQ(load.entries.size(), 3u);
    EXPECT_FALSE(cut.State().statistics.uniformAudioChunks);
}

// The bound of 'idx1' is what was read of it, not its size.
TEST(AudioStatisticsLoad, OldIndexCutByTheEndOfTheFile_LeavesTheLastChunkOut)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::None, 1);
    const std::vector<SKrTestIdx1Entry> entries{
        {"01wb", 0x10, 112, 400}, {"01wb", 0x10, 112, 400}, {"01wb", 0x10, 112, 100}};
    avi.afterMovi = [&](CKrAviBuilder& file)
    {
        file.Chunk("idx1", ToBytes(entries), {.size = 10 * 16});
    };
    CKrParsedInMemory file(avi);
    ASSERT_EQ(LoadAudioOf(file.Reader()).entries.size(), 3u);
    EXPECT_TRUE(file.State().statistics.uniformAudioChunks);
}

TEST(AudioStatisticsLoad, PartsOfSampleFrames_CountForNothingInEachChunk)
{
    for (const bool openDml : {false, true})
    {
        CKrParsedInMemory file = openDml ? WithStdIndexOf({7, 3, 9, 4}, 4) : WithOldIndexOf({7, 3, 9, 4});
        ASSERT_EQ(LoadAudioOf(file.Reader()).status, 1);
        EXPECT_EQ(file.State().statistics.totalAudioSamples, 1u + 0 + 2 + 1);
    }
}

TEST(AudioStatisticsLoad, TotalSamples_AreCountedIn64Bits)
{
    CKrParsedInMemory file = WithOldIndexOf(KrSizes(9, 0xFFFFFFFC));
    ASSERT_EQ(LoadAudioOf(file.Reader()).status, 1);
    EXPECT_EQ(file.State().statistics.totalAudioSamples, 9u * 0x3FFFFFFFull);
}

TEST(AudioStatisticsLoad, SampleSizeZero_AddsNoSamples)
{
    for (const EKrIndexKind index : {EKrIndexKind::Idx1, EKrIndexKind::OpenDml})
    {
        SKrSimpleAvi avi = TwoStreamAvi(index);
        avi.streams[1].header.sampleSize = 0;
        CKrParsedInMemory file(avi);
        EXPECT_EQ(LoadAudioOf(file.Reader()).entries.size(), 4u);
        EXPECT_EQ(file.State().statistics.totalAudioSamples, 0u);
        EXPECT_TRUE(file.State().statistics.uniformAudioChunks);
    }
}

// The divisor is the low half of the stream header's sample size, not the block align of the format.
TEST(AudioStatisticsLoad, SampleSizeOfTheStreamHeader_Divides)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::Idx1, 3, 96);
    avi.streams[1].header.sampleSize = 0x00070018;
    CKrParsedInMemory file(avi);
    ASSERT_EQ(LoadAudioOf(file.Reader()).status, 1);
    EXPECT_EQ(file.State().statistics.totalAudioSamples, 3u * (96 / 0x18));
}

TEST(AudioStatisticsLoad, RepeatedLoads_StartTheTotalAnew)
{
    for (const EKrIndexKind index : {EKrIndexKind::Idx1, EKrIndexKind::OpenDml})
    {
        CKrParsedInMemory file(TwoStreamAvi(index));
        for (int round = 0; round < 3; ++round)
        {
            const SKrLoadAnswer load = LoadAudioOf(file.Reader());
            ASSERT_EQ(load.status, 1);
            EXPECT_EQ(load.entries.size(), 4u);
            EXPECT_EQ(ToWords(load.pattern), (KrSizes{1, 96, 1, 96}));
            EXPECT_EQ(file.State().statistics.totalAudioSamples, 4u * 24);
            EXPECT_EQ(file.State().statistics.audioEntries, 4u);
        }
    }
}

// 'idx1' exists but has no entry of the stream: nothing was produced, and no summary is reported.
TEST(AudioStatisticsLoad, NoEntryProduced_LeavesThePattern)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::Idx1);
    avi.streams[1].inIdx1 = false;
    CKrParsedInMemory file(avi);
    const SKrLoadAnswer load = LoadAudioOf(file.Reader());
    EXPECT_EQ(load.status, 1);
    EXPECT_TRUE(load.entries.empty());
    EXPECT_EQ(ToWords(load.pattern), KrSizes(4, kUnwritten));
    EXPECT_EQ(file.State().statistics.totalAudioSamples, 0u);
}

TEST(AudioStatisticsLoad, FailedLoad_LeavesThePattern)
{
    CKrParsedInMemory file(TwoStreamAvi(EKrIndexKind::None));
    const SKrLoadAnswer load = LoadAudioOf(file.Reader());
    EXPECT_EQ(load.status, 0);
    EXPECT_EQ(ToWords(load.pattern), KrSizes(4, kUnwritten));
}

// Video loads do not affect the audio results, nor audio loads those of video.
TEST(AudioStatisticsLoad, LoadsOfTheTwoKinds_LeaveEachOthersResultsAlone)
{
    CKrParsedInMemory file(TwoStreamAvi(EKrIndexKind::Idx1, 4, 4000));
    ASSERT_EQ(LoadAudioOf(file.Reader()).status, 1);
    EXPECT_EQ(file.State().statistics.largestVideoChunk, 0u);
    EXPECT_EQ(file.State().totalFrames, 4u);
    ASSERT_EQ(LoadVideoOf(file.Reader()).status, 1);
    EXPECT_EQ(file.State().statistics.largestVideoChunk, 100u);
    EXPECT_EQ(file.State().statistics.totalAudioSamples, 4u * 1000);
    ASSERT_EQ(LoadAudioOf(file.Reader()).status, 1);
    EXPECT_EQ(file.State().statistics.largestVideoChunk, 100u);
}
