// Slots 20 to 22: how many streams a file has, what each of them is, and the bytes of its format.
#include "tests/reader/AllStreamsSupport.h"
#include "tests/support/KrThreadGate.h"

#include <cstring>
#include <thread>

using namespace KrTest;

namespace
{
constexpr uint32_t kHasSuperIndexFlag = 1;
constexpr uint32_t kHasOldEntriesFlag = 2;

SKrSimpleStream TextStream(std::vector<uint32_t> sizes = {30, 31})
{
    SKrSimpleStream stream;
    stream.header.type = "txts";
    stream.header.handler = "DXSA";
    stream.header.scale = 1;
    stream.header.rate = 1000;
    stream.suffix = "tx";
    stream.format = KrBytes{1, 2, 3};
    stream.chunkSizes = std::move(sizes);
    return stream;
}

SKrSimpleAvi ThreeStreams(EKrIndexKind index = EKrIndexKind::Idx1)
{
    SKrSimpleAvi avi;
    avi.index = index;
    avi.streams = {VideoStream(), PcmStream(), TextStream()};
    return avi;
}
} // namespace

TEST_F(AllStreams, EveryList_IsAStream_OfAnyType)
{
    SKrSimpleAvi avi = ThreeStreams();
    avi.streams[0].header.rate = 30000;
    avi.streams[0].header.scale = 1001;
    avi.streams[0].header.start = 5;
    avi.streams[0].header.length = 77;
    avi.streams[0].header.suggestedBufferSize = 12345;
    BuildAndOpen(avi);
    ASSERT_EQ(m_reader.GetStreamCount(), 3u);

    const SKrStreamProperties video = PropertiesOf(m_reader, 0);
    EXPECT_EQ(video.type, 0x73646976u);    // vids
    EXPECT_EQ(video.handler, 0x47504A4Du); // MJPG
    EXPECT_EQ(video.chunkId, 0x63643030u); // 00dc
    EXPECT_EQ(video.rate, 30000u);
    EXPECT_EQ(video.scale, 1001u);
    EXPECT_EQ(video.start, 5u);
    EXPECT_EQ(video.length, 77u);
    EXPECT_EQ(video.sampleSize, 0u);
    EXPECT_EQ(video.suggestedBufferSize, 12345u);
    EXPECT_EQ(video.formatSize, 40u);
    EXPECT_EQ(video.flags, kHasOldEntriesFlag);
    EXPECT_EQ(video.droppedEntries, 0u);
    EXPECT_EQ(video.reserved[0] | video.reserved[1] | video.reserved[2], 0u);

    const SKrStreamProperties sound = PropertiesOf(m_reader, 1);
    EXPECT_EQ(sound.type, 0x73647561u);    // auds
    EXPECT_EQ(sound.chunkId, 0x62773130u); // 01wb
    EXPECT_EQ(sound.sampleSize, 4u);
    EXPECT_EQ(sound.formatSize, 16u);

    const SKrStreamProperties text = PropertiesOf(m_reader, 2);
    EXPECT_EQ(text.type, 0x73747874u);    // txts
    EXPECT_EQ(text.handler, 0x41535844u); // DXSA
    EXPECT_EQ(text.chunkId, 0x78743230u); // 02tx
    EXPECT_EQ(text.rate, 1000u);
    EXPECT_EQ(FormatOf(m_reader, 2, 3), (KrBytes{1, 2, 3}));
}

TEST_F(AllStreams, FormatBytes_AreCopiedFromTheFirstOn_AsFarAsTheBufferGoes)
{
    SKrSimpleAvi avi = ThreeStreams();
    avi.streams[0].format.resize(3000, 7); // a picture's palette, say
    BuildAndOpen(avi);
    EXPECT_EQ(PropertiesOf(m_reader, 0).formatSize, 3000u);
    EXPECT_EQ(FormatOf(m_reader, 0, 3000), avi.streams[0].format);
    EXPECT_EQ(FormatOf(m_reader, 0, 4000), avi.streams[0].format);
    EXPECT_EQ(FormatOf(m_reader, 0, 10),
              KrBytes(avi.streams[0].format.begin(), avi.streams[0].format.begin() + 10));
    EXPECT_EQ(m_reader.ReadStreamFormat(0, nullptr, 10), 0u);
    uint8_t byte = 99;
    EXPECT_EQ(m_reader.ReadStreamFormat(0, &byte, 0), 0u);
    EXPECT_EQ(m_reader.ReadStreamFormat(3, &byte, 1), 0u);
    EXPECT_EQ(byte, 99);
}

TEST_F(AllStreams, RecordOfAnotherSize_IsFilledAsFarAsItIsKnown_OrRefused)
{
    BuildAndOpen(ThreeStreams());
    uint8_t memory[sizeof(SKrStreamProperties) + 8];
    std::memset(memory, 0xEE, sizeof memory);
    auto* const properties = reinterpret_cast<SKrStreamProperties*>(memory);
    properties->size = sizeof(SKrStreamProperties) - 1;
    EXPECT_EQ(m_reader.GetStreamProperties(0, properties), 0);
    EXPECT_EQ(properties->type, 0xEEEEEEEEu);
    properties->size = sizeof memory; // a host that was built later
    EXPECT_EQ(m_reader.GetStreamProperties(0, properties), 1);
    EXPECT_EQ(properties->size, sizeof memory);
    EXPECT_EQ(properties->type, 0x73646976u);
    EXPECT_EQ(properties->reserved[2], 0u);
    EXPECT_EQ(memory[sizeof(SKrStreamProperties)], 0xEE);
    properties->size = sizeof(SKrStreamProperties);
    properties->type = 1;
    EXPECT_EQ(m_reader.GetStreamProperties(3, properties), 0);
    EXPECT_EQ(properties->type, 1u);
    EXPECT_EQ(m_reader.GetStreamProperties(0, nullptr), 0);
}

TEST_F(AllStreams, IndexFlags_SayWhichIndexesNameTheStream)
{
    SKrSimpleAvi avi = ThreeStreams(EKrIndexKind::Both);
    avi.streams[1].hasSuperIndex = false;
    avi.streams[2].inIdx1 = false;
    BuildAndOpen(avi);
    EXPECT_EQ(PropertiesOf(m_reader, 0).flags, kHasSuperIndexFlag | kHasOldEntriesFlag);
    EXPECT_EQ(PropertiesOf(m_reader, 1).flags, kHasOldEntriesFlag);
    EXPECT_EQ(PropertiesOf(m_reader, 2).flags, kHasSuperIndexFlag);
    BuildAndOpen(ThreeStreams(EKrIndexKind::None));
    EXPECT_EQ(PropertiesOf(m_reader, 0).flags, 0u);
}

TEST_F(AllStreams, DeclaredScanModeAndAspect_AreFlagsOfTheVideoStream)
{
    SKrSimpleAvi avi = ThreeStreams();
    avi.ctsI = SKrTestCtsI{.scanMode = 1};
    BuildAndOpen(avi);
    EXPECT_EQ(PropertiesOf(m_reader, 0).flags, kHasOldEntriesFlag | 4u);
    avi.prmA = SKrTestPrmA{.horizontal = 64, .vertical = 45};
    BuildAndOpen(avi);
    EXPECT_EQ(PropertiesOf(m_reader, 0).flags, kHasOldEntriesFlag | 4u | 8u);
    EXPECT_EQ(PropertiesOf(m_reader, 1).flags, kHasOldEntriesFlag);
    avi.ctsI.reset();
    BuildAndOpen(avi);
    EXPECT_EQ(PropertiesOf(m_reader, 0).flags, kHasOldEntriesFlag | 8u);
}

TEST_F(AllStreams, FirstChunk_IsFoundWithoutAnIndex_InRecListsToo)
{
    SKrSimpleAvi avi = ThreeStreams(EKrIndexKind::None);
    avi.streams.push_back(TextStream({})); // has no chunk at all
    for (const bool recLists : {false, true})
    {
        avi.recLists = recLists;
        BuildAndOpen(avi);
        EXPECT_EQ(PropertiesOf(m_reader, 0).chunkId, 0x63643030u);
        EXPECT_EQ(PropertiesOf(m_reader, 1).chunkId, 0x62773130u);
        EXPECT_EQ(PropertiesOf(m_reader, 2).chunkId, 0x78743230u);
        EXPECT_EQ(PropertiesOf(m_reader, 3).chunkId, 0u);
    }
}

// Its number is one more than there are.
TEST_F(AllStreams, ChunkOfAStreamThatIsNotThere_IsNoStreamsFirst)
{
    SKrSimpleAvi avi;
    avi.index = EKrIndexKind::None;
    avi.streams = {VideoStream({100}), PcmStream({64})};
    avi.startOfMovi = [](CKrAviBuilder& file)
    {
        file.Chunk("02dc", KrBytes(10, 1));
    };
    BuildAndOpen(avi);
    EXPECT_EQ(PropertiesOf(m_reader, 0).chunkId, 0x63643030u);
    EXPECT_EQ(PropertiesOf(m_reader, 1).chunkId, 0x62773130u);
}

TEST_F(AllStreams, FirstChunk_OfAStreamThatOnlyItsSuperIndexKnows)
{
    SKrSimpleAvi avi = ThreeStreams(EKrIndexKind::OpenDml);
    avi.streams[0].chunkSizes.assign(2000, 10);
    avi.streams[1].chunkSizes.clear();
    avi.streams[2].chunkSizes.clear();
    avi.startOfMovi = [](CKrAviBuilder& file)
    {
        for (int number = 0; number < 2000; ++number)
            file.Chunk("00dc", KrBytes(10, 1));
    };
    avi.streams[1].suffix = "wb";
    SKrBuiltAvi built = BuildSimpleAvi(avi);
    Open(built.content);
    EXPECT_EQ(PropertiesOf(m_reader, 1).chunkId, 0u) << "not among the first chunks, and in no index";
    avi.streams[1].chunkSizes.assign(2000, 0);
    avi.streams[1].chunkSizes.push_back(5);
    BuildAndOpen(avi);
    EXPECT_EQ(PropertiesOf(m_reader, 1).chunkId, 0x62773130u);
}

TEST_F(AllStreams, AHundredStreams_AreListed_AndNoMore)
{
    SKrSimpleAvi avi;
    avi.index = EKrIndexKind::Idx1;
    avi.streams.clear();
    for (unsigned number = 0; number < 100; ++number)
        avi.streams.push_back(NumberedInDecimal(TextStream({number + 1}), number));
    BuildAndOpen(avi);
    EXPECT_EQ(m_reader.GetStreamCount(), 100u);
    EXPECT_EQ(PropertiesOf(m_reader, 99).chunkId, 0x78743939u); // 99tx
    avi.streams.push_back(NumberedInDecimal(TextStream({1}), 0));
    BuildAndOpen(avi);
    EXPECT_EQ(m_reader.GetStreamCount(), 100u);
    EXPECT_EQ(PropertiesOf(m_reader, 100).size, 0u);
}

// What the two older queries need, these do not.
TEST_F(AllStreams, StreamsThatTheOlderQueriesPassOver_AreThere)
{
    SKrSimpleAvi avi = ThreeStreams();
    avi.mainHeader.flags = 0; // no AVIF_HASINDEX
    BuildAndOpen(avi);
    EXPECT_EQ(m_reader.GetStreamCount(), 3u);
    avi = ThreeStreams();
    avi.streams[0].format = ToBytes(SKrTestBitmapInfo{.height = -576}); // ends the parse of the headers
    avi.streams[1].format = ToBytes(SKrTestWaveFormat{.formatTag = 0x55, .bitsPerSample = 0}, 16);
    BuildAndOpen(avi);
    ASSERT_EQ(m_reader.GetStreamCount(), 3u);
    EXPECT_EQ(PropertiesOf(m_reader, 1).type, 0x73647561u);
    EXPECT_EQ(FormatOf(m_reader, 1, 2), (KrBytes{0x55, 0}));
}

TEST_F(AllStreams, HeadersOfOtherSizes_AreReadAsFarAsTheyGo)
{
    SKrSimpleAvi avi = ThreeStreams();
    avi.streams[0].strhSize = 64;
    avi.streams[0].header.rate = 12;
    BuildAndOpen(avi);
    EXPECT_EQ(PropertiesOf(m_reader, 0).rate, 12u);

    avi = SKrSimpleAvi();
    avi.streams.clear();
    avi.endOfHdrl = [](CKrAviBuilder& file)
    {
        SKrTestStreamHeader header;
        header.rate = 15;
        KrBytes shortHeader = ToBytes(header);
        shortHeader.resize(32); // to dwStart; older writers end there
        file.List("strl", [&] { file.Chunk("strh", shortHeader); });
        file.List("strl",
                  [] {}); // nothing at all: a stream all the same, so that the others keep their numbers
        file.List("strl", [&] { file.Chunk("strh", ToBytes(header)); });
    };
    avi.startOfMovi = [](CKrAviBuilder& file)
    {
        file.Chunk("00dc", KrBytes(10, 1));
    };
    BuildAndOpen(avi);
    ASSERT_EQ(m_reader.GetStreamCount(), 3u);
    EXPECT_EQ(PropertiesOf(m_reader, 0).rate, 15u);
    EXPECT_EQ(PropertiesOf(m_reader, 0).length, 0u);
    EXPECT_EQ(PropertiesOf(m_reader, 1).type, 0u);
    EXPECT_EQ(PropertiesOf(m_reader, 1).formatSize, 0u);
    EXPECT_EQ(PropertiesOf(m_reader, 2).rate, 15u);
    EXPECT_TRUE(FormatOf(m_reader, 1, 10).empty());
}

TEST_F(AllStreams, FormatThatClaimsMoreThanTheFileHas_HasTheBytesThatAreThere)
{
    SKrSimpleAvi avi = ThreeStreams();
    avi.streams[0].endOfStrl = [](CKrAviBuilder&) {
    };
    SKrBuiltAvi built = BuildSimpleAvi(avi);
    const SKrBuiltChunk strf = built.Find("strf");
    built.content.PutU32(strf.header + 4, 0x7FFFFFFF);
    Open(built.content);
    EXPECT_EQ(PropertiesOf(m_reader, 0).formatSize, built.content.Size() - strf.data);
}

TEST_F(AllStreams, WithoutAnOpenFile_ThereIsNothing)
{
    EXPECT_EQ(m_reader.GetStreamCount(), 0u);
    EXPECT_EQ(PropertiesOf(m_reader, 0).size, 0u);
    EXPECT_TRUE(FormatOf(m_reader, 0, 4).empty());
    EXPECT_EQ(LoadStreamOf(m_reader, 0).status, 0);
    BuildAndOpen(ThreeStreams());
    EXPECT_EQ(m_reader.GetStreamCount(), 3u);
    m_reader.Close();
    EXPECT_EQ(m_reader.GetStreamCount(), 0u);
    EXPECT_EQ(PropertiesOf(m_reader, 0).size, 0u);
    EXPECT_TRUE(FormatOf(m_reader, 0, 4).empty());
    EXPECT_EQ(LoadStreamOf(m_reader, 0).status, 0);
}

TEST_F(AllStreams, FileThatIsNotRiffAvi_HasNoStreams)
{
    KrBytes bytes(300, 0);
    std::memcpy(&bytes[200], "00dc\x10\0\0\0", 8);
    Open(bytes);
    EXPECT_EQ(m_reader.GetStreamCount(), 0u);
    EXPECT_EQ(LoadStreamOf(m_reader, 0).status, 0);
}

TEST_F(AllStreams, AnotherFile_HasItsOwnStreams)
{
    BuildAndOpen(ThreeStreams());
    EXPECT_EQ(m_reader.GetStreamCount(), 3u);
    EXPECT_EQ(LoadStreamOf(m_reader, 2).status, 1);
    SKrSimpleAvi other;
    other.index = EKrIndexKind::OpenDml;
    const SKrBuiltAvi built = BuildSimpleAvi(other);
    m_memory.Set(L"b.avi", built.content);
    ASSERT_EQ(m_reader.Open(L"b.avi"), 1);
    EXPECT_EQ(m_reader.GetStreamCount(), 1u);
    EXPECT_EQ(PropertiesOf(m_reader, 0).flags, kHasSuperIndexFlag);
    EXPECT_EQ(LoadStreamOf(m_reader, 0).entries, PlacesOf(built, 0));
}

TEST_F(AllStreams, NothingIsRead_BeforeSomebodyAsks_AndNothingTwice)
{
    BuildAndOpen(ThreeStreams());
    EXPECT_EQ(m_counts.Calls().reads, 0u);
    EXPECT_EQ(m_reader.GetStreamCount(), 3u);
    EXPECT_EQ(m_counts.Calls().reads, 1u) << "the head of the file";
    for (uint32_t stream = 0; stream < 3; ++stream)
        EXPECT_NE(PropertiesOf(m_reader, stream).size, 0u);
    const uint64_t reads = m_counts.Calls().reads;
    EXPECT_EQ(m_reader.GetStreamCount(), 3u);
    for (uint32_t stream = 0; stream < 3; ++stream)
        EXPECT_NE(PropertiesOf(m_reader, stream).size, 0u);
    EXPECT_EQ(m_counts.Calls().reads, reads);
}

// As it is while another thread is inside a walk or a load.
TEST_F(AllStreams, LockedReader_AnswersAllTheSame_ButLoadsNothing)
{
    const SKrBuiltAvi built = BuildAndOpen(ThreeStreams());
    m_reader.Lock().Enter();
    std::thread(
        [&]
        {
            EXPECT_EQ(m_reader.GetStreamCount(), 3u);
            EXPECT_EQ(PropertiesOf(m_reader, 1).formatSize, 16u);
            EXPECT_EQ(FormatOf(m_reader, 2, 3), (KrBytes{1, 2, 3}));
            EXPECT_EQ(LoadStreamOf(m_reader, 0).status, 0);
        })
        .join();
    EXPECT_EQ(LoadStreamOf(m_reader, 0).entries, PlacesOf(built, 0)) << "the thread that is inside";
    m_reader.Lock().Leave();
}

TEST_F(AllStreams, EveryFailedRead_LosesTheAnswer_NotTheReader)
{
    const SKrSimpleAvi avi = ThreeStreams(EKrIndexKind::Both);
    const uint64_t struck =
        ForEveryFailedRead([&] { BuildAndOpen(avi); },
                           [&]
                           {
                               const SKrStreamProperties properties = PropertiesOf(m_reader, 2);
                               EXPECT_EQ(properties.size == 0, m_faults.FaultStruck());
                               if (properties.size != 0)
                               {
                                   EXPECT_EQ(properties.chunkId, 0x78743230u);
                                   EXPECT_EQ(properties.flags, kHasSuperIndexFlag | kHasOldEntriesFlag);
                               }
                           },
                           [&] { EXPECT_EQ(PropertiesOf(m_reader, 2).chunkId, 0x78743230u); });
    EXPECT_GT(struck, 10u);
}
