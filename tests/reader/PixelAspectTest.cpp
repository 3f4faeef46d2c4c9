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

// A row of the table, the arithmetic, the sign, and a ratio that changes nothing.
INSTANTIATE_TEST_SUITE_P(Ratio, PixelAspectOfFile,
                         testing::Values(SKrAspectCase{"R64to45_On576", 64, 45, 720, 576, 1, 1024},
                                         SKrAspectCase{"R12to11_Scales", 12, 11, 720, 576, 0, 785},
                                         SKrAspectCase{"HorizontalWithTheSignBit_IsNegative", 0xFFFFFFFF, 2,
                                                       721, 576, 3, 0x10000 - 361},
                                         SKrAspectCase{"VerticalWithTheSignBit_IsNegative", 1, 0xFFFFFFFF,
                                                       700, 576, 3, 0x10000 - 700},
                                         SKrAspectCase{"Vertical0_Unchanged", 16, 0, 720, 576, 0, 720}),
                         [](const auto& value) { return value.param.name; });

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
