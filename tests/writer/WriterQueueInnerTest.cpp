// The queue: which samples come next, in what order they reach the file, and when their references are
// released.
#include "tests/writer/KrRecorder.h"

#include <random>
#include <thread>

using namespace KrTest;

namespace
{
// Sound of one byte a sample.
SKrWritten WithMono8(uint32_t samplesPerSec = 48000, uint32_t frameRate = 2)
{
    SKrWritten written;
    written.frameRate = frameRate;
    written.pcm = SKrPcmFormat{.channels = 1, .samplesPerSec = samplesPerSec, .bitsPerSample = 8};
    return written;
}

// A queue for 100 one-byte samples per second at 25 frames per second: 4 bytes belong to a frame.
class SampleQueue : public testing::Test
{
protected:
    SampleQueue()
    {
        const SKrAviVideoParams params = ParamsFor({});
        const WAVEFORMATEX format = WaveFormatFor({.channels = 1, .samplesPerSec = 100, .bitsPerSample = 8});
        m_queue.Begin(*MakeWriterSetup(&params, 0, &format));
    }

    void Push(EKrStream stream, size_t size)
    {
        CKrSampleList samples;
        samples.push_back(
            {::CKrRef<IKrMediaSample>::Adopt(new CKrTestSample(KrBytes(size))), static_cast<uint32_t>(size)});
        m_queue.Push(stream, samples);
    }

    // Lengths of the samples that a step takes out: audio first.
    std::vector<uint32_t> Take(uint32_t framesWritten)
    {
        const SKrBatch batch = m_queue.TakeBatch(framesWritten);
        std::vector<uint32_t> lengths;
        for (const SKrQueuedSample& queued : batch.audio)
            lengths.push_back(queued.length);
        for (const SKrQueuedSample& queued : batch.video)
            lengths.push_back(queued.length);
        return lengths;
    }

    using Lengths = std::vector<uint32_t>;
    using SSizes = CKrSampleQueue::SKrSizes;

    CKrSampleQueue m_queue;
};
} // namespace

TEST_F(SampleQueue, FirstFrame_NeedsNoAudio)
{
    Push(EKrStream::Video, 1000);
    EXPECT_EQ(Take(0), Lengths{1000});
}

TEST_F(SampleQueue, LateAudio_HoldsTheVideo)
{
    Push(EKrStream::Video, 1000);
    EXPECT_EQ(Take(1), Lengths{}) << "the target is 4 bytes, none is scheduled";
    Push(EKrStream::Audio, 4);
    EXPECT_EQ(Take(1), Lengths{}) << "this step only schedules the audio";
    EXPECT_EQ(m_queue.Sizes(), (SSizes{1, 0, 1}));
    EXPECT_EQ(Take(1), (Lengths{4, 1000}));
}

TEST_F(SampleQueue, AudioOfAStep_LeavesWithTheNextBatch)
{
    Push(EKrStream::Audio, 4);
    Push(EKrStream::Video, 1000);
    EXPECT_EQ(Take(0), Lengths{1000});
    EXPECT_EQ(m_queue.Sizes(), (SSizes{0, 0, 1}));
    Push(EKrStream::Video, 1001);
    EXPECT_EQ(Take(1), (Lengths{4, 1001}));
}

TEST_F(SampleQueue, AudioAlone_Waits)
{
    Push(EKrStream::Audio, 4);
    EXPECT_EQ(Take(0), Lengths{});
    EXPECT_EQ(m_queue.Sizes(), (SSizes{0, 1, 0})) << "no frame reaches it yet";
}

TEST_F(SampleQueue, LongBlock_WaitsForTheFramesThatNeedIt)
{
    Push(EKrStream::Audio, 10); // two frames and a half
    for (uint32_t number = 0; number < 5; ++number)
        Push(EKrStream::Video, 1000 + number);
    EXPECT_EQ(Take(0), (Lengths{1000, 1001, 1002})) << "three frames make 12 bytes";
    EXPECT_EQ(m_queue.Sizes(), (SSizes{2, 0, 1}));
    EXPECT_EQ(Take(3), Lengths{}) << "2 bytes are missing";
    Push(EKrStream::Audio, 10);
    EXPECT_EQ(Take(3), (Lengths{10, 1003, 1004}));
}

TEST_F(SampleQueue, BatchEndsWithTheVideoQueue)
{
    Push(EKrStream::Audio, 100);
    Push(EKrStream::Video, 1000);
    Push(EKrStream::Video, 1001);
    EXPECT_EQ(Take(0), (Lengths{1000, 1001}));
    EXPECT_EQ(m_queue.Sizes(), (SSizes{0, 1, 0}));
}

TEST_F(SampleQueue, SeveralBlocks_AreScheduledUpToTheTarget)
{
    for (int number = 0; number < 6; ++number)
        Push(EKrStream::Audio, 1);
    Push(EKrStream::Video, 1000);
    EXPECT_EQ(Take(0), Lengths{1000});
    EXPECT_EQ(m_queue.Sizes(), (SSizes{0, 2, 4})) << "4 bytes, not 5";
}

TEST_F(SampleQueue, ReadyBlocks_AllLeaveInOrderBeforeTheFirstFrameOfTheBatch)
{
    for (const size_t size : {1u, 2u, 1u})
        Push(EKrStream::Audio, size);
    Push(EKrStream::Audio, 9); // due with the fourth frame
    Push(EKrStream::Video, 1000);
    EXPECT_EQ(Take(0), Lengths{1000});
    EXPECT_EQ(m_queue.Sizes(), (SSizes{0, 1, 3}));
    for (uint32_t number = 1; number < 6; ++number)
        Push(EKrStream::Video, 1000 + number);
    EXPECT_EQ(Take(1), (Lengths{1, 2, 1, 1001, 1002, 1003}));
}

TEST_F(SampleQueue, BlockThatWouldPassTheTarget_IsNotScheduled)
{
    Push(EKrStream::Audio, 3);
    Push(EKrStream::Audio, 2);
    Push(EKrStream::Video, 1000);
    EXPECT_EQ(Take(0), Lengths{1000});
    EXPECT_EQ(m_queue.Sizes(), (SSizes{0, 1, 1}));
}

TEST(WriterQueue, OneBlockAFrame_AlternatesFromTheFirstFrameOn)
{
    CKrRecorder recorder;
    ASSERT_EQ(recorder.Open(WithMono8()), 1);
    for (int number = 0; number < 10; ++number)
    {
        ASSERT_EQ(recorder.AddPatternAudio(1920), 1);
        ASSERT_EQ(recorder.AddPatternVideo(100), 1);
    }
    EXPECT_EQ(recorder.Close().order, "VAVAVAVAVAVAVAVAVAVA");
}

// 48000 samples a second at 29.97 frames: 1602, 1601, 1602, 1601, 1602.
TEST(WriterQueue, TargetFollowsTheFrameRate)
{
    CKrRecorder recorder(EKrWorker::Stopped);
    ASSERT_EQ(recorder.Open(WithMono8(48000, 3)), 1);
    for (int number = 0; number < 5; ++number)
        ASSERT_EQ(recorder.AddPatternVideo(100), 1);
    for (const size_t size : {1602u, 1601u, 1602u, 1601u, 1602u})
        ASSERT_EQ(recorder.AddPatternAudio(size), 1);
    EXPECT_EQ(recorder.Close().order, "VAVAVAVAVA");
    ASSERT_EQ(recorder.Open(WithMono8(48000, 3)), 1);
    for (int number = 0; number < 5; ++number)
        ASSERT_EQ(recorder.AddPatternVideo(100), 1);
    for (const size_t size : {1603u, 1600u, 1602u, 1601u, 1602u})
        ASSERT_EQ(recorder.AddPatternAudio(size), 1);
    EXPECT_EQ(recorder.Close().order, "VVAAVAVAVA") << "one byte too many for the first frame";
}

TEST(WriterQueue, VideoAlone_KeepsItsOrder)
{
    CKrRecorder recorder;
    ASSERT_EQ(recorder.Open({}), 1);
    std::vector<uint32_t> sizes;
    for (uint32_t number = 0; number < 60; ++number)
    {
        sizes.push_back(100 + number * 7 % 31);
        ASSERT_EQ(recorder.AddPatternVideo(sizes.back()), 1);
    }
    EXPECT_EQ(SizesOf(recorder.Close().video), sizes);
}

TEST(WriterQueue, Close_WritesAllThatIsQueued)
{
    CKrRecorder recorder;
    ASSERT_EQ(recorder.Open(WithMono8()), 1);
    for (int number = 0; number < 30; ++number)
        ASSERT_EQ(recorder.AddPatternVideo(100), 1);
    for (int number = 0; number < 7; ++number)
        ASSERT_EQ(recorder.AddPatternAudio(1920), 1);
    const SKrCheckedAvi checked = recorder.Close();
    EXPECT_EQ(checked.video.size(), 30u);
    EXPECT_EQ(checked.audio.size(), 7u);
    EXPECT_EQ(CKrTestSample::Alive(), 0);
}

TEST(WriterQueue, AudioWithoutAnyFrame_IsWrittenAtTheClose)
{
    CKrRecorder recorder;
    ASSERT_EQ(recorder.Open(WithMono8()), 1);
    for (int number = 0; number < 3; ++number)
        ASSERT_EQ(recorder.AddPatternAudio(1920), 1);
    EXPECT_EQ(recorder.Close().order, "AAA");
}

namespace
{
struct SSubmission
{
    bool isVideo;
    uint32_t size;
};

// Everything in one order, with pauses that the worker does not influence.
std::string OrderWritten(const std::vector<SSubmission>& submissions, uint32_t seed, EKrWorker worker)
{
    std::mt19937 random(seed);
    CKrRecorder recorder(worker);
    EXPECT_EQ(recorder.Open(WithMono8()), 1);
    for (const SSubmission& submission : submissions)
    {
        EXPECT_EQ(submission.isVideo ? recorder.AddPatternVideo(submission.size)
                                     : recorder.AddPatternAudio(submission.size),
                  1);
        if (random() % 3 == 0)
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 300));
    }
    return recorder.Close().order;
}
} // namespace

// The order of the chunks never depends on the worker's timing.
TEST(WriterQueue, OrderFollowsFromTheSubmissionsAlone)
{
    std::mt19937 random(4);
    for (int round = 0; round < 6; ++round)
    {
        std::vector<SSubmission> submissions;
        uint32_t audioBytes = 0;
        for (uint32_t frame = 0; frame < 60; ++frame)
        {
            while (audioBytes < (frame + 1) * 1920 + random() % 6000)
            {
                submissions.push_back({false, 500 + static_cast<uint32_t>(random() % 3000)});
                audioBytes += submissions.back().size;
            }
            submissions.push_back({true, 100});
        }
        const std::string order = OrderWritten(submissions, 1, EKrWorker::None);
        for (uint32_t seed = 2; seed < 6; ++seed)
            ASSERT_EQ(OrderWritten(submissions, seed, EKrWorker::Thread), order) << "round " << round;
    }
}

TEST(WriterQueue, SampleThatCannotBeLocked_IsSkipped)
{
    for (const EKrWorker worker : {EKrWorker::Thread, EKrWorker::None})
    {
        CKrRecorder recorder(worker);
        ASSERT_EQ(recorder.Open(WithMono8()), 1);
        for (uint32_t number = 0; number < 9; ++number)
        {
            const auto video = CKrRef<CKrTestSample>::Adopt(new CKrTestSample(KrBytes(100 + number)));
            const auto audio = CKrRef<CKrTestSample>::Adopt(new CKrTestSample(KrBytes(1920)));
            if (number == 4)
            {
                video->RefuseLocks();
                audio->RefuseLocks();
            }
            EXPECT_EQ(recorder.writer->AddAudioSample(audio.Get()), 1);
            EXPECT_EQ(recorder.writer->AddVideoSample(video.Get()), 1);
        }
        const SKrCheckedAvi checked = recorder.Close();
        EXPECT_EQ(SizesOf(checked.video), (std::vector<uint32_t>{100, 101, 102, 103, 105, 106, 107, 108}));
        EXPECT_EQ(checked.audio.size(), 8u);
        EXPECT_EQ(CKrTestSample::Alive(), 0);
    }
}

TEST(WriterQueue, Refusals_LeaveNoTrace)
{
    CKrRecorder recorder;
    EXPECT_EQ(recorder.AddVideo({1}), 0) << "no file";
    EXPECT_EQ(recorder.AddAudio({1}), 0);
    ASSERT_EQ(recorder.Open({}), 1);
    EXPECT_EQ(recorder.AddVideo({}), 0) << "empty";
    EXPECT_EQ(recorder.AddAudio({1, 2}), 0) << "no audio stream";
    EXPECT_EQ(recorder.writer->AddVideoSample(nullptr), 0);
    EXPECT_EQ(recorder.writer->AddAudioSample(nullptr), 0);
    EXPECT_EQ(recorder.Close().order, "");
    ASSERT_EQ(recorder.Open(WithMono8()), 1);
    EXPECT_EQ(recorder.AddAudio({}), 0) << "empty";
    EXPECT_EQ(recorder.writer->AddAudioSample(nullptr), 0);
    EXPECT_EQ(recorder.Close().order, "");
    EXPECT_EQ(recorder.AddVideo({1}), 0) << "closed";
    EXPECT_EQ(CKrTestSample::Alive(), 0);
}

TEST(WriterQueue, Samples_AreUnlockedAndReleased)
{
    const auto sample = CKrRef<CKrTestSample>::Adopt(new CKrTestSample(KrBytes(100)));
    CKrRecorder recorder;
    ASSERT_EQ(recorder.Open({}), 1);
    ASSERT_EQ(recorder.writer->AddVideoSample(sample.Get()), 1);
    ASSERT_EQ(recorder.writer->AddVideoSample(sample.Get()), 1) << "the same one twice";
    EXPECT_EQ(recorder.Close().video.size(), 2u);
    EXPECT_EQ(sample->Locks(), 0);
    EXPECT_EQ(sample->AddRef(), 2u);
    EXPECT_EQ(sample->Release(), 1u);
}

TEST(WriterQueue, WithoutAWorker_EachSubmissionWrites)
{
    CKrRecorder recorder(EKrWorker::None);
    ASSERT_EQ(recorder.Open({}), 1);
    ASSERT_EQ(recorder.AddPatternVideo(100), 1);
    EXPECT_EQ(CKrTestSample::Alive(), 0) << "written and released";
    EXPECT_GE(recorder.Content().Size(), 33792u + 32256 + 512);
    EXPECT_EQ(recorder.Close().video.size(), 1u);
}

class WriterProducers : public testing::TestWithParam<size_t>
{
};

TEST_P(WriterProducers, SubmitAtOnce)
{
    for (const EKrWorker worker : {EKrWorker::Thread, EKrWorker::None})
    {
        CKrRecorder recorder(worker);
        ASSERT_EQ(recorder.Open(WithMono8()), 1);
        std::atomic<int> refused = 0;
        {
            std::vector<std::jthread> producers;
            for (size_t producer = 0; producer < GetParam(); ++producer)
            {
                producers.emplace_back(
                    [&]
                    {
                        for (int number = 0; number < 40; ++number)
                        {
                            refused += recorder.AddAudio(KrBytes(1920, 7)) == 0;
                            refused += recorder.AddVideo(KrBytes(100, 8)) == 0;
                        }
                    });
            }
        }
        EXPECT_EQ(refused, 0);
        const SKrCheckedAvi checked = recorder.Close();
        EXPECT_EQ(checked.video.size(), 40 * GetParam());
        EXPECT_EQ(checked.audio.size(), 40 * GetParam());
        EXPECT_EQ(CKrTestSample::Alive(), 0);
    }
}

TEST_P(WriterProducers, CloseWhileTheySubmit_WritesAllThatWasAccepted)
{
    CKrRecorder recorder;
    ASSERT_EQ(recorder.Open({}), 1);
    std::atomic<size_t> accepted = 0;
    std::vector<std::jthread> producers;
    for (size_t producer = 0; producer < GetParam(); ++producer)
    {
        producers.emplace_back(
            [&]
            {
                while (recorder.AddVideo(KrBytes(100, 8)) != 0)
                    ++accepted;
            });
    }
    while (accepted < 50)
        std::this_thread::yield();
    recorder.writer->CloseFile();
    producers.clear();
    EXPECT_EQ(recorder.Check().video.size(), accepted);
    EXPECT_EQ(CKrTestSample::Alive(), 0);
}

INSTANTIATE_TEST_SUITE_P(Threads, WriterProducers, testing::Values(1, 2, 4),
                         testing::PrintToStringParamName());
