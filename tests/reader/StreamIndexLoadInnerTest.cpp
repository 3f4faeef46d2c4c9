// Slot 23, from the indexes of OpenDML: any stream, from any entry on.
#include "tests/reader/AllStreamsSupport.h"
#include "tests/support/KrByteWriter.h"

using namespace KrTest;

namespace
{
constexpr size_t kHead = 32; // bytes of an index chunk before its entries

// Two streams, whose standard indexes hold three entries each, in two segments.
SKrSimpleAvi ManyBlocks()
{
    SKrSimpleAvi avi;
    avi.index = EKrIndexKind::OpenDml;
    avi.streams = {VideoStream({100, 101, 0, 103, 104, 0, 106, 107, 108, 109}),
                   PcmStream({64, 68, 72, 76, 80, 84, 88, 92, 96, 100})};
    avi.streams[0].keyFrameEvery = 4;
    avi.entriesPerStdIndex = 3;
    avi.roundsPerSegment = {5, 5};
    return avi;
}

// A file whose one stream has this 'indx', and whose 'movi' holds what `data` writes.
SKrBuiltAvi WithIndex(const KrBytes& indx, const KrBuilderHook& data)
{
    SKrSimpleAvi avi;
    avi.index = EKrIndexKind::None;
    avi.streams = {VideoStream({10})};
    avi.streams[0].endOfStrl = [&](CKrAviBuilder& file)
    {
        file.Chunk("indx", indx);
    };
    avi.endOfMovi = data;
    return BuildSimpleAvi(avi);
}

using StreamIndexLoad = AllStreams;
} // namespace

TEST_F(StreamIndexLoad, EveryEntry_InIndexOrder_WithKeyFlags_EmptyChunksIncluded)
{
    const SKrBuiltAvi built = BuildAndOpen(ManyBlocks());
    EXPECT_EQ(LoadStreamOf(m_reader, 0), (SKrStreamAnswer{1, PlacesOf(built, 0, 0, 4)}));
    EXPECT_EQ(LoadStreamOf(m_reader, 1), (SKrStreamAnswer{1, PlacesOf(built, 1)}));
    EXPECT_EQ(LoadStreamOf(m_reader, 2), (SKrStreamAnswer{0, {}}));
}

TEST_F(StreamIndexLoad, FromAnyEntryOn_AlsoPastTheLast)
{
    const SKrBuiltAvi built = BuildAndOpen(ManyBlocks());
    for (size_t first = 0; first <= 11; ++first)
        EXPECT_EQ(LoadStreamOf(m_reader, 0, first), (SKrStreamAnswer{1, PlacesOf(built, 0, first, 4)}))
            << first;
    EXPECT_EQ(LoadStreamOf(m_reader, 0, ~uint64_t{0}), (SKrStreamAnswer{1, {}}));
}

TEST_F(StreamIndexLoad, OnlyTheBlocksThatHoldTheEntries_AreRead)
{
    BuildAndOpen(ManyBlocks());
    static_cast<void>(LoadStreamOf(m_reader, 0)); // the heads are known from here on
    m_counts.Reset();
    EXPECT_EQ(LoadStreamOf(m_reader, 0, 9).entries.size(), 1u);
    EXPECT_EQ(m_counts.Calls().reads, 1u);
    EXPECT_EQ(m_counts.Calls().bytes, 8u);
    m_counts.Reset();
    EXPECT_EQ(LoadStreamOf(m_reader, 0, 10).entries.size(), 0u);
    EXPECT_EQ(m_counts.Calls().reads, 0u);
}

TEST_F(StreamIndexLoad, LastEntriesOfAFileThatWasJustOpened_CostAHeadForEachBlock_NotItsEntries)
{
    SKrSimpleAvi avi = ManyBlocks();
    avi.streams = {VideoStream(std::vector<uint32_t>(4000, 4))};
    avi.roundsPerSegment.clear();
    avi.entriesPerStdIndex = 1000;
    BuildAndOpen(avi);
    EXPECT_EQ(m_reader.GetStreamCount(), 1u);
    m_counts.Reset();
    EXPECT_EQ(LoadStreamOf(m_reader, 0, 3999).entries.size(), 1u);
    EXPECT_LE(m_counts.Calls().bytes, 6 * kHead + 4 * 16 + 8);
}

TEST_F(StreamIndexLoad, StreamWithoutChunksYet_HasAnIndexWithoutEntries)
{
    SKrSimpleAvi avi = ManyBlocks();
    avi.streams.push_back(PcmStream({}));
    BuildAndOpen(avi);
    EXPECT_EQ(LoadStreamOf(m_reader, 2), (SKrStreamAnswer{1, {}}));
}

TEST_F(StreamIndexLoad, StreamWithoutAnyIndex_IsRefused)
{
    SKrSimpleAvi avi = ManyBlocks();
    avi.streams[1].hasSuperIndex = false;
    BuildAndOpen(avi);
    EXPECT_EQ(LoadStreamOf(m_reader, 0).status, 1);
    EXPECT_EQ(LoadStreamOf(m_reader, 1).status, 0);
    avi.index = EKrIndexKind::None;
    BuildAndOpen(avi);
    EXPECT_EQ(LoadStreamOf(m_reader, 0).status, 0);
}

TEST_F(StreamIndexLoad, StreamWithoutItsOwn_HasTheOldIndex)
{
    SKrSimpleAvi avi = ManyBlocks();
    avi.index = EKrIndexKind::Both;
    avi.roundsPerSegment.clear();
    avi.streams[1].hasSuperIndex = false;
    const SKrBuiltAvi built = BuildAndOpen(avi);
    EXPECT_EQ(LoadStreamOf(m_reader, 0).entries, PlacesOf(built, 0, 0, 4));
    EXPECT_EQ(LoadStreamOf(m_reader, 1).entries, PlacesOf(built, 1));
}

// Some writers reserve an 'indx' and fill 'idx1' alone; then the one says nothing.
TEST_F(StreamIndexLoad, SuperIndexWithoutAnyBlock_LeavesTheOldIndex)
{
    SKrSimpleAvi avi;
    avi.index = EKrIndexKind::Idx1;
    avi.streams[0].endOfStrl = [](CKrAviBuilder& file)
    {
        file.Chunk("indx", ToBytes(SKrTestSuperIndex{.emptySlots = 4}));
    };
    const SKrBuiltAvi built = BuildAndOpen(avi);
    EXPECT_EQ(LoadStreamOf(m_reader, 0), (SKrStreamAnswer{1, PlacesOf(built, 0)}));
    avi.index = EKrIndexKind::None;
    BuildAndOpen(avi);
    EXPECT_EQ(LoadStreamOf(m_reader, 0), (SKrStreamAnswer{1, {}}));
}

TEST_F(StreamIndexLoad, WidePositionsAndRecLists)
{
    for (const bool recLists : {false, true})
    {
        SKrSimpleAvi avi = ManyBlocks();
        avi.recLists = recLists;
        avi.superSubType = avi.stdSubType = 0x10;
        const SKrBuiltAvi built = BuildAndOpen(avi);
        KrChunkPlaces places = PlacesOf(built, 0, 0, 1); // these entries have no key-frame bit
        EXPECT_EQ(LoadStreamOf(m_reader, 0).entries, places);
    }
}

TEST_F(StreamIndexLoad, SuperIndexOfSuperIndexes)
{
    uint64_t second = 0;
    std::vector<SKrBuiltChunk> chunks;
    SKrBuiltAvi built = WithIndex(
        ToBytes(SKrTestSuperIndex{.entries = {{0, 0, 0}, {0, 0, 0}}}),
        [&](CKrAviBuilder& file)
        {
            std::vector<SKrTestSuperEntry> indexes;
            for (int number = 0; number < 3; ++number)
            {
                chunks.push_back(file.Chunk("00dc", KrBytes(20 + static_cast<size_t>(number), 1)));
                const SKrBuiltChunk index = file.Chunk(
                    "ix00", ToBytes(SKrTestStdIndex{.baseOffset = chunks.back().header,
                                                    .entries = {{8, chunks.back().size, number == 0}}}));
                indexes.push_back({index.header, index.size + 8, 1});
            }
            second = file.Chunk("ix00", ToBytes(SKrTestSuperIndex{.entries = indexes})).header;
        });
    const uint64_t entries = built.Find("indx").data + 24;
    built.content.PutU32(entries, static_cast<uint32_t>(second));
    built.content.PutU32(entries + 16, static_cast<uint32_t>(second));
    Open(built.content);
    KrChunkPlaces places;
    for (int times = 0; times < 2; ++times)
    {
        for (const SKrBuiltChunk& chunk : chunks)
            places.push_back({chunk.data, chunk.size, chunk.data == chunks.front().data});
    }
    EXPECT_EQ(LoadStreamOf(m_reader, 0).entries, places);
    EXPECT_EQ(LoadStreamOf(m_reader, 0, 4).entries, KrChunkPlaces(places.begin() + 4, places.end()));
}

TEST_F(StreamIndexLoad, SuperIndexThatNamesItself_Ends)
{
    SKrTestSuperIndex index;
    index.entries.assign(200, {0, 0, 0});
    SKrBuiltAvi built = WithIndex(ToBytes(index), [](CKrAviBuilder&) {});
    const SKrBuiltChunk indx = built.Find("indx");
    for (uint32_t number = 0; number < 200; ++number)
        built.content.PutU32(indx.data + 24 + 16 * number, static_cast<uint32_t>(indx.header));
    Open(built.content);
    EXPECT_EQ(LoadStreamOf(m_reader, 0).status, 0);
    EXPECT_LE(m_counts.Calls().reads, built.content.Size() / 16);
}

TEST_F(StreamIndexLoad, FieldIndexes_GiveTheFrames)
{
    for (const uint8_t subType : {uint8_t{1}, uint8_t{0}})
    {
        std::vector<SKrBuiltChunk> chunks;
        SKrBuiltChunk ix;
        SKrBuiltAvi built =
            WithIndex(ToBytes(SKrTestSuperIndex{.subType = subType, .entries = {{0, 0, 0}}}),
                      [&](CKrAviBuilder& file)
                      {
                          chunks = {file.Chunk("00dc", KrBytes(40, 1)), file.Chunk("00dc", KrBytes(50, 1))};
                          CKrTestByteWriter out;
                          out.U16(3).U8(subType).U8(1).U32(2).FourCc("00dc").U64(chunks[0].header).U32(0);
                          for (const SKrBuiltChunk& chunk : chunks) // frame, its size, second field
                              out.U32(static_cast<uint32_t>(chunk.data - chunks[0].header))
                                  .U32(chunk.size | (chunk.size == 50 ? 0x80000000 : 0))
                                  .U32(static_cast<uint32_t>(chunk.data - chunks[0].header + 20));
                          ix = file.Chunk("ix00", out.Bytes());
                      });
        built.content.PutU32(built.Find("indx").data + 24, static_cast<uint32_t>(ix.header));
        Open(built.content);
        const KrChunkPlaces places = {{chunks[0].data, 40, true}, {chunks[1].data, 50, false}};
        EXPECT_EQ(LoadStreamOf(m_reader, 0), (SKrStreamAnswer{1, places})) << int{subType};
        EXPECT_EQ(LoadStreamOf(m_reader, 0, 1).entries, (KrChunkPlaces{{chunks[1].data, 50, false}}));
    }
}

// OpenDML lets a short file have its standard index in the header itself.
TEST_F(StreamIndexLoad, StandardIndexInPlaceOfTheSuperIndex)
{
    SKrBuiltChunk chunk;
    SKrBuiltAvi built = WithIndex(ToBytes(SKrTestStdIndex{.entries = {{0, 40, true}}}),
                                  [&](CKrAviBuilder& file) { chunk = file.Chunk("00dc", KrBytes(40, 1)); });
    built.content.PutU32(built.Find("indx").data + 24, static_cast<uint32_t>(chunk.data));
    Open(built.content);
    EXPECT_EQ(LoadStreamOf(m_reader, 0).entries, (KrChunkPlaces{{chunk.data, 40, true}}));
}

TEST_F(StreamIndexLoad, EntriesOutsideTheFile_AreDroppedAndCounted_ByTheLastLoad)
{
    SKrBuiltAvi built = BuildSimpleAvi(ManyBlocks());
    const uint64_t size = built.content.Size();
    const SKrBuiltChunk ix = built.Find("ix00");                         // entries 0 to 2
    built.content.PutU32(ix.data + 24 + 8, 0xFFFFFFF0);                  // far outside
    built.content.PutU32(ix.data + 24 + 4, static_cast<uint32_t>(size)); // begins inside and ends outside
    Open(built.content);
    EXPECT_EQ(LoadStreamOf(m_reader, 0), (SKrStreamAnswer{1, PlacesOf(built, 0, 2, 4)}));
    EXPECT_EQ(PropertiesOf(m_reader, 0).droppedEntries, 2u);
    EXPECT_EQ(PropertiesOf(m_reader, 1).droppedEntries, 0u);
    EXPECT_EQ(LoadStreamOf(m_reader, 0, 1).entries.size(), 8u) << "the numbers count all entries";
    EXPECT_EQ(PropertiesOf(m_reader, 0).droppedEntries, 1u);
    EXPECT_EQ(LoadStreamOf(m_reader, 0, 2).entries.size(), 8u);
    EXPECT_EQ(PropertiesOf(m_reader, 0).droppedEntries, 0u);
}

TEST_F(StreamIndexLoad, EntryWhosePositionWraps_IsOutside)
{
    SKrBuiltAvi built = BuildSimpleAvi(ManyBlocks());
    const SKrBuiltChunk ix = built.Find("ix00");
    for (const uint64_t base : {~uint64_t{0}, ~uint64_t{0} - 100})
    {
        built.content.PutU32(ix.data + 12, static_cast<uint32_t>(base));
        built.content.PutU32(ix.data + 16, static_cast<uint32_t>(base >> 32));
        Open(built.content);
        EXPECT_EQ(LoadStreamOf(m_reader, 0).entries.size(), 7u);
        EXPECT_EQ(PropertiesOf(m_reader, 0).droppedEntries, 3u);
    }
}

TEST_F(StreamIndexLoad, CountBeyondTheIndexChunk_IsCutToIt)
{
    SKrBuiltAvi built = BuildSimpleAvi(ManyBlocks());
    const SKrBuiltChunk ix = built.Find("ix00");
    built.content.PutU32(ix.data + 4, 0xFFFFFFFF);
    Open(built.content);
    EXPECT_EQ(LoadStreamOf(m_reader, 0).entries, PlacesOf(built, 0, 0, 4));
}

TEST_F(StreamIndexLoad, BlocksThatClaimMoreThanTheFileCanHold_FailTheLoad)
{
    SKrTestSuperIndex index;
    index.entries.assign(200, {0, 0, 0});
    SKrTestStdIndex block;
    block.entries.assign(500, {0, 4, true});
    SKrBuiltChunk ix;
    SKrBuiltAvi built =
        WithIndex(ToBytes(index), [&](CKrAviBuilder& file) { ix = file.Chunk("ix00", ToBytes(block)); });
    for (uint32_t number = 0; number < 200; ++number) // the same block each time
        built.content.PutU32(built.Find("indx").data + 24 + 16 * number, static_cast<uint32_t>(ix.header));
    Open(built.content);
    EXPECT_EQ(LoadStreamOf(m_reader, 0).status, 0);
    EXPECT_LE(m_counts.Calls().bytes, 2 * built.content.Size() + 65536);
}

TEST_F(StreamIndexLoad, EveryFailedRead_FailsTheLoad)
{
    const SKrSimpleAvi avi = ManyBlocks();
    SKrBuiltAvi built;
    const uint64_t struck = ForEveryFailedRead(
        [&] { built = BuildAndOpen(avi); },
        [&]
        {
            const SKrStreamAnswer answer = LoadStreamOf(m_reader, 0, 2);
            EXPECT_EQ(answer.status, m_faults.FaultStruck() ? 0 : 1);
        },
        [&] { EXPECT_EQ(LoadStreamOf(m_reader, 0, 2).entries, PlacesOf(built, 0, 2, 4)); });
    EXPECT_GE(struck, 20u);
}

TEST_F(StreamIndexLoad, EveryPrefix_GivesWholeChunksOfThePrefixOnly)
{
    const SKrBuiltAvi built = BuildSimpleAvi(ManyBlocks());
    const KrBytes whole = built.Bytes();
    size_t most = 0;
    for (size_t size = 201; size <= whole.size(); ++size)
    {
        m_reader.Close();
        m_memory.Set(L"a.avi", KrBytes(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size)));
        if (m_reader.Open(L"a.avi") == 0)
            continue;
        const SKrStreamAnswer answer = LoadStreamOf(m_reader, 0);
        ASSERT_GE(answer.entries.size(), most) << "a longer prefix has no fewer chunks";
        most = answer.entries.size();
        for (const SKrChunkPlace& place : answer.entries)
            ASSERT_LE(place.position + place.size, size);
    }
    EXPECT_EQ(most, 10u);
}

TEST_F(StreamIndexLoad, ArrayOfAnotherFramework_IsRefusedAndStaysAsItIs)
{
    BuildAndOpen(ManyBlocks());
    uint64_t foreign[5] = {1, 2, 3, 4, 5};
    EXPECT_EQ(m_reader.LoadStreamIndex(0, 0, *reinterpret_cast<CArray<SKrStreamIndexEntry>*>(foreign)), 0);
    for (uint64_t word = 0; word < 5; ++word)
        EXPECT_EQ(foreign[word], word + 1);
}
