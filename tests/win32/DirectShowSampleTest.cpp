// Samples of DirectShow's own allocator, through the pool and the writer.
#include "KrMediaSampleTypes.h"
#include "KrRiffUtils/KrRiffUtils.h"
#include "base/KrRef.h"
#include "tests/support/KrByteWriter.h"
#include "tests/support/KrSimpleAvi.h"
#include "tests/support/KrTempFolder.h"
#include "tests/writer/KrWriterArguments.h"

#include <uuids.h>

#include <gtest/gtest.h>

#include <algorithm>

using namespace KrTest;

namespace
{
class DirectShowSample : public testing::Test
{
protected:
    DirectShowSample() { m_initialised = SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED)); }
    ~DirectShowSample() override
    {
        m_pool.Reset();
        if (m_allocator)
            m_allocator->Decommit();
        m_allocator.Reset();
        if (m_initialised)
            CoUninitialize();
    }

    void MakeAllocator(long buffers, long size)
    {
        ASSERT_TRUE(m_initialised);
        ASSERT_EQ(CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_INPROC_SERVER, IID_IMemAllocator,
                                   reinterpret_cast<void**>(m_allocator.Put())),
                  S_OK);
        ALLOCATOR_PROPERTIES wanted{buffers, size, 1, 0};
        ALLOCATOR_PROPERTIES got{};
        ASSERT_EQ(m_allocator->SetProperties(&wanted, &got), S_OK);
        ASSERT_EQ(m_allocator->Commit(), S_OK);
    }

    // A buffer of the allocator with these bytes; null when all are in use.
    CKrRef<IMediaSample> Fill(const KrBytes& bytes)
    {
        CKrRef<IMediaSample> sample;
        if (m_allocator->GetBuffer(sample.Put(), nullptr, nullptr, AM_GBF_NOWAIT) != S_OK)
            return {};
        BYTE* data = nullptr;
        EXPECT_EQ(sample->GetPointer(&data), S_OK);
        std::copy(bytes.begin(), bytes.end(), data);
        EXPECT_EQ(sample->SetActualDataLength(static_cast<LONG>(bytes.size())), S_OK);
        return sample;
    }

    int Add(IKrAviWriter& writer, bool isVideo, const KrBytes& bytes)
    {
        CKrRef<IMediaSample> source;
        while (!(source = Fill(bytes))) // the writer returns buffers as it writes
            Sleep(1);
        CKrRef<IKrMediaSample> sample;
        if (m_pool->GetSample(5000, source.Get(), sample.Put()) == 0)
            return 0;
        return isVideo ? writer.AddVideoSample(sample.Get()) : writer.AddAudioSample(sample.Get());
    }

    bool m_initialised = false;
    CKrRef<IMemAllocator> m_allocator;
    CKrRef<IKrdsMediaSamplePool> m_pool;
};
} // namespace

TEST_F(DirectShowSample, PooledSample_GivesItsBuffer)
{
    MakeAllocator(2, 1000);
    ASSERT_EQ(KrCreateMediaSamplePool(1, m_pool.Put()), 1);
    const auto source = Fill({1, 2, 3});
    CKrRef<IKrMediaSample> sample;
    ASSERT_EQ(m_pool->GetSample(0, source.Get(), sample.Put()), 1);
    uint8_t* data = nullptr;
    int32_t length = 0;
    ASSERT_EQ(sample->LockBuffer(&data, &length), 1);
    EXPECT_EQ(KrBytes(data, data + length), (KrBytes{1, 2, 3}));
    sample->UnlockBuffer();
    source->SetActualDataLength(0);
    EXPECT_EQ(sample->LockBuffer(&data, &length), 0) << "an empty buffer";
    EXPECT_EQ(sample->GetDataLength(), 0u);
}

TEST_F(DirectShowSample, PoolOfTheAllocatorsSize_StarvesIt)
{
    MakeAllocator(2, 1000);
    ASSERT_EQ(KrCreateMediaSamplePool(2, m_pool.Put()), 1);
    for (int number = 0; number < 2; ++number)
    {
        const auto source = Fill({1});
        ASSERT_TRUE(source);
        CKrRef<IKrMediaSample> sample;
        ASSERT_EQ(m_pool->GetSample(0, source.Get(), sample.Put()), 1);
    }
    EXPECT_FALSE(Fill({1})) << "both buffers stay with the samples that came back";
    m_pool.Reset();
    EXPECT_TRUE(Fill({1}));
}

TEST_F(DirectShowSample, Recording_IsReadBackFrameForFrame)
{
    MakeAllocator(40, 8000);
    ASSERT_EQ(KrCreateMediaSamplePool(30, m_pool.Put()), 1);
    CKrRef<IKrAviWriter> writer;
    ASSERT_EQ(KrCreateAviWriter(writer.Put()), 1);
    const SKrAviVideoParams params = ParamsFor({});
    const WAVEFORMATEX format = WaveFormatFor({});
    const CKrTempFolder folder;
    const std::wstring path = folder.PathOf(L"captured.avi");
    ASSERT_EQ(writer->OpenFile(path.c_str(), &params, FourCcValue("MJPG"), &format), 1);
    for (size_t number = 0; number < 60; ++number)
    {
        ASSERT_EQ(Add(*writer.Get(), false, PatternBytes(1, number, 7680)), 1);
        ASSERT_EQ(Add(*writer.Get(), true, PatternBytes(0, number, 500 + number)), 1);
    }
    writer->CloseFile();
    EXPECT_EQ(CheckWrittenFile(path, {.pcm = SKrPcmFormat{}}).problems, std::vector<std::string>{});

    CKrRef<IKrRiffReader> reader;
    ASSERT_EQ(KrCreateRiffReader(reader.Put()), 1);
    ASSERT_EQ(reader->Open(path.c_str()), 1);
    CArray<SKrChunkIndexEntry> entries;
    ASSERT_EQ(reader->LoadVideoIndex(entries), 1);
    ASSERT_EQ(entries.GetSize(), 60);
    for (int number = 0; number < 60; ++number)
    {
        KrBytes bytes(entries[number].size);
        ASSERT_EQ(reader->ReadAt(entries[number].position, bytes.data(), entries[number].size), bytes.size());
        EXPECT_EQ(bytes, PatternBytes(0, static_cast<size_t>(number), 500 + static_cast<size_t>(number)));
    }
    SKrAudioChunkPattern pattern;
    ASSERT_EQ(reader->LoadAudioIndex(entries, &pattern), 1);
    EXPECT_EQ(entries.GetSize(), 60);
}
