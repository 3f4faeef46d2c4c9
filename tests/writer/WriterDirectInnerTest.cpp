// Chunks that are written directly: neither padded nor counted, alone and mixed with queued ones.
#include "format/KrBytes.h"
#include "tests/writer/KrRecorder.h"

#include <atomic>
#include <chrono>
#include <thread>

using namespace KrTest;

namespace
{
SKrWritten Direct(bool withAudio = true)
{
    SKrWritten written;
    written.hasDirectChunks = true;
    if (withAudio)
        written.pcm = SKrPcmFormat{};
    return written;
}

class WriterDirect : public testing::Test
{
protected:
    int Video(const KrBytes& bytes)
    {
        return m_recorder.writer->WriteVideoChunk(bytes.data(), static_cast<int32_t>(bytes.size()));
    }
    int Audio(const KrBytes& bytes)
    {
        return m_recorder.writer->WriteAudioChunk(bytes.data(), static_cast<int32_t>(bytes.size()));
    }

    // A chunk of zeros of up to 512 MB, which are never touched.
    int ZeroVideo(uint64_t size)
    {
        if (m_zeros == nullptr)
            m_zeros.reset(static_cast<uint8_t*>(std::calloc(1, kLargestZeros)));
        return m_recorder.writer->WriteVideoChunk(m_zeros.get(), static_cast<int32_t>(size));
    }

    // A field of the first headers.
    [[nodiscard]] uint32_t Field(uint64_t position) const
    {
        return GetLe32(m_recorder.Content().Range(position, 4).data());
    }

    static constexpr uint64_t kLargestZeros = 512 << 20;

    CKrRecorder m_recorder;

private:
    std::unique_ptr<uint8_t, decltype(&std::free)> m_zeros{nullptr, &std::free};
};
} // namespace

TEST_F(WriterDirect, Chunks_FollowEachOtherWithoutPadding)
{
    ASSERT_EQ(m_recorder.Open(Direct()), 1);
    EXPECT_EQ(Video({1, 2, 3}), 1);
    EXPECT_EQ(Audio({4, 5, 6, 7, 8}), 1);
    EXPECT_EQ(Video({9}), 1);
    const SKrCheckedAvi checked = m_recorder.Close();
    ASSERT_EQ(checked.order, "VAV");
    EXPECT_EQ(checked.audio[0].data, checked.video[0].data + 3 + 8) << "an odd length stays odd";
    EXPECT_EQ(checked.video[1].data, checked.audio[0].data + 5 + 8);
    EXPECT_EQ(m_recorder.Content().Range(checked.video[0].data, 3), (KrBytes{1, 2, 3}));
}

TEST_F(WriterDirect, Counters_StayAtZeroButForTheLargestChunk)
{
    ASSERT_EQ(m_recorder.Open(Direct()), 1);
    EXPECT_EQ(Video(KrBytes(1000)), 1);
    EXPECT_EQ(Audio(KrBytes(2000)), 1);
    m_recorder.Close();
    EXPECT_EQ(Field(32 + 16), 0u) << "frames";
    EXPECT_EQ(Field(32 + 28), 2008u) << "suggested buffer size";
    EXPECT_EQ(Field(108 + 36), 1008u);
    EXPECT_EQ(Field(32520), 0u) << "audio samples";
    EXPECT_EQ(Field(212 + 32 + 12), 1u) << "the flush adds them to the video index's duration";
    EXPECT_EQ(Field(32580 + 32 + 12), 0u) << "not to the audio one";
}

TEST_F(WriterDirect, BadArguments_AreRefused)
{
    EXPECT_EQ(Video({1}), 0) << "no file";
    ASSERT_EQ(m_recorder.Open(Direct(false)), 1);
    EXPECT_EQ(m_recorder.writer->WriteVideoChunk(nullptr, 5), 0);
    const uint8_t byte = 1;
    EXPECT_EQ(m_recorder.writer->WriteVideoChunk(&byte, 0), 0);
    EXPECT_EQ(m_recorder.writer->WriteVideoChunk(&byte, -1), 0);
    EXPECT_EQ(m_recorder.writer->WriteAudioChunk(&byte, 1), 0) << "no audio stream";
    EXPECT_EQ(m_recorder.Close().order, "");
    EXPECT_EQ(Video({1}), 0) << "closed";
}

TEST_F(WriterDirect, FailedWrite_RefusesLaterSamples)
{
    ASSERT_EQ(m_recorder.Open(Direct()), 1);
    ASSERT_EQ(Video({1, 2, 3}), 1);
    m_recorder.faults.Reset();
    m_recorder.faults.ShortenWrite(1, 9);
    EXPECT_EQ(Video({4, 5, 6}), 0);
    EXPECT_EQ(m_recorder.AddPatternVideo(10), 0);
    EXPECT_EQ(Video({7, 8, 9}), 1) << "takes the place of the failed one";
    const SKrCheckedAvi checked = m_recorder.Close();
    ASSERT_EQ(checked.video.size(), 2u);
    EXPECT_EQ(m_recorder.Content().Range(checked.video[1].data, 3), (KrBytes{7, 8, 9}));
}

TEST_F(WriterDirect, ManyBetweenTwoQueuedSamples_LeaveTheIndexAt4028)
{
    ASSERT_EQ(m_recorder.Open(Direct(false)), 1);
    for (int number = 0; number < 5000; ++number)
        ASSERT_EQ(Video({1, 2}), 1);
    ASSERT_EQ(m_recorder.AddVideo({1, 2}), 1);
    EXPECT_EQ(m_recorder.writer->CloseFile(), 0) << "a frame that no OpenDML index names";
    const SKrCheckedAvi checked = CheckWrittenAvi(m_recorder.Content(), m_recorder.written);
    EXPECT_EQ(checked.problems, std::vector<std::string>{});
    ASSERT_EQ(checked.videoIndexes.size(), 2u);
    EXPECT_EQ(checked.videoIndexes[0].chunks.size(), 5001u) << "of which 4028 are entered";
}

TEST_F(WriterDirect, SegmentBeyond4Gigabytes_IsRefusedBeforeItWraps)
{
    ASSERT_EQ(m_recorder.Open(Direct(false)), 1);
    int written = 0;
    while (written < 20 && ZeroVideo(kLargestZeros) != 0)
        ++written;
    EXPECT_EQ(written, 7) << "the eighth would end beyond 4 GiB";
    constexpr uint64_t kTail = 512 + 16 + 32256; // 'idx1' so far, the chunk's entry, a standard index
    const uint64_t left = UINT32_MAX - m_recorder.Content().Size() - kTail - 8;
    EXPECT_EQ(ZeroVideo(left + 1), 0);
    EXPECT_EQ(ZeroVideo(left), 1);
    EXPECT_EQ(m_recorder.AddVideo(KrBytes(100)), 1) << "no failure: the next frame starts a segment";
    const SKrCheckedAvi checked = m_recorder.Close();
    ASSERT_EQ(checked.video.size(), 9u);
    EXPECT_EQ(checked.video[7].segment, 0u);
    EXPECT_EQ(checked.video[8].segment, 1u);
}

// Sound that waited to the end needs a segment of its own, and that cannot be started.
TEST_F(WriterDirect, LastSoundWhoseSegmentFails_IsNotWrittenBeyond4Gigabytes)
{
    ASSERT_EQ(m_recorder.Open(Direct()), 1);
    ASSERT_EQ(m_recorder.AddAudio(KrBytes(100'000, 1)), 1) << "waits for a frame";
    for (int number = 0; number < 7; ++number)
        ASSERT_EQ(ZeroVideo(kLargestZeros), 1);
    ASSERT_EQ(ZeroVideo(UINT32_MAX - m_recorder.Content().Size() - 100'000), 1);
    const uint64_t size = m_recorder.Content().Size();
    m_recorder.faults.Reset();
    m_recorder.faults.FailCall(EKrFileCall::Write, 1); // 'idx1'
    EXPECT_EQ(m_recorder.writer->CloseFile(), 0);
    ASSERT_TRUE(m_recorder.faults.FaultStruck());
    EXPECT_LT(m_recorder.Content().Size(), size + 100'000) << "nothing but 'idx1'";
}

namespace
{
// Detects a write that starts while another is under way.
class CWatchedFileSystem final : public IKrFileSystem
{
public:
    explicit CWatchedFileSystem(IKrFileSystem& inner) : m_inner(inner) {}

    [[nodiscard]] int Overlaps() const { return m_overlaps; }

    std::unique_ptr<IKrFile> OpenForReading(const wchar_t* path) override
    {
        return m_inner.OpenForReading(path);
    }
    std::unique_ptr<IKrWritableFile> CreateForWriting(const wchar_t* path) override
    {
        std::unique_ptr<IKrWritableFile> file = m_inner.CreateForWriting(path);
        return file != nullptr ? std::make_unique<CFile>(*this, std::move(file)) : nullptr;
    }
    bool Exists(const wchar_t* path) override { return m_inner.Exists(path); }
    bool Delete(const wchar_t* path) override { return m_inner.Delete(path); }
    uint32_t BytesPerSector(const wchar_t* folder) override { return m_inner.BytesPerSector(folder); }

private:
    class CFile final : public IKrWritableFile
    {
    public:
        CFile(CWatchedFileSystem& watch, std::unique_ptr<IKrWritableFile> inner)
            : m_watch(watch), m_inner(std::move(inner))
        {
        }

        SKrTransfer WriteAt(uint64_t position, std::span<const KrByteSpan> parts) override
        {
            m_watch.m_overlaps += m_watch.m_writes++ != 0;
            if (++m_number % 8 == 0)
                std::this_thread::sleep_for(std::chrono::microseconds(100)); // slow at times, like a disk
            const SKrTransfer written = m_inner->WriteAt(position, parts);
            --m_watch.m_writes;
            return written;
        }
        SKrFlushOutcome Flush() override { return m_inner->Flush(); }
        bool CutTo(uint64_t size) override { return m_inner->CutTo(size); }
        std::unique_ptr<IKrMappedView> Map(uint64_t position, size_t length) override
        {
            return m_inner->Map(position, length);
        }

    private:
        CWatchedFileSystem& m_watch;
        std::unique_ptr<IKrWritableFile> m_inner;
        std::atomic<int> m_number = 0;
    };

    IKrFileSystem& m_inner;
    std::atomic<int> m_writes = 0; // under way
    std::atomic<int> m_overlaps = 0;
};
} // namespace

TEST_F(WriterDirect, BesideQueuedOnes_EachIsWrittenWhole)
{
    CWatchedFileSystem watched(m_recorder.files);
    m_recorder.writer = CKrRef<CKrAviWriter>::Adopt(new CKrAviWriter({watched, m_recorder.clock}));
    for (const size_t threads : {1u, 2u, 4u})
    {
        ASSERT_EQ(m_recorder.Open(Direct()), 1);
        {
            std::vector<std::jthread> writers;
            for (size_t number = 0; number < threads; ++number)
            {
                writers.emplace_back(
                    [this]
                    {
                        for (int chunk = 0; chunk < 50; ++chunk)
                        {
                            EXPECT_EQ(Video(KrBytes(77, 1)), 1);
                            EXPECT_EQ(Audio(KrBytes(78, 2)), 1);
                        }
                    });
            }
            for (int number = 0; number < 50; ++number)
            {
                EXPECT_EQ(m_recorder.AddAudio(KrBytes(kBytesOf25thSecond, 3)), 1);
                EXPECT_EQ(m_recorder.AddVideo(KrBytes(500, 4)), 1);
            }
        }
        const SKrCheckedAvi checked = m_recorder.Close();
        EXPECT_EQ(checked.video.size(), 50 + 50 * threads);
        EXPECT_EQ(checked.audio.size(), 50 + 50 * threads);
    }
    EXPECT_EQ(watched.Overlaps(), 0);
    m_recorder.writer.Reset(); // before the file system that it writes to
}
