// The summary of audio chunk sizes, against a plain reading of its rules.
#include "reader/KrAudioChunkStatistics.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace
{
using Sizes = std::vector<uint32_t>;
using Pattern = std::array<uint32_t, 4>;

struct SSummary
{
    Pattern pattern = {7, 7, 7, 7}; // as before the load when nothing is produced
    bool uniform = false;

    bool operator==(const SSummary&) const = default;
};

std::ostream& operator<<(std::ostream& out, const SSummary& summary)
{
    for (const uint32_t value : summary.pattern)
        out << value << ' ';
    return out << (summary.uniform ? "uniform" : "not uniform");
}

SSummary Summarise(const Sizes& sizes, uint64_t bound, bool uniformBefore = false)
{
    std::vector<SKrChunkIndexEntry> entries;
    for (const uint32_t size : sizes)
        entries.push_back({0, size, 0});
    SSummary summary;
    summary.uniform = uniformBefore;
    CKrAudioChunkStatistics statistics(bound, summary.uniform);
    for (size_t index = 0; index < entries.size(); ++index)
        statistics.Add(entries.data(), index);
    SKrAudioChunkPattern pattern = {7, 7, 7, 7};
    statistics.Finish(entries.data(), entries.size(), pattern);
    summary.pattern = {pattern.kind, pattern.bytesPerPeriod, pattern.chunksPerPeriod, pattern.lastChunkBytes};
    return summary;
}

uint32_t Sum(const Sizes& sizes, size_t first, size_t end)
{
    uint32_t sum = 0;
    for (size_t index = first; index < end; ++index)
        sum += sizes[index];
    return sum;
}

// The period found after all chunks, 0 when the first run was never closed. A run that ends with the last
// chunk is not closed: no chunk comes behind it.
size_t PlainPeriod(const Sizes& sizes)
{
    size_t period = 0;
    size_t restart = 0;
    for (size_t index = 0; index < sizes.size(); ++index)
    {
        const bool differs = period == 0 ? index > 0 && sizes[index] != sizes[index - 1]
                                         : sizes[index] != sizes[(index - restart) % period];
        if (differs && index + 1 < sizes.size())
        {
            period = index + 1; // all chunks up to this one: runs follow each other without a gap
            restart = index + 1;
        }
    }
    return period;
}

uint32_t PlainCommonSize(const Sizes& sizes)
{
    uint32_t common = sizes[0];
    for (size_t index = 1; index < sizes.size() && sizes[index] == sizes[index - 1]; ++index)
        common = sizes[index];
    return common;
}

Pattern PlainQuarters(const Sizes& sizes)
{
    const size_t count = sizes.size();
    const size_t quarter = count / 4;
    Pattern pattern = {Sum(sizes, 0, (count - 1) / 4 < 1 ? 0 : (count - 1) / 4), 0, 0, 0};
    if (quarter == 0) // every chunk is a run
    {
        for (size_t index = 0; index < count; ++index)
            pattern[std::min<size_t>(index + 1, 3)] += sizes[index];
        return pattern;
    }
    pattern[1] = Sum(sizes, quarter, 2 * quarter);
    pattern[2] = Sum(sizes, 2 * quarter, 3 * quarter);
    pattern[3] = Sum(sizes, 3 * quarter, count);
    return pattern;
}

SSummary PlainSummary(const Sizes& sizes, uint64_t bound, bool uniformBefore = false)
{
    SSummary summary;
    summary.uniform = uniformBefore;
    if (sizes.empty())
        return summary;
    if (sizes.size() > 1)
        summary.uniform = sizes[1] <= sizes[0];
    for (size_t index = 2; index < sizes.size() && index + 1 < bound; ++index)
        summary.uniform = summary.uniform && sizes[index] == sizes[index - 1];

    const size_t period = PlainPeriod(sizes);
    if (period == 0)
        summary.pattern = {1, PlainCommonSize(sizes), 1, sizes.back()};
    else if (period < sizes.size() / 4 * 3)
        summary.pattern = {1, Sum(sizes, 0, period), static_cast<uint32_t>(period), sizes.back()};
    else
        summary.pattern = PlainQuarters(sizes);
    return summary;
}

std::string Text(const Sizes& sizes)
{
    std::string text;
    for (const uint32_t size : sizes)
        text += std::to_string(size) + ' ';
    return text;
}
} // namespace

TEST(AudioChunkStatistics, NoChunk_LeavesPatternAndFlag)
{
    EXPECT_EQ(Summarise({}, 0, true), (SSummary{{7, 7, 7, 7}, true}));
}

TEST(AudioChunkStatistics, OneChunk_IsItsOwnPeriodAndLeavesTheFlag)
{
    EXPECT_EQ(Summarise({40}, 1, true), (SSummary{{1, 40, 1, 40}, true}));
    EXPECT_EQ(Summarise({40}, 1, false), (SSummary{{1, 40, 1, 40}, false}));
}

TEST(AudioChunkStatistics, Uniform_HasPeriodOne)
{
    EXPECT_EQ(Summarise(Sizes(9, 40), 9), (SSummary{{1, 40, 1, 40}, true}));
}

TEST(AudioChunkStatistics, FirstLarger_IsUniformYetNotOfPeriodOne)
{
    // The first two make a run; what follows breaks it at once and then at every second chunk.
    Sizes sizes(40, 10);
    sizes[0] = 30;
    const SSummary summary = Summarise(sizes, sizes.size());
    EXPECT_TRUE(summary.uniform);
    EXPECT_EQ(summary, PlainSummary(sizes, sizes.size()));
}

TEST(AudioChunkStatistics, LastSmaller_IsPeriodOneAndUniformOnlyUpToTheBound)
{
    const Sizes sizes = {40, 40, 40, 40, 8};
    EXPECT_EQ(Summarise(sizes, 5), (SSummary{{1, 40, 1, 8}, true})); // the index announces these chunks alone
    EXPECT_EQ(Summarise(sizes, 10), (SSummary{{1, 40, 1, 8}, false})); // and those of another stream as well
}

TEST(AudioChunkStatistics, SecondLarger_IsNotUniform)
{
    EXPECT_FALSE(Summarise({10, 20, 20, 20}, 4).uniform);
}

TEST(AudioChunkStatistics, PeriodThatEndsWithItsOnlyOtherSize_IsFound)
{
    Sizes sizes;
    for (int period = 0; period < 10; ++period)
        sizes.insert(sizes.end(), {6408, 6408, 6408, 6404});
    EXPECT_EQ(Summarise(sizes, 40), (SSummary{{1, 3 * 6408 + 6404, 4, 6404}, false}));
}

TEST(AudioChunkStatistics, PeriodThatIsBrokenOnce_GrowsByTheRunUpToTheBreak)
{
    // (10, 20) is taken for a period, broken by the second 10 in a row; from there on the longer one holds.
    Sizes sizes;
    for (int period = 0; period < 10; ++period)
        sizes.insert(sizes.end(), {10, 20, 10, 10});
    EXPECT_EQ(Summarise(sizes, 40), (SSummary{{1, 50, 4, 10}, false}));
}

TEST(AudioChunkStatistics, FivePeriodOfTheField_IsNotFound)
{
    // 48 kHz at 30000/1001 frames a second: each run breaks in the middle of a period, so that it grows for
    // ever.
    Sizes sizes;
    for (int period = 0; period < 40; ++period)
        sizes.insert(sizes.end(), {6408, 6404, 6408, 6404, 6408});
    EXPECT_EQ(Summarise(sizes, 200), (SSummary{{Sum(sizes, 0, 49), 320320, 320320, 320320}, false}));
}

TEST(AudioChunkStatistics, IrregularSizes_GiveQuarterTotals)
{
    const Sizes sizes = {1, 2, 4, 8, 16, 32, 64, 128, 256};
    // first quarter: chunks 0 and 1; then two, two, and the rest
    EXPECT_EQ(Summarise(sizes, 9), (SSummary{{3, 4 + 8, 16 + 32, 64 + 128 + 256}, false}));
    const Sizes eight(sizes.begin(),
                      sizes.end() - 1); // a multiple of four: the first quarter stops one short
    EXPECT_EQ(Summarise(eight, 8), (SSummary{{1, 4 + 8, 16 + 32, 64 + 128}, false}));
    EXPECT_EQ(Summarise({5, 6, 7}, 3), (SSummary{{0, 5, 6, 7}, false}));
}

TEST(AudioChunkStatistics, Sums_WrapAt32Bits)
{
    const Sizes sizes = {0x80000000, 0x80000001, 0x80000000, 0x80000001, 0x80000000, 0x80000001,
                         0x80000000, 0x80000001, 0x80000000, 0x80000001, 0x80000000, 0x80000001};
    const SSummary summary = Summarise(sizes, sizes.size());
    EXPECT_EQ(summary, PlainSummary(sizes, sizes.size()));
    EXPECT_EQ(summary.pattern, (Pattern{1, 1, 2, 0x80000001}));
}

TEST(AudioChunkStatistics, AllSequencesOfTwoSizesUpToNine_MatchThePlainRules)
{
    for (size_t count = 1; count <= 9; ++count)
    {
        for (uint32_t bits = 0; bits < 1u << count; ++bits)
        {
            Sizes sizes;
            for (size_t index = 0; index < count; ++index)
                sizes.push_back((bits >> index & 1) != 0 ? 1000 : 1);
            for (const uint64_t bound : {uint64_t{count}, uint64_t{count + 1}, uint64_t{2 * count}})
                ASSERT_EQ(Summarise(sizes, bound), PlainSummary(sizes, bound)) << Text(sizes) << bound;
        }
    }
}

TEST(AudioChunkStatistics, RandomSequences_MatchThePlainRules)
{
    std::mt19937 random(20);
    for (int round = 0; round < 5000; ++round)
    {
        const uint32_t values = 1 + random() % 3;
        const size_t period = 1 + random() % 7;
        Sizes sizes;
        const size_t count = 1 + random() % 120;
        for (size_t index = 0; index < count; ++index)
            sizes.push_back(index < period || random() % 50 == 0 ? random() % values : sizes[index - period]);
        ASSERT_EQ(Summarise(sizes, count), PlainSummary(sizes, count)) << Text(sizes);
    }
}
