// OpenDML indexes that claim more than exists: slots of the super index without a standard index, standard
// indexes with fewer entries than they declare, and more entries than the file can hold.
#include "tests/reader/IndexLoadBytes.h"
#include "tests/support/KrByteWriter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <vector>

using namespace KrTest;

namespace
{
// A super index of three standard indexes with two entries each, which makes 32 entries at most by its size.
// The head of the file announces 'LIST' entries when it is read as a standard index.
constexpr uint8_t kFile[] = {
    // 0
    'R', 'I', 'F', 'F', // chunk id
    248, 0, 0, 0,       // chunk size
    'A', 'V', 'I', ' ', // form type; of an index: words of an entry, sub-type, index type
    'L', 'I', 'S', 'T', // chunk id; of an index: entries in use
    0, 0, 0, 0,         // chunk size
    'h', 'd', 'r', 'l', // list type
    'J', 'U', 'N', 'K', // chunk id
    216, 0, 0, 0,       // chunk size
    // 32
    'i', 'n', 'd', 'x',                 // chunk id
    72, 0, 0, 0,                        // chunk size
    4, 0, 0, 0,                         // wLongsPerEntry, bIndexSubType, bIndexType
    3, 0, 0, 0,                         // nEntriesInUse
    '0', '0', 'd', 'c',                 // dwChunkId
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, // dwReserved
    112, 0, 0, 0, 0, 0, 0, 0,           // qwOffset
    48, 0, 0, 0, 2, 0, 0, 0,            // dwSize, dwDuration
    160, 0, 0, 0, 0, 0, 0, 0,           // qwOffset
    48, 0, 0, 0, 2, 0, 0, 0,            // dwSize, dwDuration
    208, 0, 0, 0, 0, 0, 0, 0,           // qwOffset
    48, 0, 0, 0, 2, 0, 0, 0,            // dwSize, dwDuration
    // 112
    'i', 'x', '0', '0',         // chunk id
    40, 0, 0, 0,                // chunk size
    2, 0, 0, 1,                 // wLongsPerEntry, bIndexSubType, bIndexType
    2, 0, 0, 0,                 // nEntriesInUse
    '0', '0', 'd', 'c',         // dwChunkId
    0, 0, 0, 0, 0, 0, 0, 0,     // qwBaseOffset
    0, 0, 0, 0,                 // dwReserved
    11, 0, 0, 0, 1, 0, 0, 0,    // dwOffset, dwSize
    12, 0, 0, 0, 2, 0, 0, 0x80, // dwOffset, dwSize: no key frame
    // 160
    'i', 'x', '0', '0',      // chunk id
    40, 0, 0, 0,             // chunk size
    2, 0, 0, 1,              // wLongsPerEntry, bIndexSubType, bIndexType
    2, 0, 0, 0,              // nEntriesInUse
    '0', '0', 'd', 'c',      // dwChunkId
    0, 0, 0, 0, 0, 0, 0, 0,  // qwBaseOffset
    0, 0, 0, 0,              // dwReserved
    21, 0, 0, 0, 3, 0, 0, 0, // dwOffset, dwSize
    22, 0, 0, 0, 4, 0, 0, 0, // dwOffset, dwSize
    // 208
    'i', 'x', '0', '0',      // chunk id
    40, 0, 0, 0,             // chunk size
    2, 0, 0, 1,              // wLongsPerEntry, bIndexSubType, bIndexType
    2, 0, 0, 0,              // nEntriesInUse
    '0', '0', 'd', 'c',      // dwChunkId
    0, 0, 0, 0, 0, 0, 0, 0,  // qwBaseOffset
    0, 0, 0, 0,              // dwReserved
    31, 0, 0, 0, 5, 0, 0, 0, // dwOffset, dwSize
    32, 0, 0, 0, 6, 0, 0, 0, // dwOffset, dwSize
};
static_assert(std::size(kFile) == 256);

constexpr uint64_t kSlots = 64;
constexpr uint64_t kStdIndexes[] = {112, 160, 208};
constexpr uint64_t kCount = 12; // of a standard index's entries in use, from its chunk header

CKrFileContent File()
{
    return KrBytes(std::begin(kFile), std::end(kFile));
}

// The entries of all but one of the standard indexes.
PlacesAndSizes AllBut(size_t missing)
{
    PlacesAndSizes all{{11, 1}, {12, 2}, {21, 3}, {22, 4}, {31, 5}, {32, 6}};
    if (missing < 3)
        all.erase(all.begin() + static_cast<ptrdiff_t>(2 * missing),
                  all.begin() + static_cast<ptrdiff_t>(2 * missing + 2));
    return all;
}

class IndexLoadClaims : public testing::TestWithParam<bool>
{
};

constexpr size_t kMostOfLarge = 52; // 416 bytes
constexpr uint32_t kFourAlike = 288;
constexpr uint32_t kLastIsSmaller = 352;

// A file of 416 bytes with room for 14 slots, of which this many are in use, and two standard indexes of four
// entries. All other slots hold zeros.
CKrFileContent LargeFile(uint32_t inUse, const std::vector<uint32_t>& slots)
{
    CKrFileContent content = File();
    content.Put(kSlots, KrBytes(14 * 16));
    content.PutU32(44, inUse);
    for (size_t slot = 0; slot < slots.size(); ++slot)
        content.PutU32(kSlots + 16 * slot, slots[slot]);
    SKrTestStdIndex index{.entries = {{1, 400}, {2, 400}, {3, 400}, {4, 400}}};
    const auto put = [&](uint64_t position)
    {
        CKrTestByteWriter chunk;
        chunk.FourCc("ix00").U32(56).Raw(ToBytes(index));
        content.Put(position, chunk.Bytes());
    };
    put(kFourAlike);
    index.entries[3].size = 100;
    put(kLastIsSmaller);
    return content;
}
} // namespace

INSTANTIATE_TEST_SUITE_P(Streams, IndexLoadClaims, testing::Values(true, false),
                         [](const auto& value) { return value.param ? "Video" : "Audio"; });

TEST_P(IndexLoadClaims, SlotOfZeros_GivesTheEntriesOfTheOthers)
{
    CKrIndexFile whole(File());
    ASSERT_EQ(whole.Load(GetParam()).entries, AllBut(3));
    for (const size_t slot : {0, 1, 2})
    {
        CKrFileContent content = File();
        content.Put(kSlots + 16 * slot, KrBytes(16));
        CKrIndexFile file(content);
        const SKrLoadAnswer load = file.Load(GetParam());
        EXPECT_EQ(load.status, 1) << slot;
        EXPECT_EQ(load.entries, AllBut(slot)) << slot;
        EXPECT_EQ(file.state.totalFrames, GetParam() ? 4u : 0u);
        EXPECT_EQ(file.state.statistics.audioEntries, GetParam() ? 0u : 4u);
    }
}

TEST_P(IndexLoadClaims, SlotsOfZerosOnly_LoadNothing)
{
    CKrFileContent content = File();
    content.Put(kSlots, KrBytes(48));
    CKrIndexFile file(content);
    const SKrLoadAnswer load = file.Load(GetParam());
    EXPECT_EQ(load.status, 1);
    EXPECT_TRUE(load.entries.empty());
    EXPECT_TRUE(file.array.IsEmpty());
}

// The bytes after the entries of the first two are read as a position beyond the end of the file.
TEST_P(IndexLoadClaims, StdIndexThatClaimsTooMuch_GivesItsEntriesAndThoseOfTheOthers)
{
    for (const uint64_t stdIndex : kStdIndexes)
    {
        for (const uint32_t claimed : {3u, 28u, 29u, 33u, 1000u, 0x80000000u, 0xFFFFFFFFu})
        {
            CKrFileContent content = File();
            content.PutU32(stdIndex + kCount, claimed);
            CKrIndexFile file(content);
            const SKrLoadAnswer load = file.Load(GetParam());
            EXPECT_EQ(load.status, 1) << stdIndex << ' ' << claimed;
            EXPECT_EQ(load.entries, AllBut(3)) << stdIndex << ' ' << claimed;
        }
    }
}

TEST_P(IndexLoadClaims, ArrayOfAHopelessCount_HasTheSizeOfAnEighthOfTheFile)
{
    for (const uint32_t claimed : {28u, 29u, 0xFFFFFFFFu}) // and four of the others
    {
        CKrFileContent content = File();
        content.PutU32(kStdIndexes[1] + kCount, claimed);
        CKrIndexFile file(content);
        file.faults.FailCall(EKrFileCall::Read, 7); // when all is counted
        EXPECT_EQ(file.Load(GetParam()).status, 0);
        EXPECT_TRUE(file.faults.FaultStruck());
        EXPECT_EQ(file.array.GetSize(), 32) << claimed;
    }
}

TEST_P(IndexLoadClaims, HopelessCount_IsNotCountedOn)
{
    CKrFileContent content = File();
    content.Put(kSlots + 16, KrBytes(16));
    CKrIndexFile file(content);
    ASSERT_EQ(file.Load(GetParam()).entries, AllBut(1));
    EXPECT_EQ(file.Reads(), (std::vector<SKrReadCall>{
                                Exactly(32, 32),  // head of the super index
                                Exactly(64, 48),  // its slots
                                Exactly(112, 32), // the first count
                                Exactly(0, 32),   // the second one, which the file cannot back
                                Exactly(112, 32), // then each head and its entries
                                Exactly(144, 16), //
                                Exactly(0, 32),   // nothing known
                                Exactly(208, 32), //
                                Exactly(240, 16), //
                            }));
}

TEST_P(IndexLoadClaims, ExactlyAnEighthOfTheFile_IsLoaded)
{
    const std::vector<uint32_t> slots(13, kFourAlike);
    for (const uint32_t inUse : {13u, 14u}) // 14: the last slot is empty
    {
        CKrIndexFile file(LargeFile(inUse, slots));
        ASSERT_EQ(file.Size() / 8, kMostOfLarge);
        const SKrLoadAnswer load = file.Load(GetParam());
        EXPECT_EQ(load.status, 1) << inUse;
        EXPECT_EQ(load.entries.size(), kMostOfLarge) << inUse;
    }
}

TEST_P(IndexLoadClaims, OneEntryMoreThanAnEighthOfTheFile_FailsTheLoadWithoutAnException)
{
    for (const uint32_t inUse : {13u, 14u})
    {
        std::vector<uint32_t> slots(13, kFourAlike);
        CKrFileContent content = LargeFile(inUse, slots);
        if (inUse == 14)
            content.PutU32(kSlots + 13 * 16, kFourAlike);
        else
            content.PutU32(kFourAlike + kCount, 5); // the fifth entry is the next chunk's header
        content.PutU32(kLastIsSmaller, 77);         // whose id is a position
        CKrIndexFile file(content);
        SKrLoadAnswer load;
        EXPECT_NO_THROW(load = file.Load(GetParam()));
        EXPECT_EQ(load.status, 0) << inUse;
        EXPECT_EQ(file.array.GetSize(), static_cast<intptr_t>(kMostOfLarge)) << inUse;
        EXPECT_EQ(load.pattern.kind, kUnwritten);
        EXPECT_EQ(file.state.totalFrames + file.state.statistics.audioEntries, 0u);
    }
}

// Both loads produce as many entries as the file can hold. For the one that announces more, the last entry is
// compared.
TEST(IndexLoadClaimsOfSound, BoundOfTheUniformFlag_IsWhatIsAnnounced)
{
    std::vector<uint32_t> slots(12, kFourAlike);
    slots.push_back(kLastIsSmaller);
    for (const uint32_t inUse : {13u, 14u})
    {
        CKrIndexFile file(LargeFile(inUse, slots));
        ASSERT_EQ(file.Load(false).entries.size(), kMostOfLarge);
        EXPECT_EQ(file.state.statistics.uniformAudioChunks, inUse == 13);
    }
}

// Each of the slots names the one standard index, which claims all that follows it; its first entry is
// invalid. Reading all that for each of them would be 8 GB.
TEST(IndexLoadClaimsOfMany, BlocksThatLeadNowhere_CostReadsLinearInTheFilesSize)
{
    constexpr size_t kSlotCount = 16'384;
    constexpr uint32_t kStdIndex = kSlots + 16 * kSlotCount;
    CKrFileContent content = File();
    content.PutU32(44, kSlotCount);
    CKrTestByteWriter slots;
    for (size_t slot = 0; slot < kSlotCount; ++slot)
        slots.U64(kStdIndex).U64(0);
    content.Put(kSlots, slots.Bytes());
    CKrTestByteWriter chunk;
    chunk.FourCc("ix00").U32(0).Raw(ToBytes(SKrTestStdIndex{.entriesInUse = 0xFFFFFFFF}));
    content.Put(kStdIndex, chunk.Bytes());
    content.Put(kStdIndex + 32, KrBytes(500'000, 0xFF));
    CKrIndexFile file(content);
    const SKrLoadAnswer load = file.Load(true);
    EXPECT_EQ(load.status, 1);
    EXPECT_TRUE(load.entries.empty());
    uint64_t bytes = 0;
    uint64_t largeReads = 0;
    for (const SKrReadCall& read : file.Reads())
    {
        bytes += read.bytes;
        largeReads += read.position == kStdIndex + 32 && read.bytes == 500'000;
    }
    EXPECT_LE(bytes, 40 * file.Size());
    EXPECT_EQ(largeReads, (3 * file.Size() + 500'000) / 500'000)
        << "until three times the file was passed over";
}

// The first standard index claims more than the file can hold, so that what the others claim does not matter.
TEST(IndexLoadClaimsOfMany, HeadsAfterAnImpossibleClaim_AreNotCounted)
{
    CKrFileContent content = File();
    content.PutU32(kStdIndexes[0] + kCount, 1000);
    CKrIndexFile file(content);
    static_cast<void>(file.Load(true));
    const std::vector<SKrReadCall> reads = file.Reads();
    EXPECT_EQ(std::ranges::count(reads, Exactly(kStdIndexes[0], 32)), 2) << "to count, and to load";
    EXPECT_EQ(std::ranges::count(reads, Exactly(kStdIndexes[1], 32)), 1) << "to load";
}

TEST(IndexLoadClaimsOfNothing, OldIndexAtTheEndOfTheFile_IsReadAllTheSame)
{
    CKrIndexFile file{CKrFileContent(KrBytes(CKrIndexFile::kIndexAt))};
    file.state.openDmlIndex = false;
    file.state.videoIndex.oldIndexEntries = 1;
    EXPECT_EQ(file.Load(true).status, 1);
    EXPECT_EQ(file.array.GetSize(), 0);
    file.faults.Reset();
    file.faults.FailCall(EKrFileCall::Read, 1);
    EXPECT_EQ(file.Load(true).status, 0) << "a file that cannot be read there is no empty index";
}
