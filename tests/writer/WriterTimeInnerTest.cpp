// Pacing, the pause of each submission, and the measured data rate.
#include "format/KrBytes.h"
#include "tests/writer/KrRecorder.h"
#include "writer/KrPacer.h"

using namespace KrTest;

TEST(WriterPacing, FirstChunk_WaitsAMillisecond)
{
    CKrManualClock clock(5000);
    CKrPacer pacer(clock);
    pacer.Pace();
    EXPECT_EQ(clock.Sleeps(), std::vector<uint32_t>{1}) << "as if the chunk before were 4 ms old";
}

TEST(WriterPacing, LaterChunks_AreFiveMillisecondsApart)
{
    CKrManualClock clock(5000);
    CKrPacer pacer(clock);
    pacer.Pace();
    pacer.Pace();
    clock.Advance(3);
    pacer.Pace();
    clock.Advance(5);
    pacer.Pace();
    clock.Advance(100);
    pacer.Pace();
    EXPECT_EQ(clock.Sleeps(), (std::vector<uint32_t>{1, 5, 2}));
}

TEST(WriterPacing, TickCountThatWraps_DoesNotStopIt)
{
    CKrManualClock clock(0xFFFFFFFE);
    CKrPacer pacer(clock);
    pacer.Pace(); // at 2^32 - 1
    clock.Advance(2);
    pacer.Pace(); // 1: two milliseconds later
    pacer.Pace();
    EXPECT_EQ(clock.Sleeps(), (std::vector<uint32_t>{1, 3, 5}));
}

TEST(WriterPacing, Reset_StartsAnew)
{
    CKrManualClock clock(5000);
    CKrPacer pacer(clock);
    pacer.Pace();
    pacer.Reset();
    pacer.Pace();
    EXPECT_EQ(clock.Sleeps(), (std::vector<uint32_t>{1, 1}));
}

TEST(WriterPacing, SubmissionsPauseAndQueuedChunksArePaced)
{
    CKrRecorder recorder(EKrWorker::None);
    ASSERT_EQ(recorder.Open({}), 1);
    for (int number = 0; number < 3; ++number)
        ASSERT_EQ(recorder.AddVideo({1, 2, 3}), 1);
    // Chunk, then the submission's own pause of 1 ms.
    EXPECT_EQ(recorder.clock.Sleeps(), (std::vector<uint32_t>{1, 1, 4, 1, 4, 1}));
    recorder.Close();
}

TEST(WriterPacing, EachFile_StartsAnew)
{
    CKrRecorder recorder(EKrWorker::None);
    for (int round = 0; round < 2; ++round)
    {
        ASSERT_EQ(recorder.Open({}), 1);
        ASSERT_EQ(recorder.AddVideo({1, 2, 3}), 1);
        recorder.Close();
    }
    EXPECT_EQ(recorder.clock.Sleeps(), (std::vector<uint32_t>{1, 1, 1, 1}));
}

TEST(WriterPacing, DirectChunks_AreNotPaced)
{
    CKrRecorder recorder(EKrWorker::None);
    recorder.written.hasDirectChunks = true;
    ASSERT_EQ(recorder.Open({.hasDirectChunks = true}), 1);
    const uint8_t bytes[3] = {1, 2, 3};
    EXPECT_EQ(recorder.writer->WriteVideoChunk(bytes, 3), 1);
    EXPECT_EQ(recorder.writer->WriteVideoChunk(bytes, 3), 1);
    EXPECT_EQ(recorder.clock.Sleeps(), std::vector<uint32_t>{});
    recorder.Close();
}

TEST(WriterPacing, RefusedSubmissions_DoNotPause)
{
    CKrRecorder recorder;
    ASSERT_EQ(recorder.Open({}), 1);
    EXPECT_EQ(recorder.AddVideo({}), 0);
    EXPECT_EQ(recorder.AddAudio({1}), 0) << "no audio stream";
    recorder.Close();
    EXPECT_EQ(recorder.AddVideo({1}), 0) << "closed";
    EXPECT_EQ(recorder.clock.Sleeps(), std::vector<uint32_t>{});
}

namespace
{
uint32_t MaxBytesPerSec(const CKrRecorder& recorder)
{
    return GetLe32(recorder.Content().Range(36, 4).data());
}
} // namespace

TEST(WriterDataRate, IsMeasuredOncePerSecondOfVideo)
{
    CKrRecorder recorder(EKrWorker::None);
    ASSERT_EQ(recorder.Open({}), 1);
    for (int number = 0; number < 24; ++number)
        ASSERT_EQ(recorder.AddZeroVideo(5112), 1); // 5120 with its header
    EXPECT_EQ(recorder.faults.Calls(EKrFileCall::Flush), 0u);
    ASSERT_EQ(recorder.AddZeroVideo(5112), 1);
    EXPECT_EQ(recorder.faults.Calls(EKrFileCall::Flush), 1u) << "and the file is flushed then";
    const SKrCheckedAvi checked = recorder.Close();
    // The first measurement counts from the start of the file: headers, the standard index, 25 frames.
    EXPECT_EQ(checked.maxBytesPerSec, 33792u + 32256 + 25 * 5120);
    EXPECT_EQ(recorder.faults.Calls(EKrFileCall::Flush), 2u) << "once more at the close";
}

TEST(WriterDataRate, LargestOfAllSecondsStays)
{
    CKrRecorder recorder(EKrWorker::None);
    ASSERT_EQ(recorder.Open({}), 1);
    for (const size_t size : {504u, 51'192u, 1016u})
    {
        for (int number = 0; number < 25; ++number)
            ASSERT_EQ(recorder.AddZeroVideo(size), 1);
    }
    EXPECT_EQ(recorder.Close().maxBytesPerSec, 25u * 51'200);
    EXPECT_EQ(MaxBytesPerSec(recorder), 25u * 51'200);
}

TEST(WriterDataRate, IsFormedFromTheTruncatedFrameDurationAndRounded)
{
    CKrRecorder recorder(EKrWorker::None);
    ASSERT_EQ(recorder.Open({.frameRate = 3}), 1); // 34482 microseconds: 30 frames are 1.03446 seconds
    for (int number = 0; number < 60; ++number)
        ASSERT_EQ(recorder.AddZeroVideo(51'192), 1);
    EXPECT_EQ(recorder.Close().maxBytesPerSec, 1'548'680u); // (33792 + 32256 + 30 * 51200) / 1.03446
}

TEST(WriterDataRate, LessThanASecond_IsNotMeasured)
{
    CKrRecorder recorder(EKrWorker::None);
    ASSERT_EQ(recorder.Open({}), 1);
    for (int number = 0; number < 24; ++number)
        ASSERT_EQ(recorder.AddZeroVideo(5112), 1);
    EXPECT_EQ(recorder.Close().maxBytesPerSec, 0u);
}

TEST(WriterDataRate, IsMeasuredAfterAFailedStepToo)
{
    CKrRecorder recorder(EKrWorker::Stopped);
    ASSERT_EQ(recorder.Open({}), 1);
    for (int number = 0; number < 26; ++number)
        ASSERT_EQ(recorder.AddZeroVideo(5112), 1);
    recorder.faults.Reset();
    recorder.faults.FailCall(EKrFileCall::Write, 26);
    EXPECT_EQ(recorder.Close().maxBytesPerSec, 33792u + 32256 + 25 * 5120);
}
