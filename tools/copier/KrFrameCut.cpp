#include "tools/copier/KrFrameCut.h"

#include "format/KrFourCC.h"
#include "tools/avi/KrInputFile.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrReport.h"
#include "tools/command/KrText.h"
#include "tools/command/KrToolError.h"
#include "tools/copier/KrStreamTime.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace KrTool
{
namespace
{
constexpr double kAudible = 0.0005; // seconds; smaller differences are not reported

// The chunk of a change of the whole palette: the ones before it have no effect.
constexpr uint32_t kWholePalette = 4 + 256 * 4;

class CKrFrameCutting
{
public:
    CKrFrameCutting(SKrCarriedSource& source, const SKrCutRange& range, CKrReport& report)
        : m_source(source), m_range(range), m_report(report), m_path(source.file->Path())
    {
    }

    SKrTakenFrames Run()
    {
        FindVideo();
        FindRange();
        if (m_taken.first == 0 && !m_range.last)
            return m_taken;
        MakeBounds();
        CarriedChunks taken;
        taken.reserve(m_source.chunks.size());
        for (const SKrCarriedChunk& chunk : m_source.chunks)
            Take(chunk, taken);
        m_source.chunks = std::move(taken);
        m_source.isWhole = false; // the counts are others
        SetStarts();
        return m_taken;
    }

private:
    struct SBound
    {
        CKrStreamTime time;
        int64_t begin = 0; // units of the stream
        int64_t end = 0;
        uint64_t chunks = 0; // passed so far
        uint64_t bytes = 0;
        std::optional<int64_t> first{}; // unit that was taken first
        uint64_t units = 0;             // taken, where bytes can be cut
    };

    void FindVideo()
    {
        const std::optional<uint32_t> video = FirstStreamOfType(m_source.header, kFccVids);
        if (!video)
            throw CKrToolError(m_path, "it has no video stream, and frames are what is counted");
        m_video = *video;
        for (const SKrCarriedChunk& chunk : m_source.chunks)
        {
            if (chunk.stream == m_video && !chunk.IsPaletteChange())
                m_isKey.push_back(chunk.IsKeyFrame() && chunk.size != 0);
        }
        if (m_isKey.empty())
            throw CKrToolError(m_path, "it has no frames");
    }

    void FindRange()
    {
        const uint64_t count = m_isKey.size();
        m_taken = {m_range.first, m_range.last ? *m_range.last + 1 : count};
        if (m_taken.first >= count || m_taken.end > count)
            throw CKrToolError(
                m_path, Format("no such frames: video stream {} has {}", m_video, Counted(count, "frame")));
        if (m_isKey[m_taken.first] || std::ranges::find(m_isKey, true) == m_isKey.end())
            return; // some indexes mark no frame at all
        const auto place = m_isKey.begin() + static_cast<std::ptrdiff_t>(m_taken.first);
        const auto before = std::find(std::make_reverse_iterator(place), m_isKey.rend(), true);
        if (before != m_isKey.rend() && m_range.start == EKrCutStart::KeyBefore)
        {
            m_taken.first = static_cast<uint64_t>(m_isKey.rend() - before - 1);
            m_report.Note(Format("frame {} is not a key frame; the new file starts at frame {}",
                                 m_range.first, m_taken.first));
            return;
        }
        std::string text = Format("frame {} is not a key frame: ", m_taken.first);
        if (before != m_isKey.rend())
            text += Format("it needs frames from {} on; cut there, or use --key before",
                           m_isKey.rend() - before - 1);
        else
            text += "the frames it needs are not in the file";
        const auto next = std::find(place, m_isKey.end(), true);
        if (next != m_isKey.end())
            text += Format("; the next key frame is {}", next - m_isKey.begin());
        m_report.Finding(text);
    }

    [[nodiscard]] bool IsTimed(uint32_t stream) const
    {
        const uint32_t type = m_source.header.streams[stream].Fields().type;
        return type == kFccVids || type == kFccAuds;
    }

    void MakeBounds()
    {
        const std::vector<SKrCarriedStream>& streams = m_source.header.streams;
        for (uint32_t number = 0; number < streams.size(); ++number)
        {
            SBound bound = {CKrStreamTime(streams[m_video], streams[number], number, m_path)};
            if (number == m_video || !IsTimed(number))
            {
                bound.begin = static_cast<int64_t>(m_taken.first);
                bound.end = static_cast<int64_t>(m_taken.end);
            }
            else
            {
                bound.begin = bound.time.UnitAtFrame(m_taken.first);
                bound.end = bound.time.UnitAtFrame(m_taken.end);
            }
            if (m_taken.first == 0)
                bound.begin = std::min<int64_t>(bound.begin, 0); // sound before the first frame stays
            if (!m_range.last)
                bound.end = INT64_MAX;
            m_bounds.push_back(std::move(bound));
        }
    }

    // The units of a stream before a chunk; other streams than pictures and sound stay beside the frames.
    [[nodiscard]] int64_t UnitBefore(const SKrCarriedChunk& chunk) const
    {
        const SBound& bound = m_bounds[chunk.stream];
        if (!IsTimed(chunk.stream))
            return static_cast<int64_t>(std::min<uint64_t>(m_bounds[m_video].chunks, m_isKey.size() - 1));
        const uint32_t unit = bound.time.UnitBytes();
        return static_cast<int64_t>(unit == 0 ? bound.chunks : bound.bytes / unit);
    }

    void Take(const SKrCarriedChunk& chunk, CarriedChunks& taken)
    {
        SBound& bound = m_bounds[chunk.stream];
        const int64_t unit = UnitBefore(chunk);
        if (chunk.IsPaletteChange())
            return TakePaletteChange(chunk, unit, taken);
        if (bound.time.Cutting() == EKrCutting::Bytes)
        {
            TakeBytes(chunk, taken);
        }
        else if (unit >= bound.begin && unit < bound.end)
        {
            if (chunk.stream == m_video && !bound.first)
                taken.insert(taken.end(), m_palette.begin(), m_palette.end());
            bound.first = bound.first.value_or(unit);
            taken.push_back(chunk);
        }
        ++bound.chunks;
        bound.bytes += chunk.size;
    }

    // Those before the first frame still have an effect on it.
    void TakePaletteChange(const SKrCarriedChunk& chunk, int64_t unit, CarriedChunks& taken)
    {
        const SBound& bound = m_bounds[chunk.stream];
        if (chunk.stream != m_video || bound.first)
        {
            if (unit >= bound.begin && unit < bound.end)
                taken.push_back(chunk);
            return;
        }
        if (chunk.size >= kWholePalette)
            m_palette.clear();
        m_palette.push_back(chunk);
    }

    // The part of a chunk inside of the range.
    void TakeBytes(const SKrCarriedChunk& chunk, CarriedChunks& taken)
    {
        SBound& bound = m_bounds[chunk.stream];
        const uint64_t unit = bound.time.UnitBytes();
        const auto byteOf = [unit](int64_t units)
        {
            const uint64_t count = static_cast<uint64_t>(std::max<int64_t>(units, 0));
            return count > UINT64_MAX / unit ? UINT64_MAX : count * unit;
        };
        const uint64_t from = std::max(byteOf(bound.begin), bound.bytes);
        const uint64_t to = std::min(byteOf(bound.end), bound.bytes + chunk.size);
        if (from >= to)
            return;
        bound.first = bound.first.value_or(static_cast<int64_t>(from / unit));
        bound.units += (to - from) / unit;
        SKrCarriedChunk part = chunk;
        part.position += from - bound.bytes;
        part.size = static_cast<uint32_t>(to - from);
        taken.push_back(part);
    }

    // The new file starts with its first frame, and the other streams as long after it as they did.
    void SetStarts()
    {
        if (m_taken.first != 0)
            m_source.header.streams[m_video].SetStart(0);
        for (uint32_t number = 0; number < m_bounds.size(); ++number)
        {
            const SBound& bound = m_bounds[number];
            if (number == m_video || !IsTimed(number))
                continue;
            ReportSound(number, bound);
            if (m_taken.first == 0 || !bound.first)
                continue;
            const int64_t late = *bound.first - bound.begin;
            m_source.header.streams[number].SetStart(bound.time.AsStart(static_cast<uint64_t>(late)));
            const double seconds = bound.time.SecondsAfterFrame(*bound.first, m_taken.first);
            if (bound.time.Cutting() != EKrCutting::Bytes && std::abs(seconds) > kAudible)
                m_report.Note(Format(
                    "stream {} can only be cut between its packets: it starts {:.4f} s {} the first frame{}",
                    number, std::abs(seconds), seconds > 0 ? "after" : "before",
                    late > 0 ? ", as its header says" : ""));
        }
    }

    void ReportSound(uint32_t number, const SBound& bound)
    {
        const uint64_t end = static_cast<uint64_t>(std::max<int64_t>(bound.time.UnitAtFrame(m_taken.end), 0));
        const uint64_t begin = static_cast<uint64_t>(std::max<int64_t>(bound.begin, 0));
        if (bound.time.Cutting() == EKrCutting::Bytes && bound.units < end - std::min(begin, end))
            m_report.Note(Format("stream {}: the sound ends {} before the last frame", number,
                                 Counted(end - begin - bound.units, "sample frame")));
    }

    SKrCarriedSource& m_source;
    const SKrCutRange& m_range;
    CKrReport& m_report;
    const std::string m_path;
    uint32_t m_video = 0;
    std::vector<bool> m_isKey; // of the frames
    SKrTakenFrames m_taken;
    std::vector<SBound> m_bounds;
    CarriedChunks m_palette; // changes before the first frame
};
} // namespace

SKrTakenFrames CutFrames(SKrCarriedSource& source, const SKrCutRange& range, CKrReport& report)
{
    return CKrFrameCutting(source, range, report).Run();
}
} // namespace KrTool
