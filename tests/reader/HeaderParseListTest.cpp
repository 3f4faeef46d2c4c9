// The header list: 'avih', the stream lists and their 'strh'. A defect there never keeps a file from opening,
// it only ends the list: streams before it are kept, streams after it are not found.
#include "tests/reader/HeaderParseSupport.h"

#include <gtest/gtest.h>

#include <functional>
#include <utility>

using namespace KrTest;

namespace
{
SKrSimpleAvi VideoAndAudio()
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream({10, 10}), PcmStream({20, 20})};
    return avi;
}

// Whether the two streams were parsed. The data chunks are found in any case.
void ExpectStreams(const CKrParsedFile& file, bool video, bool audio)
{
    ASSERT_EQ(file.Status(), 1);
    EXPECT_EQ(file.Video().valid, video ? 1 : 0);
    EXPECT_EQ(file.Video().frames, video ? 2u : 0u);
    EXPECT_EQ(file.Video().Id(), "00dc");
    EXPECT_EQ(file.Audio().status, 1);
    EXPECT_EQ(file.Audio().valid, audio ? 1 : 0);
}

void ExpectStreams(const SKrSimpleAvi& avi, bool video, bool audio)
{
    ExpectStreams(CKrParsedFile(avi), video, audio);
}

// Fifteen video chunks before the first audio chunk: with no stream count the audio id stays unknown.
SKrSimpleAvi LateAudio()
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream({}), PcmStream({})};
    avi.index = EKrIndexKind::None;
    avi.startOfMovi = [](CKrAviBuilder& file)
    {
        for (int chunk = 0; chunk < 15; ++chunk)
            file.Chunk("00dc", KrBytes(4, 1));
        file.Chunk("01wb", KrBytes(4, 1));
    };
    return avi;
}

void PutStrhSize(SKrBuiltAvi& built, size_t stream, uint32_t size)
{
    built.content.PutU32(built.Find("strh", stream).header + 4, size);
}

// A file whose header list is written by hand, with two data chunks.
CKrFileContent WithHeaderList(const std::function<void(CKrAviBuilder&)>& body)
{
    CKrAviBuilder file;
    file.Riff("AVI ",
              [&]
              {
                  file.List("hdrl", [&] { body(file); });
                  file.List("movi",
                            [&]
                            {
                                file.Chunk("00dc", KrBytes(100, 1));
                                file.Chunk("01wb", KrBytes(100, 1));
                            });
              });
    return file.Content();
}

void WriteVideoStrl(CKrAviBuilder& file)
{
    file.List("strl",
              [&]
              {
                  file.Chunk("strh", ToBytes(SKrTestStreamHeader{}));
                  file.Chunk("strf", ToBytes(SKrTestBitmapInfo{}));
              });
}

// Two streams are declared, whatever the list holds, so that both data chunks are searched for.
KrBytes MainHeader()
{
    return ToBytes(SKrTestMainHeader{.totalFrames = 2, .streams = 2});
}
} // namespace

TEST(HeaderParseList, NoMainHeader_ParsesNoStream)
{
    const CKrParsedFile file(WithHeaderList(
        [](CKrAviBuilder& list)
        {
            WriteVideoStrl(list);
            list.Chunk("JUNK", KrBytes(100, 0));
        }));
    ExpectStreams(file, false, false);
}

TEST(HeaderParseList, MainHeaderAfterOtherChunks_IsFound)
{
    ExpectStreams(CKrParsedFile(WithHeaderList(
                      [](CKrAviBuilder& list)
                      {
                          list.Chunk("JUNK", KrBytes(3, 0));
                          list.List("INFO", [&] { list.Chunk("avih", KrBytes(56, 0)); });
                          list.Zeros(6);
                          list.Chunk("avih", MainHeader());
                          WriteVideoStrl(list);
                      })),
                  true, false);
}

TEST(HeaderParseList, MainHeaderAfterEightZeros_IsNotFound)
{
    ExpectStreams(CKrParsedFile(WithHeaderList(
                      [](CKrAviBuilder& list)
                      {
                          list.Zeros(8);
                          list.Chunk("avih", MainHeader());
                          WriteVideoStrl(list);
                      })),
                  false, false);
}

TEST(HeaderParseList, MainHeaderAfterTheHeaderList_IsNotFound)
{
    SKrSimpleAvi avi = VideoAndAudio();
    avi.beforeMovi = [](CKrAviBuilder& file)
    {
        file.Chunk("avih", MainHeader());
        WriteVideoStrl(file);
    };
    SKrBuiltAvi built = BuildSimpleAvi(avi);
    built.content.PutU32(built.Find("avih").header, FourCcValue("JUNK"));
    ExpectStreams(CKrParsedFile(built.content), false, false);
}

TEST(HeaderParseList, MainHeaderWithAShorterSize_IsStillReadWhole)
{
    // The list that follows starts within the 56 bytes.
    const CKrFileContent content = WithHeaderList(
        [](CKrAviBuilder& list)
        {
            KrBytes header = MainHeader();
            header.resize(40);
            list.Chunk("avih", header);
            WriteVideoStrl(list);
        });
    ExpectStreams(CKrParsedFile(content), true, false);
}

TEST(HeaderParseList, LongerMainHeader_IsSkippedToItsEnd)
{
    for (const size_t size : {57u, 58u, 64u, 1000u})
    {
        const CKrFileContent content = WithHeaderList(
            [size](CKrAviBuilder& list)
            {
                KrBytes header = MainHeader();
                header.resize(size, 0xFF);
                list.Chunk("avih", header);
                WriteVideoStrl(list);
            });
        ExpectStreams(CKrParsedFile(content), true, false);
    }
}

TEST(HeaderParseList, NoIndexFlag_ParsesNoStream)
{
    for (const uint32_t flags : {0u, 0x20u, 0x100u, 0xFFFFFFEFu})
    {
        SKrSimpleAvi avi = VideoAndAudio();
        avi.mainHeader.flags = flags;
        ExpectStreams(avi, false, false);
    }
}

TEST(HeaderParseList, IndexFlagAmongOthers_Counts)
{
    for (const uint32_t flags : {0x10u, 0x910u, 0xFFFFFFFFu})
    {
        SKrSimpleAvi avi = VideoAndAudio();
        avi.mainHeader.flags = flags;
        ExpectStreams(avi, true, true);
    }
}

TEST(HeaderParseList, NoIndexFlag_StillTakesTheStreamCount)
{
    SKrSimpleAvi avi = LateAudio();
    avi.mainHeader.flags = 0;
    avi.mainHeader.streams = 2;
    EXPECT_EQ(CKrParsedFile(avi).Audio().Id(), "01wb");
    avi.mainHeader.streams = 0;
    EXPECT_EQ(CKrParsedFile(avi).Audio().Id(), "none");
}

TEST(HeaderParseList, NoMainHeader_HasNoStreamCount)
{
    SKrBuiltAvi built = BuildSimpleAvi(LateAudio());
    EXPECT_EQ(CKrParsedFile(built.content).Audio().Id(), "01wb");
    built.content.PutU32(built.Find("avih").header, FourCcValue("JUNK"));
    EXPECT_EQ(CKrParsedFile(built.content).Audio().Id(), "none");
}

TEST(HeaderParseList, StreamCountOfZero_ParsesNoStream)
{
    SKrSimpleAvi avi = VideoAndAudio();
    avi.mainHeader.streams = 0;
    ExpectStreams(avi, false, false);
}

TEST(HeaderParseList, FewerStreamsDeclared_OnlyThoseAreParsed)
{
    SKrSimpleAvi avi = LateAudio();
    avi.mainHeader.streams = 1;
    avi.mainHeader.totalFrames = 2;
    const CKrParsedFile file(avi);
    EXPECT_EQ(file.Video().valid, 1);
    EXPECT_EQ(file.Audio().status, 0);
}

TEST(HeaderParseList, MoreStreamsDeclared_KeepsThoseThatAreThere)
{
    for (const uint32_t streams : {3u, 100u, 0xFFFFFFFFu})
    {
        SKrSimpleAvi avi = VideoAndAudio();
        avi.mainHeader.streams = streams;
        ExpectStreams(avi, true, true);
    }
}

TEST(HeaderParseList, MissingStreamList_EndsTheList)
{
    SKrBuiltAvi built = BuildSimpleAvi(VideoAndAudio());
    built.content.PutU32(built.Find("strl", 1).data, FourCcValue("strx"));
    ExpectStreams(CKrParsedFile(built.content), true, false);
    built.content.PutU32(built.Find("strl", 0).data, FourCcValue("strx"));
    ExpectStreams(CKrParsedFile(built.content), false, false);
}

TEST(HeaderParseList, OtherChunksAndListsBetweenStreamLists_AreSkipped)
{
    SKrSimpleAvi avi = VideoAndAudio();
    avi.afterAvih = [](CKrAviBuilder& file)
    {
        file.Chunk("JUNK", KrBytes(9, 0));
        file.List("odml", [&] { file.Chunk("dmlh", KrBytes(248, 0)); });
        file.Chunk("strl", KrBytes(6, 1));
    };
    avi.streams[0].endOfStrl = [](CKrAviBuilder& file)
    {
        file.Chunk("strn", KrBytes(5, 'n'));
    };
    ExpectStreams(avi, true, true);
}

TEST(HeaderParseList, ZerosBeforeAStreamList_LoseIt)
{
    for (const size_t zeros : {2u, 4u, 8u})
    {
        SKrSimpleAvi avi = VideoAndAudio();
        avi.afterAvih = [zeros](CKrAviBuilder& file)
        {
            file.Zeros(zeros);
        };
        ExpectStreams(avi, false, false);
    }
}

// Unlike before 'avih', any number of headers without an id may follow each other here.
TEST(HeaderParseList, ZerosThatEndInTheSizeOfASkip_AreSteppedOver)
{
    SKrSimpleAvi avi = VideoAndAudio();
    avi.afterAvih = [](CKrAviBuilder& file)
    {
        file.Zeros(9);
        file.Raw(KrBytes{
            0x01,                   // ends the id 0x01000000 of the first header that has one
            0x02, 0x00, 0x00, 0x00, // its size
            0xAA, 0xAA,             // its data, up to an even position
        });
    };
    ExpectStreams(avi, true, true);
}

TEST(HeaderParseList, StreamListAfterTheHeaderList_IsFound)
{
    SKrSimpleAvi avi = VideoAndAudio();
    avi.streams[0].header.type = "txts";
    avi.mainHeader.streams = 3;
    avi.mainHeader.totalFrames = 2;
    avi.afterMovi = [](CKrAviBuilder& file)
    {
        WriteVideoStrl(file);
    };
    ExpectStreams(avi, true, true);
}

TEST(HeaderParseList, StreamHeaderNotFirst_EndsTheList)
{
    const CKrFileContent content = WithHeaderList(
        [](CKrAviBuilder& list)
        {
            list.Chunk("avih", MainHeader());
            list.List("strl",
                      [&]
                      {
                          list.Chunk("JUNK", KrBytes(56, 0));
                          list.Chunk("strh", ToBytes(SKrTestStreamHeader{}));
                          list.Chunk("strf", ToBytes(SKrTestBitmapInfo{}));
                      });
        });
    ExpectStreams(CKrParsedFile(content), false, false);
}

TEST(HeaderParseList, SecondStreamWithoutHeader_KeepsTheFirst)
{
    SKrBuiltAvi built = BuildSimpleAvi(VideoAndAudio());
    built.content.PutU32(built.Find("strh", 1).header, FourCcValue("JUNK"));
    ExpectStreams(CKrParsedFile(built.content), true, false);
}

TEST(HeaderParseList, StreamHeaderOfAnotherSize_EndsTheList)
{
    for (const uint32_t size : {0u, 8u, 48u, 55u, 57u, 60u, 63u, 65u, 72u, 0xFFFFFFFFu})
    {
        SKrBuiltAvi built = BuildSimpleAvi(VideoAndAudio());
        PutStrhSize(built, 0, size);
        ExpectStreams(CKrParsedFile(built.content), false, false);
        built = BuildSimpleAvi(VideoAndAudio());
        PutStrhSize(built, 1, size);
        ExpectStreams(CKrParsedFile(built.content), true, false);
    }
}

TEST(HeaderParseList, WholeStreamHeaderOfAnotherSize_EndsTheList)
{
    for (const size_t size : {54u, 56u, 58u, 60u, 62u, 64u, 66u})
    {
        const CKrFileContent content = WithHeaderList(
            [size](CKrAviBuilder& list)
            {
                KrBytes header = ToBytes(SKrTestStreamHeader{});
                header.resize(size);
                list.Chunk("avih", MainHeader());
                list.List("strl",
                          [&]
                          {
                              list.Chunk("strh", header);
                              list.Chunk("strf", ToBytes(SKrTestBitmapInfo{}));
                          });
            });
        SCOPED_TRACE(size);
        ExpectStreams(CKrParsedFile(content), size == 56 || size == 64, false);
    }
}

TEST(HeaderParseList, StreamHeaderOf64Bytes_IsReadLikeOneOf56)
{
    SKrSimpleAvi avi = VideoAndAudio();
    const CKrParsedFile narrow(avi);
    avi.streams[0].strhSize = 64;
    avi.streams[1].strhSize = 64;
    avi.streams[0].header.left = 0x7FFF0001;
    avi.streams[0].header.bottom = -5;
    const CKrParsedFile wide(avi);
    ExpectStreams(wide, true, true);
    const auto& [video, expectedVideo] = std::pair(wide.Video().format, narrow.Video().format);
    EXPECT_EQ(std::memcmp(&video, &expectedVideo, sizeof video), 0);
    const auto& [audio, expectedAudio] = std::pair(wide.Audio().format, narrow.Audio().format);
    EXPECT_EQ(std::memcmp(&audio, &expectedAudio, sizeof audio), 0);
    EXPECT_EQ(wide.Audio().duration, narrow.Audio().duration);
}

TEST(HeaderParseList, OtherStreamTypes_AreSkipped)
{
    for (const char* type : {"txts", "mids", "iavs", "VIDS", "auDS"})
    {
        SKrSimpleAvi avi;
        avi.streams = {VideoStream({}), VideoStream({10, 10}), PcmStream({20, 20})};
        avi.streams[0].header.type = type;
        avi.streams[0].header.length = 77;
        avi.streams[0].format = KrBytes(3, 0); // not looked at
        avi.mainHeader.totalFrames = 2;
        const CKrParsedFile file(avi);
        ASSERT_EQ(file.Status(), 1);
        EXPECT_EQ(file.Video().valid, 1) << type;
        EXPECT_EQ(file.Video().Id(), "01dc");
        EXPECT_EQ(file.Audio().valid, 1) << type;
        EXPECT_EQ(file.Audio().Id(), "02wb");
    }
}

TEST(HeaderParseList, OtherStreamTypeWithoutFormat_IsSkipped)
{
    const CKrFileContent content = WithHeaderList(
        [](CKrAviBuilder& list)
        {
            list.Chunk("avih", MainHeader());
            list.List("strl", [&] { list.Chunk("strh", ToBytes(SKrTestStreamHeader{.type = "txts"})); });
            WriteVideoStrl(list);
        });
    ExpectStreams(CKrParsedFile(content), true, false);
}
