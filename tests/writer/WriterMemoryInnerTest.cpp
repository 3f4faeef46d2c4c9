// Memory that is short: in the open, between a chunk and its index entries, and while the file is completed.
#include "tests/core/KrFailingAllocation.h"
#include "tests/support/KrTempFolder.h"
#include "tests/writer/KrRecorder.h"

#include <new>

using namespace KrTest;

namespace
{
constexpr unsigned kMostAllocations = 10'000;

// Runs the step with its first allocation failing, then the second, until none strikes; answers how many did.
// The step is told nothing; what it throws is caught here.
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

TEST(WriterMemory, OpenThatMemoryIsTooShortFor_LeavesNoFile)
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
    // Enough chunks that every vector has to grow now and then.
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

// What is queued may be lost, but the file is completed with what was written. On the disk, since the file
// system in memory is short of it as well.
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
        const KrTest::CKrRef<CKrAviWriter> writer(
            new CKrAviWriter({KrPlatform::FileSystem(), clock, &CKrStoppedWorker::Create}));
        ASSERT_EQ(writer->OpenFile(path.c_str(), &params, FourCcValue("MJPG"), &format), 1);
        for (size_t frame = 0; frame < 5; ++frame)
        {
            const KrTest::CKrRef<CKrTestSample> video(new CKrTestSample(PatternBytes(0, frame, 100)));
            const KrTest::CKrRef<CKrTestSample> audio(
                new CKrTestSample(PatternBytes(1, frame, kBytesOf25thSecond)));
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
