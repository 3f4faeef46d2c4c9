// The writer as a host sees it: samples from the pool, real files, real time.
#include "KrOsTypes.h"
#include "KrRiffUtils/KrRiffUtils.h"
#include "base/KrObject.h"
#include "base/KrRef.h"
#include "tests/support/KrByteWriter.h"
#include "tests/support/KrFakeDirectShowSample.h"
#include "tests/support/KrSimpleAvi.h"
#include "tests/support/KrTempFolder.h"
#include "tests/writer/KrWriterArguments.h"

#include <gtest/gtest.h>

#include <chrono>
#include <deque>
#include <vector>

using namespace KrTest;

namespace
{
SKrAviVideoParams Params()
{
    return ParamsFor({.scanMode = 2});
}

class Writer : public testing::Test
{
protected:
    Writer()
    {
        EXPECT_EQ(KrCreateAviWriter(m_writer.Put()), 1);
        EXPECT_EQ(KrCreateMediaSamplePool(200, m_pool.Put()), 1);
    }

    // Submits bytes through the pool.
    int Add(bool isVideo, KrBytes bytes)
    {
        m_sources.emplace_back(std::move(bytes));
        CKrRef<IKrMediaSample> sample;
        if (m_pool->GetSample(1000, &m_sources.back(), sample.Put()) == 0)
            return 0;
        return isVideo ? m_writer->AddVideoSample(sample.Get()) : m_writer->AddAudioSample(sample.Get());
    }

    CKrTempFolder m_folder;
    const std::wstring m_path = m_folder.PathOf(L"new \u00FC\u4E2D.avi");
    std::deque<CKrFakeDirectShowSample> m_sources;
    CKrRef<IKrAviWriter> m_writer;
    CKrRef<IKrdsMediaSamplePool> m_pool;
};
} // namespace

TEST(WriterFactory, MakesAWriterWithOneReference)
{
    IKrAviWriter* writer = nullptr;
    ASSERT_EQ(KrCreateAviWriter(&writer), 1);
    EXPECT_EQ(writer->AddRef(), 2u);
    EXPECT_EQ(writer->Release(), 1u);
    EXPECT_EQ(writer->Release(), 0u);
}

TEST_F(Writer, RecordedFile_IsReadBackFrameForFrame)
{
    const SKrAviVideoParams params = Params();
    const WAVEFORMATEX format = WaveFormatFor({});
    ASSERT_EQ(m_writer->OpenFile(m_path.c_str(), &params, FourCcValue("MJPG"), &format), 1);
    for (size_t number = 0; number < 30; ++number)
    {
        ASSERT_EQ(Add(false, PatternBytes(1, number, 7680)), 1);
        ASSERT_EQ(Add(true, PatternBytes(0, number, 1000 + number)), 1);
    }
    EXPECT_EQ(m_writer->CloseFile(), 1);
    for (const CKrFakeDirectShowSample& source : m_sources)
        EXPECT_EQ(source.references, 2u) << "only the pool's own samples hold them still";
    m_pool.Reset();
    for (const CKrFakeDirectShowSample& source : m_sources)
        EXPECT_EQ(source.references, 1u);

    EXPECT_EQ(CheckWrittenFile(m_path, {.scanMode = 2, .pcm = SKrPcmFormat{}}).problems,
              std::vector<std::string>{});
    CKrRef<IKrRiffReader> reader;
    ASSERT_EQ(KrCreateRiffReader(reader.Put()), 1);
    ASSERT_EQ(reader->Open(m_path.c_str()), 1);
    CArray<SKrChunkIndexEntry> video;
    CArray<SKrChunkIndexEntry> audio;
    SKrAudioChunkPattern pattern;
    ASSERT_EQ(reader->LoadVideoIndex(video), 1);
    ASSERT_EQ(reader->LoadAudioIndex(audio, &pattern), 1);
    ASSERT_EQ(video.GetSize(), 30);
    ASSERT_EQ(audio.GetSize(), 30);
    for (int number = 0; number < 30; ++number)
    {
        for (const bool isVideo : {true, false})
        {
            const SKrChunkIndexEntry& entry = isVideo ? video[number] : audio[number];
            KrBytes bytes(entry.size);
            ASSERT_EQ(reader->ReadAt(entry.position, bytes.data(), entry.size), entry.size);
            EXPECT_EQ(bytes, PatternBytes(isVideo ? 0 : 1, static_cast<size_t>(number), entry.size));
        }
    }
    EKrScanMode mode = EKrScanMode::Unknown;
    EXPECT_EQ(KrRiffUtils::GetAviScanMode(reader.Get(), mode), 1);
    EXPECT_EQ(mode, EKrScanMode::Progressive);
    int horizontal = 0;
    int vertical = 0;
    EXPECT_EQ(KrRiffUtils::GetAviPixelAspectRatio(reader.Get(), horizontal, vertical), 1);
    EXPECT_EQ(horizontal, 16);
    EXPECT_EQ(vertical, 15);
}

TEST_F(Writer, FileBeingWritten_IsRefusedToReaders)
{
    const SKrAviVideoParams params = Params();
    ASSERT_EQ(m_writer->OpenFile(m_path.c_str(), &params, 0, nullptr), 1);
    CKrRef<IKrRiffReader> reader;
    ASSERT_EQ(KrCreateRiffReader(reader.Put()), 1);
    EXPECT_EQ(reader->Open(m_path.c_str()), 0);
    ASSERT_EQ(Add(true, {1, 2, 3}), 1);
    m_writer.Reset();
    EXPECT_EQ(reader->Open(m_path.c_str()), 1);

    CKrRef<IKrAviWriter> other;
    ASSERT_EQ(KrCreateAviWriter(other.Put()), 1);
    EXPECT_EQ(other->OpenFile(m_path.c_str(), &params, 0, nullptr), 0) << "a reader has it open";
    reader->Close();
    EXPECT_EQ(other->OpenFile(m_path.c_str(), &params, 0, nullptr), 1);
}

TEST_F(Writer, PoolReleasedFirst_LeavesItsQueuedSamplesValid)
{
    const SKrAviVideoParams params = Params();
    const WAVEFORMATEX format = WaveFormatFor({});
    ASSERT_EQ(m_writer->OpenFile(m_path.c_str(), &params, 0, &format), 1);
    for (size_t number = 0; number < 5; ++number)
        ASSERT_EQ(Add(true, PatternBytes(0, number, 500)), 1); // wait for audio
    m_pool.Reset();
    m_writer.Reset();
    for (const CKrFakeDirectShowSample& source : m_sources)
        EXPECT_EQ(source.references, 1u);
}

namespace
{
// A host's own sample of one byte that records when it was written.
class CTimedSample final : public CKrObject<IKrMediaSample>
{
public:
    using KrTime = std::chrono::steady_clock::time_point;

    [[nodiscard]] KrTime Written() const { return m_written; } // once the file is closed

    void ResetElement() override {}
    int LockBuffer(uint8_t** data, int32_t* length) override
    {
        m_written = std::chrono::steady_clock::now();
        *data = &m_byte;
        *length = 1;
        return 1;
    }
    void UnlockBuffer() override {}
    uint32_t GetDataLength() override { return 1; }

private:
    uint8_t m_byte = 1;
    KrTime m_written;
};
} // namespace

// All frames but the first wait for their sound, so that only the pacing separates them then.
TEST_F(Writer, Pacing_KeepsQueuedChunksFiveMillisecondsApart)
{
    const SKrAviVideoParams params = Params();
    const WAVEFORMATEX format = WaveFormatFor({});
    ASSERT_EQ(m_writer->OpenFile(m_path.c_str(), &params, 0, &format), 1);
    std::vector<CKrRef<CTimedSample>> frames;
    for (size_t number = 0; number < 20; ++number)
    {
        frames.push_back(CKrRef<CTimedSample>::Adopt(new CTimedSample));
        ASSERT_EQ(m_writer->AddVideoSample(frames.back().Get()), 1);
    }
    ASSERT_EQ(Add(false, KrBytes(20 * 7680)), 1);
    EXPECT_EQ(m_writer->CloseFile(), 1);
    // Coarse ticks lag behind a pause and let the next one be skipped, so that half of them may be missing.
    EXPECT_GE(frames.back()->Written() - frames[1]->Written(), std::chrono::milliseconds(18 * 5 / 3));
}
