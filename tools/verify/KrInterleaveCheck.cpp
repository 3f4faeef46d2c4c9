// The sound of each stream against the pictures of its time, in file order.
#include "format/KrFourCC.h"
#include "tools/avi/KrAudioRange.h"
#include "tools/avi/KrAviFacts.h"
#include "tools/avi/KrInterleave.h"
#include "tools/command/KrProgress.h"
#include "tools/verify/KrVerify.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <tuple>

namespace KrTool
{
namespace
{
constexpr size_t kMostFormatBytes = 40; // of an extensible sound format
constexpr uint64_t kSmallestHole = 16;  // bytes; less has no room for a chunk with data

// How far a stream has come, in its own units.
struct SKrStreamClock
{
    bool isSound = false;
    uint64_t unitBytes = 0; // 0: each chunk is a unit
    double secondsPerUnit = 0;
    double start = 0;
    uint64_t amount = 0; // chunks, or their bytes, up to here
    double last = 0;     // when the last chunk begins
    double end = 0;
    double worst = 0; // distance from a frame
    uint64_t worstAt = 0;

    void Pass(uint32_t size)
    {
        last = Seconds();
        amount += unitBytes == 0 ? 1 : size;
    }
    double Seconds() const
    {
        const double units =
            static_cast<double>(amount) / static_cast<double>(std::max<uint64_t>(unitBytes, 1));
        return start + units * secondsPerUnit;
    }
};

class CKrInterleaveCheck
{
public:
    explicit CKrInterleaveCheck(const SKrVerifyContext& context)
        : m_context(context), m_model(context.model), m_clocks(context.model.streams.size())
    {
    }

    void Run()
    {
        SetClocks();
        if (!m_video)
            return;
        KeepHolesOnly();
        ForEachChunk([this](uint64_t, uint32_t size, size_t stream) { m_clocks[stream].Pass(size); });
        for (SKrStreamClock& clock : m_clocks)
        {
            clock.end = clock.Seconds();
            clock.amount = 0;
            clock.last = clock.start;
        }
        ForEachChunk(
            [this](uint64_t position, uint32_t size, size_t stream)
            {
                if (stream == *m_video && size != 0) // a repeated frame has no picture to wait for
                    CompareFrame(position);
                m_clocks[stream].Pass(size);
            });
        for (size_t stream = 0; stream < m_clocks.size(); ++stream)
            Report(stream);
    }

private:
    void SetClocks()
    {
        for (size_t number = 0; number < m_model.streams.size(); ++number)
        {
            const SKrVerifyStream& stream = m_model.streams[number];
            SKrStreamClock& clock = m_clocks[number];
            SKrUnitRate rate = {stream.rate, stream.scale};
            if (stream.chunks == 0)
                continue;
            if (rate.IsValid())
                clock.start = static_cast<double>(stream.start) * rate.scale / rate.rate;
            clock.isSound = stream.type == kFccAuds;
            if (clock.isSound)
            {
                const SKrAudioUnit unit = UnitOf(stream);
                rate = unit.rate;
                clock.unitBytes = unit.bytes;
            }
            if (rate.IsValid())
                clock.secondsPerUnit = static_cast<double>(rate.scale) / rate.rate;
            if (stream.type == kFccVids && !m_video && rate.IsValid())
                m_video = number;
        }
    }

    SKrAudioUnit UnitOf(const SKrVerifyStream& stream) const
    {
        SKrAviStream described;
        static_cast<SKrStreamHeader&>(described) = stream;
        if (stream.format)
        {
            const auto size = std::min<size_t>(stream.format->size, kMostFormatBytes);
            const std::span<const uint8_t> bytes = m_context.window.At(stream.format->Data(), size);
            described.format.assign(bytes.begin(), bytes.end());
        }
        return AudioUnit(described);
    }

    // Of the chunks that only an index names, keeps those that were where the file now has a hole. Without an
    // index nothing is known of the time after a hole.
    void KeepHolesOnly()
    {
        std::vector<SKrLostChunk>& lost = m_model.lostChunks;
        const auto inHole = [this](const SKrLostChunk& chunk)
        {
            const auto after = std::ranges::upper_bound(m_model.gaps, chunk.position, {}, &SKrGap::from);
            return after != m_model.gaps.begin() && chunk.position < std::prev(after)->to;
        };
        std::erase_if(lost, [&](const SKrLostChunk& chunk) { return !chunk.isInChunk && !inHole(chunk); });
        const auto place = [](const SKrLostChunk& chunk)
        {
            return std::make_tuple(chunk.position, chunk.stream);
        };
        std::ranges::sort(lost, {}, place);
        const auto twice = std::ranges::unique(lost, {}, place); // named by both kinds of index
        lost.erase(twice.begin(), twice.end());
        if (m_model.HasIndexEntries())
            return;
        const auto hole =
            std::ranges::find_if(m_model.gaps, [](auto& gap) { return gap.to - gap.from >= kSmallestHole; });
        m_stop = hole == m_model.gaps.end() ? UINT64_MAX : hole->from;
    }

    // In file order, with those that are lost.
    template <class TAKE>
    void ForEachChunk(TAKE take)
    {
        const auto takeIfUsed = [&](uint64_t position, uint32_t size, size_t stream, EKrContent kind)
        {
            if (kind != EKrContent::Other && stream < m_clocks.size())
                take(position, size, stream);
        };
        auto lost = m_model.lostChunks.cbegin();
        const auto takeLost = [&](uint64_t until)
        {
            for (; lost != m_model.lostChunks.cend() && lost->position < until; ++lost)
                takeIfUsed(lost->position, lost->size, lost->stream, lost->kind);
        };
        for (const SKrDataChunk& chunk : m_model.chunks)
        {
            m_context.progress.StopIfAsked();
            if (chunk.position >= m_stop)
                return;
            takeLost(chunk.position);
            takeIfUsed(chunk.position, chunk.size, chunk.stream, chunk.kind);
        }
        takeLost(m_stop);
    }

    // With the sound that lies before it, where there is sound of its time at all.
    void CompareFrame(uint64_t position)
    {
        const double time = m_clocks[*m_video].Seconds();
        for (SKrStreamClock& clock : m_clocks)
        {
            if (!clock.isSound || time < clock.start || time >= clock.end)
                continue;
            const double distance = InterleaveDistance(time, clock.last, clock.Seconds());
            if (std::abs(distance) <= std::abs(clock.worst))
                continue;
            clock.worst = distance;
            clock.worstAt = position;
        }
    }

    void Report(size_t stream)
    {
        const SKrStreamClock& clock = m_clocks[stream];
        const double frame = m_clocks[*m_video].secondsPerUnit;
        if (IsBeyondLimit(clock.worst, m_context.interleaveLimit, frame))
            m_context.results.Add(
                EKrCheck::SoundFar, clock.worstAt,
                Format("sound at most {:g} s away", std::max(m_context.interleaveLimit, frame)),
                Format("stream {} {}", stream, DistanceText(clock.worst)));
    }

    const SKrVerifyContext& m_context;
    SKrVerifyModel& m_model;
    std::vector<SKrStreamClock> m_clocks;
    std::optional<size_t> m_video; // the first one that has frames
    uint64_t m_stop = UINT64_MAX;  // position from which on the time is not known
};
} // namespace

void CheckInterleave(const SKrVerifyContext& context)
{
    CKrInterleaveCheck(context).Run();
}
} // namespace KrTool
