// Where the queries search for the private chunks, and where not.
#include "tests/riffutils/KrQueries.h"
#include "tests/support/KrTempFolder.h"

using namespace KrTest;

namespace
{
KrBuilderHook WriteKrlA(uint8_t scanMode)
{
    return [scanMode](CKrAviBuilder& file)
    {
        file.Chunk("KrlA", ToBytes(SKrTestKrlA{.scanMode = scanMode, .horizontal = scanMode + 10u}));
    };
}

KrBuilderHook WriteForeign(uint8_t scanMode)
{
    return [scanMode](CKrAviBuilder& file)
    {
        file.Chunk("PrmA", ToBytes(SKrTestPrmA{.horizontal = scanMode + 10u}));
        file.Chunk("CtsI", ToBytes(SKrTestCtsI{.scanMode = scanMode}));
    };
}

// Writes all three chunks into the 'AVIX' segment with the given number, from 1 for the first of them.
KrBuilderHook InAvix(size_t number, uint8_t scanMode)
{
    return [=, seen = size_t{0}](CKrAviBuilder& file) mutable
    {
        if (++seen != number)
            return;
        WriteKrlA(scanMode)(file);
        WriteForeign(scanMode)(file);
    };
}

SKrSimpleAvi AviOfSegments(size_t count)
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream(std::vector<uint32_t>(count, 100))};
    avi.roundsPerSegment.assign(count, 1);
    return avi;
}

class QueryLookup : public testing::Test
{
protected:
    IKrRiffReader* Open(const CKrFileContent& content)
    {
        m_reader.Reset(); // on Windows an open file cannot be replaced
        m_reader = OpenedReader(m_folder.Write(L"a.avi", content));
        return m_reader.Get();
    }

    IKrRiffReader* Open(const SKrSimpleAvi& avi) { return Open(BuildSimpleAvi(avi).content); }

    // All chunk kinds must be found, with this scan mode and its aspect.
    static void ExpectFound(IKrRiffReader* reader, int scanMode)
    {
        for (const int flavour : {1, 2})
        {
            EXPECT_EQ(AskMode(reader, flavour), Mode(scanMode)) << flavour;
            EXPECT_EQ(AskAspect(reader, flavour), Aspect(scanMode + 10, 1)) << flavour;
        }
    }

    SKrSimpleAvi m_avi = SmallAvi();

private:
    CKrTempFolder m_folder;
    CKrRef<IKrRiffReader> m_reader;
};
} // namespace

TEST_F(QueryLookup, ChunksBetweenHdrlAndMovi_AreFound)
{
    m_avi.beforeMovi = InAvix(1, 1); // called once
    ExpectFound(Open(m_avi), 1);
}

TEST_F(QueryLookup, ChunksBeforeHdrl_AreFound)
{
    m_avi.beforeHdrl = InAvix(1, 2);
    ExpectFound(Open(m_avi), 2);
}

TEST_F(QueryLookup, ChunksAfterMoviAndIdx1_AreFound)
{
    m_avi.endOfRiff = InAvix(1, 1);
    ExpectFound(Open(m_avi), 1);
}

TEST_F(QueryLookup, LastChildOfItsSegment_IsFoundWhicheverItIs)
{
    m_avi.endOfRiff = WriteKrlA(1);
    EXPECT_EQ(AskMode(Open(m_avi), 1), Mode(1));
    m_avi.endOfRiff = [](CKrAviBuilder& file)
    {
        file.Chunk("CtsI", ToBytes(SKrTestCtsI{.scanMode = 2}));
    };
    EXPECT_EQ(AskMode(Open(m_avi), 2), Mode(2));
    m_avi.endOfRiff = [](CKrAviBuilder& file)
    {
        file.Chunk("PrmA", ToBytes(SKrTestPrmA{.horizontal = 7}));
    };
    EXPECT_EQ(AskAspect(Open(m_avi), 2), Aspect(7, 1));
}

TEST_F(QueryLookup, ChunksInHdrl_AreNotFound)
{
    m_avi.endOfHdrl = InAvix(1, 1);
    ExpectNothing(Open(m_avi));
}

TEST_F(QueryLookup, ChunksInMovi_AreNotFound)
{
    m_avi.startOfMovi = InAvix(1, 1);
    ExpectNothing(Open(m_avi));
}

TEST_F(QueryLookup, ChunksInAList_AreNotFound)
{
    m_avi.beforeMovi = [](CKrAviBuilder& file)
    {
        file.List("INFO", [&] { InAvix(1, 1)(file); });
    };
    ExpectNothing(Open(m_avi));
}

TEST_F(QueryLookup, ChunksAfterTheLastSegment_AreNotFound)
{
    m_avi.endOfFile = InAvix(1, 1);
    ExpectNothing(Open(m_avi));
}

TEST_F(QueryLookup, ChunksInTheSecondOfTwoSegments_AreFound)
{
    m_avi = AviOfSegments(2);
    m_avi.endOfAvix = InAvix(1, 1);
    ExpectFound(Open(m_avi), 1);
}

TEST_F(QueryLookup, ChunksInTheLastOfFourSegments_AreFound)
{
    m_avi = AviOfSegments(4);
    m_avi.startOfAvix = InAvix(3, 2);
    ExpectFound(Open(m_avi), 2);
}

TEST_F(QueryLookup, ChunksInAMiddleSegment_AreNotFound)
{
    m_avi = AviOfSegments(3);
    m_avi.endOfAvix = InAvix(1, 1);
    ExpectNothing(Open(m_avi));
    m_avi = AviOfSegments(4);
    m_avi.endOfAvix = InAvix(2, 1);
    ExpectNothing(Open(m_avi));
}

TEST_F(QueryLookup, ChunksInMiddleAndLastSegment_AnswerTheLast)
{
    m_avi = AviOfSegments(3);
    m_avi.endOfAvix = [middle = InAvix(1, 1), last = InAvix(2, 2)](CKrAviBuilder& file)
    {
        middle(file);
        last(file);
    };
    ExpectFound(Open(m_avi), 2);
}

TEST_F(QueryLookup, ChunksInFirstAndLastSegment_AnswerTheFirst)
{
    m_avi = AviOfSegments(2);
    m_avi.beforeMovi = InAvix(1, 1);
    m_avi.endOfAvix = InAvix(1, 2);
    ExpectFound(Open(m_avi), 1);
}

TEST_F(QueryLookup, EachChunk_IsLookedForOnItsOwn)
{
    m_avi = AviOfSegments(2);
    m_avi.beforeMovi = WriteForeign(1);
    m_avi.endOfAvix = InAvix(1, 2);
    IKrRiffReader* const reader = Open(m_avi);
    EXPECT_EQ(AskMode(reader, 1), Mode(2));
    EXPECT_EQ(AskMode(reader, 2), Mode(1));
    EXPECT_EQ(AskMode(reader), Mode(2));
    EXPECT_EQ(AskAspect(reader), Aspect(12, 1));
}

TEST_F(QueryLookup, SecondChunkOfAKindInASegment_IsNotRead)
{
    m_avi.krlA = SKrTestKrlA{.scanMode = 0, .horizontal = 10};
    m_avi.ctsI = SKrTestCtsI{.scanMode = 0};
    m_avi.prmA = SKrTestPrmA{.horizontal = 10};
    m_avi.beforeMovi = InAvix(1, 1);
    ExpectFound(Open(m_avi), 0);
}

TEST_F(QueryLookup, SecondChunkAfterAWrongOne_IsNotRead)
{
    m_avi.krlA = SKrTestKrlA{.mark = {1, 2, 3, 4}, .scanMode = 0};
    m_avi.ctsI = SKrTestCtsI{.version = {9, 9, 9, 9}};
    m_avi.prmA = SKrTestPrmA{.atomLength = 1};
    m_avi.beforeMovi = InAvix(1, 1);
    ExpectNothing(Open(m_avi));
}

TEST_F(QueryLookup, LastSegmentAfterAWrongChunkInTheFirst_IsNotRead)
{
    m_avi = AviOfSegments(2);
    m_avi.krlA = SKrTestKrlA{.mark = {1, 2, 3, 4}, .scanMode = 0};
    m_avi.ctsI = SKrTestCtsI{.version = {9, 9, 9, 9}};
    m_avi.prmA = SKrTestPrmA{.atomLength = 1};
    m_avi.endOfAvix = InAvix(1, 1);
    ExpectNothing(Open(m_avi));
}

TEST_F(QueryLookup, IdsOfOtherLetterCase_AreNotFound)
{
    m_avi.beforeMovi = [](CKrAviBuilder& file)
    {
        file.Chunk("KRLA", ToBytes(SKrTestKrlA{.scanMode = 1}));
        file.Chunk("PRMA", ToBytes(SKrTestPrmA{}));
        file.Chunk("CTSI", ToBytes(SKrTestCtsI{.scanMode = 1}));
    };
    ExpectNothing(Open(m_avi));
}

// A list with the private chunk's id as its type is not that chunk.
TEST_F(QueryLookup, ListOfSuchAType_IsNotFound)
{
    m_avi.beforeMovi = [](CKrAviBuilder& file)
    {
        file.List("KrlA", [&] { file.Raw(ToBytes(SKrTestKrlA{.scanMode = 1})); });
    };
    EXPECT_EQ(AskMode(Open(m_avi), 1), kNoMode);
}

// The walk over the first segment's children ends at the fifth empty header; so does the header parse before
// it, and the file opens through its stream chunks after byte 200.
TEST_F(QueryLookup, FirstSegmentWhoseWalkFails_EndsTheSearchBeforeTheLastSegment)
{
    m_avi = AviOfSegments(2);
    m_avi.endOfAvix = InAvix(1, 1);
    m_avi.beforeHdrl = [](CKrAviBuilder& file)
    {
        file.Zeros(12);
    };
    IKrRiffReader* const reader = Open(m_avi);
    SKrRiffChunkInfo* const last = reader->GetLastRiffSegment();
    ASSERT_NE(last, nullptr);
    ASSERT_EQ(last->fccType, 0x58495641u) << "'AVIX' is there";
    ExpectNothing(reader);
}

TEST_F(QueryLookup, FileWithoutAnyAviSegment_HasNoAnswer)
{
    CKrAviBuilder file;
    file.Chunk("abcd", KrBytes(200, 1));
    file.Chunk("00dc", KrBytes(100, 1));
    InAvix(1, 1)(file);
    ExpectNothing(Open(file.Content()));
}

TEST_F(QueryLookup, ManyChunksBeforeTheRequestedOnes_DoNotHideThem)
{
    m_avi.beforeMovi = [](CKrAviBuilder& file)
    {
        for (uint32_t size = 1; size <= 200; ++size)
            file.Chunk("JUNK", KrBytes(size, 0x11));
        InAvix(1, 1)(file);
    };
    ExpectFound(Open(m_avi), 1);
}

TEST_F(QueryLookup, SizeBeyondTheSegmentButInsideTheFile_IsReadAllTheSame)
{
    m_avi.endOfRiff = [](CKrAviBuilder& file)
    {
        KrBytes begin = ToBytes(SKrTestKrlA{.scanMode = 1, .horizontal = 11, .size = 200});
        file.Chunk("KrlA", begin, {.size = 508});
    };
    m_avi.endOfFile = [](CKrAviBuilder& file)
    {
        file.Zeros(400);
    };
    EXPECT_EQ(AskMode(Open(m_avi), 1), Mode(1));
}
