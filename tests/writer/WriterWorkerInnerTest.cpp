// The worker: how its thread is used, what it does when it is stopped, and how it handles failures.
#include "tests/writer/KrRecorder.h"
#include "writer/KrWorkSignal.h"

#include <chrono>
#include <thread>

using namespace KrTest;

namespace
{
// A recorder whose samples all wait until it is closed.
class WriterWorker : public testing::Test
{
protected:
    WriterWorker()
    {
        CKrStoppedWorker::s_log.clear();
        CKrStoppedWorker::s_refusesToStart = false;
    }

    void AddVideo(size_t count)
    {
        for (size_t number = 0; number < count; ++number)
            ASSERT_EQ(m_recorder.AddPatternVideo(100), 1);
    }

    void AddAudio(size_t count, size_t bytes = kBytesOf25thSecond)
    {
        for (size_t number = 0; number < count; ++number)
            ASSERT_EQ(m_recorder.AddPatternAudio(bytes), 1);
    }

    // Makes a write fail, counted from here.
    void FailWrite(uint64_t number)
    {
        m_recorder.faults.Reset();
        m_recorder.faults.FailCall(EKrFileCall::Write, number);
    }

    CKrRecorder m_recorder{EKrWorker::Stopped};
};
} // namespace

TEST_F(WriterWorker, ThreadIsMadeOnceAndStartedForEachFile)
{
    for (int round = 0; round < 2; ++round)
    {
        ASSERT_EQ(m_recorder.Open({}), 1);
        AddVideo(2);
        EXPECT_EQ(m_recorder.Close().video.size(), 2u);
    }
    m_recorder.writer.Reset();
    EXPECT_EQ(CKrStoppedWorker::s_log,
              "create 15, priority 0, defaults, routine, start, stop, wait for ever, "
              "start, stop, wait for ever, stop and wait 1000, destroy");
}

TEST_F(WriterWorker, ThreadThatDoesNotStart_LeavesItsPartToTheSubmissions)
{
    CKrStoppedWorker::s_refusesToStart = true;
    ASSERT_EQ(m_recorder.Open({}), 1);
    AddVideo(2);
    EXPECT_EQ(CKrTestSample::Alive(), 0) << "written and released";
    EXPECT_EQ(m_recorder.Close().video.size(), 2u);
}

TEST(WriterWorkerThread, SamplesAreWrittenOnItAlsoForTheSecondFile)
{
    CKrRecorder recorder;
    for (int round = 0; round < 2; ++round)
    {
        ASSERT_EQ(recorder.Open({}), 1);
        const auto sample = CKrRef<CKrTestSample>::Adopt(new CKrTestSample(KrBytes(100)));
        ASSERT_EQ(recorder.writer->AddVideoSample(sample.Get()), 1);
        EXPECT_EQ(recorder.Close().video.size(), 1u);
        EXPECT_NE(sample->LockedBy(), std::thread::id());
        EXPECT_NE(sample->LockedBy(), std::this_thread::get_id());
    }
}

TEST(WriterWorkerThread, AfterAFailedWrite_ReleasesWhatIsQueuedAtOnce)
{
    CKrRecorder recorder;
    ASSERT_EQ(recorder.Open(WithAudio()), 1);
    recorder.faults.Reset();
    recorder.faults.FailCall(EKrFileCall::Write, 1);
    // The first step fails; later frames wait for audio and would stay in the queue.
    for (int number = 0; number < 3; ++number)
        static_cast<void>(recorder.AddVideo(KrBytes(100)));
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (CKrTestSample::Alive() > 0 && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_EQ(CKrTestSample::Alive(), 0) << "before the close";
    EXPECT_TRUE(recorder.faults.FaultStruck());
    recorder.writer->CloseFile();
}

TEST_F(WriterWorker, LastDrain_WritesFramesThenReadyThenWaitingAudio)
{
    ASSERT_EQ(m_recorder.Open(WithAudio()), 1);
    AddVideo(3);
    AddAudio(1);
    AddAudio(2, 50'000); // far more than three frames' worth: never due
    // The first step takes all frames, since the audio is not due before the third; it schedules the first
    // block, which is ready then.
    const SKrCheckedAvi checked = m_recorder.Close();
    EXPECT_EQ(checked.order, "VAVVAA");
    EXPECT_EQ(SizesOf(checked.audio), (std::vector<uint32_t>{7680, 50'000, 50'000}));
}

TEST_F(WriterWorker, FramesThatAudioNeverReaches_GoBeforeTheAudioThatIsLeft)
{
    ASSERT_EQ(m_recorder.Open(WithAudio()), 1);
    AddVideo(1);
    AddAudio(1, 7680);
    AddAudio(1, 50'000);
    AddVideo(2);
    const SKrCheckedAvi checked = m_recorder.Close();
    EXPECT_EQ(checked.order, "VAVVA");
    EXPECT_EQ(checked.audio.back().size, 50'000u);
}

TEST_F(WriterWorker, OneFailedWrite_EndsTheDrainAndTheFileIsStillCompleted)
{
    ASSERT_EQ(m_recorder.Open(WithAudio()), 1);
    AddVideo(5);
    AddAudio(5);
    FailWrite(4); // of V A V A
    const SKrCheckedAvi checked = m_recorder.Close();
    EXPECT_EQ(checked.order, "VAV") << "nothing after the failure";
    EXPECT_EQ(CKrTestSample::Alive(), 0);
    EXPECT_EQ(m_recorder.files.OpenFiles(), 0u);
}

TEST_F(WriterWorker, AfterAFailedWrite_TheCloseWritesNoSample)
{
    ASSERT_EQ(m_recorder.Open(WithAudio()), 1);
    AddVideo(3);
    FailWrite(1);
    const uint8_t byte = 1;
    EXPECT_EQ(m_recorder.writer->WriteVideoChunk(&byte, 1), 0);
    EXPECT_EQ(m_recorder.Close().order, "") << "but completes the file";
    EXPECT_EQ(CKrTestSample::Alive(), 0);
}

TEST_F(WriterWorker, OldIndexThatFailsOnce_IsWrittenByTheClose)
{
    ASSERT_EQ(m_recorder.Open({}), 1);
    AddVideo(30);
    FailWrite(31);
    EXPECT_EQ(m_recorder.Close().video.size(), 30u);
    EXPECT_TRUE(m_recorder.faults.FaultStruck());
}

TEST(WriterWorkSignal, StopPrecedesWork)
{
    CKrWorkSignal signal;
    std::stop_source stop;
    signal.Add();
    signal.Add();
    EXPECT_TRUE(signal.WaitForWork(stop.get_token()));
    stop.request_stop();
    EXPECT_FALSE(signal.WaitForWork(stop.get_token())) << "although there is work";
}

TEST(WriterWorkSignal, WaitForAny_TakesAllWorkThatHasCome)
{
    CKrWorkSignal signal;
    const std::stop_source stop;
    signal.Add();
    signal.Add();
    EXPECT_TRUE(signal.WaitForAny(stop.get_token(), 60'000));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(signal.WaitForAny(stop.get_token(), 20)) << "time is up";
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(19));
}

TEST(WriterWorkSignal, Reset_DiscardsPendingSignals)
{
    CKrWorkSignal signal;
    signal.Add();
    signal.Reset();
    std::stop_source stop;
    std::atomic<bool> hadWork = true;
    std::thread waiting([&] { hadWork = signal.WaitForWork(stop.get_token()); });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    stop.request_stop();
    signal.WakeForStop();
    waiting.join();
    EXPECT_FALSE(hadWork);
}
