// The walks over segments and sub-chunks, on files on disk.
#include "tests/reader/ReaderOpenSupport.h"

#include "tests/support/KrSimpleAvi.h"
#include "tests/support/KrTempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace KrTest;

namespace
{
// The direct sub-chunks of a container, as they were built.
KrLines ChildrenOf(const SKrBuiltAvi& built, const SKrBuiltChunk& parent)
{
    KrLines lines;
    uint64_t position = parent.data + 4;
    while (position < parent.data + parent.size)
    {
        const auto child = std::ranges::find(built.chunks, position, &SKrBuiltChunk::header);
        if (child == built.chunks.end())
            throw std::logic_error("no chunk there");
        lines.push_back(Line(*child));
        position = child->end;
    }
    return lines;
}

// A walk over the sub-chunks of a node.
KrLines Children(IKrRiffReader& reader, SKrRiffChunkNode* node)
{
    return reader.FindFirstSubChunk(node) == 1 ? AllLines(reader, NextSubChunk) : KrLines();
}

// Walks to the first sub-chunk with this id or list type; null when there is none.
SKrRiffChunkNode* ChildNode(IKrRiffReader& reader, SKrRiffChunkNode* node, std::string_view idOrType)
{
    int status = reader.FindFirstSubChunk(node);
    while (status == 1)
    {
        const SKrReported child = NextSubChunk(reader);
        if (child.id == FourCcValue(idOrType) || child.type == FourCcValue(idOrType))
            return child.node;
        status = child.status;
    }
    return nullptr;
}

class ChunkTree : public testing::Test
{
protected:
    void Open(const CKrFileContent& content)
    {
        ASSERT_EQ(m_reader->Open(m_folder.Write(L"a.avi", content).c_str()), 1);
    }

    void OpenSimple(const SKrSimpleAvi& avi)
    {
        m_built = BuildSimpleAvi(avi);
        Open(m_built.content);
    }

    // The first segment's node.
    SKrRiffChunkNode* Root()
    {
        if (m_reader->FindFirstRiffSegment() != 1)
            throw std::runtime_error("no segment");
        return NextSegment(*m_reader).node;
    }

    KrLines SegmentLines()
    {
        return m_reader->FindFirstRiffSegment() == 1 ? AllLines(*m_reader, NextSegment) : KrLines();
    }

    const CKrTempFolder m_folder;
    const CKrRef<IKrRiffReader> m_reader = NewReader();
    SKrBuiltAvi m_built;
};

SKrSimpleAvi Segments(std::vector<size_t> rounds)
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream(std::vector<uint32_t>(rounds.size(), 101))};
    avi.roundsPerSegment = std::move(rounds);
    return avi;
}
} // namespace

// Segments

TEST_F(ChunkTree, OneSegment_IsReportedWithZero)
{
    OpenSimple({});
    EXPECT_EQ(m_reader->FindFirstRiffSegment(), 1);
    const SKrReported segment = NextSegment(*m_reader);
    EXPECT_EQ(segment.status, 0);
    EXPECT_EQ(Line(segment), Line(m_built.segments[0]));
    ASSERT_NE(segment.node, nullptr);
    EXPECT_EQ(Line(segment.node->chunk), Line(m_built.segments[0]));
}

TEST_F(ChunkTree, ThreeSegments_AreReportedInFileOrderWithOneOneZero)
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

TEST_F(ChunkTree, NextSegmentAfterTheLast_ReportsItAgain)
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

TEST_F(ChunkTree, FirstSegmentAgain_StartsTheWalkOver)
{
    OpenSimple(Segments({1, 1}));
    const KrLines lines = SegmentLines();
    EXPECT_EQ(SegmentLines(), lines);
    EXPECT_EQ(m_reader->FindFirstRiffSegment(), 1);
    EXPECT_EQ(Line(NextSegment(*m_reader)), lines[0]);
    EXPECT_EQ(m_reader->FindFirstRiffSegment(), 1);
    EXPECT_EQ(Line(NextSegment(*m_reader)), lines[0]);
}

TEST_F(ChunkTree, NextSegmentWithoutAWalk_WritesNothing)
{
    OpenSimple({});
    const SKrReported segment = NextSegment(*m_reader);
    EXPECT_EQ(segment.status, 0);
    EXPECT_TRUE(segment.NothingWritten());
}

TEST_F(ChunkTree, NodeOfASegment_IsOptional)
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

TEST_F(ChunkTree, OtherChunksAndFormsBetweenSegments_AreSkipped)
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

TEST_F(ChunkTree, ChunksBeforeTheFirstSegment_AreSkipped)
{
    CKrAviBuilder file;
    file.Riff("WAVE", [&] { file.Chunk("data", KrBytes(191, 1)); });
    file.Riff("AVIX", [&] { file.Chunk("JUNK", KrBytes(3, 1)); });
    file.Riff("AVI ", [&] { file.Chunk("00dc", KrBytes(3, 1)); });
    Open(file.Content());
    EXPECT_EQ(SegmentLines(), KrLines{Line(file.Find("AVI "))});
}

TEST_F(ChunkTree, FileWithoutAviSegment_HasNone)
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
TEST_F(ChunkTree, ZerosBeforeASegment_LoseIt)
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
TEST_F(ChunkTree, FifthEmptyHeaderBeforeASegment_EndsTheWalk)
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

TEST_F(ChunkTree, SegmentOfOddSize_NextStartsEven)
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

TEST_F(ChunkTree, SegmentSizeBeyondTheFile_IsReportedAsStored)
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

// Sub-chunks

TEST_F(ChunkTree, Segment_ReportsItsSubChunksInFileOrder)
{
    SKrSimpleAvi avi;
    avi.streams.push_back(PcmStream());
    avi.krlA = SKrTestKrlA{};
    avi.junkBeforeMovi = 777;
    OpenSimple(avi);
    const KrLines expected = ChildrenOf(m_built, m_built.segments[0]);
    ASSERT_EQ(expected.size(), 5u); // hdrl, KrlA, JUNK, movi, idx1
    EXPECT_EQ(Children(*m_reader, Root()), expected);
}

TEST_F(ChunkTree, SubChunks_ComeWithOneAndTheLastWithZero)
{
    OpenSimple({});
    SKrRiffChunkNode* const hdrl = ChildNode(*m_reader, Root(), "hdrl");
    ASSERT_EQ(m_reader->FindFirstSubChunk(hdrl), 1);
    const SKrReported first = NextSubChunk(*m_reader);
    EXPECT_EQ(first.status, 1);
    EXPECT_EQ(Line(first), Line(m_built.Find("avih")));
    const SKrReported last = NextSubChunk(*m_reader);
    EXPECT_EQ(last.status, 0);
    EXPECT_EQ(Line(last), Line(m_built.Find("strl")));
    ASSERT_NE(last.node, nullptr);
    EXPECT_EQ(Line(last.node->chunk), Line(m_built.Find("strl")));
}

TEST_F(ChunkTree, EveryLevel_CanBeWalked)
{
    SKrSimpleAvi avi = Segments({1, 1});
    avi.recLists = true;
    OpenSimple(avi);
    SKrRiffChunkNode* const hdrl = ChildNode(*m_reader, Root(), "hdrl");
    EXPECT_EQ(Children(*m_reader, hdrl), ChildrenOf(m_built, m_built.Find("hdrl")));
    SKrRiffChunkNode* const strl = ChildNode(*m_reader, hdrl, "strl");
    EXPECT_EQ(Children(*m_reader, strl), (KrLines{Line(m_built.Find("strh")), Line(m_built.Find("strf"))}));
    static_cast<void>(SegmentLines());
    SKrRiffChunkNode* const avix = NextSegment(*m_reader).node;
    SKrRiffChunkNode* const movi = ChildNode(*m_reader, avix, "movi");
    SKrRiffChunkNode* const rec = ChildNode(*m_reader, movi, "rec ");
    EXPECT_EQ(Children(*m_reader, rec), KrLines{Line(m_built.streamChunks[0][1])});
}

TEST_F(ChunkTree, NextSubChunkAfterTheLast_ReportsItAgain)
{
    OpenSimple({});
    SKrRiffChunkNode* const root = Root();
    const KrLines lines = Children(*m_reader, root);
    for (int count = 0; count < 3; ++count)
    {
        const SKrReported again = NextSubChunk(*m_reader);
        EXPECT_EQ(again.status, 0);
        EXPECT_EQ(Line(again), lines.back());
    }
}

TEST_F(ChunkTree, PlainChunk_HasNoSubChunks)
{
    OpenSimple({});
    SKrRiffChunkNode* const avih = ChildNode(*m_reader, ChildNode(*m_reader, Root(), "hdrl"), "avih");
    ASSERT_NE(avih, nullptr);
    EXPECT_EQ(m_reader->FindFirstSubChunk(avih), 0);
    EXPECT_EQ(m_reader->FindFirstSubChunk(nullptr), 0);
}

TEST_F(ChunkTree, EmptyList_HasNoSubChunks)
{
    SKrSimpleAvi avi;
    avi.beforeMovi = [](CKrAviBuilder& file)
    {
        file.List("none", [] {});
    };
    OpenSimple(avi);
    EXPECT_EQ(m_reader->FindFirstSubChunk(ChildNode(*m_reader, Root(), "none")), 0);
}

TEST_F(ChunkTree, ListOfSizeZero_HasNoSubChunks)
{
    SKrSimpleAvi avi;
    avi.beforeMovi = [](CKrAviBuilder& file)
    {
        // After the size the list has its type, which is also the id of the next sibling.
        file.BeginList("more", {.size = 0});
        file.Raw(KrBytes{2, 0, 0, 0, 1, 1});
        file.End();
    };
    OpenSimple(avi);
    SKrRiffChunkNode* const list = ChildNode(*m_reader, Root(), "more");
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->chunk.ckid, FourCcValue("LIST"));
    EXPECT_EQ(m_reader->FindFirstSubChunk(list), 0);
}

TEST_F(ChunkTree, NextSubChunkWithoutAWalk_WritesNothing)
{
    OpenSimple({});
    static_cast<void>(Root());
    const SKrReported child = NextSubChunk(*m_reader);
    EXPECT_EQ(child.status, 0);
    EXPECT_TRUE(child.NothingWritten());
    EXPECT_EQ(child.id, kUntouched);
}

TEST_F(ChunkTree, NodeOfASubChunk_IsOptionalAndTheRestIsNot)
{
    OpenSimple({});
    ASSERT_EQ(m_reader->FindFirstSubChunk(Root()), 1);
    uint32_t id = 0;
    uint32_t type = 0;
    uint32_t size = 0;
    uint64_t dataOffset = 0;
    EXPECT_EQ(m_reader->FindNextSubChunk(nullptr, &type, &size, &dataOffset, nullptr), 0);
    EXPECT_EQ(m_reader->FindNextSubChunk(&id, nullptr, &size, &dataOffset, nullptr), 0);
    EXPECT_EQ(m_reader->FindNextSubChunk(&id, &type, nullptr, &dataOffset, nullptr), 0);
    EXPECT_EQ(m_reader->FindNextSubChunk(&id, &type, &size, nullptr, nullptr), 0);
    EXPECT_EQ(m_reader->FindNextSubChunk(&id, &type, &size, &dataOffset, nullptr), 1);
    EXPECT_EQ(type, FourCcValue("hdrl")) << "the refused calls did not move on";
}

// Concurrent walks

TEST_F(ChunkTree, WalkOverAnotherNode_AbandonsTheOneBefore)
{
    OpenSimple({});
    SKrRiffChunkNode* const root = Root();
    SKrRiffChunkNode* const hdrl = ChildNode(*m_reader, root, "hdrl");
    ASSERT_EQ(m_reader->FindFirstSubChunk(root), 1);
    EXPECT_EQ(Line(NextSubChunk(*m_reader)), Line(m_built.Find("hdrl")));
    ASSERT_EQ(m_reader->FindFirstSubChunk(hdrl), 1);
    EXPECT_EQ(Line(NextSubChunk(*m_reader)), Line(m_built.Find("avih")));
    EXPECT_EQ(Line(NextSubChunk(*m_reader)), Line(m_built.Find("strl"))) << "not 'movi' of the first walk";
    EXPECT_EQ(Children(*m_reader, root).size(), 3u) << "which starts over";
}

TEST_F(ChunkTree, RefusedWalk_LeavesTheOneBeforeUnderWay)
{
    SKrSimpleAvi avi;
    avi.beforeMovi = [](CKrAviBuilder& file)
    {
        file.List("none", [] {});
    };
    OpenSimple(avi);
    SKrRiffChunkNode* const root = Root();
    SKrRiffChunkNode* const empty = ChildNode(*m_reader, root, "none");
    ASSERT_EQ(m_reader->FindFirstSubChunk(root), 1);
    EXPECT_EQ(Line(NextSubChunk(*m_reader)), Line(m_built.Find("hdrl")));
    EXPECT_EQ(m_reader->FindFirstSubChunk(empty), 0);
    EXPECT_EQ(m_reader->FindFirstSubChunk(nullptr), 0);
    EXPECT_EQ(Line(NextSubChunk(*m_reader)), Line(m_built.Find("none")));
}

TEST_F(ChunkTree, WalksOfTheTwoKinds_DoNotDisturbEachOther)
{
    OpenSimple(Segments({1, 1}));
    SKrRiffChunkNode* const root = Root();
    ASSERT_EQ(m_reader->FindFirstSubChunk(root), 1);
    EXPECT_EQ(Line(NextSubChunk(*m_reader)), Line(m_built.Find("hdrl")));
    ASSERT_EQ(m_reader->FindFirstRiffSegment(), 1);
    EXPECT_EQ(Line(NextSegment(*m_reader)), Line(m_built.segments[0]));
    EXPECT_EQ(Line(NextSubChunk(*m_reader)), Line(m_built.Find("movi")));
    EXPECT_EQ(Line(NextSegment(*m_reader)), Line(m_built.segments[1]));
    ASSERT_EQ(StartSearch(*m_reader, {"00dc"}), 1);
    EXPECT_EQ(Line(NextSubChunk(*m_reader)), Line(m_built.Find("idx1"))) << "nor does a search";
}
