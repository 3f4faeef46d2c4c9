#include "tools/map/KrMapMeasures.h"

#include "platform/KrFileProbe.h"
#include "tools/avi/KrAviFacts.h"
#include "tools/avi/KrAviFile.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrReport.h"
#include "tools/command/KrText.h"
#include "tools/command/KrToolError.h"

#include <algorithm>
#include <initializer_list>

namespace KrTool
{
namespace
{
// The whole file, and the time from the first to the last that is in it.
void TakeWholeFile(const CKrMapTrack* video, const CKrMapTrack* audio, SKrFileMap& map)
{
    map.end = map.length;
    map.endFrame = video != nullptr ? video->Count() : 0;
    bool isFirst = true;
    for (const CKrMapTrack* const track : {video, audio})
    {
        if (track == nullptr || !track->HasTime())
            continue;
        map.startSeconds =
            isFirst ? track->SecondsAtChunk(0) : std::min(map.startSeconds, track->SecondsAtChunk(0));
        map.endSeconds = std::max(map.endSeconds, track->EndSeconds());
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
    map.start = video->Span(static_cast<size_t>(map.firstFrame)).start;
    map.end = map.endFrame < count ? video->Span(static_cast<size_t>(map.endFrame)).start
                                   : video->End(static_cast<size_t>(last));
    map.startSeconds = video->SecondsAtChunk(map.firstFrame);
    map.endSeconds = video->SecondsAtChunk(map.endFrame);
}

void MeasureTimes(const CKrMapTrack* video, const CKrMapTrack* audio, const SKrMapRequest& request,
                  SKrFileMap& map)
{
    if (map.Seconds() <= 0)
        return;
    ChooseRateBins(video, map);
    for (const CKrMapTrack* const track : {video, audio})
    {
        if (track != nullptr && track->HasTime())
            MeasureRate(*track, map);
    }
    if (video != nullptr && audio != nullptr && audio->HasTime())
        MeasureDistances(*video, *audio, std::min(request.timeBins, map.endFrame - map.firstFrame), map);
}
// Those of the chosen streams first, then those of all others.
void CompareIndexes(const CKrAviFile& file, const SKrAviFacts& facts, const SKrFileSpans& spans,
                    std::initializer_list<const CKrMapTrack*> chosen, SKrFileMap& map)
{
    std::vector<uint32_t> compared;
    for (const CKrMapTrack* const track : chosen)
    {
        if (track == nullptr)
            continue;
        CompareIndex(file, *track, KindName(track->Kind()), map);
        compared.push_back(track->Stream());
    }
    for (const SKrAviStream& stream : facts.streams)
    {
        if (stream.Kind() == EKrStreamKind::Other ||
            std::ranges::find(compared, stream.number) != compared.end())
            continue;
        const CKrMapTrack track(spans, facts, stream.Kind(), stream.number);
        if (track.Count() != 0)
            CompareIndex(file, track, Format("stream {}", stream.number), map);
    }
}
} // namespace

SKrFileMap MeasureFile(const CKrAviFile& file, const SKrAviFacts& facts, const SKrMapRequest& request,
                       CKrReport& report, CKrProgress& progress)
{
    const SKrFileSpans spans = MeasureSpans(file, facts.streams.size(), progress);
    const std::optional<CKrMapTrack> videoTrack = CKrMapTrack::Choose(spans, facts, EKrStreamKind::Video);
    const std::optional<CKrMapTrack> audioTrack = CKrMapTrack::Choose(spans, facts, EKrStreamKind::Audio);
    const CKrMapTrack* const video = videoTrack ? &*videoTrack : nullptr;
    const CKrMapTrack* const audio = audioTrack ? &*audioTrack : nullptr;

    SKrFileMap map;
    map.name = file.Path().substr(FolderOf(file.Path()).size());
    map.length = spans.length;
    map.segments = spans.segments;
    map.lists = spans.lists;
    map.regions = spans.regions;
    map.rateAssumed = video != nullptr && video->RateAssumed();
    if (request.from || request.to)
        TakeFrames(file.Path(), request, video, map);
    else
        TakeWholeFile(video, audio, map);

    MeasureLanes(spans, request.byteBins, map);
    MeasureLargest(spans, video, audio, map);
    MeasureTimes(video, audio, request, map);
    DescribeFile(facts, spans, video, map);
    CompareIndexes(file, facts, spans, {video, audio}, map);
    DescribeDamage(facts, spans, video, map, report);
    return map;
}
} // namespace KrTool
