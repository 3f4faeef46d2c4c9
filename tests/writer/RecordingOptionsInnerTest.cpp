// The options of a recording: which are taken, from when on they count, and what each does to pauses and
// space.
#include "tests/support/KrCoarseClock.h"
#include "tests/support/KrCountingFileSystem.h"
#include "tests/writer/KrRecorder.h"
#include "tests/writer/KrRecordingArguments.h"

#include <algorithm>
#include <functional>

using namespace KrTest;

namespace
{
// Runs something in each operation of its own that the writer calls.
class CCallingSample final : public CKrObject<IKrMediaSample>
{
public:
    explicit CCallingSample(std::function<void()> inside) : m_inside(std::move(inside)) {}

    void ResetElement() override {}
    int LockBuffer(uint8_t** data, int32_t* length) override
    {
        m_inside();
        *data = &m_byte;
        *length = 1;
        return 1;
    }
    void UnlockBuffer() override { m_inside(); }
    uint32_t GetDataLength() override
    {
        m_inside();
        return 1;
    }

private:
    std::function<void()> m_inside;
    uint8_t m_byte = 7;
};

// All that a recording asks of its surroundings.
struct SKrTrace
{
    std::vector<uint64_t> calls; // of each kind
    std::vector<uint32_t> sleeps;
    std::string worker;
    KrBytes file;

    bool operator==(const SKrTrace&) const = default;
};

SKrTrace TraceOf(EKrWorker worker, const SKrRecordingOptions* options)
{
    CKrStoppedWorker::s_log.clear();
    SKrTrace trace;
    {
        CKrRecorder recorder(worker);
        if (options != nullptr)
        {
            EXPECT_EQ(recorder.writer->SetRecordingOptions(options), 1);
        }
        EXPECT_EQ(recorder.Open(WithAudio()), 1);
        for (int number = 0; number < 60; ++number)
        {
            recorder.AddPatternVideo(300);
            recorder.AddPatternAudio(kBytesOf25thSecond);
        }
        EXPECT_EQ(recorder.writer->CloseFile(), 1);
        for (size_t kind = 0; kind < kFileCallKinds; ++kind)
            trace.calls.push_back(recorder.faults.Calls(static_cast<EKrFileCall>(kind)));
        trace.sleeps = recorder.clock.Sleeps();
        trace.file = recorder.Content().ToBytes();
    }
    trace.worker = CKrStoppedWorker::s_log;
    return trace;
}
} // namespace

TEST(RecordingOptions, ThoseOfTheDefaults_MakeTheSameCalls)
{
    const SKrRecordingOptions defaults = DefaultOptions();
    for (const EKrWorker worker : {EKrWorker::None, EKrWorker::Stopped})
        EXPECT_EQ(TraceOf(worker, &defaults), TraceOf(worker, nullptr));
}

TEST(RecordingOptions, Others_MakeOtherCalls)
{
    const SKrRecordingOptions fast = FastOptions();
    const SKrTrace with = TraceOf(EKrWorker::Stopped, &fast);
    const SKrTrace without = TraceOf(EKrWorker::Stopped, nullptr);
    EXPECT_EQ(with.sleeps, std::vector<uint32_t>{});
    EXPECT_LT(with.calls[static_cast<size_t>(EKrFileCall::Write)], 20u);
    EXPECT_NE(with.worker, without.worker) << "a second thread, for the flushes";
}

TEST(RecordingOptions, UnknownSizesFlagsAndReservedFields_AreRefused)
{
    CKrRecorder recorder(EKrWorker::None);
    SKrRecordingOptions options = FastOptions();
    options.submissionDelayMs = 7;
    ASSERT_EQ(recorder.writer->SetRecordingOptions(&options), 1);
    const auto refused = [&](const std::function<void(SKrRecordingOptions&)>& change)
    {
        SKrRecordingOptions changed = FastOptions();
        change(changed);
        return recorder.writer->SetRecordingOptions(&changed) == 0;
    };
    EXPECT_TRUE(refused([](SKrRecordingOptions& changed) { changed.size = 0; }));
    EXPECT_TRUE(refused([](SKrRecordingOptions& changed) { changed.size = 47; }));
    EXPECT_TRUE(refused([](SKrRecordingOptions& changed) { changed.size = 49; }));
    EXPECT_TRUE(refused([](SKrRecordingOptions& changed) { changed.flags = 4; }));
    EXPECT_TRUE(refused([](SKrRecordingOptions& changed) { changed.flags = 0x80000001; }));
    EXPECT_TRUE(refused([](SKrRecordingOptions& changed) { changed.reserved[0] = 1; }));
    EXPECT_TRUE(refused([](SKrRecordingOptions& changed) { changed.reserved[1] = 1; }));
    EXPECT_FALSE(
        refused([](SKrRecordingOptions& changed) { changed.submissionDelayMs = 7, changed.flags = 3; }));

    ASSERT_EQ(recorder.Open({}), 1);
    recorder.AddVideo({1});
    EXPECT_EQ(recorder.clock.Sleeps(), std::vector<uint32_t>{7}) << "what was set last stays";
}

TEST(RecordingOptions, TheyCountFromTheNextOpenUntilTheyAreSetAgain)
{
    CKrRecorder recorder(EKrWorker::None);
    ASSERT_EQ(recorder.Open({}), 1);
    SKrRecordingOptions options = FastOptions();
    options.submissionDelayMs = 9;
    ASSERT_EQ(recorder.writer->SetRecordingOptions(&options), 1);
    recorder.AddVideo({1});
    EXPECT_EQ(recorder.clock.Sleeps(), (std::vector<uint32_t>{1, 1})) << "the open file goes on as it began";
    for (int file = 0; file < 2; ++file)
    {
        const size_t before = recorder.clock.Sleeps().size();
        ASSERT_EQ(recorder.Open({}), 1);
        recorder.AddVideo({1});
        const std::vector<uint32_t> sleeps = recorder.clock.Sleeps();
        EXPECT_EQ(std::vector<uint32_t>(sleeps.begin() + static_cast<ptrdiff_t>(before), sleeps.end()),
                  std::vector<uint32_t>{9});
    }
    ASSERT_EQ(recorder.writer->SetRecordingOptions(nullptr), 1);
    const size_t before = recorder.clock.Sleeps().size();
    ASSERT_EQ(recorder.Open({}), 1);
    recorder.AddVideo({1});
    EXPECT_EQ(recorder.clock.Sleeps().size(), before + 2) << "the defaults again: chunk and submission";
}

TEST(RecordingOptions, FromInsideASample_AreRefusedAndTheStatusIsGiven)
{
    CKrRecorder recorder(EKrWorker::None);
    const SKrRecordingOptions options = FastOptions();
    ASSERT_EQ(recorder.Open({}), 1);
    int calls = 0;
    const auto sample = CKrRef<CCallingSample>::Adopt(new CCallingSample(
        [&]
        {
            ++calls;
            EXPECT_EQ(recorder.writer->SetRecordingOptions(&options), 0);
            EXPECT_EQ(StatusOf(*recorder.writer.Get()).state, kKrStateOpen);
        }));
    EXPECT_EQ(recorder.writer->AddVideoSample(sample.Get()), 1);
    EXPECT_EQ(calls, 3);
    recorder.Close();
}

TEST(RecordingOptions, Spacing_KeepsChunksThatFarApart)
{
    CKrRecorder recorder(EKrWorker::None);
    SKrRecordingOptions options = DefaultOptions();
    options.chunkSpacingMs = 20;
    options.submissionDelayMs = 3;
    ASSERT_EQ(recorder.writer->SetRecordingOptions(&options), 1);
    ASSERT_EQ(recorder.Open({}), 1);
    for (int number = 0; number < 3; ++number)
        recorder.AddVideo({1, 2, 3});
    EXPECT_EQ(recorder.clock.Sleeps(), (std::vector<uint32_t>{1, 3, 17, 3, 17, 3}));
    EXPECT_EQ(recorder.Close().video.size(), 3u);
}

TEST(RecordingOptions, Preallocation_StaysAheadAndIsCutOffAtTheClose)
{
    CKrRecorder recorder(EKrWorker::None);
    SKrRecordingOptions options = FastOptions();
    options.preallocation = 1'000'000;
    ASSERT_EQ(recorder.writer->SetRecordingOptions(&options), 1);
    ASSERT_EQ(recorder.Open({}), 1);
    EXPECT_GE(recorder.files.ReservedEnd(kRecordedPath), recorder.Content().Size() + 900'000);
    for (int number = 0; number < 60; ++number)
    {
        recorder.AddPatternVideo(50'000);
        ASSERT_GE(recorder.files.ReservedEnd(kRecordedPath), recorder.Content().Size() + 400'000);
    }
    EXPECT_LE(recorder.faults.Calls(EKrFileCall::Reserve), 9u)
        << "in large steps: 3 MB by halves of a megabyte";
    EXPECT_EQ(recorder.faults.Calls(EKrFileCall::Cut), 0u);
    recorder.Close();
    EXPECT_EQ(recorder.faults.Calls(EKrFileCall::Cut), 1u);
    EXPECT_EQ(recorder.files.ReservedEnd(kRecordedPath), recorder.Content().Size());
}

TEST(RecordingOptions, PreallocationThatFails_IsDoneWithout)
{
    CKrRecorder recorder(EKrWorker::None);
    SKrRecordingOptions options = FastOptions();
    options.preallocation = 1'000'000;
    ASSERT_EQ(recorder.writer->SetRecordingOptions(&options), 1);
    recorder.faults.FailCall(EKrFileCall::Reserve, 1, EKrFaultSpan::FromThenOn);
    ASSERT_EQ(recorder.Open({}), 1);
    for (int number = 0; number < 60; ++number)
        ASSERT_EQ(recorder.AddPatternVideo(50'000), 1);
    EXPECT_EQ(recorder.faults.Calls(EKrFileCall::Reserve), 1u) << "it is not asked again";
    EXPECT_EQ(recorder.writer->CloseFile(), 1);
    EXPECT_EQ(recorder.Check().video.size(), 60u);
}

namespace
{
// Frames in a second of a clock when a host submits as fast as it is let.
double FramesPerSecond(CKrCoarseClock::EKrSleep sleep, const SKrRecordingOptions* options)
{
    CKrMemoryFileSystem files;
    const KrPlatform::CFileSystemScope scope(files);
    CKrCoarseClock clock(sleep);
    SKrWriterServices services{files, clock};
    services.createWorkerThread = &NoWorkerThread;
    const auto writer = CKrRef<CKrAviWriter>::Adopt(new CKrAviWriter(services));
    EXPECT_EQ(writer->SetRecordingOptions(options), 1);
    const SKrAviVideoParams params = ParamsFor({});
    EXPECT_EQ(writer->OpenFile(kRecordedPath, &params, 0, nullptr), 1);
    constexpr int kFrames = 400;
    const double start = clock.Seconds();
    for (int number = 0; number < kFrames; ++number)
    {
        const auto sample = CKrRef<CKrTestSample>::Adopt(new CKrTestSample(KrBytes(100)));
        EXPECT_EQ(writer->AddVideoSample(sample.Get()), 1);
    }
    return kFrames / (clock.Seconds() - start);
}
} // namespace

// 50 frames a second with sound are 100 submissions and chunks.
TEST(RecordingOptions, TicksOf15Milliseconds_ThrottleOnlySleepsThatEndAtThem)
{
    using EKrSleep = CKrCoarseClock::EKrSleep;
    EXPECT_LT(FramesPerSecond(EKrSleep::ToTheTick, nullptr), 65) << "as the system's own waits would have it";
    EXPECT_GT(FramesPerSecond(EKrSleep::Fine, nullptr), 180);
    SKrRecordingOptions options = DefaultOptions();
    options.submissionDelayMs = 0;
    EXPECT_NEAR(FramesPerSecond(EKrSleep::Fine, &options), 200, 2) << "by the counter, not by ticks";
}
