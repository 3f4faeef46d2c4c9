// The limit of the queue: who waits, who is refused, and that nobody waits for ever.
#include "tests/base/KrFailingAllocation.h"
#include "tests/support/KrStallingFileSystem.h"
#include "tests/support/KrThreadGate.h"
#include "tests/writer/KrHostSample.h"
#include "tests/writer/KrRecorder.h"
#include "tests/writer/KrRecordingArguments.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <new>
#include <thread>

using namespace KrTest;
using namespace std::chrono_literals;

namespace
{
SKrRecordingOptions Limited(uint64_t limit, uint32_t waitMs = 0xFFFFFFFF)
{
    SKrRecordingOptions options = FastOptions();
    options.queueLimit = limit;
    options.queueWaitMs = waitMs;
    return options;
}

class RecordingLimit : public testing::Test
{
protected:
    // A writer whose disk stands still at the first chunk until the gate opens.
    void Open(const SKrRecordingOptions& options, bool hasAudio = false)
    {
        m_writer = CKrRef<CKrAviWriter>::Adopt(new CKrAviWriter(SKrWriterServices{m_stalling, m_clock}));
        ASSERT_EQ(m_writer->SetRecordingOptions(&options), 1);
        const SKrAviVideoParams params = ParamsFor({});
        const WAVEFORMATEX format = WaveFormatFor(SKrPcmFormat{});
        ASSERT_EQ(m_writer->OpenFile(kRecordedPath, &params, 0, hasAudio ? &format : nullptr), 1);
        m_stalling.beforeWrite = [this]
        {
            m_gate.Pass();
        };
    }

    int AddVideo(size_t size)
    {
        return m_writer->AddVideoSample(CKrRef<CKrTestSample>::Adopt(new CKrTestSample(KrBytes(size))).Get());
    }
    int AddAudio(size_t size)
    {
        return m_writer->AddAudioSample(CKrRef<CKrTestSample>::Adopt(new CKrTestSample(KrBytes(size))).Get());
    }

    // Fills the queue to a limit of 1000 bytes: a frame that is being written, and one more.
    void Fill()
    {
        ASSERT_EQ(AddVideo(600), 1);
        ASSERT_TRUE(m_gate.WaitForArrival());
        ASSERT_EQ(AddVideo(400), 1);
    }

    [[nodiscard]] std::future<int> Submit(size_t size)
    {
        return std::async(std::launch::async, [this, size] { return AddVideo(size); });
    }

    [[nodiscard]] SKrRecordingStatus Status() { return StatusOf(*m_writer.Get()); }

    CKrMemoryFileSystem m_files;
    KrPlatform::CFileSystemScope m_scope{m_files};
    CKrStallingFileSystem m_stalling{m_files};
    CKrManualClock m_clock;
    CKrThreadGate m_gate;
    CKrRef<CKrAviWriter> m_writer;
    CKrGateOpener m_opener{m_gate};
};
} // namespace

TEST_F(RecordingLimit, SampleThatDoesNotFit_WaitsUntilOneIsReleased)
{
    Open(Limited(1000));
    Fill();
    std::future<int> third = Submit(1);
    EXPECT_EQ(third.wait_for(30ms), std::future_status::timeout);
    EXPECT_EQ(Status().queuedBytes, 1000u);
    m_gate.Open();
    EXPECT_EQ(third.get(), 1);
    EXPECT_EQ(m_writer->CloseFile(), 1);
    EXPECT_EQ(Status().framesWritten, 3u);
    EXPECT_EQ(Status().mostQueuedBytes, 1000u);
    EXPECT_EQ(Status().samplesRefused, 0u);
}

// Chunks that are written one by one: each makes room before the next one is written.
TEST_F(RecordingLimit, SampleThatWasWritten_MakesRoomBeforeTheNext)
{
    SKrRecordingOptions options = Limited(1000);
    options.chunkSpacingMs = 1;
    Open(options);
    CKrThreadGate third;
    const CKrGateOpener opener(third);
    m_stalling.beforeWrite = [&, writes = 0]() mutable
    {
        m_gate.Pass();
        if (++writes == 3)
            third.Pass();
    };
    ASSERT_EQ(AddVideo(100), 1);
    ASSERT_TRUE(m_gate.WaitForArrival());
    ASSERT_EQ(AddVideo(500), 1);
    ASSERT_EQ(AddVideo(400), 1);
    std::future<int> waiting = Submit(300);
    EXPECT_EQ(waiting.wait_for(20ms), std::future_status::timeout);
    m_gate.Open();
    EXPECT_TRUE(third.WaitForArrival());
    EXPECT_EQ(waiting.wait_for(10s), std::future_status::ready);
    third.Open();
    EXPECT_EQ(waiting.get(), 1);
    EXPECT_EQ(m_writer->CloseFile(), 1);
    m_stalling.beforeWrite = [] {
    };
}

TEST_F(RecordingLimit, SampleLargerThanTheLimit_FitsIntoAnEmptyQueue)
{
    Open(Limited(1000));
    m_gate.Open();
    for (int number = 0; number < 3; ++number)
        EXPECT_EQ(AddVideo(5000), 1);
    EXPECT_EQ(m_writer->CloseFile(), 1);
    EXPECT_EQ(Status().framesWritten, 3u);
    EXPECT_EQ(Status().mostQueuedBytes, 5000u) << "never two of them";
}

TEST_F(RecordingLimit, WaitThatEnds_RefusesAndLeavesTheSampleWithTheHost)
{
    Open(Limited(1000, 20));
    Fill();
    const auto sample = CKrRef<CKrTestSample>::Adopt(new CKrTestSample(KrBytes(10)));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(m_writer->AddVideoSample(sample.Get()), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 19ms);
    EXPECT_EQ(Status().samplesRefused, 1u);
    EXPECT_EQ(sample->AddRef(), 2u) << "the host's reference is the only one";
    sample->Release();
    m_gate.Open();
    EXPECT_EQ(m_writer->CloseFile(), 1) << "what was refused is not missing";
    EXPECT_EQ(Status().framesWritten, 2u);
}

TEST_F(RecordingLimit, NoWait_RefusesAtOnce)
{
    Open(Limited(1000, 0));
    Fill();
    EXPECT_EQ(AddVideo(1), 0);
    EXPECT_EQ(AddVideo(1), 0);
    EXPECT_EQ(Status().samplesRefused, 2u);
}

TEST_F(RecordingLimit, Close_EndsAllWaiting)
{
    Open(Limited(1000));
    Fill();
    std::future<int> waiting[] = {Submit(1), Submit(1), Submit(1)};
    EXPECT_EQ(waiting[0].wait_for(20ms), std::future_status::timeout);
    std::future<int> closing = std::async(std::launch::async, [this] { return m_writer->CloseFile(); });
    for (std::future<int>& one : waiting)
        EXPECT_EQ(one.get(), 0) << "while the disk still stands";
    m_gate.Open();
    EXPECT_EQ(closing.get(), 1);
    EXPECT_EQ(Status().samplesRefused, 3u);
    EXPECT_EQ(Status().framesWritten, 2u);
}

TEST_F(RecordingLimit, FailedWrite_EndsAllWaiting)
{
    Open(Limited(1000));
    Fill();
    std::future<int> waiting[] = {Submit(1), Submit(1)};
    EXPECT_EQ(waiting[0].wait_for(20ms), std::future_status::timeout);
    m_files.SetCapacity(0);
    m_gate.Open();
    for (std::future<int>& one : waiting)
        EXPECT_EQ(one.get(), 0);
    EXPECT_EQ(Status().samplesRefused, 2u);
    EXPECT_EQ(m_writer->CloseFile(), 0);
}

TEST_F(RecordingLimit, FromInsideASample_NobodyWaits)
{
    class CSubmittingSample final : public CKrObject<IKrMediaSample>
    {
    public:
        explicit CSubmittingSample(std::function<void()> inside) : m_inside(std::move(inside)) {}
        void ResetElement() override {}
        int LockBuffer(uint8_t** data, int32_t* length) override
        {
            m_inside();
            *data = m_bytes;
            *length = sizeof m_bytes;
            return 1;
        }
        void UnlockBuffer() override {}
        uint32_t GetDataLength() override { return sizeof m_bytes; }

    private:
        std::function<void()> m_inside;
        uint8_t m_bytes[900] = {};
    };
    Open(Limited(1000));
    m_gate.Open();
    std::atomic<int> refused = -1;
    const auto sample = CKrRef<CSubmittingSample>::Adopt(
        new CSubmittingSample([&] { refused = AddVideo(200) == 0 ? 1 : 0; }));
    EXPECT_EQ(m_writer->AddVideoSample(sample.Get()), 1);
    while (refused == -1)
        std::this_thread::yield();
    EXPECT_EQ(m_writer->CloseFile(), 1);
    EXPECT_EQ(refused, 1);
    EXPECT_EQ(Status().samplesRefused, 1u);
}

// One thread that submits its frames first: they fill the queue, and wait for their sound.
TEST_F(RecordingLimit, FramesBeforeTheirSoundOnOneThread_NeverHang)
{
    Open(Limited(3000), true);
    m_gate.Open();
    uint64_t frames = 0;
    uint64_t blocks = 0;
    for (int round = 0; round < 20; ++round)
    {
        for (int number = 0; number < 25; ++number)
            frames += AddVideo(500) != 0 ? 1 : 0;
        EXPECT_EQ(AddAudio(kBytesOf25thSecond), 1) << "what the queue waits for is taken past the limit";
        ++blocks;
        for (int number = 1; number < 25; ++number)
            blocks += AddAudio(kBytesOf25thSecond) != 0 ? 1 : 0;
    }
    EXPECT_EQ(m_writer->CloseFile(), 1);
    const SKrRecordingStatus status = Status();
    EXPECT_EQ(status.framesWritten, frames);
    EXPECT_EQ(status.audioChunksWritten, blocks);
    EXPECT_EQ(status.samplesRefused, 1000 - frames - blocks);
    EXPECT_GE(frames, 100u) << "some in each round";
    EXPECT_LT(frames, 400u);
}

TEST_F(RecordingLimit, SoundBeforeItsFramesOnOneThread_NeverHangs)
{
    Open(Limited(20'000), true);
    m_gate.Open();
    uint64_t accepted = 0;
    for (int round = 0; round < 20; ++round)
    {
        for (int number = 0; number < 25; ++number)
            accepted += AddAudio(kBytesOf25thSecond) != 0 ? 1 : 0;
        for (int number = 0; number < 25; ++number)
            EXPECT_EQ(AddVideo(500), 1);
    }
    EXPECT_EQ(m_writer->CloseFile(), 1);
    EXPECT_EQ(Status().framesWritten, 500u);
    EXPECT_EQ(Status().audioChunksWritten, accepted);
    EXPECT_LT(accepted, 500u);
}

TEST_F(RecordingLimit, WithoutAWorker_SubmissionsWriteAndNobodyWaits)
{
    SKrWriterServices services{m_files, m_clock};
    services.createWorkerThread = &NoWorkerThread;
    m_writer = CKrRef<CKrAviWriter>::Adopt(new CKrAviWriter(services));
    const SKrRecordingOptions options = Limited(1000);
    ASSERT_EQ(m_writer->SetRecordingOptions(&options), 1);
    const SKrAviVideoParams params = ParamsFor({});
    const WAVEFORMATEX format = WaveFormatFor(SKrPcmFormat{});
    ASSERT_EQ(m_writer->OpenFile(kRecordedPath, &params, 0, &format), 1);
    EXPECT_EQ(AddVideo(600), 1) << "written at once: the first frame needs no sound before it";
    EXPECT_EQ(AddVideo(600), 1);
    EXPECT_EQ(AddVideo(600), 0) << "the one before waits for sound";
    EXPECT_EQ(Status().samplesRefused, 1u);
    EXPECT_EQ(AddAudio(2 * kBytesOf25thSecond), 1);
    EXPECT_EQ(m_writer->CloseFile(), 1);
    EXPECT_EQ(Status().framesWritten, 2u);
    EXPECT_EQ(Status().audioChunksWritten, 1u);
}

// A disk that stands still: memory stays within the limit, and each sample is written or counted.
TEST_F(RecordingLimit, ManyProducersBesideAStandingDisk_StayWithinTheLimit)
{
    constexpr uint64_t kLimit = 100'000;
    Open(Limited(kLimit, 1));
    std::atomic<uint64_t> accepted = 0;
    std::atomic<uint64_t> refused = 0;
    {
        std::vector<std::jthread> producers;
        for (int producer = 0; producer < 3; ++producer)
        {
            producers.emplace_back(
                [&]
                {
                    for (int number = 0; number < 100; ++number)
                        ++(AddVideo(3000) != 0 ? accepted : refused);
                });
        }
    }
    m_gate.Open();
    EXPECT_EQ(m_writer->CloseFile(), 1);
    EXPECT_EQ(accepted + refused, 300u);
    EXPECT_EQ(Status().framesWritten, accepted);
    EXPECT_EQ(Status().samplesRefused, refused);
    EXPECT_GT(refused, 200u);
    EXPECT_LE(Status().mostQueuedBytes, kLimit);
}

// The room of what is lost is too little for whoever waits; nobody will make more.
TEST(RecordingLimitWithoutWorker, SubmissionThatThrows_EndsTheWaitOfOthers)
{
    CKrRecorder recorder(EKrWorker::None);
    SKrRecordingOptions options = FastOptions();
    options.queueLimit = 1000;
    ASSERT_EQ(recorder.writer->SetRecordingOptions(&options), 1);
    ASSERT_EQ(recorder.Open(WithAudio()), 1);
    ASSERT_EQ(recorder.AddVideo(KrBytes(10)), 1);
    const auto frame = CKrRef<CKrHostSample>::Adopt(new CKrHostSample(KrBytes(600)));
    std::future<int> waiting;
    frame->inLockBuffer = [&]
    {
        if (waiting.valid())
            return;
        waiting = std::async(std::launch::async, [&] { return recorder.AddVideo(KrBytes(900)); });
        EXPECT_EQ(waiting.wait_for(20ms), std::future_status::timeout);
        FailingAllocation() = 1;
    };
    ASSERT_EQ(recorder.writer->AddVideoSample(frame.Get()), 1);
    ASSERT_EQ(recorder.AddVideo(KrBytes(400)), 1) << "both wait for their sound";
    const auto sound = CKrRef<CKrTestSample>::Adopt(new CKrTestSample(KrBytes(kBytesOf25thSecond)));
    EXPECT_THROW(recorder.writer->AddAudioSample(sound.Get()), std::bad_alloc);
    ASSERT_TRUE(waiting.valid());
    EXPECT_EQ(waiting.wait_for(10s), std::future_status::ready);
    EXPECT_EQ(recorder.writer->CloseFile(), 0);
    EXPECT_EQ(waiting.get(), 0);
}
