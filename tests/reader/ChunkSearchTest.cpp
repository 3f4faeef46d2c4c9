// The search for chunks by id through a whole file.
#include "tests/reader/ReaderOpenSupport.h"

#include "tests/support/KrSimpleAvi.h"
#include "tests/support/KrTempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace KrTest;

namespace
{
class ChunkSearch : public testing::Test
{
protected:
    void Open(const CKrFileContent& content)
    {
        ASSERT_EQ(m_reader->Open(m_folder.Write(L"a.avi", content).c_str()), 1);
    }

    // Two segments with video and audio, private chunks and fillers.
    void OpenRich()
    {
        SKrSimpleAvi avi;
        avi.streams.push_back(PcmStream());
        avi.roundsPerSegment = {2, 1};
        avi.krlA = SKrTestKrlA{};
        avi.junkBeforeMovi = 100;
        avi.recLists = true;
        m_built = BuildSimpleAvi(avi);
        Open(m_built.content);
    }

    // The built chunks with any of these ids, in file order.
    [[nodiscard]] KrLines Built(std::initializer_list<std::string_view> ids, uint64_t from = 0) const
    {
        KrLines lines;
        for (const SKrBuiltChunk& chunk : m_built.chunks)
        {
            if (chunk.header >= from && std::ranges::find(ids, chunk.id) != ids.end())
                lines.push_back(Line(chunk));
        }
        return lines;
    }

    KrLines Search(std::initializer_list<std::string_view> ids, uint64_t start = kDefaultStart)
    {
        return StartSearch(*m_reader, ids, start) == 1 ? AllLines(*m_reader, NextMatch) : KrLines();
    }

    const CKrTempFolder m_folder;
    const CKrRef<IKrRiffReader> m_reader = NewReader();
    SKrBuiltAvi m_built;
};

// A file that opens as a sequence of chunks, without header list, from 200 on.
CKrAviBuilder RowOfChunks()
{
    CKrAviBuilder file;
    file.Chunk("skip", KrBytes(192, 1));
    return file;
}
} // namespace

// What is found

TEST_F(ChunkSearch, Lists_AreReportedOuterBeforeInnerThroughAllSegments)
{
    OpenRich();
    const KrLines expected = Built({"LIST"});
    ASSERT_EQ(expected.size(), 8u); // hdrl, strl, strl, movi, rec, rec; movi, rec
    EXPECT_EQ(Search({"LIST"}, 0), expected);
}

TEST_F(ChunkSearch, Segments_AreReportedBeforeTheirContent)
{
    OpenRich();
    const KrLines expected = Built({"RIFF", "LIST", "00dc"});
    EXPECT_EQ(expected[0].substr(0, 9), "RIFF AVI ");
    EXPECT_EQ(Search({"RIFF", "LIST", "00dc"}, 0), expected);
}

TEST_F(ChunkSearch, OtherContainers_AreEntered)
{
    OpenRich();
    EXPECT_EQ(Search({"strh"}, 0), Built({"strh"}));
    EXPECT_EQ(Search({"00dc"}, 0), Built({"00dc"}));
    EXPECT_EQ(Search({"00dc"}, 0).size(), 3u) << "in 'rec ' lists of both segments";
}

TEST_F(ChunkSearch, SeveralIds_AreFoundInFileOrder)
{
    OpenRich();
    EXPECT_EQ(Search({"idx1", "JUNK", "01wb", "avih"}, 0), Built({"avih", "JUNK", "01wb", "idx1"}));
    EXPECT_EQ(Search({"01wb", "01wb", "01wb"}, 0), Built({"01wb"})) << "an id given twice";
}

TEST_F(ChunkSearch, Containers_AreMatchedByIdNeverByType)
{
    OpenRich();
    EXPECT_EQ(StartSearch(*m_reader, {"movi"}, 0), 0);
    EXPECT_EQ(StartSearch(*m_reader, {"hdrl", "AVI ", "AVIX"}, 0), 0);
}

TEST_F(ChunkSearch, OneMatch_ComesWithZeroAtOnce)
{
    OpenRich();
    ASSERT_EQ(StartSearch(*m_reader, {"KrlA"}, 0), 1);
    const SKrReported only = NextMatch(*m_reader);
    EXPECT_EQ(only.status, 0);
    EXPECT_EQ(Line(only), Line(m_built.Find("KrlA")));
}

TEST_F(ChunkSearch, EachMatch_ComesWithOneAndTheLastWithZero)
{
    OpenRich();
    ASSERT_EQ(StartSearch(*m_reader, {"00dc"}, 0), 1);
    for (size_t number = 0; number < 3; ++number)
    {
        const SKrReported match = NextMatch(*m_reader);
        EXPECT_EQ(match.status, number < 2 ? 1 : 0);
        EXPECT_EQ(Line(match), Line(m_built.streamChunks[0][number]));
        ASSERT_NE(match.record, nullptr);
        EXPECT_EQ(Line(*match.record), Line(match));
    }
}

TEST_F(ChunkSearch, NextAfterTheLast_ReportsItAgain)
{
    OpenRich();
    ASSERT_EQ(StartSearch(*m_reader, {"00dc"}, 0), 1);
    const KrLines lines = AllLines(*m_reader, NextMatch);
    for (int count = 0; count < 3; ++count)
    {
        const SKrReported again = NextMatch(*m_reader);
        EXPECT_EQ(again.status, 0);
        EXPECT_EQ(Line(again), lines.back());
    }
}

TEST_F(ChunkSearch, NoMatch_FindsNothing)
{
    OpenRich();
    EXPECT_EQ(StartSearch(*m_reader, {"none"}, 0), 0);
}

TEST_F(ChunkSearch, Id0_MatchesNoChunk)
{
    OpenRich();
    CDWordArray zero;
    zero.Add(0);
    EXPECT_EQ(m_reader->FindFirstChunk(&zero, 0), 0);
}

TEST_F(ChunkSearch, ZerosBetweenChunks_AreCrossedHoweverManyThereAre)
{
    SKrSimpleAvi avi;
    avi.beforeMovi = [](CKrAviBuilder& file)
    {
        file.Zeros(5000);
        file.Chunk("mark", KrBytes(2, 1));
        file.Zeros(9);
        file.Chunk("mark", KrBytes(2, 1));
    };
    m_built = BuildSimpleAvi(avi);
    Open(m_built.content);
    EXPECT_EQ(Search({"mark"}, 0), Built({"mark"}));
}

TEST_F(ChunkSearch, ListThatClaimsToEndEarlier_IsSearchedToTheEndOfTheFile)
{
    CKrAviBuilder file = RowOfChunks();
    file.List("aaaa", [&] { file.Chunk("mark", KrBytes(2, 1)); }, {.size = 5});
    file.Chunk("mark", KrBytes(2, 1));
    Open(file.Content());
    EXPECT_EQ(Search({"mark"}, 200), (KrLines{Line(file.Find("mark")), Line(file.Find("mark", 1))}))
        << "headers follow each other, whatever a list says of its end";
}

// Odd sizes and empty chunks

TEST_F(ChunkSearch, OddSizes_NextHeaderIsReadAtTheEvenPosition)
{
    CKrAviBuilder file = RowOfChunks();
    for (uint32_t size = 1; size <= 6; ++size)
        file.Chunk(size % 2 == 0 ? "mark" : "othr", KrBytes(size, 1));
    file.Chunk("mark", KrBytes(3, 1));
    file.Chunk("mark", KrBytes(2, 1));
    Open(file.Content());
    EXPECT_EQ(Search({"mark"}, 200),
              (KrLines{Line(file.Find("mark")), Line(file.Find("mark", 1)), Line(file.Find("mark", 2)),
                       Line(file.Find("mark", 3)), Line(file.Find("mark", 4))}));
}

TEST_F(ChunkSearch, EmptyChunks_AreSkippedUnlessTheyAreJunk)
{
    CKrAviBuilder file = RowOfChunks();
    file.Chunk("mark", KrBytes());
    file.Chunk("JUNK", KrBytes());
    file.Chunk("mark", KrBytes(2, 1));
    file.Chunk("mark", KrBytes());
    file.Chunk("JUNK", KrBytes());
    file.Chunk("JUNK", KrBytes(2, 1));
    Open(file.Content());
    EXPECT_EQ(Search({"mark", "JUNK"}, 200),
              (KrLines{Line(file.Find("JUNK")), Line(file.Find("mark", 1)), Line(file.Find("JUNK", 1)),
                       Line(file.Find("JUNK", 2))}));
    EXPECT_EQ(Search({"mark"}, 200), KrLines{Line(file.Find("mark", 1))});
}

TEST_F(ChunkSearch, ContainerOfSizeZero_IsSkippedButEntered)
{
    CKrAviBuilder file = RowOfChunks();
    file.List("aaaa", [&] { file.Chunk("mark", KrBytes(2, 1)); }, {.size = 0});
    Open(file.Content());
    EXPECT_EQ(Search({"LIST", "mark"}, 200), KrLines{Line(file.Find("mark"))});
}

TEST_F(ChunkSearch, EmptyListOfSizeFour_IsReportedAndLeftRightAway)
{
    CKrAviBuilder file = RowOfChunks();
    file.List("aaaa", [] {});
    file.List("bbbb", [&] { file.Chunk("mark", KrBytes(2, 1)); });
    Open(file.Content());
    EXPECT_EQ(Search({"LIST"}, 200), (KrLines{Line(file.Find("aaaa")), Line(file.Find("bbbb"))}));
}

TEST_F(ChunkSearch, ChunkOfSizeBeyondTheFile_IsReportedAndEndsTheSearch)
{
    CKrAviBuilder file = RowOfChunks();
    file.Chunk("mark", KrBytes(4, 1), {.size = 0xFFFFFFFF});
    file.Chunk("mark", KrBytes(4, 1));
    Open(file.Content());
    EXPECT_EQ(Search({"mark"}, 200), KrLines{Line(file.Find("mark"))});
}

// Where it starts

TEST_F(ChunkSearch, DefaultStart_IsAfterTheHeaderList)
{
    OpenRich();
    EXPECT_EQ(StartSearch(*m_reader, {"strh", "avih"}), 0);
    EXPECT_EQ(Search({"LIST", "KrlA"}), Built({"LIST", "KrlA"}, m_built.Find("hdrl").end));
}

TEST_F(ChunkSearch, DefaultStartInAFileWithoutHeaderList_Is200)
{
    CKrAviBuilder file = RowOfChunks();
    file.Chunk("mark", KrBytes(4, 1));
    Open(file.Content());
    EXPECT_EQ(Search({"skip", "mark"}), KrLines{Line(file.Find("mark"))}) << "not the chunk at 0";
    EXPECT_EQ(file.Find("mark").header, 200u);
}

TEST_F(ChunkSearch, GivenStart_IsTakenAsItIs)
{
    OpenRich();
    const SKrBuiltChunk second = m_built.streamChunks[0][1];
    EXPECT_EQ(Search({"00dc"}, second.header), Built({"00dc"}, second.header));
    EXPECT_EQ(Search({"00dc"}, second.header).size(), 2u);
}

TEST_F(ChunkSearch, StartInTheLastEightBytes_IsTheLastThatCanBe)
{
    CKrAviBuilder file = RowOfChunks();
    file.Chunk("JUNK", KrBytes());
    Open(file.Content());
    const uint64_t size = file.Content().Size();
    EXPECT_EQ(Search({"JUNK"}, size - 8), KrLines{Line(file.Find("JUNK"))});
    EXPECT_EQ(StartSearch(*m_reader, {"JUNK"}, size - 7), 0);
    EXPECT_EQ(StartSearch(*m_reader, {"JUNK"}, size), 0);
}

TEST_F(ChunkSearch, StartFarPastTheEnd_FindsNothing)
{
    OpenRich();
    for (const uint64_t start : {uint64_t{1} << 32, uint64_t{1} << 62, uint64_t{1} << 63, ~uint64_t{0} - 1,
                                 ~uint64_t{0} - 7, ~uint64_t{0} - 8})
        EXPECT_EQ(StartSearch(*m_reader, {"LIST"}, start), 0) << start;
}

TEST_F(ChunkSearch, NoFile_FindsNothing)
{
    EXPECT_EQ(StartSearch(*m_reader, {"LIST"}, 0), 0);
    EXPECT_EQ(StartSearch(*m_reader, {"LIST"}), 0);
}

// What ends it

TEST_F(ChunkSearch, EmptySet_FindsNothingAndLeavesTheSearchBefore)
{
    OpenRich();
    ASSERT_EQ(StartSearch(*m_reader, {"00dc"}, 0), 1);
    const SKrReported first = NextMatch(*m_reader);
    EXPECT_EQ(StartSearch(*m_reader, {}, 0), 0);
    EXPECT_EQ(m_reader->FindFirstChunk(nullptr, 0), 0);
    EXPECT_EQ(Line(NextMatch(*m_reader)), Line(m_built.streamChunks[0][1]));
    EXPECT_EQ(Line(*first.record), Line(m_built.streamChunks[0][0])) << "its records are still there";
}

TEST_F(ChunkSearch, AnotherSearch_EndsTheOneBefore)
{
    OpenRich();
    ASSERT_EQ(StartSearch(*m_reader, {"00dc"}, 0), 1);
    static_cast<void>(NextMatch(*m_reader));
    EXPECT_EQ(Search({"01wb"}, 0), Built({"01wb"}));
}

TEST_F(ChunkSearch, FailedSearch_EndsTheOneBeforeToo)
{
    OpenRich();
    ASSERT_EQ(StartSearch(*m_reader, {"00dc"}, 0), 1);
    EXPECT_EQ(StartSearch(*m_reader, {"none"}, 0), 0);
    EXPECT_THROW(static_cast<void>(NextMatch(*m_reader)), std::out_of_range);
    ASSERT_EQ(StartSearch(*m_reader, {"00dc"}, 0), 1);
    EXPECT_EQ(StartSearch(*m_reader, {"00dc"}, m_built.content.Size()), 0);
    EXPECT_THROW(static_cast<void>(NextMatch(*m_reader)), std::out_of_range);
}

TEST_F(ChunkSearch, NextWithoutASearch_ThrowsTheStandardError)
{
    OpenRich();
    SKrReported next;
    try
    {
        m_reader->FindNextChunk(&next.id, &next.type, &next.size, &next.dataOffset, &next.record);
        FAIL() << "no search is under way";
    }
    catch (const std::out_of_range& error)
    {
        EXPECT_STREQ(error.what(), "invalid vector<T> subscript");
    }
    EXPECT_TRUE(next.NothingWritten());
}

TEST_F(ChunkSearch, NextAfterTheEndOfTheSearch_Throws)
{
    OpenRich();
    ASSERT_EQ(StartSearch(*m_reader, {"00dc"}, 0), 1);
    m_reader->EndChunkSearch();
    EXPECT_THROW(static_cast<void>(NextMatch(*m_reader)), std::out_of_range);
    m_reader->EndChunkSearch();
    EXPECT_EQ(Search({"00dc"}, 0), Built({"00dc"}));
}

TEST_F(ChunkSearch, NextWithoutAFile_Throws)
{
    EXPECT_THROW(static_cast<void>(NextMatch(*m_reader)), std::out_of_range);
}

TEST_F(ChunkSearch, SetOfTheCaller_IsCopied)
{
    OpenRich();
    CDWordArray wanted;
    wanted.Add(FourCcValue("00dc"));
    ASSERT_EQ(m_reader->FindFirstChunk(&wanted, 0), 1);
    wanted.SetAt(0, FourCcValue("01wb"));
    wanted.RemoveAll();
    EXPECT_EQ(AllLines(*m_reader, NextMatch), Built({"00dc"}));
}

TEST_F(ChunkSearch, Record_IsOptionalAndTheRestIsNot)
{
    OpenRich();
    ASSERT_EQ(StartSearch(*m_reader, {"00dc"}, 0), 1);
    uint32_t id = 0;
    uint32_t type = 7;
    uint32_t size = 0;
    uint64_t dataOffset = 0;
    EXPECT_EQ(m_reader->FindNextChunk(nullptr, &type, &size, &dataOffset, nullptr), 0);
    EXPECT_EQ(m_reader->FindNextChunk(&id, nullptr, &size, &dataOffset, nullptr), 0);
    EXPECT_EQ(m_reader->FindNextChunk(&id, &type, nullptr, &dataOffset, nullptr), 0);
    EXPECT_EQ(m_reader->FindNextChunk(&id, &type, &size, nullptr, nullptr), 0);
    EXPECT_EQ(m_reader->FindNextChunk(&id, &type, &size, &dataOffset, nullptr), 1);
    EXPECT_EQ(ChunkLine(id, type, size, dataOffset), Line(m_built.streamChunks[0][0]))
        << "the refused calls did not move on";
}

TEST_F(ChunkSearch, Records_StayValidWhileTheSearchContinues)
{
    CKrAviBuilder file = RowOfChunks();
    for (uint32_t count = 0; count < 1000; ++count)
        file.Chunk("mark", KrBytes(1 + count % 3, 1));
    Open(file.Content());
    ASSERT_EQ(StartSearch(*m_reader, {"mark"}), 1);
    std::vector<SKrRiffChunkInfo*> records;
    for (int status = 1; status == 1;)
    {
        const SKrReported match = NextMatch(*m_reader);
        records.push_back(match.record);
        status = match.status;
    }
    ASSERT_EQ(records.size(), 1000u);
    const std::vector<SKrBuiltChunk> chunks = file.Chunks();
    for (size_t index = 0; index < records.size(); ++index)
        ASSERT_EQ(Line(*records[index]), Line(chunks[index + 1]));
}
