// The summary of an audio stream's chunk sizes computed slowly, rule by rule, over the whole list.
#ifndef KR_TESTS_READER_AUDIOSTATISTICSSUPPORT_H
#define KR_TESTS_READER_AUDIOSTATISTICSSUPPORT_H

#include "KrRiffUtils/KrRiffTypes.h"

#include <cstddef>
#include <cstdint>
#include <numeric>
#include <optional>
#include <ostream>
#include <vector>

namespace KrTest
{
using KrSizes = std::vector<uint32_t>;

// The four words of a summary, and the flag. Without a pattern, the caller's is not changed.
struct SKrSizeSummary
{
    std::optional<KrSizes> pattern; // kind, bytesPerPeriod, chunksPerPeriod, lastChunkBytes
    bool uniform = false;

    bool operator==(const SKrSizeSummary&) const = default;
};

inline void PrintTo(const SKrSizeSummary& summary, std::ostream* out)
{
    *out << "{";
    for (const uint32_t word : summary.pattern.value_or(KrSizes()))
        *out << word << ", ";
    *out << (summary.pattern ? "" : "no pattern, ") << (summary.uniform ? "uniform}" : "not uniform}");
}

[[nodiscard]] inline KrSizes ToWords(const SKrAudioChunkPattern& pattern)
{
    return {pattern.kind, pattern.bytesPerPeriod, pattern.chunksPerPeriod, pattern.lastChunkBytes};
}

[[nodiscard]] inline uint32_t SumOf(const KrSizes& sizes)
{
    return std::accumulate(sizes.begin(), sizes.end(), uint32_t{0}); // wraps
}

// Whether all sizes are equal, except that the first may be larger and those from number bound - 1 on are
// ignored. Fewer than two sizes leave the flag unchanged.
[[nodiscard]] inline bool ReferenceUniform(const KrSizes& sizes, uint64_t bound, bool before)
{
    bool uniform = before;
    for (size_t i = 1; i < sizes.size(); ++i)
    {
        if (i == 1)
            uniform = sizes[1] <= sizes[0];
        else if (i + 1 < bound)
            uniform = uniform && sizes[i] == sizes[i - 1];
    }
    return uniform;
}

// The search for a period, with every run kept as a list.
struct SKrReferencePeriod
{
    bool closed = false; // whether the first run ended and another chunk came
    uint32_t commonSize = 0;
    uint32_t chunks = 0;
    uint32_t bytes = 0;

    explicit SKrReferencePeriod(const KrSizes& sizes)
    {
        KrSizes run;
        bool differed = false;
        for (size_t i = 0; i < sizes.size(); ++i)
        {
            if (differed) // the chunk that differed ended the run; this one starts the next
            {
                closed = true;
                chunks += static_cast<uint32_t>(run.size());
                bytes += SumOf(run);
                run.clear();
            }
            if (closed)
                differed = sizes[i] != sizes[run.size() % chunks];
            else
                differed = i != 0 && sizes[i] != sizes[i - 1];
            if (!closed && !differed)
                commonSize = sizes[i];
            run.push_back(sizes[i]);
        }
    }
};

[[nodiscard]] inline uint32_t ReferenceFirstQuarter(const KrSizes& sizes)
{
    uint32_t bytes = 0;
    for (size_t m = 1; 4 * m < sizes.size(); ++m)
        bytes += sizes[m - 1];
    return bytes;
}

// The totals of the runs after the first quarter: two runs, and all the rest.
[[nodiscard]] inline KrSizes ReferenceLaterQuarters(const KrSizes& sizes)
{
    const size_t quarter = sizes.size() / 4;
    std::vector<KrSizes> runs(1);
    for (size_t i = quarter; i < sizes.size(); ++i)
    {
        runs.back().push_back(sizes[i]);
        if (quarter == 0 || (i + 1) % quarter == 0)
            runs.emplace_back();
    }
    KrSizes totals(3);
    for (size_t run = 0; run < runs.size(); ++run)
        totals[run < 3 ? run : 2] += SumOf(runs[run]);
    return totals;
}

[[nodiscard]] inline SKrSizeSummary ReferenceSummary(const KrSizes& sizes, uint64_t bound,
                                                     bool uniformBefore = false)
{
    SKrSizeSummary summary;
    summary.uniform = ReferenceUniform(sizes, bound, uniformBefore);
    if (sizes.empty())
        return summary;
    const SKrReferencePeriod period(sizes);
    if (!period.closed)
    {
        summary.pattern = {1, period.commonSize, 1, sizes.back()};
    }
    else if (period.chunks < sizes.size() / 4 * 3)
    {
        summary.pattern = {1, period.bytes, period.chunks, sizes.back()};
    }
    else
    {
        const KrSizes later = ReferenceLaterQuarters(sizes);
        summary.pattern = {ReferenceFirstQuarter(sizes), later[0], later[1], later[2]};
    }
    return summary;
}
} // namespace KrTest

#endif
