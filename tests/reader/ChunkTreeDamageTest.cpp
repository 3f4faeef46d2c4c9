// Sub-chunk walks over wrong sizes, zeros between chunks, and truncated files.
#include "tests/reader/ReaderOpenSupport.h"

#include "tests/support/KrTempFolder.h"

#include <gtest/gtest.h>

#include <functional>

using namespace KrTest;

namespace
{
// A file with one list of interest, 'test', the second sub-chunk of its segment.
class ChunkTreeDamage : public testing::Test
{
protected:
    // Writes the file; `body` fills the list. Nothing follows the list when `isLast`.
    void Open(const std::function<void()>& body, SKrChunkOptions options = {}, bool isLast = false)
    {
        m_file = CKrAviBuilder();
        m_file.Riff("AVI ",
                    [&]
                    {
                        m_file.List("hdrl", [] {});
                        m_file.List("test", body, options);
                        if (!isLast)
                            m_file.Chunk("JUNK", KrBytes(300, 1));
                    });
        m_reader->Close();
        ASSERT_EQ(m_reader->Open(m_folder.Write(L"a.avi", m_file.Content()).c_str()), 1);
    }

    // A walk over the list's sub-chunks.
    KrLines Walk()
    {
        if (m_reader->FindFirstRiffSegment() != 1)
            throw std::runtime_error("no segment");
        if (m_reader->FindFirstSubChunk(NextSegment(*m_reader).node) != 1)
            throw std::runtime_error("no sub-chunks");
        static_cast<void>(NextSubChunk(*m_reader));
        const SKrReported list = NextSubChunk(*m_reader);
        EXPECT_EQ(list.type, FourCcValue("test"));
        return m_reader->FindFirstSubChunk(list.node) == 1 ? AllLines(*m_reader, NextSubChunk) : KrLines();
    }

    [[nodiscard]] std::string BuiltLine(std::string_view id, size_t number = 0) const
    {
        return Line(m_file.Find(id, number));
    }

    const CKrTempFolder m_folder;
    const CKrRef<IKrRiffReader> m_reader = NewReader();
    CKrAviBuilder m_file;
};
} // namespace

// Sizes

TEST_F(ChunkTreeDamage, ChunkBeyondItsParent_EndsTheWalkAfterIt)
{
    Open(
        [&]
        {
            m_file.Chunk("aaaa", KrBytes(4, 1));
            m_file.Chunk("bbbb", KrBytes(4, 1), {.size = 5000});
            m_file.Chunk("cccc", KrBytes(4, 1));
        });
    EXPECT_EQ(Walk(), (KrLines{BuiltLine("aaaa"), BuiltLine("bbbb")}));
}

TEST_F(ChunkTreeDamage, ChunkThatEndsInItsNeighbour_WalkContinuesFromThere)
{
    Open(
        [&]
        {
            m_file.Chunk("aaaa", KrBytes(4, 1), {.size = 12}); // the header of the next is treated as data
            m_file.Chunk("bbbb", CKrTestByteWriter().FourCc("cccc").U32(0).Bytes());
        });
    EXPECT_EQ(Walk(), (KrLines{BuiltLine("aaaa"),
                               ChunkLine(FourCcValue("cccc"), 0, 0, m_file.Find("bbbb").data + 8)}));
}

TEST_F(ChunkTreeDamage, OddSizedChunk_NextStartsEven)
{
    Open(
        [&]
        {
            m_file.Chunk("aaaa", KrBytes(3, 1));
            m_file.Chunk("bbbb", KrBytes(1, 1));
            m_file.Chunk("cccc", KrBytes(2, 1));
        });
    EXPECT_EQ(Walk(), (KrLines{BuiltLine("aaaa"), BuiltLine("bbbb"), BuiltLine("cccc")}));
}

TEST_F(ChunkTreeDamage, ParentBeyondItsOwnChunks_ContinuesIntoTheNext)
{
    Open([&] { m_file.Chunk("aaaa", KrBytes(4, 1)); }, {.size = 5000});
    EXPECT_EQ(Walk(), (KrLines{BuiltLine("aaaa"), BuiltLine("JUNK")}));
}

TEST_F(ChunkTreeDamage, ParentThatEndsBeforeAChunkHeader_DoesNotHaveIt)
{
    Open(
        [&]
        {
            m_file.Chunk("aaaa", KrBytes(4, 1));
            m_file.Chunk("bbbb", KrBytes(4, 1));
        },
        {.size = 4 + 12});
    EXPECT_EQ(Walk(), KrLines{BuiltLine("aaaa")});
}

TEST_F(ChunkTreeDamage, ParentThatEndsInAChunkHeader_HasItStill)
{
    Open(
        [&]
        {
            m_file.Chunk("aaaa", KrBytes(4, 1));
            m_file.Chunk("bbbb", KrBytes(4, 1));
        },
        {.size = 4 + 13});
    EXPECT_EQ(Walk(), (KrLines{BuiltLine("aaaa"), BuiltLine("bbbb")}));
}

TEST_F(ChunkTreeDamage, SizeBeyondTheFile_IsReportedAsStored)
{
    Open([&] { m_file.Chunk("aaaa", KrBytes(300, 1), {.size = 0xFFFFFFFF}); }, {}, true);
    EXPECT_EQ(Walk(), KrLines{ChunkLine(FourCcValue("aaaa"), 0, 0xFFFFFFFF, m_file.Find("aaaa").data)});
}

// Empty chunks

TEST_F(ChunkTreeDamage, ChunksOfSizeZero_AreReportedHoweverManyThereAre)
{
    Open(
        [&]
        {
            for (int count = 0; count < 12; ++count)
                m_file.Chunk("void", KrBytes());
        });
    const KrLines lines = Walk();
    ASSERT_EQ(lines.size(), 12u) << "each step counts empty headers from zero";
    EXPECT_EQ(lines.back(), BuiltLine("void", 11));
}

TEST_F(ChunkTreeDamage, ListOfSizeZero_IsReportedAndItsTypeReadAsTheNextId)
{
    Open(
        [&]
        {
            m_file.BeginList("aaaa", {.size = 0});
            m_file.Raw(CKrTestByteWriter().U32(2).Fill(2, 1).Bytes());
            m_file.End();
        });
    const uint64_t data = m_file.Find("aaaa").data;
    EXPECT_EQ(Walk(), (KrLines{ChunkLine(FourCcValue("LIST"), FourCcValue("aaaa"), 0, data),
                               ChunkLine(FourCcValue("aaaa"), 0, 2, data + 8)}));
}

// Zeros between chunks

TEST_F(ChunkTreeDamage, FourToSevenZeros_AreCrossed)
{
    for (uint32_t zeros = 4; zeros <= 7; ++zeros)
    {
        Open(
            [&]
            {
                m_file.Chunk("aaaa", KrBytes(4, 1));
                m_file.Zeros(zeros);
                m_file.Chunk("bbbb", KrBytes(4, 1));
            });
        EXPECT_EQ(Walk(), (KrLines{BuiltLine("aaaa"), BuiltLine("bbbb")})) << zeros << " zeros";
    }
}

TEST_F(ChunkTreeDamage, EightZeros_EndTheWalkAtTheFifthEmptyHeader)
{
    for (const uint32_t zeros : {8u, 9u, 12u, 100u})
    {
        Open(
            [&]
            {
                m_file.Chunk("aaaa", KrBytes(4, 1));
                m_file.Zeros(zeros);
                m_file.Chunk("bbbb", KrBytes(4, 1));
            });
        EXPECT_EQ(Walk(), KrLines{BuiltLine("aaaa")}) << zeros << " zeros";
    }
}

TEST_F(ChunkTreeDamage, OneToThreeZeros_GiveAChunkOfShiftedBytes)
{
    const uint32_t ids[] = {0, 0x62626200, 0x62620000, 0x62000000}; // 'bbbb' after the zeros
    const uint32_t sizes[] = {0, 0x00000462, 0x00046262, 0x04626262};
    for (uint32_t zeros = 1; zeros <= 3; ++zeros)
    {
        Open(
            [&]
            {
                m_file.Chunk("aaaa", KrBytes(4, 1));
                m_file.Zeros(zeros);
                m_file.Chunk("bbbb", KrBytes(4, 1));
            });
        const uint64_t end = m_file.Find("aaaa").end;
        EXPECT_EQ(Walk(), (KrLines{BuiltLine("aaaa"), ChunkLine(ids[zeros], 0, sizes[zeros], end + 8)}))
            << zeros << " zeros";
    }
}

TEST_F(ChunkTreeDamage, SevenZerosBeforeEachChunk_AreCrossedEachTime)
{
    Open(
        [&]
        {
            for (int count = 0; count < 5; ++count)
            {
                m_file.Zeros(7);
                m_file.Chunk("aaaa", KrBytes(4, 1));
            }
        });
    KrLines expected;
    for (size_t count = 0; count < 5; ++count)
        expected.push_back(BuiltLine("aaaa", count));
    EXPECT_EQ(Walk(), expected) << "starting odd, they end odd: the step to the next even place eats a zero";
}

TEST_F(ChunkTreeDamage, ZerosToTheEndOfTheParent_EndTheWalk)
{
    for (const uint32_t zeros : {1u, 4u, 7u})
    {
        Open(
            [&]
            {
                m_file.Chunk("aaaa", KrBytes(4, 1));
                m_file.Zeros(zeros);
            });
        const KrLines lines = Walk();
        ASSERT_GE(lines.size(), 1u);
        EXPECT_EQ(lines[0], BuiltLine("aaaa"));
        EXPECT_EQ(lines.size(), zeros == 1 ? 2u : 1u) << "a single zero shifts what follows the parent";
    }
}

// The end of the file

TEST_F(ChunkTreeDamage, ContainerAtTheEndOfTheFile_HasTypeZero)
{
    Open(
        [&]
        {
            m_file.Chunk("JUNK", KrBytes(300, 1));
            m_file.Raw(CKrTestByteWriter().FourCc("LIST").U32(100).Fill(2, 'x').Bytes());
        },
        {}, true);
    EXPECT_EQ(Walk(), (KrLines{BuiltLine("JUNK"),
                               ChunkLine(FourCcValue("LIST"), 0, 100, m_file.Find("JUNK").end + 8)}));
}

TEST_F(ChunkTreeDamage, FewerThanEightBytesAtTheEndOfTheFile_AreNoChunk)
{
    Open(
        [&]
        {
            m_file.Chunk("JUNK", KrBytes(300, 1));
            m_file.Raw(KrBytes(6, 'x'));
        },
        {}, true);
    EXPECT_EQ(Walk(), KrLines{BuiltLine("JUNK")});
}

TEST_F(ChunkTreeDamage, NothingAfterAnAviHeader_GivesNoSubChunks)
{
    CKrAviBuilder file; // opens as a sequence of chunks from 200 on
    file.Chunk("JUNK", KrBytes(192, 1));
    file.Chunk("00dc", KrBytes(10, 1));
    file.Riff("AVI ", [] {});
    m_file = file;
    ASSERT_EQ(m_reader->Open(m_folder.Write(L"a.avi", file.Content()).c_str()), 1);
    ASSERT_EQ(m_reader->FindFirstRiffSegment(), 1);
    const SKrReported segment = NextSegment(*m_reader);
    EXPECT_EQ(Line(segment), BuiltLine("AVI "));
    EXPECT_EQ(m_reader->FindFirstSubChunk(segment.node), 0);
}
