// The chunk search and the raw reads, used as in a host.
#include "tests/reader/StreamIndexSupport.h"

#include <stdexcept>
#include <string>

using namespace KrTest;

namespace
{
constexpr uint64_t kDefaultStart = ~uint64_t{0};

uint32_t FourCC(const char* text)
{
    return static_cast<uint32_t>(text[0]) | static_cast<uint32_t>(text[1]) << 8 |
           static_cast<uint32_t>(text[2]) << 16 | static_cast<uint32_t>(text[3]) << 24;
}

class SearchAndRead : public StreamIndexTest
{
protected:
    int Start(const char* id, uint64_t position = kDefaultStart)
    {
        CDWordArray ids;
        ids.Add(FourCC(id));
        return m_reader->FindFirstChunk(&ids, position);
    }

    int Next() { return m_reader->FindNextChunk(&m_id, &m_type, &m_chunkSize, &m_offset, &m_record); }

    std::vector<uint64_t> AllFrom(const char* id, uint64_t position)
    {
        std::vector<uint64_t> found;
        if (Start(id, position) == 0)
            return found;
        for (int more = 1; more != 0;)
        {
            more = Next();
            found.push_back(m_offset);
        }
        return found;
    }

    uint32_t m_id = 0, m_type = 0, m_chunkSize = 0;
    uint64_t m_offset = 0;
    SKrRiffChunkInfo* m_record = nullptr;
};
} // namespace

TEST_F(SearchAndRead, Lists_ComeInFileOrderOutersFirst)
{
    const SKrBuiltAvi built = BuildAndOpen({});
    std::vector<uint64_t> expected;
    for (const SKrBuiltChunk& chunk : built.chunks)
    {
        if (chunk.id == "LIST")
            expected.push_back(chunk.data);
    }
    ASSERT_GE(expected.size(), 3u); // 'hdrl', 'strl' inside it, 'movi'
    EXPECT_EQ(AllFrom("LIST", 0), expected);
}

TEST_F(SearchAndRead, ChunkInsideContainers_IsFoundThoughTheyDoNotMatch)
{
    const SKrBuiltAvi built = BuildAndOpen({});
    EXPECT_EQ(AllFrom("strh", 0), (std::vector<uint64_t>{built.Find("strh").data}));
}

TEST_F(SearchAndRead, DefaultStart_IsAfterTheHeaderList)
{
    const SKrBuiltAvi built = BuildAndOpen({});
    EXPECT_TRUE(AllFrom("strh", kDefaultStart).empty());
    EXPECT_EQ(AllFrom("00dc", kDefaultStart).size(), built.streamChunks[0].size());
}

TEST_F(SearchAndRead, DefaultStartWithoutAHeaderList_IsByte200)
{
    CKrAviBuilder file;
    file.Raw(KrBytes(184, 'x'));
    file.Chunk("00dc", KrBytes(4, 1)); // at 184
    file.Raw(KrBytes(4, 'x'));
    file.Chunk("00dc", KrBytes(20, 2)); // at 200
    OpenFile(file.Content());
    EXPECT_EQ(AllFrom("00dc", kDefaultStart), (std::vector<uint64_t>{208}));
}

TEST_F(SearchAndRead, OnlyMatch_ComesWithZeroAndIsReportedAgain)
{
    const SKrBuiltAvi built = BuildAndOpen({});
    ASSERT_EQ(Start("idx1"), 1);
    for (int call = 0; call < 3; ++call)
    {
        m_offset = 0;
        EXPECT_EQ(Next(), 0);
        EXPECT_EQ(m_offset, built.Find("idx1").data);
        EXPECT_EQ(m_id, FourCC("idx1"));
        EXPECT_EQ(m_type, 0u);
        EXPECT_EQ(m_chunkSize, built.Find("idx1").size);
        ASSERT_NE(m_record, nullptr);
        EXPECT_EQ(m_record->offset, m_offset);
    }
}

TEST_F(SearchAndRead, EmptyChunk_IsFoundOnlyWhenItIsJunk)
{
    SKrSimpleAvi avi;
    avi.endOfMovi = [](CKrAviBuilder& file)
    {
        file.Chunk("JUNK", KrBytes{});
        file.Chunk("none", KrBytes{});
        file.Chunk("none", KrBytes(2, 1));
    };
    const SKrBuiltAvi built = BuildAndOpen(avi);
    EXPECT_EQ(AllFrom("JUNK", kDefaultStart), (std::vector<uint64_t>{built.Find("JUNK").data}));
    EXPECT_EQ(AllFrom("none", kDefaultStart), (std::vector<uint64_t>{built.Find("none", 1).data}));
}

TEST_F(SearchAndRead, EmptySet_LeavesTheSearchBefore)
{
    BuildAndOpen({});
    ASSERT_EQ(Start("00dc"), 1);
    const CDWordArray none;
    EXPECT_EQ(m_reader->FindFirstChunk(&none, 0), 0);
    EXPECT_EQ(m_reader->FindFirstChunk(nullptr, 0), 0);
    EXPECT_EQ(Next(), 1);
    EXPECT_EQ(m_id, FourCC("00dc"));
}

TEST_F(SearchAndRead, StartTooCloseToTheEnd_FindsNothing)
{
    const SKrBuiltAvi built = BuildAndOpen({});
    EXPECT_EQ(Start("idx1", built.content.Size() - 7), 0);
    EXPECT_EQ(Start("idx1", built.content.Size()), 0);
    EXPECT_EQ(Start("idx1", ~uint64_t{0} - 1), 0);
}

TEST_F(SearchAndRead, NextWithoutASearch_ThrowsOutOfRange)
{
    BuildAndOpen({});
    try
    {
        Next();
        FAIL() << "nothing was thrown";
    }
    catch (const std::out_of_range& error)
    {
        EXPECT_STREQ(error.what(), "invalid vector<T> subscript");
    }
    ASSERT_EQ(Start("00dc"), 1);
    m_reader->EndChunkSearch();
    EXPECT_THROW(Next(), std::out_of_range);
    EXPECT_EQ(Start("nope"), 0);
    EXPECT_THROW(Next(), std::out_of_range);
}

TEST_F(SearchAndRead, RiffSegments_AreFoundBeforeTheirContent)
{
    SKrSimpleAvi avi;
    avi.index = EKrIndexKind::OpenDml;
    avi.roundsPerSegment = {1, 1, 1};
    const SKrBuiltAvi built = BuildAndOpen(avi);
    std::vector<uint64_t> expected;
    for (const SKrBuiltChunk& segment : built.segments)
        expected.push_back(segment.data);
    EXPECT_EQ(AllFrom("RIFF", 0), expected);
    ASSERT_NE(m_reader->GetLastRiffSegment(), nullptr);
    EXPECT_EQ(m_reader->GetLastRiffSegment()->offset, expected.back());
}

TEST_F(SearchAndRead, ChunkData_IsReadWholeOrNotAtAll)
{
    BuildAndOpen({});
    ASSERT_EQ(Start("00dc"), 1);
    Next();
    KrBytes bytes(m_chunkSize, 0xEE);
    EXPECT_EQ(m_reader->ReadChunkData(m_record, bytes.data(), m_chunkSize - 1), 0u);
    EXPECT_EQ(bytes, KrBytes(m_chunkSize, 0xEE));
    EXPECT_EQ(m_reader->ReadChunkData(m_record, bytes.data(), m_chunkSize), m_chunkSize);
    EXPECT_EQ(bytes, PatternBytes(0, 0, m_chunkSize));
    EXPECT_EQ(m_reader->ReadChunkData(nullptr, bytes.data(), m_chunkSize), 0u);
    EXPECT_EQ(m_reader->ReadChunkData(m_record, nullptr, m_chunkSize), 0u);
}

TEST_F(SearchAndRead, DataOfAList_StartsAfterItsTypeAndEndsFourBytesAfterIt)
{
    const SKrBuiltAvi built = BuildAndOpen({});
    ASSERT_EQ(Start("LIST", 0), 1);
    Next();
    KrBytes bytes(m_chunkSize);
    ASSERT_EQ(m_reader->ReadChunkData(m_record, bytes.data(), m_chunkSize), m_chunkSize);
    EXPECT_EQ(bytes, built.content.Range(m_offset + 4, m_chunkSize));
}

TEST_F(SearchAndRead, RawRead_GivesWhatTheFileHolds)
{
    const SKrBuiltAvi built = BuildAndOpen({});
    uint8_t bytes[16];
    const uint64_t size = built.content.Size();
    EXPECT_EQ(m_reader->ReadAt(size - 10, bytes, 16), 10u);
    EXPECT_EQ(KrBytes(bytes, bytes + 10), built.content.Range(size - 10, 10));
    EXPECT_EQ(m_reader->ReadAt(size, bytes, 16), 0u);
    EXPECT_EQ(m_reader->ReadAt(0xFFFFFFFF, bytes, 16), 0u);
    EXPECT_EQ(m_reader->ReadAt(uint64_t{1} << 63, bytes, 16), 0u);
    EXPECT_EQ(m_reader->ReadAt(0, nullptr, 16), 0u);
    m_reader->Close();
    EXPECT_EQ(m_reader->ReadAt(0, bytes, 16), 0u);
}

TEST_F(SearchAndRead, RawReadWhereTheLowHalfIsAllOnes_IsRefusedInsideTheFile)
{
    SKrBuiltAvi built = BuildSimpleAvi({});
    built.content.Resize(uint64_t{0x1'0000'0010});
    OpenFile(built.content);
    uint8_t bytes[4];
    EXPECT_EQ(m_reader->ReadAt(0xFFFFFFFE, bytes, 4), 4u);
    EXPECT_EQ(m_reader->ReadAt(0xFFFFFFFF, bytes, 4), 0u);
    EXPECT_EQ(m_reader->ReadAt(0x100000000, bytes, 4), 4u);
}
