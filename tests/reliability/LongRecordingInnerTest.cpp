// Two hours at 60 frames per second with sound, in simulated time.
#include "tests/base/KrAllocationMeter.h"
#include "tests/writer/KrRecorder.h"

#include <cstring>
#include <map>

using namespace KrTest;

namespace
{
#if defined(__SANITIZE_THREAD__)
constexpr uint32_t kSeconds = 10 * 60; // every access is instrumented there
#else
constexpr uint32_t kSeconds = 2 * 60 * 60;
#endif
constexpr uint32_t kFramesPerSecond = 60;
constexpr uint32_t kAudioBytes = 48000 / kFramesPerSecond * 4;
constexpr uint32_t kStartTick = 0xFFFFFFFF - kSeconds * 1000 / 2; // wraps half way

// Keeps no history of sleeps, unlike the manual clock.
class CKrLongClock final : public IKrClock
{
public:
    uint32_t TickCount() override { return static_cast<uint32_t>(kStartTick + m_elapsed); }
    int64_t PerformanceCounter() override { return static_cast<int64_t>(m_elapsed); }
    int64_t PerformanceFrequency() override { return 1000; }
    void Sleep(uint32_t milliseconds) override { m_elapsed += milliseconds; }

    void AdvanceTo(uint64_t elapsed) { m_elapsed = std::max(m_elapsed, elapsed); }
    [[nodiscard]] bool HasWrapped() const { return m_elapsed > 0xFFFFFFFF - kStartTick; }

private:
    uint64_t m_elapsed = 0;
};

// A file that stores only mapped ranges, and only while they are mapped.
class CKrForgetfulFile final : public IKrWritableFile
{
public:
    SKrTransfer WriteAt(uint64_t position, std::span<const KrByteSpan> parts) override
    {
        size_t size = 0;
        for (const KrByteSpan& part : parts)
            size += part.size();
        if (size <= m_last.size())
        {
            m_lastPosition = position;
            size_t at = 0;
            for (const KrByteSpan& part : parts)
            {
                if (!part.empty())
                    std::memcpy(m_last.data() + at, part.data(), part.size());
                at += part.size();
            }
        }
        return {size, 0};
    }

    SKrFlushOutcome Flush() override { return {true, 0}; }

    std::unique_ptr<IKrMappedView> Map(uint64_t position, size_t length) override
    {
        EXPECT_EQ(position, m_lastPosition) << "what was written last";
        return std::make_unique<CView>(
            KrBytes(m_last.begin(), m_last.begin() + static_cast<ptrdiff_t>(length)));
    }

    bool CutTo(uint64_t) override { return true; }

private:
    class CView final : public IKrMappedView
    {
    public:
        explicit CView(KrBytes bytes) : m_bytes(std::move(bytes)) {}
        uint8_t* Data() override { return m_bytes.data(); }

    private:
        KrBytes m_bytes;
    };

    KrBytes m_last = KrBytes(256 * 1024);
    uint64_t m_lastPosition = 0;
};

class CKrForgetfulFileSystem final : public IKrFileSystem
{
public:
    std::unique_ptr<IKrFile> OpenForReading(const wchar_t*) override { return nullptr; }
    std::unique_ptr<IKrWritableFile> CreateForWriting(const wchar_t*) override
    {
        return std::make_unique<CKrForgetfulFile>();
    }
    bool Exists(const wchar_t*) override { return false; }
    bool Delete(const wchar_t*) override { return false; }
    uint32_t BytesPerSector(const wchar_t*) override { return 512; }
};

SKrWritten What()
{
    SKrWritten written;
    written.frameRate = 7;
    written.pcm = SKrPcmFormat{};
    return written;
}

// A second of pictures and sound, at the pace of the clock.
void RecordSecond(IKrAviWriter& writer, CKrLongClock& clock, uint32_t second, size_t frameBytes)
{
    const auto frame = CKrRef<CKrZeroSample>::Adopt(new CKrZeroSample(frameBytes));
    const auto sound = CKrRef<CKrZeroSample>::Adopt(new CKrZeroSample(kAudioBytes));
    for (uint32_t number = 0; number < kFramesPerSecond; ++number)
    {
        ASSERT_EQ(writer.AddAudioSample(sound.Get()), 1);
        ASSERT_EQ(writer.AddVideoSample(frame.Get()), 1);
        clock.AdvanceTo(uint64_t{second} * 1000 + (number + 1) * 1000 / kFramesPerSecond);
    }
}
} // namespace

// The first segment ends after minutes; only its 'idx1' grows.
TEST(LongRecording, Memory_StaysFlat)
{
    constexpr size_t kFrameBytes = 60'000;
    constexpr uint64_t kPaddedPair = 60'416 + 3'584; // a frame and its sound, in whole sectors
    CKrForgetfulFileSystem files;
    CKrLongClock clock;
    const auto writer = CKrRef<CKrAviWriter>::Adopt(new CKrAviWriter({files, clock, &NoWorkerThread}));
    const SKrWritten written = What();
    const SKrAviVideoParams params = ParamsFor(written);
    const WAVEFORMATEX format = WaveFormatFor(*written.pcm);
    ASSERT_EQ(writer->OpenFile(kRecordedPath, &params, FourCcValue("MJPG"), &format), 1);
    RecordSecond(*writer.Get(), clock, 0, kFrameBytes);
    const CKrAllocationMeter meter;
    size_t mostEntries = 0;
    for (uint32_t second = 1; second < kSeconds && !HasFatalFailure(); ++second)
    {
        RecordSecond(*writer.Get(), clock, second, kFrameBytes);
        if (uint64_t{second} * kFramesPerSecond * kPaddedPair < 1'070'000'000)
            mostEntries = size_t{second} * kFramesPerSecond * 2;
    }
    // The vector of entries doubles: at most twice its content, plus half of that while it moves.
    EXPECT_LE(meter.Most(), 3 * 16 * mostEntries + 64 * 1024);
    EXPECT_LE(meter.Now(), 64u * 1024) << "'idx1' has gone with the first segment";
    EXPECT_TRUE(clock.HasWrapped());
    EXPECT_EQ(writer->CloseFile(), 1);
}

TEST(LongRecording, File_IsCompleteAndReadBack)
{
    CKrLongClock clock;
    CKrRecorder recorder(EKrWorker::None);
    recorder.writer =
        CKrRef<CKrAviWriter>::Adopt(new CKrAviWriter({recorder.faults, clock, &NoWorkerThread}));
    ASSERT_EQ(recorder.Open(What()), 1);
    for (uint32_t second = 0; second < kSeconds && !HasFatalFailure(); ++second)
        RecordSecond(*recorder.writer.Get(), clock, second, 5000);
    const SKrCheckedAvi checked = recorder.Close();
    EXPECT_TRUE(clock.HasWrapped());
    EXPECT_EQ(checked.video.size(), size_t{kSeconds} * kFramesPerSecond);
    EXPECT_EQ(checked.audio.size(), size_t{kSeconds} * kFramesPerSecond);
    EXPECT_GT(checked.segments.size(), kSeconds / 2400 + 1u);
}
