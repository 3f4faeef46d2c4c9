#include "tools/map/KrFileMap.h"

#include "tools/avi/KrInterleave.h"

#include <algorithm>

namespace KrTool
{
uint64_t SKrFileMap::BinStart(uint64_t bin, uint64_t bins, uint64_t start, uint64_t end)
{
    const uint64_t range = end - start;
    return start + range / bins * bin + range % bins * bin / bins;
}

uint64_t SKrFileMap::MissingBytes() const
{
    uint64_t missing = 0;
    for (const SKrMapList& segment : segments)
    {
        if (segment.completed && segment.claimedEnd > length)
            missing = std::max(missing, segment.claimedEnd - length);
    }
    return missing;
}

bool SKrFileMap::IsFar(const SKrDistanceBin& distance) const
{
    return IsBeyondLimit(distance.worst, interleaveLimit, 0);
}

double RateBinSeconds(const SKrFileMap& map, size_t bin)
{
    return std::min(map.rateBinSeconds, map.Seconds() - static_cast<double>(bin) * map.rateBinSeconds);
}

double BitsPerSecond(const SKrFileMap& map, const SKrRateSeries& series, size_t bin)
{
    return 8 * static_cast<double>(series.bins[bin]) / RateBinSeconds(map, bin);
}

uint64_t SeriesBytes(const SKrRateSeries& series)
{
    uint64_t bytes = 0;
    for (const uint64_t bin : series.bins)
        bytes += bin;
    return bytes;
}
} // namespace KrTool
