// The video format that a reader reports, from the headers of whole files.
#include "tests/reader/HeaderParseSupport.h"

#include <gtest/gtest.h>

using namespace KrTest;

namespace KrTest
{
struct SKrSizeCase
{
    int32_t width = 0;
    int32_t height = 0;
    uint32_t aspectMode = 0;
    int32_t scanMode = 0; // at 25 frames per second
};

static void PrintTo(const SKrSizeCase& size, std::ostream* out)
{
    *out << size.width << " x " << size.height;
}

struct SKrRateCase
{
    std::string name;
    uint32_t scale = 0;
    uint32_t rate = 0;
    uint32_t code = 0;
};

static void PrintTo(const SKrRateCase& rate, std::ostream* out)
{
    *out << rate.scale << '/' << rate.rate;
}
} // namespace KrTest

namespace
{
SKrSimpleAvi VideoFile(int32_t width, int32_t height, uint32_t scale = 1, uint32_t rate = 25)
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream({10}, {.width = width, .height = height})};
    avi.streams[0].header.scale = scale;
    avi.streams[0].header.rate = rate;
    return avi;
}

class VideoFormatOfSize : public testing::TestWithParam<SKrSizeCase>
{
};

class VideoFormatOfRate : public testing::TestWithParam<SKrRateCase>
{
};
} // namespace

TEST_P(VideoFormatOfSize, At25FramesPerSecond_HasAspectAndScanMode)
{
    const auto [width, height, aspectMode, scanMode] = GetParam();
    const CKrParsedFile file(VideoFile(width, height));
    ASSERT_EQ(file.Status(), 1);
    const SKrVideoAnswer video = file.Video();
    ASSERT_EQ(video.valid, 1);
    EXPECT_EQ(video.format.displayWidth, width);
    EXPECT_EQ(video.format.displayHeight, height);
    EXPECT_EQ(video.format.width, width);
    EXPECT_EQ(video.format.height, height);
    EXPECT_EQ(video.format.aspectMode, aspectMode);
    EXPECT_EQ(video.format.scanMode, scanMode);
}

INSTANTIATE_TEST_SUITE_P(
    Known, VideoFormatOfSize,
    testing::Values(SKrSizeCase{1920, 1080, 1, 0}, SKrSizeCase{1440, 1080, 1, 0},
                    SKrSizeCase{1280, 1080, 1, 2}, SKrSizeCase{1280, 720, 1, 2}, SKrSizeCase{960, 720, 1, 2},
                    SKrSizeCase{720, 576, 0, 0}, SKrSizeCase{720, 486, 0, 1}, SKrSizeCase{720, 480, 0, 1},
                    SKrSizeCase{1024, 576, 1, 2}, SKrSizeCase{856, 480, 1, 2}, SKrSizeCase{864, 486, 1, 2},
                    SKrSizeCase{864, 480, 1, 2}, SKrSizeCase{768, 576, 0, 2}, SKrSizeCase{720, 540, 0, 2},
                    SKrSizeCase{720, 534, 0, 2}),
    [](const testing::TestParamInfo<SKrSizeCase>& info)
    { return "Size" + std::to_string(info.param.width) + "x" + std::to_string(info.param.height); });

INSTANTIATE_TEST_SUITE_P(Unknown, VideoFormatOfSize,
                         testing::Values(SKrSizeCase{576, 720, 3, 2}, SKrSizeCase{1080, 1920, 3, 2},
                                         SKrSizeCase{640, 480, 3, 2}, SKrSizeCase{1281, 720, 3, 0},
                                         SKrSizeCase{1281, 719, 3, 2}, SKrSizeCase{720, 719, 3, 2},
                                         SKrSizeCase{1, 1, 3, 2}),
                         [](const testing::TestParamInfo<SKrSizeCase>& info) {
                             return "Size" + std::to_string(info.param.width) + "x" +
                                    std::to_string(info.param.height);
                         });

TEST_P(VideoFormatOfRate, FrameOf720x576_HasTheCode)
{
    const CKrParsedFile file(VideoFile(720, 576, GetParam().scale, GetParam().rate));
    ASSERT_EQ(file.Status(), 1);
    ASSERT_EQ(file.Video().valid, 1);
    EXPECT_EQ(file.Video().format.frameRate, GetParam().code);
    const bool interlaced = GetParam().code >= 2 && GetParam().code <= 4;
    EXPECT_EQ(file.Video().format.scanMode, interlaced ? 0 : 2);
}

INSTANTIATE_TEST_SUITE_P(Rates, VideoFormatOfRate,
                         testing::Values(SKrRateCase{"Rate23_976", 1001, 24000, 0},
                                         SKrRateCase{"Rate24", 1, 24, 1}, SKrRateCase{"Rate25", 1, 25, 2},
                                         SKrRateCase{"Rate29_97", 1001, 30000, 3},
                                         SKrRateCase{"Rate30", 1, 30, 4}, SKrRateCase{"Rate50", 1, 50, 5},
                                         SKrRateCase{"Rate59_94", 1001, 60000, 6},
                                         SKrRateCase{"Rate60", 1, 60, 7},
                                         SKrRateCase{"Microseconds16667_Are59_94", 16667, 1000000, 6},
                                         SKrRateCase{"Rate15_IsTheNearest", 1, 15, 0}),
                         [](const testing::TestParamInfo<SKrRateCase>& info) { return info.param.name; });

TEST(VideoFormatReported, Frame1280x720At50_IsProgressive)
{
    const CKrParsedFile file(VideoFile(1280, 720, 1, 50));
    ASSERT_EQ(file.Video().valid, 1);
    EXPECT_EQ(file.Video().format.frameRate, 5u);
    EXPECT_EQ(file.Video().format.scanMode, 2);
}

TEST(VideoFormatReported, Frame1280x720At25_IsProgressive)
{
    const CKrParsedFile file(VideoFile(1280, 720, 1, 25));
    ASSERT_EQ(file.Video().valid, 1);
    EXPECT_EQ(file.Video().format.frameRate, 2u);
    EXPECT_EQ(file.Video().format.scanMode, 2);
}

TEST(VideoFormatReported, Frame720x576At25_HasAllItsFields)
{
    const CKrParsedFile file(VideoFile(720, 576));
    ASSERT_EQ(file.Status(), 1);
    const SKrVideoAnswer video = file.Video();
    ASSERT_EQ(video.valid, 1);
    EXPECT_EQ(video.format.displayWidth, 720);
    EXPECT_EQ(video.format.displayHeight, 576);
    EXPECT_EQ(video.format.bitCount, 8u);
    EXPECT_EQ(video.format.reservedA, 0u);
    EXPECT_EQ(video.format.aspectMode, 0u);
    EXPECT_EQ(video.format.frameRate, 2u);
    EXPECT_EQ(video.format.scanMode, 0);
    EXPECT_EQ(video.format.reservedB, 3u);
    EXPECT_EQ(video.format.width, 720);
    EXPECT_EQ(video.format.height, 576);
    EXPECT_EQ(IdText(video.compression), "MJPG");
    EXPECT_EQ(video.bitCount, 24u);
    EXPECT_EQ(video.Id(), "00dc");
    EXPECT_EQ(video.frames, 1u);
}

TEST(VideoFormatReported, Width721_SetsReservedA)
{
    EXPECT_EQ(CKrParsedFile(VideoFile(720, 576)).Video().format.reservedA, 0u);
    EXPECT_EQ(CKrParsedFile(VideoFile(721, 576)).Video().format.reservedA, 1u);
}

TEST(VideoFormatReported, StoredBitCount_ShowsInReservedBAndTheBitCountOutput)
{
    const struct
    {
        uint16_t stored;
        uint32_t reservedB;
    } cases[] = {{1, 0}, {8, 0}, {16, 0}, {24, 3}, {32, 1}, {64, 0}};
    for (const auto& [stored, reservedB] : cases)
    {
        SKrSimpleAvi avi = VideoFile(720, 576);
        avi.streams = {VideoStream({10}, {.bitCount = stored, .compression = "YUY2"})};
        const SKrVideoAnswer video = CKrParsedFile(avi).Video();
        ASSERT_EQ(video.valid, 1) << stored;
        EXPECT_EQ(video.format.reservedB, reservedB) << stored;
        EXPECT_EQ(video.format.bitCount, 8u) << stored;
        EXPECT_EQ(video.bitCount, stored);
        EXPECT_EQ(IdText(video.compression), "YUY2");
    }
}

TEST(VideoFormatReported, ZeroScaleOrRate_HasNoValidFormat)
{
    for (const auto& [scale, rate] : {std::pair(0u, 25u), std::pair(1u, 0u), std::pair(0u, 0u)})
    {
        const CKrParsedFile file(VideoFile(720, 576, scale, rate));
        ASSERT_EQ(file.Status(), 1);
        EXPECT_EQ(file.Video().valid, 0) << scale << '/' << rate;
        EXPECT_EQ(file.Video().Id(), "00dc");
        EXPECT_EQ(file.Video().frames, 1u) << "the stream was taken all the same";
    }
}

TEST(VideoFormatReported, SizeWhoseLow16BitsAreZero_HasNoValidFormat)
{
    EXPECT_EQ(CKrParsedFile(VideoFile(0x10000, 576)).Video().valid, 0);
    EXPECT_EQ(CKrParsedFile(VideoFile(720, 0x10000)).Video().valid, 0);
    EXPECT_EQ(CKrParsedFile(VideoFile(0x10001, 0x10001)).Video().valid, 1);
}
