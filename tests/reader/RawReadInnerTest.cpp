// The file accesses of raw reads, and how they handle failures.
#include "reader/KrRiffReader.h"

#include "tests/reader/ReaderOpenSupport.h"
#include "tests/support/KrCountingFileSystem.h"
#include "tests/support/KrFaultyFileSystem.h"
#include "tests/support/KrMemoryFileSystem.h"
#include "tests/support/KrSimpleAvi.h"

#include <gtest/gtest.h>

using namespace KrTest;

namespace
{
class RawReadCalls : public testing::Test
{
protected:
    RawReadCalls()
    {
        m_files.Set(L"a.avi", m_built.content);
        EXPECT_EQ(m_reader->Open(L"a.avi"), 1);
        m_faulty.Reset();
        m_counting.Reset();
    }

    const SKrBuiltAvi m_built = BuildSimpleAvi({});
    CKrMemoryFileSystem m_files;
    CKrFaultyFileSystem m_faulty{m_files};
    CKrCountingFileSystem m_counting{m_faulty};
    const CKrRef<CKrRiffReader> m_reader = CKrRef<CKrRiffReader>::Adopt(new CKrRiffReader(m_counting));
    uint8_t m_buffer[2000] = {};
};
} // namespace

TEST_F(RawReadCalls, ReadAt_IsOneReadOfJustThoseBytes)
{
    EXPECT_EQ(m_reader->ReadAt(123, m_buffer, 456), 456u);
    EXPECT_EQ(m_counting.Reads(), (std::vector<SKrReadCall>{{.position = 123, .count = 456, .bytes = 456}}));
}

TEST_F(RawReadCalls, RefusedReads_DoNotReachTheFile)
{
    EXPECT_EQ(m_reader->ReadAt(0xFFFFFFFF, m_buffer, 1), 0u);
    EXPECT_EQ(m_reader->ReadAt(0x7FFFFFFFFFFFFFFF, m_buffer, 1), 0u);
    EXPECT_EQ(m_reader->ReadAt(0, nullptr, 1), 0u);
    const SKrRiffChunkInfo record = {FourCcValue("00dc"), 100, 0, 500};
    EXPECT_EQ(m_reader->ReadChunkData(&record, m_buffer, 99), 0u);
    EXPECT_EQ(m_reader->ReadChunkData(&record, nullptr, 100), 0u);
    EXPECT_EQ(m_reader->ReadChunkData(nullptr, m_buffer, 100), 0u);
    EXPECT_EQ(m_counting.Calls().reads, 0u);
}

TEST_F(RawReadCalls, FailedRead_ReturnsNothing)
{
    m_faulty.FailCall(EKrFileCall::Read, 1);
    EXPECT_EQ(m_reader->ReadAt(0, m_buffer, 100), 0u);
    EXPECT_TRUE(m_faulty.FaultStruck());
    m_faulty.Reset();
    m_faulty.FailCall(EKrFileCall::Read, 1);
    const SKrRiffChunkInfo record = {FourCcValue("00dc"), 100, 0, 500};
    EXPECT_EQ(m_reader->ReadChunkData(&record, m_buffer, 100), 0u);
    EXPECT_EQ(m_reader->ReadChunkData(&record, m_buffer, 100), 100u) << "the next one works";
}

TEST_F(RawReadCalls, ShortRead_ReturnsTheBytesRead)
{
    m_faulty.ShortenRead(1, 40);
    EXPECT_EQ(m_reader->ReadAt(0, m_buffer, 100), 40u);
    m_faulty.Reset();
    m_faulty.ShortenRead(1, 40);
    const SKrRiffChunkInfo record = {FourCcValue("00dc"), 100, 0, 500};
    EXPECT_EQ(m_reader->ReadChunkData(&record, m_buffer, 100), 40u);
}
