#include "tests/support/KrSimpleAvi.h"

#include <gtest/gtest.h>

#include <stdexcept>

using namespace KrTest;

namespace
{
uint32_t U32At(const SKrBuiltAvi& avi, uint64_t position)
{
    const KrBytes bytes = avi.content.Range(position, 4);
    return bytes[0] | bytes[1] << 8 | bytes[2] << 16 | static_cast<uint32_t>(bytes[3]) << 24;
}

uint64_t U64At(const SKrBuiltAvi& avi, uint64_t position)
{
    return U32At(avi, position) | static_cast<uint64_t>(U32At(avi, position + 4)) << 32;
}

std::string TextAt(const SKrBuiltAvi& avi, uint64_t position)
{
    const KrBytes bytes = avi.content.Range(position, 4);
    return {bytes.begin(), bytes.end()};
}

std::vector<std::string> Names(const SKrBuiltAvi& avi)
{
    std::vector<std::string> names;
    for (const SKrBuiltChunk& chunk : avi.chunks)
        names.push_back(chunk.type.empty() ? chunk.id : chunk.type);
    return names;
}

using KrNames = std::vector<std::string>;
} // namespace

TEST(SimpleAviTest, Default_IsOneVideoStreamWithIdx1)
{
    const SKrBuiltAvi avi = BuildSimpleAvi({});
    EXPECT_EQ(Names(avi), (KrNames{"AVI ", "hdrl", "avih", "strl", "strh", "strf", "movi", "00dc", "00dc",
                                   "00dc", "idx1"}));
    EXPECT_EQ(U32At(avi, avi.Find("avih").data + 12), 0x10u); // flags
    EXPECT_EQ(U32At(avi, avi.Find("avih").data + 16), 3u);    // frames
    EXPECT_EQ(U32At(avi, avi.Find("avih").data + 24), 1u);    // streams
    EXPECT_EQ(U32At(avi, avi.Find("strh").data + 32), 3u);    // length
    EXPECT_EQ(avi.Find("strf").size, 40u);
    ASSERT_EQ(avi.streamChunks.size(), 1u);
    ASSERT_EQ(avi.streamChunks[0].size(), 3u);
    EXPECT_EQ(avi.streamChunks[0][1].size, 1001u);
    EXPECT_EQ(avi.content.Range(avi.streamChunks[0][1].data, 1001), PatternBytes(0, 1, 1001));
    EXPECT_EQ(avi.segments.size(), 1u);
    EXPECT_EQ(avi.segments[0].end, avi.content.Size());
}

TEST(SimpleAviTest, Idx1_CountsFromMoviOrTheFileStart)
{
    SKrSimpleAvi description;
    description.streams.push_back(PcmStream({10, 10}));
    description.streams[0].keyFrameEvery = 2;
    SKrBuiltAvi avi = BuildSimpleAvi(description);
    const uint64_t idx1 = avi.Find("idx1").data;
    ASSERT_EQ(avi.Find("idx1").size, 5 * 16u);
    EXPECT_EQ(TextAt(avi, idx1), "00dc");
    EXPECT_EQ(U32At(avi, idx1 + 4), 0x10u);
    EXPECT_EQ(U32At(avi, idx1 + 8), 4u);
    EXPECT_EQ(U32At(avi, idx1 + 12), 1000u);
    EXPECT_EQ(TextAt(avi, idx1 + 16), "01wb");
    EXPECT_EQ(U32At(avi, idx1 + 24), 4u + 1008u);
    EXPECT_EQ(U32At(avi, idx1 + 36), 0u); // frame 1 is no key frame

    description.idx1Base = EKrIdx1Base::FileStart;
    description.streams[0].inIdx1 = false;
    avi = BuildSimpleAvi(description);
    ASSERT_EQ(avi.Find("idx1").size, 2 * 16u);
    EXPECT_EQ(U32At(avi, avi.Find("idx1").data + 8), avi.streamChunks[1][0].header);
}

TEST(SimpleAviTest, AudioStream_HasTheLengthInSampleFrames)
{
    SKrSimpleAvi description;
    description.streams.push_back(PcmStream({7680, 7680, 100}, PcmFormat(1, 48000, 24), 18));
    description.streams[1].strhSize = 64;
    const SKrBuiltAvi avi = BuildSimpleAvi(description);
    const SKrBuiltChunk strh = avi.Find("strh", 1);
    EXPECT_EQ(strh.size, 64u);
    EXPECT_EQ(TextAt(avi, strh.data), "auds");
    EXPECT_EQ(U32At(avi, strh.data + 20), 3u);         // scale: bytes of a sample frame
    EXPECT_EQ(U32At(avi, strh.data + 24), 144000u);    // rate: bytes per second
    EXPECT_EQ(U32At(avi, strh.data + 32), 15460u / 3); // length
    EXPECT_EQ(U32At(avi, strh.data + 44), 3u);         // sample size
    EXPECT_EQ(avi.Find("strf", 1).size, 18u);
    EXPECT_EQ(Names(avi)[11], "01wb");
}

// Every entry of every index points at the chunk that it stands for.
TEST(SimpleAviTest, OpenDmlIndexes_PointAtTheChunks)
{
    for (const uint8_t superSubType : {0, 0x10})
    {
        for (const uint8_t stdSubType : {0, 0x10})
        {
            SKrSimpleAvi description;
            description.streams[0].chunkSizes = {11, 12, 13, 14, 15};
            description.streams[0].keyFrameEvery = 3;
            description.index = EKrIndexKind::OpenDml;
            description.roundsPerSegment = {3, 2};
            description.entriesPerStdIndex = 2;
            description.superSubType = superSubType;
            description.stdSubType = stdSubType;
            const SKrBuiltAvi avi = BuildSimpleAvi(description);
            EXPECT_EQ(Names(avi), (KrNames{"AVI ", "hdrl", "avih", "strl", "strh", "strf", "indx",
                                           "odml", "dmlh", "movi", "00dc", "00dc", "00dc", "ix00",
                                           "ix00", "AVIX", "movi", "00dc", "00dc", "ix00"}));

            const uint64_t indx = avi.Find("indx").data;
            EXPECT_EQ(avi.Find("indx").size, 24u + 16 * 16);
            EXPECT_EQ(avi.content.Range(indx, 4), (KrBytes{4, 0, superSubType, 0}));
            ASSERT_EQ(U32At(avi, indx + 4), 3u);
            size_t number = 0;
            for (size_t slot = 0; slot < 3; ++slot)
            {
                const uint64_t entry = indx + 24 + slot * 16;
                const SKrBuiltChunk ix = avi.Find("ix00", slot);
                EXPECT_EQ(U64At(avi, entry), ix.header);
                EXPECT_EQ(U32At(avi, entry + 8), ix.size + 8);
                const uint32_t entries = U32At(avi, ix.data + 4);
                EXPECT_EQ(U32At(avi, entry + 12), entries);
                EXPECT_EQ(entries, slot == 1 ? 1u : 2u);
                EXPECT_EQ(U64At(avi, ix.data + 12), avi.Find("movi", slot / 2).data);
                const uint64_t base = superSubType == 0 ? U64At(avi, ix.data + 12) : 0;
                for (uint32_t index = 0; index < entries; ++index, ++number)
                {
                    const SKrBuiltChunk& chunk = avi.streamChunks[0].at(number);
                    const uint64_t at = ix.data + 24 + index * (stdSubType == 0 ? 8 : 24);
                    const uint64_t offset = stdSubType == 0 ? U32At(avi, at) : U64At(avi, at);
                    const uint32_t size = U32At(avi, at + (stdSubType == 0 ? 4 : 8));
                    EXPECT_EQ(base + offset, chunk.data);
                    EXPECT_EQ(size & 0x7FFFFFFF, chunk.size);
                    EXPECT_EQ(size >> 31, stdSubType == 0 && number % 3 != 0 ? 1u : 0u);
                }
            }
            EXPECT_EQ(number, 5u);
            EXPECT_EQ(avi.segments.at(1).end, avi.content.Size());
            EXPECT_EQ(U32At(avi, avi.Find("avih").data + 16), 3u); // frames of the first segment
            EXPECT_EQ(U32At(avi, avi.Find("dmlh").data), 5u);
        }
    }
}

TEST(SimpleAviTest, Settings_ReachTheFile)
{
    SKrSimpleAvi description;
    description.mainHeader.flags = 0;
    description.mainHeader.streams = 9;
    description.mainHeader.totalFrames = 77;
    description.streams[0].header.length = 5;
    description.streams[0].suffix = "db";
    description.streams.push_back(PcmStream());
    description.streams[1].chunkId = "0awb";
    description.streams[1].hasSuperIndex = false;
    description.index = EKrIndexKind::Both;
    description.stdBase = 0;
    description.recLists = true;
    description.krlA = SKrTestKrlA{};
    description.prmA = SKrTestPrmA{};
    description.ctsI = SKrTestCtsI{};
    description.junkBeforeMovi = 33;
    const SKrBuiltAvi avi = BuildSimpleAvi(description);
    EXPECT_EQ(Names(avi),
              (KrNames{"AVI ", "hdrl", "avih", "strl", "strh", "strf", "indx", "strl", "strh", "strf",
                       "odml", "dmlh", "KrlA", "PrmA", "CtsI", "JUNK", "movi", "rec ", "00db", "0awb",
                       "rec ", "00db", "0awb", "rec ", "00db", "0awb", "ix00", "idx1"}));
    EXPECT_EQ(U32At(avi, avi.Find("avih").data + 12), 0u);
    EXPECT_EQ(U32At(avi, avi.Find("avih").data + 16), 77u);
    EXPECT_EQ(U32At(avi, avi.Find("avih").data + 24), 9u);
    EXPECT_EQ(U32At(avi, avi.Find("strh").data + 32), 5u);
    EXPECT_EQ(avi.Find("JUNK").size, 33u);
    EXPECT_EQ(avi.content.Range(avi.Find("KrlA").data, 508), ToBytes(SKrTestKrlA{}));
    EXPECT_EQ(U32At(avi, avi.Find("ix00").data + 24), avi.streamChunks[0][0].data);
}

TEST(SimpleAviTest, Hooks_WriteAtTheirPlaces)
{
    const auto chunk = [](const char* id)
    {
        return [id](CKrAviBuilder& file)
        {
            file.Chunk(id, KrBytes(2));
        };
    };
    SKrSimpleAvi description;
    description.streams[0].chunkSizes = {8, 8};
    description.streams[0].beforeStrf = chunk("hk-0");
    description.streams[0].endOfStrl = chunk("hk-1");
    description.index = EKrIndexKind::Both;
    description.roundsPerSegment = {1, 1};
    description.beforeHdrl = chunk("hk-2");
    description.afterAvih = chunk("hk-3");
    description.endOfHdrl = chunk("hk-4");
    description.beforeMovi = chunk("hk-5");
    description.startOfMovi = chunk("hk-6");
    description.endOfMovi = chunk("hk-7");
    description.afterMovi = chunk("hk-8");
    description.endOfRiff = chunk("hk-9");
    description.startOfAvix = chunk("hk-a");
    description.endOfAvix = chunk("hk-b");
    description.endOfFile = chunk("hk-c");
    EXPECT_EQ(Names(BuildSimpleAvi(description)),
              (KrNames{"AVI ", "hk-2", "hdrl", "avih", "hk-3", "strl", "strh", "hk-0", "strf", "indx",
                       "hk-1", "odml", "dmlh", "hk-4", "hk-5", "movi", "hk-6", "00dc", "ix00", "hk-7",
                       "hk-8", "idx1", "hk-9", "AVIX", "hk-a", "movi", "00dc", "ix00", "hk-b", "hk-c"}));
}

TEST(SimpleAviTest, FileOfManyGigabytes_CostsNoMemory)
{
    SKrSimpleAvi description;
    description.streams[0].chunkSizes = std::vector<uint32_t>(12, 1'000'000'000);
    description.roundsPerSegment = {3, 3, 3, 3};
    description.index = EKrIndexKind::OpenDml;
    const SKrBuiltAvi avi = BuildSimpleAvi(description);
    EXPECT_GT(avi.content.Size(), 12'000'000'000u);
    EXPECT_EQ(avi.segments.size(), 4u);
    EXPECT_EQ(TextAt(avi, avi.streamChunks[0][11].header), "00dc");
    EXPECT_EQ(U64At(avi, avi.Find("indx").data + 24 + 3 * 16), avi.Find("ix00", 3).header);
    size_t held = 0;
    for (const auto& [position, bytes] : avi.content.Extents())
        held += bytes.size();
    EXPECT_LT(held, 10'000u);
}

TEST(SimpleAviTest, SegmentsThatAreListed_AreWrittenEvenWhenEmpty)
{
    SKrSimpleAvi description;
    description.roundsPerSegment = {5, 1, 1};
    const SKrBuiltAvi avi = BuildSimpleAvi(description);
    EXPECT_EQ(avi.segments.size(), 3u);
    EXPECT_EQ(avi.segments[2].size, 16u); // form type and an empty 'movi'
}

TEST(SimpleAviTest, MoreStdIndexesThanSlots_AreRefused)
{
    SKrSimpleAvi description;
    description.index = EKrIndexKind::OpenDml;
    description.entriesPerStdIndex = 1;
    description.superIndexSlots = 2;
    EXPECT_THROW((void)BuildSimpleAvi(description), std::length_error);
}

TEST(SimpleAviTest, PatternBytes_DifferAndAreNeverZero)
{
    EXPECT_EQ(PatternBytes(0, 0, 3), (KrBytes{1, 2, 3}));
    EXPECT_EQ(PatternBytes(0, 1, 3), (KrBytes{32, 33, 34}));
    EXPECT_EQ(PatternBytes(1, 0, 3), (KrBytes{98, 99, 100}));
    EXPECT_EQ(PatternBytes(0, 0, 252)[250], 251);
    EXPECT_EQ(PatternBytes(0, 0, 252)[251], 1);
    EXPECT_EQ(StreamChunkId(10, "wb"), "0awb");
    EXPECT_EQ(StreamChunkId(0, "dc"), "00dc");
}
