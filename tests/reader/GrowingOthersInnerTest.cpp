// Slots 24 and 25: following what other programs write.
#include "tests/reader/GrowingSupport.h"
#include "tests/reader/KrHookedFiles.h"
#include "tests/support/KrByteWriter.h"

#include <cstddef>

using namespace KrTest;

namespace
{
constexpr wchar_t kOthersPath[] = L"others.avi";

class GrowingOthers : public GrowingTest
{
protected:
    void Start(const KrBytes& bytes)
    {
        m_file = m_recorder.files.CreateForWriting(kOthersPath);
        ASSERT_NE(m_file, nullptr);
        Put(0, bytes);
    }

    void Put(uint64_t position, KrByteSpan bytes)
    {
        ASSERT_FALSE(m_file->WriteAt(position, {&bytes, 1}).Failed());
    }

    void PutU32(uint64_t position, uint32_t value) { Put(position, CKrTestByteWriter().U32(value).Bytes()); }

    // Reads of one Refresh, which finds something new.
    uint64_t ReadsOfRefresh()
    {
        m_counts.Reset();
        EXPECT_EQ(m_reader.Refresh(), 1);
        return m_counts.Calls().reads;
    }

    std::unique_ptr<IKrWritableFile> m_file;
};
} // namespace

TEST_F(GrowingOthers, MainHeaderAfterZeros_IsFollowed)
{
    SKrBuiltAvi built = Unfinished(0);
    const SKrBuiltChunk hdrl = built.Find("hdrl");
    built.content.PutU32(hdrl.header + 4, hdrl.size + 4);
    KrBytes bytes = built.Bytes();
    const uint64_t avih = hdrl.data + 4;
    bytes.insert(bytes.begin() + static_cast<ptrdiff_t>(avih), 4, 0);
    Start(bytes);
    ASSERT_EQ(m_reader.OpenGrowing(kOthersPath), 1);
    EXPECT_EQ(m_reader.GetStreamCount(), 2u);
    PutU32(avih + 4 + 8 + 16, 77); // dwTotalFrames
    EXPECT_EQ(m_reader.Refresh(), 1);
    EXPECT_EQ(Frames(), 77u);
}

// Neither sound nor pictures: no id that the older operations know.
TEST_F(GrowingOthers, ChunksOfText_AreNoSound)
{
    SKrSimpleAvi avi;
    avi.index = EKrIndexKind::None;
    avi.streams = {VideoStream(), VideoStream({30, 31})};
    avi.streams[1].header.type = "txts";
    avi.streams[1].suffix = "tx";
    Start(BuildSimpleAvi(avi).Bytes());
    ASSERT_EQ(m_reader.OpenGrowing(kOthersPath), 1);
    EXPECT_EQ(PropertiesOf(m_reader, 1).chunkId, 0x78743130u); // 01tx
    SKrWaveFormatInfo format = {};
    int valid = 0;
    uint32_t id = 0;
    EXPECT_EQ(m_reader.GetAudioStreamInfo(&format, &valid, &id, nullptr), 0);
    EXPECT_EQ(id, 0u);
}

// Sound that does not come is not looked for in all of the file each time.
TEST_F(GrowingOthers, MissingChunkIds_AreLookedForAgain_WhenTheFileHasDoubled)
{
    SKrSimpleAvi avi;
    avi.index = EKrIndexKind::None;
    avi.streams = {VideoStream({100}), PcmStream({})};
    SKrBuiltAvi built = BuildSimpleAvi(avi);
    built.content.PutU32(4, 0);
    built.content.PutU32(built.Find("movi").header + 4, 0);
    Start(built.Bytes());
    ASSERT_EQ(m_reader.OpenGrowing(kOthersPath), 1);
    uint64_t size = built.content.Size();
    const auto append = [&](const char* id, size_t count)
    {
        const KrBytes chunk = CKrTestByteWriter().FourCc(id).U32(static_cast<uint32_t>(count)).Bytes();
        Put(size, chunk);
        Put(size + chunk.size(), KrBytes(count));
        size += chunk.size() + count;
    };
    append("00dc", 100);
    const uint64_t reads = ReadsOfRefresh();
    append("00dc", 100);
    EXPECT_EQ(ReadsOfRefresh(), reads);
    append("01wb", 2 * built.content.Size());
    EXPECT_GT(ReadsOfRefresh(), reads);
    SKrWaveFormatInfo format = {};
    int valid = 0;
    uint32_t id = 0;
    EXPECT_EQ(m_reader.GetAudioStreamInfo(&format, &valid, &id, nullptr), 1);
    EXPECT_EQ(id, 0x62773130u);
}

// A file that is being copied: its sizes are those of the whole from the start.
TEST_F(GrowingOthers, FileThatIsCompletedWhileItIsOpened_HasItsIndex)
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream({100, 101, 102}), PcmStream({64, 64, 64})};
    const SKrBuiltAvi built = BuildSimpleAvi(avi);
    const KrBytes whole = built.Bytes();
    const uint64_t there = built.streamChunks[1][0].end;
    Start(KrBytes(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(there)));
    CKrHookedFiles files(m_recorder.files);
    int sizes = 0;
    files.beforeSize = [&]
    {
        if (++sizes == 2)
            Put(there, KrByteSpan(whole).subspan(there));
    };
    CKrRiffReader reader(files);
    ASSERT_EQ(reader.OpenGrowing(kOthersPath), 1);
    EXPECT_EQ(reader.GetFileLength(), whole.size());
    CArray<SKrChunkIndexEntry> entries;
    EXPECT_EQ(reader.LoadVideoIndex(entries), 1);
    EXPECT_EQ(entries.GetSize(), 3);
}

// OpenDML lets a short file have its standard index in the header itself, which is read as a whole.
TEST_F(GrowingOthers, StandardIndexInTheHeader_GivesWhatItHasGivenOnce)
{
    SKrSimpleAvi avi;
    avi.index = EKrIndexKind::None;
    avi.streams = {VideoStream({100, 101, 102})};
    avi.streams[0].endOfStrl = [](CKrAviBuilder& file)
    {
        file.Chunk("indx",
                   ToBytes(SKrTestStdIndex{.entriesInUse = 1,
                                           .entries = {{0, 100, true}, {0, 101, true}, {0, 102, true}}}));
    };
    SKrBuiltAvi built = BuildSimpleAvi(avi);
    const uint64_t indx = built.Find("indx").data;
    for (size_t number = 0; number < 3; ++number)
        built.content.PutU32(indx + 24 + 8 * number,
                             static_cast<uint32_t>(built.streamChunks[0][number].data));
    Start(built.Bytes());
    ASSERT_EQ(m_reader.OpenGrowing(kOthersPath), 1);
    EXPECT_EQ(Given(0), 1u);
    PutU32(indx + 4, 2);
    EXPECT_EQ(m_reader.Refresh(), 1);
    EXPECT_EQ(Given(0), 2u);
    PutU32(indx + 4, 1);
    EXPECT_EQ(m_reader.Refresh(), 1) << "the header changed";
    EXPECT_EQ(Given(0), 2u);
    PutU32(indx, 0x01070002); // a sub-type that is not known
    EXPECT_EQ(m_reader.Refresh(), 1);
    EXPECT_EQ(Given(0), 2u);
    PutU32(indx, 0x01000002);
    PutU32(indx + 4, 3);
    EXPECT_EQ(m_reader.Refresh(), 1);
    EXPECT_EQ(LoadStreamOf(m_reader, 0).entries, PlacesOf(built, 0));
}

// Too few bytes for a chunk at the very end of the file.
TEST_F(GrowingOthers, MoviThatEndsInsideAChunkHeader_IsAbandoned)
{
    for (const size_t bytes : {0u, 2u, 4u, 6u, 7u})
    {
        SKrSimpleAvi avi;
        avi.index = EKrIndexKind::OpenDml;
        avi.streams = {VideoStream({100, 102})};
        avi.endOfMovi = [&](CKrAviBuilder& file)
        {
            file.Raw(KrBytes(bytes));
        };
        SKrBuiltAvi built = BuildSimpleAvi(avi);
        const SKrBuiltChunk movi = built.Find("movi");
        built.content.Resize(movi.data + movi.size); // no byte to make it even
        built.content.PutU32(4, static_cast<uint32_t>(built.content.Size() - 8));
        m_recorder.files.Set(kOthersPath, built.content);
        ASSERT_EQ(m_reader.OpenGrowing(kOthersPath), 1);
        EXPECT_EQ(m_reader.Refresh(), 0);
        EXPECT_EQ(m_reader.GetGrowingState(), bytes == 0 ? 2u : 3u) << bytes;
        m_reader.Close();
    }
}

// The end of the last segment may be odd, with or without the byte that makes it even. Indexes and fillers
// may lie anywhere.
TEST_F(GrowingOthers, EndOfAnyKind_IsComplete)
{
    for (const char* const last : {"JUNK", "00ix", "ix01", "idx1"})
    {
        for (const uint64_t padding : {0u, 1u})
        {
            SKrSimpleAvi avi;
            avi.index = EKrIndexKind::OpenDml;
            avi.streams = {VideoStream({100, 102})};
            avi.endOfMovi = [&](CKrAviBuilder& file)
            {
                file.Chunk(last, KrBytes(3));
            };
            SKrBuiltAvi built = BuildSimpleAvi(avi);
            const uint64_t end = built.Find(last).data + 3;
            built.content.PutU32(4, static_cast<uint32_t>(end - 8));
            const SKrBuiltChunk movi = built.Find("movi");
            built.content.PutU32(movi.header + 4, static_cast<uint32_t>(end - movi.data));
            built.content.Resize(end + padding);
            m_recorder.files.Set(kOthersPath, built.content);
            ASSERT_EQ(m_reader.OpenGrowing(kOthersPath), 1);
            EXPECT_EQ(m_reader.Refresh(), 0);
            EXPECT_EQ(m_reader.GetGrowingState(), 2u) << last << padding;
            m_reader.Close();
        }
    }
}

// An index chunk that is full cannot change any more.
TEST_F(GrowingOthers, HeadOfAFullIndex_IsNotReadAgain)
{
    SKrSimpleAvi avi;
    avi.index = EKrIndexKind::OpenDml;
    avi.streams = {VideoStream({100, 102})};
    const SKrBuiltAvi built = BuildSimpleAvi(avi);
    Start(built.Bytes());
    ASSERT_EQ(m_reader.OpenGrowing(kOthersPath), 1);
    EXPECT_EQ(Given(0), 2u);
    m_counts.Reset();
    EXPECT_EQ(m_reader.Refresh(), 0);
    EXPECT_EQ(m_counts.Calls().reads, 1u) << "the headers";
}

TEST_F(GrowingOthers, HeadersAreParsedAgainOnce_WhenTheIndexCame)
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream({100, 101}), PcmStream({64, 64})};
    const SKrBuiltAvi built = BuildSimpleAvi(avi);
    const KrBytes whole = built.Bytes();
    const uint64_t idx1 = built.Find("idx1").header;
    Start(KrBytes(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(idx1)));
    ASSERT_EQ(m_reader.OpenGrowing(kOthersPath), 1);
    const uint64_t totalFrames = built.Find("avih").data + 16;
    PutU32(totalFrames, 10);
    const uint64_t reads = ReadsOfRefresh();
    Put(idx1, KrByteSpan(whole).subspan(idx1));
    EXPECT_GT(ReadsOfRefresh(), reads);
    PutU32(totalFrames, 11);
    EXPECT_EQ(ReadsOfRefresh(), reads);
    CArray<SKrChunkIndexEntry> entries;
    EXPECT_EQ(m_reader.LoadVideoIndex(entries), 1);
    EXPECT_EQ(entries.GetSize(), 2);
}
