// What a map shows over time: data rates, and the distance of sound and frames.
#include "tools/avi/KrInterleave.h"
#include "tools/map/KrMapMeasures.h"
#include "tools/map/KrMapText.h"

#include <algorithm>
#include <cmath>

namespace KrTool
{
namespace
{
constexpr double kMostRateBins = 240;
constexpr double kShortestRateBin = 0.2; // seconds; frames of one file differ too much for less
constexpr double kShortRange = 2;        // seconds, which are shown frame by frame
constexpr double kSameTime = 1e-6;       // seconds, less than any sample takes

size_t BinAt(double seconds, double start, double binSeconds, size_t bins)
{
    const double place = std::floor((seconds - start) / binSeconds + kSameTime);
    return static_cast<size_t>(std::clamp(place, 0.0, static_cast<double>(bins - 1)));
}

// Shares a chunk's bytes out to the stretches that it lasts through.
void AddOverTime(uint64_t bytes, double from, double to, const SKrFileMap& map, std::vector<uint64_t>& bins)
{
    const double length = to - from;
    const auto bytesUntil = [bytes, from, length](double seconds)
    {
        const double part = std::clamp((seconds - from) / length, 0.0, 1.0);
        return std::min(bytes, static_cast<uint64_t>(part * static_cast<double>(bytes)));
    };
    const size_t first = BinAt(from, map.startSeconds, map.rateBinSeconds, bins.size());
    const size_t last = BinAt(to, map.startSeconds, map.rateBinSeconds, bins.size());
    uint64_t done = bytesUntil(map.startSeconds);
    for (size_t bin = first; bin <= last; ++bin)
    {
        const double end = map.startSeconds + static_cast<double>(bin + 1) * map.rateBinSeconds;
        const bool isRest = bin == last && to <= map.endSeconds + kSameTime;
        const uint64_t until = isRest ? bytes : bytesUntil(std::min(end, map.endSeconds));
        bins[bin] += until - done;
        done = until;
    }
}

void AddTo(SKrExtent& extent, double value, bool isFirst)
{
    extent.low = isFirst ? value : std::min(extent.low, value);
    extent.high = isFirst ? value : std::max(extent.high, value);
}

void AddTo(SKrDistanceBin& bin, double seconds, double bytes, double judged)
{
    if (std::abs(judged) > std::abs(bin.worst))
        bin.worst = judged;
    AddTo(bin.seconds, seconds, bin.frames == 0);
    AddTo(bin.bytes, bytes, bin.frames == 0);
    ++bin.frames;
}

} // namespace

void ChooseRateBins(const CKrMapTrack* video, SKrFileMap& map)
{
    const double shortest = map.Seconds() < kShortRange ? 0 : kShortestRateBin;
    map.rateBinSeconds = RoundUp(std::max(map.Seconds() / kMostRateBins, shortest));
    if (video == nullptr)
        return;
    // Whole frames, since a stretch with a frame more than the next one would look like a peak.
    const double frame = video->SecondsPerChunk();
    map.rateBinSeconds = std::max(1.0, std::round(map.rateBinSeconds / frame)) * frame;
}

void MeasureRate(const CKrMapTrack& track, SKrFileMap& map)
{
    const double count = std::ceil(map.Seconds() / map.rateBinSeconds - kSameTime);
    SKrRateSeries series = {track.Kind(), track.Stream(), {}};
    series.bins.assign(static_cast<size_t>(std::max(1.0, count)), 0);
    for (size_t chunk = 0; chunk < track.Count(); ++chunk)
    {
        const uint32_t bytes = track.Payload(chunk);
        const double from = track.SecondsAtChunk(chunk);
        const double to = track.SecondsAtChunk(chunk + 1);
        if (bytes == 0 || to <= map.startSeconds + kSameTime || from >= map.endSeconds - kSameTime)
            continue;
        if (track.Kind() == EKrStreamKind::Video)
            series.bins[BinAt(from, map.startSeconds, map.rateBinSeconds, series.bins.size())] += bytes;
        else
            AddOverTime(bytes, from, to, map, series.bins);
    }
    map.rates.push_back(std::move(series));
}

void MeasureDistances(const CKrMapTrack& video, const CKrMapTrack& audio, uint64_t bins, SKrFileMap& map)
{
    SKrInterleave interleave = {audio.Stream(), {}, {}};
    interleave.bins.resize(static_cast<size_t>(bins));
    const double binSeconds = map.Seconds() / static_cast<double>(bins);
    size_t due = 0;     // the sound of the frame's time
    size_t inFront = 0; // sound chunks before the frame
    for (auto frame = static_cast<size_t>(map.firstFrame); frame < map.endFrame; ++frame)
    {
        const double time = video.SecondsAtChunk(frame);
        const uint64_t position = video.Start(frame);
        while (due < audio.Count() && audio.SecondsAtChunk(due + 1) <= time + kSameTime)
            ++due;
        while (inFront < audio.Count() && audio.Start(inFront) < position)
            ++inFront;
        if (due == audio.Count())
            break;
        if (video.Payload(frame) == 0 || audio.IsLost(due) || audio.SecondsAtChunk(due) > time + kSameTime)
            continue; // one of them is lost, the frame is a repeated one, or the sound starts later
        const double seconds = Millionths(audio.SecondsAtChunk(inFront) - time);
        const double lastBlock = inFront != 0 ? audio.SecondsAtChunk(inFront - 1) : time;
        const double judged = Millionths(InterleaveDistance(time, lastBlock, audio.SecondsAtChunk(inFront)));
        const double bytes = static_cast<double>(static_cast<int64_t>(position - audio.Start(due)));
        AddTo(interleave.bins[BinAt(time, map.startSeconds, binSeconds, interleave.bins.size())], seconds,
              bytes, judged);
        AddTo(interleave.all, seconds, bytes, judged);
    }
    if (interleave.all.frames != 0)
        map.interleaves.push_back(std::move(interleave));
}
} // namespace KrTool
