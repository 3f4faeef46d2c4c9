// Out of memory: in the open, between a chunk and its index entries, and while the file is completed.
#include "tests/base/KrFailingAllocation.h"
#include "tests/support/KrTempFolder.h"
#include "tests/writer/KrHostSample.h"
#include "tests/writer/KrRecorder.h"
#include "tests/writer/KrRecordingArguments.h"

#include <new>

using namespace KrTest;

namespace
{
constexpr unsigned kMostAllocations = 10'000;

// Runs the step with its first allocation failing, then the second, until it needs no more; returns how many
// failed. Exceptions of the step are caught here.
template <class Step, class Check>
unsigned ForEveryFailedAllocation(Step&& step, Check&& check)
{
    for (unsigned number = 1; number < kMostAllocations; ++number)
    {
        bool struck = false;
        bool threw = false;
        int status = 0;
        {
            const CFailingAllocation failing(number);
            try
            {
                status = step();
            }
            catch (const std::bad_alloc&)
            {
                threw = true;
            }
            struck = failing.Struck();
        }
        check(struck, threw, status);
        if (!struck || testing::Test::HasFatalFailure())
            return number - 1;
    }
    ADD_FAILURE() << "the step never succeeds";
    return 0;
}
} // namespace

TEST(WriterMemory, OpenOutOfMemory_LeavesNoFile)
{
    CKrRecorder recorder(EKrWorker::None);
    const unsigned struck =
        ForEveryFailedAllocation([&] { return recorder.Open(WithAudio()); },
                                 [&](bool hasStruck, bool threw, int status)
                                 {
                                     EXPECT_EQ(status, hasStruck ? 0 : 1);
                                     EXPECT_EQ(threw, hasStruck);
                                     EXPECT_EQ(recorder.files.Exists(kRecordedPath), !hasStruck);
                                     EXPECT_EQ(recorder.files.OpenFiles(), hasStruck ? 0u : 1u);
                                 });
    EXPECT_GT(struck, 5u);
    recorder.Close();
}

TEST(WriterMemory, DirectChunk_IsRecordedWholeOrNotAtAll)
{
    CKrRecorder recorder(EKrWorker::None);
    ASSERT_EQ(recorder.Open({.hasDirectChunks = true}), 1);
    const KrBytes bytes(100, 5);
    size_t accepted = 0;
    unsigned struck = 0;
    // Enough chunks for every vector to grow at times.
    for (int number = 0; number < 40; ++number)
    {
        struck +=
            ForEveryFailedAllocation([&] { return recorder.writer->WriteVideoChunk(bytes.data(), 100); },
                                     [&](bool, bool threw, int status)
                                     {
                                         EXPECT_EQ(status, threw ? 0 : 1);
                                         accepted += status != 0;
                                     });
    }
    EXPECT_GT(struck, 3u);
    EXPECT_EQ(recorder.Close().video.size(), accepted);
}

// Queued samples may be lost, but the file is completed with what was written. On a disk, since a file system
// in memory would run out of memory too.
TEST(WriterMemory, CloseWithAQueueThatCannotBeWritten_CompletesTheFile)
{
    const CKrTempFolder folder;
    const std::wstring path = folder.PathOf(L"recorded.avi");
    const SKrWritten written = WithAudio();
    const SKrAviVideoParams params = ParamsFor(written);
    const WAVEFORMATEX format = WaveFormatFor(*written.pcm);
    CKrManualClock clock;
    size_t incomplete = 0;
    bool struck = true;
    for (unsigned number = 1; struck && number < kMostAllocations; ++number)
    {
        SCOPED_TRACE(number);
        const auto writer = CKrRef<CKrAviWriter>::Adopt(
            new CKrAviWriter({KrPlatform::FileSystem(), clock, &CKrStoppedWorker::Create}));
        ASSERT_EQ(writer->OpenFile(path.c_str(), &params, FourCcValue("MJPG"), &format), 1);
        for (size_t frame = 0; frame < 5; ++frame)
        {
            const auto video = CKrRef<CKrTestSample>::Adopt(new CKrTestSample(PatternBytes(0, frame, 100)));
            const auto audio =
                CKrRef<CKrTestSample>::Adopt(new CKrTestSample(PatternBytes(1, frame, kBytesOf25thSecond)));
            ASSERT_EQ(writer->AddVideoSample(video.Get()), 1);
            ASSERT_EQ(writer->AddAudioSample(audio.Get()), 1);
        }
        {
            const CFailingAllocation failing(number);
            writer->CloseFile();
            struck = failing.Struck();
        }
        const SKrCheckedAvi checked = CheckWrittenFile(path, written);
        EXPECT_EQ(checked.problems, std::vector<std::string>{});
        incomplete += checked.video.size() < 5;
        if (!struck)
        {
            EXPECT_EQ(checked.video.size(), 5u);
        }
        EXPECT_EQ(CKrTestSample::Alive(), 0);
    }
    EXPECT_GT(incomplete, 2u);
}

// Without a worker the submission itself fails: samples taken out of the queue are lost, which the close
// reports.
TEST(WriterMemory, SubmissionThatThrows_IsReportedAtTheClose)
{
    for (unsigned failing = 1; failing < 40; ++failing)
    {
        CKrRecorder recorder(EKrWorker::None);
        ASSERT_EQ(recorder.Open(WithAudio()), 1);
        size_t accepted = 0;
        bool threw = false;
        for (int pair = 0; pair < 30 && !threw; ++pair)
        {
            const auto sound = CKrRef<CKrTestSample>::Adopt(new CKrTestSample(KrBytes(kBytesOf25thSecond)));
            const auto frame = CKrRef<CKrTestSample>::Adopt(new CKrTestSample(KrBytes(100)));
            const CFailingAllocation failure(pair == 10 ? failing : 0);
            try
            {
                accepted += recorder.writer->AddAudioSample(sound.Get()) != 0;
                accepted += recorder.writer->AddVideoSample(frame.Get()) != 0;
            }
            catch (const std::bad_alloc&)
            {
                threw = true;
            }
        }
        const bool isWhole = recorder.writer->CloseFile() != 0;
        if (isWhole)
        {
            const SKrCheckedAvi checked = recorder.Check();
            EXPECT_EQ(checked.video.size() + checked.audio.size(), accepted) << failing;
        }
    }
}

// Out of memory for the next standard index or its view: the earlier frames keep their entries.
TEST(WriterMemory, NextIndexWithoutMemory_LeavesTheFramesBeforeIt)
{
    const CKrTempFolder folder;
    const std::wstring path = folder.PathOf(L"a.avi");
    const SKrAviVideoParams params = ParamsFor(SKrWritten{});
    bool struck = true;
    for (unsigned failing = 1; struck && failing < 60; ++failing)
    {
        CKrManualClock clock;
        SKrWriterServices services{KrPlatform::OsFileSystem(), clock};
        services.createWorkerThread = &NoWorkerThread;
        const auto writer = CKrRef<CKrAviWriter>::Adopt(new CKrAviWriter(services));
        const auto frame = CKrRef<CKrTestSample>::Adopt(new CKrTestSample(KrBytes(1)));
        ASSERT_EQ(writer->OpenFile(path.c_str(), &params, 0, nullptr), 1);
        for (int number = 0; number < 4027; ++number)
            ASSERT_EQ(writer->AddVideoSample(frame.Get()), 1);
        bool threw = false;
        try
        {
            const CFailingAllocation failure(failing);
            static_cast<void>(writer->AddVideoSample(frame.Get()));
            struck = failure.Struck();
        }
        catch (const std::bad_alloc&)
        {
            threw = true;
        }
        const size_t after = writer->AddVideoSample(frame.Get()) != 0 ? 1 : 0;
        const int closed = writer->CloseFile();
        CKrRef<IKrRiffReader> reader;
        ASSERT_EQ(KrCreateRiffReader(reader.Put()), 1);
        ASSERT_EQ(reader->Open(path.c_str()), 1);
        CArray<SKrChunkIndexEntry> entries;
        ASSERT_EQ(reader->LoadVideoIndex(entries), 1);
        const auto readable = static_cast<size_t>(entries.GetSize());
        EXPECT_GE(readable, 4027u) << failing;
        if (closed != 0)
        {
            EXPECT_EQ(readable, 4027u + (threw ? 0 : 1) + after) << failing;
        }
    }
    EXPECT_FALSE(struck) << "the last run had no fault";
}

// A direct chunk writes what waits to be written together before itself, here from inside the frame that
// waits.
TEST(WriterMemory, DirectChunkThatLosesTheChunksBeforeIt_IsReportedAtTheClose)
{
    bool struck = true;
    unsigned lost = 0;
    for (unsigned failing = 1; struck && failing < kMostAllocations; ++failing)
    {
        CKrRecorder recorder(EKrWorker::None);
        const SKrRecordingOptions options = FastOptions();
        ASSERT_EQ(recorder.writer->SetRecordingOptions(&options), 1);
        ASSERT_EQ(recorder.Open({.hasDirectChunks = true}), 1);
        const auto frame = CKrRef<CKrHostSample>::Adopt(new CKrHostSample(KrBytes(100)));
        size_t direct = 0;
        frame->inUnlockBuffer = [&]
        {
            const CFailingAllocation failure(failing);
            const uint8_t byte = 1;
            try
            {
                direct += recorder.writer->WriteVideoChunk(&byte, 1) != 0;
            }
            catch (const std::bad_alloc&)
            {
            }
            struck = failure.Struck();
        };
        EXPECT_EQ(recorder.writer->AddVideoSample(frame.Get()), 1);
        const uint32_t state = StatusOf(*recorder.writer.Get()).state;
        const bool isWhole = recorder.writer->CloseFile() != 0;
        EXPECT_EQ(isWhole, (state & kKrStateWriteFailed) == 0) << failing;
        if (isWhole)
        {
            EXPECT_EQ(recorder.Check().video.size(), 1 + direct) << failing;
        }
        lost += isWhole ? 0 : 1;
    }
    EXPECT_FALSE(struck) << "the last run had no fault";
    EXPECT_GT(lost, 1u);
}
