// The steps from the start of a file to its data chunks, seen through what the reader reports afterwards.
#include "tests/reader/HeaderParseSupport.h"

#include <gtest/gtest.h>

#include <span>

using namespace KrTest;

namespace
{
constexpr uint64_t kRawStart = 200;

SKrSimpleAvi OneVideoStream()
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream({10, 10})};
    return avi;
}

// Bytes up to the position at which the search in a non-RIFF file starts.
void FillUpToRawStart(CKrAviBuilder& file, uint8_t value)
{
    file.Raw(KrBytes(kRawStart - file.Position(), value));
}

// A built file with other first 12 bytes.
CKrFileContent WithHead(const SKrSimpleAvi& avi, std::string_view riff, std::optional<uint32_t> size,
                        std::string_view form)
{
    const SKrBuiltAvi built = BuildSimpleAvi(avi);
    CKrFileContent content = built.content;
    CKrTestByteWriter head;
    head.FourCc(riff).U32(size.value_or(built.segments[0].size)).FourCc(form);
    content.Put(0, head.Bytes());
    return content;
}

// A file with everything that a parse finds, and two data chunks that only the search from byte 200 finds:
// the header list is padded up to there.
SKrSimpleAvi FileWithChunksAtRawStart()
{
    SKrSimpleAvi avi = OneVideoStream();
    avi.endOfHdrl = [](CKrAviBuilder& file)
    {
        file.Chunk("JUNK", [&] { file.Zeros(kRawStart + 24 - file.Position()); });
        file.Chunk("08dc", KrBytes(4, 1));
        file.Chunk("09wb", KrBytes(4, 1));
    };
    return avi;
}

void ExpectParsed(const CKrParsedFile& file)
{
    ASSERT_EQ(file.Status(), 1);
    EXPECT_EQ(file.Video().valid, 1);
    EXPECT_EQ(file.Video().Id(), "00dc");
}

// Opened for its chunks, without any stream header.
void ExpectRaw(const CKrParsedFile& file, const std::string& video, const std::string& audio)
{
    ASSERT_EQ(file.Status(), 1);
    EXPECT_EQ(file.Video().valid, 0);
    EXPECT_EQ(file.Video().frames, 0u);
    EXPECT_EQ(file.Video().Id(), video);
    EXPECT_EQ(file.Audio().Id(), audio);
    EXPECT_NE(file.Audio().valid, 1);
}

// The header position of the first 'LIST' that a search from the default start finds; 0 when there is none.
uint64_t FirstListFromDefaultStart(const CKrParsedFile& file)
{
    CDWordArray wanted;
    wanted.Add(FourCcValue("LIST"));
    if (file.Reader().FindFirstChunk(&wanted, UINT64_MAX) == 0)
        return 0;
    uint32_t id = 0;
    uint32_t type = 0;
    uint32_t size = 0;
    uint64_t offset = 0;
    file.Reader().FindNextChunk(&id, &type, &size, &offset, nullptr);
    return offset - 8;
}
} // namespace

TEST(HeaderParseFile, RiffAviFile_IsParsed)
{
    ExpectParsed(CKrParsedFile(OneVideoStream()));
}

TEST(HeaderParseFile, RawChunksFromByte200_OpenWithTheirIds)
{
    CKrAviBuilder file;
    FillUpToRawStart(file, 0xC3);
    file.Chunk("00dc", KrBytes(5, 1));
    file.Chunk("01wb", KrBytes(5, 1));
    ExpectRaw(CKrParsedFile(file.Content()), "00dc", "01wb");
}

TEST(HeaderParseFile, RawChunksAfterZeros_OpenWithTheirIds)
{
    CKrAviBuilder file;
    FillUpToRawStart(file, 0xC3);
    file.Zeros(101);
    file.Chunk("00dc", KrBytes(5, 1));
    ExpectRaw(CKrParsedFile(file.Content()), "00dc", "none");
}

TEST(HeaderParseFile, RawChunkBeforeByte200_IsNotFound)
{
    CKrAviBuilder file;
    file.Zeros(kRawStart - 12);
    file.Chunk("01wb", KrBytes(4, 1));
    file.Chunk("00dc", KrBytes(4, 1));
    ExpectRaw(CKrParsedFile(file.Content()), "00dc", "none");
}

TEST(HeaderParseFile, AnyEightBytesAtByte200_OpenTheFile)
{
    CKrAviBuilder file;
    file.Raw(KrBytes(kRawStart + 8, 0xC3));
    ExpectRaw(CKrParsedFile(file.Content()), "none", "none");
}

TEST(HeaderParseFile, FewerThanEightBytesAfterByte200_AreRefused)
{
    for (size_t size = kRawStart; size < kRawStart + 8; ++size)
        EXPECT_EQ(CKrParsedFile(KrBytes(size, 0xC3)).Status(), 0) << size;
}

TEST(HeaderParseFile, OtherFirstId_IsReadAsRawChunks)
{
    for (const char* id : {"RIFX", "riff", "LIST", "RF64"})
        ExpectRaw(CKrParsedFile(WithHead(FileWithChunksAtRawStart(), id, {}, "AVI ")), "08dc", "09wb");
}

TEST(HeaderParseFile, OtherForm_IsReadAsRawChunks)
{
    for (const char* form : {"AVIX", "WAVE", "avi ", "AVI\t"})
        ExpectRaw(CKrParsedFile(WithHead(FileWithChunksAtRawStart(), "RIFF", {}, form)), "08dc", "09wb");
}

TEST(HeaderParseFile, RiffSizeBelow193_IsReadAsRawChunks)
{
    for (const uint32_t size : {0u, 1u, 191u, 192u})
        ExpectRaw(CKrParsedFile(WithHead(FileWithChunksAtRawStart(), "RIFF", size, "AVI ")), "08dc", "09wb");
}

TEST(HeaderParseFile, RiffSizeFrom193_IsParsed)
{
    for (const uint32_t size : {193u, 194u, 0x7FFFFFFFu, 0xFFFFFFFFu})
    {
        const CKrParsedFile file(WithHead(FileWithChunksAtRawStart(), "RIFF", size, "AVI "));
        ASSERT_EQ(file.Status(), 1) << size;
        EXPECT_EQ(file.Video().valid, 1) << size;
    }
}

TEST(HeaderParseFile, ChunksBeforeTheHeaderList_AreSkipped)
{
    SKrSimpleAvi avi = OneVideoStream();
    avi.beforeHdrl = [](CKrAviBuilder& file)
    {
        file.Chunk("JUNK", KrBytes(33, 0));
        file.Chunk("abcd", KrBytes(2, 1));
        file.Chunk("00wb", KrBytes(7, 1));
    };
    ExpectParsed(CKrParsedFile(avi));
}

TEST(HeaderParseFile, FirstListOfAnotherType_IsSearchedForDataChunksFromItsInside)
{
    SKrSimpleAvi avi = OneVideoStream();
    avi.beforeHdrl = [](CKrAviBuilder& file)
    {
        file.List("INFO",
                  [&]
                  {
                      file.Chunk("07dc", KrBytes(4, 1));
                      file.Chunk("08wb", KrBytes(4, 1));
                  });
    };
    const CKrParsedFile file(avi);
    ExpectRaw(file, "07dc", "08wb");
    EXPECT_NE(FirstListFromDefaultStart(file), 12u) << "such a file has no default start";
}

TEST(HeaderParseFile, JunkListBeforeTheHeaderList_HidesIt)
{
    SKrSimpleAvi avi = OneVideoStream();
    avi.beforeHdrl = [](CKrAviBuilder& file)
    {
        file.List("JUNK", [&] { file.Chunk("JUNK", KrBytes(4, 0)); });
    };
    ExpectRaw(CKrParsedFile(avi), "none", "none");
}

TEST(HeaderParseFile, HeaderListOutsideTheRiffChunk_IsNotFound)
{
    SKrSimpleAvi avi = OneVideoStream();
    avi.beforeHdrl = [](CKrAviBuilder& file)
    {
        file.Chunk("JUNK", KrBytes(1000, 1));
    };
    EXPECT_EQ(CKrParsedFile(WithHead(avi, "RIFF", 1012, "AVI ")).Video().valid, 0);
    EXPECT_EQ(CKrParsedFile(WithHead(avi, "RIFF", 1013, "AVI ")).Video().valid, 1);
}

// Seven zero bytes are four headers without an id, eight are five.
TEST(HeaderParseFile, FourToSevenZerosBeforeTheHeaderList_AreSteppedOver)
{
    for (const size_t zeros : {4u, 5u, 6u, 7u})
    {
        SKrSimpleAvi avi = OneVideoStream();
        avi.beforeHdrl = [zeros](CKrAviBuilder& file)
        {
            file.Zeros(zeros);
        };
        // Where the list begins at an odd position, the chunks that follow must be brought to even ones.
        const KrBuilderHook toEven = [zeros](CKrAviBuilder& file)
        {
            file.Zeros(zeros % 2);
        };
        avi.afterAvih = avi.endOfHdrl = avi.beforeMovi = toEven;
        ExpectParsed(CKrParsedFile(avi));
    }
}

TEST(HeaderParseFile, FewerThanFourZerosBeforeTheHeaderList_LookLikeAnId)
{
    for (const size_t zeros : {1u, 2u, 3u})
    {
        SKrSimpleAvi avi = OneVideoStream();
        avi.beforeHdrl = [zeros](CKrAviBuilder& file)
        {
            file.Zeros(zeros);
        };
        EXPECT_EQ(CKrParsedFile(avi).Status(), 0) << zeros;
    }
}

TEST(HeaderParseFile, EightZerosBeforeTheHeaderList_EndTheSearchForIt)
{
    for (const size_t zeros : {8u, 9u, 100u})
    {
        SKrSimpleAvi avi = OneVideoStream();
        avi.beforeHdrl = [zeros](CKrAviBuilder& file)
        {
            file.Zeros(zeros);
        };
        EXPECT_EQ(CKrParsedFile(avi).Video().valid, 0) << zeros;
    }
}

TEST(HeaderParseFile, SearchEndedByZeros_ContinuesForDataChunksAfterTheLastHeaderRead)
{
    SKrSimpleAvi avi = OneVideoStream();
    avi.beforeHdrl = [](CKrAviBuilder& file)
    {
        file.Zeros(8);
        file.Chunk("05dc", [&] { file.Chunk("06dc", KrBytes(4, 1)); }); // at 20 and 28
    };
    ExpectRaw(CKrParsedFile(avi), "06dc", "none"); // the header read last began at 16
}

// One byte further a chunk is read whose size extends beyond the file.
TEST(HeaderParseFile, EmptyJunkBeforeTheHeaderList_LosesIt)
{
    SKrSimpleAvi avi = OneVideoStream();
    avi.beforeHdrl = [](CKrAviBuilder& file)
    {
        file.Chunk("JUNK", KrBytes{});
    };
    EXPECT_EQ(CKrParsedFile(avi).Status(), 0);
}

TEST(HeaderParseFile, MoviAfterOtherListsAndChunks_IsFound)
{
    SKrSimpleAvi avi = OneVideoStream();
    avi.beforeMovi = [](CKrAviBuilder& file)
    {
        file.List("INFO", [&] { file.Chunk("ISFT", KrBytes(7, 'x')); });
        file.List("JUNK", [&] { file.Chunk("00wb", KrBytes(4, 1)); });
        file.List("odml", [&] { file.List("movi", [&] { file.Chunk("07dc", KrBytes(4, 1)); }); });
        file.Chunk("JUNK", KrBytes(501, 0));
        file.Chunk("movi", KrBytes(12, 1));
        file.Riff("movi", [&] { file.Chunk("05dc", KrBytes(4, 1)); });
        file.Chunk("06dc", KrBytes(4, 1));
        file.Zeros(17);
    };
    ExpectParsed(CKrParsedFile(avi));
}

TEST(HeaderParseFile, EmptyChunkBeforeMovi_IsSkipped)
{
    SKrSimpleAvi avi = OneVideoStream();
    avi.beforeMovi = [](CKrAviBuilder& file)
    {
        file.Chunk("JUNK", KrBytes{});
    };
    ExpectParsed(CKrParsedFile(avi));
}

TEST(HeaderParseFile, NoMovi_SearchesForDataChunksFromTheEndOfTheHeaderList)
{
    CKrAviBuilder file;
    file.Riff("AVI ",
              [&]
              {
                  file.List("hdrl", [&] { file.Chunk("avih", ToBytes(SKrTestMainHeader{.streams = 2})); });
                  file.Chunk("JUNK", KrBytes(300, 0));
                  file.Chunk("00dc", KrBytes(4, 1));
                  file.Chunk("01wb", KrBytes(4, 1));
              });
    ExpectRaw(CKrParsedFile(file.Content()), "00dc", "01wb");
}

TEST(HeaderParseFile, NoMovi_KeepsTheStreamHeaders)
{
    SKrSimpleAvi avi = OneVideoStream();
    avi.beforeMovi = [](CKrAviBuilder& file)
    {
        file.Chunk("00db", KrBytes(4, 1));
    };
    SKrBuiltAvi built = BuildSimpleAvi(avi);
    built.content.PutU32(built.Find("movi").data, FourCcValue("MOVI"));
    const CKrParsedFile file(built.content);
    ASSERT_EQ(file.Status(), 1);
    EXPECT_EQ(file.Video().valid, 1);
    EXPECT_EQ(file.Video().Id(), "00db");
}

TEST(HeaderParseFile, MoviOutsideTheRiffChunk_IsSkippedAsAChunk)
{
    const SKrSimpleAvi avi = OneVideoStream();
    const auto movi = static_cast<uint32_t>(BuildSimpleAvi(avi).Find("movi").header);
    const CKrParsedFile outside(WithHead(avi, "RIFF", movi - 8, "AVI "));
    ASSERT_EQ(outside.Status(), 1);
    EXPECT_EQ(outside.Video().valid, 1);
    EXPECT_EQ(outside.Video().Id(), "none");
    ExpectParsed(CKrParsedFile(WithHead(avi, "RIFF", movi - 7, "AVI ")));
}

TEST(HeaderParseFile, NothingAfterTheHeaderList_IsRefused)
{
    CKrAviBuilder file;
    file.Riff("AVI ",
              [&]
              {
                  file.List("hdrl",
                            [&]
                            {
                                file.Chunk("avih", ToBytes(SKrTestMainHeader{.streams = 1}));
                                file.Chunk("JUNK", KrBytes(300, 0));
                            });
              });
    EXPECT_EQ(CKrParsedFile(file.Content()).Status(), 0);
    file.Raw(KrBytes(7, 0xC3));
    EXPECT_EQ(CKrParsedFile(file.Content()).Status(), 0);
    file.Raw(KrBytes(1, 0xC3));
    EXPECT_EQ(CKrParsedFile(file.Content()).Status(), 1);
}

TEST(HeaderParseFile, OddHeaderList_EndsAtAnEvenPosition)
{
    SKrSimpleAvi avi = OneVideoStream();
    avi.endOfHdrl = [](CKrAviBuilder& file)
    {
        file.Chunk("JUNK", KrBytes(3, 0), {.pad = false});
    };
    const SKrBuiltAvi built = BuildSimpleAvi(avi);
    ASSERT_EQ(built.Find("hdrl").size % 2, 1u);
    const CKrParsedFile file(built.content);
    ExpectParsed(file);
    EXPECT_EQ(FirstListFromDefaultStart(file), built.Find("movi").header);
}
