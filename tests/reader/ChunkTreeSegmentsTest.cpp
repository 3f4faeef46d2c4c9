// The walk over the RIFF segments of files on disk.
#include "tests/reader/ChunkTreeSupport.h"

using namespace KrTest;

namespace
{
class ChunkTreeSegments : public ChunkTreeTest
{
};
} // namespace

TEST_F(ChunkTreeSegments, OneSegment_IsReportedWithZero)
{
    OpenSimple({});
    EXPECT_EQ(m_reader->FindFirstRiffSegment(), 1);
    const SKrReported segment = NextSegment(*m_reader);
    EXPECT_EQ(segment.status, 0);
    EXPECT_EQ(Line(segment), Line(m_built.segments[0]));
    ASSERT_NE(segment.node, nullptr);
    EXPECT_EQ(Line(segment.node->chunk), Line(m_built.segments[0]));
}

TEST_F(ChunkTreeSegments, ThreeSegments_AreReportedInFileOrderWithOneOneZero)
{
    OpenSimple(Segments({1, 1, 1}));
    EXPECT_EQ(m_reader->FindFirstRiffSegment(), 1);
    for (size_t number = 0; number < 3; ++number)
    {
        const SKrReported segment = NextSegment(*m_reader);
        EXPECT_EQ(segment.status, number < 2 ? 1 : 0);
        EXPECT_EQ(Line(segment), Line(m_built.segments[number]));
    }
}

TEST_F(ChunkTreeSegments, NextSegmentAfterTheLast_ReportsItAgain)
{
    OpenSimple(Segments({1, 1}));
    ASSERT_EQ(SegmentLines().size(), 2u);
    for (int count = 0; count < 3; ++count)
    {
        const SKrReported again = NextSegment(*m_reader);
        EXPECT_EQ(again.status, 0);
        EXPECT_EQ(Line(again), Line(m_built.segments[1]));
    }
}

TEST_F(ChunkTreeSegments, FirstSegmentAgain_StartsTheWalkOver)
{
    OpenSimple(Segments({1, 1}));
    const KrLines lines = SegmentLines();
    EXPECT_EQ(SegmentLines(), lines);
    EXPECT_EQ(m_reader->FindFirstRiffSegment(), 1);
    EXPECT_EQ(Line(NextSegment(*m_reader)), lines[0]);
    EXPECT_EQ(m_reader->FindFirstRiffSegment(), 1);
    EXPECT_EQ(Line(NextSegment(*m_reader)), lines[0]);
}

TEST_F(ChunkTreeSegments, NextSegmentWithoutAWalk_WritesNothing)
{
    OpenSimple({});
    const SKrReported segment = NextSegment(*m_reader);
    EXPECT_EQ(segment.status, 0);
    EXPECT_TRUE(segment.NothingWritten());
}

TEST_F(ChunkTreeSegments, NodeOfASegment_IsOptional)
{
    OpenSimple({});
    ASSERT_EQ(m_reader->FindFirstRiffSegment(), 1);
    uint32_t type = 0;
    uint32_t size = 0;
    uint64_t dataOffset = 0;
    EXPECT_EQ(m_reader->FindNextRiffSegment(&type, &size, &dataOffset, nullptr), 0);
    EXPECT_EQ(type, FourCcValue("AVI "));
    EXPECT_EQ(m_reader->FindNextRiffSegment(nullptr, &size, &dataOffset, nullptr), 0);
    EXPECT_EQ(m_reader->FindNextRiffSegment(&type, nullptr, &dataOffset, nullptr), 0);
    EXPECT_EQ(m_reader->FindNextRiffSegment(&type, &size, nullptr, nullptr), 0);
}

TEST_F(ChunkTreeSegments, OtherChunksAndFormsBetweenSegments_AreSkipped)
{
    SKrSimpleAvi avi = Segments({1, 1});
    avi.endOfRiff = [](CKrAviBuilder& file)
    {
        file.Chunk("JUNK", KrBytes(3));
    };
    avi.endOfFile = [](CKrAviBuilder& file)
    {
        file.Chunk("JUNK", KrBytes(5, 1));
        file.Riff("AVI ", [] {});
        file.Riff("WAVE", [&] { file.Chunk("data", KrBytes(7, 1)); });
        file.List("AVIX", [] {});
        file.Riff("AVIX", [&] { file.Chunk("JUNK", KrBytes(9, 1)); });
    };
    OpenSimple(avi);
    EXPECT_EQ(SegmentLines(), (KrLines{Line(m_built.segments[0]), Line(m_built.segments[1]),
                                       Line(m_built.Find("AVIX", 2))})) // the list is number 1
        << "by form, and 'RIFF' only";
}

TEST_F(ChunkTreeSegments, ChunksBeforeTheFirstSegment_AreSkipped)
{
    CKrAviBuilder file;
    file.Riff("WAVE", [&] { file.Chunk("data", KrBytes(191, 1)); });
    file.Riff("AVIX", [&] { file.Chunk("JUNK", KrBytes(3, 1)); });
    file.Riff("AVI ", [&] { file.Chunk("00dc", KrBytes(3, 1)); });
    Open(file.Content());
    EXPECT_EQ(SegmentLines(), KrLines{Line(file.Find("AVI "))});
}

TEST_F(ChunkTreeSegments, FileWithoutAviSegment_HasNone)
{
    CKrAviBuilder file;
    file.Riff("WAVE", [&] { file.Chunk("data", KrBytes(191, 1)); });
    file.Riff("AVIX", [&] { file.Chunk("00dc", KrBytes(3, 1)); });
    Open(file.Content());
    EXPECT_EQ(m_reader->FindFirstRiffSegment(), 0);
    EXPECT_TRUE(NextSegment(*m_reader).NothingWritten());
    EXPECT_EQ(m_reader->GetLastRiffSegment(), nullptr);
}

// Walks by form do not resynchronise after zeros: the segment is lost.
TEST_F(ChunkTreeSegments, ZerosBeforeASegment_LoseIt)
{
    for (const uint32_t zeros : {2u, 4u, 6u, 8u})
    {
        CKrAviBuilder file;
        file.Riff("AVI ", [&] { file.Chunk("JUNK", KrBytes(300, 1)); });
        file.Zeros(zeros);
        file.Riff("AVIX", [&] { file.Chunk("JUNK", KrBytes(4, 1)); });
        m_reader->Close();
        Open(file.Content());
        EXPECT_EQ(SegmentLines(), KrLines{Line(file.Find("AVI "))}) << zeros << " zeros";
    }
}

// Seven zeros are four empty headers, the fifth ends the walk. The last three zeros read as the start of a
// chunk of four bytes, so that the segment after it can be found at all.
TEST_F(ChunkTreeSegments, FifthEmptyHeaderBeforeASegment_EndsTheWalk)
{
    for (const uint32_t zeros : {7u, 9u})
    {
        CKrAviBuilder file;
        file.Riff("AVI ", [&] { file.Chunk("JUNK", KrBytes(300, 1)); });
        file.Zeros(zeros);
        file.Raw(KrBytes{1, 4, 0, 0, 0, 9, 9, 9, 9});
        file.Riff("AVIX", [&] { file.Chunk("JUNK", KrBytes(4, 1)); });
        m_reader->Close();
        Open(file.Content());
        EXPECT_EQ(SegmentLines().size(), zeros == 7 ? 2u : 1u) << zeros << " zeros";
    }
}

TEST_F(ChunkTreeSegments, SegmentOfOddSize_NextStartsEven)
{
    CKrAviBuilder file;
    file.Riff("AVI ",
              [&]
              {
                  file.Chunk("JUNK", KrBytes(300, 1));
                  file.Chunk("last", KrBytes(3, 1), {.pad = false});
              });
    file.Riff("AVIX", [&] { file.Chunk("JUNK", KrBytes(4, 1)); });
    Open(file.Content());
    ASSERT_EQ(file.Find("AVI ").size % 2, 1u);
    EXPECT_EQ(SegmentLines(), (KrLines{Line(file.Find("AVI ")), Line(file.Find("AVIX"))}));
}

TEST_F(ChunkTreeSegments, SegmentSizeBeyondTheFile_IsReportedAsStored)
{
    CKrAviBuilder file;
    file.Riff("AVI ",
              [&]
              {
                  file.List("hdrl", [] {});
                  file.Chunk("JUNK", KrBytes(300, 1));
              },
              {.size = 0xFFFFFFFE});
    Open(file.Content());
    EXPECT_EQ(SegmentLines(), KrLines{"RIFF AVI  4294967294 at 8"});
}
