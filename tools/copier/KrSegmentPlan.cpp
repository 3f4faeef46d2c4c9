#include "tools/copier/KrSegmentPlan.h"

#include "format/KrAviIndexes.h"
#include "format/KrChunkHeader.h"
#include "format/KrLimits.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrToolError.h"

#include <numeric>
#include <optional>

namespace KrTool
{
namespace
{
constexpr uint64_t kSegmentHead = kListHeaderSize + kListHeaderSize; // 'RIFF' and the list 'movi'

uint64_t ChunkBytes(uint64_t size)
{
    return kChunkHeaderSize + RoundUpToEven(size);
}

// Fills segment after segment.
class CKrSegmentFilling
{
public:
    CKrSegmentFilling(const SKrCopyJob& job, const std::string& output) : m_job(job), m_output(output)
    {
        for (const SKrCarriedStream& stream : job.header.streams)
            m_unit.push_back(BytesOfUnit(stream));
        for (uint32_t number = 0; number < m_unit.size() && !m_mainStream; ++number)
        {
            if (job.header.streams[number].Fields().type == kFccVids)
                m_mainStream = number;
        }
    }

    // `limit`: of a segment; a chunk that is larger alone has one of its own.
    SKrFilePlan Run(uint64_t headerSize, uint64_t limit, bool hasStandardIndexes)
    {
        m_plan = SKrFilePlan();
        m_plan.hasStandardIndexes = hasStandardIndexes;
        m_limit = limit;
        m_bytes.assign(m_unit.size(), 0);
        m_plan.chunkIds.assign(m_unit.size(), 0);
        Begin(0, 0, headerSize);
        m_used = headerSize + EncodedSize(m_job.header.afterData) + kChunkHeaderSize;
        size_t number = 0;
        m_job.ForEach(0, m_job.ChunkCount(),
                      [this, &number](const SKrCopyClip&, const SKrCarriedChunk& chunk)
                      { Take(chunk, number++); });
        End(number);
        return std::move(m_plan);
    }

private:
    SKrPlannedSegment& Current() { return m_plan.segments.back(); }

    void Begin(size_t chunk, uint64_t position, uint64_t headSize)
    {
        SKrPlannedSegment& segment = m_plan.segments.emplace_back();
        segment.firstChunk = chunk;
        segment.position = position;
        segment.dataPosition = position + headSize;
        segment.dataEnd = segment.dataPosition;
        segment.indexes.resize(m_unit.size());
        m_used = headSize;
    }

    void Take(const SKrCarriedChunk& chunk, size_t number)
    {
        if (chunk.size > INT32_MAX)
            throw CKrToolError(m_output, "a chunk of 2 GiB or more has no place in an index");
        uint64_t cost = CostOf(chunk);
        if (m_used + cost > m_limit && number > Current().firstChunk)
        {
            End(number);
            Begin(number, Current().end, kSegmentHead);
            cost = CostOf(chunk);
        }
        m_used += cost;
        SKrPlannedSegment& segment = Current();
        segment.dataEnd += ChunkBytes(chunk.size);
        m_plan.dataBytes += chunk.size;
        if (chunk.IsIndexed() && IsFirst())
            ++m_plan.oldIndexEntries;
        if (chunk.IsPaletteChange())
            return;
        if (m_plan.chunkIds[chunk.stream] == 0)
            m_plan.chunkIds[chunk.stream] = chunk.Id();
        ++segment.indexes[chunk.stream].entries;
        segment.frames += chunk.stream == m_mainStream ? 1 : 0;
        AddUnits(chunk, segment.indexes[chunk.stream]);
    }

    // Parts of units belong to the chunk that completes them.
    void AddUnits(const SKrCarriedChunk& chunk, SKrPlannedIndex& index)
    {
        const uint32_t unit = m_unit[chunk.stream];
        uint64_t& bytes = m_bytes[chunk.stream];
        index.units += unit == 0 ? 1 : static_cast<uint32_t>((bytes + chunk.size) / unit - bytes / unit);
        bytes += chunk.size;
    }

    [[nodiscard]] bool IsFirst() const { return m_plan.segments.size() == 1; }

    uint64_t CostOf(const SKrCarriedChunk& chunk)
    {
        uint64_t cost = ChunkBytes(chunk.size) + (IsFirst() ? SKrOldIndexEntry::kEncodedSize : 0);
        if (m_plan.hasStandardIndexes)
            cost += SKrStdIndexEntry::kEncodedSize +
                    (Current().indexes[chunk.stream].entries == 0 ? SKrStdIndexHead::kEncodedSize : 0);
        return cost;
    }

    void End(size_t chunk)
    {
        SKrPlannedSegment& segment = Current();
        segment.endChunk = chunk;
        segment.moviEnd = segment.dataEnd;
        for (SKrPlannedIndex& index : segment.indexes)
        {
            if (!m_plan.hasStandardIndexes || index.entries == 0)
                continue;
            index.position = segment.moviEnd;
            segment.moviEnd +=
                SKrStdIndexHead::kEncodedSize + uint64_t{index.entries} * SKrStdIndexEntry::kEncodedSize;
        }
        segment.end = segment.moviEnd;
        if (IsFirst())
            segment.end += kChunkHeaderSize + m_plan.oldIndexEntries * SKrOldIndexEntry::kEncodedSize +
                           EncodedSize(m_job.header.afterData);
        if (segment.end - segment.position > UINT32_MAX)
            throw CKrToolError(m_output, "a chunk is too large for a segment");
    }

    const SKrCopyJob& m_job;
    const std::string& m_output;
    std::vector<uint32_t> m_unit; // bytes of each stream's
    std::optional<uint32_t> m_mainStream;
    SKrFilePlan m_plan;
    uint64_t m_limit = 0;
    uint64_t m_used = 0; // of the segment, with its indexes
    std::vector<uint64_t> m_bytes;
};

// The same header with super indexes of that capacity.
uint64_t HeaderSize(const SKrCopyJob& job, size_t capacity, bool hasStandardIndexes)
{
    SKrFilePlan plan;
    plan.hasStandardIndexes = hasStandardIndexes;
    plan.superIndexCapacity = capacity;
    plan.segments.resize(1);
    plan.segments.front().indexes.resize(job.header.streams.size());
    return HeaderBytes(job, plan).size();
}
} // namespace

uint64_t EncodedSize(const std::vector<SKrCarriedBytes>& chunks)
{
    return std::accumulate(chunks.begin(), chunks.end(), uint64_t{0},
                           [](uint64_t sum, const SKrCarriedBytes& chunk)
                           { return sum + ChunkBytes(chunk.data.size()); });
}

SKrFilePlan PlanFile(const SKrCopyJob& job, const std::string& output)
{
    CKrSegmentFilling filling(job, output);
    SKrFilePlan plan = filling.Run(HeaderSize(job, 0, false), UINT32_MAX, false);
    if (plan.Size() <= kSegmentLimit)
        return plan;
    // A larger header may take a chunk out of the first segment, and then there is one segment more.
    for (size_t capacity = 2; plan.superIndexCapacity == 0 || capacity > plan.superIndexCapacity;
         capacity = plan.segments.size())
    {
        plan = filling.Run(HeaderSize(job, capacity, true), kSegmentLimit, true);
        plan.superIndexCapacity = capacity;
    }
    return plan;
}
} // namespace KrTool
