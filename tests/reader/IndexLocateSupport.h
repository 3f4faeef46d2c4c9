// Opens files in memory and exposes where the parse located the indexes.
#ifndef KR_TESTS_READER_INDEXLOCATESUPPORT_H
#define KR_TESTS_READER_INDEXLOCATESUPPORT_H

#include "tests/reader/IndexLoadInnerSupport.h"

#include <gtest/gtest.h>

namespace KrTest
{
// Opens a file and keeps both the built chunks and the located ones.
struct SKrLocated
{
    explicit SKrLocated(const SKrSimpleAvi& avi) : built(BuildSimpleAvi(avi)), file(built.content) {}

    const SKrStreamState& State() const { return file.State(); }
    const SKrLocatedIndex& Video() const { return State().videoIndex; }
    const SKrLocatedIndex& Audio(size_t slot = 0) const { return State().audio[slot].index; }

    SKrBuiltAvi built;
    CKrParsedInMemory file;
};

inline void ExpectOpenDmlAt(const SKrLocated& located, const SKrBuiltChunk& indx)
{
    EXPECT_TRUE(located.State().openDmlIndex);
    EXPECT_FALSE(located.State().statistics.oldIndexPresent);
    EXPECT_EQ(located.Video().indexPosition, indx.header);
    EXPECT_EQ(located.Video().firstChunkPosition, kNotLocated);
    EXPECT_EQ(located.Video().oldIndexEntries, 0u);
}

inline void ExpectOldIndexAt(const SKrLocated& located, const SKrBuiltChunk& idx1,
                             const SKrBuiltChunk& firstChunk)
{
    EXPECT_FALSE(located.State().openDmlIndex);
    EXPECT_TRUE(located.State().statistics.oldIndexPresent);
    EXPECT_EQ(located.Video().indexPosition, idx1.data);
    EXPECT_EQ(located.Video().firstChunkPosition, firstChunk.header);
    EXPECT_EQ(located.Video().oldIndexEntries, idx1.size / 16);
}

inline void ExpectNothingLocated(const SKrLocated& located)
{
    EXPECT_EQ(located.file.Status(), 1);
    EXPECT_FALSE(located.State().openDmlIndex);
    EXPECT_FALSE(located.State().statistics.oldIndexPresent);
    EXPECT_EQ(located.Video().indexPosition, kNotLocated);
    EXPECT_EQ(located.Video().oldIndexEntries, 0u);
}

[[nodiscard]] inline KrBuilderHook ChunkOf(const char* id, size_t size)
{
    return [id, size](CKrAviBuilder& file)
    {
        file.Chunk(id, KrBytes(size, 0x11));
    };
}

// A stream of an irrelevant type, to shift the numbers of those after it.
[[nodiscard]] inline SKrSimpleStream TextStream()
{
    SKrSimpleStream stream = PcmStream({6});
    stream.header.type = "txts";
    stream.suffix = "tx";
    return stream;
}

[[nodiscard]] inline SKrSimpleAvi VideoAt(size_t number, EKrIndexKind index)
{
    SKrSimpleAvi avi;
    avi.index = index;
    avi.streams.assign(number, TextStream());
    avi.streams.push_back(VideoStream({20, 21}));
    return avi;
}
} // namespace KrTest

#endif
