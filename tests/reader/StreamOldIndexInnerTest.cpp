// Slot 23, from 'idx1': any stream, from any entry on, wherever the offsets count from.
#include "tests/reader/AllStreamsSupport.h"

#include <cstring>

using namespace KrTest;

namespace
{
SKrSimpleAvi TwoStreams(EKrIdx1Base base = EKrIdx1Base::Movi)
{
    SKrSimpleAvi avi;
    avi.index = EKrIndexKind::Idx1;
    avi.idx1Base = base;
    avi.streams = {VideoStream({100, 0, 102, 103, 104}), PcmStream({64, 68, 72, 76, 80})};
    avi.streams[0].keyFrameEvery = 2;
    return avi;
}

// The file with offsets that all count from `by` bytes further on.
CKrFileContent Shifted(const SKrBuiltAvi& built, int64_t by)
{
    CKrFileContent content = built.content;
    const SKrBuiltChunk idx1 = built.Find("idx1");
    for (uint64_t at = idx1.data; at + 16 <= idx1.data + idx1.size; at += 16)
    {
        uint32_t offset = 0;
        content.Read(at + 8, &offset, sizeof offset);
        content.PutU32(at + 8, static_cast<uint32_t>(offset - by));
    }
    return content;
}

class StreamOldIndex : public AllStreams
{
protected:
    void ExpectBothStreams(const SKrBuiltAvi& built)
    {
        EXPECT_EQ(LoadStreamOf(m_reader, 0), (SKrStreamAnswer{1, PlacesOf(built, 0, 0, 2)}));
        EXPECT_EQ(LoadStreamOf(m_reader, 1), (SKrStreamAnswer{1, PlacesOf(built, 1)}));
    }
};
} // namespace

TEST_F(StreamOldIndex, OffsetsFromMovi_FromTheFilesStart_AndFromTheFirstChunk)
{
    ExpectBothStreams(BuildAndOpen(TwoStreams()));
    ExpectBothStreams(BuildAndOpen(TwoStreams(EKrIdx1Base::FileStart)));
    const SKrBuiltAvi built = BuildSimpleAvi(TwoStreams());
    Open(Shifted(built, 4));
    ExpectBothStreams(built);
}

// The first chunk in 'movi' is one that no entry stands for.
TEST_F(StreamOldIndex, OffsetsFromTheFirstChunk_WhateverThatIs)
{
    SKrSimpleAvi avi = TwoStreams();
    uint64_t first = 0;
    avi.startOfMovi = [&](CKrAviBuilder& file)
    {
        first = file.Chunk("JUNK", KrBytes(50, 1)).header;
    };
    const SKrBuiltAvi built = BuildSimpleAvi(avi);
    Open(Shifted(built, static_cast<int64_t>(first - built.Find("movi").data)));
    ExpectBothStreams(built);
}

TEST_F(StreamOldIndex, OneEntryThatIsWrong_DoesNotMoveTheOthers)
{
    for (const EKrIdx1Base base : {EKrIdx1Base::Movi, EKrIdx1Base::FileStart})
    {
        for (const uint32_t number : {0u, 9u}) // the first, the last
        {
            SKrBuiltAvi built = BuildSimpleAvi(TwoStreams(base));
            built.content.PutU32(built.Find("idx1").data + 16 * number + 8, 5);
            Open(built.content);
            const uint32_t stream = number % 2;
            const SKrStreamAnswer other = LoadStreamOf(m_reader, 1 - stream);
            EXPECT_EQ(other.entries, PlacesOf(built, 1 - stream, 0, stream == 0 ? 1 : 2));
            EXPECT_EQ(LoadStreamOf(m_reader, stream).entries.size(), 5u);
        }
    }
}

// No entry meets a chunk: the offsets themselves have to do.
TEST_F(StreamOldIndex, ChunksOfOtherIds_LeaveTheGuessFromTheFirstOffset)
{
    for (const EKrIdx1Base base : {EKrIdx1Base::Movi, EKrIdx1Base::FileStart})
    {
        SKrBuiltAvi built = BuildSimpleAvi(TwoStreams(base));
        for (const SKrBuiltChunk& chunk : built.chunks)
        {
            if (chunk.id == "00dc" || chunk.id == "01wb")
                built.content.PutU32(chunk.header, 0x58585858);
        }
        Open(built.content);
        ExpectBothStreams(built);
    }
}

TEST_F(StreamOldIndex, FromAnyEntryOn_AlsoPastTheLast)
{
    const SKrBuiltAvi built = BuildAndOpen(TwoStreams());
    for (size_t first = 0; first <= 6; ++first)
        EXPECT_EQ(LoadStreamOf(m_reader, 0, first), (SKrStreamAnswer{1, PlacesOf(built, 0, first, 2)}))
            << first;
    EXPECT_EQ(LoadStreamOf(m_reader, 0, ~uint64_t{0}), (SKrStreamAnswer{1, {}}));
}

TEST_F(StreamOldIndex, LastEntriesOfALongIndex_AreReadAlone)
{
    SKrSimpleAvi avi = TwoStreams();
    avi.streams[0].chunkSizes.assign(30'000, 2);
    avi.streams[1].chunkSizes.assign(10'000, 4);
    const SKrBuiltAvi built = BuildAndOpen(avi);
    for (const size_t first : {0u, 4095u, 4096u, 9'999u, 10'000u, 20'479u, 20'480u, 29'999u})
        EXPECT_EQ(LoadStreamOf(m_reader, 0, first).entries, PlacesOf(built, 0, first, 2)) << first;
    EXPECT_EQ(LoadStreamOf(m_reader, 1, 9'000).entries, PlacesOf(built, 1, 9'000));
    m_counts.Reset();
    EXPECT_EQ(LoadStreamOf(m_reader, 0, 29'999).entries.size(), 1u);
    EXPECT_LE(m_counts.Calls().bytes, 4096u * 16) << "one piece of the index";
}

TEST_F(StreamOldIndex, RecLists_StreamsPastFifteen_AndOtherSuffixes)
{
    SKrSimpleAvi avi = TwoStreams();
    avi.recLists = true;
    for (const unsigned number : {2u, 3u, 4u, 5u, 6u, 7u, 8u, 9u, 10u, 11u, 12u, 13u, 14u, 15u, 16u, 17u})
        avi.streams.push_back(NumberedInDecimal(PcmStream({number, 100 + number}), number));
    avi.streams[17].suffix = "tx";
    avi.streams[17].chunkId = "17tx";
    const SKrBuiltAvi built = BuildAndOpen(avi);
    for (const uint32_t stream : {0u, 9u, 10u, 16u, 17u})
        EXPECT_EQ(LoadStreamOf(m_reader, stream).entries, PlacesOf(built, stream, 0, stream == 0 ? 2 : 1))
            << stream;
}

TEST_F(StreamOldIndex, EntriesOfNoStream_ArePassedOver)
{
    SKrSimpleAvi avi = TwoStreams();
    avi.index = EKrIndexKind::None;
    SKrBuiltAvi plain = BuildSimpleAvi(avi);
    const uint64_t chunk = plain.streamChunks[0][0].header;
    avi.afterMovi = [&](CKrAviBuilder& file)
    {
        std::vector<SKrTestIdx1Entry> entries;
        for (const char* const id : {"7Fxx", "rec ", "ix00", "00ix", "0adc", "JUNK", "02wb", "99tx"})
            entries.push_back({id, 0x10, static_cast<uint32_t>(chunk), 100});
        entries.push_back({"00dc", 0, static_cast<uint32_t>(chunk), 100});
        file.Chunk("idx1", ToBytes(entries));
    };
    const SKrBuiltAvi built = BuildAndOpen(avi);
    EXPECT_EQ(LoadStreamOf(m_reader, 0), (SKrStreamAnswer{1, {{chunk + 8, 100, false}}}));
    EXPECT_EQ(LoadStreamOf(m_reader, 1).status, 0);
}

TEST_F(StreamOldIndex, EachSegmentsOwnIndex_CountsForIt)
{
    SKrSimpleAvi avi = TwoStreams();
    avi.roundsPerSegment = {2, 3};
    SKrBuiltAvi plain = BuildSimpleAvi(avi);
    std::vector<SKrTestIdx1Entry> entries;
    const uint64_t movi = plain.Find("movi", 1).data;
    for (size_t round = 2; round < 5; ++round)
    {
        for (const size_t stream : {0u, 1u})
        {
            const SKrBuiltChunk& chunk = plain.streamChunks[stream][round];
            entries.push_back({chunk.id, stream == 0 && round == 3 ? 0u : 0x10u,
                               static_cast<uint32_t>(chunk.header - movi), chunk.size});
        }
    }
    avi.endOfAvix = [&](CKrAviBuilder& file)
    {
        file.Chunk("idx1", ToBytes(entries));
    };
    const SKrBuiltAvi built = BuildAndOpen(avi);
    ExpectBothStreams(built);
    EXPECT_EQ(LoadStreamOf(m_reader, 0, 3).entries, PlacesOf(built, 0, 3, 2));
}

TEST_F(StreamOldIndex, EntriesOutsideTheFile_AreDroppedAndCounted)
{
    SKrBuiltAvi built = BuildSimpleAvi(TwoStreams());
    const uint64_t idx1 = built.Find("idx1").data;
    built.content.PutU32(idx1 + 4 * 16 + 8, 0x7FFFFFFF);
    built.content.PutU32(idx1 + 6 * 16 + 12, 0xFFFFFFFF);
    Open(built.content);
    KrChunkPlaces places = PlacesOf(built, 0, 0, 2);
    places.erase(places.begin() + 2, places.begin() + 4);
    EXPECT_EQ(LoadStreamOf(m_reader, 0), (SKrStreamAnswer{1, places}));
    EXPECT_EQ(PropertiesOf(m_reader, 0).droppedEntries, 2u);
}

TEST_F(StreamOldIndex, CutIndex_GivesItsWholeEntries)
{
    const SKrBuiltAvi built = BuildSimpleAvi(TwoStreams());
    CKrFileContent content = built.content;
    content.Resize(built.Find("idx1").data + 16 * 5 + 3);
    Open(content);
    KrChunkPlaces places = PlacesOf(built, 0, 0, 2);
    places.resize(3);
    EXPECT_EQ(LoadStreamOf(m_reader, 0), (SKrStreamAnswer{1, places}));
}

TEST_F(StreamOldIndex, EveryFailedRead_FailsTheLoad)
{
    SKrBuiltAvi built;
    const uint64_t struck = ForEveryFailedRead([&] { built = BuildAndOpen(TwoStreams()); },
                                               [&]
                                               {
                                                   const SKrStreamAnswer answer =
                                                       LoadStreamOf(m_reader, 0, 2);
                                                   EXPECT_EQ(answer.status, m_faults.FaultStruck() ? 0 : 1);
                                               },
                                               [&] { ExpectBothStreams(built); });
    EXPECT_GE(struck, 40u);
}
