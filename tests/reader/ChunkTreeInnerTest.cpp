// The reads of the walks, the lifetime of their nodes, and files too large for a test on disk.
#include "reader/KrChunkTree.h"

#include "reader/KrFileCursor.h"
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

// All nodes below a node, depth first, by their addresses.
void Collect(IKrRiffReader& reader, SKrRiffChunkNode* node, std::vector<SKrRiffChunkNode*>& nodes)
{
    std::vector<SKrRiffChunkNode*> children;
    for (int status = reader.FindFirstSubChunk(node); status == 1;)
    {
        const SKrReported child = NextSubChunk(reader);
        children.push_back(child.node);
        status = child.status;
    }
    for (SKrRiffChunkNode* const child : children)
    {
        nodes.push_back(child);
        Collect(reader, child, nodes);
    }
}

std::vector<SKrRiffChunkNode*> WholeForest(IKrRiffReader& reader)
{
    std::vector<SKrRiffChunkNode*> segments;
    for (int status = reader.FindFirstRiffSegment(); status == 1;)
    {
        const SKrReported segment = NextSegment(reader);
        segments.push_back(segment.node);
        status = segment.status;
    }
    std::vector<SKrRiffChunkNode*> nodes;
    for (SKrRiffChunkNode* const segment : segments)
    {
        nodes.push_back(segment);
        Collect(reader, segment, nodes);
    }
    return nodes;
}

class ChunkTreeCost : public testing::Test
{
protected:
    void Open(const CKrFileContent& content)
    {
        m_files.Set(L"a.avi", content);
        ASSERT_EQ(m_reader->Open(L"a.avi"), 1);
        m_counting.Reset();
        m_faulty.Reset();
    }

    // Three segments of chunks that lie far apart.
    void OpenFarApart()
    {
        SKrSimpleAvi avi;
        avi.streams = {VideoStream({kBeyondReadAhead, kBeyondReadAhead, kBeyondReadAhead, kBeyondReadAhead,
                                    kBeyondReadAhead, kBeyondReadAhead})};
        avi.roundsPerSegment = {2, 2, 2};
        m_built = BuildSimpleAvi(avi);
        Open(m_built.content);
    }

    CKrMemoryFileSystem m_files;
    CKrFaultyFileSystem m_faulty{m_files};
    CKrCountingFileSystem m_counting{m_faulty};
    SKrBuiltAvi m_built;
    const CKrRef<CKrRiffReader> m_reader = CKrRef<CKrRiffReader>::Adopt(new CKrRiffReader(m_counting));
};
} // namespace

TEST_F(ChunkTreeCost, SecondWalk_ReadsNothingAndReportsTheSameNodes)
{
    OpenFarApart();
    const std::vector<SKrRiffChunkNode*> first = WholeForest(*m_reader);
    EXPECT_GE(m_counting.Calls().reads, 6u) << "one for each frame at least";
    EXPECT_EQ(first.size(), m_built.chunks.size());
    m_counting.Reset();
    EXPECT_EQ(WholeForest(*m_reader), first);
    EXPECT_EQ(m_counting.Calls().reads, 0u);
    EXPECT_EQ(m_counting.Calls().seeks, 0u);
}

TEST_F(ChunkTreeCost, SecondSearchForTheLastSegment_ReadsNothing)
{
    OpenFarApart();
    const SKrRiffChunkInfo* const last = m_reader->GetLastRiffSegment();
    m_counting.Reset();
    EXPECT_EQ(m_reader->GetLastRiffSegment(), last);
    EXPECT_EQ(m_counting.Calls().reads, 0u);
}

TEST_F(ChunkTreeCost, Open_LeavesTheTreeUnread)
{
    OpenFarApart();
    EXPECT_EQ(m_reader->FindFirstRiffSegment(), 1);
    EXPECT_EQ(m_counting.Calls().seeks, 1u) << "the first segment is looked for, not remembered";
}

TEST_F(ChunkTreeCost, StepOfAWalk_ReadsNoMoreThanTheNextHeader)
{
    OpenFarApart();
    ASSERT_EQ(m_reader->FindFirstRiffSegment(), 1);
    static_cast<void>(NextSegment(*m_reader));
    EXPECT_EQ(m_counting.Calls().reads, 1u) << "the next segment";
    for (const SKrReadCall& read : m_counting.Reads())
        EXPECT_LE(read.bytes, 64u * 1024);
}

// Nodes

TEST_F(ChunkTreeCost, Nodes_StayValidThroughThousandsOfOthers)
{
    CKrAviBuilder file;
    file.Riff("AVI ",
              [&]
              {
                  file.List("hdrl", [] {});
                  file.List("movi",
                            [&]
                            {
                                for (uint32_t count = 0; count < 5000; ++count)
                                    file.Chunk("00dc", KrBytes(count % 7, 1));
                            });
              });
    Open(file.Content());
    const std::vector<SKrRiffChunkNode*> nodes = WholeForest(*m_reader);
    ASSERT_EQ(nodes.size(), 5003u);
    EXPECT_EQ(Line(nodes[0]->chunk), Line(file.Find("AVI ")));
    EXPECT_EQ(Line(nodes[1]->chunk), Line(file.Find("hdrl")));
    const std::vector<SKrBuiltChunk> chunks = file.Chunks();
    for (size_t index = 0; index < nodes.size(); ++index)
        ASSERT_EQ(Line(nodes[index]->chunk), Line(chunks[index]));
    ASSERT_EQ(StartSearch(*m_reader, {"00dc"}), 1);
    m_reader->EndChunkSearch();
    EXPECT_EQ(WholeForest(*m_reader), nodes);
}

TEST_F(ChunkTreeCost, SegmentsBeyondFourGigabytes_AreReportedWithTheirWholePosition)
{
    CKrAviBuilder file;
    file.Riff("AVI ",
              [&]
              {
                  file.List("hdrl", [] {});
                  file.List("movi", [&] { file.ZeroChunk("00dc", 0xFFFFFF00); });
              });
    file.Riff("AVIX", [&] { file.List("movi", [&] { file.ZeroChunk("00dc", 0xFFFFFF00); }); });
    file.Riff("AVIX", [&] { file.Chunk("JUNK", KrBytes(2)); });
    Open(file.Content());
    ASSERT_GT(file.Find("AVIX", 1).data, uint64_t{1} << 32);
    const SKrRiffChunkInfo* const last = m_reader->GetLastRiffSegment();
    ASSERT_NE(last, nullptr);
    EXPECT_EQ(Line(*last), Line(file.Find("AVIX", 1)));
    EXPECT_EQ(WholeForest(*m_reader).size(), file.Chunks().size());
}

// Faults

TEST_F(ChunkTreeCost, SegmentThatCannotBeRead_EndsTheWalkForNow)
{
    OpenFarApart();
    ASSERT_EQ(m_reader->FindFirstRiffSegment(), 1);
    m_faulty.FailCall(EKrFileCall::Read, 1, EKrFaultSpan::FromThenOn);
    const SKrReported first = NextSegment(*m_reader);
    EXPECT_TRUE(m_faulty.FaultStruck());
    EXPECT_EQ(first.status, 0);
    EXPECT_EQ(Line(first), Line(m_built.segments[0])) << "reported all the same";
    m_faulty.Reset();
    EXPECT_EQ(NextSegment(*m_reader).status, 1) << "looked for again, nothing was noted";
    EXPECT_EQ(Line(NextSegment(*m_reader)), Line(m_built.segments[1]));
}

TEST_F(ChunkTreeCost, SubChunkThatCannotBeRead_EndsTheWalkForNow)
{
    OpenFarApart();
    ASSERT_EQ(m_reader->FindFirstRiffSegment(), 1);
    SKrRiffChunkNode* const root = NextSegment(*m_reader).node;
    m_faulty.Reset();
    m_faulty.FailCall(EKrFileCall::Read, 1, EKrFaultSpan::FromThenOn);
    ASSERT_EQ(m_reader->FindFirstSubChunk(root), 1);
    EXPECT_EQ(AllLines(*m_reader, NextSubChunk).size(), 2u) << "hdrl and movi; idx1 lies far past them";
    EXPECT_TRUE(m_faulty.FaultStruck());
    m_faulty.Reset();
    EXPECT_EQ(NextSubChunk(*m_reader).status, 1);
    EXPECT_EQ(NextSubChunk(*m_reader).id, FourCcValue("idx1"));
}

// The walks' bound check, which no operation of the reader can reach.

TEST(ChunkTreeBounds, SegmentIndexBeyondTheList_ThrowsTheStandardError)
{
    CKrChunkTree tree;
    EXPECT_EQ(tree.CurrentSegment(), nullptr) << "no walk";
    tree.StartSegmentWalk();
    try
    {
        static_cast<void>(tree.CurrentSegment());
        FAIL() << "an index of 0 in an empty list";
    }
    catch (const std::out_of_range& error)
    {
        EXPECT_STREQ(error.what(), "invalid vector<T> subscript");
    }
    tree.Clear();
    EXPECT_EQ(tree.CurrentSegment(), nullptr);
}
