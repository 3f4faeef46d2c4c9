// The table of frame rates and how a stream's rate is matched with it.
#include "KrRiffUtils/KrRiffTypes.h"
#include "format/KrFrameTables.h"

#include <gtest/gtest.h>

#include <string>

namespace KrTest
{
// A row of the tests below. The test framework requires a type with linkage.
struct SKrFrameRateMatch
{
    std::string name;
    uint32_t scale = 0;
    uint32_t rate = 0;
    uint32_t code = 0;
};

static void PrintTo(const SKrFrameRateMatch& match, std::ostream* out)
{
    *out << match.scale << '/' << match.rate;
}
} // namespace KrTest

namespace
{
using SMatch = KrTest::SKrFrameRateMatch;

class FrameRateMatch : public testing::TestWithParam<SMatch>
{
};

std::string NameOf(const testing::TestParamInfo<SMatch>& info)
{
    return info.param.name;
}
} // namespace

TEST(FrameRates, Table_IsIndexedByTheCode)
{
    const struct
    {
        EKrFrameRate code;
        uint32_t rate;
        uint32_t scale;
    } rows[] = {
        {EKrFrameRate::Rate23_976, 24000, 1001}, {EKrFrameRate::Rate24, 24, 1}, {EKrFrameRate::Rate25, 25, 1},
        {EKrFrameRate::Rate29_97, 30000, 1001},  {EKrFrameRate::Rate30, 30, 1}, {EKrFrameRate::Rate50, 50, 1},
        {EKrFrameRate::Rate59_94, 60000, 1001},  {EKrFrameRate::Rate60, 60, 1},
    };
    ASSERT_EQ(KrFrameRates().size(), std::size(rows));
    for (uint32_t code = 0; code < std::size(rows); ++code)
    {
        EXPECT_EQ(static_cast<uint32_t>(rows[code].code), code);
        EXPECT_EQ(KrFrameRates()[code].rate, rows[code].rate) << code;
        EXPECT_EQ(KrFrameRates()[code].scale, rows[code].scale) << code;
    }
    EXPECT_EQ(kNoFrameRate, 0xFFFFFFFFu);
}

TEST_P(FrameRateMatch, ScaleAndRate_GiveTheCode)
{
    EXPECT_EQ(MatchFrameRate(GetParam().scale, GetParam().rate), GetParam().code);
}

INSTANTIATE_TEST_SUITE_P(ExactRow, FrameRateMatch,
                         testing::Values(SMatch{"Rate23_976", 1001, 24000, 0}, SMatch{"Rate24", 1, 24, 1},
                                         SMatch{"Rate25", 1, 25, 2}, SMatch{"Rate29_97", 1001, 30000, 3},
                                         SMatch{"Rate30", 1, 30, 4}, SMatch{"Rate50", 1, 50, 5},
                                         SMatch{"Rate59_94", 1001, 60000, 6}, SMatch{"Rate60", 1, 60, 7}),
                         NameOf);

INSTANTIATE_TEST_SUITE_P(
    OtherSpelling, FrameRateMatch,
    testing::Values(SMatch{"Rate23976By1000", 1000, 23976, 0}, SMatch{"Rate24000By1000", 1000, 24000, 1},
                    SMatch{"Microseconds40000", 40000, 1000000, 2}, SMatch{"Rate29970By1000", 1000, 29970, 3},
                    SMatch{"Microseconds33333", 33333, 1000000, 4},
                    SMatch{"Microseconds20000", 20000, 1000000, 5}, SMatch{"Rate59940By1000", 1000, 59940, 6},
                    SMatch{"Rate60000By1000", 1000, 60000, 7}),
    NameOf);

// 60 per second lies within 0.02 ms of 59.94: only the first pass can distinguish them. Scales are
// nanoseconds.
INSTANTIATE_TEST_SUITE_P(
    ToleranceOfTheFirstPass, FrameRateMatch,
    testing::Values(SMatch{"Within100nsAbove60", 16666760, 1000000000, 7},
                    SMatch{"Within100nsBelow60", 16666570, 1000000000, 7},
                    SMatch{"Beyond100nsAbove60_TakesTheEarlierRow", 16666770, 1000000000, 6},
                    SMatch{"Beyond100nsBelow60_TakesTheEarlierRow", 16666560, 1000000000, 6},
                    SMatch{"Microseconds16667_TakesTheEarlierRow", 16667, 1000000, 6},
                    SMatch{"Within100nsOf59_94", 16683430, 1000000000, 6}),
    NameOf);

INSTANTIATE_TEST_SUITE_P(ToleranceOfTheSecondPass, FrameRateMatch,
                         testing::Values(SMatch{"Between29_97And30_NearerTo30ButWithinOfBoth", 33348, 1000000,
                                                3},
                                         SMatch{"Between29_97And30_WithinOf30Only", 33346, 1000000, 4},
                                         SMatch{"Between29_97And30_WithinOf29_97Only", 33354, 1000000, 3},
                                         SMatch{"Between23_976And24_WithinOf23_976", 41690, 1000000, 0},
                                         SMatch{"Between23_976And24_WithinOf24", 41685, 1000000, 1},
                                         SMatch{"Faster60_WithinOf59_94", 16664, 1000000, 6},
                                         SMatch{"Faster60_BeyondOf59_94", 16663, 1000000, 7}),
                         NameOf);

INSTANTIATE_TEST_SUITE_P(Nearest, FrameRateMatch,
                         testing::Values(SMatch{"Rate15_Is23_976", 1, 15, 0},
                                         SMatch{"Rate1_Is23_976", 1, 1, 0},
                                         SMatch{"Rate24_4_Is24", 10, 244, 1}, SMatch{"Rate26_Is25", 1, 26, 2},
                                         SMatch{"Rate28_Is29_97", 1, 28, 3}, SMatch{"Rate33_Is30", 1, 33, 4},
                                         SMatch{"Rate48_Is50", 1, 48, 5}, SMatch{"Rate58_Is59_94", 1, 58, 6},
                                         SMatch{"Rate100_Is60", 1, 100, 7},
                                         SMatch{"Rate120_Is60", 1, 120, 7}),
                         NameOf);

// Durations that lie exactly in the middle of two rows, beyond 0.02 ms of both.
INSTANTIATE_TEST_SUITE_P(Tie, FrameRateMatch,
                         testing::Values(SMatch{"Between23_976And24_TakesTheEarlierRow", 667, 16000, 0},
                                         SMatch{"Between30And50_TakesTheEarlierRow", 2, 75, 4}),
                         NameOf);

// A product of scale and 1000 in 32 bits would wrap.
INSTANTIATE_TEST_SUITE_P(LargeValues, FrameRateMatch,
                         testing::Values(SMatch{"Scale5Million_Rate125Million", 5000000, 125000000, 2},
                                         SMatch{"ScaleWithTheSignBit", 0x80000000, 0xFFFFFFFF, 0},
                                         SMatch{"LargestScale_Rate1", 0xFFFFFFFF, 1, 0},
                                         SMatch{"Scale1_LargestRate", 1, 0xFFFFFFFF, 7},
                                         SMatch{"Scale85899346_LargestRate", 85899346, 0xFFFFFFFF, 5}),
                         NameOf);
