// What a recording says of itself while the disk stands still.
#include "tests/support/KrStallingFileSystem.h"
#include "tests/support/KrThreadGate.h"
#include "tests/writer/KrRecorder.h"
#include "tests/writer/KrRecordingArguments.h"

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

using namespace KrTest;

namespace
{
// With a disk that stops where the test wants.
class StalledStatus : public testing::Test
{
protected:
    explicit StalledStatus(const SKrRecordingOptions* options = nullptr)
    {
        m_writer = CKrRef<CKrAviWriter>::Adopt(new CKrAviWriter(SKrWriterServices{m_stalling, m_clock}));
        EXPECT_EQ(m_writer->SetRecordingOptions(options), 1);
    }

    void Open(const SKrWritten& what)
    {
        const SKrAviVideoParams params = ParamsFor(what);
        ASSERT_EQ(m_writer->OpenFile(kRecordedPath, &params, 0, nullptr), 1);
    }

    int AddVideo(size_t size)
    {
        const auto sample = CKrRef<CKrTestSample>::Adopt(new CKrTestSample(KrBytes(size)));
        return m_writer->AddVideoSample(sample.Get());
    }

    CKrMemoryFileSystem m_files;
    KrPlatform::CFileSystemScope m_scope{m_files};
    CKrStallingFileSystem m_stalling{m_files};
    CKrManualClock m_clock;
    CKrThreadGate m_gate;
    CKrRef<CKrAviWriter> m_writer;
};

class FastStalledStatus : public StalledStatus
{
protected:
    FastStalledStatus() : StalledStatus(&m_fast) {}

    static inline const SKrRecordingOptions m_fast = FastOptions();
};
} // namespace

TEST_F(StalledStatus, WriteUnderWay_IsInTheLongestWrite)
{
    Open({});
    m_stalling.beforeWrite = [this]
    {
        m_gate.Pass();
    };
    const CKrGateOpener opener(m_gate);
    ASSERT_EQ(AddVideo(100), 1);
    ASSERT_TRUE(m_gate.WaitForArrival());
    EXPECT_LT(StatusOf(*m_writer.Get()).longestWriteUs, 10'000u);
    m_clock.Advance(700);
    EXPECT_GE(StatusOf(*m_writer.Get()).longestWriteUs, 700'000u);
    m_clock.Advance(100);
    EXPECT_GE(StatusOf(*m_writer.Get()).longestWriteUs, 800'000u) << "it goes on";
    m_gate.Open();
    ASSERT_EQ(m_writer->CloseFile(), 1);
    EXPECT_GE(StatusOf(*m_writer.Get()).longestWriteUs, 800'000u) << "and is kept";
    EXPECT_LT(StatusOf(*m_writer.Get()).longestWriteUs, 900'000u);
    EXPECT_LT(StatusOf(*m_writer.Get()).longestFlushUs, 100'000u);
}

TEST_F(FastStalledStatus, FlushUnderWay_HoldsUpNeitherWritesNorTheStatus)
{
    Open({});
    m_stalling.beforeFlush = [this]
    {
        m_gate.Pass();
    };
    const CKrGateOpener opener(m_gate);
    for (int number = 0; number < 30; ++number)
        ASSERT_EQ(AddVideo(100), 1);
    ASSERT_TRUE(m_gate.WaitForArrival());
    m_clock.Advance(900);
    for (int number = 0; number < 50; ++number)
        ASSERT_EQ(AddVideo(100), 1);
    while (StatusOf(*m_writer.Get()).queuedFrames != 0) // until it is released, a frame counts as queued
        std::this_thread::yield();
    EXPECT_EQ(StatusOf(*m_writer.Get()).framesWritten, 80u);
    EXPECT_GE(StatusOf(*m_writer.Get()).longestFlushUs, 900'000u);
    m_gate.Open();
    EXPECT_EQ(m_writer->CloseFile(), 1);
}

TEST_F(FastStalledStatus, FlushOfTheName_IsMeasured)
{
    const SKrRecordingOptions safe = PowerSafeOptions();
    ASSERT_EQ(m_writer->SetRecordingOptions(&safe), 1);
    m_stalling.beforeNameFlush = [this]
    {
        m_clock.Advance(300);
    };
    Open({});
    EXPECT_GE(StatusOf(*m_writer.Get()).longestFlushUs, 300'000u);
}

// The clock moves only when somebody sleeps.
TEST_F(FastStalledStatus, SubmissionsBesideAWriteAndAFlushUnderWay_TakeNoTime)
{
    Open({});
    CKrThreadGate flushGate;
    std::atomic<bool> stopsWrites = false;
    m_stalling.beforeFlush = [&flushGate]
    {
        flushGate.Pass();
    };
    m_stalling.beforeWrite = [&]
    {
        if (stopsWrites)
            m_gate.Pass();
    };
    std::future<bool> submitted;
    const CKrGateOpener flushOpener(flushGate);
    const CKrGateOpener opener(m_gate);
    for (int number = 0; number < 30; ++number)
        ASSERT_EQ(AddVideo(100), 1);
    ASSERT_TRUE(flushGate.WaitForArrival());
    stopsWrites = true;
    ASSERT_EQ(AddVideo(100), 1);
    ASSERT_TRUE(m_gate.WaitForArrival());
    m_clock.Advance(700);

    const int64_t before = m_clock.PerformanceCounter();
    submitted = std::async(std::launch::async,
                           [this]
                           {
                               bool all = true;
                               for (int number = 0; number < 1000; ++number)
                                   all = AddVideo(100) == 1 && all;
                               return all;
                           });
    ASSERT_EQ(submitted.wait_for(std::chrono::seconds(30)), std::future_status::ready) << "they wait";
    EXPECT_TRUE(submitted.get());
    EXPECT_EQ(m_clock.PerformanceCounter(), before);
    EXPECT_GE(StatusOf(*m_writer.Get()).queuedFrames, 1000u);
    m_gate.Open();
    flushGate.Open();
    EXPECT_EQ(m_writer->CloseFile(), 1);
    EXPECT_EQ(StatusOf(*m_writer.Get()).framesInIndex, 1031u);
}

TEST_F(FastStalledStatus, FlushThatWasAskedForMeanwhile_FollowsWhenTheLastHasEnded)
{
    Open({});
    std::atomic<int> flushes = 0;
    std::atomic<int> underWay = 0;
    std::atomic<int> overlaps = 0;
    m_stalling.beforeFlush = [&]
    {
        overlaps += underWay++ != 0 ? 1 : 0;
        ++flushes;
        m_gate.Pass();
        --underWay;
    };
    const CKrGateOpener opener(m_gate);
    for (int second = 1; second <= 5; ++second)
    {
        for (int number = 0; number < 30; ++number)
            ASSERT_EQ(AddVideo(100), 1);
        while (StatusOf(*m_writer.Get()).queuedFrames != 0) // released after the flush was asked for
            std::this_thread::yield();
        ASSERT_TRUE(m_gate.WaitForArrival());
    }
    EXPECT_EQ(flushes, 1);
    m_gate.Open();
    ASSERT_TRUE(m_gate.WaitForArrival(2)) << "not one for each of the four seconds, but one more";
    ASSERT_EQ(m_writer->CloseFile(), 1);
    EXPECT_EQ(flushes, 3) << "and the close's own";
    EXPECT_EQ(overlaps, 0);
}

// Thousands of snapshots beside a recording: sums of one snapshot always fit each other.
TEST_F(FastStalledStatus, SnapshotsBesideARecording_AreEachOfOneMoment)
{
    Open({});
    std::atomic<bool> done = false;
    std::atomic<bool> isLooking = false;
    uint64_t written = 0;
    bool fits = true;
    std::thread watcher(
        [&]
        {
            while (!done)
            {
                const SKrRecordingStatus status = StatusOf(*m_writer.Get());
                fits = fits && status.queuedBytes == status.queuedFrames * 100 &&
                       status.framesWritten >= written && status.framesInIndex <= status.framesWritten &&
                       status.mostQueuedBytes >= status.queuedBytes;
                written = status.framesWritten;
                isLooking = true;
            }
        });
    while (!isLooking)
        std::this_thread::yield();
    for (int number = 0; number < 2000; ++number)
        ASSERT_EQ(AddVideo(100), 1);
    EXPECT_EQ(m_writer->CloseFile(), 1);
    done = true;
    watcher.join();
    EXPECT_TRUE(fits);
}
