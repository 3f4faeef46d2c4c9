// The table of all streams while the file grows beside whoever reads it.
#include "format/KrFourCC.h"
#include "reader/KrStreamTable.h"
#include "tests/support/KrFaultyFileSystem.h"
#include "tests/support/KrMemoryFileSystem.h"
#include "tests/support/KrSimpleAvi.h"

#include <gtest/gtest.h>

#include <utility>

using namespace KrTest;

namespace
{
KrSegments SegmentsOf(const SKrBuiltAvi& built, uint64_t idx1, uint32_t idx1Size)
{
    const SKrBuiltChunk movi = built.Find("movi");
    SKrSegment segment;
    segment.riff = {kFccRiff, static_cast<uint32_t>(built.content.Size() - 8), kFccAvi, 8};
    segment.movi = {kFccList, static_cast<uint32_t>(movi.size), kFccMovi, movi.data};
    segment.idx1 = {kFccIdx1, idx1Size, 0, idx1};
    return {segment};
}
} // namespace

// A file of the same size, whose space was reserved: what is read of the old state must not stay.
TEST(StreamTableGrowth, WhatIsReadWhileTheFileChanges_IsNotKept)
{
    SKrSimpleAvi avi;
    avi.index = EKrIndexKind::Idx1;
    avi.streams = {VideoStream({100}), PcmStream({64})};
    const SKrBuiltAvi built = BuildSimpleAvi(avi);
    CKrMemoryFileSystem memory;
    memory.Set(L"a.avi", built.content);
    CKrFaultyFileSystem files(memory);
    const uint64_t size = built.content.Size();
    const auto streams = std::make_shared<const KrStreamLists>(2);
    const SKrBuiltChunk idx1 = built.Find("idx1");

    CKrStreamTable table;
    table.Attach(files.OpenForReading(L"a.avi"), size, {});
    table.Update(size, streams, SegmentsOf(built, idx1.data, 16));
    bool hasGrown = false;
    files.SetBeforeRead(
        [&](const SKrReadRequest&)
        {
            if (!std::exchange(hasGrown, true))
                table.Update(size, streams, SegmentsOf(built, idx1.data + 16, 16));
        });
    SKrStreamProperties properties = {};
    properties.size = sizeof properties;
    EXPECT_TRUE(table.Properties(0, properties));
    EXPECT_TRUE(hasGrown);
    EXPECT_TRUE(table.Properties(1, properties));
    EXPECT_EQ(properties.flags, kHasOldEntries);
    EXPECT_TRUE(table.Properties(0, properties));
    EXPECT_EQ(properties.flags, 0u) << "the new index has no entry of it";
}
