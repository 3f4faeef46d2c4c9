// Raw reads: bytes at a position, and the payload of a chunk.
#include "tests/reader/ReaderOpenSupport.h"

#include "tests/support/KrSimpleAvi.h"
#include "tests/support/KrTempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace KrTest;

namespace
{
class RawRead : public testing::Test
{
protected:
    RawRead()
    {
        m_built = BuildSimpleAvi({});
        m_bytes = m_built.Bytes();
        m_path = m_folder.Write(L"a.avi", m_built.content);
        EXPECT_EQ(m_reader->Open(m_path.c_str()), 1);
    }

    // The content of a buffer of 0xCC bytes after a read.
    struct SRead
    {
        uint32_t count = 0;
        KrBytes buffer;
    };

    SRead ReadAt(uint64_t position, uint32_t count)
    {
        SRead read;
        read.buffer.assign(count + 16, 0xCC);
        read.count = m_reader->ReadAt(position, read.buffer.data(), count);
        return read;
    }

    SRead ReadChunk(const SKrRiffChunkInfo& chunk, uint32_t bufferSize)
    {
        SRead read;
        read.buffer.assign(bufferSize + 16, 0xCC);
        read.count = m_reader->ReadChunkData(&chunk, read.buffer.data(), bufferSize);
        return read;
    }

    // The bytes of the file, followed by the old content of the buffer.
    [[nodiscard]] KrBytes Expected(uint64_t position, size_t count, size_t bufferSize) const
    {
        KrBytes expected(bufferSize + 16, 0xCC);
        std::copy_n(m_bytes.begin() + static_cast<ptrdiff_t>(position), count, expected.begin());
        return expected;
    }

    [[nodiscard]] static SKrRiffChunkInfo Record(const SKrBuiltChunk& chunk)
    {
        return {FourCcValue(chunk.id), chunk.size, chunk.type.empty() ? 0 : FourCcValue(chunk.type),
                chunk.data};
    }

    const CKrTempFolder m_folder;
    const CKrRef<IKrRiffReader> m_reader = NewReader();
    SKrBuiltAvi m_built;
    KrBytes m_bytes;
    std::wstring m_path;
};
} // namespace

// At a position

TEST_F(RawRead, Position_BringsTheBytesThere)
{
    for (const uint64_t position : {uint64_t{0}, uint64_t{1}, uint64_t{777}, m_bytes.size() - 50})
    {
        const SRead read = ReadAt(position, 50);
        EXPECT_EQ(read.count, 50u);
        EXPECT_EQ(read.buffer, Expected(position, 50, 50)) << position;
    }
}

TEST_F(RawRead, WholeFile_IsReadAtOnce)
{
    const uint32_t size = static_cast<uint32_t>(m_bytes.size());
    EXPECT_EQ(ReadAt(0, size).buffer, Expected(0, size, size));
}

TEST_F(RawRead, EndOfTheFile_ReturnsTheRest)
{
    const uint64_t position = m_bytes.size() - 7;
    const SRead read = ReadAt(position, 50);
    EXPECT_EQ(read.count, 7u);
    EXPECT_EQ(read.buffer, Expected(position, 7, 50));
}

TEST_F(RawRead, PastTheEnd_ReturnsNothing)
{
    for (const uint64_t position : {uint64_t{m_bytes.size()}, uint64_t{m_bytes.size() + 1}, uint64_t{1} << 32,
                                    uint64_t{1} << 40, uint64_t{1} << 62, uint64_t{INT64_MAX} - 1})
    {
        const SRead read = ReadAt(position, 50);
        EXPECT_EQ(read.count, 0u) << position;
        EXPECT_EQ(read.buffer, KrBytes(66, 0xCC));
    }
}

TEST_F(RawRead, PositionWithTheHighestBit_ReturnsNothing)
{
    for (const uint64_t position :
         {uint64_t{1} << 63, (uint64_t{1} << 63) + 8, ~uint64_t{0} - 1, ~uint64_t{0}})
        EXPECT_EQ(ReadAt(position, 50).count, 0u) << position;
}

TEST_F(RawRead, NoBytes_AreNone)
{
    EXPECT_EQ(ReadAt(0, 0).count, 0u);
}

TEST_F(RawRead, NullBuffer_IsRefused)
{
    EXPECT_EQ(m_reader->ReadAt(0, nullptr, 10), 0u);
}

TEST_F(RawRead, NoFile_ReturnsNothing)
{
    m_reader->Close();
    EXPECT_EQ(ReadAt(0, 10).count, 0u);
    EXPECT_EQ(ReadChunk(Record(m_built.Find("avih")), 56).count, 0u);
    uint8_t byte = 0;
    EXPECT_EQ(NewReader()->ReadAt(0, &byte, 1), 0u) << "never opened";
}

TEST_F(RawRead, WalksAndSearches_AreNotDisturbed)
{
    ASSERT_EQ(StartSearch(*m_reader, {"00dc"}), 1);
    ASSERT_EQ(m_reader->FindFirstRiffSegment(), 1);
    ASSERT_EQ(m_reader->FindFirstSubChunk(NextSegment(*m_reader).node), 1);
    for (const size_t number : {0u, 1u, 2u})
    {
        EXPECT_EQ(ReadAt(number * 300, 100).count, 100u);
        EXPECT_EQ(Line(NextMatch(*m_reader)), Line(m_built.streamChunks[0][number]));
        EXPECT_EQ(ReadAt(m_bytes.size() - 1, 1).count, 1u);
        EXPECT_NE(NextSubChunk(*m_reader).id, kUntouched);
    }
}

// A chunk's payload

TEST_F(RawRead, PlainChunk_BringsItsPayload)
{
    const SKrBuiltChunk frame = m_built.streamChunks[0][1];
    const SRead read = ReadChunk(Record(frame), frame.size);
    EXPECT_EQ(read.count, frame.size);
    EXPECT_EQ(read.buffer, Expected(frame.data, frame.size, frame.size));
}

TEST_F(RawRead, LargerBuffer_KeepsTheBytesAfterThePayload)
{
    const SKrBuiltChunk frame = m_built.streamChunks[0][1];
    const SRead read = ReadChunk(Record(frame), frame.size + 500);
    EXPECT_EQ(read.count, frame.size);
    EXPECT_EQ(read.buffer, Expected(frame.data, frame.size, frame.size + 500));
}

TEST_F(RawRead, BufferOneByteTooShort_IsRefusedAndLeftAlone)
{
    const SKrBuiltChunk frame = m_built.streamChunks[0][1];
    const SRead read = ReadChunk(Record(frame), frame.size - 1);
    EXPECT_EQ(read.count, 0u);
    EXPECT_EQ(read.buffer, KrBytes(frame.size - 1 + 16, 0xCC));
}

TEST_F(RawRead, List_IsReadAfterItsTypeAndFourBytesPastItsEnd)
{
    const SKrBuiltChunk hdrl = m_built.Find("hdrl");
    const SRead read = ReadChunk(Record(hdrl), hdrl.size);
    EXPECT_EQ(read.count, hdrl.size);
    EXPECT_EQ(read.buffer, Expected(hdrl.data + 4, hdrl.size, hdrl.size));
    EXPECT_EQ(KrBytes(read.buffer.begin(), read.buffer.begin() + 4), (KrBytes{'a', 'v', 'i', 'h'}));
    const uint8_t* const last = read.buffer.data() + hdrl.size - 4;
    EXPECT_EQ(KrBytes(last, last + 4), (KrBytes{'L', 'I', 'S', 'T'})) << "of 'movi' after it";
}

TEST_F(RawRead, Segment_IsReadAfterItsTypeAsFarAsTheFileGoes)
{
    const SKrBuiltChunk riff = m_built.segments[0];
    const SRead read = ReadChunk(Record(riff), riff.size);
    EXPECT_EQ(read.count, riff.size - 4) << "the last four bytes would lie past the end of the file";
    EXPECT_EQ(read.buffer, Expected(riff.data + 4, riff.size - 4, riff.size));
}

TEST_F(RawRead, ListWithABufferForItsContentsOnly_IsRefused)
{
    const SKrBuiltChunk hdrl = m_built.Find("hdrl");
    EXPECT_EQ(ReadChunk(Record(hdrl), hdrl.size - 4).count, 0u) << "buffers are sized by the chunk alone";
}

TEST_F(RawRead, TypeOfAPlainChunk_DoesNotMatter)
{
    SKrRiffChunkInfo record = Record(m_built.streamChunks[0][0]);
    record.fccType = FourCcValue("movi");
    EXPECT_EQ(ReadChunk(record, record.cksize).buffer, Expected(record.offset, record.cksize, record.cksize));
}

TEST_F(RawRead, ChunkPastTheEndOfTheFile_ReturnsTheRest)
{
    const SKrRiffChunkInfo record = {FourCcValue("00dc"), 100, 0, m_bytes.size() - 30};
    const SRead read = ReadChunk(record, 100);
    EXPECT_EQ(read.count, 30u);
    EXPECT_EQ(read.buffer, Expected(record.offset, 30, 100));
}

TEST_F(RawRead, EmptyChunk_ReturnsNothing)
{
    EXPECT_EQ(ReadChunk({FourCcValue("JUNK"), 0, 0, 100}, 10).count, 0u);
}

TEST_F(RawRead, NullChunkOrBuffer_IsRefused)
{
    const SKrRiffChunkInfo record = Record(m_built.streamChunks[0][0]);
    uint8_t buffer[16];
    EXPECT_EQ(m_reader->ReadChunkData(nullptr, buffer, sizeof buffer), 0u);
    EXPECT_EQ(m_reader->ReadChunkData(&record, nullptr, record.cksize), 0u);
}

TEST_F(RawRead, RecordsOfWalksAndSearches_CanBeRead)
{
    ASSERT_EQ(StartSearch(*m_reader, {"00dc"}), 1);
    const SKrReported match = NextMatch(*m_reader);
    EXPECT_EQ(ReadChunk(*match.record, match.size).buffer,
              Expected(match.dataOffset, match.size, match.size));
    ASSERT_EQ(m_reader->FindFirstRiffSegment(), 1);
    ASSERT_EQ(m_reader->FindFirstSubChunk(NextSegment(*m_reader).node), 1);
    const SKrReported hdrl = NextSubChunk(*m_reader);
    EXPECT_EQ(ReadChunk(hdrl.node->chunk, hdrl.size).count, hdrl.size);
}

TEST_F(RawRead, ContainerAtTheLargestPosition_ReturnsNothing)
{
    EXPECT_EQ(ReadChunk({FourCcValue("LIST"), 10, 0, uint64_t{INT64_MAX} - 2}, 10).count, 0u);
}

// Positions beyond 4 GiB, in a sparse file

TEST_F(RawRead, PositionBeyondFourGigabytes_BringsTheBytesThere)
{
    const uint64_t high = uint64_t{1} << 32;
    CKrFileContent content = m_built.content;
    content.Put(high - 3, KrBytes{1, 2, 3, 4, 5, 6, 7, 8});
    const CKrRef<IKrRiffReader> reader = NewReader();
    ASSERT_EQ(reader->Open(m_folder.Write(L"large.avi", content).c_str()), 1);
    uint8_t bytes[4] = {};
    EXPECT_EQ(reader->ReadAt(high, bytes, 4), 4u);
    EXPECT_EQ(KrBytes(bytes, bytes + 4), (KrBytes{4, 5, 6, 7}));
    EXPECT_EQ(reader->ReadAt(high - 2, bytes, 4), 4u);
    EXPECT_EQ(KrBytes(bytes, bytes + 4), (KrBytes{2, 3, 4, 5}));
}

TEST_F(RawRead, PositionWithAllOnesInItsLowHalf_IsRefused)
{
    const uint64_t high = uint64_t{1} << 32;
    CKrFileContent content = m_built.content;
    content.Put(high - 3, KrBytes{1, 2, 3, 4, 5, 6, 7, 8});
    const CKrRef<IKrRiffReader> reader = NewReader();
    ASSERT_EQ(reader->Open(m_folder.Write(L"large.avi", content).c_str()), 1);
    uint8_t bytes[4] = {0xCC, 0xCC, 0xCC, 0xCC};
    EXPECT_EQ(reader->ReadAt(high - 1, bytes, 4), 0u) << "although there are bytes";
    EXPECT_EQ(KrBytes(bytes, bytes + 4), KrBytes(4, 0xCC));
    const SKrRiffChunkInfo record = {FourCcValue("00dc"), 4, 0, high - 1};
    EXPECT_EQ(reader->ReadChunkData(&record, bytes, 4), 0u);
    const SKrRiffChunkInfo list = {FourCcValue("LIST"), 4, 0, high - 5};
    EXPECT_EQ(reader->ReadChunkData(&list, bytes, 4), 0u) << "its first byte is four bytes later";
}
