// The video format that a reader reports, from the headers of whole files.
#include "tests/reader/HeaderParseSupport.h"

#include <gtest/gtest.h>

using namespace KrTest;

namespace
{
SKrSimpleAvi VideoFileAtRate(int32_t width, int32_t height, uint32_t scale = 1, uint32_t rate = 25)
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream({10}, {.width = width, .height = height})};
    avi.streams[0].header.scale = scale;
    avi.streams[0].header.rate = rate;
    return avi;
}
} // namespace

// The tables and the scan mode guess have tests of their own; here the stored size and rate reach them.
TEST(VideoFormatReported, SizeAndRate_DecideAspectFrameRateAndScanMode)
{
    const struct
    {
        int32_t width, height;
        uint32_t scale, rate;
        uint32_t aspectMode, frameRate;
        int32_t scanMode;
    } cases[] = {
        {1920, 1080, 1001, 30000, 1, 3, 0},  {1280, 720, 1, 50, 1, 5, 2}, {720, 486, 1001, 30000, 0, 3, 1},
        {720, 576, 16667, 1000000, 0, 6, 2}, {640, 480, 1, 25, 3, 2, 2},  {720, 576, 1, 15, 0, 0, 2},
    };
    for (const auto& row : cases)
    {
        const SKrVideoAnswer video =
            CKrParsedFile(VideoFileAtRate(row.width, row.height, row.scale, row.rate)).Video();
        SCOPED_TRACE(testing::Message()
                     << row.width << " x " << row.height << " at " << row.scale << '/' << row.rate);
        ASSERT_EQ(video.valid, 1);
        EXPECT_EQ(video.format.displayWidth, row.width);
        EXPECT_EQ(video.format.displayHeight, row.height);
        EXPECT_EQ(video.format.aspectMode, row.aspectMode);
        EXPECT_EQ(video.format.frameRate, row.frameRate);
        EXPECT_EQ(video.format.scanMode, row.scanMode);
    }
}

TEST(VideoFormatReported, Frame720x576At25_HasAllItsFields)
{
    const CKrParsedFile file(VideoFileAtRate(720, 576));
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

TEST(VideoFormatReported, StoredBitCount_IsReportedButNeverInTheFormat)
{
    for (const uint16_t stored : {1, 32})
    {
        SKrSimpleAvi avi = VideoFileAtRate(720, 576);
        avi.streams = {VideoStream({10}, {.bitCount = stored, .compression = "YUY2"})};
        const SKrVideoAnswer video = CKrParsedFile(avi).Video();
        ASSERT_EQ(video.valid, 1) << stored;
        EXPECT_EQ(video.bitCount, stored);
        EXPECT_EQ(video.format.bitCount, 8u) << stored;
        EXPECT_EQ(IdText(video.compression), "YUY2");
    }
}
