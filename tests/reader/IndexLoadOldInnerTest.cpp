// Loads of 'idx1': the base of its offsets, which entries count, and what the reader keeps of a load.
#include "tests/reader/IndexLoadInnerSupport.h"

#include <gtest/gtest.h>

using namespace KrTest;

namespace
{
using KrOldEntries = std::vector<SKrTestIdx1Entry>;

// A file with the default three frames and three audio chunks, and these entries.
SKrSimpleAvi WithEntries(const KrOldEntries& entries, SKrChunkOptions options = {})
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::None, 3);
    avi.afterMovi = [entries, options](CKrAviBuilder& file)
    {
        file.Chunk("idx1", ToBytes(entries), options);
    };
    return avi;
}

struct SLoaded
{
    explicit SLoaded(const SKrSimpleAvi& avi)
        : built(BuildSimpleAvi(avi)), file(built.content), video(LoadVideoOf(file.Reader())),
          audio(LoadAudioOf(file.Reader()))
    {
    }

    // Positions of payloads when the first chunk's header is at `offset` according to the index.
    uint64_t VideoAt(uint32_t offset, uint32_t first = 4) const
    {
        return built.streamChunks[0][0].data + offset - first;
    }
    uint64_t AudioAt(uint32_t offset, uint32_t first) const
    {
        return built.streamChunks[1][0].data + offset - first;
    }

    SKrBuiltAvi built;
    CKrParsedInMemory file;
    SKrLoadAnswer video;
    SKrLoadAnswer audio;
};
} // namespace

// Any first offset will do: it is matched with the first chunk in 'movi'.
TEST(IndexLoadOld, AnyFirstOffset_MatchesTheFirstChunk)
{
    for (const uint32_t first : {0u, 1u, 4u, 5000u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu})
    {
        const SLoaded loaded(WithEntries({{"00dc", 0x10, first, 100},
                                          {"01wb", 0x10, first + 3, 96},
                                          {"00dc", 0x10, first + 6, 7},
                                          {"01wb", 0x10, first + 9, 8}}));
        EXPECT_EQ(loaded.video.entries,
                  (PlacesAndSizes{{loaded.VideoAt(0, 0), 100}, {loaded.VideoAt(6, 0), 7}}));
        EXPECT_EQ(loaded.audio.entries,
                  (PlacesAndSizes{{loaded.AudioAt(0, 0), 96}, {loaded.AudioAt(6, 0), 8}}));
    }
}

// Kept: the entries of an index that omits the first chunks of 'movi' are all shifted to its start.
TEST(IndexLoadOld, IndexThatBeginsLater_IsHeldAgainstTheFirstChunkAllTheSame)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::None, 3);
    SKrBuiltAvi first = BuildSimpleAvi(avi);
    const auto second = static_cast<uint32_t>(first.streamChunks[0][1].header);
    const SLoaded loaded(WithEntries({{"00dc", 0x10, second, 100}}));
    EXPECT_EQ(loaded.video.entries, (PlacesAndSizes{{loaded.built.streamChunks[0][0].data, 100}}));
}

TEST(IndexLoadOld, EntriesThatAreNotTheStreams_AreSkippedWithTheirOffsets)
{
    KrOldEntries entries;
    for (const char* id :
         {"7Fxx", "JUNK", "ix00", "00pc", "00tx", "01dc", "00DC", "0 dc", "00wb", "10dc", "LIST"})
        entries.push_back({id, 0x10, 0xFFFFFFF0, 1});
    entries.push_back({"00db", 0x10, 4, 100});
    entries.push_back({"rec ", 0x1, 0, 0});
    entries.push_back({"00dc", 0x10, 50, 60});
    const SLoaded loaded(WithEntries(entries));
    EXPECT_EQ(loaded.video.entries, (PlacesAndSizes{{loaded.VideoAt(4), 100}, {loaded.VideoAt(50), 60}}));
    EXPECT_EQ(loaded.file.State().totalFrames, 2u);
    EXPECT_EQ(loaded.audio.status, 1);
    EXPECT_TRUE(loaded.audio.entries.empty());
    EXPECT_EQ(loaded.file.State().statistics.audioEntries, 0u);
}

TEST(IndexLoadOld, AudioEntries_AreWbOnly)
{
    const SLoaded loaded(WithEntries({{"01dc", 0, 9, 1},
                                      {"01wc", 0, 9, 1},
                                      {"00wb", 0, 9, 1},
                                      {"01WB", 0, 9, 1},
                                      {"01wb", 0, 30, 96},
                                      {"01db", 0, 9, 1},
                                      {"01wb", 0, 40, 90}}));
    EXPECT_EQ(loaded.audio.entries,
              (PlacesAndSizes{{loaded.AudioAt(30, 30), 96}, {loaded.AudioAt(40, 30), 90}}));
}

TEST(IndexLoadOld, Flags_AreIgnored)
{
    const SLoaded loaded(WithEntries(
        {{"00dc", 0, 4, 10}, {"00dc", 1, 20, 11}, {"00dc", 0xFFFFFFFF, 40, 12}, {"00dc", 0x100, 60, 13}}));
    EXPECT_EQ(loaded.video.entries.size(), 4u);
}

TEST(IndexLoadOld, Size_IsKeptWithAllItsBits)
{
    const SLoaded loaded(WithEntries({{"00dc", 0, 4, 0x80000000}, {"01wb", 0, 4, 0xFFFFFFFF}}));
    EXPECT_EQ(loaded.video.entries.at(0).second, 0x80000000u);
    EXPECT_EQ(loaded.audio.entries.at(0).second, 0xFFFFFFFFu);
    EXPECT_EQ(loaded.file.State().statistics.largestVideoChunk, 0x80000000u);
}

TEST(IndexLoadOld, FirstEntryBeyondTheFile_EndsTheIndexOfItsStreamOnly)
{
    const SLoaded loaded(WithEntries({{"00dc", 0, 4, 10},
                                      {"01wb", 0, 112, 11},
                                      {"00dc", 0, 0x00100000, 12},
                                      {"00dc", 0, 50, 13},
                                      {"01wb", 0, 150, 14},
                                      {"01wb", 0, 0x00100000, 15},
                                      {"01wb", 0, 160, 16}}));
    EXPECT_EQ(loaded.video.entries, (PlacesAndSizes{{loaded.VideoAt(4), 10}}));
    EXPECT_EQ(loaded.file.State().totalFrames, 1u);
    EXPECT_EQ(loaded.file.State().statistics.largestVideoChunk, 10u) << "what was dropped does not count";
    EXPECT_EQ(loaded.audio.entries,
              (PlacesAndSizes{{loaded.AudioAt(112, 112), 11}, {loaded.AudioAt(150, 112), 14}}));
    EXPECT_EQ(loaded.file.State().statistics.audioEntries, 2u);
}

// A position that would lie before the file wraps to one far beyond it.
TEST(IndexLoadOld, OffsetFarBelowTheFirst_WrapsBeyondTheFile)
{
    const SLoaded loaded(
        WithEntries({{"00dc", 0, 0x40000000, 10}, {"00dc", 0, 4, 11}, {"00dc", 0, 0x40000000, 12}}));
    EXPECT_EQ(loaded.video.entries.size(), 1u);
}

TEST(IndexLoadOld, EntryAtTheEndOfTheFile_EndsTheIndexAndOneBeforeDoesNot)
{
    for (const size_t stream : {0, 1})
    {
        const std::string id = stream == 0 ? "00dc" : "01wb";
        SKrBuiltAvi built = BuildSimpleAvi(WithEntries({{id, 0, 0, 10}, {id, 0, 0, 11}}));
        const uint64_t offsetAt = built.Find("idx1").data + 16 + 8;
        const auto offset = static_cast<uint32_t>(built.content.Size() - built.streamChunks[stream][0].data);
        for (const uint32_t before : {0, 1})
        {
            built.content.PutU32(offsetAt, offset - before);
            CKrParsedInMemory file(built.content);
            const SKrLoadAnswer load = stream == 0 ? LoadVideoOf(file.Reader()) : LoadAudioOf(file.Reader());
            EXPECT_EQ(load.entries.size(), 1 + before);
        }
    }
}

TEST(IndexLoadOld, NoEntry_FailsAndLeavesTheCounts)
{
    for (const size_t bytes : {0, 15})
    {
        SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::None);
        avi.mainHeader.totalFrames = 55;
        avi.afterMovi = [bytes](CKrAviBuilder& file)
        {
            file.Chunk("idx1", KrBytes(bytes, '0'));
        };
        CKrParsedInMemory file(avi);
        ASSERT_TRUE(file.State().statistics.oldIndexPresent);
        EXPECT_EQ(LoadVideoOf(file.Reader()).status, 0);
        EXPECT_EQ(LoadAudioOf(file.Reader()).status, 0);
        EXPECT_EQ(file.State().totalFrames, 55u);
    }
}

TEST(IndexLoadOld, SizeFieldOfAllOnes_GivesWhatTheFileHolds)
{
    SKrBuiltAvi built = BuildSimpleAvi(TwoStreamAvi(EKrIndexKind::Idx1));
    built.content.PutU32(built.Find("idx1").header + 4, 0xFFFFFFFF);
    CKrParsedInMemory file(built.content);
    EXPECT_EQ(file.State().videoIndex.oldIndexEntries, 0x0FFFFFFFu);
    EXPECT_EQ(LoadVideoOf(file.Reader()).entries, ChunksOf(built, 0));
    EXPECT_EQ(LoadAudioOf(file.Reader()).entries, ChunksOf(built, 1));
}

// The count of one load does not become the size of the next.
TEST(IndexLoadOld, RepeatedLoadsOfBothKinds_GiveTheSame)
{
    CKrParsedInMemory file(TwoStreamAvi(EKrIndexKind::Idx1, 5));
    const SKrLoadAnswer video = LoadVideoOf(file.Reader());
    const SKrLoadAnswer audio = LoadAudioOf(file.Reader());
    ASSERT_EQ(video.entries.size(), 5u);
    ASSERT_EQ(audio.entries.size(), 5u);
    for (int round = 0; round < 3; ++round)
    {
        EXPECT_EQ(LoadVideoOf(file.Reader()).entries, video.entries);
        EXPECT_EQ(LoadVideoOf(file.Reader()).entries, video.entries);
        EXPECT_EQ(LoadAudioOf(file.Reader()).entries, audio.entries);
        EXPECT_EQ(file.State().videoIndex.oldIndexEntries, 10u);
        EXPECT_EQ(file.State().audio[0].index.oldIndexEntries, 10u);
        EXPECT_EQ(file.State().totalFrames, 5u);
        EXPECT_EQ(file.State().statistics.audioEntries, 5u);
    }
}

// The first kept audio stream is loaded, also when one before it could not be kept.
TEST(IndexLoadOld, FirstKeptAudioStream_IsTheOneLoaded)
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream({10, 10}), PcmStream({20, 20}), PcmStream({30, 30, 30}), PcmStream({40, 40})};
    avi.streams[1].format = ToBytes(SKrTestWaveFormat{.bitsPerSample = 0});
    const SLoaded loaded(avi);
    ASSERT_EQ(loaded.file.State().audioStreamCount, 2);
    EXPECT_EQ(loaded.audio.entries, ChunksOf(loaded.built, 2));
}

TEST(IndexLoadOld, FileWithoutSuchAStream_FailsTheLoad)
{
    SKrSimpleAvi avi;
    const SLoaded videoOnly(avi);
    EXPECT_EQ(videoOnly.video.status, 1);
    EXPECT_EQ(videoOnly.audio.status, 0);
    avi.streams = {PcmStream()};
    const SLoaded audioOnly(avi);
    EXPECT_EQ(audioOnly.video.status, 0);
    EXPECT_EQ(audioOnly.audio.status, 1);
}
