#include "tests/support/KrAviBuilder.h"

#include <gtest/gtest.h>

#include <stdexcept>

using namespace KrTest;

TEST(AviBuilderTest, SmallFile_HasExactlyTheseBytes)
{
    CKrAviBuilder file;
    SKrBuiltChunk odd;
    const SKrBuiltChunk riff =
        file.Riff("AVI ",
                  [&]
                  {
                      file.List("hdrl", [&] { odd = file.Chunk("abcd", KrBytes{1, 2, 3}); });
                      file.Chunk("JUNK",
                                 [&]
                                 {
                                     file.Raw(KrBytes{0xAB});
                                     file.Zeros(1);
                                 });
                  });
    file.Zeros(2);

    EXPECT_EQ(file.Content().ToBytes(), (KrBytes{
                                            'R',  'I', 'F', 'F', 38, 0, 0, 0, // size: all but 8 bytes
                                            'A',  'V', 'I', ' ',              //
                                            'L',  'I', 'S', 'T', 16, 0, 0, 0, // type, header, 4 bytes
                                            'h',  'd', 'r', 'l',              //
                                            'a',  'b', 'c', 'd', 3,  0, 0, 0, // odd size,
                                            1,    2,   3,   0,                // padded
                                            'J',  'U', 'N', 'K', 2,  0, 0, 0, //
                                            0xAB, 0,                          //
                                            0,    0,                          // after the segment
                                        }));
    EXPECT_EQ(odd.id, "abcd");
    EXPECT_EQ(odd.type, "");
    EXPECT_EQ(odd.header, 24u);
    EXPECT_EQ(odd.data, 32u);
    EXPECT_EQ(odd.size, 3u);
    EXPECT_EQ(odd.end, 36u);
    EXPECT_EQ(riff.id, "RIFF");
    EXPECT_EQ(riff.type, "AVI ");
    EXPECT_EQ(riff.data, 8u);
    EXPECT_EQ(riff.end, 46u);
    EXPECT_EQ(file.Position(), 48u);
}

TEST(AviBuilderTest, ForcedSizeAndNoPadding_AreWrittenAsRequested)
{
    CKrAviBuilder file;
    const SKrBuiltChunk chunk = file.Chunk("00dc", KrBytes{1, 2, 3}, {.size = 0x01020304, .pad = false});
    file.List("movi", [] {}, {.size = 0});
    EXPECT_EQ(file.Content().ToBytes(), (KrBytes{'0', '0', 'd', 'c', 4, 3, 2, 1, 1,   2,   3, //
                                                 'L', 'I', 'S', 'T', 0, 0, 0, 0, 'm', 'o', 'v', 'i'}));
    EXPECT_EQ(chunk.size, 0x01020304u);
    EXPECT_EQ(chunk.end, 11u);
}

TEST(AviBuilderTest, Mistakes_AreReported)
{
    CKrAviBuilder file;
    EXPECT_THROW(file.End(), std::logic_error);
    EXPECT_THROW(file.Chunk("abc", KrBytes{}), std::invalid_argument);
    EXPECT_THROW(file.List("lists", [] {}), std::invalid_argument);
}
