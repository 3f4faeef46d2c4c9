#include "tools/map/KrMapMeasures.h"

#include "platform/KrFileProbe.h"
#include "tools/avi/KrAviFacts.h"
#include "tools/avi/KrAviFile.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrReport.h"
#include "tools/command/KrText.h"
#include "tools/command/KrToolError.h"
#include "tools/map/KrMapText.h"

#include <algorithm>

namespace KrTool
{
namespace
{
// The first one of a kind; null when there is none.
const CKrMapTrack* FirstOf(const std::vector<CKrMapTrack>& tracks, EKrStreamKind kind)
{
    const auto found = std::ranges::find(tracks, kind, &CKrMapTrack::Kind);
    return found == tracks.end() ? nullptr : &*found;
}

// The whole file, and the time from the first to the last that is in it.
void TakeWholeFile(const std::vector<CKrMapTrack>& tracks, SKrFileMap& map)
{
    const CKrMapTrack* const video = FirstOf(tracks, EKrStreamKind::Video);
    map.end = map.length;
    map.endFrame = video != nullptr ? video->Count() : 0;
    bool isFirst = true;
    for (const CKrMapTrack& track : tracks)
    {
        if (!track.HasTime())
            continue;
        map.startSeconds =
            isFirst ? track.SecondsAtChunk(0) : std::min(map.startSeconds, track.SecondsAtChunk(0));
        map.endSeconds = std::max(map.endSeconds, track.EndSeconds());
        isFirst = false;
    }
}

void TakeFrames(const std::string& path, const SKrMapRequest& request, const CKrMapTrack* video,
                SKrFileMap& map)
{
    const uint64_t count = video != nullptr ? video->Count() : 0;
    map.firstFrame = request.from.value_or(0);
    const uint64_t last = request.to ? *request.to : std::max<uint64_t>(count, 1) - 1;
    if (map.firstFrame >= count || last >= count)
        throw CKrToolError(path, "no such frames: it has " + Counted(count, "frame"));
    map.isPart = true;
    map.endFrame = last + 1;
    map.start = video->Start(static_cast<size_t>(map.firstFrame));
    map.end = map.endFrame < count ? video->Start(static_cast<size_t>(map.endFrame))
                                   : video->End(static_cast<size_t>(last));
    map.startSeconds = video->SecondsAtChunk(map.firstFrame);
    map.endSeconds = video->SecondsAtChunk(map.endFrame);
}

void MeasureTimes(const std::vector<CKrMapTrack>& tracks, const SKrMapRequest& request, SKrFileMap& map)
{
    const CKrMapTrack* const video = FirstOf(tracks, EKrStreamKind::Video);
    if (video != nullptr)
        map.interleaveLimit = std::max(request.interleave, video->SecondsPerChunk());
    if (map.Seconds() <= 0)
        return;
    ChooseRateBins(video, map);
    for (const CKrMapTrack& track : tracks)
    {
        if (!track.HasTime())
            continue;
        MeasureRate(track, map);
        if (video != nullptr && track.Kind() == EKrStreamKind::Audio)
            MeasureDistances(*video, track, std::min(request.timeBins, map.endFrame - map.firstFrame), map);
    }
}

// Chunks of one stream, one after another, that its index leaves out.
struct SKrMissingRun
{
    uint64_t start = 0;
    uint64_t end = 0; // where the next chunk of the stream begins that is in the index
};

// Compares a stream's index with the chunks that are there. `name`: of the index in words.
void CompareIndex(const CKrMapTrack& track, const std::string& name, std::vector<SKrMissingRun>& runs,
                  SKrFileMap& map)
{
    uint64_t missing = 0;
    bool continues = false;
    for (size_t chunk = 0; chunk < track.Count(); ++chunk)
    {
        if (continues)
            runs.back().end = track.Start(chunk);
        if (track.Payload(chunk) == 0)
            continue;
        if (track.IsIndexed(chunk))
        {
            continues = false;
            continue;
        }
        ++missing;
        map.regions.Of(EKrRegionKind::NotIndexed).bytes += track.End(chunk) - track.Start(chunk);
        if (!continues)
            runs.push_back({track.Start(chunk), 0});
        runs.back().end = track.End(chunk);
        continues = true;
    }
    map.noIndex = map.noIndex || !track.HasIndex();
    if (!track.HasIndex())
        map.damage.push_back(Format("no {} index can be loaded", name));
    else if (missing != 0)
        map.damage.push_back(Format("not in the {} index: {}", name, GroupedCount(missing, "chunk")));
}

// Those of the chosen streams first, then those of all others that have headers.
void CompareIndexes(const SKrAviFacts& facts, const std::vector<CKrMapTrack>& tracks, SKrFileMap& map)
{
    std::vector<SKrMissingRun> runs;
    for (const CKrMapTrack& track : tracks)
    {
        if (FirstOf(tracks, track.Kind()) == &track)
            CompareIndex(track, KindName(track.Kind()), runs, map);
        else if (track.Stream() < facts.streams.size())
            CompareIndex(track, Format("stream {}", track.Stream()), runs, map);
    }
    // Places of several streams overlap; the bytes are counted above.
    std::ranges::sort(runs, {}, &SKrMissingRun::start);
    SKrRegions& regions = map.regions.Of(EKrRegionKind::NotIndexed);
    const uint64_t bytes = regions.bytes;
    uint64_t done = 0;
    for (const SKrMissingRun& run : runs)
    {
        if (run.end > done)
            regions.Add({std::max(run.start, done), run.end});
        done = std::max(done, run.end);
    }
    regions.bytes = bytes;
}

void MeasureKeyFrames(const CKrMapTrack& track, uint64_t bins, SKrFileMap& map)
{
    const uint64_t count = std::min(bins, map.Bytes());
    if (track.Kind() != EKrStreamKind::Video || !track.HasIndex() || count == 0)
        return;
    SKrKeyFrames frames = {track.Stream(), 0, 0, {}};
    frames.bins.assign(static_cast<size_t>(count), 0);
    size_t bin = 0;
    for (size_t chunk = 0; chunk < track.Count(); ++chunk)
    {
        const uint64_t position = track.Start(chunk);
        if (track.IsLost(chunk) || position < map.start || position >= map.end)
            continue;
        ++frames.frames;
        if (!track.IsKey(chunk))
            continue;
        while (SKrFileMap::BinStart(bin + 1, count, map.start, map.end) <= position)
            ++bin;
        ++frames.bins[bin];
        ++frames.keys;
    }
    map.keyFrames.push_back(std::move(frames));
}
} // namespace

SKrFileMap MeasureFile(const CKrAviFile& file, const SKrAviFacts& facts, const SKrMapRequest& request,
                       CKrReport& report, CKrProgress& progress)
{
    const SKrFileSpans spans = MeasureSpans(file, facts.streams.size(), progress);
    std::vector<CKrMapTrack> tracks;
    for (const CKrMapTrack::Key& key : CKrMapTrack::StreamsOf(spans, facts))
        tracks.emplace_back(spans, facts, key, LoadStreamIndex(file, key.second).value_or(SKrStreamIndex()));
    SKrRemovedChunks removed;
    if (std::ranges::any_of(tracks, &CKrMapTrack::LacksEntries))
        removed = FindRemovedChunks(file, spans, facts.streams.size());
    for (CKrMapTrack& track : tracks)
    {
        if (!removed.chunks.empty())
            track.Insert(removed.chunks);
    }
    const CKrMapTrack* const video = FirstOf(tracks, EKrStreamKind::Video);

    SKrFileMap map;
    map.removals = std::move(removed.places);
    map.name = file.Path().substr(FolderOf(file.Path()).size());
    map.length = spans.length;
    map.segments = spans.segments;
    map.lists = spans.lists;
    map.regions = spans.regions;
    map.rateAssumed = video != nullptr && video->RateAssumed();
    if (request.from || request.to)
        TakeFrames(file.Path(), request, video, map);
    else
        TakeWholeFile(tracks, map);

    MeasureLanes(spans, request.byteBins, map);
    MeasureLargest(tracks, map);
    for (const CKrMapTrack& track : tracks)
        MeasureKeyFrames(track, request.byteBins, map);
    MeasureTimes(tracks, request, map);
    DescribeFile(facts, spans, video, map);
    CompareIndexes(facts, tracks, map);
    DescribeDamage(facts, spans, video, map, report);
    return map;
}
} // namespace KrTool
