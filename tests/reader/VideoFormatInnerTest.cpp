// How a video stream's headers become its format, in every combination of values.
#include "reader/KrVideoFormat.h"

#include "format/KrFrameTables.h"

#include <gtest/gtest.h>

#include <limits>

namespace
{
constexpr int32_t kUpper = 0;
constexpr int32_t kLower = 1;
constexpr int32_t kProgressive = 2;

constexpr uint32_t kInterlacedCodes[] = {2, 3, 4, kNoFrameRate};
constexpr uint32_t kProgressiveCodes[] = {0, 1, 5, 6, 7};

int32_t ModeOf(uint32_t code, int32_t width, int32_t height)
{
    return static_cast<int32_t>(GuessScanMode(code, width, height));
}

SKrBitmapHeader Bitmap(int32_t width, int32_t height, uint16_t bitCount = 24)
{
    return {.width = width, .height = height, .bitCount = bitCount};
}

SKrStreamHeader Stream(uint32_t scale, uint32_t rate)
{
    return {.scale = scale, .rate = rate};
}

struct SSize
{
    int32_t width = 0;
    int32_t height = 0;
    int32_t mode = 0; // at the codes that have interlaced formats
};

// Heights at which a rule begins or ends, at widths at which one does.
constexpr SSize kSizes[] = {
    {720, 576, kUpper},
    {720, 480, kLower},
    {720, 486, kLower},
    {720, 540, kProgressive},
    {720, 534, kProgressive},
    {720, 575, kProgressive},
    {720, 577, kProgressive},
    {720, 479, kProgressive},
    {720, 481, kProgressive},
    {720, 485, kProgressive},
    {720, 487, kProgressive},
    {720, 719, kProgressive},
    {720, 720, kProgressive},
    {720, 1080, kProgressive},
    {720, 1, kProgressive},
    {719, 576, kProgressive},
    {721, 576, kProgressive},
    {1024, 576, kProgressive},
    {768, 576, kProgressive},
    {704, 480, kProgressive},
    {864, 486, kProgressive},
    {1280, 576, kProgressive},
    {1281, 576, kProgressive},
    {1920, 576, kProgressive},
    {1280, 480, kProgressive},
    {1281, 486, kProgressive},
    {1920, 719, kProgressive},
    {1281, 719, kProgressive},
    {1280, 719, kProgressive},
    {1279, 720, kProgressive},
    {1280, 720, kProgressive},
    {1281, 720, kUpper},
    {1920, 720, kUpper},
    {1280, 1080, kProgressive},
    {1281, 1080, kUpper},
    {1440, 1080, kUpper},
    {1920, 1080, kUpper},
    {960, 720, kProgressive},
    {1, 720, kProgressive},
    {1, 1, kProgressive},
    {3840, 2160, kUpper},
    {1080, 1920, kProgressive},
    {std::numeric_limits<int32_t>::max(), std::numeric_limits<int32_t>::max(), kUpper},
};
} // namespace

TEST(ScanModeGuess, RatesWithInterlacedFormatsOrNone_FollowTheSize)
{
    for (const uint32_t code : kInterlacedCodes)
    {
        for (const auto& [width, height, mode] : kSizes)
            EXPECT_EQ(ModeOf(code, width, height), mode) << code << ": " << width << " x " << height;
    }
}

TEST(ScanModeGuess, OtherRates_AreProgressiveAtAnySize)
{
    for (const uint32_t code : kProgressiveCodes)
    {
        for (const auto& [width, height, mode] : kSizes)
            EXPECT_EQ(ModeOf(code, width, height), kProgressive) << code << ": " << width << " x " << height;
    }
}

TEST(VideoFormat, SizeBeyond16Bits_KeepsItsLowHalvesForDisplay)
{
    const SKrAviVideoParams format = DescribeVideo(Bitmap(0x12345, 0x7FFF8001), Stream(1, 25));
    EXPECT_EQ(format.displayWidth, 0x2345);
    EXPECT_EQ(format.displayHeight, 0x8001);
    EXPECT_EQ(format.width, 0x12345);
    EXPECT_EQ(format.height, 0x7FFF8001);
    EXPECT_EQ(format.reservedA, 1u);
}

TEST(VideoFormat, Padding_IsZero)
{
    const SKrAviVideoParams format = DescribeVideo(Bitmap(720, 576), Stream(1, 25));
    EXPECT_EQ(format.padding[0] | format.padding[1] | format.padding[2], 0);
}

TEST(VideoFormat, ReservedA_ReportsWidthsAbove720)
{
    for (const int32_t width : {1, 480, 719, 720})
        EXPECT_EQ(DescribeVideo(Bitmap(width, 576), Stream(1, 25)).reservedA, 0u) << width;
    for (const int32_t width : {721, 1280, 0x10000})
        EXPECT_EQ(DescribeVideo(Bitmap(width, 576), Stream(1, 25)).reservedA, 1u) << width;
}

TEST(VideoFormat, ReservedB_ReportsThePixelFormat)
{
    EXPECT_EQ(DescribeVideo(Bitmap(720, 576, 24), Stream(1, 25)).reservedB, 3u);
    EXPECT_EQ(DescribeVideo(Bitmap(720, 576, 32), Stream(1, 25)).reservedB, 1u);
    for (const uint16_t bits : {1, 8, 12, 16, 23, 25, 31, 33, 48, 64, 0x118, 0x8018})
        EXPECT_EQ(DescribeVideo(Bitmap(720, 576, bits), Stream(1, 25)).reservedB, 0u) << bits;
}

TEST(VideoFormat, ZeroScaleOrRate_HasNoFrameRateCode)
{
    EXPECT_EQ(DescribeVideo(Bitmap(720, 576), Stream(0, 25)).frameRate, 0xFFFFFFFFu);
    EXPECT_EQ(DescribeVideo(Bitmap(720, 576), Stream(1, 0)).frameRate, 0xFFFFFFFFu);
    EXPECT_EQ(DescribeVideo(Bitmap(720, 576), Stream(0, 0)).frameRate, 0xFFFFFFFFu);
}

TEST(VideoFormat, NoFrameRateCode_StillSuggestsTheScanMode)
{
    EXPECT_EQ(DescribeVideo(Bitmap(720, 576), Stream(0, 0)).scanMode, kUpper);
    EXPECT_EQ(DescribeVideo(Bitmap(720, 480), Stream(0, 0)).scanMode, kLower);
    EXPECT_EQ(DescribeVideo(Bitmap(640, 480), Stream(0, 0)).scanMode, kProgressive);
}
