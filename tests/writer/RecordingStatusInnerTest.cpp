// What a recording says of itself, at any moment and to any thread.
#include "tests/writer/KrRecorder.h"
#include "tests/writer/KrRecordingArguments.h"

#include <cstring>

using namespace KrTest;

namespace
{
class RecordingStatus : public testing::Test
{
protected:
    [[nodiscard]] SKrRecordingStatus Status() { return StatusOf(*m_recorder.writer.Get()); }

    void Set(const SKrRecordingOptions& options)
    {
        ASSERT_EQ(m_recorder.writer->SetRecordingOptions(&options), 1);
    }

    CKrRecorder m_recorder{EKrWorker::None};
};
} // namespace

TEST_F(RecordingStatus, BeforeTheFirstOpen_IsEmpty)
{
    SKrRecordingStatus expected{};
    expected.size = sizeof expected;
    const SKrRecordingStatus status = Status();
    EXPECT_EQ(std::memcmp(&status, &expected, sizeof status), 0);
}

TEST_F(RecordingStatus, RecordsOfOtherSizes_AreRefusedOrFilledAsFarAsKnown)
{
    EXPECT_EQ(m_recorder.writer->GetRecordingStatus(nullptr), 0);
    SKrRecordingStatus small{};
    small.size = sizeof small - 1;
    small.segments = 77;
    EXPECT_EQ(m_recorder.writer->GetRecordingStatus(&small), 0);
    EXPECT_EQ(small.segments, 77u) << "nothing was changed";

    struct
    {
        SKrRecordingStatus known;
        uint64_t later;
    } large{};
    large.known.size = sizeof large;
    large.known.segments = 77;
    large.later = 0x1122334455667788;
    EXPECT_EQ(m_recorder.writer->GetRecordingStatus(&large.known), 1);
    EXPECT_EQ(large.known.size, sizeof large);
    EXPECT_EQ(large.known.segments, 0u);
    EXPECT_EQ(large.later, 0x1122334455667788u);
}

TEST_F(RecordingStatus, CountsWhatIsWrittenAndStaysAfterTheClose)
{
    ASSERT_EQ(m_recorder.Open(WithAudio()), 1);
    EXPECT_EQ(Status().state, kKrStateOpen);
    EXPECT_EQ(Status().segments, 1u);
    EXPECT_EQ(Status().bytesWritten, m_recorder.Content().Size());
    for (int number = 0; number < 30; ++number)
    {
        m_recorder.AddPatternAudio(kBytesOf25thSecond);
        m_recorder.AddPatternVideo(100);
    }
    EXPECT_EQ(Status().bytesWritten, m_recorder.Content().Size());
    const KrBytes direct(10);
    ASSERT_EQ(m_recorder.writer->WriteVideoChunk(direct.data(), 10), 1);
    ASSERT_EQ(m_recorder.writer->CloseFile(), 1);
    const SKrRecordingStatus closed = Status();
    EXPECT_EQ(closed.state, 0u);
    EXPECT_EQ(closed.systemError, 0u);
    EXPECT_EQ(closed.segments, 1u);
    EXPECT_EQ(closed.framesWritten, 30u);
    EXPECT_EQ(closed.audioChunksWritten, 30u);
    EXPECT_EQ(closed.framesInIndex, 31u) << "with the direct chunk";
    EXPECT_EQ(closed.bytesWritten, m_recorder.Content().Size());
    EXPECT_EQ(closed.queuedFrames, 0u);
    EXPECT_EQ(closed.queuedBytes, 0u);

    EXPECT_EQ(m_recorder.Open({}), 1);
    EXPECT_EQ(Status().framesWritten, 0u);
    EXPECT_EQ(Status().framesInIndex, 0u);
    EXPECT_EQ(Status().bytesWritten, m_recorder.Content().Size());
}

// At each moment the number is what our reader finds in the file as it is then.
TEST_F(RecordingStatus, FramesInIndex_AreThoseThatAReaderFinds)
{
    SKrRecordingOptions spaced = DefaultOptions();
    spaced.chunkSpacingMs = 1;
    for (const SKrRecordingOptions& options : {DefaultOptions(), FastOptions(), spaced, PowerSafeOptions()})
    {
        Set(options);
        ASSERT_EQ(m_recorder.Open({}), 1);
        size_t most = 0;
        for (int number = 0; number < 130; ++number)
        {
            m_recorder.AddPatternVideo(700);
            ASSERT_EQ(Status().framesInIndex, FramesReadable(m_recorder.Content())) << number;
            most = std::max<size_t>(most, Status().framesInIndex);
        }
        EXPECT_GE(most, 100u) << "with one second more for a power-safe file";
        m_recorder.Close();
        EXPECT_EQ(Status().framesInIndex, 130u);
    }
}

TEST_F(RecordingStatus, FurtherSegments_AreCounted)
{
    ASSERT_EQ(m_recorder.Open({}), 1);
    for (int number = 0; number < 5; ++number)
        m_recorder.AddZeroVideo(534'500'000);
    EXPECT_EQ(Status().segments, 3u) << "of two frames, two and one";
}

TEST_F(RecordingStatus, SamplesThatCannotBeLocked_ArePassedOverAndCounted)
{
    for (const SKrRecordingOptions& options : {DefaultOptions(), FastOptions()})
    {
        Set(options);
        ASSERT_EQ(m_recorder.Open({}), 1);
        const auto sample = CKrRef<CKrTestSample>::Adopt(new CKrTestSample(KrBytes(10)));
        sample->RefuseLocks();
        ASSERT_EQ(m_recorder.writer->AddVideoSample(sample.Get()), 1);
        m_recorder.AddPatternVideo(10);
        EXPECT_EQ(Status().samplesPassedOver, 1u);
        EXPECT_EQ(Status().framesWritten, 1u);
        EXPECT_EQ(Status().samplesRefused, 0u);
        EXPECT_EQ(m_recorder.writer->CloseFile(), 0);
    }
}

TEST_F(RecordingStatus, SubmissionsAfterAFailedWrite_AreCountedAsRefused)
{
    for (const SKrRecordingOptions& options : {DefaultOptions(), FastOptions()})
    {
        Set(options);
        ASSERT_EQ(m_recorder.Open({}), 1);
        m_recorder.faults.Reset();
        m_recorder.faults.FailCall(EKrFileCall::Write, 1, EKrFaultSpan::Once, 28);
        for (int number = 0; number < 3; ++number)
            EXPECT_EQ(m_recorder.AddPatternVideo(10), 0);
        EXPECT_EQ(m_recorder.writer->AddVideoSample(nullptr), 0);
        EXPECT_EQ(Status().state, kKrStateOpen | kKrStateWriteFailed);
        EXPECT_EQ(Status().systemError, 28u);
        EXPECT_EQ(Status().samplesRefused, 3u) << "a null pointer is no sample";
        EXPECT_EQ(m_recorder.writer->CloseFile(), 0);
        EXPECT_EQ(m_recorder.AddPatternVideo(10), 0);
        EXPECT_EQ(Status().samplesRefused, 3u) << "no file is open";
        EXPECT_EQ(Status().state, kKrStateWriteFailed);
    }
}

TEST_F(RecordingStatus, FlushThatFails_IsNotedAndTheRecordingContinues)
{
    ASSERT_EQ(m_recorder.Open({}), 1);
    m_recorder.faults.FailCall(EKrFileCall::Flush, 1, EKrFaultSpan::Once, 5);
    for (int number = 0; number < 40; ++number)
        EXPECT_EQ(m_recorder.AddPatternVideo(10), 1);
    EXPECT_EQ(Status().state, kKrStateOpen | kKrStateFlushFailed);
    EXPECT_EQ(Status().systemError, 5u);
    EXPECT_EQ(m_recorder.writer->CloseFile(), 0);
    EXPECT_EQ(Status().framesWritten, 40u);
}

TEST_F(RecordingStatus, NameOfAPowerSafeFile_IsFlushedByTheOpen)
{
    for (const SKrRecordingOptions& options : {DefaultOptions(), FastOptions(), PowerSafeOptions()})
    {
        Set(options);
        m_recorder.faults.Reset();
        ASSERT_EQ(m_recorder.Open({}), 1);
        EXPECT_EQ(m_recorder.faults.Calls(EKrFileCall::FlushName), options.flags == 0 ? 0u : 1u);
        m_recorder.Close();
    }
}

TEST_F(RecordingStatus, NameThatCannotBeFlushed_IsNotedAndTheRecordingContinues)
{
    Set(PowerSafeOptions());
    m_recorder.faults.FailCall(EKrFileCall::FlushName, 1, EKrFaultSpan::Once, 30);
    ASSERT_EQ(m_recorder.Open({}), 1);
    EXPECT_EQ(Status().state, kKrStateOpen | kKrStateFlushFailed);
    EXPECT_EQ(Status().systemError, 30u);
    EXPECT_EQ(m_recorder.AddPatternVideo(10), 1);
    EXPECT_EQ(m_recorder.writer->CloseFile(), 0);
    EXPECT_EQ(Status().framesInIndex, 1u);
}

TEST(RecordingStatusOfAQueue, CountsWhatWaitsAndTheMostThatDid)
{
    CKrRecorder recorder(EKrWorker::Stopped);
    for (const SKrRecordingOptions& options : {DefaultOptions(), FastOptions()})
    {
        ASSERT_EQ(recorder.writer->SetRecordingOptions(&options), 1);
        ASSERT_EQ(recorder.Open(WithAudio()), 1);
        for (int number = 0; number < 3; ++number)
            recorder.AddPatternVideo(1000);
        recorder.AddPatternAudio(400);
        SKrRecordingStatus status = StatusOf(*recorder.writer.Get());
        EXPECT_EQ(status.queuedFrames, 3u);
        EXPECT_EQ(status.queuedAudioChunks, 1u);
        EXPECT_EQ(status.queuedBytes, 3400u);
        EXPECT_EQ(status.framesWritten, 0u);
        recorder.Close();
        status = StatusOf(*recorder.writer.Get());
        EXPECT_EQ(status.queuedFrames, 0u);
        EXPECT_EQ(status.queuedAudioChunks, 0u);
        EXPECT_EQ(status.queuedBytes, 0u);
        EXPECT_EQ(status.mostQueuedBytes, 3400u);
        EXPECT_EQ(status.framesWritten, 3u);
    }
}

// Ticks of which no whole number is a second or a microsecond.
TEST(RecordingStatusOfAClock, TimesAreRoundedDownToMicroseconds)
{
    class CThirdsClock final : public IKrClock
    {
    public:
        uint32_t TickCount() override { return 0; }
        int64_t PerformanceCounter() override { return now; }
        int64_t PerformanceFrequency() override { return 3; }
        void Sleep(uint32_t) override {}

        int64_t now = 1;
    } clock;
    CKrRecordingStatus status(clock);
    status.BeginWrite();
    clock.now += 3 * 3'000'000'000'000 + 2;
    EXPECT_EQ(status.Snapshot().longestWriteUs, uint64_t{3'000'000'000'000'666'666}) << "under way";
    status.EndWrite({1, 0}, true);
    EXPECT_EQ(status.Snapshot().longestWriteUs, uint64_t{3'000'000'000'000'666'666});
}
