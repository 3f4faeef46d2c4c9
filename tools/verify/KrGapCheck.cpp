#include "tools/verify/KrGapReport.h"

#include "tools/verify/KrVerify.h"

#include <algorithm>

namespace KrTool
{
namespace
{
// Whether the bytes are data of the chunk before them, whose size is wrong: with that of an index it reaches
// to the next one.
bool BelongsToChunk(const SKrGap& gap, const std::vector<SKrDataChunk>& chunks)
{
    const auto next = std::ranges::upper_bound(chunks, gap.from, {}, &SKrDataChunk::Position);
    return next != chunks.begin() && (std::prev(next)->marks & SKrDataChunk::kReachesNext) != 0;
}
} // namespace

void CheckGaps(const SKrVerifyContext& context)
{
    SKrVerifyModel& model = context.model;
    for (SKrGap& gap : model.gaps)
    {
        if (gap.isReported)
            continue;
        gap.isReported = true;
        if (!BelongsToChunk(gap, model.chunks))
        {
            AddGap(context.results, KindOf(gap), gap);
            continue;
        }
        const uint64_t size = gap.to - gap.from;
        model.bytes[static_cast<size_t>(EKrBytes::Unaccounted)] -= size;
        model.bytes[static_cast<size_t>(EKrBytes::Data)] += size;
    }
}
} // namespace KrTool
