// Zero bytes between chunks: which runs the chunk lookup crosses, how many it tolerates, what it costs.
#include "tests/reader/ChunkLookupSupport.h"

#include "tests/support/KrCountingFileSystem.h"
#include "tests/support/KrMemoryFileSystem.h"
#include "tests/support/KrNarrowFileSystem.h"

#include <gtest/gtest.h>

using namespace KrTest;

namespace
{
const uint32_t kListId = FourCcValue("LIST");

// Zeros, then a list of 12 bytes.
KrBytes ListAfterZeros(uint32_t zeros)
{
    return Join({Zeros(zeros), Header("LIST", 4, "movi")});
}

SKrLookupOutcome ListAt(uint64_t header)
{
    return {.found = true, .record = {kListId, 4, FourCcValue("movi"), header + 8}, .position = header + 12};
}

// Where the skip of a chunk of this size ends.
uint64_t AfterSkip(uint64_t header, uint32_t size)
{
    const uint64_t end = header + 8 + size;
    return end + end % 2;
}

// Sizes that the lookup reads one, two or three bytes before a 'LIST' of size 4.
constexpr uint32_t kShiftedSizes[] = {0, 0x00000454, 0x00045453, 0x04545349};
} // namespace

// One to three zeros

TEST(ChunkLookupZeros, RunOfOneToThree_RequestedChunkAfterItIsLost)
{
    for (uint32_t zeros = 1; zeros <= 3; ++zeros)
    {
        const SKrLookupCase lookup = {.id = kListId};
        EXPECT_EQ(RunLookup(ListAfterZeros(zeros), lookup),
                  NotFound(lookup, AfterSkip(0, kShiftedSizes[zeros])))
            << zeros << " zeros";
    }
}

TEST(ChunkLookupZeros, RunOfOneToThree_AnyChunkIsTheShiftedHeader)
{
    const uint32_t ids[] = {0, 0x53494C00, 0x494C0000, 0x4C000000};
    for (uint32_t zeros = 1; zeros <= 3; ++zeros)
    {
        const SKrLookupOutcome shifted = {
            .found = true, .record = {ids[zeros], kShiftedSizes[zeros], 0, 8}, .position = 8};
        EXPECT_EQ(RunLookup(ListAfterZeros(zeros), {}), shifted) << zeros << " zeros";
    }
}

TEST(ChunkLookupZeros, RunOfOne_ChunkWhereTheShiftedSizeEndsIsFoundByAccident)
{
    KrBytes bytes = ListAfterZeros(1);
    bytes.resize(8 + 0x454, 0xEE);
    bytes = Join({bytes, ListAfterZeros(0)});
    EXPECT_EQ(RunLookup(bytes, {.id = kListId}), ListAt(8 + 0x454));
    EXPECT_EQ(RunLookup(bytes, {.mode = kLists}), ListAt(8 + 0x454));
}

// Four and more

TEST(ChunkLookupZeros, RunOfFourToNine_ChunkAfterItIsFound)
{
    for (uint32_t zeros = 4; zeros <= 9; ++zeros)
    {
        EXPECT_EQ(RunLookup(ListAfterZeros(zeros), {}), ListAt(zeros)) << zeros << " zeros";
        EXPECT_EQ(RunLookup(ListAfterZeros(zeros), {.id = kListId}), ListAt(zeros)) << zeros << " zeros";
        EXPECT_EQ(RunLookup(ListAfterZeros(zeros), {.type = FourCcValue("movi")}), ListAt(zeros))
            << zeros << " zeros";
    }
}

TEST(ChunkLookupZeros, RunOfAnyLength_ChunkAfterItIsFoundWithoutZeroLimit)
{
    for (uint32_t zeros = 10; zeros <= 300; ++zeros)
    {
        ASSERT_EQ(RunLookup(ListAfterZeros(zeros), {.zeroLimit = 0}), ListAt(zeros)) << zeros << " zeros";
        ASSERT_EQ(RunLookup(ListAfterZeros(zeros), {.zeroLimit = -1}), ListAt(zeros)) << zeros << " zeros";
    }
}

TEST(ChunkLookupZeros, RunAfterASkippedChunk_ChunkAfterItIsFound)
{
    for (uint32_t zeros = 4; zeros <= 9; ++zeros)
    {
        const KrBytes bytes = Join({Header("JUNK", 3), KrBytes(4, 0xEE), ListAfterZeros(zeros)});
        EXPECT_EQ(RunLookup(bytes, {.id = kListId}), ListAt(12 + zeros)) << zeros << " zeros";
    }
}

TEST(ChunkLookupZeros, SecondRun_IsResynchronisedOverLikeTheFirst)
{
    const KrBytes bytes = Join({
        Zeros(6),                         // 0
        Header("JUNK", 2), KrBytes{7, 7}, // 6
        Zeros(5),                         // 16
        Header("LIST", 4, "movi")         // 21
    });
    EXPECT_EQ(RunLookup(bytes, {.id = kListId}), ListAt(21));
}

TEST(ChunkLookupZeros, OnlyZerosToTheEnd_FindNothingAndReadToTheEnd)
{
    for (uint32_t size = 8; size <= 40; ++size)
    {
        const KrBytes bytes(size, 0);
        EXPECT_EQ(RunLookup(bytes, {}), NotFound({}, size));
        const SKrLookupCase lists = {.mode = kLists};
        EXPECT_EQ(RunLookup(bytes, lists), NotFound(lists, size));
    }
}

TEST(ChunkLookupZeros, ParentThatEndsInTheRun_EndsTheLookupThere)
{
    for (uint32_t parentSize = 1; parentSize <= 17; ++parentSize)
    {
        const KrBytes bytes = ListAfterZeros(20);
        const SKrLookupCase lookup = {.parent = SKrRiffChunkInfo{0, parentSize, 0, 0}};
        EXPECT_EQ(RunLookup(bytes, lookup), NotFound(lookup, parentSize));
    }
}

TEST(ChunkLookupZeros, ParentThatEndsInTheLastThreeZeros_IsLeftByTheStepToTheFirstOtherByte)
{
    for (uint32_t parentSize = 18; parentSize <= 20; ++parentSize)
    {
        const SKrLookupCase lookup = {.parent = SKrRiffChunkInfo{0, parentSize, 0, 0}};
        EXPECT_EQ(RunLookup(ListAfterZeros(20), lookup), NotFound(lookup, 20));
    }
    EXPECT_EQ(RunLookup(ListAfterZeros(20), {.parent = SKrRiffChunkInfo{0, 21, 0, 0}}), ListAt(20));
}

TEST(ChunkLookupZeros, ParentThatEndsWhereNoHeaderFits_LookupEndsWithTheFile)
{
    for (uint32_t left = 0; left <= 7; ++left)
    {
        const KrBytes bytes(30, 0);
        const SKrLookupCase lookup = {.parent = SKrRiffChunkInfo{0, 30 - left, 0, 0}};
        EXPECT_EQ(RunLookup(bytes, lookup), NotFound(lookup, left < 7 ? 30 : 23)) << left;
    }
}

// RIFF only and LIST only do not resynchronise

TEST(ChunkLookupZeros, ListOnlyAndRiffOnly_ChunkAfterZerosIsLost)
{
    for (uint32_t zeros = 1; zeros <= 9; ++zeros)
    {
        const uint32_t shifted = std::min(zeros, 3u);
        const uint64_t end = AfterSkip(zeros - shifted, kShiftedSizes[shifted]);
        const SKrLookupCase list = {.mode = kLists};
        EXPECT_EQ(RunLookup(ListAfterZeros(zeros), list), NotFound(list, end)) << zeros << " zeros";

        const KrBytes bytes = Join({Zeros(zeros), Header("RIFF", 4, "AVIX")});
        const SKrLookupCase riff = {.mode = kRiffs};
        EXPECT_FALSE(RunLookup(bytes, riff).found) << zeros << " zeros";
    }
}

TEST(ChunkLookupZeros, ListOnly_ListWhereTheShiftedSizeEndsIsFoundByAccident)
{
    // At 2 the id is 00 00 00 01 and the size 4, so that 14 comes next.
    const KrBytes bytes = Join({
        Zeros(5),                                 // 0
        KrBytes{1, 4, 0, 0, 0}, KrBytes(4, 0xEE), // 5: ends an id, and the size
        Header("LIST", 4, "movi")                 // 14
    });
    EXPECT_EQ(RunLookup(bytes, {.mode = kLists}), ListAt(14));
}

// The zero limit

TEST(ChunkLookupZeros, LimitOfFive_RunsOfUpToSevenAreCrossed)
{
    for (uint32_t zeros = 4; zeros <= 7; ++zeros)
        EXPECT_EQ(RunLookup(ListAfterZeros(zeros), {.zeroLimit = 5}), ListAt(zeros)) << zeros << " zeros";
}

TEST(ChunkLookupZeros, LimitOfFive_TheFifthEmptyHeaderEndsTheLookup)
{
    for (uint32_t zeros = 8; zeros <= 20; ++zeros)
    {
        const SKrLookupCase lookup = {.zeroLimit = 5};
        EXPECT_EQ(RunLookup(ListAfterZeros(zeros), lookup), NotFound(lookup, 4 + 12)) << zeros << " zeros";
        const SKrLookupCase list = {.mode = kLists, .zeroLimit = 5};
        EXPECT_EQ(RunLookup(ListAfterZeros(zeros), list), NotFound(list, 4 + 12)) << zeros << " zeros";
    }
}

TEST(ChunkLookupZeros, LimitOfOne_TheFirstEmptyHeaderEndsTheLookup)
{
    const SKrLookupCase lookup = {.zeroLimit = 1};
    EXPECT_EQ(RunLookup(ListAfterZeros(4), lookup), NotFound(lookup, 12));
    EXPECT_EQ(RunLookup(ListAfterZeros(0), lookup), ListAt(0));
}

TEST(ChunkLookupZeros, LimitReachedAtARequestedChunkOfSizeZero_ItIsNotTaken)
{
    const KrBytes bytes = Header("JUNK", 0, "more");
    const SKrLookupCase lookup = {.id = FourCcValue("JUNK"), .zeroLimit = 1};
    EXPECT_EQ(RunLookup(bytes, lookup), NotFound(lookup, 12));
    EXPECT_TRUE(RunLookup(bytes, {.id = FourCcValue("JUNK"), .zeroLimit = 2}).found);
}

TEST(ChunkLookupZeros, HeaderWithoutZeroFields_SetsTheCountBack)
{
    KrBytes bytes;
    for (int count = 0; count < 10; ++count)
        bytes = Join({bytes, Zeros(6), Header("JUNK", 2), KrBytes{1, 2}}); // three empty headers each
    const uint64_t header = bytes.size();
    bytes = Join({bytes, Header("LIST", 4, "movi")});
    EXPECT_EQ(RunLookup(bytes, {.id = kListId, .zeroLimit = 5}), ListAt(header));
}

TEST(ChunkLookupZeros, HeaderWithZeroSizeOnly_CountsAsEmpty)
{
    // Of size 0 at 0 to 3, all zero at 4 to 9.
    const KrBytes bytes = Join({Header("JUNK", 0), Zeros(5), Header("LIST", 4, "movi")});
    const SKrLookupCase lookup = {.id = kListId, .zeroLimit = 5};
    EXPECT_EQ(RunLookup(bytes, lookup), NotFound(lookup, 4 + 12));
    EXPECT_EQ(RunLookup(bytes, {.id = kListId, .zeroLimit = 11}), ListAt(13))
        << "headers at 0 to 9 are empty";
    const SKrLookupCase ten = {.id = kListId, .zeroLimit = 10};
    EXPECT_EQ(RunLookup(bytes, ten), NotFound(ten, 9 + 12));
}

TEST(ChunkLookupZeros, EachLookup_CountsFromZero)
{
    const KrBytes bytes = Join({
        Zeros(7), Header("LIST", 4, "movi"), // four empty headers
        Zeros(7), Header("LIST", 4, "movi")  // four more
    });
    CKrBytesFile file(bytes);
    CKrFileCursor cursor;
    cursor.Attach(file, bytes.size());
    EXPECT_EQ(RunLookup(cursor, {.zeroLimit = 5}), ListAt(7));
    EXPECT_EQ(RunLookup(cursor, {.start = cursor.Position(), .zeroLimit = 5}), ListAt(26));
}

// The cost of a long run

namespace
{
constexpr uint64_t kLongRun = 64 * 1024 * 1024;
constexpr SKrStretch kNarrowOfTheRun = {kLongRun / 2,
                                        kLongRun / 2 + 600'000}; // where single steps would show

struct SCost
{
    SKrLookupOutcome outcome;
    SKrFileCalls calls;
};

// The cost of a lookup over a run of zeros between a chunk and a list.
SCost CostOfLongRun(const SKrLookupCase& lookup)
{
    CKrFileContent content(Join({Header("JUNK", 2), KrBytes{1, 2}}));
    content.AppendHole(kLongRun + 1);
    content.Append(ListAfterZeros(0));
    CKrMemoryFileSystem files;
    files.Set(L"zeros", content);
    CKrNarrowFileSystem narrow(files, kNarrowOfTheRun);
    CKrCountingFileSystem counting(narrow);
    const auto file = counting.OpenForReading(L"zeros");
    CKrFileCursor cursor;
    cursor.Attach(*file, content.Size());
    SCost cost;
    cost.outcome = RunLookup(cursor, lookup);
    cost.calls = counting.Calls();
    return cost;
}

void ExpectLinear(const SKrFileCalls& calls)
{
    EXPECT_GE(calls.bytes, kLongRun);
    EXPECT_LE(calls.bytes, kLongRun + 128 * 1024) << "each byte is read once";
    const uint64_t narrowReads =
        (kNarrowOfTheRun.to - kNarrowOfTheRun.from) / CKrNarrowFileSystem::kBytesOfARead;
    EXPECT_LE(calls.reads, kLongRun / (64 * 1024) + narrowReads + 16) << "in blocks";
}
} // namespace

TEST(ChunkLookupZeros, LongRun_IsCrossedWithOneReadOfEachByte)
{
    const SCost cost = CostOfLongRun({.id = kListId});
    EXPECT_EQ(cost.outcome, ListAt(10 + kLongRun + 1));
    ExpectLinear(cost.calls);
}

TEST(ChunkLookupZeros, LongRunInsideAParent_IsCrossedWithOneReadOfEachByte)
{
    const SKrRiffChunkInfo parent = {0, static_cast<uint32_t>(10 + kLongRun + 2), 0, 0};
    const SCost cost = CostOfLongRun({.id = kListId, .parent = parent});
    EXPECT_EQ(cost.outcome, ListAt(10 + kLongRun + 1));
    ExpectLinear(cost.calls);
}

TEST(ChunkLookupZeros, LongRunInListOnlyMode_IsCrossedWithOneReadOfEachByteToTheShiftedHeader)
{
    const SKrLookupCase lookup = {.mode = kLists};
    const SCost cost = CostOfLongRun(lookup);
    EXPECT_EQ(cost.outcome, NotFound(lookup, AfterSkip(10 + kLongRun + 1 - 3, kShiftedSizes[3])));
    ExpectLinear(cost.calls);
}

TEST(ChunkLookupZeros, LongRunWithZeroLimit_IsLeftAtTheFifthHeader)
{
    const SKrLookupCase lookup = {.id = kListId, .zeroLimit = 5};
    const SCost cost = CostOfLongRun(lookup);
    EXPECT_EQ(cost.outcome, NotFound(lookup, 10 + 4 + 12));
    EXPECT_LE(cost.calls.bytes, 128u * 1024);
}

TEST(ChunkLookupZeros, ShortParentBeforeALongRun_CostsNothingOfIt)
{
    const SKrLookupCase lookup = {.id = kListId, .parent = SKrRiffChunkInfo{0, 100, 0, 0}};
    const SCost cost = CostOfLongRun(lookup);
    EXPECT_EQ(cost.outcome, NotFound(lookup, 100));
    EXPECT_LE(cost.calls.bytes, 128u * 1024);
}
