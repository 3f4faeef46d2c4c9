// Loads of OpenDML 1.02 indexes: super index and standard indexes.
#include "tests/reader/StreamIndexSupport.h"

using namespace KrTest;

namespace KrTest
{
// One change of the super index's head that may or may not make it unusable.
struct SKrHeadChange
{
    const char* name;
    uint32_t offset; // from the chunk header
    KrBytes bytes;
    int status;
};

void PrintTo(const SKrHeadChange& change, std::ostream* out)
{
    *out << change.name;
}

class OpenDmlIndexHead : public StreamIndexTest, public testing::WithParamInterface<SKrHeadChange>
{
};
} // namespace KrTest

namespace
{
class OpenDmlIndexLoad : public StreamIndexTest
{
};

SKrSimpleAvi OpenDmlFile()
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream({1000, 1001, 1002, 1003, 1004}), PcmStream({7680, 7676, 7684, 7680, 7680})};
    avi.index = EKrIndexKind::OpenDml;
    avi.roundsPerSegment = {2, 2, 1};
    return avi;
}

void PutU64(CKrFileContent& content, uint64_t position, uint64_t value)
{
    content.PutU32(position, static_cast<uint32_t>(value));
    content.PutU32(position + 4, static_cast<uint32_t>(value >> 32));
}
} // namespace

TEST_F(OpenDmlIndexLoad, IndexesOfSeveralSegments_GiveAllChunks)
{
    const SKrBuiltAvi built = BuildAndOpen(OpenDmlFile());
    ASSERT_EQ(LoadVideo(), 1);
    EXPECT_EQ(ToList(m_entries), ChunksOf(built, 0));
    EXPECT_EQ(TotalFrames(), 5u);
    ASSERT_EQ(LoadAudio(), 1);
    EXPECT_EQ(ToList(m_entries), ChunksOf(built, 1));
}

TEST_P(OpenDmlIndexHead, Change_GivesTheStatus)
{
    SKrBuiltAvi built = BuildSimpleAvi(OpenDmlFile());
    built.content.Put(built.Find("indx").header + GetParam().offset, GetParam().bytes);
    OpenFile(built.content);
    EXPECT_EQ(LoadVideo(), GetParam().status);
}

INSTANTIATE_TEST_SUITE_P(
    All, OpenDmlIndexHead,
    testing::Values(SKrHeadChange{"Nothing", 8, {4, 0}, 1}, SKrHeadChange{"LongsPerEntry3", 8, {3, 0}, 0},
                    SKrHeadChange{"LongsPerEntry260", 8, {4, 1}, 0},
                    SKrHeadChange{"SubType0x10", 10, {0x10}, 1}, SKrHeadChange{"SubType1", 10, {1}, 0},
                    SKrHeadChange{"Type1", 11, {1}, 0}, SKrHeadChange{"NoEntries", 12, {0, 0, 0, 0}, 0},
                    SKrHeadChange{"OtherChunkId", 16, {'9', '9', 'x', 'x'}, 1},
                    SKrHeadChange{"FirstReserved", 20, {1}, 0}, SKrHeadChange{"SecondReserved", 24, {1}, 0},
                    SKrHeadChange{"ThirdReserved", 31, {1}, 0}),
    [](const auto& value) { return value.param.name; });

TEST_F(OpenDmlIndexLoad, StdIndexBeyondTheFile_EndsTheSuperIndexThere)
{
    SKrBuiltAvi built = BuildSimpleAvi(OpenDmlFile());
    const uint64_t secondEntry = built.Find("indx").data + 24 + 16;
    PutU64(built.content, secondEntry, built.content.Size());
    OpenFile(built.content);
    ASSERT_EQ(LoadVideo(), 1);
    EXPECT_EQ(ToList(m_entries), ChunksOf(built, 0, 0, 2)); // the third entry is valid but not reached
}

TEST_F(OpenDmlIndexLoad, FirstStdIndexBeyondTheFile_FailsTheLoad)
{
    SKrBuiltAvi built = BuildSimpleAvi(OpenDmlFile());
    PutU64(built.content, built.Find("indx").data + 24, built.content.Size());
    OpenFile(built.content);
    EXPECT_EQ(LoadVideo(), 0);
}

TEST_F(OpenDmlIndexLoad, IdsAndLengthsOfAStdIndex_AreNotChecked)
{
    SKrBuiltAvi built = BuildSimpleAvi(OpenDmlFile());
    const SKrBuiltChunk index = built.Find("ix00");
    built.content.Put(index.header,
                      KrBytes{'w', 'h', 'a', 't', 1, 0, 0, 0, 9, 9}); // id, size, longs per entry
    built.content.Put(index.data + 8, KrBytes{'a', 'n', 'y', '!'});
    OpenFile(built.content);
    ASSERT_EQ(LoadVideo(), 1);
    EXPECT_EQ(ToList(m_entries), ChunksOf(built, 0));
}

TEST_F(OpenDmlIndexLoad, StdIndexCutByTheEndOfTheFile_GivesItsWholeEntries)
{
    SKrSimpleAvi avi = OpenDmlFile();
    avi.roundsPerSegment = {};
    avi.streams.pop_back();
    avi.index = EKrIndexKind::OpenDml;
    SKrBuiltAvi built = BuildSimpleAvi(avi);
    const uint64_t entries = built.Find("ix00").data + 24;
    for (uint32_t bytes = 0; bytes <= 40; bytes += 3)
    {
        CKrFileContent cut = built.content;
        cut.Resize(entries + bytes);
        OpenFile(cut);
        ASSERT_EQ(LoadVideo(), 1) << bytes;
        EXPECT_EQ(ToList(m_entries), ChunksOf(built, 0, 0, bytes / 8)) << bytes;
    }
}

TEST_F(OpenDmlIndexLoad, IndexInVideoOnly_FailsTheAudioLoad)
{
    SKrSimpleAvi avi = OpenDmlFile();
    avi.roundsPerSegment = {};
    avi.index = EKrIndexKind::Both;
    avi.streams[1].hasSuperIndex = false;
    const SKrBuiltAvi built = BuildAndOpen(avi);
    EXPECT_EQ(LoadAudio(), 0);
    ASSERT_EQ(LoadVideo(), 1);
    EXPECT_EQ(ToList(m_entries), ChunksOf(built, 0));
}

TEST_F(OpenDmlIndexLoad, IndexInAudioOnly_VideoTakesTheOldIndexAndAudioFails)
{
    SKrSimpleAvi avi = OpenDmlFile();
    avi.roundsPerSegment = {};
    avi.index = EKrIndexKind::Both;
    avi.streams[0].hasSuperIndex = false;
    const SKrBuiltAvi built = BuildAndOpen(avi);
    EXPECT_EQ(LoadAudio(), 0);
    ASSERT_EQ(LoadVideo(), 1);
    EXPECT_EQ(ToList(m_entries), ChunksOf(built, 0));
}

TEST_F(OpenDmlIndexLoad, BothIndexes_OpenDmlIsTaken)
{
    SKrSimpleAvi avi = OpenDmlFile();
    avi.index = EKrIndexKind::Both; // 'idx1' covers the first segment alone
    const SKrBuiltAvi built = BuildAndOpen(avi);
    ASSERT_EQ(LoadVideo(), 1);
    EXPECT_EQ(ToList(m_entries), ChunksOf(built, 0));
}
