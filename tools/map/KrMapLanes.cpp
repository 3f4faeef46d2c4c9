// The lanes: which bytes are what, along the file; and the largest chunks.
#include "tools/command/KrFormat.h"
#include "tools/map/KrMapMeasures.h"

#include <algorithm>
#include <array>
#include <functional>

namespace KrTool
{
namespace
{
constexpr size_t kMostStreamLanes = 8;
constexpr size_t kMostLargest = 10;

// Which lane the spans of a kind and stream go to.
class CKrLaneTable
{
public:
    CKrLaneTable(const SKrFileSpans& file, std::vector<SKrLane>& lanes) : m_lanes(lanes)
    {
        AddLane(EKrSpanKind::Headers, "Headers");
        AddLane(EKrSpanKind::Index, "Indexes");
        AddStreamLanes(file);
        AddLane(EKrSpanKind::OtherData, "Other data");
        AddLane(EKrSpanKind::Padding, "Padding");
        AddLane(EKrSpanKind::Unaccounted, "In no chunk");
    }

    SKrLane& Of(const SKrSpan& span)
    {
        const size_t lane = Slot(span.kind, span.stream);
        return m_lanes[lane != kNone ? lane : Slot(EKrSpanKind::OtherData, 0)];
    }

private:
    static constexpr size_t kNone = SIZE_MAX;
    using Slots = std::array<size_t, kMostStreams>;

    size_t& Slot(EKrSpanKind kind, size_t stream) { return m_slots[static_cast<size_t>(kind)][stream]; }

    void AddLane(EKrSpanKind kind, const std::string& name, std::optional<uint32_t> stream = {})
    {
        Slot(kind, stream.value_or(0)) = m_lanes.size();
        m_lanes.push_back({.kind = kind, .stream = stream, .name = name, .bins = {}});
    }

    void AddStreamLanes(const SKrFileSpans& file)
    {
        std::array<std::array<bool, kMostStreams>, kSpanKinds> isThere{};
        for (const SKrSpan& span : file.spans)
            isThere[static_cast<size_t>(span.kind)][span.stream] = true;
        const size_t most = m_lanes.size() + kMostStreamLanes;
        for (uint32_t stream = 0; stream < kMostStreams; ++stream)
        {
            for (const EKrSpanKind kind : {EKrSpanKind::Video, EKrSpanKind::Audio})
            {
                Slot(kind, stream) = kNone;
                const char* const name = kind == EKrSpanKind::Audio ? "Audio" : "Video";
                if (isThere[static_cast<size_t>(kind)][stream] && m_lanes.size() < most)
                    AddLane(kind, Format("{}, stream {}", name, stream), stream);
            }
        }
    }

    std::vector<SKrLane>& m_lanes;
    std::array<Slots, kSpanKinds> m_slots{};
};

} // namespace

void MeasureLanes(const SKrFileSpans& file, uint64_t bins, SKrFileMap& map)
{
    CKrLaneTable table(file, map.lanes);
    const uint64_t count = std::min(bins, map.Bytes());
    for (SKrLane& lane : map.lanes)
        lane.bins.assign(static_cast<size_t>(count), 0);
    const auto binStart = [&map, count](uint64_t bin)
    {
        return SKrFileMap::BinStart(bin, count, map.start, map.end);
    };
    uint64_t bin = 0;
    for (size_t place = 0; place < file.spans.size(); ++place)
    {
        const SKrSpan& span = file.spans[place];
        uint64_t start = std::max(map.start, span.start);
        const uint64_t end = std::min(map.end, file.EndOf(place));
        if (start >= end)
            continue;
        SKrLane& lane = table.Of(span);
        lane.bytes += end - start;
        lane.chunks += IsDataSpan(span) ? 1 : 0;
        while (start < end)
        {
            while (binStart(bin + 1) <= start)
                ++bin;
            const uint64_t part = std::min(end, binStart(bin + 1)) - start;
            lane.bins[static_cast<size_t>(bin)] += part;
            start += part;
        }
    }
    // Lanes without bytes are left out, but not that of the indexes: what is missing there is damage.
    std::erase_if(map.lanes,
                  [](const SKrLane& lane) { return lane.bytes == 0 && lane.kind != EKrSpanKind::Index; });
}

// One more than are shown, so that chunks as large as those left out are left out as well.
void MeasureLargest(const std::vector<CKrMapTrack>& tracks, SKrFileMap& map)
{
    std::vector<SKrLargeChunk>& largest = map.largest;
    uint32_t smallest = UINT32_MAX;
    for (const CKrMapTrack& track : tracks)
    {
        for (size_t number = 0; number < track.Count(); ++number)
        {
            const uint32_t size = track.Payload(number);
            const uint64_t position = track.Start(number);
            if (position < map.start || position >= map.end || size == 0)
                continue;
            smallest = std::min(smallest, size);
            const bool isFull = largest.size() > kMostLargest;
            if (isFull && size <= largest.back().size)
                continue;
            SKrLargeChunk chunk = {track.Kind(), track.Stream(), number, {}, position, size};
            if (track.HasTime())
                chunk.seconds = track.SecondsAtChunk(number);
            if (isFull)
                largest.pop_back();
            largest.insert(std::ranges::upper_bound(largest, size, std::greater(), &SKrLargeChunk::size),
                           chunk);
        }
    }
    const uint32_t rest = largest.size() > kMostLargest ? largest.back().size : smallest;
    std::erase_if(largest, [rest](const SKrLargeChunk& chunk) { return chunk.size == rest; });
}
} // namespace KrTool
