// Blocks of an index that are read in slices: the same result as from one read, with less memory.
#include "reader/KrRiffReader.h"
#include "tests/base/KrAllocationMeter.h"
#include "tests/reader/AudioStatisticsSupport.h"
#include "tests/reader/IndexLoadBytes.h"
#include "tests/support/KrByteWriter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <tuple>
#include <vector>

using namespace KrTest;

namespace
{
constexpr size_t kSliceSizes[] = {24, 25, 47, 48, 100, 1000};
constexpr uint32_t kSuperAt = CKrIndexFile::kIndexAt;
constexpr size_t kMost = size_t{16} << 20; // bytes of a block that the reader reads at once

void PutChunk(CKrFileContent& content, uint64_t position, std::string_view id, const KrBytes& payload)
{
    CKrTestByteWriter chunk;
    chunk.FourCc(id).U32(static_cast<uint32_t>(payload.size())).Raw(payload);
    content.Put(position, chunk.Bytes());
}

SKrTestStdIndex StdIndexOf(size_t entries, uint8_t subType = 0)
{
    SKrTestStdIndex index{.subType = subType};
    for (size_t number = 0; number < entries; ++number)
        index.entries.push_back({100 + number, static_cast<uint32_t>(400 + number % 3)});
    return index;
}

// A super index with one slot for each of the standard indexes, which follow it one after the other.
CKrFileContent OpenDmlFile(const std::vector<SKrTestStdIndex>& indexes)
{
    CKrFileContent content{KrBytes(kSuperAt)};
    SKrTestSuperIndex super;
    uint64_t position = kSuperAt + 32 + 16 * indexes.size();
    for (const SKrTestStdIndex& index : indexes)
    {
        const KrBytes payload = ToBytes(index);
        PutChunk(content, position, "ix00", payload);
        super.entries.push_back({position, static_cast<uint32_t>(payload.size() + 8), 1});
        position += 8 + payload.size();
    }
    PutChunk(content, kSuperAt, "indx", ToBytes(super));
    return content;
}

// Most entries lie in the file; counts are right, too high or far too high.
SKrTestStdIndex RandomStdIndex(std::mt19937& random)
{
    static constexpr uint8_t kSubTypes[] = {0, 0, 0, 0x10, 0x10, 7};
    SKrTestStdIndex index{.subType = kSubTypes[random() % 6], .baseOffset = random() % 3 * 10};
    for (size_t left = random() % 40; left > 0; --left)
        index.entries.push_back(
            {random() % 30 == 0 ? 1'000'000 : random() % 400, static_cast<uint32_t>(400 + random() % 3)});
    if (random() % 4 == 0)
        index.entriesInUse = static_cast<uint32_t>(index.entries.size() + (random() % 2 == 0 ? 3 : random()));
    return index;
}

CKrFileContent RandomOpenDmlFile(std::mt19937& random)
{
    std::vector<SKrTestStdIndex> indexes;
    for (size_t left = 1 + random() % 12; left > 0; --left)
        indexes.push_back(RandomStdIndex(random));
    CKrFileContent content = OpenDmlFile(indexes);
    const uint64_t slot = random() % indexes.size();
    if (random() % 4 == 0)
        PutU64(content, kSuperAt + 32 + 16 * slot, random() % 2 == 0 ? 0 : content.Size());
    if (random() % 4 == 0)
        content.Resize(content.Size() - random() % 300);
    content.AppendHole(random() % 4 * 1000); // room for counts that are too high
    return content;
}

CKrFileContent RandomOldFile(std::mt19937& random)
{
    std::vector<SKrTestIdx1Entry> entries;
    for (size_t left = 1 + random() % 60; left > 0; --left)
        entries.push_back({random() % 3 != 0 ? random() % 2 == 0 ? "00dc" : "00db" : "00wb", 0,
                           static_cast<uint32_t>(random() % 50 == 0 ? 1'000'000 : random() % 100),
                           static_cast<uint32_t>(400 + random() % 3)});
    CKrFileContent content{KrBytes(kSuperAt)};
    content.Append(ToBytes(entries));
    return content;
}

using KrOutcome = std::tuple<int, PlacesAndSizes, KrSizes, uint32_t, uint32_t, uint64_t, bool, uint32_t>;

KrOutcome OutcomeOf(CKrIndexFile& file, bool video, size_t sliceSize)
{
    const SKrLoadAnswer load = file.Load(video, sliceSize);
    return {load.status,
            load.entries,
            ToWords(load.pattern),
            file.state.totalFrames,
            file.state.statistics.largestVideoChunk,
            file.state.statistics.totalAudioSamples,
            file.state.statistics.uniformAudioChunks,
            file.state.statistics.audioEntries};
}

void MakeOld(CKrIndexFile& file)
{
    file.state.openDmlIndex = false;
    for (SKrLocatedIndex* const index : {&file.state.videoIndex, &file.state.audio[0].index})
        index->oldIndexEntries = 1000; // more than there are
}

// The results of both loads with each size of slices against those of one read.
void ExpectTheSame(const CKrFileContent& content, bool isOld)
{
    for (const bool video : {true, false})
    {
        CKrIndexFile whole(content);
        if (isOld)
            MakeOld(whole);
        const KrOutcome expected = OutcomeOf(whole, video, kLargestIndexSlice);
        for (const size_t sliceSize : kSliceSizes)
        {
            CKrIndexFile sliced(content);
            if (isOld)
                MakeOld(sliced);
            EXPECT_EQ(OutcomeOf(sliced, video, sliceSize), expected) << sliceSize;
            for (const SKrReadCall& read : sliced.Reads())
                EXPECT_LE(read.count, std::max<size_t>(sliceSize, 32)) << "heads alone are never sliced";
        }
    }
}

std::vector<SKrReadCall> ReadsFrom(const CKrIndexFile& file, uint64_t position)
{
    std::vector<SKrReadCall> reads = file.Reads();
    std::erase_if(reads, [&](const SKrReadCall& read) { return read.position < position; });
    return reads;
}

// A head that cannot be counted may result in an array that is too small.
bool IsLoaded(CKrIndexFile& file, size_t sliceSize)
{
    try
    {
        return file.Load(true, sliceSize).status != 0;
    }
    catch (const CInvalidArgException&)
    {
        return false;
    }
}
} // namespace

TEST(IndexLoadSlices, OpenDmlIndexOfAnyShape_GivesTheSame)
{
    std::mt19937 random(11);
    size_t loaded = 0;
    size_t failed = 0;
    for (int round = 0; round < 400 && !testing::Test::HasFailure(); ++round)
    {
        SCOPED_TRACE(round);
        const CKrFileContent content = RandomOpenDmlFile(random);
        ExpectTheSame(content, false);
        CKrIndexFile file(content);
        ++(file.Load(true).status != 0 ? loaded : failed);
    }
    EXPECT_GT(loaded, 100u);
    EXPECT_GT(failed, 5u);
}

TEST(IndexLoadSlices, OldIndexOfAnyShape_GivesTheSame)
{
    std::mt19937 random(12);
    for (int round = 0; round < 200 && !testing::Test::HasFailure(); ++round)
    {
        SCOPED_TRACE(round);
        ExpectTheSame(RandomOldFile(random), true);
    }
}

// Whether the chunks are alike is asked of all but the last entry that the file holds, not that 'idx1'
// claims.
TEST(IndexLoadSlices, OldIndexOfChunksAlikeButTheLast_GivesTheSame)
{
    std::vector<SKrTestIdx1Entry> entries(10, {"00wb", 0, 4, 40});
    entries.back().size = 20;
    CKrFileContent content{KrBytes(kSuperAt)};
    content.Append(ToBytes(entries));
    ExpectTheSame(content, true);
}

// Five narrow entries of 8 bytes, or wide ones of 24, from position 112 on.
TEST(IndexLoadSlices, BlockUpToTheSizeOfASlice_IsOneRead)
{
    for (const uint8_t subType : {0, 0x10})
    {
        const size_t entrySize = subType == 0 ? 8 : 24;
        const size_t block = 5 * entrySize;
        CKrIndexFile file(OpenDmlFile({StdIndexOf(5, subType)}));
        ASSERT_EQ(file.Load(true, block).entries.size(), 5u);
        EXPECT_EQ(ReadsFrom(file, 112), (std::vector<SKrReadCall>{Exactly(112, block)}));
        ASSERT_EQ(file.Load(true, block - 1).entries.size(), 5u);
        EXPECT_EQ(ReadsFrom(file, 112),
                  (std::vector<SKrReadCall>{Exactly(112, block - entrySize),
                                            Exactly(112 + block - entrySize, entrySize)}));
    }
}

TEST(IndexLoadSlices, OldIndex_IsReadInSlicesOfWholeEntries)
{
    CKrFileContent content{KrBytes(kSuperAt)};
    content.Append(ToBytes(std::vector<SKrTestIdx1Entry>(5, {"00dc", 0, 4, 10})));
    CKrIndexFile file(content);
    MakeOld(file);
    ASSERT_EQ(file.Load(true, 40).entries.size(), 5u);
    EXPECT_EQ(file.Reads(), (std::vector<SKrReadCall>{Exactly(32, 32), Exactly(64, 32), Exactly(96, 16)}));
}

// Three slots in slices of two: those of the count, then those of the entries.
TEST(IndexLoadSlices, SuperIndex_IsReadInSlicesForEachPass)
{
    CKrIndexFile file(OpenDmlFile({StdIndexOf(1), StdIndexOf(1), StdIndexOf(1)}));
    ASSERT_EQ(file.Load(true, 40).entries.size(), 3u);
    std::vector<SKrReadCall> reads = file.Reads();
    std::erase_if(reads, [](const SKrReadCall& read) { return read.position < 64 || read.position >= 112; });
    EXPECT_EQ(reads,
              (std::vector<SKrReadCall>{Exactly(64, 32), Exactly(96, 16), Exactly(64, 32), Exactly(96, 16)}));
}

TEST(IndexLoadSlices, EntryBeyondTheFile_EndsItsChunkWithItsSlice)
{
    SKrTestStdIndex index = StdIndexOf(40);
    index.entries[6].offset = 1'000'000;
    CKrIndexFile file(OpenDmlFile({index, StdIndexOf(2)}));
    EXPECT_EQ(file.Load(true, 32).entries.size(), 6u + 2);
    std::vector<SKrReadCall> reads = ReadsFrom(file, 128);
    std::erase_if(reads, [](const SKrReadCall& read) { return read.position >= 128 + 320; });
    EXPECT_EQ(reads, (std::vector<SKrReadCall>{Exactly(128, 32), Exactly(160, 32)}));
}

TEST(IndexLoadSlices, FailedReadOfAnySlice_FailsTheLoad)
{
    for (const bool isOld : {false, true})
    {
        CKrFileContent old{KrBytes(kSuperAt)};
        old.Append(ToBytes(std::vector<SKrTestIdx1Entry>(10, {"00dc", 0, 4, 10})));
        CKrIndexFile file(isOld ? old : OpenDmlFile({StdIndexOf(9), StdIndexOf(9), StdIndexOf(9)}));
        if (isOld)
            MakeOld(file);
        ASSERT_EQ(file.Load(true, 24).status, 1);
        const std::vector<SKrReadCall> reads = file.Reads();
        EXPECT_GT(reads.size(), isOld ? 9u : 15u);
        for (size_t number = 1; number <= reads.size(); ++number)
        {
            file.faults.Reset();
            file.faults.FailCall(EKrFileCall::Read, number);
            EXPECT_FALSE(IsLoaded(file, 24)) << number;
            EXPECT_TRUE(file.faults.FaultStruck());
        }
    }
}

// A sparse file, long enough for the claim of the second standard index. Its head cannot be read when entries
// are counted, so that the array is small. The third entry of each lies beyond the end of the file.
TEST(IndexLoadSlices, StdIndexThatClaimsTensOfGigabytes_TakesTheMemoryOfASlice)
{
    constexpr uint64_t kFileSize = uint64_t{40} << 30;
    SKrTestStdIndex first{.baseOffset = kFileSize - 1000, .entries = {{1, 10}, {2, 10}, {1000, 10}}};
    SKrTestStdIndex second = first;
    first.entriesInUse = 10;
    second.entriesInUse = 0xFFFFFFFF;
    CKrFileContent content = OpenDmlFile({first, second});
    content.Resize(kFileSize);
    CKrIndexFile file(content);
    file.faults.FailCall(EKrFileCall::Read, 4);
    const CKrAllocationMeter meter;
    const SKrLoadAnswer load = file.Load(true);
    EXPECT_LE(meter.Most(), kMost + 64 * 1024);
    EXPECT_TRUE(file.faults.FaultStruck());
    EXPECT_EQ(load.status, 1);
    EXPECT_EQ(load.entries.size(), 4u);
    EXPECT_EQ(file.Reads().back().count, kMost) << "34 GB by its count";
}

TEST(IndexLoadSlices, OldIndexOf50Megabytes_TakesTheMemoryOfASliceBesideTheArray)
{
    CKrFileContent content{KrBytes(kSuperAt)};
    content.Append(ToBytes(std::vector<SKrTestIdx1Entry>{{"00dc", 0, 4, 10}}));
    content.Resize(50'000'000);
    content.Append(ToBytes(std::vector<SKrTestIdx1Entry>{{"00dc", 0, 14, 20}}));
    CKrIndexFile file(content);
    MakeOld(file);
    file.state.videoIndex.oldIndexEntries = 0x0FFFFFFF;
    const CKrAllocationMeter meter;
    const SKrLoadAnswer load = file.Load(true);
    EXPECT_LE(meter.Most(), kMost + 64 * 1024);
    EXPECT_EQ(load.entries, (PlacesAndSizes{{40, 10}, {50, 20}}));
    EXPECT_EQ(file.Reads(), (std::vector<SKrReadCall>{Exactly(32, kMost), Exactly(32 + kMost, kMost),
                                                      Exactly(32 + 2 * kMost, 50'000'016 - 32 - 2 * kMost)}));
}
