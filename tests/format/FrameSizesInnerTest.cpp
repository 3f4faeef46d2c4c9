// The tables of frame sizes and of pixel aspect ratios.
#include "format/KrFrameTables.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <string>

namespace
{
constexpr int32_t kLargest = std::numeric_limits<int32_t>::max();

constexpr SKrFrameSize kRows[] = {
    {1920, 1080, 1}, {1440, 1080, 1}, {1280, 1080, 1}, {1280, 720, 1}, {960, 720, 1},
    {720, 576, 0},   {720, 486, 0},   {720, 480, 0},   {1024, 576, 1}, {856, 480, 1},
    {864, 486, 1},   {864, 480, 1},   {768, 576, 0},   {720, 540, 0},  {720, 534, 0},
};

class FrameSizeRow : public testing::TestWithParam<SKrFrameSize>
{
};

bool IsRow(int32_t width, int32_t height)
{
    return std::any_of(std::begin(kRows), std::end(kRows),
                       [&](const SKrFrameSize& row) { return row.width == width && row.height == height; });
}
} // namespace

// In the namespace of the library's type, where the test framework finds it.
static void PrintTo(const SKrFrameSize& size, std::ostream* out)
{
    *out << size.width << " x " << size.height;
}

INSTANTIATE_TEST_SUITE_P(Table, FrameSizeRow, testing::ValuesIn(kRows),
                         [](const testing::TestParamInfo<SKrFrameSize>& info) {
                             return "Size" + std::to_string(info.param.width) + "x" +
                                    std::to_string(info.param.height);
                         });

TEST_P(FrameSizeRow, Size_HasItsAspectMode)
{
    EXPECT_EQ(AspectModeOfSize(GetParam().width, GetParam().height), GetParam().aspectMode);
}

TEST_P(FrameSizeRow, WidthAndHeightSwapped_AreUnknown)
{
    EXPECT_EQ(AspectModeOfSize(GetParam().height, GetParam().width), kAspectModeUnknown);
}

TEST_P(FrameSizeRow, OneMoreOrLess_IsUnknown)
{
    const auto [width, height, mode] = GetParam();
    for (const int32_t step : {-1, 1})
    {
        EXPECT_EQ(AspectModeOfSize(width + step, height), kAspectModeUnknown);
        EXPECT_EQ(AspectModeOfSize(width, height + step), kAspectModeUnknown);
    }
    EXPECT_EQ(AspectModeOfSize(-width, height), kAspectModeUnknown);
    EXPECT_EQ(AspectModeOfSize(width, -height), kAspectModeUnknown);
}

TEST(FrameSizes, Table_HasTheseRowsInThisOrder)
{
    ASSERT_EQ(KrFrameSizes().size(), std::size(kRows));
    for (size_t index = 0; index < std::size(kRows); ++index)
    {
        EXPECT_EQ(KrFrameSizes()[index].width, kRows[index].width) << index;
        EXPECT_EQ(KrFrameSizes()[index].height, kRows[index].height) << index;
        EXPECT_EQ(KrFrameSizes()[index].aspectMode, kRows[index].aspectMode) << index;
    }
}

TEST(FrameSizes, WidthOfOneRowWithTheHeightOfAnother_IsUnknown)
{
    int unknown = 0;
    for (const SKrFrameSize& one : kRows)
    {
        for (const SKrFrameSize& other : kRows)
        {
            if (IsRow(one.width, other.height))
                continue;
            EXPECT_EQ(AspectModeOfSize(one.width, other.height), kAspectModeUnknown)
                << one.width << " x " << other.height;
            ++unknown;
        }
    }
    EXPECT_GT(unknown, 0);
}

TEST(FrameSizes, SizesOfNoRow_AreUnknown)
{
    EXPECT_EQ(AspectModeOfSize(640, 480), kAspectModeUnknown);
    EXPECT_EQ(AspectModeOfSize(3840, 2160), kAspectModeUnknown);
    EXPECT_EQ(AspectModeOfSize(1, 1), kAspectModeUnknown);
    EXPECT_EQ(AspectModeOfSize(0, 0), kAspectModeUnknown);
    EXPECT_EQ(AspectModeOfSize(kLargest, kLargest), kAspectModeUnknown);
    EXPECT_EQ(AspectModeOfSize(720 + 0x10000, 576), kAspectModeUnknown) << "more than 16 bits count";
}

TEST(FrameSizes, AspectModes_HaveTheseValues)
{
    EXPECT_EQ(kAspectMode4x3, 0u);
    EXPECT_EQ(kAspectMode16x9, 1u);
    EXPECT_EQ(kAspectModeUnknown, 3u);
    EXPECT_EQ(kAspectMode648x720, 4u);
    EXPECT_EQ(kAspectMode864x720, 5u);
}

TEST(PixelAspectRows, Table_HasTheseRows)
{
    constexpr SKrPixelAspectRow kExpected[] = {
        {16, 15, 720, 576, 0, 0, 768}, {64, 45, 720, 576, 0, 1, 1024},    {9, 10, 720, 486, 0, 0, 648},
        {6, 5, 720, 486, 0, 1, 864},   {648, 720, 720, 486, 480, 0, 648}, {864, 720, 720, 486, 480, 1, 864},
    };
    ASSERT_EQ(KrPixelAspectRows().size(), std::size(kExpected));
    for (size_t index = 0; index < std::size(kExpected); ++index)
    {
        SCOPED_TRACE(index);
        const SKrPixelAspectRow& row = KrPixelAspectRows()[index];
        EXPECT_EQ(row.horizontal, kExpected[index].horizontal);
        EXPECT_EQ(row.vertical, kExpected[index].vertical);
        EXPECT_EQ(row.width, kExpected[index].width);
        EXPECT_EQ(row.height, kExpected[index].height);
        EXPECT_EQ(row.otherHeight, kExpected[index].otherHeight);
        EXPECT_EQ(row.aspectMode, kExpected[index].aspectMode);
        EXPECT_EQ(row.displayWidth, kExpected[index].displayWidth);
    }
}
