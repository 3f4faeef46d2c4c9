// Slots 24 to 26: how recordings end, those of other programs, and files that say anything.
#include "tests/reader/GrowingSupport.h"
#include "tests/reader/KrHookedFiles.h"
#include "tests/support/KrByteWriter.h"

#include <algorithm>
#include <cstring>

using namespace KrTest;

namespace
{
using GrowingState = GrowingTest;

constexpr wchar_t kOther[] = L"other.avi";
} // namespace

TEST_F(GrowingState, RecordingThatIsClosed_IsComplete_AfterTheRefreshThatFindsNothingNew)
{
    StartRecording();
    Record(30);
    Follow();
    EXPECT_EQ(m_reader.GetGrowingState(), 1u);
    EXPECT_EQ(m_reader.Refresh(), 0);
    EXPECT_EQ(m_reader.GetGrowingState(), 1u) << "the writer has it open";
    m_recorder.Close();
    EXPECT_EQ(m_reader.GetGrowingState(), 1u) << "that of the last Refresh";
    EXPECT_EQ(m_reader.Refresh(), 1) << "the final state";
    EXPECT_EQ(Given(0), 30u);
    EXPECT_EQ(Given(1), 30u);
    ExpectRightBytes(0);
    EXPECT_EQ(m_reader.Refresh(), 0);
    EXPECT_EQ(m_reader.GetGrowingState(), 2u);
    EXPECT_EQ(m_reader.Refresh(), 0);
    EXPECT_EQ(m_reader.GetGrowingState(), 2u);
    m_reader.Close();
    EXPECT_EQ(m_reader.GetGrowingState(), 0u);
}

// What is written after the look that finds nothing new, and before the recording ends.
TEST_F(GrowingState, LastWrites_AreTakenInBeforeTheStateIsTold)
{
    StartRecording();
    Record(30);
    CKrHookedFiles files(m_recorder.files);
    files.beforeShare = [&]
    {
        m_recorder.writer->CloseFile();
    };
    CKrRiffReader reader(files);
    ASSERT_EQ(reader.OpenGrowing(kRecordedPath), 1);
    EXPECT_EQ(LoadStreamOf(reader, 0).entries.size(), 25u);
    EXPECT_EQ(reader.Refresh(), 1);
    EXPECT_EQ(reader.GetGrowingState(), 2u);
    EXPECT_EQ(LoadStreamOf(reader, 0).entries.size(), 30u);
}

// The look that finds them succeeds, what follows it does not.
TEST_F(GrowingState, LastWrites_AreToldAfterAReadThatFailed)
{
    uint64_t struck = 0;
    for (bool hit = true; hit; ++struck)
    {
        StartRecording();
        Record(30);
        CKrHookedFiles files(m_recorder.files);
        files.beforeShare = [&]
        {
            m_recorder.writer->CloseFile();
        };
        CKrFaultyFileSystem faults(files);
        CKrRiffReader reader(faults);
        ASSERT_EQ(reader.OpenGrowing(kRecordedPath), 1);
        faults.Reset();
        faults.FailCall(EKrFileCall::Read, struck + 1);
        int told = 0;
        for (int round = 0; round < 5; ++round)
            told += reader.Refresh() == 1 ? 1 : 0;
        EXPECT_EQ(told, 1) << struck;
        EXPECT_EQ(reader.GetGrowingState(), 2u);
        hit = faults.FaultStruck();
        faults.Reset();
        ExpectFinished(reader, 30);
        m_frames = 0;
    }
    EXPECT_GE(struck, 8u);
}

TEST_F(GrowingState, OthersMayWrite_BeforeTheReaderHasSeenTheEnd)
{
    StartRecording();
    Record(30);
    Follow();
    m_recorder.Close();
    EXPECT_NE(m_recorder.files.CreateForWriting(kRecordedPath), nullptr) << "a follower keeps nobody";
}

TEST_F(GrowingState, FollowerKeepsNobodyFromRecordingAnew_AndKeepsItsOwnFile)
{
    StartRecording();
    Record(30);
    Follow();
    m_recorder.writer->CloseFile();
    ASSERT_EQ(m_recorder.Open(WithAudio()), 1) << "the next recording of that name";
    EXPECT_EQ(m_reader.Refresh(), 1);
    EXPECT_EQ(Given(0), 30u);
    ExpectRightBytes(0);
    EXPECT_EQ(m_reader.Refresh(), 0);
    EXPECT_EQ(m_reader.GetGrowingState(), 2u) << "of the file that was opened";
}

TEST_F(GrowingState, ReaderThatHasSeenTheEnd_IsOneLikeAnyOther)
{
    StartRecording();
    Record(30);
    Follow();
    m_recorder.Close();
    EXPECT_EQ(m_reader.Refresh(), 1);
    EXPECT_EQ(m_reader.Refresh(), 0);
    EXPECT_EQ(m_recorder.files.CreateForWriting(kRecordedPath), nullptr);
    EXPECT_FALSE(m_recorder.files.Delete(kRecordedPath));
    CKrRiffReader other(m_recorder.files);
    EXPECT_EQ(other.Open(kRecordedPath), 1);
    m_counts.Reset();
    EXPECT_EQ(m_reader.Refresh(), 0);
    EXPECT_EQ(m_counts.Calls().shares, 0u) << "asked for once";
}

// Everything up to its last write, and nobody writes any more: what a process leaves that is killed.
TEST_F(GrowingState, RecordingThatWasKilled_IsAbandoned_AndReadable)
{
    StartRecording();
    Record(60);
    m_recorder.files.Set(kOther, m_recorder.Content());
    ASSERT_EQ(m_reader.OpenGrowing(kOther), 1);
    EXPECT_EQ(m_reader.Refresh(), 0);
    EXPECT_EQ(m_reader.GetGrowingState(), 3u);
    EXPECT_EQ(Given(0), 50u);
    ExpectRightBytes(0);
    ExpectRightBytes(1);
}

TEST_F(GrowingState, FileWithBytesAfterItsLastSegment_OrAChunkThatNoIndexNames_IsAbandoned)
{
    StartRecording();
    Record(30);
    m_recorder.Close();
    const auto stateOf = [&](const CKrFileContent& content)
    {
        m_reader.Close();
        m_recorder.files.Set(kOther, content);
        EXPECT_EQ(m_reader.OpenGrowing(kOther), 1);
        EXPECT_EQ(m_reader.Refresh(), 0);
        return m_reader.GetGrowingState();
    };
    EXPECT_EQ(stateOf(m_recorder.Content()), 2u);
    CKrFileContent longer = m_recorder.Content();
    longer.AppendHole(512);
    EXPECT_EQ(stateOf(longer), 3u);
    CKrFileContent shorter = m_recorder.Content();
    shorter.Resize(shorter.Size() - 512);
    EXPECT_EQ(stateOf(shorter), 3u);

    SKrSimpleAvi avi;
    avi.index = EKrIndexKind::Idx1;
    avi.streams = {VideoStream(), PcmStream()};
    avi.endOfMovi = [](CKrAviBuilder& file)
    {
        file.Chunk("JUNK", KrBytes(10, 1));
    };
    EXPECT_EQ(stateOf(BuildSimpleAvi(avi).content), 2u);
    avi.recLists = true;
    EXPECT_EQ(stateOf(BuildSimpleAvi(avi).content), 2u);
    avi.endOfMovi = [](CKrAviBuilder& file)
    {
        file.Chunk("00dc", KrBytes(10, 1));
    };
    EXPECT_EQ(stateOf(BuildSimpleAvi(avi).content), 3u);
    avi.endOfMovi = [](CKrAviBuilder& file)
    {
        file.Chunk("what", KrBytes(10, 1));
    };
    EXPECT_EQ(stateOf(BuildSimpleAvi(avi).content), 3u);
    avi.endOfMovi = {};
    avi.streams[1].inIdx1 = false;
    EXPECT_EQ(stateOf(BuildSimpleAvi(avi).content), 3u);
}

TEST_F(GrowingState, SegmentsOfAFinishedFile_AreThereAtOnce)
{
    SKrSimpleAvi avi;
    avi.index = EKrIndexKind::OpenDml;
    avi.streams = {VideoStream({100, 101, 102, 103, 104, 105}), PcmStream({64, 64, 64, 64, 64, 64})};
    avi.roundsPerSegment = {2, 2, 2};
    avi.entriesPerStdIndex = 1;
    const SKrBuiltAvi built = BuildSimpleAvi(avi);
    m_recorder.files.Set(kOther, built.content);
    ASSERT_EQ(m_reader.OpenGrowing(kOther), 1);
    EXPECT_EQ(LoadStreamOf(m_reader, 0).entries, PlacesOf(built, 0));
    EXPECT_EQ(LoadStreamOf(m_reader, 1, 4).entries, PlacesOf(built, 1, 4));
    const SKrRiffChunkInfo* const last = m_reader.GetLastRiffSegment();
    ASSERT_NE(last, nullptr);
    EXPECT_EQ(last->offset, built.segments[2].data);
    EXPECT_EQ(m_reader.Refresh(), 0);
    EXPECT_EQ(m_reader.GetGrowingState(), 2u);
}

TEST_F(GrowingState, SizesOfZeroAndOfAllOnes_MeanToTheEndOfTheFile)
{
    for (const uint32_t size : {0u, 0xFFFFFFFFu})
    {
        SKrBuiltAvi built = Unfinished(size);
        CKrFileContent start = built.content;
        start.Resize(built.streamChunks[0][1].end);
        m_recorder.files.Set(kOther, start);
        ASSERT_EQ(m_reader.OpenGrowing(kOther), 1);
        EXPECT_EQ(m_reader.GetStreamCount(), 2u);
        EXPECT_EQ(PropertiesOf(m_reader, 0).chunkId, 0x63643030u);
        EXPECT_EQ(LoadStreamOf(m_reader, 0).status, 0) << "no index yet";
        uint32_t id = 0, type = 0, bytes = 0;
        uint64_t offset = 0;
        SKrRiffChunkNode* node = nullptr;
        ASSERT_EQ(m_reader.FindFirstRiffSegment(), 1);
        EXPECT_EQ(m_reader.FindNextRiffSegment(&type, &bytes, &offset, &node), 0);
        EXPECT_EQ(bytes, start.Size() - 8);
        ASSERT_EQ(m_reader.FindFirstSubChunk(node), 1);
        while (m_reader.FindNextSubChunk(&id, &type, &bytes, &offset, &node) != 0)
        {
        }
        EXPECT_EQ(type, 0x69766F6Du);
        EXPECT_EQ(bytes, start.Size() - offset);
        EXPECT_EQ(m_reader.FindFirstSubChunk(node), 1);
        EXPECT_EQ(m_reader.Refresh(), 0);
        EXPECT_EQ(m_reader.GetGrowingState(), 3u);
        m_reader.Close();
    }
}

// What a program does that fills in its headers at the end.
TEST_F(GrowingState, RecordingOfAnotherProgram_GetsItsIndexAtTheEnd)
{
    const SKrBuiltAvi built = Unfinished(0, EKrIndexKind::Idx1);
    const KrBytes whole = built.Bytes();
    auto file = m_recorder.files.CreateForWriting(kOther);
    const auto put = [&](uint64_t from, uint64_t to)
    {
        const KrByteSpan part = KrByteSpan(whole).subspan(from, to - from);
        ASSERT_FALSE(file->WriteAt(from, {&part, 1}).Failed());
    };
    put(0, built.streamChunks[0][1].data);
    ASSERT_EQ(m_reader.OpenGrowing(kOther), 1);
    EXPECT_EQ(LoadStreamOf(m_reader, 0).status, 0);
    put(built.streamChunks[0][1].data, built.Find("idx1").header);
    EXPECT_EQ(m_reader.Refresh(), 1);
    EXPECT_EQ(LoadStreamOf(m_reader, 0).status, 0);
    put(built.Find("idx1").header, whole.size());
    const auto patch = [&](uint64_t position, uint32_t value)
    {
        uint8_t bytes[4];
        std::memcpy(bytes, &value, sizeof value);
        const KrByteSpan part(bytes);
        ASSERT_FALSE(file->WriteAt(position, {&part, 1}).Failed());
    };
    patch(4, static_cast<uint32_t>(whole.size() - 8));
    const SKrBuiltChunk movi = built.Find("movi");
    patch(movi.header + 4, static_cast<uint32_t>(built.Find("idx1").header - movi.data));
    EXPECT_EQ(m_reader.Refresh(), 1);
    EXPECT_EQ(LoadStreamOf(m_reader, 0).entries, PlacesOf(built, 0));
    EXPECT_EQ(LoadStreamOf(m_reader, 1).entries, PlacesOf(built, 1));
    CArray<SKrChunkIndexEntry> entries;
    EXPECT_EQ(m_reader.LoadVideoIndex(entries), 1) << "the older loads too";
    EXPECT_EQ(entries.GetSize(), 3);
    EXPECT_EQ(m_reader.Refresh(), 0);
    EXPECT_EQ(m_reader.GetGrowingState(), 1u);
    file.reset();
    EXPECT_EQ(m_reader.Refresh(), 0);
    EXPECT_EQ(m_reader.GetGrowingState(), 2u);
}

TEST_F(GrowingState, WithoutACompleteHeaderList_TheFileIsRefused)
{
    const SKrBuiltAvi built = Unfinished(0);
    const SKrBuiltChunk hdrl = built.Find("hdrl");
    const KrBytes whole = built.Bytes();
    for (uint64_t size = 190; size <= whole.size(); size += size < hdrl.end + 40 ? 1 : 37)
    {
        m_recorder.files.Set(kOther, KrBytes(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size)));
        const bool isComplete = size >= hdrl.data + hdrl.size && size > 200;
        EXPECT_EQ(m_reader.OpenGrowing(kOther), isComplete ? 1 : 0) << size;
        if (isComplete)
        {
            EXPECT_EQ(m_reader.GetStreamCount(), 2u);
            EXPECT_GE(m_reader.Refresh(), 0);
        }
    }
    KrBytes other = whole;
    std::copy_n("WAVE", 4, other.begin() + 8);
    m_recorder.files.Set(kOther, other);
    EXPECT_EQ(m_reader.OpenGrowing(kOther), 0);
}
