// The summary of an audio stream's chunk sizes: named cases, and every short and many long sequences compared
// with a slow reference.
#include "tests/reader/AudioStatisticsSupport.h"

#include "reader/KrAudioChunkPattern.h"
#include "reader/KrStreamStatistics.h"

#include <gtest/gtest.h>

#include <random>

using namespace KrTest;

namespace
{
SKrSizeSummary Summary(const KrSizes& sizes, uint64_t bound, bool uniformBefore = false)
{
    std::vector<SKrChunkIndexEntry> entries(sizes.size());
    for (size_t i = 0; i < sizes.size(); ++i)
        entries[i].size = sizes[i];
    SKrStreamStatistics statistics;
    statistics.uniformAudioChunks = uniformBefore;
    statistics.AddAudioLoad(entries, bound, 1);
    SKrSizeSummary summary{std::nullopt, statistics.uniformAudioChunks};
    if (!entries.empty())
        summary.pattern = ToWords(FindAudioChunkPattern(entries));
    return summary;
}

KrSizes PatternOf(const KrSizes& sizes)
{
    return Summary(sizes, sizes.size()).pattern.value();
}

bool UniformWithin(uint64_t bound, const KrSizes& sizes, bool before = false)
{
    return Summary(sizes, bound, before).uniform;
}

KrSizes Repeat(const KrSizes& period, size_t count)
{
    KrSizes sizes;
    while (sizes.size() < count)
        sizes.push_back(period[sizes.size() % period.size()]);
    return sizes;
}

void ExpectReference(const KrSizes& sizes)
{
    // An index may announce this stream's entries, too many, or those of several streams.
    for (const uint64_t bound : {sizes.size(), sizes.size() + 1, 2 * sizes.size()})
    {
        for (const bool before : {false, true})
        {
            const SKrSizeSummary expected = ReferenceSummary(sizes, bound, before);
            const SKrSizeSummary actual = Summary(sizes, bound, before);
            ASSERT_EQ(actual, expected) << testing::PrintToString(sizes) << " bound " << bound;
        }
    }
}

// All sequences of `count` sizes from an alphabet.
void ExpectReferenceForAll(const KrSizes& alphabet, size_t count)
{
    std::vector<size_t> digits(count);
    for (;;)
    {
        KrSizes sizes;
        for (const size_t digit : digits)
            sizes.push_back(alphabet[digit]);
        ExpectReference(sizes);
        size_t place = 0;
        while (place < count && ++digits[place] == alphabet.size())
            digits[place++] = 0;
        if (place == count || testing::Test::HasFatalFailure())
            return;
    }
}
} // namespace

TEST(AudioStatistics, NoChunk_LeavesTheFlag)
{
    for (const bool before : {false, true})
        EXPECT_EQ(Summary({}, 0, before), (SKrSizeSummary{std::nullopt, before}));
}

TEST(AudioStatistics, OneChunk_IsItsOwnPeriodAndLeavesTheFlag)
{
    for (const bool before : {false, true})
        EXPECT_EQ(Summary({7680}, 1, before), (SKrSizeSummary{KrSizes{1, 7680, 1, 7680}, before}));
}

TEST(AudioStatistics, EqualSizes_AreOnePeriodOfOneChunk)
{
    EXPECT_EQ(Summary(KrSizes(100, 7680), 100), (SKrSizeSummary{KrSizes{1, 7680, 1, 7680}, true}));
}

TEST(AudioStatistics, OnlyTheLastDiffers_LeavesTheCommonSize)
{
    KrSizes sizes(100, 7680);
    sizes.back() = 11;
    EXPECT_EQ(PatternOf(sizes), (KrSizes{1, 7680, 1, 11}));
    sizes.back() = 9000;
    EXPECT_EQ(PatternOf(sizes), (KrSizes{1, 7680, 1, 9000}));
}

TEST(AudioStatistics, ExactlyOneChunkAfterTheDifference_ClosesThePeriod)
{
    // Eight chunks: a period of 7 is not shorter than 2 * 3.
    KrSizes sizes{5, 5, 5, 5, 5, 5, 6, 5};
    EXPECT_EQ(PatternOf(sizes), (KrSizes{5, 10, 10, 11}));
    sizes.pop_back();
    EXPECT_EQ(PatternOf(sizes), (KrSizes{1, 5, 1, 6}));
}

TEST(AudioStatistics, FirstChunkLarger_IsUniformButFindsNoPeriod)
{
    KrSizes sizes(12, 100);
    sizes[0] = 300;
    EXPECT_TRUE(UniformWithin(12, sizes));
    EXPECT_TRUE(UniformWithin(24, sizes));
    // The first run is {300, 100}; each later one breaks at its first chunk, which is not 300.
    EXPECT_EQ(PatternOf(sizes), (KrSizes{300 + 100, 300, 300, 300}));
}

TEST(AudioStatistics, FirstChunkSmaller_IsNotUniform)
{
    KrSizes sizes(12, 100);
    sizes[0] = 99;
    EXPECT_FALSE(UniformWithin(12, sizes));
}

TEST(AudioStatistics, TwoChunks_SetTheFlagByTheirOrderWhateverTheBound)
{
    for (const uint64_t bound : {uint64_t{2}, uint64_t{3}, uint64_t{100}})
    {
        EXPECT_TRUE(UniformWithin(bound, {8, 8}));
        EXPECT_TRUE(UniformWithin(bound, {8, 7}));
        EXPECT_FALSE(UniformWithin(bound, {8, 9}, true));
    }
}

TEST(AudioStatistics, LastChunkDiffers_CountsOnlyBelowTheBound)
{
    const KrSizes sizes{8, 8, 8, 3};
    EXPECT_TRUE(UniformWithin(4, sizes));  // the index announced these four
    EXPECT_FALSE(UniformWithin(5, sizes)); // or those of another stream as well
}

TEST(AudioStatistics, ChunkBeforeTheLastDiffers_IsNotUniform)
{
    EXPECT_FALSE(UniformWithin(4, {8, 8, 3, 3}));
    EXPECT_FALSE(UniformWithin(4, {8, 8, 3, 8}));
}

TEST(AudioStatistics, FlagOnceCleared_IsNotSetByEqualChunks)
{
    EXPECT_FALSE(UniformWithin(9, {8, 8, 3, 8, 8, 8, 8, 8, 8}));
    EXPECT_FALSE(UniformWithin(9, {3, 8, 8, 8, 8, 8, 8, 8, 8}, true));
}

// Five chunks of 48 kHz at 29.97 frames per second. Whether their cycle is found depends on where it starts:
// a break must come with the last chunk of a cycle, since the period grows up to the chunk that breaks it.
TEST(AudioStatistics, FiveChunksThatBreakAtTheirEnd_AreFoundAsThePeriod)
{
    constexpr uint32_t a = 1602 * 4;
    constexpr uint32_t b = 1601 * 4;
    for (const KrSizes& period : {KrSizes{a, a, b, a, b}, KrSizes{b, a, b, a, a}, KrSizes{a, b, a, a, b}})
        EXPECT_EQ(PatternOf(Repeat(period, 100)), (KrSizes{1, 8008 * 4, 5, period.back()}));
}

// Kept: these two never settle and result in totals of quarters, 25 chunks each.
TEST(AudioStatistics, FiveChunksThatBreakElsewhere_GiveTheTotalsOfTheQuarters)
{
    constexpr uint32_t a = 1602 * 4;
    constexpr uint32_t b = 1601 * 4;
    constexpr uint32_t quarter = 5 * 8008 * 4;
    EXPECT_EQ(PatternOf(Repeat({a, b, a, b, a}, 100)), (KrSizes{quarter - a, quarter, quarter, quarter}));
    EXPECT_EQ(PatternOf(Repeat({b, a, a, b, a}, 100)), (KrSizes{quarter - a, quarter, quarter, quarter}));
}

TEST(AudioStatistics, TwoSizesInTurn_AreAPeriodOfTwo)
{
    EXPECT_EQ(PatternOf(Repeat({10, 20}, 9)), (KrSizes{1, 30, 2, 10}));
    EXPECT_EQ(PatternOf(Repeat({10, 20}, 8)), (KrSizes{1, 30, 2, 20}));
}

TEST(AudioStatistics, BrokenPeriod_GrowsByTheChunksSinceItsLastStart)
{
    // {1, 2} then {1, 2, 3} breaks it: {1, 2, 1, 2, 3}, which repeats to the end.
    EXPECT_EQ(PatternOf(Repeat({1, 2, 1, 2, 3}, 20)), (KrSizes{1, 9, 5, 3}));
    // A mismatch in the last chunk has no effect: no chunk follows that would end the run.
    KrSizes sizes = Repeat({1, 2, 1, 2, 3}, 20);
    sizes.back() = 77;
    EXPECT_EQ(PatternOf(sizes), (KrSizes{1, 9, 5, 77}));
}

TEST(AudioStatistics, PeriodShorterThanThreeQuarters_Counts)
{
    // 20 chunks, three quarters are 15: a period of 14 counts, one of 15 does not.
    for (const size_t length : {size_t{14}, size_t{15}})
    {
        KrSizes period(length, 4);
        period.back() = 5;
        const KrSizes sizes = Repeat(period, 20);
        EXPECT_EQ(PatternOf(sizes)[0] == 1, length == 14) << length;
    }
}

TEST(AudioStatistics, QuarterIsRoundedDown_BeforeItIsTakenThreeTimes)
{
    // 23 chunks: the quarter is 5, the limit 15, although three quarters of 23 are 17.
    KrSizes period(16, 4);
    period.back() = 5;
    EXPECT_NE(PatternOf(Repeat(period, 23))[0], 1u);
}

TEST(AudioStatistics, IrregularSizes_GiveTheTotalsOfTheQuarters)
{
    // Nine chunks, quarter 2: entries 0 and 1, then 2 and 3, 4 and 5, and the rest. All sums differ.
    EXPECT_EQ(PatternOf({1, 2, 4, 8, 16, 32, 64, 128, 256}),
              (KrSizes{1 + 2, 4 + 8, 16 + 32, 64 + 128 + 256}));
}

TEST(AudioStatistics, MultipleOfFourChunks_LeaveTheFirstQuarterOneShort)
{
    // Eight chunks: entry 8, which would add the second one, does not exist.
    EXPECT_EQ(PatternOf({1, 2, 4, 8, 16, 32, 64, 128}), (KrSizes{1, 4 + 8, 16 + 32, 64 + 128}));
    // Four: nothing is in the first quarter.
    EXPECT_EQ(PatternOf({1, 2, 4, 8}), (KrSizes{0, 2, 4, 8}));
}

TEST(AudioStatistics, ThreeChunks_EachEndARun)
{
    EXPECT_EQ(PatternOf({1, 2, 4}), (KrSizes{0, 1, 2, 4}));
}

TEST(AudioStatistics, FirstQuarterOfOneByte_LooksLikeAPeriod)
{
    // Kept: the first word alone distinguishes the two meanings.
    EXPECT_EQ(PatternOf({1, 2, 4, 8, 16}), (KrSizes{1, 2, 4, 24}));
}

TEST(AudioStatistics, Sums_WrapAt32Bits)
{
    EXPECT_EQ(PatternOf(Repeat({0x80000001, 0x80000002}, 40)), (KrSizes{1, 3, 2, 0x80000002}));
    const KrSizes irregular{0xFFFFFFFF, 0xFFFFFFFE, 3, 0xFFFFFFFF, 5, 0xFFFFFFF0, 7, 0xFFFFFFFF, 0xF0000000};
    EXPECT_EQ(PatternOf(irregular), (KrSizes{0xFFFFFFFD, 2, 0xFFFFFFF5, 0xF0000006}));
}

TEST(AudioStatistics, ZeroSizes_AreSizesLikeAnyOther)
{
    EXPECT_EQ(Summary(KrSizes(10, 0), 10), (SKrSizeSummary{KrSizes{1, 0, 1, 0}, true}));
    EXPECT_EQ(PatternOf(Repeat({0, 5}, 10)), (KrSizes{1, 5, 2, 5}));
}

TEST(AudioStatistics, EverySequenceOfTwoSizes_MatchesTheReference)
{
    for (const KrSizes& alphabet : {KrSizes{6404, 6408}, KrSizes{0x90000000, 1}})
    {
        for (size_t count = 1; count <= 11; ++count)
            ASSERT_NO_FATAL_FAILURE(ExpectReferenceForAll(alphabet, count));
    }
}

TEST(AudioStatistics, EverySequenceOfThreeSizes_MatchesTheReference)
{
    for (size_t count = 1; count <= 8; ++count)
        ASSERT_NO_FATAL_FAILURE(ExpectReferenceForAll({0, 1, 0xFFFFFFFF}, count));
}

TEST(AudioStatistics, LongSequences_MatchTheReference)
{
    std::mt19937 random(20240229);
    for (int round = 0; round < 1500; ++round)
    {
        KrSizes period;
        for (size_t length = 1 + random() % 12; period.size() < length;)
            period.push_back(6400 + 4 * (random() % 3));
        KrSizes sizes = Repeat(period, 1 + random() % 300);
        for (uint32_t faults = random() % 4; faults > 0; --faults)
            sizes[random() % sizes.size()] = static_cast<uint32_t>(random());
        ASSERT_NO_FATAL_FAILURE(ExpectReference(sizes));
    }
}
