// Which data chunk ids a reader reports, from the chunks in 'movi'.
#include "tests/reader/HeaderParseSupport.h"

#include <gtest/gtest.h>

#include <vector>

using namespace KrTest;

namespace
{
using KrIds = std::vector<std::string>;

// A file that declares this many streams and whose 'movi' holds small chunks with these ids.
SKrSimpleAvi FileWith(uint32_t declaredStreams, const KrIds& ids)
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream({}), PcmStream({})};
    avi.mainHeader.streams = declaredStreams;
    avi.index = EKrIndexKind::None;
    avi.startOfMovi = [ids](CKrAviBuilder& file)
    {
        for (const std::string& id : ids)
            file.Chunk(id, KrBytes(5, 0xAB));
    };
    return avi;
}

KrIds Repeated(size_t count, const std::string& id)
{
    return KrIds(count, id);
}

KrIds Joined(KrIds ids, const KrIds& more)
{
    ids.insert(ids.end(), more.begin(), more.end());
    return ids;
}

// Expects that the file opens and reports these ids.
void ExpectIds(const SKrSimpleAvi& avi, const std::string& video, const std::string& audio)
{
    const CKrParsedFile file(avi);
    ASSERT_EQ(file.Status(), 1);
    EXPECT_EQ(file.Video().Id(), video);
    EXPECT_EQ(file.Audio().Id(), audio);
}

void ExpectIds(uint32_t declaredStreams, const KrIds& ids, const std::string& video, const std::string& audio)
{
    ExpectIds(FileWith(declaredStreams, ids), video, audio);
}
} // namespace

TEST(StreamDetection, VideoAndAudioChunks_GiveBothIds)
{
    ExpectIds(2, {"00dc", "01wb"}, "00dc", "01wb");
    ExpectIds(2, {"00db", "01wb"}, "00db", "01wb");
}

TEST(StreamDetection, AudioBeforeVideo_GivesBothIds)
{
    ExpectIds(2, {"00wb", "01dc"}, "01dc", "00wb");
}

TEST(StreamDetection, OneKindOnly_LeavesTheOtherAtNone)
{
    ExpectIds(2, {"00dc", "00dc"}, "00dc", "none");
    ExpectIds(2, {"01wb", "01wb"}, "none", "01wb");
}

TEST(StreamDetection, SeveralIdsOfOneKind_TheFirstCounts)
{
    ExpectIds(4, {"03dc", "02wb", "00dc", "01wb"}, "03dc", "02wb");
}

TEST(StreamDetection, BothKindsOfVideoChunkInOneStream_AreTwoIds)
{
    ExpectIds(2, {"00db", "00dc", "01wb"}, "00db", "none");
    ExpectIds(3, {"00db", "00dc", "01wb"}, "00db", "01wb");
}

TEST(StreamDetection, IdsOfStreamsTenAndAbove_AreSkipped)
{
    ExpectIds(2, {"00dc", "0awb"}, "00dc", "none");
    ExpectIds(2, {"0adc", "0fdc", "10dc", "15wb", "16wb", "99wb", "09dc", "08wb"}, "09dc", "08wb");
}

TEST(StreamDetection, AsManyIdsAsStreams_EndTheSearch)
{
    ExpectIds(1, {"00dc", "01wb"}, "00dc", "none");
    ExpectIds(2, {"00dc", "01dc", "02wb"}, "00dc", "none");
    ExpectIds(3, {"00dc", "01dc", "02wb"}, "00dc", "02wb");
}

TEST(StreamDetection, RepeatedIds_CountOnce)
{
    ExpectIds(2, {"00dc", "00dc", "00dc", "01wb"}, "00dc", "01wb");
    ExpectIds(3, {"00dc", "01dc", "00dc", "01dc", "00dc", "02wb"}, "00dc", "02wb");
}

TEST(StreamDetection, IdsThatAreSkipped_DoNotCountAsStreams)
{
    ExpectIds(2, {"00dc", "0adc", "00pc", "JUNK", "ix00", "01wb"}, "00dc", "01wb");
}

TEST(StreamDetection, AudioLateInTheFile_IsStillFound)
{
    ExpectIds(2, Joined(Repeated(100, "00dc"), {"01wb"}), "00dc", "01wb");
}

TEST(StreamDetection, NoStreamCount_Checks15Chunks)
{
    ExpectIds(0, Joined(Repeated(14, "00dc"), {"01wb"}), "00dc", "01wb");
    ExpectIds(0, Joined(Repeated(15, "00dc"), {"01wb"}), "00dc", "none");
}

TEST(StreamDetection, NoStreamCountAndChunksOfNoStream_DoNotCountAmongThe15)
{
    const KrIds passedOver = {"JUNK", "ix00", "0awb", "00pc"};
    ExpectIds(0, Joined(passedOver, Joined(Repeated(14, "00dc"), Joined(passedOver, {"01wb"}))), "00dc",
              "01wb");
    ExpectIds(0, Joined(passedOver, Joined(Repeated(15, "00dc"), Joined(passedOver, {"01wb"}))), "00dc",
              "none");
}

TEST(StreamDetection, NoStreamCountAndManyIds_StillChecks15Chunks)
{
    KrIds ids;
    for (int round = 0; round < 7; ++round)
        ids = Joined(ids, {"00dc", "01dc"});
    ExpectIds(0, Joined(ids, {"02wb"}), "00dc", "02wb");
    ExpectIds(0, Joined(ids, {"03dc", "02wb"}), "00dc", "none");
}

TEST(StreamDetection, EmptyDataChunk_IsAChunkLikeAnyOther)
{
    SKrSimpleAvi avi = FileWith(2, {});
    avi.startOfMovi = [](CKrAviBuilder& file)
    {
        file.Chunk("00dc", KrBytes{});
        file.Chunk("01wb", KrBytes{});
        file.Chunk("JUNK", KrBytes(100, 0));
    };
    ExpectIds(avi, "00dc", "01wb");
}

TEST(StreamDetection, ZerosBetweenChunks_AreSteppedOver)
{
    SKrSimpleAvi avi = FileWith(2, {});
    avi.startOfMovi = [](CKrAviBuilder& file)
    {
        file.Zeros(13);
        file.Chunk("00dc", KrBytes(6, 1));
        file.Zeros(17);
        file.Chunk("01wb", KrBytes(6, 1));
    };
    ExpectIds(avi, "00dc", "01wb");
}

TEST(StreamDetection, RecLists_AreSkippedWhole)
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream({10, 10}), PcmStream({10, 10})};
    avi.recLists = true;
    avi.index = EKrIndexKind::None;
    ExpectIds(avi, "none", "none");
}

TEST(StreamDetection, StreamMissingInMovi_IsFoundAfterIt)
{
    SKrSimpleAvi avi = FileWith(2, {"00dc"});
    avi.afterMovi = [](CKrAviBuilder& file)
    {
        file.Chunk("01wb", KrBytes(4, 1));
    };
    ExpectIds(avi, "00dc", "01wb");
}

TEST(StreamDetection, FurtherSegments_AreSkippedWhole)
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream({10, 10})};
    avi.roundsPerSegment = {1, 1};
    avi.mainHeader.streams = 2;
    avi.endOfAvix = [](CKrAviBuilder& file)
    {
        file.Chunk("01wb", KrBytes(4, 1));
    };
    ExpectIds(avi, "00dc", "none");
}

TEST(StreamDetection, MoviWithJunkOnly_OpensWithoutIds)
{
    ExpectIds(2, {"JUNK"}, "none", "none");
}

TEST(StreamDetection, EmptyMovi_IsRefused)
{
    EXPECT_EQ(CKrParsedFile(FileWith(2, {})).Status(), 0);
}

// The first chunk must lie inside 'movi'; the later ones need not.
TEST(StreamDetection, EmptyMoviBeforeMoreChunks_IsRefused)
{
    SKrSimpleAvi avi = FileWith(2, {});
    avi.afterMovi = [](CKrAviBuilder& file)
    {
        file.Chunk("00dc", KrBytes(4, 1));
    };
    EXPECT_EQ(CKrParsedFile(avi).Status(), 0);
}

TEST(StreamDetection, MoviOfZerosOnly_IsRefused)
{
    SKrSimpleAvi avi = FileWith(2, {});
    avi.startOfMovi = [](CKrAviBuilder& file)
    {
        file.Zeros(1000);
    };
    EXPECT_EQ(CKrParsedFile(avi).Status(), 0);
}
