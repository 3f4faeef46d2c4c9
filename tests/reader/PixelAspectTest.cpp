// The effect of the private information chunks on the video format that a reader reports.
#include "tests/reader/HeaderParseSupport.h"

#include <gtest/gtest.h>

using namespace KrTest;

namespace KrTest
{
struct SKrAspectCase
{
    std::string name;
    uint32_t horizontal = 0;
    uint32_t vertical = 0;
    int32_t width = 0;
    int32_t height = 0;
    uint32_t aspectMode = 0;
    uint16_t displayWidth = 0;
};

static void PrintTo(const SKrAspectCase& aspect, std::ostream* out)
{
    *out << aspect.horizontal << ':' << aspect.vertical << " on " << aspect.width << " x " << aspect.height;
}
} // namespace KrTest

namespace
{
class PixelAspectOfFile : public testing::TestWithParam<SKrAspectCase>
{
};

std::string NameOf(const testing::TestParamInfo<SKrAspectCase>& info)
{
    return info.param.name;
}

SKrSimpleAvi VideoFile(int32_t width, int32_t height)
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream({10}, {.width = width, .height = height})};
    return avi;
}

SKrTestKrlA Aspect(uint32_t horizontal, uint32_t vertical)
{
    return {.horizontal = horizontal, .vertical = vertical};
}

void ExpectAspect(const SKrSimpleAvi& avi, const SKrAspectCase& expected)
{
    const CKrParsedFile file(avi);
    ASSERT_EQ(file.Status(), 1);
    const SKrVideoAnswer video = file.Video();
    ASSERT_EQ(video.valid, 1);
    EXPECT_EQ(video.format.displayWidth, expected.displayWidth);
    EXPECT_EQ(video.format.aspectMode, expected.aspectMode);
    EXPECT_EQ(video.format.displayHeight, expected.height);
    EXPECT_EQ(video.format.width, expected.width);
    EXPECT_EQ(video.format.height, expected.height);
}
} // namespace

TEST_P(PixelAspectOfFile, KrlA_ChangesDisplayWidthAndAspectMode)
{
    SKrSimpleAvi avi = VideoFile(GetParam().width, GetParam().height);
    avi.krlA = Aspect(GetParam().horizontal, GetParam().vertical);
    ExpectAspect(avi, GetParam());
}

TEST_P(PixelAspectOfFile, PrmAAlone_ChangesTheSame)
{
    SKrSimpleAvi avi = VideoFile(GetParam().width, GetParam().height);
    avi.prmA = SKrTestPrmA{.horizontal = GetParam().horizontal, .vertical = GetParam().vertical};
    ExpectAspect(avi, GetParam());
}

INSTANTIATE_TEST_SUITE_P(SpecialFrame, PixelAspectOfFile,
                         testing::Values(SKrAspectCase{"R16to15_On576", 16, 15, 720, 576, 0, 768},
                                         SKrAspectCase{"R64to45_On576", 64, 45, 720, 576, 1, 1024},
                                         SKrAspectCase{"R9to10_On486", 9, 10, 720, 486, 0, 648},
                                         SKrAspectCase{"R6to5_On486", 6, 5, 720, 486, 1, 864},
                                         SKrAspectCase{"R648to720_On486", 648, 720, 720, 486, 0, 648},
                                         SKrAspectCase{"R648to720_On480", 648, 720, 720, 480, 0, 648},
                                         SKrAspectCase{"R864to720_On486", 864, 720, 720, 486, 1, 864},
                                         SKrAspectCase{"R864to720_On480", 864, 720, 720, 480, 1, 864}),
                         NameOf);

INSTANTIATE_TEST_SUITE_P(OtherFrame, PixelAspectOfFile,
                         testing::Values(SKrAspectCase{"R16to15_On480", 16, 15, 720, 480, 0, 768},
                                         SKrAspectCase{"R16to15_OnWidth704", 16, 15, 704, 576, 3, 751},
                                         SKrAspectCase{"R64to45_On480", 64, 45, 720, 480, 0, 1024},
                                         SKrAspectCase{"R64to45_OnWidth1440", 64, 45, 1440, 1080, 1, 2048},
                                         SKrAspectCase{"R9to10_On480", 9, 10, 720, 480, 0, 648},
                                         SKrAspectCase{"R9to10_OnWidth704", 9, 10, 704, 486, 3, 634},
                                         SKrAspectCase{"R6to5_On480", 6, 5, 720, 480, 0, 864},
                                         SKrAspectCase{"R6to5_On576", 6, 5, 720, 576, 0, 864},
                                         SKrAspectCase{"R648to720_On576", 648, 720, 720, 576, 0, 648},
                                         SKrAspectCase{"R648to720_OnWidth704", 648, 720, 704, 480, 3, 634},
                                         SKrAspectCase{"R864to720_On576", 864, 720, 720, 576, 0, 864},
                                         SKrAspectCase{"R864to720_OnWidth640", 864, 720, 640, 480, 3, 768}),
                         NameOf);

INSTANTIATE_TEST_SUITE_P(
    OtherRatio, PixelAspectOfFile,
    testing::Values(
        SKrAspectCase{"R1to1_Unchanged", 1, 1, 720, 576, 0, 720},
        SKrAspectCase{"R10001to10000_Unchanged", 10001, 10000, 60000, 576, 3, 60000},
        SKrAspectCase{"R10002to10000_Scales", 10002, 10000, 60000, 576, 3, 60012},
        SKrAspectCase{"R4to3_Scales", 4, 3, 1440, 1080, 1, 1920},
        SKrAspectCase{"R1to2_RoundsTheHalfUp", 1, 2, 721, 576, 3, 361},
        SKrAspectCase{"R3to2_OnWidth1_RoundsTheHalfUp", 3, 2, 1, 576, 3, 2},
        SKrAspectCase{"R12to11_Scales", 12, 11, 720, 576, 0, 785},
        SKrAspectCase{"Vertical0_Unchanged", 16, 0, 720, 576, 0, 720},
        SKrAspectCase{"Both0_Unchanged", 0, 0, 720, 576, 0, 720},
        SKrAspectCase{"Beyond32Bits_Unchanged", 0x7FFFFFFF, 1, 720, 576, 0, 720},
        SKrAspectCase{"Above16Bits_KeepsTheLowHalf", 100, 1, 720, 576, 0, 72000 - 0x10000},
        SKrAspectCase{"HorizontalWithTheSignBit_IsNegative", 0xFFFFFFFF, 2, 721, 576, 3, 0x10000 - 361},
        SKrAspectCase{"VerticalWithTheSignBit_IsNegative", 1, 0xFFFFFFFF, 700, 576, 3, 0x10000 - 700},
        SKrAspectCase{"BothWithTheSignBit_AreSquare", 0xFFFFFFFF, 0xFFFFFFFF, 720, 576, 0, 720},
        SKrAspectCase{"SmallestInteger_BeyondTheRange", 0x80000000, 1, 720, 576, 0, 720}),
    NameOf);

TEST(PixelAspect, HorizontalOfZero_LeavesNoValidFormat)
{
    SKrSimpleAvi avi = VideoFile(720, 576);
    avi.krlA = Aspect(0, 1);
    const CKrParsedFile file(avi);
    EXPECT_EQ(file.Status(), 1);
    EXPECT_EQ(file.Video().valid, 0);
}

TEST(PixelAspect, KrlAAndPrmA_TheFormerCounts)
{
    SKrSimpleAvi avi = VideoFile(720, 576);
    avi.prmA = SKrTestPrmA{.horizontal = 16, .vertical = 15};
    avi.krlA = Aspect(64, 45);
    ExpectAspect(avi, {"", 64, 45, 720, 576, 1, 1024});
}

TEST(PixelAspect, DamagedKrlA_LeavesItToPrmA)
{
    SKrSimpleAvi avi = VideoFile(720, 576);
    avi.krlA = Aspect(16, 15);
    avi.krlA->mark[2] = 0x0E;
    avi.prmA = SKrTestPrmA{.horizontal = 64, .vertical = 45};
    ExpectAspect(avi, {"", 64, 45, 720, 576, 1, 1024});
}

TEST(PixelAspect, NoPrivateChunk_LeavesTheStoredWidth)
{
    ExpectAspect(VideoFile(720, 576), {"", 1, 1, 720, 576, 0, 720});
}

TEST(ScanModeOfFile, KrlA_OverridesTheHeaders)
{
    for (const uint8_t stored : {0, 1, 2})
    {
        SKrSimpleAvi avi = VideoFile(720, 576); // suggests 0
        avi.krlA = SKrTestKrlA{.scanMode = stored};
        EXPECT_EQ(CKrParsedFile(avi).Video().format.scanMode, stored);
        avi.streams[0].header.rate = 50; // suggests 2
        EXPECT_EQ(CKrParsedFile(avi).Video().format.scanMode, stored);
    }
}

TEST(ScanModeOfFile, CtsI_OverridesTheHeaders)
{
    for (const uint8_t stored : {0, 1, 2})
    {
        SKrSimpleAvi avi = VideoFile(720, 576);
        avi.ctsI = SKrTestCtsI{.scanMode = stored};
        EXPECT_EQ(CKrParsedFile(avi).Video().format.scanMode, stored);
    }
}

TEST(ScanModeOfFile, ByteOfNoMode_LeavesWhatTheHeadersSuggest)
{
    for (const uint8_t stored : {3, 0x7F, 0xFF})
    {
        SKrSimpleAvi avi = VideoFile(720, 480); // suggests 1
        avi.krlA = SKrTestKrlA{.scanMode = stored};
        EXPECT_EQ(CKrParsedFile(avi).Video().format.scanMode, 1) << int{stored};
        avi.ctsI = SKrTestCtsI{.scanMode = stored};
        EXPECT_EQ(CKrParsedFile(avi).Video().format.scanMode, 1) << int{stored};
    }
}

TEST(ScanModeOfFile, AspectRatio_DoesNotChangeIt)
{
    SKrSimpleAvi avi = VideoFile(720, 486);
    avi.krlA = Aspect(6, 5);
    EXPECT_EQ(CKrParsedFile(avi).Video().format.scanMode, 1);
}

TEST(ScanModeOfFile, PrivateChunkInTheLastSegment_CountsAsWell)
{
    SKrSimpleAvi avi = VideoFile(720, 576);
    avi.streams[0].chunkSizes = {10, 10};
    avi.roundsPerSegment = {1, 1};
    avi.endOfAvix = [](CKrAviBuilder& file)
    {
        file.Chunk("KrlA", ToBytes(SKrTestKrlA{.scanMode = 2, .horizontal = 64, .vertical = 45}));
    };
    const SKrVideoAnswer video = CKrParsedFile(avi).Video();
    ASSERT_EQ(video.valid, 1);
    EXPECT_EQ(video.format.scanMode, 2);
    EXPECT_EQ(video.format.displayWidth, 1024);
}
