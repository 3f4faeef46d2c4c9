// Each step of the chunk lookup on files of a few dozen bytes.
#include "tests/reader/ChunkLookupSupport.h"

#include <gtest/gtest.h>

#include <string_view>

using namespace KrTest;

namespace
{
SKrLookupOutcome Found(std::string_view id, uint32_t size, std::string_view type, uint64_t offset,
                       uint64_t position)
{
    SKrLookupOutcome outcome;
    outcome.found = true;
    outcome.record = {FourCcValue(id), size, type.empty() ? 0 : FourCcValue(type), offset};
    outcome.position = position;
    return outcome;
}

SKrRiffChunkInfo Parent(uint64_t offset, uint32_t size)
{
    return {.ckid = FourCcValue("LIST"), .cksize = size, .fccType = 0, .offset = offset};
}

KrBytes ThreeChunks()
{
    return Join({
        Header("avih", 3), KrBytes{1, 2, 3, 0},        // 0: odd, padded
        Header("LIST", 12, "movi"), Header("00dc", 0), // 12
        Header("RIFF", 4, "AVIX")                      // 32
    });                                                // 44
}
} // namespace

// Any chunk

TEST(ChunkLookup, AnyChunk_TakesTheFirstAndLeavesTheFilePointerAtItsData)
{
    EXPECT_EQ(RunLookup(ThreeChunks(), {}), Found("avih", 3, "", 8, 8));
}

TEST(ChunkLookup, Container_LeavesTheFilePointerAfterItsType)
{
    EXPECT_EQ(RunLookup(ThreeChunks(), {.start = 12}), Found("LIST", 12, "movi", 20, 24));
    EXPECT_EQ(RunLookup(ThreeChunks(), {.start = 32}), Found("RIFF", 4, "AVIX", 40, 44));
}

TEST(ChunkLookup, RequestedId_SkipsOthersToTheNextEvenPosition)
{
    EXPECT_EQ(RunLookup(ThreeChunks(), {.id = FourCcValue("LIST")}), Found("LIST", 12, "movi", 20, 24));
    EXPECT_EQ(RunLookup(ThreeChunks(), {.id = FourCcValue("RIFF")}), Found("RIFF", 4, "AVIX", 40, 44));
}

TEST(ChunkLookup, OtherContainer_IsSkippedWhole)
{
    const SKrLookupCase lookup = {.id = FourCcValue("00dc")};
    EXPECT_EQ(RunLookup(ThreeChunks(), lookup), NotFound(lookup, 44));
}

TEST(ChunkLookup, RequestedType_IsComparedWithTheFourBytesAfterTheSize)
{
    EXPECT_EQ(RunLookup(ThreeChunks(), {.type = FourCcValue("movi")}), Found("LIST", 12, "movi", 20, 24));
    const KrBytes plain = Header("JUNK", 4, "movi");
    EXPECT_EQ(RunLookup(plain, {.type = FourCcValue("movi")}), Found("JUNK", 4, "", 8, 8))
        << "the data of a plain chunk count as well, but are not its type";
}

TEST(ChunkLookup, RequestedIdAndType_MustBothMatch)
{
    const SKrLookupCase lookup = {.id = FourCcValue("LIST"), .type = FourCcValue("AVIX")};
    EXPECT_EQ(RunLookup(ThreeChunks(), lookup), NotFound(lookup, 44));
}

TEST(ChunkLookup, OddPosition_EvenChunkEndsAtTheNextEvenOne)
{
    const KrBytes bytes = Join({
        KrBytes{0xEE},                       // 0
        Header("JUNK", 2), KrBytes{1, 2, 0}, // 1: the end, 11, is odd
        Header("00dc", 2), KrBytes{1, 2}     // 12
    });
    EXPECT_EQ(RunLookup(bytes, {.start = 1, .id = FourCcValue("00dc")}), Found("00dc", 2, "", 20, 20));
}

TEST(ChunkLookup, OddPosition_OddChunkEndsWhereItsBytesEnd)
{
    const KrBytes bytes = Join({
        KrBytes{0xEE},                 // 0
        Header("JUNK", 1), KrBytes{9}, // 1: the end, 10, is even
        Header("00dc", 0)              // 10
    });
    EXPECT_EQ(RunLookup(bytes, {.start = 1, .id = FourCcValue("00dc")}), Found("00dc", 0, "", 18, 18));
}

TEST(ChunkLookup, SizeBeyondTheFile_IsReportedAsStored)
{
    const KrBytes bytes = Join({Header("00dc", 0xFFFFFFFF), KrBytes{1, 0, 0, 0}});
    EXPECT_EQ(RunLookup(bytes, {}), Found("00dc", 0xFFFFFFFF, "", 8, 8));
}

TEST(ChunkLookup, OtherSizeBeyondTheFile_EndsTheLookupThere)
{
    const KrBytes bytes = Join({Header("00dc", 0xFFFFFFFF), KrBytes{1, 0, 0, 0}});
    const SKrLookupCase lookup = {.id = FourCcValue("idx1")};
    EXPECT_EQ(RunLookup(bytes, lookup), NotFound(lookup, 0x100000008)) << "8 + 0xFFFFFFFF, then even";
}

// RIFF only and LIST only

TEST(ChunkLookup, RiffOnly_PassesOverEverythingElse)
{
    EXPECT_EQ(RunLookup(ThreeChunks(), {.mode = kRiffs}), Found("RIFF", 4, "AVIX", 40, 44));
    const SKrLookupCase other = {.type = FourCcValue("AVI "), .mode = kRiffs};
    EXPECT_EQ(RunLookup(ThreeChunks(), other), NotFound(other, 44));
}

TEST(ChunkLookup, ListOnly_PassesOverEverythingElse)
{
    EXPECT_EQ(RunLookup(ThreeChunks(), {.mode = kLists}), Found("LIST", 12, "movi", 20, 24));
    const SKrLookupCase after = {.start = 32, .mode = kLists};
    EXPECT_EQ(RunLookup(ThreeChunks(), after), NotFound(after, 44));
}

TEST(ChunkLookup, ListOnly_OtherTypeIsSkippedAndTheRequestedOneFound)
{
    const KrBytes bytes = Join({
        Header("LIST", 6, "INFO"), KrBytes{1, 2}, // 0
        Header("LIST", 4, "movi")                 // 14
    });
    EXPECT_EQ(RunLookup(bytes, {.type = FourCcValue("movi"), .mode = kLists}),
              Found("LIST", 4, "movi", 22, 26));
}

TEST(ChunkLookup, ListOnly_RequestedIdThatIsNotAList_IsNeverFound)
{
    const SKrLookupCase lookup = {.id = FourCcValue("avih"), .mode = kLists};
    EXPECT_EQ(RunLookup(ThreeChunks(), lookup), NotFound(lookup, 44));
}

// The parent

TEST(ChunkLookup, Parent_HeaderAtItsLastByteCounts)
{
    // The list claims 13 bytes from 20 on: the header at 32 begins inside.
    EXPECT_EQ(RunLookup(ThreeChunks(), {.start = 32, .parent = Parent(20, 13)}),
              Found("RIFF", 4, "AVIX", 40, 44));
}

TEST(ChunkLookup, Parent_HeaderAtItsEndDoesNotCount)
{
    const SKrLookupCase lookup = {.start = 32, .parent = Parent(20, 12)};
    EXPECT_EQ(RunLookup(ThreeChunks(), lookup), NotFound(lookup, 32));
}

TEST(ChunkLookup, Parent_HeaderBeforeItDoesNotCount)
{
    const SKrLookupCase before = {.start = 12, .parent = Parent(13, 100)};
    EXPECT_EQ(RunLookup(ThreeChunks(), before), NotFound(before, 12));
    EXPECT_EQ(RunLookup(ThreeChunks(), {.start = 12, .parent = Parent(12, 100)}),
              Found("LIST", 12, "movi", 20, 24));
}

TEST(ChunkLookup, Parent_BoundsEveryHeaderNotOnlyTheFirst)
{
    const SKrLookupCase lookup = {.id = FourCcValue("RIFF"), .parent = Parent(0, 32)};
    EXPECT_EQ(RunLookup(ThreeChunks(), lookup), NotFound(lookup, 32));
    const SKrLookupCase list = {.id = FourCcValue("RIFF"), .parent = Parent(0, 32), .mode = kRiffs};
    EXPECT_EQ(RunLookup(ThreeChunks(), list), NotFound(list, 32));
}

TEST(ChunkLookup, Parent_ChunkMayReachBeyondIt)
{
    EXPECT_EQ(RunLookup(ThreeChunks(), {.parent = Parent(0, 1)}), Found("avih", 3, "", 8, 8));
}

TEST(ChunkLookup, EmptyParent_FindsNothing)
{
    const SKrLookupCase lookup = {.parent = Parent(0, 0)};
    EXPECT_EQ(RunLookup(ThreeChunks(), lookup), NotFound(lookup, 0));
}

// The end of the file

TEST(ChunkLookup, LessThanEightBytesLeft_NothingIsRead)
{
    const KrBytes bytes = Header("JUNK", 0);
    for (const uint64_t start : {1u, 7u, 8u, 9u, 100u})
    {
        const SKrLookupCase lookup = {.start = start};
        EXPECT_EQ(RunLookup(bytes, lookup), NotFound(lookup, start));
    }
}

TEST(ChunkLookup, EmptyFile_FindsNothing)
{
    EXPECT_EQ(RunLookup(KrBytes(), {}), NotFound({}, 0));
}

TEST(ChunkLookup, HeaderOf8To11BytesAtTheEnd_PlainChunkIsFound)
{
    for (uint32_t left = 8; left <= 12; ++left)
    {
        const KrBytes bytes = Join({Header("JUNK", 77), KrBytes(left - 8, 1)});
        EXPECT_EQ(RunLookup(bytes, {}), Found("JUNK", 77, "", 8, 8)) << left << " bytes";
    }
}

TEST(ChunkLookup, ContainerOf8To11BytesAtTheEnd_HasTypeZeroAndIsReadToTheEnd)
{
    for (uint32_t left = 8; left <= 11; ++left)
    {
        const KrBytes bytes = Join({Header("LIST", 77), KrBytes(left - 8, 'm')});
        EXPECT_EQ(RunLookup(bytes, {}), Found("LIST", 77, "", 8, left)) << left << " bytes";
    }
}

TEST(ChunkLookup, RequestedTypeWithoutRoomForIt_IsNotFound)
{
    for (const char* const id : {"LIST", "JUNK"})
    {
        const KrBytes bytes = Join({Header(id, 1), KrBytes{'m', 'o', 'v'}});
        const SKrLookupCase lookup = {.type = FourCcValue("movi")};
        EXPECT_EQ(RunLookup(bytes, lookup), NotFound(lookup, 11)) << id;
    }
}

TEST(ChunkLookup, RiffOnlyAndListOnly_NeedTwelveBytes)
{
    for (uint32_t left = 8; left <= 11; ++left)
    {
        const KrBytes riff = Join({Header("RIFF", 77), KrBytes(left - 8, 1)});
        const SKrLookupCase riffLookup = {.mode = kRiffs};
        EXPECT_EQ(RunLookup(riff, riffLookup), NotFound(riffLookup, left));
        const KrBytes list = Join({Header("LIST", 77), KrBytes(left - 8, 1)});
        const SKrLookupCase listLookup = {.mode = kLists};
        EXPECT_EQ(RunLookup(list, listLookup), NotFound(listLookup, left));
    }
    const KrBytes whole = Header("LIST", 4, "movi");
    EXPECT_EQ(RunLookup(whole, {.mode = kLists}), Found("LIST", 4, "movi", 8, 12));
}

// A lookup that begins with room for 12 bytes reads the rest of a later header.
TEST(ChunkLookup, LaterHeaderAtTheEnd_IsReadWithTheBytesThatAreLeft)
{
    const KrBytes bytes = Join({Header("JUNK", 4), KrBytes(4, 1), Header("LIST", 77), KrBytes{1}});
    EXPECT_EQ(RunLookup(bytes, {.id = FourCcValue("LIST")}), Found("LIST", 77, "", 20, 21));
    const KrBytes cut(bytes.begin(), bytes.end() - 2);
    const SKrLookupCase lookup = {.id = FourCcValue("LIST")};
    EXPECT_EQ(RunLookup(cut, lookup), NotFound(lookup, 19)) << "seven bytes are no header";
}

// Chunks of size 0

TEST(ChunkLookup, RequestedChunkOfSizeZero_IsFound)
{
    const KrBytes bytes = Join({Header("JUNK", 0), Header("00dc", 0)});
    EXPECT_EQ(RunLookup(bytes, {}), Found("JUNK", 0, "", 8, 8));
}

TEST(ChunkLookup, OtherChunkOfSizeZero_IsSteppedOverByOneByte)
{
    // Read again at 1: id 'UNK' and a zero, size 0x4C000000 from three zeros and the 'L'.
    const KrBytes bytes = Join({Header("JUNK", 0), Header("LIST", 4, "movi")});
    const SKrLookupCase lookup = {.id = FourCcValue("LIST")};
    EXPECT_EQ(RunLookup(bytes, lookup), NotFound(lookup, 9 + 0x4C000000 + 1));
    const SKrLookupCase list = {.mode = kLists};
    EXPECT_EQ(RunLookup(bytes, list), NotFound(list, 9 + 0x4C000000 + 1));
}

// The bytes after the size decide: zeros keep the ids that are read at 1, 2 and 3 empty as well.
TEST(ChunkLookup, OtherChunkOfSizeZeroBeforeZeros_IsSteppedThroughToTheNextChunk)
{
    for (const char* const other : {"JUNK", "LIST"})
    {
        const KrBytes bytes = Join({
            Header(other, 0), Zeros(8), // 0
            Header("LIST", 4, "movi")   // 16
        });
        EXPECT_EQ(RunLookup(bytes, {.type = FourCcValue("movi")}), Found("LIST", 4, "movi", 24, 28)) << other;
    }
}
