// The walks over the sub-chunks of nodes, on files on disk.
#include "tests/reader/ChunkTreeSupport.h"

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

class ChunkTree : public ChunkTreeTest
{
};
} // namespace

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
