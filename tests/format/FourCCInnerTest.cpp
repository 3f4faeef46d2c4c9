// FourCCs as values, and the ids of data chunks.
#include "format/KrFourCC.h"

#include <gtest/gtest.h>

#include <string>

namespace
{
std::string TextOf(uint32_t fourcc)
{
    std::string text;
    for (unsigned index = 0; index < 4; ++index)
        text += KrFourCCChar(fourcc, index);
    return text;
}
} // namespace

TEST(FourCC, FirstCharacter_IsTheLowestByte)
{
    EXPECT_EQ(KrFourCC("RIFF"), 0x46464952u);
    EXPECT_EQ(KrFourCC("AVI "), 0x20495641u);
    EXPECT_EQ(KrFourCC("\xFF\x80\x01 "), 0x200180FFu);
    EXPECT_EQ(KrFourCC('\xFF', '\x80', '\x01', ' '), 0x200180FFu);
}

TEST(FourCC, Character_IsFoundByItsPlace)
{
    EXPECT_EQ(TextOf(0x63643130), "01dc");
    EXPECT_EQ(KrFourCCChar(0x80000000, 3), '\x80');
}

TEST(FourCC, NamedConstants_SpellTheirNames)
{
    EXPECT_EQ(TextOf(kFccRiff), "RIFF");
    EXPECT_EQ(TextOf(kFccList), "LIST");
    EXPECT_EQ(TextOf(kFccAvi), "AVI ");
    EXPECT_EQ(TextOf(kFccAvix), "AVIX");
    EXPECT_EQ(TextOf(kFccHdrl), "hdrl");
    EXPECT_EQ(TextOf(kFccStrl), "strl");
    EXPECT_EQ(TextOf(kFccMovi), "movi");
    EXPECT_EQ(TextOf(kFccAvih), "avih");
    EXPECT_EQ(TextOf(kFccStrh), "strh");
    EXPECT_EQ(TextOf(kFccStrf), "strf");
    EXPECT_EQ(TextOf(kFccVids), "vids");
    EXPECT_EQ(TextOf(kFccAuds), "auds");
    EXPECT_EQ(TextOf(kFccIdx1), "idx1");
    EXPECT_EQ(TextOf(kFccIndx), "indx");
    EXPECT_EQ(TextOf(kFccJunk), "JUNK");
    EXPECT_EQ(TextOf(kFccKrlA), "KrlA");
    EXPECT_EQ(TextOf(kFccPrmA), "PrmA");
    EXPECT_EQ(TextOf(kFccCtsI), "CtsI");
}

TEST(DataChunkId, StreamNumber_IsOneLowerCaseHexadecimalDigitAfterZero)
{
    constexpr std::string_view kDigits = "0123456789abcdef";
    for (uint32_t stream = 0; stream < kDataStreamLimit; ++stream)
    {
        const std::string number = std::string("0") + kDigits[stream];
        EXPECT_EQ(TextOf(KrDataChunkId(stream, EKrDataKind::CompressedVideo)), number + "dc");
        EXPECT_EQ(TextOf(KrDataChunkId(stream, EKrDataKind::UncompressedVideo)), number + "db");
        EXPECT_EQ(TextOf(KrDataChunkId(stream, EKrDataKind::Audio)), number + "wb");
    }
    EXPECT_EQ(kDataStreamLimit, 16u);
}
