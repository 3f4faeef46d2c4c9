// How a pixel aspect ratio changes a video format, at the limits of its arithmetic.
#include "reader/KrVideoFormat.h"

#include "tests/reader/HeaderParseInnerSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <vector>

using namespace KrTest;

namespace
{
constexpr int kLargest = std::numeric_limits<int>::max();
constexpr int kSmallest = std::numeric_limits<int>::min();
constexpr uint16_t kBefore = 4321; // a display width that no step produces
constexpr uint32_t kModeBefore = 3;

SKrAviVideoParams Format(int32_t width, int32_t height)
{
    SKrAviVideoParams format = {};
    format.displayWidth = kBefore;
    format.displayHeight = static_cast<uint16_t>(height);
    format.bitCount = 8;
    format.reservedA = 1;
    format.aspectMode = kModeBefore;
    format.frameRate = 2;
    format.scanMode = 0;
    format.reservedB = 3;
    format.width = width;
    format.height = height;
    return format;
}

// The display width of a frame whose size no row of the table has.
uint16_t Scaled(int32_t width, int horizontal, int vertical)
{
    SKrAviVideoParams format = Format(width, 100);
    ApplyPixelAspect(format, horizontal, vertical);
    EXPECT_EQ(format.aspectMode, kModeBefore) << "only the table's frames change it";
    return format.displayWidth;
}
} // namespace

TEST(PixelAspectArithmetic, Ratio_ScalesTheStoredWidthNotTheDisplayWidth)
{
    EXPECT_EQ(Scaled(700, 2, 1), 1400);
    EXPECT_EQ(Scaled(700, 1, 2), 350);
    EXPECT_EQ(Scaled(700, 4, 3), 933);
}

TEST(PixelAspectArithmetic, ScaledFrame_KeepsEverythingElse)
{
    SKrAviVideoParams format = Format(700, 100);
    ApplyPixelAspect(format, 2, 1);
    SKrAviVideoParams expected = Format(700, 100);
    expected.displayWidth = 1400;
    EXPECT_EQ(std::memcmp(&format, &expected, sizeof format), 0);
}

TEST(PixelAspectArithmetic, SpecialFrame_KeepsEverythingButDisplayWidthAndAspectMode)
{
    SKrAviVideoParams format = Format(720, 576);
    ApplyPixelAspect(format, 64, 45);
    SKrAviVideoParams expected = Format(720, 576);
    expected.displayWidth = 1024;
    expected.aspectMode = 1;
    EXPECT_EQ(std::memcmp(&format, &expected, sizeof format), 0);
}

// Only the row can have set the aspect mode here.
TEST(PixelAspectArithmetic, SpecialFrames_SetTheAspectModeAndOthersDoNot)
{
    const struct
    {
        int horizontal, vertical;
        std::vector<int32_t> heights; // of the special frames, 720 wide
        uint32_t aspectMode;
        uint16_t displayWidth;
    } rows[] = {
        {16, 15, {576}, 0, 768}, {64, 45, {576}, 1, 1024},       {9, 10, {486}, 0, 648},
        {6, 5, {486}, 1, 864},   {648, 720, {486, 480}, 0, 648}, {864, 720, {486, 480}, 1, 864},
    };
    for (const auto& row : rows)
    {
        for (const int32_t width : {719, 720, 721})
        {
            for (const int32_t height : {479, 480, 481, 485, 486, 487, 575, 576, 577, 720})
            {
                const bool special =
                    width == 720 && std::ranges::find(row.heights, height) != row.heights.end();
                SKrAviVideoParams format = Format(width, height);
                ApplyPixelAspect(format, row.horizontal, row.vertical);
                EXPECT_EQ(format.aspectMode, special ? row.aspectMode : kModeBefore)
                    << row.horizontal << ':' << row.vertical << " on " << width << " x " << height;
                const bool known = width == 720;
                EXPECT_EQ(format.displayWidth == row.displayWidth, known) << "table and arithmetic agree";
            }
        }
    }
}

TEST(PixelAspectArithmetic, Halves_AreRoundedAwayFromZero)
{
    EXPECT_EQ(Scaled(1, 1, 2), 1);                // 0.5
    EXPECT_EQ(Scaled(3, 1, 2), 2);                // 1.5
    EXPECT_EQ(Scaled(5, 1, 2), 3);                // 2.5
    EXPECT_EQ(Scaled(5, 1, 4), 1);                // 1.25
    EXPECT_EQ(Scaled(7, 1, 4), 2);                // 1.75
    EXPECT_EQ(Scaled(721, -1, 2), 0x10000 - 361); // -360.5
    EXPECT_EQ(Scaled(721, 1, -2), 0x10000 - 361);
    EXPECT_EQ(Scaled(5, -1, 4), 0xFFFF); // -1.25
    EXPECT_EQ(Scaled(1, -1, 4), 0);      // -0.25
}

// The three orders of one division and one multiplication differ in the last bit, which decides at a half.
TEST(PixelAspectArithmetic, WidthIsDividedFirst_ThenMultiplied)
{
    EXPECT_EQ(Scaled(7, 45, 10), 31);   // 31.499999999999996; multiplying first would produce 31.5
    EXPECT_EQ(Scaled(3, 55, 22), 7);    // 7.499999999999999, likewise
    EXPECT_EQ(Scaled(720, 7, 160), 32); // 31.5; dividing first would produce 31.499999999999996
}

TEST(PixelAspectArithmetic, RatioWithin0_0001Of1_LeavesTheDisplayWidth)
{
    for (const int other : {10001, 9999, 10000})
    {
        EXPECT_EQ(Scaled(60000, other, 10000), kBefore) << other;
        EXPECT_EQ(Scaled(60000, -other, -10000), kBefore) << other;
    }
    EXPECT_EQ(Scaled(60000, 1, 1), kBefore);
    EXPECT_EQ(Scaled(60000, -1, -1), kBefore);
    EXPECT_EQ(Scaled(60000, kLargest, kLargest), kBefore);
    EXPECT_EQ(Scaled(60000, kSmallest, kSmallest), kBefore);
}

TEST(PixelAspectArithmetic, RatioJustBeyond0_0001Of1_Scales)
{
    EXPECT_EQ(Scaled(60000, 1000101, 1000000), 60006); // 60006.06
    EXPECT_EQ(Scaled(60000, 999899, 1000000), 59994);  // 59993.94
}

TEST(PixelAspectArithmetic, RatioOfMinus1_IsNotSquare)
{
    EXPECT_EQ(Scaled(700, -1, 1), 0x10000 - 700);
    EXPECT_EQ(Scaled(700, 1, -1), 0x10000 - 700);
}

TEST(PixelAspectArithmetic, VerticalOfZero_LeavesTheDisplayWidth)
{
    for (const int horizontal : {0, 1, -1, 16, kLargest, kSmallest})
        EXPECT_EQ(Scaled(700, horizontal, 0), kBefore) << horizontal;
}

TEST(PixelAspectArithmetic, HorizontalOfZero_GivesZero)
{
    EXPECT_EQ(Scaled(700, 0, 1), 0);
    EXPECT_EQ(Scaled(700, 0, -1), 0);
}

TEST(PixelAspectArithmetic, ResultIn32Bits_IsStoredInItsLow16Bits)
{
    EXPECT_EQ(Scaled(40000, 2, 1), 80000 - 0x10000);
    EXPECT_EQ(Scaled(0x8000, 2, 1), 0);
    EXPECT_EQ(Scaled(1, kLargest, 1), 0xFFFF);
    EXPECT_EQ(Scaled(1, kSmallest, 1), 0);
    EXPECT_EQ(Scaled(1, kSmallest + 5, 1), 5);
    EXPECT_EQ(Scaled(kLargest, 1, 2), 0) << "2^30 from 1073741823.5";
}

TEST(PixelAspectArithmetic, ResultBeyond32Bits_LeavesTheDisplayWidth)
{
    EXPECT_EQ(Scaled(2, kLargest, 1), kBefore);
    EXPECT_EQ(Scaled(2, kSmallest, 1), kBefore);
    EXPECT_EQ(Scaled(1, kSmallest, -1), kBefore) << "2^31 is one too many";
    EXPECT_EQ(Scaled(kLargest, 3, 2), kBefore);
    EXPECT_EQ(Scaled(kLargest, kLargest, 1), kBefore);
    EXPECT_EQ(Scaled(kLargest, kSmallest, 1), kBefore);
}

TEST(PixelAspectArithmetic, RowMultipliedByAFactor_IsNotARow)
{
    SKrAviVideoParams format = Format(720, 576);
    ApplyPixelAspect(format, 32, 30);
    EXPECT_EQ(format.displayWidth, 768);
    EXPECT_EQ(format.aspectMode, kModeBefore);
    ApplyPixelAspect(format, -16, -15);
    EXPECT_EQ(format.displayWidth, 768);
    EXPECT_EQ(format.aspectMode, kModeBefore);
}

TEST(PixelAspectArithmetic, ReducedRowOf720_IsNotARowOn480Lines)
{
    SKrAviVideoParams format = Format(720, 480);
    ApplyPixelAspect(format, 9, 10);
    EXPECT_EQ(format.displayWidth, 648);
    EXPECT_EQ(format.aspectMode, kModeBefore);
}

namespace
{
SKrSimpleAvi FileWithPrivateChunk()
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream({10})};
    avi.krlA = SKrTestKrlA{.scanMode = 2, .horizontal = 64, .vertical = 45};
    return avi;
}
} // namespace

TEST(PixelAspectStep, NoFrameRateCode_TakesNeither)
{
    SKrSimpleAvi avi = FileWithPrivateChunk();
    avi.streams[0].header.scale = 0;
    const CKrParsedInMemory file(avi);
    ASSERT_EQ(file.Status(), 1);
    EXPECT_EQ(file.State().videoFormat.frameRate, 0xFFFFFFFFu);
    EXPECT_EQ(file.State().videoFormat.scanMode, 0);
    EXPECT_EQ(file.State().videoFormat.displayWidth, 720);
    EXPECT_EQ(file.State().videoFormat.aspectMode, 0u);
}

TEST(PixelAspectStep, DisplayWidthOfZero_TakesNeither)
{
    SKrSimpleAvi avi = FileWithPrivateChunk();
    avi.streams = {VideoStream({10}, {.width = 0x10000, .height = 1080})}; // suggests scan mode 0
    const CKrParsedInMemory file(avi);
    ASSERT_EQ(file.Status(), 1);
    EXPECT_EQ(file.State().videoFormat.width, 0x10000);
    EXPECT_EQ(file.State().videoFormat.scanMode, 0);
    EXPECT_EQ(file.State().videoFormat.displayWidth, 0);
}

TEST(PixelAspectStep, NoVideoStream_TakesNeither)
{
    SKrSimpleAvi avi = FileWithPrivateChunk();
    avi.streams = {PcmStream({10})};
    const CKrParsedInMemory file(avi);
    ASSERT_EQ(file.Status(), 1);
    EXPECT_EQ(file.State().videoFormat.displayWidth, 0);
    EXPECT_EQ(file.State().videoFormat.scanMode, 0);
    EXPECT_EQ(file.State().videoFormat.aspectMode, 0u);
}

// The queries walk the segments; they must not change the state of a host's walk.
TEST(PixelAspectStep, WalksOfTheStep_LeaveNoWalkUnderWay)
{
    CKrParsedInMemory file(FileWithPrivateChunk());
    uint32_t type = 1;
    uint32_t size = 1;
    uint64_t offset = 1;
    EXPECT_EQ(file.Reader().FindNextRiffSegment(&type, &size, &offset, nullptr), 0);
    EXPECT_EQ(type, 1u);
    ASSERT_EQ(file.Reader().FindFirstRiffSegment(), 1);
    EXPECT_EQ(file.Reader().FindNextRiffSegment(&type, &size, &offset, nullptr), 0);
    EXPECT_EQ(offset, 8u);
}
