// Segments: when the next one starts, to the byte.
#include "tests/writer/KrSegmentRecorder.h"

using namespace KrTest;

using WriterSegment = CKrSegmentRecorder;

TEST_F(WriterSegment, TwoAndThreeSegments_AreCompleteFiles)
{
    for (const size_t frames : {20u, 40u})
    {
        Open(512);
        AddLargeFrames(frames);
        EXPECT_EQ(m_recorder.files.OpenViews(), 3u)
            << "first headers, those of the segment, the standard index";
        const SKrCheckedAvi checked = m_recorder.Close();
        EXPECT_EQ(checked.segments.size() - 1, frames / 20 + 1);
        EXPECT_EQ(checked.video.size(), frames);
        EXPECT_EQ(checked.video[16].segment, 0u);
        EXPECT_EQ(checked.video[17].segment, 1u);
    }
}

// The last frame of the first segment is checked against the limit with the 'idx1' of the frames before it.
TEST_F(WriterSegment, FirstSegment_EndsBelowTheLimit)
{
    for (const uint32_t beyond : {0u, 1u})
    {
        Open(1);
        AddLargeFrames(17);
        const uint64_t tail = OldIndexTail(18, 1);
        const uint64_t left = kSegmentLimit - 1 - tail - Size() + beyond;
        ASSERT_EQ(m_recorder.AddZeroVideo(static_cast<size_t>(left - 8)), 1);
        const SKrCheckedAvi checked = m_recorder.Close();
        EXPECT_EQ(checked.video[17].segment, beyond) << "one byte more starts the next segment";
        EXPECT_EQ(checked.segments.size() - 1, 1 + beyond);
    }
}

TEST_F(WriterSegment, LaterSegment_MayReachTheLimit)
{
    for (const int shortOf : {1, 0, -1})
    {
        Open(1);
        AddLargeFrames(18);
        const uint64_t second = Size() - 24 - 8 - kLargeFrame;
        ASSERT_EQ(GetLe32(m_recorder.Content().Range(second + 8, 4).data()), FourCcValue("AVIX"));
        AddLargeFrames(16);
        const uint64_t left = second + kSegmentLimit - static_cast<uint64_t>(shortOf) - Size();
        ASSERT_LT(left, CKrZeroSample::kMostBytes);
        ASSERT_EQ(m_recorder.AddZeroVideo(static_cast<size_t>(left - 8)), 1);
        const SKrCheckedAvi checked = m_recorder.Close();
        EXPECT_EQ(checked.video.back().segment, shortOf < 0 ? 2u : 1u);
        if (shortOf >= 0)
        {
            EXPECT_EQ(checked.segments[2] - checked.segments[1],
                      kSegmentLimit - static_cast<uint64_t>(shortOf));
        }
    }
}

// Kept: the entry of the last frame itself may need another sector of 'idx1'.
TEST_F(WriterSegment, FirstSegment_MayReachTheLimitByItsOwnIndexEntry)
{
    Open(512);
    AddLargeFrames(17);
    for (int number = 17; number < 29; ++number)
        ASSERT_EQ(m_recorder.AddVideo({1}), 1);
    const uint64_t tail = OldIndexTail(30, 512);
    ASSERT_LT(tail, OldIndexTail(31, 512));
    const uint64_t left = kSegmentLimit - 512 - tail - Size();
    ASSERT_EQ(m_recorder.AddZeroVideo(static_cast<size_t>(left - 8)), 1);
    const SKrCheckedAvi checked = m_recorder.Close();
    ASSERT_EQ(checked.segments.size() - 1, 1u);
    EXPECT_EQ(checked.segments[1], kSegmentLimit);
}

TEST_F(WriterSegment, FrameAndItsAudio_StayTogether)
{
    for (const uint64_t beyond : {0u, 512u})
    {
        Open(512, true);
        AddPairs(17, kLargeFrame);
        const uint64_t tail = OldIndexTail(1 + 17 + 16, 512);
        const uint64_t audio = 512;
        const uint64_t left = kSegmentLimit - 512 - tail - Size() - audio + beyond;
        ASSERT_EQ(m_recorder.AddZeroAudio(4), 1);
        ASSERT_EQ(m_recorder.AddZeroVideo(static_cast<size_t>(left - 8)), 1);
        const SKrCheckedAvi checked = m_recorder.Close();
        EXPECT_EQ(checked.video[17].segment, beyond / 512);
        EXPECT_EQ(checked.audio[16].segment, beyond / 512) << "its audio moves with it";
        EXPECT_EQ(checked.order.substr(0, 7), "VAVAVAV");
    }
}

// Kept: a standard index that becomes due between a frame and its audio is not part of the reserved space.
TEST_F(WriterSegment, IndexInsideAGroup_MayStartASegmentOrPassTheLimit)
{
    for (const uint64_t video : {uint64_t{512}, uint64_t{102'400}})
    {
        Open(512, true);
        AddPairs(17, kLargeFrame);
        AddPairs(4010, 504);
        const uint64_t audio = 512;
        const uint64_t index = 32256;
        const uint64_t tail = OldIndexTail(1 + 4028 + 4027, 512);
        const uint64_t filler = kSegmentLimit - 512 - tail - Size() - audio - index - audio - video;
        ASSERT_EQ(m_recorder.AddZeroAudio(4), 1);
        ASSERT_EQ(m_recorder.AddZeroVideo(static_cast<size_t>(filler - 8)), 1)
            << "frame 4028: a new video index";
        ASSERT_EQ(m_recorder.AddZeroAudio(4), 1);
        ASSERT_EQ(m_recorder.AddZeroVideo(static_cast<size_t>(video - 8)), 1);
        const SKrCheckedAvi checked = m_recorder.Close();
        EXPECT_EQ(checked.audio[4027].segment, 0u);
        EXPECT_EQ(checked.video[4028].segment, video == 512 ? 1u : 0u);
        if (video != 512)
        {
            EXPECT_GT(checked.segments[1], kSegmentLimit);
        }
    }
}

// The index that becomes due with frame 4028 is the last thing in the first segment, or the first in the
// next.
TEST_F(WriterSegment, StandardIndex_StartsASegmentOnlyWhereItDoesNotFit)
{
    for (const uint32_t beyond : {0u, 1u})
    {
        Open(1);
        AddLargeFrames(17);
        for (int number = 17; number < 4027; ++number)
            ASSERT_EQ(m_recorder.AddZeroVideo(1), 1);
        const uint64_t left =
            kSegmentLimit - 1 - OldIndexTail(1 + 4028, 1) - Size() - kIndexChunkSize + beyond;
        ASSERT_EQ(m_recorder.AddZeroVideo(static_cast<size_t>(left - 8)), 1);
        const SKrCheckedAvi checked = m_recorder.Close();
        EXPECT_EQ(checked.videoIndexes.size(), 2u);
        EXPECT_EQ(checked.video.back().segment, 0u);
        EXPECT_EQ(checked.segments.size() - 1, 1 + beyond);
    }
}

// Kept: what is left when the file is closed is written without a look at the limit.
TEST_F(WriterSegment, AudioOfTheLastDrain_MayPassTheLimit)
{
    Open(512, true);
    AddLargeFrames(1);
    AddPairs(16, kLargeFrame);
    const uint64_t tail = OldIndexTail(1 + 17 + 16, 512);
    ASSERT_EQ(m_recorder.AddZeroAudio(4), 1);
    ASSERT_EQ(m_recorder.AddZeroVideo(static_cast<size_t>(kSegmentLimit - 512 - tail - Size() - 512 - 8)), 1);
    ASSERT_EQ(m_recorder.AddZeroAudio(60'000), 1) << "far more than a frame's worth: waits to the end";
    const SKrCheckedAvi checked = m_recorder.Close();
    EXPECT_EQ(checked.segments.size() - 1, 1u);
    EXPECT_GT(checked.segments[1], kSegmentLimit);
    EXPECT_EQ(checked.audio.back().size, 60'000u);
}

TEST_F(WriterSegment, FramesOf4Megabytes_PassTheReachOfAnIndex)
{
    Open(512, true);
    AddPairs(1100, 4'000'000);
    const SKrCheckedAvi checked = m_recorder.Close();
    EXPECT_GT(checked.segments.back(), uint64_t{4'400'000'000});
    ASSERT_EQ(checked.videoIndexes.size(), 2u);
    EXPECT_EQ(checked.audioIndexes.size(), 2u) << "follows the video index";
    const SKrWrittenIndex& first = checked.videoIndexes[0];
    const uint64_t reach = first.chunks.back().data - (first.chunks[0].data - 8);
    EXPECT_LE(reach, uint64_t{0xFFFFFFFF});
    EXPECT_GT(reach, uint64_t{0xFFFFFFFF} - 5'000'000) << "not before it must";
}

// The tenth frame just fits its segment, but lies past the reach of the index: the next index takes its
// place.
TEST_F(WriterSegment, FrameThatFillsItsSegmentPastTheReach_StartsTheNextSegment)
{
    constexpr size_t kHuge = 530'000'000;
    Open(512);
    for (int number = 0; number < 9; ++number)
        ASSERT_EQ(m_recorder.AddZeroVideo(kHuge), 1);
    constexpr uint64_t kSegmentHeader = 512; // of 'AVIX', 'movi' and 'JUNK'
    const uint64_t used = kSegmentHeader + (8 + kHuge + 8 + 511) / 512 * 512;
    ASSERT_EQ(m_recorder.AddZeroVideo(static_cast<size_t>(kSegmentLimit - used - 512 - 8)), 1);
    const SKrCheckedAvi checked = m_recorder.Close();
    ASSERT_EQ(checked.video.size(), 10u);
    EXPECT_EQ(checked.videoIndexes.size(), 2u);
    EXPECT_EQ(checked.video[8].segment, 4u);
    EXPECT_EQ(checked.video[9].segment, 5u);
    for (size_t segment = 1; segment < checked.segments.size(); ++segment)
        EXPECT_LE(checked.segments[segment] - checked.segments[segment - 1], kSegmentLimit) << segment;
}

// The same for a frame reserved together with its sound: the rest of the group moves to the next segment.
TEST_F(WriterSegment, GroupThatFillsItsSegmentPastTheReach_StartsTheNextSegmentToo)
{
    constexpr size_t kHuge = 530'000'000;
    Open(512, true);
    AddPairs(9, kHuge);
    constexpr uint64_t kSegmentHeader = 512;
    const uint64_t used = kSegmentHeader + 512 + (8 + kHuge + 8 + 511) / 512 * 512; // sound, frame nine
    ASSERT_EQ(m_recorder.AddZeroAudio(4), 1);
    ASSERT_EQ(m_recorder.AddZeroVideo(static_cast<size_t>(kSegmentLimit - used - 512 - 512 - 8)), 1);
    EXPECT_EQ(m_recorder.writer->CloseFile(), 1);
    EXPECT_EQ(FramesReadable(m_recorder.Content()), 10u);
    const CKrFileContent file = m_recorder.Content();
    int segments = 0;
    for (uint64_t start = 0; start < file.Size(); ++segments)
    {
        const uint64_t size = uint64_t{GetLe32(file.Range(start + 4, 4).data())} + 8;
        EXPECT_LE(size, kSegmentLimit) << segments;
        start += size;
    }
    EXPECT_EQ(segments, 6);
}

// Sound that lies past the reach of its own index takes its frame along: the index before it leaves no room
// for both.
TEST_F(WriterSegment, GroupWhoseSoundIsPastTheReach_StaysTogether)
{
    constexpr size_t kHuge = 530'000'000;
    Open(512, true);
    const uint32_t sound = 0;
    ASSERT_EQ(m_recorder.writer->WriteAudioChunk(&sound, sizeof sound), 1)
        << "offsets count from before frame one";
    AddPairs(9, kHuge);
    constexpr uint64_t kSegmentHeader = 512;
    const uint64_t used = kSegmentHeader + 512 + (8 + kHuge + 8 + 511) / 512 * 512; // sound, frame nine
    ASSERT_EQ(m_recorder.AddZeroAudio(4), 1);
    ASSERT_EQ(m_recorder.AddZeroVideo(static_cast<size_t>(kSegmentLimit - used - 512 - 512 - 8)), 1);
    EXPECT_EQ(m_recorder.writer->CloseFile(), 1);
    const CKrFileContent file = m_recorder.Content();
    uint64_t last = 0;
    for (uint64_t next = 0; next < file.Size(); next += uint64_t{GetLe32(file.Range(next + 4, 4).data())} + 8)
        last = next;
    EXPECT_EQ(GetLe32(file.Range(last + kSegmentHeader, 4).data()), FourCcValue("01wb"));
}

TEST_F(WriterSegment, AudioBeyond32BitsOfSamples_StopsTheLengthAtTheLargestValue)
{
    SKrWritten written;
    written.bytesPerSector = 512;
    written.pcm = SKrPcmFormat{.channels = 1, .samplesPerSec = 25, .bitsPerSample = 8};
    ASSERT_EQ(m_recorder.Open(written), 1);
    constexpr size_t kBlock = 600'000'000;
    for (int number = 0; number < 8; ++number)
        ASSERT_EQ(m_recorder.AddZeroAudio(kBlock), 1);
    m_recorder.writer->CloseFile();
    constexpr uint64_t kAudioIndex = 32580; // of the super index; 'strh' with its dwLength before it
    EXPECT_EQ(GetLe32(m_recorder.Content().Range(kAudioIndex - 60, 4).data()), 0xFFFFFFFFu);
}

TEST(WriterSegmentOfWorker, LaterFramesOfABatch_HaveTheirOwnReservation)
{
    CKrRecorder recorder(EKrWorker::Stopped);
    SKrWritten written;
    written.pcm = SKrPcmFormat{.channels = 2, .samplesPerSec = 25, .bitsPerSample = 16};
    ASSERT_EQ(recorder.Open(written), 1);
    ASSERT_EQ(recorder.AddZeroVideo(kLargeFrame), 1);
    ASSERT_EQ(recorder.AddZeroAudio(4), 1);
    for (int number = 1; number < 25; ++number)
        ASSERT_EQ(recorder.AddZeroVideo(kLargeFrame), 1);
    ASSERT_EQ(recorder.AddZeroAudio(4 * 25), 1); // takes all other frames in one batch
    const SKrCheckedAvi checked = recorder.Close();
    EXPECT_EQ(checked.order, "VA" + std::string(24, 'V') + "A");
    EXPECT_EQ(checked.video[16].segment, 0u);
    EXPECT_EQ(checked.video[17].segment, 1u);
}

TEST(WriterSegmentOfWorker, FramesOfTheLastDrain_HaveTheirReservation)
{
    CKrRecorder recorder(EKrWorker::Stopped);
    SKrWritten written;
    written.pcm = SKrPcmFormat{.channels = 2, .samplesPerSec = 25, .bitsPerSample = 16};
    ASSERT_EQ(recorder.Open(written), 1);
    for (int number = 0; number < 20; ++number)
        ASSERT_EQ(recorder.AddZeroVideo(kLargeFrame), 1);
    const SKrCheckedAvi checked = recorder.Close();
    EXPECT_EQ(checked.video.size(), 20u);
    EXPECT_EQ(checked.segments.size() - 1, 2u);
}

TEST_F(WriterSegment, HeadersOfALaterSegment_AreAlignedFromWhereTheyLie)
{
    for (const uint32_t sector : {32u, 4096u})
    {
        SCOPED_TRACE(sector);
        Open(sector);
        AddLargeFrames(20);
        const SKrCheckedAvi checked = m_recorder.Close();
        ASSERT_EQ(checked.segments.size() - 1, 2u);
        EXPECT_EQ((checked.video[17].data - 8) % sector, 0u);
        // Headers of 24 bytes, and a 'JUNK' of 8 to the next 32; or to the next 4096.
        EXPECT_EQ(checked.video[17].data - 8 - checked.segments[1], sector);
    }
}

// After an unpadded chunk each part of a group is predicted where the previous parts end.
TEST_F(WriterSegment, GroupAtAnOddPosition_IsPredictedPartByPart)
{
    for (const uint64_t beyond : {0u, 4096u})
    {
        SCOPED_TRACE(beyond);
        Open(4096, true);
        m_recorder.written.hasDirectChunks = true;
        AddLargeFrames(1);
        AddPairs(16, kLargeFrame);
        while (Size() % 4096 != 9)
        {
            const KrBytes bytes((2 * 4096 + 9 - Size() % 4096) % 4096 + 4096 - 8);
            ASSERT_EQ(m_recorder.writer->WriteVideoChunk(bytes.data(), static_cast<int32_t>(bytes.size())),
                      1);
        }
        // Audio to the next boundary, then a frame that ends on one: no more than 1536 bytes below the limit.
        const uint64_t tail = OldIndexTail(1 + 17 + 15 + 1, 4096);
        const uint64_t left = (kSegmentLimit - tail - Size() - (4096 - 9)) / 4096 * 4096 + beyond;
        ASSERT_EQ(m_recorder.AddZeroAudio(4), 1);
        ASSERT_EQ(m_recorder.AddZeroVideo(static_cast<size_t>(left - 8)), 1);
        const SKrCheckedAvi checked = m_recorder.Close();
        EXPECT_EQ(checked.segments.size() - 1, 1 + beyond / 4096);
    }
}

// An odd chunk before it leaves the segment at an odd position; its data still starts on a sector.
TEST_F(WriterSegment, HeadersAfterAnUnpaddedChunk_AreAlignedToo)
{
    m_recorder.written.hasDirectChunks = true;
    ASSERT_EQ(m_recorder.Open({.hasDirectChunks = true}), 1);
    AddLargeFrames(34); // the first segment ends aligned by its 'idx1'; the second ends here
    const uint8_t bytes[101] = {};
    ASSERT_EQ(m_recorder.writer->WriteVideoChunk(bytes, 101), 1);
    const uint64_t third = Size();
    AddLargeFrames(1);
    ASSERT_EQ(GetLe32(m_recorder.Content().Range(third + 8, 4).data()), FourCcValue("AVIX"));
    const CKrFileContent file = m_recorder.Content();
    const uint64_t data = file.Size() - 512 - kLargeFrame / 512 * 512; // the large frame and its padding
    m_recorder.writer->CloseFile();
    EXPECT_EQ(file.Size() % 512, 0u);
    EXPECT_EQ(GetLe32(file.Range(data, 4).data()), FourCcValue("00dc"));
}

TEST_F(WriterSegment, OneViewOfLaterHeadersAtATime)
{
    Open(512);
    AddLargeFrames(60);
    EXPECT_EQ(m_recorder.files.MostOpenViews(), 3u);
    EXPECT_EQ(m_recorder.Close().segments.size() - 1, 4u);
}

TEST_F(WriterSegment, GroupThatCannotBeLocked_StartsNone)
{
    Open(512, true);
    AddLargeFrames(1);
    AddPairs(16, kLargeFrame);
    // Direct chunks ignore the limit: past it, any reservation starts a segment.
    m_recorder.written.hasDirectChunks = true;
    const KrBytes direct(59'000'000);
    ASSERT_EQ(m_recorder.writer->WriteVideoChunk(direct.data(), static_cast<int32_t>(direct.size())), 1);
    const uint64_t size = Size();
    ASSERT_GT(size, kSegmentLimit);
    const auto audio = CKrRef<CKrTestSample>::Adopt(new CKrTestSample(KrBytes(4)));
    const auto video = CKrRef<CKrTestSample>::Adopt(new CKrTestSample(KrBytes(4)));
    audio->RefuseLocks();
    video->RefuseLocks();
    ASSERT_EQ(m_recorder.writer->AddAudioSample(audio.Get()), 1);
    ASSERT_EQ(m_recorder.writer->AddVideoSample(video.Get()), 1);
    EXPECT_EQ(Size(), size);
    m_recorder.writer->CloseFile();
}
