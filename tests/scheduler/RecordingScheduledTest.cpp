// Recordings with options in every order that a seed may choose: a limited queue, flushes beside the writing,
// late sound, status queries and a close beside them.
#include "base/KrRef.h"
#include "tests/scheduler/KrEverySeed.h"
#include "tests/scheduler/KrScheduledWorker.h"
#include "tests/scheduler/KrYieldingFileSystem.h"
#include "tests/support/KrAviChecker.h"
#include "tests/support/KrByteWriter.h"
#include "tests/support/KrManualClock.h"
#include "tests/support/KrMemoryFileSystem.h"
#include "tests/support/KrSimpleAvi.h"
#include "tests/support/KrTestSample.h"
#include "tests/writer/KrRecordingArguments.h"
#include "tests/writer/KrWriterArguments.h"
#include "writer/KrAviWriter.h"

#include <string>

namespace KrTest
{
namespace
{
constexpr wchar_t kRecordingPath[] = L"a.avi";
constexpr size_t kFrameBytes = 600;
constexpr size_t kSoundBytes = 7680; // of a frame's time

struct SKrScene
{
    explicit SKrScene(CKrScheduler& scheduler)
    {
        SKrWriterServices services{files, clock};
        services.createWorkerThread = &CKrScheduledWorker::Create;
        writer = CKrRef<CKrAviWriter>::Adopt(new CKrAviWriter(services));
        options = FastOptions();
        options.chunkSpacingMs = static_cast<uint32_t>(scheduler.Choose(2));
        options.flags = scheduler.Choose(2) == 0 ? kKrRecordingPowerSafe : 0;
        hasAudio = scheduler.Choose(2) == 0;
    }

    void Open()
    {
        ASSERT_EQ(writer->SetRecordingOptions(&options), 1);
        written.bytesPerSector = 512;
        if (hasAudio)
            written.pcm = SKrPcmFormat{};
        const SKrAviVideoParams params = ParamsFor(written);
        const WAVEFORMATEX format = WaveFormatFor(SKrPcmFormat{});
        ASSERT_EQ(writer->OpenFile(kRecordingPath, &params, FourCcValue(written.codec),
                                   hasAudio ? &format : nullptr),
                  1);
    }

    void Submit(bool audio)
    {
        const auto sample =
            CKrRef<CKrTestSample>::Adopt(new CKrTestSample(KrBytes(audio ? kSoundBytes : kFrameBytes, 0xAA)));
        const int taken = audio ? writer->AddAudioSample(sample.Get()) : writer->AddVideoSample(sample.Get());
        if (taken != 0)
            ++(audio ? sound : frames);
    }

    // What was accepted is in the file, whose every byte is right.
    void ExpectWhole(CKrScheduler& scheduler)
    {
        ASSERT_EQ(scheduler.Run(), "");
        EXPECT_FALSE(files.WasClosedUnderATransfer());
        EXPECT_EQ(CKrTestSample::Alive(), 0);
        EXPECT_EQ(memory.OpenWritableFiles(), 0u);
        EXPECT_EQ(memory.OpenViews(), 0u);
        const SKrCheckedAvi checked = CheckWrittenAvi(memory.Content(kRecordingPath), written);
        for (const std::string& problem : checked.problems)
            ADD_FAILURE() << problem;
        EXPECT_EQ(checked.video.size(), frames);
        EXPECT_EQ(checked.audio.size(), sound);
        const SKrRecordingStatus status = StatusOf(*writer.Get());
        EXPECT_EQ(status.framesWritten, frames);
        EXPECT_EQ(status.audioChunksWritten, sound);
        EXPECT_EQ(status.framesInIndex, frames);
        EXPECT_EQ(status.queuedBytes, 0u);
        EXPECT_EQ(status.state, 0u);
    }

    CKrMemoryFileSystem memory;
    CKrYieldingFileSystem files{memory};
    CKrManualClock clock;
    CKrRef<CKrAviWriter> writer;
    SKrRecordingOptions options{};
    SKrWritten written;
    bool hasAudio = false;
    size_t frames = 0;
    size_t sound = 0;
};
} // namespace

// Producers that a limit makes wait, and somebody who looks, while another thread closes.
TEST(RecordingScheduled, LimitedQueueBesideAClose_HangsNobody)
{
    WithEverySeed(
        [](CKrScheduler& scheduler)
        {
            SKrScene scene(scheduler);
            scene.options.queueLimit = 2 * kFrameBytes;
            scene.options.queueWaitMs = scheduler.Choose(2) == 0 ? 0xFFFFFFFF : 10;
            scheduler.Add(
                [&]
                {
                    scene.Open();
                    for (int producer = 0; producer < 3; ++producer)
                    {
                        scheduler.Add(
                            [&, producer]
                            {
                                for (int number = 0; number < 4; ++number)
                                    scene.Submit(scene.hasAudio && producer == 0);
                            });
                    }
                    scheduler.Add(
                        [&]
                        {
                            for (int number = 0; number < 5; ++number)
                            {
                                const SKrRecordingStatus status = StatusOf(*scene.writer.Get());
                                EXPECT_LE(status.framesInIndex, status.framesWritten);
                            }
                        });
                    for (int turn = 0; turn < 30; ++turn)
                        scheduler.Yield();
                    scene.writer->CloseFile();
                });
            scene.ExpectWhole(scheduler);
        });
}

// One thread that submits the sound after the frames, or before them: it always comes to its end.
TEST(RecordingScheduled, OneThreadAndALimit_NeverHang)
{
    WithEverySeed(
        [](CKrScheduler& scheduler)
        {
            SKrScene scene(scheduler);
            scene.hasAudio = true;
            scene.options.queueLimit = 1000;
            const bool soundFirst = scheduler.Choose(2) == 0;
            scheduler.Add(
                [&]
                {
                    scene.Open();
                    for (int round = 0; round < 3; ++round)
                    {
                        for (int number = 0; number < 4; ++number)
                            scene.Submit(soundFirst);
                        for (int number = 0; number < 4; ++number)
                            scene.Submit(!soundFirst);
                    }
                    scene.writer->CloseFile();
                });
            scene.ExpectWhole(scheduler);
        });
}

// Enough frames for several flushes, with direct writes of nobody between them.
TEST(RecordingScheduled, FlushesBesideTheWriting_EndBeforeTheClose)
{
    WithEverySeed(
        [](CKrScheduler& scheduler)
        {
            SKrScene scene(scheduler);
            scheduler.Add(
                [&]
                {
                    scene.Open();
                    for (int number = 0; number < 60; ++number)
                    {
                        if (scene.hasAudio)
                            scene.Submit(true);
                        scene.Submit(false);
                    }
                    scene.writer->CloseFile();
                });
            scene.ExpectWhole(scheduler);
        });
}

// Whoever asks again is never told of a shorter time.
TEST(RecordingScheduled, LongestWrite_NeverBecomesShorter)
{
    WithEverySeed(
        [](CKrScheduler& scheduler)
        {
            class CTickingClock final : public IKrClock
            {
            public:
                uint32_t TickCount() override { return 0; }
                int64_t PerformanceCounter() override { return ++m_ticks; }
                int64_t PerformanceFrequency() override { return 1'000'000; }
                void Sleep(uint32_t) override {}

            private:
                KrAtomic<int64_t> m_ticks = 0;
            } clock;
            CKrRecordingStatus status(clock);
            scheduler.Add(
                [&]
                {
                    for (int number = 0; number < 3; ++number)
                    {
                        status.BeginWrite();
                        scheduler.Yield();
                        status.EndWrite({1, 0}, true);
                        status.BeginFlush();
                        status.EndFlush({true, 0});
                    }
                });
            scheduler.Add(
                [&]
                {
                    uint64_t write = 0, flush = 0;
                    for (int number = 0; number < 6; ++number)
                    {
                        const SKrRecordingStatus now = status.Snapshot();
                        EXPECT_GE(now.longestWriteUs, write);
                        EXPECT_GE(now.longestFlushUs, flush);
                        write = now.longestWriteUs;
                        flush = now.longestFlushUs;
                    }
                });
            ASSERT_EQ(scheduler.Run(), "");
        });
}

// Frames whose sound never comes are written when they have waited, at the latest by the close.
TEST(RecordingScheduled, FramesWithoutSound_AreWrittenAllTheSame)
{
    WithEverySeed(
        [](CKrScheduler& scheduler)
        {
            SKrScene scene(scheduler);
            scene.hasAudio = true;
            scene.options.audioWaitMs = 20;
            scheduler.Add(
                [&]
                {
                    scene.Open();
                    for (int number = 0; number < 6; ++number)
                    {
                        scene.Submit(false);
                        scene.clock.Advance(10);
                        scheduler.Yield();
                    }
                    scene.writer->CloseFile();
                });
            scene.ExpectWhole(scheduler);
        });
}
} // namespace KrTest
