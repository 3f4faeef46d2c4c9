// Chunks that are written together: the file is the one that single writes make, also where a write fails.
#include "tests/support/KrStallingFileSystem.h"
#include "tests/writer/KrRecorder.h"
#include "tests/writer/KrRecordingArguments.h"

#include <random>

using namespace KrTest;

namespace
{
using KrScript = std::function<void(CKrRecorder&)>;

// The measured rate is the only thing in the file that depends on when something was written.
constexpr size_t kMaxBytesPerSecAt = 12 + 12 + 8 + 4;

CKrFileContent Record(EKrWorker worker, const SKrRecordingOptions* options, const SKrWritten& what,
                      const KrScript& script)
{
    CKrRecorder recorder(worker);
    EXPECT_EQ(recorder.writer->SetRecordingOptions(options), 1);
    EXPECT_EQ(recorder.Open(what), 1);
    script(recorder);
    EXPECT_EQ(recorder.writer->CloseFile(), 1);
    EXPECT_EQ(recorder.files.OpenWritableFiles(), 0u);
    recorder.Check();
    CKrFileContent content = recorder.Content();
    content.PutU32(kMaxBytesPerSecAt, 0);
    return content;
}

bool AreSame(const CKrFileContent& left, const CKrFileContent& right)
{
    if (left.Size() != right.Size())
        return false;
    constexpr size_t kPiece = 1 << 20;
    KrBytes a(kPiece);
    KrBytes b(kPiece);
    const auto extentsAreThere = [&](const CKrFileContent& of, const CKrFileContent& in)
    {
        for (const auto& [position, bytes] : of.Extents())
        {
            if (in.Range(position, bytes.size()) != bytes)
                return false;
        }
        return true;
    };
    return extentsAreThere(left, right) && extentsAreThere(right, left);
}

void ExpectSameFile(const SKrWritten& what, const KrScript& script)
{
    const CKrFileContent plain = Record(EKrWorker::Stopped, nullptr, what, script);
    SKrRecordingOptions fast = FastOptions();
    SKrRecordingOptions safe = PowerSafeOptions();
    SKrRecordingOptions spaced = FastOptions();
    spaced.chunkSpacingMs = 1;
    for (const SKrRecordingOptions* const options : {&fast, &safe, &spaced})
    {
        for (const EKrWorker worker : {EKrWorker::Stopped, EKrWorker::None, EKrWorker::Thread})
        {
            EXPECT_TRUE(AreSame(Record(worker, options, what, script), plain))
                << "flags " << options->flags << ", spacing " << options->chunkSpacingMs << ", worker "
                << static_cast<int>(worker);
        }
    }
}

// Sizes around those where something changes: nothing to copy, copied, written as it is.
size_t SomeSize(std::mt19937& random)
{
    constexpr size_t kSizes[] = {1, 7, 496, 504, 505, 4000, 16'384, 16'385, 40'000};
    return kSizes[random() % std::size(kSizes)];
}
} // namespace

TEST(RecordingJoined, FramesOfAllSizesWithSound_MakeTheSameFile)
{
    for (unsigned seed = 1; seed <= 5; ++seed)
    {
        ExpectSameFile(WithAudio(),
                       [seed](CKrRecorder& recorder)
                       {
                           std::mt19937 random(seed);
                           for (int number = 0; number < 120; ++number)
                           {
                               ASSERT_EQ(recorder.AddPatternVideo(SomeSize(random)), 1);
                               for (size_t left = random() % 3; left > 0; --left)
                                   ASSERT_EQ(recorder.AddPatternAudio(4 * (1 + SomeSize(random) / 4)), 1);
                           }
                       });
    }
}

TEST(RecordingJoined, FramesAloneOnSectorsOf4096Bytes_MakeTheSameFile)
{
    SKrWritten what;
    what.bytesPerSector = 4096;
    ExpectSameFile(what,
                   [](CKrRecorder& recorder)
                   {
                       std::mt19937 random(9);
                       for (int number = 0; number < 200; ++number)
                           ASSERT_EQ(recorder.AddPatternVideo(SomeSize(random)), 1);
                   });
}

// More than 4028 chunks of both streams: indexes end and begin in the middle of what would be one write.
TEST(RecordingJoined, IndexesThatFill_MakeTheSameFile)
{
    ExpectSameFile(WithAudio(),
                   [](CKrRecorder& recorder)
                   {
                       for (int number = 0; number < 4200; ++number)
                       {
                           ASSERT_EQ(recorder.AddZeroVideo(600), 1);
                           for (int part = 0; part < 2; ++part)
                               ASSERT_EQ(recorder.AddZeroAudio(kBytesOf25thSecond / 2), 1);
                       }
                   });
}

TEST(RecordingJoined, SegmentsThatFill_MakeTheSameFile)
{
    ExpectSameFile(WithAudio(),
                   [](CKrRecorder& recorder)
                   {
                       for (int number = 0; number < 30; ++number)
                       {
                           ASSERT_EQ(recorder.AddZeroAudio(kBytesOf25thSecond), 1);
                           ASSERT_EQ(recorder.AddZeroVideo(number % 3 == 0 ? 150'000'000 : 500), 1);
                           ASSERT_EQ(recorder.AddZeroVideo(9000), 1);
                       }
                   });
}

// Many small chunks fill the last bytes of a segment: its 'idx1' grows with those that wait to be written.
TEST(RecordingJoined, SmallChunksAtTheEndOfASegment_MakeTheSameFile)
{
    ExpectSameFile(SKrWritten{},
                   [](CKrRecorder& recorder)
                   {
                       ASSERT_EQ(recorder.AddZeroVideo(534'500'000), 1);
                       ASSERT_EQ(recorder.AddZeroVideo(534'500'000), 1);
                       for (int number = 0; number < 3000; ++number)
                           ASSERT_EQ(recorder.AddZeroVideo(100), 1);
                   });
}

TEST(RecordingJoined, SmallFrames_TakeAWriteFor64Kilobytes)
{
    CKrRecorder recorder(EKrWorker::Stopped);
    const SKrRecordingOptions fast = FastOptions();
    ASSERT_EQ(recorder.writer->SetRecordingOptions(&fast), 1);
    ASSERT_EQ(recorder.Open({}), 1);
    const uint64_t before = recorder.faults.Calls(EKrFileCall::Write);
    for (int number = 0; number < 1000; ++number)
        ASSERT_EQ(recorder.AddPatternVideo(4096), 1);
    EXPECT_EQ(recorder.Close().video.size(), 1000u);
    EXPECT_LE(recorder.faults.Calls(EKrFileCall::Write) - before, 4'608'000u / 65'536u);
}

TEST(RecordingJoined, AtMostOneSampleIsLockedAtATime)
{
    class CWatchedSample final : public CKrObject<IKrMediaSample>
    {
    public:
        CWatchedSample(size_t size, int& locked, int& most) : m_bytes(size), m_locked(locked), m_most(most) {}
        void ResetElement() override {}
        int LockBuffer(uint8_t** data, int32_t* length) override
        {
            m_most = std::max(m_most, ++m_locked);
            *data = m_bytes.data();
            *length = static_cast<int32_t>(m_bytes.size());
            return 1;
        }
        void UnlockBuffer() override { --m_locked; }
        uint32_t GetDataLength() override { return static_cast<uint32_t>(m_bytes.size()); }

    private:
        KrBytes m_bytes;
        int& m_locked;
        int& m_most;
    };
    CKrRecorder recorder(EKrWorker::Stopped);
    const SKrRecordingOptions fast = FastOptions();
    ASSERT_EQ(recorder.writer->SetRecordingOptions(&fast), 1);
    int locked = 0;
    int most = 0;
    CKrStallingFileSystem files(recorder.files);
    int lockedAtWrites = 0;
    files.beforeWrite = [&]
    {
        lockedAtWrites += locked;
    };
    SKrWriterServices services{files, recorder.clock};
    services.createWorkerThread = &CKrStoppedWorker::Create;
    recorder.writer = CKrRef<CKrAviWriter>::Adopt(new CKrAviWriter(services));
    ASSERT_EQ(recorder.writer->SetRecordingOptions(&fast), 1);
    ASSERT_EQ(recorder.Open({}), 1);
    for (const size_t size : {500u, 9000u, 16'384u, 100u})
    {
        const auto sample = CKrRef<CWatchedSample>::Adopt(new CWatchedSample(size, locked, most));
        ASSERT_EQ(recorder.writer->AddVideoSample(sample.Get()), 1);
    }
    EXPECT_EQ(recorder.writer->CloseFile(), 1);
    EXPECT_EQ(most, 1);
    EXPECT_EQ(lockedAtWrites, 0) << "small ones were copied before";
}

TEST(RecordingJoined, DirectChunks_ComeAfterWhatWasTakenBefore)
{
    CKrRecorder recorder(EKrWorker::None);
    const SKrRecordingOptions fast = FastOptions();
    ASSERT_EQ(recorder.writer->SetRecordingOptions(&fast), 1);
    ASSERT_EQ(recorder.Open({}), 1);
    ASSERT_EQ(recorder.AddPatternVideo(100), 1);
    const KrBytes direct(64, 9);
    ASSERT_EQ(recorder.writer->WriteVideoChunk(direct.data(), 64), 1);
    ASSERT_EQ(recorder.writer->CloseFile(), 1);
    EXPECT_EQ(FramesReadable(recorder.Content()), 2u);
    const SKrRecordingStatus status = StatusOf(*recorder.writer.Get());
    EXPECT_EQ(status.framesWritten, 1u) << "direct chunks are not counted";
    EXPECT_EQ(status.framesInIndex, 2u);
}

namespace
{
// 40 frames of 500 bytes with sectors of 512 are one write; what comes of it when only its start is written.
struct SKrShort
{
    size_t frames = 0;
    uint64_t size = 0; // of the file, without what only the close writes
};

SKrShort RecordShort(size_t bytes)
{
    CKrRecorder recorder(EKrWorker::Stopped);
    const SKrRecordingOptions fast = FastOptions();
    EXPECT_EQ(recorder.writer->SetRecordingOptions(&fast), 1);
    EXPECT_EQ(recorder.Open({}), 1);
    for (int number = 0; number < 40; ++number)
        EXPECT_EQ(recorder.AddPatternVideo(500), 1);
    recorder.faults.Reset();
    recorder.faults.ShortenWrite(1, bytes);
    EXPECT_EQ(recorder.writer->CloseFile(), 0);
    EXPECT_TRUE(recorder.faults.FaultStruck());
    EXPECT_EQ(CKrTestSample::Alive(), 0);
    const SKrRecordingStatus status = StatusOf(*recorder.writer.Get());
    EXPECT_EQ(status.state, kKrStateWriteFailed);
    EXPECT_EQ(status.systemError, CKrFaultyFileSystem::kAnyError);
    EXPECT_EQ(status.queuedFrames, 0u);
    return {FramesReadable(recorder.Content()), recorder.Content().Size()};
}
} // namespace

TEST(RecordingJoined, WriteThatComesShort_KeepsTheWholeChunks)
{
    constexpr size_t kChunk = 500 + 8 + 516; // with its padding: the next boundary is too near for a header
    for (const size_t whole : {size_t{0}, size_t{1}, size_t{17}, size_t{39}})
    {
        EXPECT_EQ(RecordShort(whole * kChunk).frames, whole);
        EXPECT_EQ(RecordShort(whole * kChunk + 507).frames, whole) << "a byte of the next one is missing";
        EXPECT_EQ(RecordShort(whole * kChunk + 508).frames, whole + 1) << "only its padding is missing";
        EXPECT_EQ(RecordShort(whole * kChunk + kChunk - 1).frames, whole + 1);
    }
}

namespace
{
// Whatever fails: every call returns, every sample is released, and what was indexed can be read.
void ExpectSurvived(CKrRecorder& recorder, int closed, size_t accepted)
{
    EXPECT_EQ(recorder.files.OpenWritableFiles(), 0u);
    EXPECT_EQ(recorder.files.OpenViews(), 0u);
    EXPECT_EQ(CKrTestSample::Alive(), 0);
    const SKrRecordingStatus status = StatusOf(*recorder.writer.Get());
    EXPECT_EQ(status.queuedFrames, 0u);
    EXPECT_EQ(status.queuedAudioChunks, 0u);
    EXPECT_EQ(status.queuedBytes, 0u);
    EXPECT_EQ(status.state & kKrStateOpen, 0u);
    EXPECT_LE(status.framesWritten + status.audioChunksWritten, accepted);
    if (closed == 1)
    {
        EXPECT_EQ(status.framesWritten + status.audioChunksWritten, accepted);
    }
    if (status.framesInIndex > 0)
    {
        EXPECT_EQ(FramesReadable(recorder.Content()), status.framesInIndex);
    }
}

uint64_t FailEach(EKrFileCall kind, EKrFaultSpan span, const SKrRecordingOptions& options, EKrWorker worker)
{
    CKrRecorder recorder(worker);
    EXPECT_EQ(recorder.writer->SetRecordingOptions(&options), 1);
    return ForEveryFailedCall(recorder.faults, kind, span,
                              [&](uint64_t)
                              {
                                  if (recorder.Open(WithAudio()) == 0)
                                      return;
                                  size_t accepted = 0;
                                  for (int number = 0; number < 60; ++number)
                                  {
                                      accepted += recorder.AddPatternAudio(kBytesOf25thSecond) != 0 ? 1 : 0;
                                      accepted += recorder.AddPatternVideo(900) != 0 ? 1 : 0;
                                  }
                                  const int closed = recorder.writer->CloseFile();
                                  ExpectSurvived(recorder, closed, accepted);
                              });
}
} // namespace

TEST(RecordingFaults, EachFailedCallInTurn_IsSurvived)
{
    for (const SKrRecordingOptions& options : {FastOptions(), PowerSafeOptions()})
    {
        for (const EKrFaultSpan span : {EKrFaultSpan::Once, EKrFaultSpan::FromThenOn})
        {
            for (const EKrWorker worker : {EKrWorker::None, EKrWorker::Thread})
            {
                EXPECT_GE(FailEach(EKrFileCall::Write, span, options, worker), 5u);
                EXPECT_GE(FailEach(EKrFileCall::Flush, span, options, worker), 1u);
                EXPECT_GE(FailEach(EKrFileCall::Map, span, options, worker), 3u);
                EXPECT_EQ(FailEach(EKrFileCall::FlushName, span, options, worker),
                          options.flags == 0 ? 0u : 1u);
            }
        }
    }
}
