// The texts of a map: the main facts and the defects of the file.
#include "tools/avi/KrAviFacts.h"
#include "tools/avi/KrInterleave.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrReport.h"
#include "tools/command/KrText.h"
#include "tools/map/KrMapMeasures.h"
#include "tools/map/KrMapText.h"

#include <algorithm>
#include <cstdlib>

namespace KrTool
{
namespace
{
std::string VideoText(const SKrAviStream& stream)
{
    const SKrBitmapHeader picture = DecodeBitmapHeader(stream.format);
    const std::string codec = picture.compression != 0 ? Format("'{}'", FourCcText(picture.compression))
                                                       : Format("uncompressed, {} bits", picture.bitCount);
    return Format("{} \u00D7 {}, {}", static_cast<uint32_t>(picture.width), std::llabs(picture.height),
                  codec);
}

std::string FrameRateText(const SKrAviStream& stream)
{
    if (stream.rate == 0 || stream.scale == 0)
        return "unknown frame rate";
    return Trimmed(static_cast<double>(stream.rate) / stream.scale, 3) + " frames/s";
}

std::string AudioText(const SKrAviStream& stream)
{
    const SKrAudioFormat format = AudioFormat(stream);
    std::string text = format.IsUncompressed() ? "" : Format("format {}, ", format.formatTag);
    if (format.formatTag == kFormatTagPcm)
        text = "PCM, ";
    text += Format("{} Hz, {}", Grouped(format.samplesPerSec), Counted(format.channels, "channel"));
    return format.bitsPerSample != 0 ? Format("{}, {}", text, Counted(format.bitsPerSample, "bit")) : text;
}

std::string IndexText(const SKrFileSpans& file)
{
    std::string text;
    const auto add = [&text](uint64_t count, const char* name)
    {
        if (count == 0)
            return;
        text += text.empty() ? "" : ", ";
        text += (count > 1 ? Grouped(count) + " \u00D7 " : std::string()) + name;
    };
    add(file.oldIndexes, "'idx1'");
    add(file.superIndexes, "'indx'");
    add(file.standardIndexes, "'ix##'");
    return text.empty() ? "no index" : "indexes: " + text;
}

void DescribeSegments(SKrFileMap& map, std::vector<std::string>& open)
{
    for (size_t number = 0; number < map.segments.size(); ++number)
    {
        const SKrMapList& segment = map.segments[number];
        const std::string name = Format("segment {}", number);
        if (!segment.completed)
            map.damage.push_back(name + " was never completed: its header has no size");
        else if (segment.claimedEnd > map.length)
            map.damage.push_back(Format("{} is truncated: {} are missing", name,
                                        GroupedCount(segment.claimedEnd - map.length, "byte")));
    }
    for (const SKrMapList& list : map.lists)
    {
        if (!list.completed)
            open.push_back(Format("the list '{}' at position {} was never completed: its header has no size",
                                  FourCcText(list.type), Grouped(list.start)));
    }
}

// Places are in file order.
bool IsAfterSegments(const SKrFileMap& map, const SKrRegions& regions)
{
    return !map.segments.empty() && regions.kept.front().start >= map.segments.back().end;
}

void DescribeRegions(const SKrFileMap& map, std::vector<std::string>& damage)
{
    if (const SKrRegions& cut = map.regions.Of(EKrRegionKind::CutChunk); cut.count != 0)
        damage.push_back("the end of the file truncates the last chunk");
    if (const SKrRegions& gaps = map.regions.Of(EKrRegionKind::Unaccounted); gaps.count != 0)
        damage.push_back(Format("{} at {} belong to no chunk", GroupedCount(gaps.bytes, "byte"),
                                GroupedCount(gaps.count, "place")));
    if (const SKrRegions& outside = map.regions.Of(EKrRegionKind::OutsideMovi); outside.count != 0)
        damage.push_back(GroupedCount(outside.bytes, "byte") +
                         (IsAfterSegments(map, outside)
                              ? " follow the last segment"
                              : " are outside the segments, or data chunks outside every 'movi' list"));
}

void DescribeRemovals(const SKrFileMap& map, std::vector<std::string>& damage)
{
    for (const SKrRemoval& removal : map.removals)
        damage.push_back(Format("{} were removed at position {}: {} of the index are gone",
                                GroupedCount(removal.bytes, "byte"), Grouped(removal.position),
                                GroupedCount(removal.chunks, "chunk")));
}

void DescribeInterleave(const SKrFileMap& map, std::vector<std::string>& damage)
{
    for (const SKrInterleave& interleave : map.interleaves)
    {
        if (map.IsFar(interleave.all))
            damage.push_back(Format("audio {} is far from its picture: up to {}; the limit is {} s",
                                    interleave.stream, DistanceText(interleave.all.worst),
                                    Trimmed(map.interleaveLimit, 3)));
    }
}
} // namespace

void DescribeFile(const SKrAviFacts& facts, const SKrFileSpans& file, const CKrMapTrack* video,
                  SKrFileMap& map)
{
    std::vector<std::string>& words = map.facts;
    words.push_back(KindOf(facts));
    words.push_back(BytesText(static_cast<double>(map.length)) +
                    (map.length >= 1000 ? Format(" ({} bytes)", Grouped(map.length)) : ""));
    if (const SKrAviStream* const stream = FirstVideoStream(facts))
    {
        words.push_back(VideoText(*stream));
        words.push_back(FrameRateText(*stream));
    }
    if (video != nullptr)
        words.push_back(
            Format("{}, {}", GroupedCount(video->FoundCount(), "frame"), TimeText(video->EndSeconds())));
    for (const SKrKeyFrames& frames : map.keyFrames)
    {
        if (video != nullptr && frames.stream == video->Stream() && !map.isPart &&
            frames.keys != frames.frames)
            words.push_back(GroupedCount(frames.keys, "key frame"));
    }
    const SKrAviStream* const usable = FirstUsableAudioStream(facts);
    if (const SKrAviStream* const stream =
            usable != nullptr ? usable : FirstStream(facts.streams, EKrStreamKind::Audio))
        words.push_back(AudioText(*stream));
    if (facts.streams.size() > 2)
        words.push_back(Counted(facts.streams.size(), "stream"));
    words.push_back(Counted(map.segments.size(), "segment"));
    words.push_back(IndexText(file));
}

void DescribeDamage(const SKrAviFacts& facts, const SKrFileSpans& file, const CKrMapTrack* video,
                    SKrFileMap& map, CKrReport& report)
{
    // Facts that the findings of the whole file repeat are only for the picture.
    std::vector<std::string> damage = std::move(map.damage);
    map.damage.clear();
    std::vector<std::string> more;
    DescribeSegments(map, more);
    DescribeRegions(map, more);
    DescribeRemovals(map, more);
    more.insert(more.end(), damage.begin(), damage.end());
    const uint64_t frames = video != nullptr ? video->FoundCount() : 0;
    if (const uint64_t declared = DeclaredFrames(facts); declared > frames)
        more.push_back(Format("the headers declare {}, the file has {}", GroupedCount(declared, "frame"),
                              Grouped(frames)));
    if (file.overruns != 0)
        more.push_back(GroupedCount(file.overruns, "chunk") + " extend past the end of their list");
    if (file.wrongSizes != 0)
        more.push_back(
            Format("the size of {} is wrong: it covers others", GroupedCount(file.wrongSizes, "chunk")));
    if (file.cut)
        more.push_back("the file has too many chunks; the rest is not checked");
    DescribeInterleave(map, more);
    for (const std::string& text : more)
        report.Finding(text);
    map.damage.insert(map.damage.end(), more.begin(), more.end());
    if (map.rateAssumed)
        report.Note("the headers have no frame rate; times assume 25 frames per second");
}
} // namespace KrTool
