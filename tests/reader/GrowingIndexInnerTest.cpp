// Slot 25: indexes and sizes that come late, fail to be read, or say what cannot be.
#include "tests/base/KrAllocationMeter.h"
#include "tests/reader/GrowingSupport.h"

#include <algorithm>
#include <cstring>

using namespace KrTest;

namespace
{
using GrowingIndex = GrowingTest;

constexpr wchar_t kFollowed[] = L"followed.avi";
} // namespace

// A count that falls, exceeds the room of its index, or names bytes that are not there.
TEST_F(GrowingIndex, CountsThatMakeNoSense_AreLeftForTheNextRefresh)
{
    StartRecording();
    Record(60);
    Follow();
    const SKrStreamAnswer before = LoadStreamOf(m_reader, 0);
    ASSERT_EQ(before.entries.size(), 50u);
    // The standard index of the video stream is the first chunk of 'movi'.
    CKrFileContent content = m_recorder.Content();
    KrBytes bytes = content.ToBytes();
    const char id[] = "ix00";
    const auto at =
        static_cast<uint64_t>(std::search(bytes.begin(), bytes.end(), id, id + 4) - bytes.begin());
    m_recorder.files.Set(kFollowed, content);
    auto writer = m_recorder.files.CreateForWriting(L"third.avi");
    const KrByteSpan all(bytes);
    ASSERT_FALSE(writer->WriteAt(0, {&all, 1}).Failed());
    ASSERT_EQ(m_reader.OpenGrowing(L"third.avi"), 1);
    const auto put = [&](uint64_t position, uint32_t value)
    {
        uint8_t word[4];
        std::memcpy(word, &value, sizeof value);
        const KrByteSpan part(word);
        ASSERT_FALSE(writer->WriteAt(position, {&part, 1}).Failed());
    };
    for (const uint32_t count : {0u, 49u, 50u, 51u /* an entry of zeros */, 4029u, 0xFFFFFFFFu})
    {
        put(at + 12, count);
        EXPECT_EQ(m_reader.Refresh(), 0) << count;
        EXPECT_EQ(LoadStreamOf(m_reader, 0), before) << count;
    }
    put(at + 12, 51);
    put(at + 32 + 50 * 8, 0x7FFFFFFF); // far outside
    put(at + 32 + 50 * 8 + 4, 10);
    EXPECT_EQ(m_reader.Refresh(), 0);
    EXPECT_EQ(LoadStreamOf(m_reader, 0), before);
    put(at + 32 + 50 * 8, 8); // the chunk that the base counts from
    put(at + 4, 24 + 50 * 8); // an index without room for it
    EXPECT_EQ(m_reader.Refresh(), 0);
    EXPECT_EQ(LoadStreamOf(m_reader, 0), before);
    put(at + 4, 24 + 51 * 8);
    EXPECT_EQ(m_reader.Refresh(), 1);
    EXPECT_EQ(LoadStreamOf(m_reader, 0).entries.size(), 51u);
}

// The super index names an index chunk whose bytes are still to come.
TEST_F(GrowingIndex, IndexThatIsNamedBeforeItIsThere_IsTakenWhenItCame)
{
    SKrSimpleAvi avi;
    avi.index = EKrIndexKind::OpenDml;
    avi.entriesPerStdIndex = 2;
    avi.streams = {VideoStream({100, 101, 102, 103})};
    const SKrBuiltAvi built = BuildSimpleAvi(avi);
    KrBytes bytes = built.Bytes();
    const SKrBuiltChunk second = built.Find("ix00", 1);
    const KrBytes index(bytes.begin() + static_cast<ptrdiff_t>(second.header),
                        bytes.begin() + static_cast<ptrdiff_t>(second.end));
    std::fill_n(bytes.begin() + static_cast<ptrdiff_t>(second.header), index.size(), uint8_t{0});
    auto writer = m_recorder.files.CreateForWriting(kFollowed);
    const KrByteSpan all(bytes);
    ASSERT_FALSE(writer->WriteAt(0, {&all, 1}).Failed());
    ASSERT_EQ(m_reader.OpenGrowing(kFollowed), 1);
    EXPECT_EQ(LoadStreamOf(m_reader, 0).entries.size(), 2u);
    EXPECT_EQ(m_reader.Refresh(), 0);
    const KrByteSpan late(index);
    ASSERT_FALSE(writer->WriteAt(second.header, {&late, 1}).Failed());
    EXPECT_EQ(m_reader.Refresh(), 1);
    EXPECT_EQ(LoadStreamOf(m_reader, 0).entries, PlacesOf(built, 0));
}

// The sizes of the last segment lie far from the headers.
TEST_F(GrowingIndex, EveryFailedReadOfSeveralSegments_ChangesNothing)
{
    SKrSimpleAvi avi;
    avi.index = EKrIndexKind::OpenDml;
    avi.streams = {VideoStream({100, 101, 102, 103}), PcmStream({64, 64, 64, 64})};
    avi.roundsPerSegment = {2, 2};
    const SKrBuiltAvi built = BuildSimpleAvi(avi);
    m_recorder.files.Set(kFollowed, built.content);
    ASSERT_EQ(m_reader.OpenGrowing(kFollowed), 1);
    uint64_t number = 1;
    for (bool struck = true; struck; ++number)
    {
        m_faults.Reset();
        m_faults.FailCall(EKrFileCall::Read, number);
        const int status = m_reader.Refresh();
        struck = m_faults.FaultStruck();
        m_faults.Reset();
        EXPECT_EQ(status, struck ? -1 : 0) << number;
        EXPECT_EQ(LoadStreamOf(m_reader, 0).entries, PlacesOf(built, 0)) << number;
    }
    EXPECT_GE(number, 4u) << "the headers, the sizes, the head of an index";
}

// Text between the others: its chunks are neither frames nor sound.
TEST_F(GrowingIndex, FirstChunkIds_AreThoseOfVideoAndSound)
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream({100, 101}), PcmStream({64, 64}), PcmStream({64, 64})};
    avi.streams[1].header.type = "txts";
    avi.streams[1].suffix = "tx";
    const SKrBuiltAvi built = BuildSimpleAvi(avi);
    const KrBytes bytes = built.Bytes();
    auto writer = m_recorder.files.CreateForWriting(kFollowed);
    const KrByteSpan start = KrByteSpan(bytes).first(built.streamChunks[0][0].header);
    ASSERT_FALSE(writer->WriteAt(0, {&start, 1}).Failed());
    ASSERT_EQ(m_reader.OpenGrowing(kFollowed), 1);
    const KrByteSpan rest = KrByteSpan(bytes).subspan(start.size());
    ASSERT_FALSE(writer->WriteAt(start.size(), {&rest, 1}).Failed());
    EXPECT_EQ(m_reader.Refresh(), 1);
    uint32_t id = 0;
    Frames(&id);
    EXPECT_EQ(id, FourCcValue("00dc"));
    SKrWaveFormatInfo format;
    int valid = 0;
    m_reader.GetAudioStreamInfo(&format, &valid, &id, nullptr);
    EXPECT_EQ(id, FourCcValue("02wb"));
}

// An 'indx' of chunks instead of one of indexes is read as a whole.
TEST_F(GrowingIndex, IndexOfChunksInTheHeaders_IsTaken)
{
    SKrSimpleAvi avi;
    avi.index = EKrIndexKind::None;
    avi.streams = {VideoStream({100, 101})};
    uint64_t indx = 0;
    avi.streams[0].endOfStrl = [&](CKrAviBuilder& file)
    {
        indx = file.Chunk("indx", KrBytes(24 + 2 * 8)).data;
    };
    SKrBuiltAvi built = BuildSimpleAvi(avi);
    built.content.PutU32(indx, 2 | 0x01000000u); // two words an entry, of chunks
    built.content.PutU32(indx + 4, 2);
    built.content.PutU32(indx + 8, FourCcValue("00dc"));
    for (uint32_t number = 0; number < 2; ++number)
    {
        const SKrBuiltChunk& chunk = built.streamChunks[0][number];
        built.content.PutU32(indx + 24 + 8 * number, static_cast<uint32_t>(chunk.data));
        built.content.PutU32(indx + 28 + 8 * number, chunk.size);
    }
    m_recorder.files.Set(kFollowed, built.content);
    ASSERT_EQ(m_reader.OpenGrowing(kFollowed), 1);
    EXPECT_EQ(LoadStreamOf(m_reader, 0).entries, PlacesOf(built, 0));
    EXPECT_EQ(m_reader.Refresh(), 0);
    EXPECT_EQ(LoadStreamOf(m_reader, 0).entries, PlacesOf(built, 0));
}

// Whatever an index claims, few of its entries are in memory at a time.
TEST_F(GrowingIndex, IndexThatClaimsVeryManyEntries_IsCheckedInSlices)
{
    SKrSimpleAvi avi;
    avi.index = EKrIndexKind::OpenDml;
    avi.streams = {VideoStream({100})};
    avi.stdSubType = 0x10;
    constexpr uint32_t kClaimed = 4'000'000; // of 24 bytes
    SKrBuiltAvi built = BuildSimpleAvi(avi);
    const SKrBuiltChunk index = built.Find("ix00");
    built.content.AppendHole(uint64_t{24} * kClaimed);
    built.content.PutU32(index.header + 4, 24 + 24 * kClaimed);
    built.content.PutU32(index.data + 4, kClaimed);
    m_recorder.files.Set(kFollowed, built.content);
    {
        const CKrAllocationMeter meter;
        ASSERT_EQ(m_reader.OpenGrowing(kFollowed), 1);
        EXPECT_LT(meter.Most(), size_t{40'000'000});
    }
    EXPECT_EQ(Given(0), 0u);
}
