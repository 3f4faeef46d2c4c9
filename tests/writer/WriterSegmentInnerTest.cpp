// Segments: when the next one starts, to the byte. Payloads are zeros, which the file system in memory does
// not store; without a worker thread everything is written when the submission returns.
#include "format/KrBytes.h"
#include "tests/writer/KrRecorder.h"
#include "writer/KrAviFile.h"

using namespace KrTest;

namespace
{
constexpr size_t kLargeFrame = 60'000'000;

uint64_t OldIndexTail(size_t entries, uint32_t sector)
{
    return (16 * entries + 24 + sector - 1) / sector * sector;
}

class WriterSegment : public testing::Test
{
protected:
    void Open(uint32_t bytesPerSector, bool withAudio = false)
    {
        SKrWritten written;
        written.bytesPerSector = bytesPerSector;
        if (withAudio)
            written.pcm = SKrPcmFormat{.channels = 2, .samplesPerSec = 25, .bitsPerSample = 16};
        ASSERT_EQ(m_recorder.Open(written), 1);
    }

    void AddLargeFrames(size_t count)
    {
        for (size_t number = 0; number < count; ++number)
            ASSERT_EQ(m_recorder.AddZeroVideo(kLargeFrame), 1);
    }

    [[nodiscard]] uint64_t Size() const { return m_recorder.Content().Size(); }

    CKrRecorder m_recorder{EKrWorker::None};
};
} // namespace

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

// The last frame of the first segment is tested against the limit with the 'idx1' of the frames before it.
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
        for (int number = 0; number < 17; ++number)
        {
            ASSERT_EQ(m_recorder.AddZeroAudio(4), 1);
            ASSERT_EQ(m_recorder.AddZeroVideo(kLargeFrame), 1);
        }
        const uint64_t tail = OldIndexTail(1 + 17 + 16, 512);
        const uint64_t audio = 512;
        const uint64_t left = kSegmentLimit - 512 - tail - Size() - audio + beyond;
        ASSERT_EQ(m_recorder.AddZeroAudio(4), 1);
        ASSERT_EQ(m_recorder.AddZeroVideo(static_cast<size_t>(left - 8)), 1);
        const SKrCheckedAvi checked = m_recorder.Close();
        EXPECT_EQ(checked.video[17].segment, beyond / 512);
        EXPECT_EQ(checked.audio[16].segment, beyond / 512) << "its audio goes with it";
        EXPECT_EQ(checked.order.substr(0, 7), "VAVAVAV");
    }
}

// Kept: a standard index that becomes due between a frame and its audio is not part of what was reserved.
TEST_F(WriterSegment, IndexInsideAGroup_MayStartASegmentOrPassTheLimit)
{
    for (const uint64_t video : {uint64_t{512}, uint64_t{102'400}})
    {
        Open(512, true);
        for (int number = 0; number < 4027; ++number)
        {
            ASSERT_EQ(m_recorder.AddZeroAudio(4), 1);
            ASSERT_EQ(m_recorder.AddZeroVideo(number < 17 ? kLargeFrame : 504), 1);
        }
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

// Kept: what is left when the file is closed is written without a look at the limit.
TEST_F(WriterSegment, AudioOfTheLastDrain_MayPassTheLimit)
{
    Open(512, true);
    AddLargeFrames(1);
    for (int number = 1; number < 17; ++number)
    {
        ASSERT_EQ(m_recorder.AddZeroAudio(4), 1);
        ASSERT_EQ(m_recorder.AddZeroVideo(kLargeFrame), 1);
    }
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
    for (int number = 0; number < 1100; ++number)
    {
        ASSERT_EQ(m_recorder.AddZeroAudio(4), 1);
        ASSERT_EQ(m_recorder.AddZeroVideo(4'000'000), 1);
    }
    const SKrCheckedAvi checked = m_recorder.Close();
    EXPECT_GT(checked.segments.back(), uint64_t{4'400'000'000});
    ASSERT_EQ(checked.videoIndexes.size(), 2u);
    EXPECT_EQ(checked.audioIndexes.size(), 2u) << "follows the video index";
    const SKrWrittenIndex& first = checked.videoIndexes[0];
    const uint64_t reach = first.chunks.back().data - (first.chunks[0].data - 8);
    EXPECT_LE(reach, uint64_t{0xFFFFFFFF});
    EXPECT_GT(reach, uint64_t{0xFFFFFFFF} - 5'000'000) << "not before it must";
}
