// Sound that is late: frames that do not wait for it, silence in its place.
#include "tests/writer/KrRecorder.h"
#include "tests/writer/KrRecordingArguments.h"

#include <algorithm>
#include <thread>

using namespace KrTest;

namespace
{
// Without a worker: what is due is written by the submission that comes next.
class RecordingAudio : public testing::Test
{
protected:
    void Open(uint32_t audioWaitMs, uint32_t flags, SKrPcmFormat format = {})
    {
        SKrRecordingOptions options = FastOptions();
        options.audioWaitMs = audioWaitMs;
        options.flags = flags;
        ASSERT_EQ(m_recorder.writer->SetRecordingOptions(&options), 1);
        SKrWritten what;
        what.pcm = format;
        ASSERT_EQ(m_recorder.Open(what), 1);
    }

    // A frame of each 40 ms.
    void AddFrames(int count)
    {
        for (int number = 0; number < count; ++number)
        {
            ASSERT_EQ(m_recorder.AddPatternVideo(100), 1);
            m_recorder.clock.Advance(40);
        }
    }

    [[nodiscard]] SKrRecordingStatus Status() { return StatusOf(*m_recorder.writer.Get()); }

    // Closes the file; V and A in their order.
    std::string OrderAfterClose()
    {
        EXPECT_EQ(m_recorder.writer->CloseFile(), 1);
        m_audio.clear();
        const SKrCheckedAvi checked = m_recorder.Check();
        for (const SKrWrittenChunk& chunk : checked.audio)
        {
            const KrBytes bytes = m_recorder.Content().Range(chunk.data, chunk.size);
            m_audio.insert(m_audio.end(), bytes.begin(), bytes.end());
        }
        return checked.order;
    }

    CKrRecorder m_recorder{EKrWorker::None};
    KrBytes m_audio; // all sound of the file
};
} // namespace

TEST_F(RecordingAudio, ByDefault_FramesWaitForEver)
{
    Open(0xFFFFFFFF, 0);
    AddFrames(50);
    EXPECT_EQ(Status().framesWritten, 1u);
    EXPECT_EQ(Status().state, kKrStateOpen);
}

TEST_F(RecordingAudio, FrameThatHasWaitedItsTime_IsWrittenWithoutSound)
{
    Open(100, 0);
    AddFrames(3); // at 0, 40 and 80 ms
    EXPECT_EQ(Status().framesWritten, 1u) << "the first needs no sound before it";
    AddFrames(1); // at 120
    EXPECT_EQ(Status().framesWritten, 1u);
    EXPECT_EQ(Status().state, kKrStateOpen);
    AddFrames(1); // at 160: the one of 40 ms has waited 120
    EXPECT_EQ(Status().framesWritten, 2u);
    EXPECT_EQ(Status().state, kKrStateOpen | kKrStateSoundIsLate);
    AddFrames(20);
    EXPECT_EQ(Status().framesWritten, 22u) << "each waits its own time";
}

TEST_F(RecordingAudio, LateSound_IsWrittenWhenItComes)
{
    Open(100, 0);
    AddFrames(10);
    const uint64_t before = Status().framesWritten;
    EXPECT_GT(before, 5u);
    for (int number = 0; number < 12; ++number)
        ASSERT_EQ(m_recorder.AddPatternAudio(kBytesOf25thSecond), 1);
    EXPECT_EQ(Status().state, kKrStateOpen) << "it is here";
    EXPECT_EQ(Status().framesWritten, 10u);
    AddFrames(3);
    EXPECT_EQ(Status().samplesRefused, 0u);
    OrderAfterClose();
    EXPECT_EQ(Status().audioChunksWritten, 12u);
    EXPECT_EQ(m_audio.size(), 12 * kBytesOf25thSecond);
    EXPECT_EQ(Status().state, 0u);
}

TEST_F(RecordingAudio, Silence_TakesThePlaceOfLateSound)
{
    Open(100, kKrRecordingSilence);
    AddFrames(10);
    EXPECT_GE(Status().framesWritten, 6u);
    EXPECT_EQ(Status().state, kKrStateOpen | kKrStateSoundIsLate);
    const std::string order = OrderAfterClose();
    EXPECT_EQ(order.substr(0, 7), "VAVAVAV") << "a frame's silence goes before the next frame";
    EXPECT_EQ(m_audio, KrBytes(m_audio.size(), 0));
    EXPECT_EQ(m_audio.size() % kBytesOf25thSecond, 0u);
}

TEST_F(RecordingAudio, SilenceOfBytes_IsTheMiddleOfTheirRange)
{
    Open(100, kKrRecordingSilence, {.channels = 1, .bitsPerSample = 8});
    AddFrames(10);
    OrderAfterClose();
    ASSERT_GT(m_audio.size(), 0u);
    EXPECT_EQ(m_audio, KrBytes(m_audio.size(), 0x80));
}

// The sound that comes afterwards lies where it belongs: what is for a time that has its silence is dropped,
// of the block in which that time ends the rest is kept.
TEST_F(RecordingAudio, SoundForTheTimeOfSilence_IsDroppedAndCounted)
{
    Open(100, kKrRecordingSilence);
    AddFrames(10);
    const uint64_t silentChunks = Status().framesWritten - 1;
    const uint64_t silence = silentChunks * kBytesOf25thSecond;
    constexpr size_t kBlock = 10'000; // no multiple of a frame's
    KrBytes all;
    uint64_t refused = 0;
    for (uint8_t number = 1; all.size() < 20 * kBytesOf25thSecond; ++number)
    {
        all.insert(all.end(), kBlock, number);
        refused += m_recorder.AddAudio(KrBytes(kBlock, number)) == 0 ? 1 : 0;
    }
    EXPECT_GE(refused, silence / kBlock);
    EXPECT_EQ(Status().samplesRefused, refused);
    EXPECT_EQ(Status().state, kKrStateOpen);
    OrderAfterClose();
    ASSERT_EQ(m_audio.size(), all.size());
    const auto firstSound = std::ranges::find_if(m_audio, [](uint8_t byte) { return byte != 0; });
    EXPECT_GE(firstSound - m_audio.begin(), static_cast<ptrdiff_t>(silence));
    for (size_t at = 0; at < all.size(); ++at)
        ASSERT_TRUE(m_audio[at] == all[at] || (m_audio[at] == 0 && at < 10 * kBytesOf25thSecond)) << at;
}

// Sound that ends inside a sample: the silence completes it.
TEST_F(RecordingAudio, SilenceAfterHalfASample_LetsTheFramesGo)
{
    Open(100, kKrRecordingSilence);
    ASSERT_EQ(m_recorder.AddAudio(KrBytes(kBytesOf25thSecond - 1, 7)), 1);
    AddFrames(10);
    EXPECT_GE(Status().framesWritten, 6u);
    m_recorder.writer->CloseFile();
    EXPECT_EQ(Status().framesWritten, 10u);
}

// The worker wakes up by itself when a frame has waited its time.
TEST(RecordingAudioOfAWorker, FrameIsWrittenWithoutAnotherSubmission)
{
    for (const uint32_t flags : {0u, kKrRecordingSilence})
    {
        CKrMemoryFileSystem files;
        const KrPlatform::CFileSystemScope scope(files);
        const auto writer =
            CKrRef<CKrAviWriter>::Adopt(new CKrAviWriter(SKrWriterServices{files, KrPlatform::OsClock()}));
        SKrRecordingOptions options = FastOptions();
        options.audioWaitMs = 20;
        options.flags = flags;
        ASSERT_EQ(writer->SetRecordingOptions(&options), 1);
        const SKrAviVideoParams params = ParamsFor({});
        const WAVEFORMATEX format = WaveFormatFor(SKrPcmFormat{});
        ASSERT_EQ(writer->OpenFile(kRecordedPath, &params, 0, &format), 1);
        for (int number = 0; number < 5; ++number)
        {
            const auto sample = CKrRef<CKrTestSample>::Adopt(new CKrTestSample(KrBytes(100)));
            ASSERT_EQ(writer->AddVideoSample(sample.Get()), 1);
        }
        for (int round = 0; round < 10'000 && StatusOf(*writer.Get()).framesWritten < 5; ++round)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        const SKrRecordingStatus status = StatusOf(*writer.Get());
        EXPECT_EQ(status.framesWritten, 5u);
        EXPECT_EQ(status.audioChunksWritten, flags != 0 ? 4u : 0u);
        EXPECT_EQ(status.state, kKrStateOpen | kKrStateSoundIsLate);
        EXPECT_EQ(writer->CloseFile(), 1);
    }
}
